// SPDX-License-Identifier: MIT
// The real tidewell program on a headless KWin, observed from outside: its tray icon as a
// StatusNotifierItem that a small panel host on the session bus reads and drives (icon, menu,
// Activate, SecondaryActivate), with KWin reporting what became of a client's window.
#include "TWKWinTestDesktop.h"
#include "TWTestPaths.h"
#include "TWTestTidewell.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <sstream>

namespace {

const std::string kHost = TIDEWELL_TEST_SOURCE_DIR "/tests/kwin/tw_sni_host.py";
// The system's Python, whose modules the Debian packages (python3-dbus) are.
const std::string kPython = "/usr/bin/python3";

// The panel host's standard output for `args`, its errors after it.
std::string panel(std::vector<std::string> args) {
    args.insert(args.begin(), {"sh", "-c", "\"$0\" \"$@\" 2>&1", kPython, kHost});
    return run(args);
}

TEST(TidewellAppKWinTest, TheTrayIsAStatusNotifierItemAPanelReadsAndDrives) {
    TWKWinTestDesktop session({TWTestTidewell::programPath()});
    ASSERT_TRUE(session.ok()) << session.error();
    const std::string items = session.home() + "/tray-items";
    session.spawn({kPython, kHost, "host", items});
    ASSERT_TRUE(waitFor([&] { return std::filesystem::exists(items); }))
        << "the panel host did not start";
    TWTestTidewell tidewell(session);
    ASSERT_GT(tidewell.start(), 0) << "tidewell never answered:\n" << tidewell.log();

    std::string service, path;
    ASSERT_TRUE(waitFor([&] {
        std::istringstream registered(TWReadFile(items));
        return bool(registered >> service >> path);
    })) << tidewell.log();
    const std::string shown = panel({"show", service, path});
    EXPECT_TRUE(std::regex_search(shown, std::regex("\nIconPixmap=[0-9]+x[0-9]+|^IconName=.+")))
        << shown;
    EXPECT_NE(shown.find("ToolTip=Tidewell\n"), std::string::npos) << shown;
    EXPECT_TRUE(std::regex_search(shown, std::regex("\nMenu=.*Preferences\\.\\.\\.\\|Hide "
                                                    "All\\|Show All\\|.*Quit\n")))
        << shown;

    // A client's window: KWin activates it once it shows it.
    const pid_t flower = session.spawn({"weston-flower"});
    std::string uuid;
    ASSERT_TRUE(waitFor([&] { return !(uuid = session.activeWindow()).empty(); }));
    auto becomes = [&](bool minimized) {
        return waitFor([&] { return session.flag(uuid) == minimized; });
    };
    // The click hides the others, the middle click shows all (the menu's entries: the
    // delegate's tests).
    EXPECT_EQ(panel({"call", service, path, "Activate"}), "");
    EXPECT_TRUE(becomes(true));
    EXPECT_EQ(panel({"call", service, path, "SecondaryActivate"}), "");
    EXPECT_TRUE(becomes(false));
    session.terminate(flower);
}

} // namespace
