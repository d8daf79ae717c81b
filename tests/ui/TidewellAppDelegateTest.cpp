// SPDX-License-Identifier: MIT
// The application shell on the simulated desktop: launch sequence, dock click, dock icon and
// menu, URL scheme, support actions, and the application object's deactivation event.
#include "TidewellAppDelegate.h"
#include "QFSimpleUpdater.h"
#include "TWAlert.h"
#include "TWCommon.h"
#include "TWError.h"
#include "TWProduct.h"
#include "TWRecordingAlertPresenter.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWSimDesktop.h"
#include "TWSimServiceManagement.h"
#include "TWTrayIcon.h"
#include "TWURL.h"
#include "TWUserDefaults.h"
#include "TidewellApplication.h"

#include <QAction>
#include <QMenu>
#include <QTest>
#include <QWidget>

#include <functional>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

TidewellApplication& application() {
    static int argc = 1;
    static char name[] = "TidewellAppDelegateTest";
    static char* argv[] = {name, nullptr};
    static auto* app = [] {
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        return new TidewellApplication(argc, argv);
    }();
    return *app;
}

bool contains(const std::vector<std::string>& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

class DelegateTest : public ::testing::Test {
  protected:
    DelegateTest() {
        application();
        finder = desktop.launchApplication(std::string("com.apple.finder"), "Finder");
        terminal = desktop.launchApplication(std::string("org.example.Terminal"), "Terminal");
        editor = desktop.launchApplication(std::string("org.example.Editor"), "Editor");
        desktop.makeActive(editor);
        desktop.clearLog();
    }

    TidewellAppServices services(const std::string& bundlePath = "/usr/bin") {
        TidewellAppServices s;
        s.desktop = &desktop;
        s.standardDefaults = &standard;
        s.sharedDefaults = &shared;
        s.alertPresenter = &alerts;
        s.serviceManagement = &serviceManagement;
        s.bundlePath = bundlePath;
        s.bundleName = "Tidewell";
        s.shortVersion = "2.0.1";
        s.common = [this]() -> TWCommon& {
            journal.push_back("common");
            return common;
        };
        s.registerURLHandler = [this](std::function<void(const std::string&)> handler) {
            journal.push_back("registerURLHandler");
            urlHandler = std::move(handler);
        };
        s.checkForUpdate = [this](std::function<void(const TWError&)> handler) {
            journal.push_back("checkForUpdate");
            updateHandler = std::move(handler);
        };
        s.displayPreferences = [this] { journal.push_back("preferences"); };
        s.setApplicationIconImage = [this](const std::string& name) {
            journal.push_back("icon " + name);
        };
        s.terminate = [this] { journal.push_back("terminate"); };
        s.runAfter = [this](std::chrono::milliseconds delay, std::function<void()> work) {
            journal.push_back("runAfter " + std::to_string(delay.count()));
            pending.push_back(std::move(work));
        };
        return s;
    }

    std::vector<std::string> iconsApplied() const {
        std::vector<std::string> icons;
        for (const auto& entry : journal)
            if (entry.rfind("icon ", 0) == 0)
                icons.push_back(entry);
        return icons;
    }

    TWSimDesktop desktop;
    std::shared_ptr<TWSimDefaultsStore> standardStore = std::make_shared<TWSimDefaultsStore>();
    std::shared_ptr<TWSimDefaultsStore> sharedStore = std::make_shared<TWSimDefaultsStore>();
    TWUserDefaults standard{standardStore};
    TWUserDefaults shared{sharedStore};
    TWCommon common{desktop, shared};
    TWRecordingAlertPresenter alerts;
    TWSimServiceManagement serviceManagement;
    std::vector<std::string> journal;
    std::function<void(const std::string&)> urlHandler;
    std::function<void(const TWError&)> updateHandler;
    std::vector<std::function<void()>> pending;
    std::uint64_t finder = 0, terminal = 0, editor = 0;
};

TEST_F(DelegateTest, TranslocatedLaunchBeepsAlertsAndQuitsBeforeAnythingElse) {
    TidewellAppDelegate delegate(services("/tmp/AppTranslocation/0A1B/d/Tidewell"));
    ASSERT_TRUE(delegate.isRunningTranslocated());
    journal.clear();
    alerts.onShow = [this] { EXPECT_EQ(desktop.log(), std::vector<std::string>{"beep"}); };
    delegate.applicationDidFinishLaunching();

    ASSERT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(alerts.shown[0].messageText(), "Cannot run Tidewell from this location.");
    EXPECT_EQ(alerts.shown[0].informativeText(),
              "Quit Tidewell, move it into your Applications folder, relaunch it from there and "
              "try again.");
    EXPECT_TRUE(alerts.shown[0].buttons().empty());
    EXPECT_EQ(desktop.log(), std::vector<std::string>{"beep"});
    EXPECT_EQ(journal, std::vector<std::string>{"terminate"});
    // Nothing registered, nothing started.
    EXPECT_FALSE(standard.objectForKey(TWIconStyleKey).has_value());
    EXPECT_FALSE(shared.objectForKey(TWShowFinderKey).has_value());
    EXPECT_TRUE(serviceManagement.requests().empty());
    EXPECT_TRUE(pending.empty());
    // Plain, case-sensitive containment.
    EXPECT_TRUE(TidewellAppDelegate(services("/AppTranslocation/")).isRunningTranslocated());
    EXPECT_FALSE(TidewellAppDelegate(services("/tmp/apptranslocation/x")).isRunningTranslocated());
    EXPECT_FALSE(TidewellAppDelegate(services("/tmp/AppTranslocation")).isRunningTranslocated());
}

TEST_F(DelegateTest, LaunchRegistersDefaultsSetsIconChecksUpdatesAndRepeatsTheIcon) {
    TidewellAppDelegate delegate(services());
    journal.clear();
    delegate.applicationDidFinishLaunching();

    EXPECT_EQ(journal, (std::vector<std::string>{"common", "icon AppIcon", "checkForUpdate",
                                                 "runAfter 7000"}));
    // The defaults registered in both stores, never persisted.
    EXPECT_EQ(standard.integerForKey(TWIconStyleKey), 1);
    EXPECT_TRUE(shared.boolForKey(TWShowFinderKey));
    EXPECT_TRUE(standardStore->load().empty());
    EXPECT_TRUE(sharedStore->load().empty());
    EXPECT_TRUE(serviceManagement.requests().empty()); // "Menubar" is off
    EXPECT_TRUE(alerts.shown.empty());

    // The repeat applies the icon again even though nothing changed.
    ASSERT_EQ(pending.size(), 1u);
    standard.setInteger(5, TWIconStyleKey);
    pending[0]();
    EXPECT_EQ(iconsApplied(), (std::vector<std::string>{"icon AppIcon", "icon Dark"}));

    // No update check when turned off.
    standard.setBool(false, TWCheckForUpdatesKey);
    TidewellAppDelegate second(services());
    journal.clear();
    second.applicationDidFinishLaunching();
    EXPECT_EQ(journal, (std::vector<std::string>{"common", "icon Dark", "runAfter 7000"}));
}

TEST_F(DelegateTest, MenuBarModeStartsTheHelperOnlyWhenItIsNotRunning) {
    standard.setBool(true, TWMenubarKey);
    {
        TidewellAppDelegate delegate(services("/opt/tidewell/bin"));
        delegate.applicationDidFinishLaunching();
        EXPECT_EQ(serviceManagement.requests(),
                  (std::vector<std::string>{
                      "setLoginItemEnabled net.quillfen.TidewellStatus YES",
                      "launchApplication /opt/tidewell/bin/tidewell-helper 0x10000"}));
    }
    TWSimServiceManagement secondRun;
    desktop.launchApplication(std::string(TWHelperBundleIdentifier), "Tidewell Menu",
                              TWActivationPolicyAccessory);
    TidewellAppServices s = services();
    s.serviceManagement = &secondRun;
    TidewellAppDelegate delegate(std::move(s));
    delegate.applicationDidFinishLaunching();
    EXPECT_TRUE(secondRun.requests().empty());
}

TEST_F(DelegateTest, LaunchCheckIsSilentUnlessThereIsALinkManualCheckAlwaysAnswers) {
    TidewellAppDelegate delegate(services());
    delegate.applicationDidFinishLaunching();
    ASSERT_TRUE(updateHandler);
    const std::string endpoint = "https://quillfen.net/updates/simpleupdate.php";
    const std::string link = "https://quillfen.net/download/Tidewell.tar.gz";
    const TWError upToDate = QFSimpleUpdater::resultForResponse("", "Tidewell", endpoint);
    const TWError available = QFSimpleUpdater::resultForResponse(link, "Tidewell", endpoint);
    updateHandler(upToDate);
    EXPECT_TRUE(alerts.shown.empty());

    updateHandler(available);
    ASSERT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(desktop.openedURLs(), std::vector<std::string>{link});

    updateHandler = nullptr;
    delegate.checkForUpdate();
    ASSERT_TRUE(updateHandler);
    updateHandler(upToDate);
    ASSERT_EQ(alerts.shown.size(), 2u);
    EXPECT_EQ(alerts.shown[1].messageText(), "You have the current version of Tidewell.");
    EXPECT_EQ(desktop.openedURLs().size(), 1u);
}

TEST_F(DelegateTest, SecondCreationYieldsTheFirstAndQuittingIsImmediate) {
    EXPECT_EQ(TidewellAppDelegate::sharedInstance(), nullptr);
    TidewellAppDelegate& first = TidewellAppDelegate::create(services());
    TidewellAppDelegate& second = TidewellAppDelegate::create(services("/elsewhere"));
    EXPECT_EQ(&first, &second);
    EXPECT_EQ(TidewellAppDelegate::sharedInstance(), &first);
    EXPECT_EQ(std::count(journal.begin(), journal.end(), "registerURLHandler"), 1);
    EXPECT_FALSE(first.isRunningTranslocated());

    // Quitting detaches the preferences window and is immediate.
    TidewellAppServices s = services();
    s.detachPreferencesWindow = [this] { journal.push_back("detach"); };
    EXPECT_EQ(TidewellAppDelegate(std::move(s)).applicationShouldTerminate(), TWTerminateNow);
    EXPECT_TRUE(contains(journal, "detach"));
}

TEST_F(DelegateTest, ReopenHidesOthersUnlessShiftIsHeld) {
    TidewellAppDelegate delegate(services());
    for (std::uint32_t modifiers : {0u, TWCommandKey, TWOptionKey, TWControlKey,
                                    TWCommandKey | TWOptionKey | TWControlKey | TWAlphaLock}) {
        desktop.setHidden(terminal, false);
        desktop.setHidden(editor, false);
        desktop.setKeyModifiers(modifiers);
        desktop.clearLog();
        EXPECT_FALSE(delegate.applicationShouldHandleReopen(true));
        EXPECT_TRUE(contains(desktop.log(), "hide Terminal")) << "modifiers " << modifiers;
        EXPECT_FALSE(contains(desktop.log(), "unhide Terminal")) << "modifiers " << modifiers;
    }
    for (std::uint32_t modifiers : {TWShiftKey, TWShiftKey | TWCommandKey}) {
        desktop.setHidden(terminal, true);
        desktop.setKeyModifiers(modifiers);
        desktop.clearLog();
        EXPECT_FALSE(delegate.applicationShouldHandleReopen(false));
        EXPECT_TRUE(contains(desktop.log(), "unhide Terminal")) << "modifiers " << modifiers;
        EXPECT_FALSE(contains(desktop.log(), "hide Editor")) << "modifiers " << modifiers;
    }
}

TEST_F(DelegateTest, AbsentIconStyleIsTheDefaultInvalidOnesAreRepairedValidOnesKept) {
    TidewellAppDelegate delegate(services());
    delegate.registerDefaults();
    delegate.setDockIcon(); // absent: the registered default, nothing written
    EXPECT_EQ(iconsApplied(), std::vector<std::string>{"icon AppIcon"});
    EXPECT_EQ(standardStore->updateCount(), 0);
    for (int invalid : {3, 0, 6, -1, 1000}) {
        standard.setInteger(invalid, TWIconStyleKey);
        journal.clear();
        delegate.setDockIcon();
        EXPECT_EQ(iconsApplied(), std::vector<std::string>{"icon AppIcon"}) << invalid;
        EXPECT_EQ(TWPlistLookup(standardStore->load(), TWIconStyleKey)->get<std::int64_t>()[0], 1)
            << invalid;
    }
    standard.setObject(TWPlistValue("purple"), TWIconStyleKey); // not a number: reads as 0
    delegate.setDockIcon();
    EXPECT_EQ(*TWPlistLookup(standardStore->load(), TWIconStyleKey), TWPlistValue(1));

    const std::pair<int, const char*> valid[] = {
        {1, "AppIcon"}, {2, "Purple"}, {4, "Graphite"}, {5, "Dark"}};
    EXPECT_TRUE(TWTrayIcon::iconNamed("Sepia").isNull());
    for (auto [style, name] : valid) {
        EXPECT_FALSE(TWTrayIcon::iconNamed(name).isNull()) << name; // compiled in
        standard.setInteger(style, TWIconStyleKey);
        const int updatesBefore = standardStore->updateCount();
        journal.clear();
        delegate.setDockIcon();
        EXPECT_EQ(iconsApplied(), std::vector<std::string>{std::string("icon ") + name});
        EXPECT_EQ(standardStore->updateCount(), updatesBefore) << style;
        EXPECT_EQ(standard.integerForKey(TWIconStyleKey), style);
    }
}

TEST_F(DelegateTest, TrayMenuRendersTheModelAndEveryItemWorks) {
    TidewellAppDelegate delegate(services());
    EXPECT_EQ(delegate.twMenu(), nullptr);
    delegate.removeMenu(); // no status item: nothing happens
    // Each request builds a new menu.
    std::shared_ptr<TWMenu> first = delegate.applicationDockMenu();
    EXPECT_NE(first, delegate.applicationDockMenu());
    EXPECT_EQ(delegate.dockMenu()->title(), "DockMenu");
    QMenu menu;
    TWTrayIcon::fillMenu(&menu, delegate.applicationDockMenu());
    QStringList titles;
    for (QAction* action : menu.actions())
        titles << (action->isSeparator() ? QStringLiteral("---") : action->text());
    EXPECT_EQ(titles, (QStringList{"Preferences...", "---", "Hide All", "Show All", "---",
                                   "Toggle Visibility", "   Editor", "   Finder", "   Terminal"}));
    auto actionTitled = [&](const QString& title) {
        for (QAction* action : menu.actions())
            if (action->text() == title)
                return action;
        return static_cast<QAction*>(nullptr);
    };
    EXPECT_FALSE(actionTitled("Toggle Visibility")->isEnabled());
    EXPECT_TRUE(actionTitled("   Terminal")->isEnabled());

    // Each item runs its action (one request each makes of the desktop).
    const std::pair<const char*, const char*> triggered[] = {
        {"Preferences...", "openURL x-tidewell-action://preferences"},
        {"   Terminal", "hide Terminal"},
        {"Hide All", "hide Editor"},
        {"Show All", "unhide Editor"}};
    for (const auto& [title, request] : triggered) {
        desktop.clearLog();
        actionTitled(title)->trigger();
        QCoreApplication::processEvents();
        EXPECT_TRUE(contains(desktop.log(), request)) << title;
    }

    // Rebuilding replaces the contents rather than appending.
    TWTrayIcon::fillMenu(&menu, delegate.applicationDockMenu());
    EXPECT_EQ(menu.actions().size(), 9);
}

TEST_F(DelegateTest, OnlyThePreferencesRequestOfOurSchemeOpensPreferences) {
    TidewellAppDelegate delegate(services());
    ASSERT_TRUE(urlHandler);
    const char* opening[] = {"x-tidewell-action://preferences", "x-tidewell-action:preferences",
                             "x-tidewell-action:///preferences/",
                             "x-tidewell-action:preferences//"};
    for (const char* url : opening) {
        journal.clear();
        urlHandler(url);
        EXPECT_EQ(journal, std::vector<std::string>{"preferences"}) << url;
    }
    const char* ignored[] = {"x-tidewell-action://Preferences",
                             "x-tidewell-action://preferences/general",
                             "x-tidewell-action://preferences?pane=1",
                             "X-Tidewell-Action://preferences",
                             "x-tidewell-actions://preferences",
                             "https://preferences",
                             "x-tidewell-action:///",
                             "x-tidewell-action:",
                             "x-tidewell-action://prefer ences",
                             "",
                             "preferences"};
    journal.clear();
    for (const char* url : ignored)
        urlHandler(url);
    EXPECT_TRUE(journal.empty());
    EXPECT_TRUE(desktop.openedURLs().empty());
}

TEST_F(DelegateTest, FeedbackMailNamesTheVersionUnescapedProductPageOpensInvalidURLsNothing) {
    TidewellAppDelegate delegate(services());
    delegate.sendFeedback();
    ASSERT_EQ(desktop.openedURLs().size(), 1u);
    const std::string opened = desktop.openedURLs()[0];
    EXPECT_EQ(opened, std::string("mailto:") + TWSupportEmailAddress +
                          "?subject=Tidewell%202.0.1%20feedback");
    ASSERT_TRUE(TWURL::URLWithString(opened));
    EXPECT_EQ(TWURL::URLWithString(opened)->query(), "subject=Tidewell%202.0.1%20feedback");

    delegate.productPage();
    delegate.performOpenURL("not a url");
    delegate.performOpenURL("");
    EXPECT_EQ(desktop.openedURLs(), (std::vector<std::string>{opened, TWProductPageURL}));
}

TEST(TidewellApplicationTest, OnlyTheRawEvent21Subtype2RecordsTheActiveApplication) {
    TidewellApplication& app = application();
    int calls = 0;
    app.setDeactivationHandler([&] { ++calls; });
    for (TWEvent other : {TWEvent{21, 1}, TWEvent{21, 0}, TWEvent{20, 2}, TWEvent{2, 21},
                          TWEvent{22, 2}, TWEvent{0, 0}})
        app.sendEvent(other);
    EXPECT_EQ(calls, 0);
    app.sendEvent(TWEvent{21, 2});
    EXPECT_EQ(calls, 1);
    app.setDeactivationHandler(nullptr);
}

TEST(TidewellApplicationTest, TheApplicationGoingInactiveRecordsTheNewFrontApplication) {
    TidewellApplication& app = application();
    TWSimDesktop desktop;
    TWUserDefaults shared{std::make_shared<TWSimDefaultsStore>()};
    TWCommon common(desktop, shared);
    desktop.launchApplication(std::string("com.apple.finder"), "Finder");
    const auto editor = desktop.launchApplication(std::string("org.example.Editor"), "Editor");
    app.setDeactivationHandler([&] { common.setCurrentProcess(); });
    // Counts the state changes that reach the application, to show none is swallowed.
    struct Counter : QObject {
        int stateChanges = 0;
        bool eventFilter(QObject* watched, QEvent* event) override {
            stateChanges += watched == QCoreApplication::instance() &&
                            event->type() == QEvent::ApplicationStateChange;
            return false;
        }
    } counter;
    app.installEventFilter(&counter);

    // No window of ours is active: the application is inactive, another one is in front.
    ASSERT_EQ(QGuiApplication::applicationState(), Qt::ApplicationInactive);
    desktop.makeActive(editor);
    common.setCurrentActiveBundleID(std::nullopt);
    QEvent toOtherReceiver(QEvent::ApplicationStateChange);
    QObject other;
    QCoreApplication::sendEvent(&other, &toOtherReceiver);
    EXPECT_EQ(common.currentActiveBundleID(), std::nullopt);

    QEvent stateChange(QEvent::ApplicationStateChange);
    QCoreApplication::sendEvent(&app, &stateChange);
    EXPECT_EQ(common.currentActiveBundleID(), std::optional<std::string>("org.example.Editor"));
    EXPECT_EQ(counter.stateChanges, 1);

    // Becoming active is not a deactivation.
    common.setCurrentActiveBundleID(std::nullopt);
    QWidget window;
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    EXPECT_EQ(QGuiApplication::applicationState(), Qt::ApplicationActive);
    EXPECT_GT(counter.stateChanges, 1);
    QEvent whileActive(QEvent::ApplicationStateChange);
    QCoreApplication::sendEvent(&app, &whileActive);
    EXPECT_EQ(common.currentActiveBundleID(), std::nullopt);

    app.removeEventFilter(&counter);
    app.setDeactivationHandler(nullptr);
}

} // namespace
