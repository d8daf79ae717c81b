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

namespace {

class TWMimeAppsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::filesystem::create_directories(root_ + "/data/applications");
        std::filesystem::create_directories(root_ + "/config");
        for (const char* id : {"pcmanfm", "thunar", "org.example.Viewer"})
            TWWriteFile(root_ + "/data/applications/" + id + ".desktop",
                        "[Desktop Entry]\nType=Application\nName=" + std::string(id) +
                            "\nExec=" + id + " %U\n");
        setenv("XDG_CONFIG_HOME", (root_ + "/config").c_str(), 1);
        setenv("XDG_CONFIG_DIRS", (root_ + "/none").c_str(), 1);
        setenv("XDG_DATA_HOME", (root_ + "/data").c_str(), 1);
        setenv("XDG_DATA_DIRS", (root_ + "/none").c_str(), 1);
        setenv("XDG_CURRENT_DESKTOP", "XFCE", 1);
    }
    void write(const std::string& file, const std::string& text) {
        // A new file in place of the old, as editors and xdg-mime write it.
        TWWriteFile(root_ + "/config/" + file + ".new", text);
        std::filesystem::rename(root_ + "/config/" + file + ".new", root_ + "/config/" + file);
    }
    TWTempDir temp_{"tidewell-mimeapps"};
    std::string root_ = temp_.path;
};

TEST_F(TWMimeAppsTest, TheDesktopsListWinsMissingEntriesAreSkippedAndChangesAreNoticed) {
    const TWDesktopEntryIndex installed({root_ + "/data"});
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
}

} // namespace
