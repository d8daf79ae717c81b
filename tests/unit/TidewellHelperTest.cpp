// SPDX-License-Identifier: MIT
// The menu-bar helper's menu on the simulated desktop (its one-per-session lock: with the real
// program, in TidewellAppX11Test; the application items: TWCommonTest).
#include "TidewellHelper.h"

#include "TWCommon.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWSimDesktop.h"
#include "TWUserDefaults.h"

#include <gtest/gtest.h>

using Log = std::vector<std::string>;

TEST(TidewellHelperTest, TheMenuOffersTheActionsAndApplicationsAndEachItemRunsItsAction) {
    TWSimDesktop desktop;
    TWUserDefaults standard{std::make_shared<TWSimDefaultsStore>()};
    TWUserDefaults shared{std::make_shared<TWSimDefaultsStore>()};
    TWRegisterDefaults(standard, shared);
    TWCommon common{desktop, shared};
    int quits = 0;
    TidewellHelper helper{common, desktop, [&quits] { ++quits; }};
    auto first = desktop.launchApplication("org.example.Terminal", "Terminal");
    auto second = desktop.launchApplication("org.example.Terminal", "Terminal"); // its 2nd process

    const std::shared_ptr<TWMenu> menu = helper.buildMenu();
    Log titles;
    for (const auto& item : menu->items())
        titles.push_back(item->isSeparatorItem() ? "-" : item->title());
    EXPECT_EQ(titles, (Log{"Hide All", "Show All", "-", "Toggle Visibility", "   Terminal",
                           "   Terminal", "-", "Preferences...", "-", "Quit"}));
    menu->items()[5]->perform(); // an application's item toggles its first process
    EXPECT_TRUE(desktop.application(first)->hidden);
    EXPECT_FALSE(desktop.application(second)->hidden);
    menu->items()[1]->perform();
    EXPECT_FALSE(desktop.application(first)->hidden);
    menu->items()[0]->perform();
    EXPECT_TRUE(desktop.application(first)->hidden);
    desktop.clearLog();
    menu->items()[7]->perform();
    EXPECT_EQ(desktop.log(), Log{"openURL x-tidewell-action://preferences"});
    menu->items()[9]->perform();
    EXPECT_EQ(quits, 1);
}
