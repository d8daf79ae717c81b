// SPDX-License-Identifier: MIT
// The real tidewell program on a real desktop (Xvfb + openbox, xlogo, xterm, pcmanfm), checked
// by independent observers (xprop, wmctrl): the preferences reached through the URL scheme and
// changed from the keyboard, the global shortcuts, and the menu-bar helper started once per
// session.
#include "TWProcessRegistry.h"
#include "TWSettings.h"
#include "TWTestPaths.h"
#include "TWTestTidewell.h"
#include "TWXDGServiceManagement.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

using std::chrono::seconds;

class TidewellAppX11Test : public ::testing::Test {
  protected:
    // One desktop, one set of clients and one Tidewell for the program: each test leaves every
    // window shown again.
    static void SetUpTestSuite() {
        desktop_ = new TWTestDesktop;
        if (!desktop_->ok())
            return;
        tidewell_ = new TWTestTidewell(*desktop_);
        clientsUp_ = true;
        for (const std::vector<std::string>& client :
             {std::vector<std::string>{"xterm"}, {"pcmanfm", desktop_->home()}, {"xlogo"}}) {
            desktop_->spawn(client);
            clientsUp_ = clientsUp_ && waitFor([&] { return windowOf(client[0]); }, seconds(30));
        }
        instance_ = tidewell_->start();
    }
    static void TearDownTestSuite() {
        delete std::exchange(tidewell_, nullptr);
        delete std::exchange(desktop_, nullptr);
    }
    void SetUp() override {
        ASSERT_TRUE(desktop_->ok()) << desktop_->error();
        ASSERT_TRUE(clientsUp_) << "the test clients did not come up";
        ASSERT_GT(instance_, 0) << "tidewell never answered:\n" << tidewell_->log();
    }

    // The first window whose WM_CLASS instance is `program` (xlogo sets no _NET_WM_PID).
    static unsigned long windowOf(const std::string& program) {
        std::istringstream lines(run({"wmctrl", "-l", "-x"}));
        for (std::string line, id, number, windowClass; std::getline(lines, line);)
            if (std::istringstream(line) >> id >> number >> windowClass &&
                windowClass.substr(0, windowClass.find('.')) == program)
                return std::stoul(id, nullptr, 16);
        return 0;
    }
    static bool allMinimized(bool is) {
        for (const char* program : {"xlogo", "xterm", "pcmanfm"})
            if (const unsigned long w = windowOf(program); w == 0 || desktop_->isMinimized(w) != is)
                return false;
        return true;
    }
    static unsigned long windowTitled(const std::string& title) {
        for (const TWObservedWindow& w : desktop_->windows())
            if (w.title == title)
                return w.id;
        return 0;
    }
    // Whether the window titled `title` has its frame (the decoration included, as
    // _NET_FRAME_EXTENTS gives it) centred on the 1280 x 1024 screen.
    static bool frameCentred(const std::string& title) {
        const std::string id = std::to_string(windowTitled(title));
        const std::string info = run({"xwininfo", "-id", id});
        auto field = [&](const std::string& name) {
            const size_t at = info.find(name + ":");
            return at == std::string::npos ? -100000
                                           : std::atoi(info.c_str() + at + name.size() + 1);
        };
        int left = 0, right = 0, top = 0, bottom = 0;
        if (std::sscanf(run({"xprop", "-id", id, "_NET_FRAME_EXTENTS"}).c_str(),
                        "_NET_FRAME_EXTENTS(CARDINAL) = %d, %d, %d, %d", &left, &right, &top,
                        &bottom) != 4)
            return false;
        const int x = field("Absolute upper-left X") - left,
                  y = field("Absolute upper-left Y") - top;
        const int width = field("Width") + left + right, height = field("Height") + top + bottom;
        return std::abs(x + width / 2 - 640) <= 1 && std::abs(y + height / 2 - 512) <= 1;
    }

    static inline TWTestDesktop* desktop_ = nullptr;
    static inline TWTestTidewell* tidewell_ = nullptr;
    static inline bool clientsUp_ = false;
    static inline pid_t instance_ = -1;
};

// Another program opens the URL: xdg-open finds Tidewell's entry for the scheme, and the start it
// makes hands the URL to the running instance. Centred with its frame from the first show on, the
// window takes an exclusion from a keyboard user through the real file chooser.
TEST_F(TidewellAppX11Test, PreferencesOpenThroughTheURLSchemeCentredAndTakeAnExclusionByKeyboard) {
    desktop_->writeDesktopEntry("xlogo", "[Desktop Entry]\nType=Application\nName=X Logo\n"
                                         "Exec=xlogo\n");
    run({"xdg-open", "x-tidewell-action://preferences"});
    ASSERT_TRUE(waitFor([] { return windowTitled("General") != 0; }))
        << ::testing::PrintToString(tidewell_->status());
    EXPECT_TRUE(waitFor([] { return frameCentred("General"); }));
    run({"xdotool", "search", "--name", "^General$", "windowactivate", "--sync"});
    run({"xdotool", "key", "ctrl+2"});
    ASSERT_TRUE(waitFor([] { return windowTitled("Exclude") != 0; }));
    const size_t before = desktop_->windows().size();
    run({"xdotool", "key", "--delay", "20", "Tab", "space"});
    ASSERT_TRUE(waitFor([&] { return desktop_->windows().size() > before; }));
    run({"xdotool", "type", "--delay", "10", desktop_->dataHome() + "/applications/xlogo.desktop"});
    run({"xdotool", "key", "Return"});
    const std::string shared = desktop_->home() + "/.config/tidewell/shared.plist";
    EXPECT_TRUE(waitFor([&] {
        return TWReadFile(shared).find("<string>xlogo</string>") != std::string::npos;
    })) << TWReadFile(shared);
    run({"wmctrl", "-c", "Exclude"});
    EXPECT_TRUE(waitFor([] { return windowTitled("Exclude") == 0; }));
}

// The global shortcuts: stored in the shared settings, grabbed by the running instance at once,
// pressed on the keyboard (whatever the state of Caps Lock); a combination another client has
// grabbed first is reported by name.
TEST_F(TidewellAppX11Test, GlobalShortcutsHideAndShowAndAKeyGrabbedElsewhereIsReported) {
    const auto logged = [](const std::string& line) {
        return waitFor([&] { return tidewell_->log().find(line) != std::string::npos; });
    };
    tidewell_->writeSharedSettings({{"ShowFinder", false},
                                    {"Minimize", false},
                                    {"HideOthersShortcut", "Ctrl+Alt+H"},
                                    {"ShowAllShortcut", "Ctrl+Alt+S"}});
    ASSERT_TRUE(logged("Ctrl+Alt+S registered for Show All")) << tidewell_->log();
    run({"xdotool", "key", "Caps_Lock", "ctrl+alt+h", "Caps_Lock"});
    EXPECT_TRUE(waitFor([] { return allMinimized(true); }));
    run({"xdotool", "key", "ctrl+alt+s"});
    EXPECT_TRUE(waitFor([] { return allMinimized(false); }));
    // The keyboard mapping changes: H moves to another key, whose press still hides.
    run({"xmodmap", "-e", "keycode 43 = j J", "-e", "keycode 200 = h H"});
    EXPECT_TRUE(logged("grabbing the shortcuts again")) << tidewell_->log();
    run({"xdotool", "key", "ctrl+alt+h"});
    EXPECT_TRUE(waitFor([] { return allMinimized(true); }));
    run({"xmodmap", "-e", "keycode 43 = h H", "-e", "keycode 200 ="});
    run({"xdotool", "key", "ctrl+alt+s"});
    EXPECT_TRUE(waitFor([] { return allMinimized(false); }));

    // Another client holds Ctrl+Alt+K (K's key 45 in the server's map; Control 4 + Mod1 8)
    // before Tidewell asks.
    const pid_t holder = desktop_->spawn({TWTestProgramPath("tidewell-test-client"), "--class",
                                          "keyholder,KeyHolder", "--grab-key", "45,12"});
    ASSERT_TRUE(waitFor([] { return windowOf("keyholder") != 0; }));
    tidewell_->writeSharedSettings(
        {{"HideOthersShortcut", "Ctrl+Alt+H"}, {"ShowAllShortcut", "Ctrl+Alt+K"}});
    EXPECT_TRUE(logged("Another program already uses Ctrl+Alt+K as a shortcut."))
        << tidewell_->log();
    desktop_->terminate(holder);
    tidewell_->writeSharedSettings({});
}

// Last: replaces the instance. With "Menubar" set the launch starts tidewell-helper once per
// session and registers it as a login item; removing the login item quits the helper.
TEST_F(TidewellAppX11Test, MenubarModeStartsOneHelperPerSession) {
    const std::string helperPath = TWTestProgramPath("tidewell-helper");
    auto helperProcesses = [] {
        return TWTestDesktop::processesWith("DISPLAY=" + desktop_->display(), "tidewell-helper");
    };
    auto registeredHelpers = [] {
        std::vector<TWRegisteredProcess> helpers;
        for (const TWRegisteredProcess& process : TWProcessRegistry::registeredProcesses())
            if (process.bundleIdentifier == TWHelperBundleIdentifier)
                helpers.push_back(process);
        return helpers;
    };
    const std::string entryPath =
        tidewell_->autostartDirectory() + "/" + TWHelperBundleIdentifier + ".desktop";
    // Without "Menubar" (the running instance) nothing is started.
    EXPECT_TRUE(registeredHelpers().empty());
    EXPECT_TRUE(helperProcesses().empty());
    EXPECT_FALSE(std::ifstream(entryPath).good());
    desktop_->terminate(instance_);

    tidewell_->writeSettings({{"CheckForUpdates", false}, {"Menubar", true}});
    const pid_t first = tidewell_->start();
    ASSERT_GT(first, 0);
    ASSERT_TRUE(waitFor([&] { return registeredHelpers().size() == 1; }));
    const TWRegisteredProcess helper = registeredHelpers().front();
    EXPECT_EQ(helperProcesses(), std::vector<pid_t>{helper.pid});
    // Its login item: an autostart entry that starts the helper built next to tidewell.
    EXPECT_NE(TWReadFile(entryPath).find(helperPath), std::string::npos) << TWReadFile(entryPath);

    // A second start hands over to the instance; a new instance finds the helper running; a
    // second helper started by hand (the login item, say) gives way. Still one helper.
    EXPECT_EQ(tidewell_->runAgain({}), 0);
    desktop_->terminate(first);
    const pid_t second = tidewell_->start();
    ASSERT_GT(second, 0);
    EXPECT_EQ(run({"sh", "-c", "'" + helperPath + "' 2>&1; echo \"exit $?\""}),
              "TidewellHelper: another Tidewell Menu runs in this session\nexit 0\n");
    ASSERT_EQ(registeredHelpers().size(), 1u);
    EXPECT_EQ(registeredHelpers().front().pid, helper.pid);
    EXPECT_EQ(helperProcesses(), std::vector<pid_t>{helper.pid});

    // Menu-bar mode turned off, as the preferences do it: the login item goes and the helper
    // quits, taking its registration with it.
    TWXDGServiceManagement services({{TWHelperBundleIdentifier, helperPath}},
                                    tidewell_->autostartDirectory());
    EXPECT_TRUE(services.setLoginItemEnabled(TWHelperBundleIdentifier, false));
    EXPECT_TRUE(waitFor([&] { return registeredHelpers().empty() && helperProcesses().empty(); }));
    EXPECT_FALSE(std::ifstream(entryPath).good());
}

} // namespace
