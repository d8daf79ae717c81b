// SPDX-License-Identifier: MIT
// The simulated desktop's own behaviour: what tests and demos rely on it to model faithfully.
#include "TWSimDesktop.h"

#include <gtest/gtest.h>

#include <algorithm>

using Log = std::vector<std::string>;

namespace {
Log names(const std::vector<TWSimWindow>& windows) {
    Log result;
    for (const auto& w : windows)
        result.push_back(w.name + (w.collapsed ? " (down)" : ""));
    return result;
}
} // namespace

TEST(TWSimDesktopApplications, HandlesStayValidAfterAQuitFrontSwitchesFireOnChanges) {
    TWSimDesktop desk;
    auto a = desk.launchApplication("a", "A");
    auto b = desk.launchApplication("b", "B");
    auto c = desk.launchApplication("c", "C", TWActivationPolicyAccessory, 77);
    EXPECT_TRUE(desk.quitApplication(a));
    EXPECT_FALSE(desk.quitApplication(a));

    desk.hide(*desk.application(c));
    EXPECT_TRUE(desk.application(c)->hidden);
    EXPECT_EQ(desk.application(c)->processIdentifier, 77);
    auto running = desk.runningApplications();
    ASSERT_EQ(running.size(), 2u);
    EXPECT_EQ(running[0].localizedName, "B");
    // A request for an application that has gone is logged and changes nothing.
    TWRunningApplication gone;
    gone.handle = a;
    gone.localizedName = "A";
    desk.unhide(gone);
    EXPECT_EQ(desk.log(), (Log{"hide C", "runningApplications", "unhide A"}));

    // Front switches fire only when the front application changes.
    int switches = 0;
    desk.installFrontSwitchHandler([&] { ++switches; });
    auto d = desk.launchApplication("d", "D");
    desk.setHidden(d, true);
    desk.makeActive(d);
    desk.activateWithOptions(*desk.application(d), 2);
    EXPECT_EQ(switches, 1);
    EXPECT_FALSE(desk.application(d)->hidden) << "activation shows a hidden application";
    desk.activateWithOptions(*desk.application(b), 2);
    EXPECT_EQ(switches, 2);
    EXPECT_FALSE(desk.application(d)->active);
    desk.hide(*desk.application(b)); // the active one hidden: nothing is in front
    EXPECT_FALSE(desk.application(b)->active);
    desk.makeActive(b);
    EXPECT_EQ(switches, 3);
}

// Collapsing, refused closes and new windows are relied on (and checked) by the actions' tests,
// the scripting objects by the adapter's; here what they do not reach.
TEST(TWSimDesktopFileManager, AnExpandedWindowComesToTheFrontAClosedOneNamesNothing) {
    TWSimDesktop desk;
    desk.addFileManagerWindow("down", true);
    desk.addFileManagerWindow("a");
    desk.addFileManagerWindow("b");
    auto fm = desk.applicationWithBundleIdentifier("com.apple.finder");
    auto first = fm->FinderWindows()->firstObject();
    first->setCollapsed(true);
    first->setCollapsed(false);
    EXPECT_EQ(names(desk.fileManagerWindows()), (Log{"a", "b", "down (down)"}));
    first->close();
    first->close(); // the object names nothing any more
    EXPECT_EQ(names(desk.fileManagerWindows()), (Log{"b", "down (down)"}));
    const Log log = desk.log();
    EXPECT_EQ(std::count(log.begin(), log.end(), "close <gone>"), 1);
}
