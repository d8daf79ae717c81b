// SPDX-License-Identifier: MIT
// Start at login over real XDG autostart entries in a temporary config folder.
#include "OVLoginItem.h"
#include "TWTestPaths.h"
#include "TWXDGAutostart.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Paths = std::vector<std::string>;

struct LoginItemTest : ::testing::Test {
    LoginItemTest() {
        for (const std::string& program : {old, now, other}) {
            std::filesystem::create_directories(std::filesystem::path(program).parent_path());
            TWWriteFile(program, "#!/bin/sh\n");
            chmod(program.c_str(), 0755);
        }
    }
    Paths programs() {
        Paths paths;
        for (const TWLoginItemEntry& entry : list.snapshot())
            paths.push_back(entry.resolvedPath.value_or("-"));
        return paths;
    }

    TWTempDir temp{"OVLoginItemTest"};
    std::string root = temp.path, old = root + "/old/tidewell", now = root + "/new/tidewell",
                other = root + "/other/other";
    TWXDGAutostart list{root + "/autostart"};
    OVLoginItem item{"Tidewell", now, &list};
};

// A copy elsewhere counts; installing leaves one entry, at the end; removing takes every copy
// and leaves other and unresolvable entries.
TEST_F(LoginItemTest, InstallingLeavesOneEntryAtTheEndAndRemovingTakesEveryCopy) {
    list.append("Tidewell", old);
    list.append("Other", other);
    EXPECT_TRUE(item.isLoginItem());
    list.append("Gone", root + "/gone/tidewell"); // its program does not exist
    EXPECT_TRUE(item.installLoginItem());
    EXPECT_EQ(programs(), (Paths{other, "-", now}));
    list.append("Tidewell", old);
    EXPECT_TRUE(item.removeLoginItem());
    EXPECT_FALSE(item.isLoginItem());
    EXPECT_EQ(programs(), (Paths{other, "-"}));
    EXPECT_FALSE(item.removeLoginItem()); // none matched
    TWXDGAutostart unreadable{"/nonexistent"};
    EXPECT_FALSE(OVLoginItem("Tidewell", now, &unreadable).isLoginItem());

    // A program found on PATH resolves like the session would run it.
    TWWriteFile(root + "/autostart/by-name.desktop",
                "[Desktop Entry]\nType=Application\nName=Sh\nExec=sh -c true\n");
    EXPECT_EQ(programs().back().substr(programs().back().rfind('/')), "/sh");
}

// Entries the user edited by hand: turned off with Hidden=true or X-GNOME-Autostart-enabled=false
// (shown off; turning on edits that entry, keeping the rest), and started through env.
TEST_F(LoginItemTest, EntriesTurnedOffByHandAreOffAndTurningOnEditsThem) {
    const std::string hand = root + "/autostart/by-hand.desktop";
    std::filesystem::create_directories(root + "/autostart");
    TWWriteFile(hand, "[Desktop Entry]\nType=Application\nName=Mine\nExec=" + now +
                          "\nHidden = true\nX-GNOME-Autostart-enabled=false\nX-Mine=kept\n"
                          "[Desktop Action new]\nHidden=true\n");
    EXPECT_FALSE(item.isLoginItem());
    EXPECT_TRUE(item.installLoginItem());
    EXPECT_TRUE(item.isLoginItem());
    EXPECT_EQ(programs(), (Paths{now}));
    const std::string edited = TWReadFile(hand);
    EXPECT_EQ(edited.find("Hidden = true"), std::string::npos) << edited;
    EXPECT_NE(edited.find("X-Mine=kept\n"), std::string::npos) << edited;
    EXPECT_NE(edited.find("[Desktop Action new]\nHidden=true\n"), std::string::npos) << edited;

    TWWriteFile(hand, "[Desktop Entry]\nType=Application\nName=Mine\nExec=" + now +
                          "\nX-GNOME-Autostart-enabled=false\n");
    EXPECT_FALSE(item.isLoginItem());
    TWWriteFile(hand, "[Desktop Entry]\nType=Application\nName=Mine\nExec=env LANG=de_DE.UTF-8 " +
                          now + " --quiet\n");
    EXPECT_TRUE(item.isLoginItem());
    EXPECT_TRUE(item.removeLoginItem());
    EXPECT_EQ(programs(), Paths{});
}

// Programs under paths with the characters the Exec line reserves are written quoted on both
// levels of the format: desktop-file-validate accepts the entry, and GLib, launching it as a
// session would, starts exactly that program. A path that is not UTF-8, or holds a '%' (which
// GLib looks for on disk before it undoes the quoting, so never finds), is refused and nothing
// is left behind.
TEST_F(LoginItemTest, ReservedCharactersInThePathSurviveGLibsLaunchOrAreRefused) {
    if (std::system("command -v gio >/dev/null && command -v desktop-file-validate >/dev/null"))
        GTEST_SKIP() << "needs gio (libglib2.0-bin) and desktop-file-validate";
    int n = 0;
    for (const std::string dir : {"with space", "quote\"d", "dollar$HOME", "back`tick`",
                                  "back\\slash", "new\nline\tand tab", "all \" $ ` \\ \n"}) {
        const std::string program = root + "/" + dir + "/tidewell";
        const std::string ran = root + "/ran-" + std::to_string(++n);
        std::filesystem::create_directories(std::filesystem::path(program).parent_path());
        TWWriteFile(program, "#!/bin/sh\nprintf %s \"$0\" >'" + ran + "'\n");
        chmod(program.c_str(), 0755);
        OVLoginItem weird("Tidewell", program, &list);
        ASSERT_TRUE(weird.installLoginItem()) << dir;
        EXPECT_TRUE(weird.isLoginItem()) << dir;
        const std::string file = list.snapshot().at(0).reference;
        EXPECT_EQ(std::system(("desktop-file-validate '" + file + "' >&2").c_str()), 0)
            << TWReadFile(file);
        EXPECT_EQ(std::system(("gio launch '" + file + "' >&2").c_str()), 0) << TWReadFile(file);
        for (int i = 0; i < 500 && TWReadFile(ran).empty(); ++i)
            usleep(10000);
        EXPECT_EQ(TWReadFile(ran), program) << TWReadFile(file);
        EXPECT_TRUE(weird.removeLoginItem());
    }
    for (const std::string refused : {"/bad\xff/tidewell", "/percent%f/tidewell"}) {
        OVLoginItem weird("Tidewell", root + refused, &list);
        EXPECT_FALSE(weird.installLoginItem()) << refused;
        EXPECT_FALSE(weird.isLoginItem()) << refused;
    }
    EXPECT_TRUE(std::filesystem::is_empty(root + "/autostart"));
}

} // namespace
