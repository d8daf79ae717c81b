// SPDX-License-Identifier: MIT
// The menu-bar helper's menu on the simulated desktop (its one-per-session lock: with the real
// program, in TidewellAppX11Test).
#include "TidewellHelper.h"

#include "TWCommon.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWSimDesktop.h"
#include "TWUserDefaults.h"

#include <gtest/gtest.h>

namespace {

using Log = std::vector<std::string>;

struct TidewellHelperTest : ::testing::Test {
    TidewellHelperTest() {
        TWRegisterDefaults(standard, shared);
        desktop.setFileManagerBundleIdentifier("org.example.Files");
        for (const char* name : {"Files", "Terminal", "Editor"})
            desktop.launchApplication("org.example." + std::string(name), name);
    }
    void choose(const std::string& title) {
        const std::shared_ptr<TWMenu> menu = helper.buildMenu();
        desktop.clearLog(); // the listing that built the menu
        for (const auto& item : menu->items())
            if (!item->isSeparatorItem() && item->title() == title)
                return item->perform();
        ADD_FAILURE() << "no item " << title;
    }
    bool hidden(const char* name) {
        return desktop.applicationWithIdentifier("org.example." + std::string(name))->hidden;
    }

    TWSimDesktop desktop;
    TWUserDefaults standard{std::make_shared<TWSimDefaultsStore>()};
    TWUserDefaults shared{std::make_shared<TWSimDefaultsStore>()};
    TWCommon common{desktop, shared};
    int quits = 0;
    TidewellHelper helper{common, desktop, [this] { ++quits; }};
};

TEST_F(TidewellHelperTest, TheMenuOffersTheActionsAndApplicationsAndEachItemRunsItsAction) {
    Log titles;
    const std::shared_ptr<TWMenu> menu = helper.buildMenu();
    for (const auto& item : menu->items())
        titles.push_back(item->isSeparatorItem() ? "-" : item->title());
    EXPECT_EQ(titles, (Log{"Hide All", "Show All", "-", "Toggle Visibility", "   Editor",
                           "   Files", "   Terminal", "-", "Preferences...", "-", "Quit"}));

    choose("Hide All");
    EXPECT_TRUE(hidden("Terminal") && hidden("Editor") && !hidden("Files"));
    choose("Show All");
    EXPECT_FALSE(hidden("Terminal") || hidden("Editor"));

    // A running application toggles; the next menu is built afresh and brings it back.
    choose("   Terminal");
    EXPECT_TRUE(hidden("Terminal"));
    choose("   Terminal");
    EXPECT_TRUE(desktop.applicationWithIdentifier("org.example.Terminal")->active);

    // Preferences through the URL scheme.
    choose("Preferences...");
    EXPECT_EQ(desktop.log(), Log{"openURL x-tidewell-action://preferences"});

    EXPECT_EQ(quits, 0);
    choose("Quit");
    EXPECT_EQ(quits, 1);
    EXPECT_TRUE(desktop.log().empty());
}

} // namespace
