// SPDX-License-Identifier: MIT
// The freedesktop.org rules Tidewell follows: the base directories (and the check that makes a
// directory private), starting programs (one that cannot start is reported), and the default
// application for a MIME type read from the mimeapps.list files (the desktop's own list before
// the generic one, entries not installed skipped, removed associations honoured, a changed file
// noticed by the running program).
#include "TWBaseDirectories.h"
#include "TWLogCapture.h"
#include "TWMimeApps.h"
#include "TWTestPaths.h"
#include "TWXDGServiceManagement.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

TEST(TWBaseDirectories, TheXDGRulesAndAPrivateDirectoryMadeClosedOrRefusedWithTheReason) {
    const std::string fallback = "/tmp/tidewell-" + std::to_string(geteuid());
    // An empty or relative value is invalid and ignored.
    for (const char* invalid : {"run/user/1000", "", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(TWBaseDirectories::runtimeDirectory(invalid), fallback);
        EXPECT_EQ(TWBaseDirectories::configHome(invalid, "/home/u/"), "/home/u/.config");
    }
    EXPECT_EQ(TWBaseDirectories::configHome(nullptr, nullptr).substr(0, 1), "/")
        << "without HOME, the password database's home is used";

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

TEST(TWXDGServiceManagement, AProgramThatCannotStartIsReportedAndMayBeTriedAgainAtOnce) {
    const TWTempDir temp("tw-launch");
    const fs::path dir = temp.path;
    TWLogCapture log;
    TWXDGServiceManagement services({}, (dir / "autostart").string());

    // Executable, but its interpreter does not exist: only the exec itself fails.
    const fs::path program = dir / "helper";
    TWWriteFile(program, "#!/nonexistent/interpreter\n");
    fs::permissions(program, fs::perms::owner_all);
    EXPECT_FALSE(services.launchApplication(program.string(), 0));
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_EQ(log.lines[0].rfind("TWProcessLauncher: cannot start " + program.string(), 0), 0u)
        << log.lines[0];

    // Repaired, it starts at once: the failed start is not taken for one still under way.
    TWWriteFile(program, "#!/bin/sh\ntouch '" + (dir / "ran").string() + "'\n");
    EXPECT_TRUE(services.launchApplication(program.string(), 0));
    for (int i = 0; i < 500 && !fs::exists(dir / "ran"); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_TRUE(fs::exists(dir / "ran"));
}

TEST(TWMimeApps, TheDesktopsListWinsMissingEntriesAreSkippedAndChangesAreNoticed) {
    const TWTempDir temp("tidewell-mimeapps");
    const std::string root = temp.path;
    std::filesystem::create_directories(root + "/data/applications");
    std::filesystem::create_directories(root + "/config");
    for (const char* id : {"pcmanfm", "thunar", "org.example.Viewer"})
        TWWriteFile(root + "/data/applications/" + id + ".desktop",
                    "[Desktop Entry]\nType=Application\nName=" + std::string(id) + "\nExec=" + id +
                        " %U\n");
    for (const auto& [name, value] : {std::pair{"XDG_CONFIG_HOME", "/config"},
                                      {"XDG_CONFIG_DIRS", "/none"},
                                      {"XDG_DATA_HOME", "/data"},
                                      {"XDG_DATA_DIRS", "/none"}})
        setenv(name, (root + value).c_str(), 1);
    setenv("XDG_CURRENT_DESKTOP", "XFCE", 1);
    // A new file in place of the old, as editors and xdg-mime write it.
    const auto write = [&](const std::string& file, const std::string& text) {
        TWWriteFile(root + "/config/" + file + ".new", text);
        std::filesystem::rename(root + "/config/" + file + ".new", root + "/config/" + file);
    };
    const TWDesktopEntryIndex installed({root + "/data"});
    TWMimeApps apps;
    EXPECT_FALSE(apps.defaultApplication("inode/directory", installed)) << "nothing handles it";

    write("mimeapps.list",
          "[Default Applications]\ninode/directory=gone.desktop;pcmanfm.desktop\n"
          "[Added Associations]\nimage/png=org.example.Viewer.desktop;thunar.desktop\n");
    EXPECT_EQ(apps.defaultApplication("inode/directory", installed), "pcmanfm");
    EXPECT_EQ(apps.defaultApplication("image/png", installed), "org.example.Viewer");

    // The desktop's own list comes first; what it removes is no longer offered.
    write("xfce-mimeapps.list", "[Default Applications]\ninode/directory=thunar.desktop\n"
                                "[Removed Associations]\nimage/png=org.example.Viewer.desktop\n");
    EXPECT_EQ(apps.defaultApplication("inode/directory", installed), "thunar");
    EXPECT_EQ(apps.defaultApplication("image/png", installed), "thunar");
    write("xfce-mimeapps.list", "[Default Applications]\ninode/directory=pcmanfm.desktop\n");
    EXPECT_EQ(apps.defaultApplication("inode/directory", installed), "pcmanfm");

    // A folder handler of its own, which starts the file manager's program, stands for it.
    TWWriteFile(root + "/data/applications/pcmanfm-folder.desktop",
                "[Desktop Entry]\nType=Application\nName=Folder\nExec=pcmanfm --new-win %U\n");
    write("xfce-mimeapps.list", "[Default Applications]\ninode/directory=pcmanfm-folder.desktop\n");
    EXPECT_EQ(apps.defaultFileManager(TWDesktopEntryIndex({root + "/data"})), "pcmanfm");
}
