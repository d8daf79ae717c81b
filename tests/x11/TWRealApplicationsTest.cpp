// SPDX-License-Identifier: MIT
// Identity with real programs from Debian packages on the test desktop: thunar as the default
// file manager (its toolkit ID names no entry), mousepad with its file chooser open (a GTK
// dialog without hints of its own), and a Tk program with a dialog and a secondary window of
// another class. Each is listed once, under its installed desktop-entry ID, and excluded as one.
#include "TWCommon.h"
#include "TWProcessRegistry.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWTestDesktopSuite.h"
#include "TWX11Desktop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

namespace {

class TWRealApplicationsTest : public TWTestDesktopSuite {
  protected:
    void SetUp() override {
        TWTestDesktopSuite::SetUp();
        if (HasFatalFailure())
            return;
        std::ofstream(desktop_->home() + "/.config/mimeapps.list")
            << "[Default Applications]\ninode/directory=thunar.desktop\n";
        x11_ = TWX11Desktop::open();
        ASSERT_NE(x11_, nullptr);
        TWProcessRegistry::registerCurrentProcess(TWOwnBundleIdentifier, TWOwnName, 0);
    }
    void TearDown() override {
        TWProcessRegistry::unregisterCurrentProcess();
        x11_.reset();
    }
    // The applications whose windows belong to `pid`.
    std::vector<TWRunningApplication> appsOf(pid_t pid) {
        std::vector<TWRunningApplication> out;
        for (const auto& app : x11_->workspace().runningApplications())
            if (app.processIdentifier == pid)
                out.push_back(app);
        return out;
    }
    pid_t start(const std::vector<std::string>& argv, size_t windows) {
        pid_t pid = desktop_->spawn(argv);
        EXPECT_TRUE(TWTestDesktop::waitFor(
            [&] { return desktop_->windowsOfPid(pid).size() >= windows; }, kStartBound))
            << argv[0] << ": " << TWTestDesktop::run({"wmctrl", "-l", "-p"});
        return pid;
    }
    static constexpr std::chrono::milliseconds kStartBound{30000};
    std::unique_ptr<TWX11Desktop> x11_;
};

TEST_F(TWRealApplicationsTest, ThunarMousepadAndATkProgramAreOneApplicationEachAndExcludedAsOne) {
    // A Tk program installed with an entry of its own; its dialog and secondary window carry
    // classes of their own, only the main window names the entry.
    const std::string script = desktop_->home() + "/notes.tcl";
    std::ofstream(script) << "wm title . Notes\n"
                             "toplevel .palette -class Palette\nwm title .palette Palette\n"
                             "toplevel .ask -class Dialog\nwm title .ask Question\n"
                             "wm transient .ask .\n";
    desktop_->writeDesktopEntry("org.example.Notes", "[Desktop Entry]\nType=Application\n"
                                                     "Name=Notes\nExec=wish " +
                                                         script + "\nStartupWMClass=Notes\n");

    // An entry for the interpreter itself, as some systems install: a guess from the program
    // name would take the palette for it.
    desktop_->writeDesktopEntry("wish", "[Desktop Entry]\nType=Application\nName=Wish\n"
                                        "Exec=wish\n");

    pid_t thunar = start({"thunar", desktop_->home()}, 1);
    pid_t mousepad = start({"mousepad"}, 1);
    // Tk sets no _NET_WM_PID: its windows are found by title (Tidewell asks the X server).
    pid_t notes = desktop_->spawn({"wish", script, "-name", "notes"});
    std::vector<unsigned long> notesWindows;
    ASSERT_TRUE(TWTestDesktop::waitFor([&] {
        notesWindows.clear();
        for (const auto& w : desktop_->windows())
            if (w.title == "Notes" || w.title == "Palette" || w.title == "Question")
                notesWindows.push_back(w.id);
        return notesWindows.size() == 3;
    }));
    // The file chooser, opened from the keyboard.
    const unsigned long editor = desktop_->windowsOfPid(mousepad).at(0);
    TWTestDesktop::run({"wmctrl", "-i", "-a", std::to_string(editor)});
    TWTestDesktop::waitFor([&] { return desktop_->activeWindow() == editor; });
    TWTestDesktop::run({"xdotool", "key", "--clearmodifiers", "ctrl+o"});
    ASSERT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->windowsOfPid(mousepad).size() == 2; },
                                       kStartBound))
        << TWTestDesktop::run({"wmctrl", "-l", "-p"});

    EXPECT_EQ(x11_->workspace().fileManagerBundleIdentifier(), "thunar");
    auto thunarApps = appsOf(thunar);
    ASSERT_EQ(thunarApps.size(), 1u);
    EXPECT_EQ(thunarApps[0].bundleIdentifier, "thunar");
    auto mousepadApps = appsOf(mousepad);
    ASSERT_EQ(mousepadApps.size(), 1u) << "the file chooser belongs to the editor";
    EXPECT_EQ(mousepadApps[0].bundleIdentifier, "org.xfce.mousepad");
    auto notesApps = appsOf(notes);
    ASSERT_EQ(notesApps.size(), 1u) << "the dialog and the palette belong to the program";
    EXPECT_EQ(notesApps[0].bundleIdentifier, "org.example.Notes");
    EXPECT_EQ(notesApps[0].localizedName, "Notes");

    // Hide-others with the Tk program excluded: the editor and its chooser hidden, the file
    // manager collapsed (no mark), every window of the excluded program left alone.
    TWUserDefaults standard(std::make_shared<TWSimDefaultsStore>());
    TWUserDefaults shared(std::make_shared<TWSimDefaultsStore>());
    TWRegisterDefaults(standard, shared);
    TWPlistDictionary record;
    record[TWExcludedBundleIDField] = std::string("org.example.Notes");
    shared.setObject(TWPlistArray{TWPlistValue(record)}, TWExcludedAppsKey);
    TWCommon common(*x11_, shared);
    common.showFinderHideOthers();
    ASSERT_TRUE(x11_->x11Workspace().settle(std::chrono::seconds(30)));
    for (auto w : desktop_->windowsOfPid(mousepad))
        EXPECT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->isMinimized(w); })) << w;
    EXPECT_TRUE(desktop_->hasHiddenMark(editor));
    for (auto w : desktop_->windowsOfPid(thunar)) {
        EXPECT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->isMinimized(w); })) << w;
        EXPECT_FALSE(desktop_->hasHiddenMark(w)) << "collapsed, not hidden";
    }
    for (auto w : notesWindows)
        EXPECT_FALSE(desktop_->isMinimized(w)) << "excluded: " << w;
    common.showAll();
    ASSERT_TRUE(x11_->x11Workspace().settle(std::chrono::seconds(30)));
    EXPECT_TRUE(TWTestDesktop::waitFor([&] { return !desktop_->isMinimized(editor); }));
    for (const auto& w : desktop_->windows())
        EXPECT_FALSE(desktop_->hasHiddenMark(w.id)) << w.title;
}

} // namespace
