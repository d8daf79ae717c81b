// SPDX-License-Identifier: MIT
// TWBaseDirectories: the runtime directory's rule and the check that makes a directory private.
#include "TWBaseDirectories.h"
#include "TWTestPaths.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

mode_t modeOf(const fs::path& path) {
    struct stat info {};
    return lstat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 0;
}

class TWBaseDirectoriesTest : public ::testing::Test {
  protected:
    TWTempDir temp_{"tw-basedirs"};
    fs::path root_ = temp_.path;
};

} // namespace

TEST(TWBaseDirectories, RuntimeDirectoryFollowsTheXDGRules) {
    EXPECT_EQ(TWBaseDirectories::runtimeDirectory("/run/user/1000"), "/run/user/1000/tidewell");
    const std::string fallback = "/tmp/tidewell-" + std::to_string(geteuid());
    EXPECT_EQ(TWBaseDirectories::runtimeDirectory("run/user/1000"), fallback)
        << "a relative value is invalid and ignored";
    EXPECT_EQ(TWBaseDirectories::runtimeDirectory(""), fallback);
    EXPECT_EQ(TWBaseDirectories::runtimeDirectory(nullptr), fallback);
}

TEST_F(TWBaseDirectoriesTest, AMissingDirectoryIsCreatedAndAnOpenOneClosed) {
    const fs::path created = root_ / "created";
    EXPECT_EQ(TWBaseDirectories::privateDirectoryProblem(created), "");
    EXPECT_TRUE(fs::is_directory(created));
    EXPECT_EQ(modeOf(created), 0700u);

    const fs::path open = root_ / "open";
    ASSERT_EQ(mkdir(open.c_str(), 0700), 0);
    ASSERT_EQ(chmod(open.c_str(), 0755), 0);
    EXPECT_EQ(TWBaseDirectories::privateDirectoryProblem(open), "");
    EXPECT_EQ(modeOf(open), 0700u);
}

TEST_F(TWBaseDirectoriesTest, ASymlinkAFileOrAMissingParentIsRefusedWithTheReason) {
    // A symlink, even to a private directory of ours: someone else may have placed it.
    const fs::path target = root_ / "target";
    ASSERT_EQ(mkdir(target.c_str(), 0700), 0);
    fs::create_directory_symlink(target, root_ / "link");
    EXPECT_EQ(TWBaseDirectories::privateDirectoryProblem(root_ / "link"),
              (root_ / "link").string() + " is not a directory");

    std::ofstream(root_ / "file") << "x";
    EXPECT_EQ(TWBaseDirectories::privateDirectoryProblem(root_ / "file"),
              (root_ / "file").string() + " is not a directory");

    const std::string missing = TWBaseDirectories::privateDirectoryProblem(root_ / "no" / "dir");
    EXPECT_EQ(missing.rfind("cannot create " + (root_ / "no" / "dir").string(), 0), 0u) << missing;
    EXPECT_FALSE(fs::exists(root_ / "no"));
}

TEST(TWBaseDirectoriesConfigHome, FollowsTheXDGRules) {
    EXPECT_EQ(TWBaseDirectories::configHome("/xdg/conf", "/home/u"), "/xdg/conf");
    EXPECT_EQ(TWBaseDirectories::configHome(nullptr, "/home/u"), "/home/u/.config");
    EXPECT_EQ(TWBaseDirectories::configHome("", "/home/u"), "/home/u/.config");
    EXPECT_EQ(TWBaseDirectories::configHome("relative/conf", "/home/u"), "/home/u/.config");
    EXPECT_EQ(TWBaseDirectories::configHome(nullptr, "/home/u/"), "/home/u/.config");
    EXPECT_EQ(TWBaseDirectories::configHome(nullptr, "/"), "/.config");
    EXPECT_EQ(TWBaseDirectories::configHome(nullptr, nullptr).substr(0, 1), "/")
        << "without HOME, the password database's home is used";
}
