// SPDX-License-Identifier: MIT
// The menu-bar helper's menu on the simulated desktop, and its one-per-session lock.
#include "TidewellHelper.h"

#include "TWCommon.h"
#include "TWLog.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWSimDesktop.h"
#include "TWUserDefaults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace {

bool contains(const std::vector<std::string>& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

class TidewellHelperTest : public ::testing::Test {
  protected:
    TidewellHelperTest()
        : standard(std::make_shared<TWSimDefaultsStore>()),
          shared(std::make_shared<TWSimDefaultsStore>()) {
        TWRegisterDefaults(standard, shared);
        desktop.setFileManagerBundleIdentifier("org.example.Files");
        desktop.launchApplication(std::string("org.example.Files"), "Files");
        desktop.launchApplication(std::string("org.example.Terminal"), "Terminal");
        const auto editor = desktop.launchApplication(std::string("org.example.Editor"), "Editor");
        desktop.makeActive(editor);
        desktop.clearLog();
        TWSetLogSink([this](const std::string& line) { logged.push_back(line); });
    }
    ~TidewellHelperTest() override { TWSetLogSink({}); }

    // Chooses the item titled `title` in a fresh menu; false when there is none.
    bool choose(const std::string& title) {
        const std::shared_ptr<TWMenu> menu = helper.buildMenu();
        desktop.clearLog(); // the listing that built the menu
        for (const auto& item : menu->items())
            if (!item->isSeparatorItem() && item->title() == title) {
                item->perform();
                return true;
            }
        return false;
    }

    TWSimDesktop desktop;
    TWUserDefaults standard;
    TWUserDefaults shared;
    TWCommon common{desktop, shared};
    int quits = 0;
    TidewellHelper helper{common, desktop, [this] { ++quits; }};
    std::vector<std::string> logged;
};

TEST_F(TidewellHelperTest, TheMenuOffersTheActionsAndTheRunningApplicationsInOrder) {
    std::vector<std::string> titles;
    const std::shared_ptr<TWMenu> menu = helper.buildMenu();
    for (const auto& item : menu->items())
        titles.push_back(item->isSeparatorItem() ? "-" : item->title());
    EXPECT_EQ(titles, (std::vector<std::string>{"Hide All", "Show All", "-", "Toggle Visibility",
                                                "   Editor", "   Files", "   Terminal", "-",
                                                "Preferences...", "-", "Quit"}));
    // Each request builds a new menu: nothing of an old one is handed out again.
    EXPECT_NE(helper.buildMenu(), helper.buildMenu());
}

TEST_F(TidewellHelperTest, EachItemRunsItsActionAndQuitTouchesNothingElse) {
    auto app = [this](const char* id) { return *desktop.applicationWithIdentifier(id); };
    ASSERT_TRUE(choose("Hide All"));
    EXPECT_TRUE(app("org.example.Terminal").hidden && app("org.example.Editor").hidden);
    EXPECT_FALSE(app("org.example.Files").hidden);
    ASSERT_TRUE(choose("Show All"));
    EXPECT_FALSE(app("org.example.Terminal").hidden || app("org.example.Editor").hidden);

    // A running application toggles; the next menu is built afresh and brings it back.
    ASSERT_TRUE(choose("   Terminal"));
    EXPECT_TRUE(app("org.example.Terminal").hidden);
    ASSERT_TRUE(choose("   Terminal"));
    EXPECT_FALSE(app("org.example.Terminal").hidden);
    EXPECT_TRUE(app("org.example.Terminal").active);
    EXPECT_FALSE(contains(desktop.log(), "hide Editor"));
    EXPECT_EQ(quits, 0);

    ASSERT_TRUE(choose("Quit"));
    EXPECT_EQ(quits, 1);
    EXPECT_TRUE(desktop.log().empty());
}

TEST_F(TidewellHelperTest, PreferencesGoThroughTheURLSchemeAndAFailureIsLogged) {
    ASSERT_TRUE(choose("Preferences..."));
    EXPECT_EQ(desktop.log(), (std::vector<std::string>{"openURL x-tidewell-action://preferences"}));
    EXPECT_TRUE(logged.empty());

    desktop.setOpenURLResult(false);
    ASSERT_TRUE(choose("Preferences..."));
    ASSERT_EQ(logged.size(), 1u);
    EXPECT_EQ(logged[0], "TidewellHelper: nothing could open x-tidewell-action://preferences");
}

TEST(TidewellHelperLockTest, OneHolderAtATimeAndFreedWhenTheHolderCloses) {
    char pattern[] = "/tmp/tidewell-helper-lock-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    const std::string directory = pattern;

    const int first = TidewellHelper::acquireSessionLock(directory);
    ASSERT_GE(first, 0);
    // A second helper (another open of the same file) is refused while the first holds it.
    EXPECT_EQ(TidewellHelper::acquireSessionLock(directory), -1);
    ::close(first);
    const int next = TidewellHelper::acquireSessionLock(directory);
    EXPECT_GE(next, 0);
    ::close(next);

    std::vector<std::string> logged;
    TWSetLogSink([&](const std::string& line) { logged.push_back(line); });
    EXPECT_EQ(TidewellHelper::acquireSessionLock(directory + "/missing"), -1);
    EXPECT_EQ(TidewellHelper::acquireSessionLock(""), -1);
    TWSetLogSink({});
    ASSERT_EQ(logged.size(), 1u);
    EXPECT_NE(logged[0].find("TidewellHelper: cannot open " + directory + "/missing/helper.lock"),
              std::string::npos);
    std::filesystem::remove_all(directory);
}

} // namespace
