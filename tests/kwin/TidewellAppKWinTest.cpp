// SPDX-License-Identifier: MIT
// The real tidewell program on a headless KWin, observed from outside: its tray icon as a
// StatusNotifierItem that a small panel host on the session bus reads and drives (icon, menu,
// Activate, SecondaryActivate), with KWin reporting what became of a client's window; and its
// preferences driven over the accessibility bus as a screen reader does.
#include "TWKWinTestDesktop.h"
#include "TWTestPaths.h"
#include "TWTestTidewell.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <sstream>

namespace {

const std::string kScripts = TIDEWELL_TEST_SOURCE_DIR "/tests/kwin/";
// The system's Python, whose modules the Debian packages (python3-dbus, python3-pyatspi) are.
const std::string kPython = "/usr/bin/python3";

class TidewellAppKWinTest : public ::testing::Test {
  protected:
    // One compositor, one panel host and one Tidewell (with its accessibility bridge on) for
    // the program.
    static void SetUpTestSuite() {
        session_ = new TWKWinTestDesktop({TWTestTidewell::programPath()});
        if (!session_->ok())
            return;
        items_ = session_->home() + "/tray-items";
        session_->spawn({kPython, kScripts + "tw_sni_host.py", "host", items_});
        hostUp_ = waitFor([] { return std::filesystem::exists(items_); });
        tidewell_ = new TWTestTidewell(*session_);
        setenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1", 1);
        instance_ = tidewell_->start();
    }
    static void TearDownTestSuite() {
        delete std::exchange(tidewell_, nullptr);
        delete std::exchange(session_, nullptr);
    }
    void SetUp() override {
        ASSERT_TRUE(session_->ok()) << session_->error();
        ASSERT_TRUE(hostUp_) << "the panel host did not start";
        ASSERT_GT(instance_, 0) << "tidewell never answered:\n" << tidewell_->log();
    }
    // A script's standard output, its errors after it.
    static std::string script(const std::string& name, const std::vector<std::string>& args) {
        std::string command = kPython + " \"$0\"";
        for (std::size_t i = 0; i < args.size(); ++i)
            command += " \"$" + std::to_string(i + 1) + "\"";
        std::vector<std::string> argv{"sh", "-c", command + " 2>&1", kScripts + name};
        // run() quotes each word in single quotes.
        for (const std::string& arg : args)
            argv.push_back(std::regex_replace(arg, std::regex("'"), "'\\''"));
        return run(argv);
    }

    static inline TWKWinTestDesktop* session_ = nullptr;
    static inline TWTestTidewell* tidewell_ = nullptr;
    static inline std::string items_;
    static inline bool hostUp_ = false;
    static inline pid_t instance_ = -1;
};

TEST_F(TidewellAppKWinTest, TheTrayIsAStatusNotifierItemAPanelReadsAndDrives) {
    std::string service, path;
    ASSERT_TRUE(waitFor([&] {
        std::istringstream registered(TWReadFile(items_));
        return bool(registered >> service >> path);
    })) << tidewell_->log();
    const std::string shown = script("tw_sni_host.py", {"show", service, path});
    EXPECT_TRUE(std::regex_search(shown, std::regex("\nIconPixmap=[0-9]+x[0-9]+|^IconName=.+")))
        << shown;
    EXPECT_NE(shown.find("ToolTip=Tidewell\n"), std::string::npos) << shown;
    EXPECT_TRUE(std::regex_search(shown, std::regex("\nMenu=.*Preferences\\.\\.\\.\\|Hide "
                                                    "All\\|Show All\\|.*Quit\n")))
        << shown;

    // A client's window: KWin activates it once it shows it.
    const pid_t flower = session_->spawn({"weston-flower"});
    std::string uuid;
    ASSERT_TRUE(waitFor([&] { return !(uuid = session_->activeWindow()).empty(); }));
    auto becomes = [&](bool minimized) {
        return waitFor([&] { return session_->flag(uuid) == minimized; });
    };
    // The click hides the others, the middle click shows all (the menu's entries: the
    // delegate's tests).
    EXPECT_EQ(script("tw_sni_host.py", {"call", service, path, "Activate"}), "");
    EXPECT_TRUE(becomes(true));
    EXPECT_EQ(script("tw_sni_host.py", {"call", service, path, "SecondaryActivate"}), "");
    EXPECT_TRUE(becomes(false));
    session_->terminate(flower);
}

TEST_F(TidewellAppKWinTest, AScreenReadersToggleOnTheAccessibilityBusIsStored) {
    const std::string sharedFile = session_->home() + "/.config/tidewell/shared.plist";
    auto minimizeStored = [&](const char* value) {
        const std::string file = TWReadFile(sharedFile);
        const size_t key = file.find("<key>Minimize</key>");
        return key != std::string::npos &&
               file.find_first_not_of(" \t\n", key + 19) == file.find(value, key);
    };
    ASSERT_EQ(TWTestTidewell::request("url x-tidewell-action://preferences"), "ok");
    // On by default: the Toggle turns it off, in the window and in the store.
    EXPECT_EQ(script("tw_atspi_toggle.py", {"Tidewell", "Minimize the file manager's windows"}),
              "unchecked\n");
    EXPECT_TRUE(waitFor([&] { return minimizeStored("<false/>"); })) << TWReadFile(sharedFile);
}

} // namespace
