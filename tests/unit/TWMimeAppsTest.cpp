// SPDX-License-Identifier: MIT
// The default application for a MIME type, read from the mimeapps.list files in-process: the
// desktop's own list before the generic one, entries that are not installed skipped, removed
// associations honoured, and a change of a file noticed by the running program.
#include "TWMimeApps.h"
#include "TWTestPaths.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

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
