// SPDX-License-Identifier: MIT
// The global shortcuts handed between the application and the menu-bar helper: one registers at
// a time, the helper lets go before the application takes them, and takes them back when the
// application ends however it ends (its locks closed, as a crash closes them).
#include "TWShortcutOwnership.h"
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
