// SPDX-License-Identifier: MIT
// The real tidewell program on a real desktop (Xvfb + openbox, xlogo, xterm, pcmanfm), checked
// by independent observers (xprop, wmctrl): the click as a second start, show-all, front
// switches, and the preferences window reached through the URL scheme from outside and from the
// tray menu. (The file manager collapsed and left so by show-all: TWCommonX11Test.)
#include "TWTestDesktop.h"
#include "TWTestPaths.h"
#include "TWTestTidewell.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <sstream>

namespace {

class TidewellAppX11Test : public ::testing::Test {
  protected:
    // One desktop, one set of clients and one Tidewell for the program: each test leaves every
    // window shown again.
    static void SetUpTestSuite() {
        desktop_ = new TWTestDesktop;
        if (!desktop_->ok())
            return;
        tidewell_ = new TWTestTidewell(*desktop_);
        // xlogo's application entry, for the exclusion list.
        desktop_->writeDesktopEntry("xlogo", "[Desktop Entry]\nType=Application\nName=X Logo\n"
                                             "Exec=xlogo\n");
        // One after the other: hide-others and show-all walk the applications in launch order.
        // xterm, the one brought to the front below, comes first, so it is not simply the last
        // window the window manager restores (and focuses) during show-all.
        clientsUp_ = true;
        for (const std::vector<std::string>& client :
             {std::vector<std::string>{"xterm", "-title", "tidewell-test-xterm"},
              {"pcmanfm", desktop_->home()},
              {"xlogo"}}) {
            desktop_->spawn(client);
            clientsUp_ = clientsUp_ && TWTestDesktop::waitFor([&] { return windowOf(client[0]); },
                                                              std::chrono::seconds(30));
        }
        instance_ = tidewell_->start();
    }
    static void TearDownTestSuite() {
        delete tidewell_;
        tidewell_ = nullptr;
        // Ends Tidewell, the clients, every stray started on this display, then the server.
        delete desktop_;
        desktop_ = nullptr;
    }
    void SetUp() override {
        ASSERT_TRUE(desktop_->ok()) << desktop_->error();
        ASSERT_TRUE(clientsUp_) << "the test clients did not come up";
        ASSERT_GT(instance_, 0) << "tidewell never answered:\n" << tidewell_->log();
    }
    void TearDown() override {
        if (HasFailure())
            std::fprintf(stderr, "tidewell's log:\n%s\n", tidewell_->log().c_str());
    }

    // The first window whose WM_CLASS instance is `program` (xlogo sets no _NET_WM_PID, so the
    // class is what every client here can be told apart by).
    static unsigned long windowOf(const std::string& program) {
        std::istringstream lines(TWTestDesktop::run({"wmctrl", "-l", "-x"}));
        for (std::string line; std::getline(lines, line);) {
            std::istringstream fields(line);
            std::string id, number, windowClass;
            if (fields >> id >> number >> windowClass &&
                windowClass.substr(0, windowClass.find('.')) == program)
                return std::stoul(id, nullptr, 16);
        }
        return 0;
    }
    static bool minimized(const std::string& program) {
        const unsigned long window = windowOf(program);
        return window != 0 && desktop_->isMinimized(window);
    }
    static bool shown(const std::string& program) {
        const unsigned long window = windowOf(program);
        return window != 0 && !desktop_->isMinimized(window);
    }
    static bool hasWindowTitled(const std::string& title) {
        const auto windows = desktop_->windows();
        return std::any_of(windows.begin(), windows.end(),
                           [&](const TWObservedWindow& w) { return w.title == title; });
    }
    // The identifier of the application Tidewell has recorded as in front, in lower case.
    static std::string recordedFront() {
        for (std::string line : tidewell_->status())
            if (line.rfind("front: ", 0) == 0) {
                std::transform(line.begin(), line.end(), line.begin(),
                               [](unsigned char c) { return char(std::tolower(c)); });
                return line.substr(7);
            }
        return {};
    }
    // Activates `window` from outside and waits until the window manager reports it and
    // Tidewell has heard of the switch (a request sent before that would race with the event).
    static bool bringToFront(unsigned long window, const std::string& identifierPart) {
        // Already in front: only a switch to it is heard, so go through another window first.
        if (desktop_->activeWindow() == window &&
            recordedFront().find(identifierPart) == std::string::npos) {
            for (const char* other : {"xlogo", "xterm", "pcmanfm"})
                if (windowOf(other) != window) {
                    TWTestDesktop::run({"wmctrl", "-i", "-a", std::to_string(windowOf(other))});
                    TWTestDesktop::waitFor([&] { return desktop_->activeWindow() != window; });
                    break;
                }
        }
        TWTestDesktop::run({"wmctrl", "-i", "-a", std::to_string(window)});
        return TWTestDesktop::waitFor([&] {
            return desktop_->activeWindow() == window &&
                   recordedFront().find(identifierPart) != std::string::npos;
        });
    }
    static size_t count(const std::vector<std::string>& lines, const std::string& line) {
        return size_t(std::count(lines.begin(), lines.end(), line));
    }
    // Brings everything back and waits for the window manager to have done it.
    static void showEverything() {
        tidewell_->runAgain({"--show-all"});
        TWTestDesktop::waitFor([] { return shown("xlogo") && shown("xterm"); });
        TWTestDesktop::run({"wmctrl", "-i", "-R", std::to_string(windowOf("pcmanfm"))});
    }

    static TWTestDesktop* desktop_;
    static TWTestTidewell* tidewell_;
    static bool clientsUp_;
    static pid_t instance_;
};

TWTestDesktop* TidewellAppX11Test::desktop_ = nullptr;
TWTestTidewell* TidewellAppX11Test::tidewell_ = nullptr;
bool TidewellAppX11Test::clientsUp_ = false;
pid_t TidewellAppX11Test::instance_ = -1;

TEST_F(TidewellAppX11Test, ASecondStartHidesTheOthersAndShowAllBringsBackTheOneInFront) {
    // With "ShowFinder" off the hide brings nothing forward, so the last switch the user made
    // is the one recorded. "Minimize" off: the file manager is hidden like the others (with it
    // on, its windows would be collapsed and stay minimized).
    tidewell_->writeSharedSettings({{"ShowFinder", false}, {"Minimize", false}});
    // The user switches from the file manager to xterm.
    ASSERT_TRUE(bringToFront(windowOf("pcmanfm"), "pcmanfm")) << "recorded: " << recordedFront();
    const unsigned long xterm = windowOf("xterm");
    ASSERT_TRUE(bringToFront(xterm, "xterm")) << "recorded: " << recordedFront();

    // The click on the dock tile: a second start, which hands "reopen" over and exits.
    EXPECT_EQ(tidewell_->runAgain({}), 0);
    ASSERT_TRUE(TWTestDesktop::waitFor(
        [] { return minimized("xlogo") && minimized("xterm") && minimized("pcmanfm"); }));
    for (const char* program : {"xlogo", "xterm", "pcmanfm"})
        EXPECT_TRUE(desktop_->hasHiddenMark(windowOf(program))) << program;
    EXPECT_EQ(count(tidewell_->status(), "reopen"), 1u);
    const std::string recordedAfterHide = recordedFront();
    EXPECT_EQ(tidewell_->runAgain({"--show-all"}), 0);
    EXPECT_TRUE(TWTestDesktop::waitFor(
        [] { return shown("xlogo") && shown("xterm") && shown("pcmanfm"); }));
    EXPECT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->activeWindow() == xterm; }))
        << "active: " << desktop_->activeWindow() << ", xterm: " << xterm
        << ", recorded after the hide: " << recordedAfterHide << ", now: " << recordedFront();
    // The mark goes once the window manager reports the window back.
    for (const char* program : {"xlogo", "xterm", "pcmanfm"})
        EXPECT_TRUE(TWTestDesktop::waitFor([&] {
            return !desktop_->hasHiddenMark(windowOf(program));
        })) << program;
    // Still the one instance: every later start handed over and ended.
    EXPECT_EQ(::kill(instance_, 0), 0);

    tidewell_->writeSharedSettings({});
    showEverything();
}

TEST_F(TidewellAppX11Test, PreferencesOpenThroughTheURLSchemeFromOutsideAndFromTheTrayMenu) {
    // Another program asks the session to open the URL: xdg-open finds Tidewell's desktop entry
    // for the scheme and starts tidewell with the URL, which hands it to the running instance.
    ASSERT_FALSE(hasWindowTitled("General"));
    TWTestDesktop::run({"xdg-open", "x-tidewell-action://preferences"});
    ASSERT_TRUE(TWTestDesktop::waitFor([] { return hasWindowTitled("General"); }))
        << "journal:\n"
        << testing::PrintToString(tidewell_->status());
    std::vector<std::string> journal = tidewell_->status();
    EXPECT_EQ(count(journal, "url x-tidewell-action://preferences"), 1u);
    EXPECT_EQ(count(journal, "preferences shown"), 1u);

    // Closed by the user, as the window manager does it.
    TWTestDesktop::run({"wmctrl", "-c", "General"});
    ASSERT_TRUE(TWTestDesktop::waitFor([] { return !hasWindowTitled("General"); }));

    // "Preferences..." in the tray menu goes out through the session's URL handler as well and
    // comes back the same way.
    EXPECT_EQ(TWTestTidewell::request("menu Preferences..."), "ok");
    EXPECT_TRUE(TWTestDesktop::waitFor([] { return hasWindowTitled("General"); }))
        << "journal:\n"
        << testing::PrintToString(tidewell_->status());
    journal = tidewell_->status();
    EXPECT_EQ(count(journal, "url x-tidewell-action://preferences"), 2u);
    EXPECT_EQ(count(journal, "preferences shown"), 2u);
    TWTestDesktop::run({"wmctrl", "-c", "General"});
    TWTestDesktop::waitFor([] { return !hasWindowTitled("General"); });

    // Requests that mean nothing change nothing: a foreign-case scheme, an unknown menu item.
    EXPECT_EQ(tidewell_->runAgain({"x-tidewell-action://Preferences"}), 0);
    EXPECT_EQ(TWTestTidewell::request("menu No Such Item"), "unknown");
    journal = tidewell_->status();
    EXPECT_EQ(count(journal, "preferences shown"), 2u);
    EXPECT_FALSE(hasWindowTitled("General"));
    EXPECT_NE(tidewell_->log().find("no menu item \"No Such Item\""), std::string::npos);
}

TEST_F(TidewellAppX11Test, SettingsChangedInThePreferencesWindowRuleTheNextHide) {
    TWTestDesktop::run({"xdg-open", "x-tidewell-action://preferences"});
    ASSERT_TRUE(TWTestDesktop::waitFor([] { return hasWindowTitled("General"); }));
    const auto window = [](const std::string& title) {
        for (const TWObservedWindow& w : desktop_->windows())
            if (w.title == title)
                return std::to_string(w.id);
        return std::string();
    };
    // As a keyboard user would: focus starts on the icon style; five steps on is "Minimize".
    TWTestDesktop::run({"xdotool", "windowactivate", "--sync", window("General")});
    TWTestDesktop::run(
        {"xdotool", "key", "--delay", "20", "Tab", "Tab", "Tab", "Tab", "Tab", "space"});
    const auto sharedFile = [] {
        return TWReadFile(desktop_->home() + "/.config/tidewell/shared.plist");
    };
    EXPECT_TRUE(TWTestDesktop::waitFor([&] {
        const std::string file = sharedFile();
        const size_t key = file.find("<key>Minimize</key>");
        return key != std::string::npos &&
               file.find_first_not_of(" \t\n", key + 19) == file.find("<false/>", key);
    })) << sharedFile();

    // The Exclude pane, its add button, and the chooser given the entry's path.
    TWTestDesktop::run({"xdotool", "key", "ctrl+2"});
    ASSERT_TRUE(TWTestDesktop::waitFor([] { return hasWindowTitled("Exclude"); }));
    const size_t before = desktop_->windows().size();
    TWTestDesktop::run({"xdotool", "key", "--delay", "20", "Tab", "space"});
    ASSERT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->windows().size() > before; }));
    TWTestDesktop::run(
        {"xdotool", "type", "--delay", "10", desktop_->dataHome() + "/applications/xlogo.desktop"});
    TWTestDesktop::run({"xdotool", "key", "Return"});
    EXPECT_TRUE(TWTestDesktop::waitFor([&] {
        return sharedFile().find("<string>xlogo</string>") != std::string::npos;
    })) << sharedFile();
    TWTestDesktop::run({"wmctrl", "-c", "Exclude"});
    TWTestDesktop::waitFor([] { return !hasWindowTitled("Exclude"); });

    // The next click: xterm hidden, xlogo excluded, the file manager's window left as it is.
    EXPECT_EQ(tidewell_->runAgain({}), 0);
    EXPECT_TRUE(TWTestDesktop::waitFor([] { return minimized("xterm"); }));
    EXPECT_TRUE(shown("xlogo"));
    EXPECT_TRUE(shown("pcmanfm"));

    tidewell_->writeSharedSettings({});
    showEverything();
}

} // namespace
