// SPDX-License-Identifier: MIT
// Start at login over real XDG autostart entries in a temporary config folder.
#include "OVLoginItem.h"
#include "TWTestPaths.h"
#include "TWXDGAutostart.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>

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

TEST_F(LoginItemTest, ACopyElsewhereCountsAndIsRepairedToTheEndOfTheList) {
    list.append("Tidewell", old);
    list.append("Other", other);
    EXPECT_TRUE(item.isLoginItem());
    EXPECT_TRUE(item.updateLoginItemPathIfNeeded());
    EXPECT_EQ(programs(), (Paths{other, now}));
    EXPECT_TRUE(item.updateLoginItemPathIfNeeded()); // now nothing to do
    EXPECT_EQ(programs().size(), 2u);

    // Installing again leaves one entry, at the end.
    list.append("Other 2", other);
    EXPECT_TRUE(item.installLoginItem());
    EXPECT_EQ(programs(), (Paths{other, other, now}));
}

TEST_F(LoginItemTest, RemovingTakesEveryCopyAndLeavesOtherAndUnresolvableEntries) {
    list.append("Tidewell", old);
    list.append("Gone", root + "/gone/tidewell"); // its program does not exist
    list.append("Tidewell", now);
    list.append("Other", other);
    EXPECT_TRUE(item.removeLoginItem());
    EXPECT_FALSE(item.isLoginItem());
    EXPECT_EQ(programs(), (Paths{"-", other}));
    EXPECT_FALSE(item.removeLoginItem()); // none matched

    // A program found on PATH resolves like the session would run it.
    TWWriteFile(root + "/autostart/by-name.desktop",
                "[Desktop Entry]\nType=Application\nName=Sh\nExec=sh -c true\n");
    EXPECT_EQ(programs().back().substr(programs().back().rfind('/')), "/sh");
}

TEST_F(LoginItemTest, AListThatCannotBeReadIsEmpty) {
    TWXDGAutostart unreadable{"/nonexistent"};
    OVLoginItem missing("Tidewell", now, &unreadable);
    EXPECT_FALSE(missing.isLoginItem());
    EXPECT_FALSE(missing.removeLoginItem());
    EXPECT_TRUE(missing.updateLoginItemPathIfNeeded());
    OVLoginItem none("Tidewell", now, nullptr);
    EXPECT_FALSE(none.installLoginItem());
    EXPECT_FALSE(none.isLoginItem());
}

} // namespace
