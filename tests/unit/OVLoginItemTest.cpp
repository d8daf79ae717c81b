// SPDX-License-Identifier: MIT
// Start at login over real XDG autostart entries in a temporary config folder.
#include "OVLoginItem.h"
#include "TWTestPaths.h"
#include "TWXDGAutostart.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

class LoginItemTest : public ::testing::Test {
  protected:
    LoginItemTest() {
        for (const char* program : {"old/tidewell", "new/tidewell", "other/other"})
            executable(root + "/" + program);
    }
    static void executable(const std::string& path) {
        fs::create_directories(fs::path(path).parent_path());
        TWWriteFile(path, "#!/bin/sh\n");
        chmod(path.c_str(), 0755);
    }

    std::vector<std::string> programs() {
        std::vector<std::string> paths;
        for (const TWLoginItemEntry& entry : list.snapshot())
            paths.push_back(entry.resolvedPath.value_or("-"));
        return paths;
    }

    TWTempDir temp{"OVLoginItemTest"};
    std::string root = temp.path;
    TWXDGAutostart list{"/nonexistent"};
};

TEST_F(LoginItemTest, ACopyElsewhereCountsAndIsRepairedToTheEndOfTheList) {
    list = TWXDGAutostart(root + "/autostart");
    list.append("Tidewell", root + "/old/tidewell");
    list.append("Other", root + "/other/other");
    OVLoginItem item("Tidewell", root + "/new/tidewell", &list);
    EXPECT_TRUE(item.isLoginItem());
    EXPECT_TRUE(item.updateLoginItemPathIfNeeded());
    EXPECT_EQ(programs(),
              (std::vector<std::string>{root + "/other/other", root + "/new/tidewell"}));
    EXPECT_TRUE(item.updateLoginItemPathIfNeeded()); // now nothing to do
    EXPECT_EQ(programs().size(), 2u);

    // Installing again leaves one entry, at the end.
    list.append("Other 2", root + "/other/other");
    EXPECT_TRUE(item.installLoginItem());
    EXPECT_EQ(programs(), (std::vector<std::string>{root + "/other/other", root + "/other/other",
                                                    root + "/new/tidewell"}));
}

TEST_F(LoginItemTest, RemovingTakesEveryCopyAndLeavesOtherAndUnresolvableEntries) {
    list = TWXDGAutostart(root + "/autostart");
    list.append("Tidewell", root + "/old/tidewell");
    list.append("Gone", root + "/gone/tidewell"); // its program does not exist
    list.append("Tidewell", root + "/new/tidewell");
    list.append("Other", root + "/other/other");
    OVLoginItem item("Tidewell", root + "/new/tidewell", &list);
    EXPECT_TRUE(item.removeLoginItem());
    EXPECT_FALSE(item.isLoginItem());
    EXPECT_EQ(programs(), (std::vector<std::string>{"-", root + "/other/other"}));
    EXPECT_FALSE(item.removeLoginItem()); // none matched

    // A program found on PATH resolves like the session would run it.
    std::ofstream(root + "/autostart/by-name.desktop")
        << "[Desktop Entry]\nType=Application\nName=Sh\nExec=sh -c true\n";
    EXPECT_EQ(programs().back().substr(programs().back().rfind('/')), "/sh");
}

TEST_F(LoginItemTest, AListThatCannotBeReadIsEmpty) {
    OVLoginItem missing("Tidewell", root + "/new/tidewell", &list);
    EXPECT_FALSE(missing.isLoginItem());
    EXPECT_FALSE(missing.removeLoginItem());
    EXPECT_TRUE(missing.updateLoginItemPathIfNeeded());
    OVLoginItem none("Tidewell", root + "/new/tidewell", nullptr);
    EXPECT_FALSE(none.installLoginItem());
    EXPECT_FALSE(none.isLoginItem());
}

} // namespace
