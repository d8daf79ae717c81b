// SPDX-License-Identifier: MIT
// The application shell on the simulated desktop: the delegate, and the global shortcuts handed
// between the application and the menu-bar helper.
#include "TidewellAppDelegate.h"
#include "QFSimpleUpdater.h"
#include "TWCommon.h"
#include "TWRecordingAlertPresenter.h"
#include "TWSettings.h"
#include "TWShortcutBinder.h"
#include "TWShortcutOwnership.h"
#include "TWShortcutRetry.h"
#include "TWSimDefaultsStore.h"
#include "TWSimDesktop.h"
#include "TWSimServiceManagement.h"
#include "TWTestApplication.h"
#include "TWTrayIcon.h"
#include "TWUserDefaults.h"
#include "TidewellApplication.h"

#include <QMenu>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using Lines = std::vector<std::string>;

class DelegateTest : public ::testing::Test {
  protected:
    DelegateTest() {
        desktop.launchApplication(std::string("com.apple.finder"), "Finder");
        terminal = desktop.launchApplication(std::string("org.example.Terminal"), "Terminal");
        desktop.makeActive(desktop.launchApplication(std::string("org.example.Editor"), "Editor"));
        desktop.clearLog();
    }

    // Services noting each call in `journal`.
    TidewellAppServices services(const std::string& bundlePath = "/usr/bin") {
        auto actions = [this]() -> TWCommon& { return note<TWCommon&>("common", common); };
        auto url = [this](auto handler) { urlHandler = note("url", handler); };
        auto update = [this](auto handler) { updateHandler = note("update", handler); };
        auto preferences = [this] { note("preferences"); };
        auto icon = [this](const std::string& name) { note("icon " + name); };
        auto terminate = [this] { note("terminate"); };
        auto runAfter = [this](std::chrono::milliseconds delay, std::function<void()> work) {
            pending.push_back(note("runAfter " + std::to_string(delay.count()), work));
        };
        return {&desktop,   &standard,  &shared,     &alerts, &serviceManagement,
                bundlePath, "Tidewell", "2.0.1",     actions, nullptr,
                url,        update,     preferences, nullptr, icon,
                terminate,  runAfter};
    }
    void note(const std::string& entry) { journal.push_back(entry); }
    template <typename T> T note(const std::string& entry, T passed) {
        note(entry);
        return passed;
    }

    TidewellApplication& app = TWTestApplication<TidewellApplication>();
    TWSimDesktop desktop;
    std::shared_ptr<TWSimDefaultsStore> standardStore = std::make_shared<TWSimDefaultsStore>();
    std::shared_ptr<TWSimDefaultsStore> sharedStore = std::make_shared<TWSimDefaultsStore>();
    TWUserDefaults standard{standardStore};
    TWUserDefaults shared{sharedStore};
    TWCommon common{desktop, shared};
    TWRecordingAlertPresenter alerts;
    TWSimServiceManagement serviceManagement;
    Lines journal;
    std::function<void(const std::string&)> urlHandler;
    std::function<void(const TWError&)> updateHandler;
    std::vector<std::function<void()>> pending;
    std::uint64_t terminal = 0;
};

TEST_F(DelegateTest, ATranslocatedLaunchBeepsAlertsAndQuitsWithoutDoingAnythingElse) {
    TidewellAppDelegate delegate(services("/tmp/AppTranslocation/0A1B/d/Tidewell"));
    journal.clear();
    alerts.onShow = [this] { EXPECT_EQ(desktop.log(), Lines{"beep"}); };
    delegate.applicationDidFinishLaunching();
    ASSERT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(desktop.log(), Lines{"beep"});
    EXPECT_EQ(journal, Lines{"terminate"});
    EXPECT_FALSE(standard.objectForKey(TWIconStyleKey).has_value()); // nothing registered
}

TEST_F(DelegateTest, LaunchRegistersDefaultsSetsTheIconTwiceAndChecksForUpdatesQuietly) {
    TidewellAppDelegate delegate(services());
    journal.clear();
    delegate.applicationDidFinishLaunching();
    EXPECT_EQ(journal, (Lines{"common", "icon AppIcon", "update", "runAfter 7000"}));
    // The repeat applies the icon again, as it is then.
    standard.setInteger(5, TWIconStyleKey);
    pending.at(0)();
    EXPECT_EQ(journal.back(), "icon Dark");

    // At launch, "no update" is not shown; on request, it is.
    const TWError current =
        QFSimpleUpdater::resultForResponse("", "Tidewell", "https://quillfen.net/u.php");
    updateHandler(current);
    EXPECT_TRUE(alerts.shown.empty());
    delegate.checkForUpdate();
    updateHandler(current);
    EXPECT_EQ(alerts.shown.size(), 1u);

    // No update check when turned off.
    standard.setBool(false, TWCheckForUpdatesKey);
    journal.clear();
    TidewellAppDelegate(services()).applicationDidFinishLaunching();
    EXPECT_EQ(std::ranges::count(journal, "update"), 0);
}

TEST_F(DelegateTest, AnAbsentOrInvalidIconStyleShowsTheStandardIconAndOnlyAnInvalidIsRepaired) {
    TidewellAppDelegate delegate(services());
    delegate.registerDefaults();
    delegate.setDockIcon(); // absent: the registered default, nothing written
    EXPECT_EQ(journal.back(), "icon AppIcon");
    EXPECT_EQ(standardStore->updateCount(), 0);
    const struct {
        TWPlistValue stored;
        const char* image;
        TWPlistValue after; // repaired when invalid
    } styles[] = {{3, "AppIcon", 1}, {"5", "Dark", "5"}, {"purple", "AppIcon", 1},
                  {2, "Purple", 2},  {4, "Graphite", 4}, {1, "AppIcon", 1}};
    for (const auto& [stored, image, after] : styles) {
        standard.setObject(stored, TWIconStyleKey);
        const int updates = standardStore->updateCount();
        delegate.setDockIcon();
        EXPECT_EQ(journal.back(), std::string("icon ") + image);
        EXPECT_FALSE(TWTrayIcon::iconNamed(image).isNull()) << image; // compiled in
        EXPECT_EQ(*TWPlistLookup(standardStore->load(), TWIconStyleKey), after);
        EXPECT_EQ(standardStore->updateCount(), updates + (after != stored)) << image;
    }
}

TEST_F(DelegateTest, AClickHidesTheOthersUnlessShiftIsHeldTheTrayMenuRendersItsModel) {
    TidewellAppDelegate delegate(services());
    for (std::uint32_t modifiers :
         {TWCommandKey | TWOptionKey | TWControlKey | TWAlphaLock, TWShiftKey | TWCommandKey}) {
        const bool shift = modifiers & TWShiftKey;
        desktop.setHidden(terminal, shift);
        desktop.setKeyModifiers(modifiers);
        desktop.clearLog();
        EXPECT_FALSE(delegate.applicationShouldHandleReopen(true));
        EXPECT_EQ(std::ranges::count(desktop.log(), "hide Terminal"), !shift) << modifiers;
        EXPECT_EQ(std::ranges::count(desktop.log(), "unhide Terminal"), shift) << modifiers;
    }

    // The model's items (its titles: the actions' tests), refilled rather than appended to.
    QMenu menu;
    TWTrayIcon::fillMenu(&menu, delegate.applicationDockMenu());
    TWTrayIcon::fillMenu(&menu, delegate.applicationDockMenu());
    const QList<QAction*> actions = menu.actions();
    ASSERT_EQ(actions.size(), 9);
    EXPECT_FALSE(actions[5]->isEnabled()); // the "Toggle Visibility" heading
    desktop.clearLog();
    actions[8]->trigger(); // "   Terminal", acted on once the menu has closed
    EXPECT_TRUE(desktop.log().empty());
    QCoreApplication::processEvents();
    EXPECT_EQ(std::ranges::count(desktop.log(), "hide Terminal"), 1);
}

TEST_F(DelegateTest, OurSchemeOpensOnlyPreferencesSupportActionsOpenTheirPagesQuittingIsAtOnce) {
    TidewellAppDelegate delegate(services());
    journal.clear();
    // Every other form of URL: the handler's fuzzer.
    for (const char* url :
         {"x-tidewell-action:///preferences/", "x-tidewell-action://Preferences",
          "x-tidewell-action://preferences/general", "X-Tidewell-Action://preferences"})
        urlHandler(url);
    EXPECT_EQ(journal, Lines{"preferences"});

    delegate.sendFeedback();
    delegate.productPage();
    delegate.performOpenURL("not a url");
    EXPECT_EQ(desktop.openedURLs(), (Lines{std::string("mailto:") + TWSupportEmailAddress +
                                               "?subject=Tidewell%202.0.1%20feedback",
                                           TWProductPageURL}));
    // Quitting detaches the preferences window, at once.
    TidewellAppServices s = services();
    s.detachPreferencesWindow = [this] { note("detach"); };
    EXPECT_EQ(TidewellAppDelegate(std::move(s)).applicationShouldTerminate(), TWTerminateNow);
    EXPECT_EQ(journal.back(), "detach");
}

// One registers at a time: the helper lets go before the application takes the shortcuts, and
// takes them back when the application ends however it ends (its locks closed, as a crash
// closes them).
// The front application is recorded when Tidewell itself goes inactive, and only then.
TEST_F(DelegateTest, OnlyTheApplicationGoingInactiveRecordsTheNewFrontApplication) {
    app.setDeactivationHandler([&] { common.setCurrentProcess(); });
    auto stateChangeTo = [&](QObject* receiver) {
        common.setCurrentActiveBundleID(std::nullopt);
        QEvent stateChange(QEvent::ApplicationStateChange);
        QCoreApplication::sendEvent(receiver, &stateChange);
        return common.currentActiveBundleID();
    };
    ASSERT_EQ(QGuiApplication::applicationState(), Qt::ApplicationInactive);
    QObject other;
    EXPECT_EQ(stateChangeTo(&other), std::nullopt);
    EXPECT_EQ(stateChangeTo(&app), std::optional<std::string>("org.example.Editor"));
    QWidget window;
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    EXPECT_EQ(stateChangeTo(&app), std::nullopt) << "becoming active is no deactivation";
    app.setDeactivationHandler(nullptr);
}

TEST(TWShortcutOwnership, TheHelperRegistersOnlyWhileTheApplicationIsNotRunning) {
    TWTestApplication<TidewellApplication>();
    QTemporaryDir runtime;
    Lines events; // in the order the programs act on their desktop
    auto take = [&](const char* who) {
        return std::make_unique<TWShortcutOwnership>(
            who[0] == 'h' ? TWShortcutOwnership::Role::Helper
                          : TWShortcutOwnership::Role::Application,
            runtime.path(), [&events, who](bool owner) {
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
    TWTestApplication<TidewellApplication>();
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

} // namespace
