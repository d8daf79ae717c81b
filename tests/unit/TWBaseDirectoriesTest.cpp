// SPDX-License-Identifier: MIT
// TWBaseDirectories: the XDG directory rules and the check that makes a directory private.
#include "TWBaseDirectories.h"
#include "TWTestPaths.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

TEST(TWBaseDirectories, RuntimeAndConfigDirectoriesFollowTheXDGRules) {
    EXPECT_EQ(TWBaseDirectories::runtimeDirectory("/run/user/1000"), "/run/user/1000/tidewell");
    const std::string fallback = "/tmp/tidewell-" + std::to_string(geteuid());
    // An empty or relative value is invalid and ignored.
    for (const char* invalid : {"run/user/1000", "", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(TWBaseDirectories::runtimeDirectory(invalid), fallback);
        EXPECT_EQ(TWBaseDirectories::configHome(invalid, "/home/u/"), "/home/u/.config");
    }
    EXPECT_EQ(TWBaseDirectories::configHome("/xdg/conf", "/home/u"), "/xdg/conf");
    EXPECT_EQ(TWBaseDirectories::configHome(nullptr, "/"), "/.config");
    EXPECT_EQ(TWBaseDirectories::configHome(nullptr, nullptr).substr(0, 1), "/")
        << "without HOME, the password database's home is used";
}

TEST(TWBaseDirectories, AMissingDirectoryIsCreatedAnOpenOneClosedOthersRefusedWithTheReason) {
    const TWTempDir temp("tw-basedirs");
    const fs::path root = temp.path;
    const auto mode = [](const fs::path& path) {
        struct stat info {};
        return lstat(path.c_str(), &info) == 0 ? info.st_mode : 0;
    };
    EXPECT_EQ(TWBaseDirectories::privateDirectoryProblem(root / "created"), "");
    EXPECT_EQ(mode(root / "created"), 040700u);
    ASSERT_EQ(chmod((root / "created").c_str(), 0755), 0);
    EXPECT_EQ(TWBaseDirectories::privateDirectoryProblem(root / "created"), "");
    EXPECT_EQ(mode(root / "created"), 040700u);

    // A symlink, even to a private directory of ours: someone else may have placed it.
    fs::create_directory_symlink(root / "created", root / "link");
    TWWriteFile(root / "file", "x");
    for (const char* name : {"link", "file"})
        EXPECT_EQ(TWBaseDirectories::privateDirectoryProblem(root / name),
                  (root / name).string() + " is not a directory");
    const std::string missing = TWBaseDirectories::privateDirectoryProblem(root / "no" / "dir");
    EXPECT_EQ(missing.rfind("cannot create " + (root / "no" / "dir").string(), 0), 0u) << missing;
    EXPECT_FALSE(fs::exists(root / "no"));
}
