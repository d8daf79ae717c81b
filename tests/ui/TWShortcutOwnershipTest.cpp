// SPDX-License-Identifier: MIT
// The global shortcuts handed between the application and the menu-bar helper: one registers at
// a time, the helper lets go before the application takes them, and takes them back when the
// application ends however it ends (its locks closed, as a crash closes them); keys refused at
// the hand-over are asked for again.
#include "TWShortcutOwnership.h"
#include "TWCommon.h"
#include "TWSettings.h"
#include "TWShortcutBinder.h"
#include "TWShortcutRetry.h"
#include "TWSimDefaultsStore.h"
#include "TWSimDesktop.h"
#include "TWTestApplication.h"

#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {
using Role = TWShortcutOwnership::Role;
using Lines = std::vector<std::string>;
} // namespace

TEST(TWShortcutOwnership, TheHelperRegistersOnlyWhileTheApplicationIsNotRunning) {
    TWTestApplication();
    QTemporaryDir runtime;
    Lines events; // in the order the programs act on their desktop
    auto take = [&](const char* who) {
        return std::make_unique<TWShortcutOwnership>(
            who[0] == 'h' ? Role::Helper : Role::Application, runtime.path(),
            [&events, who](bool owner) {
                events.push_back(std::string(who) + (owner ? " binds" : " unbinds"));
            });
    };
    auto helper = take("helper");
    helper->start();
    ASSERT_TRUE(QTest::qWaitFor([&] { return helper->isOwner(); }));

    auto application = take("application");
    application->start();
    ASSERT_TRUE(QTest::qWaitFor([&] { return application->isOwner(); }));
    EXPECT_FALSE(helper->isOwner());
    application.reset(); // ends without a word
    ASSERT_TRUE(QTest::qWaitFor([&] { return helper->isOwner(); }));

    // Started again, and a second helper (a new session start) that finds it running waits.
    application = take("application");
    application->start();
    ASSERT_TRUE(QTest::qWaitFor([&] { return application->isOwner(); }));
    helper.reset();
    helper = take("helper");
    helper->start();
    application.reset();
    ASSERT_TRUE(QTest::qWaitFor([&] { return helper->isOwner(); }));
    EXPECT_EQ(events, (Lines{"helper binds", "helper unbinds", "application binds", "helper binds",
                             "helper unbinds", "application binds", "helper binds"}));
}

// Keys held elsewhere when this process takes the shortcuts over (a crashed Tidewell's, not yet
// let go) are asked for again until they are free; a refusal for good stops after a minute.
TEST(TWShortcutRetry, RefusedKeysAreAskedForAgainOnceFree) {
    TWTestApplication();
    TWSimDesktop desk;
    TWUserDefaults shared{std::make_shared<TWSimDefaultsStore>()};
    TWCommon common{desk, shared};
    TWShortcutBinder binder{desk.globalShortcuts(), shared, common};
    TWShortcutRetry retry{binder, nullptr};
    int told = 0; // the preferences' lines would be shown again
    retry.setTakenHandler([&told] { ++told; });
    shared.setObject(TWPlistValue("Ctrl+Alt+H"), TWHideOthersShortcutKey);
    desk.simGlobalShortcuts().setTaken("Ctrl+Alt+H");
    binder.setActive(true);
    retry.afterBinding();
    EXPECT_TRUE(binder.refusedByDesktop());
    desk.simGlobalShortcuts().setTaken("Ctrl+Alt+H", false);
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return desk.simGlobalShortcuts().boundKeys(TWShortcutAction::HideOthers) != ""; },
        3 * TWShortcutRetry::kFirstDelayMs));
    EXPECT_FALSE(binder.refusedByDesktop());
    EXPECT_EQ(told, 1);
}
