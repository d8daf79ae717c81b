// SPDX-License-Identifier: MIT
// Tidewell on a headless KWin, as a panel and a screen reader see it: tray and preferences.
#include "TWKWinTestDesktop.h"
#include "TWTestPaths.h"
#include "TWTestTidewell.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <sstream>

namespace {

const std::string kHost = TIDEWELL_TEST_SOURCE_DIR "/tests/kwin/tw_sni_host.py",
                  kScreenReader = TIDEWELL_TEST_SOURCE_DIR "/tests/kwin/tw_atspi_toggle.py";
// The system's Python, whose modules the Debian packages (python3-dbus, python3-pyatspi) are.
const std::string kPython = "/usr/bin/python3";

TEST(TidewellAppKWinTest, TheTrayIsAStatusNotifierItemAPanelReadsAndDrives) {
    TWKWinTestDesktop session({TWTestTidewell::programPath()});
    ASSERT_TRUE(session.ok()) << session.error();
    const std::string items = session.home() + "/tray-items";
    session.spawn({kPython, kHost, items});
    ASSERT_TRUE(waitFor([&] { return std::filesystem::exists(items); }))
        << "the panel host did not start";
    TWTestTidewell tidewell(session);
    setenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1", 1);
    ASSERT_GT(tidewell.start(), 0) << "tidewell never answered:\n" << tidewell.log();

    std::string service, path;
    ASSERT_TRUE(waitFor([&] {
        std::istringstream registered(TWReadFile(items));
        return bool(registered >> service >> path);
    })) << tidewell.log();
    auto property = [&](const std::string& name) {
        return busCall(service, path, "org.freedesktop.DBus.Properties.Get",
                       {"org.kde.StatusNotifierItem", name});
    };
    const std::string icon = property("IconName") + property("IconPixmap");
    EXPECT_TRUE(std::regex_search(icon, std::regex("<'.+'>|\\(\\d+, \\d+, (\\[byte|b')"))) << icon;
    EXPECT_NE(property("ToolTip").find(", 'Tidewell', "), std::string::npos);
    // The menu, built as it opens; its labels without their mnemonics' marks.
    std::smatch menu;
    const std::string menuPath = property("Menu");
    ASSERT_TRUE(std::regex_search(menuPath, menu, std::regex("objectpath '([^']+)'"))) << menuPath;
    busCall(service, menu[1], "com.canonical.dbusmenu.AboutToShow", {"0"});
    std::string layout =
        busCall(service, menu[1], "com.canonical.dbusmenu.GetLayout", {"0", "int32 -1", "@as []"});
    std::erase(layout, '_');
    EXPECT_TRUE(std::regex_search(
        layout, std::regex("'Preferences\\.\\.\\.'.*'Hide All'.*'Show All'.*'Quit'")))
        << menuPath << layout;

    // A client's window: KWin activates it once it shows it.
    const pid_t flower = session.spawn({"weston-flower"});
    std::string uuid;
    ASSERT_TRUE(waitFor([&] { return !(uuid = session.activeWindow()).empty(); }));
    auto becomes = [&](bool minimized) {
        return waitFor([&] { return session.flag(uuid) == minimized; });
    };
    // The click hides the others, the middle click shows all (the menu's entries: the
    // delegate's tests).
    EXPECT_EQ(busCall(service, path, "org.kde.StatusNotifierItem.Activate", {"0", "0"}), "()\n");
    EXPECT_TRUE(becomes(true));
    EXPECT_EQ(busCall(service, path, "org.kde.StatusNotifierItem.SecondaryActivate", {"0", "0"}),
              "()\n");
    EXPECT_TRUE(becomes(false));
    session.terminate(flower);

    // A screen reader's Toggle on the preferences' first checkbox (on by default) turns it off,
    // in the window and in the store.
    const std::string sharedFile = session.home() + "/.config/tidewell/shared.plist";
    ASSERT_EQ(TWTestTidewell::request("url x-tidewell-action://preferences"), "ok");
    EXPECT_EQ(run({"sh", "-c", "\"$0\" \"$@\" 2>&1", kPython, kScreenReader, "Tidewell",
                   "Minimize the file manager's windows"}),
              "unchecked\n");
    EXPECT_TRUE(waitFor([&] {
        const std::string file = TWReadFile(sharedFile);
        return std::regex_search(file, std::regex("<key>Minimize</key>\\s*<false/>"));
    })) << TWReadFile(sharedFile);
}

} // namespace
