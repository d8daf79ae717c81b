// SPDX-License-Identifier: MIT
// The preferences window on Qt's offscreen platform: the General pane's settings, the icon
// style, menu-bar mode, start at login, pane switching and the close question.
#include "PreferencesController.h"
#include "TWAlert.h"
#include "TWRecordingAlertPresenter.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWSimLoginItemList.h"
#include "TWSimServiceManagement.h"
#include "TWTestApplication.h"
#include "TWUserDefaults.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QPropertyAnimation>
#include <QTest>

#include <gtest/gtest.h>

namespace {

QApplication& application() {
    return TWTestApplication();
}

class PreferencesTest : public ::testing::Test {
  protected:
    PreferencesTest() {
        application();
        TWRegisterDefaults(standard, shared);
        TWPreferencesServices s;
        s.standardDefaults = &standard;
        s.sharedDefaults = &shared;
        s.alertPresenter = &alerts;
        s.serviceManagement = &serviceManagement;
        s.loginItems = &loginItems;
        s.applicationPath = "/usr/bin/tidewell";
        s.setApplicationIconImage = [this](const std::string& name) { icons.push_back(name); };
        s.terminate = [this] { ++terminations; };
        controller = std::make_unique<PreferencesController>(s);
    }

    TWUserDefaults standard{std::make_shared<TWSimDefaultsStore>()};
    TWUserDefaults shared{std::make_shared<TWSimDefaultsStore>()};
    TWRecordingAlertPresenter alerts;
    TWSimServiceManagement serviceManagement;
    TWSimLoginItemList loginItems;
    std::vector<std::string> icons;
    int terminations = 0;
    std::unique_ptr<PreferencesController> controller;
};

TEST_F(PreferencesTest, MinimizeAndCloseAllExcludeEachOtherThroughAClickOnTheOther) {
    controller->display();
    ASSERT_TRUE(controller->minimizeCheckbox()->isChecked()); // the registered defaults
    controller->closeAllCheckbox()->click();
    EXPECT_TRUE(shared.boolForKey(TWCloseAllFinderKey));
    EXPECT_FALSE(shared.boolForKey(TWMinimizeKey));
    EXPECT_FALSE(controller->minimizeCheckbox()->isChecked());

    controller->minimizeCheckbox()->click();
    EXPECT_TRUE(shared.boolForKey(TWMinimizeKey));
    EXPECT_FALSE(shared.boolForKey(TWCloseAllFinderKey));
    EXPECT_FALSE(controller->closeAllCheckbox()->isChecked());

    // Unchecking writes only its own key.
    shared.setBool(true, TWCloseAllFinderKey); // both on, as a hand edit could leave them
    controller->display();
    controller->minimizeCheckbox()->click();
    EXPECT_FALSE(shared.boolForKey(TWMinimizeKey));
    EXPECT_TRUE(shared.boolForKey(TWCloseAllFinderKey));
    controller->closeAllCheckbox()->click();
    EXPECT_FALSE(shared.boolForKey(TWCloseAllFinderKey));
    EXPECT_FALSE(shared.boolForKey(TWMinimizeKey));
}

TEST_F(PreferencesTest, ShowFinderEnablesTheNewWindowCheckboxWhichKeepsItsValue) {
    shared.setBool(true, TWShowWindowKey);
    controller->display();
    EXPECT_TRUE(controller->newWindowCheckbox()->isEnabled());
    controller->showFinderCheckbox()->click();
    EXPECT_FALSE(shared.boolForKey(TWShowFinderKey));
    EXPECT_FALSE(controller->newWindowCheckbox()->isEnabled());
    EXPECT_TRUE(shared.boolForKey(TWShowWindowKey));

    // Every display reads the stores again, here as another process left them.
    shared.setBool(true, TWShowFinderKey);
    shared.setBool(false, TWShowWindowKey);
    standard.setBool(true, TWMenubarKey);
    controller->display();
    EXPECT_TRUE(controller->newWindowCheckbox()->isEnabled());
    EXPECT_FALSE(controller->newWindowCheckbox()->isChecked());
    EXPECT_TRUE(controller->menuExtraCheckbox()->isChecked());
    controller->newWindowCheckbox()->click();
    EXPECT_TRUE(shared.boolForKey(TWShowWindowKey));
}

TEST_F(PreferencesTest, IconStylesChangeTheIconAtOnceAndAreStoredByTag) {
    QComboBox* popup = controller->dropDownIcon();
    std::vector<int> tags;
    for (int i = 0; i < popup->count(); ++i) {
        tags.push_back(popup->itemData(i).toInt());
        popup->setCurrentIndex(i);
        emit popup->activated(i);
        EXPECT_EQ(standard.integerForKey(TWIconStyleKey), tags.back());
    }
    EXPECT_EQ(tags, (std::vector<int>{1, 2, 4, 5}));
    EXPECT_EQ(icons, (std::vector<std::string>{"AppIcon", "Purple", "Graphite", "Dark"}));

    standard.setInteger(4, TWIconStyleKey);
    controller->display();
    EXPECT_EQ(popup->currentData().toInt(), 4);
    standard.setInteger(3, TWIconStyleKey); // no item: nothing selected, nothing repaired
    controller->display();
    EXPECT_EQ(popup->currentIndex(), -1);
    EXPECT_EQ(standard.integerForKey(TWIconStyleKey), 3);
}

TEST_F(PreferencesTest, MenuBarModeAndStartAtLogin) {
    controller->display();
    controller->menuExtraCheckbox()->click();
    controller->menuExtraCheckbox()->click();
    EXPECT_EQ(serviceManagement.requests(),
              (std::vector<std::string>{"setLoginItemEnabled net.quillfen.TidewellStatus YES",
                                        "setLoginItemEnabled net.quillfen.TidewellStatus NO"}));
    EXPECT_FALSE(standard.boolForKey(TWMenubarKey));

    // The login checkbox toggles what the session has, whatever it shows.
    loginItems.append("Other", "/usr/bin/other");
    EXPECT_FALSE(controller->loginCheckbox()->isChecked());
    controller->loginCheckbox()->click();
    EXPECT_EQ(loginItems.paths(),
              (std::vector<std::string>{"/usr/bin/other", "/usr/bin/tidewell"}));
    controller->loginCheckbox()->setChecked(false);
    controller->loginCheckbox()->click();
    EXPECT_EQ(loginItems.paths(), (std::vector<std::string>{"/usr/bin/other"}));
    controller->display();
    EXPECT_FALSE(controller->loginCheckbox()->isChecked());
}

TEST_F(PreferencesTest, ClosingInMenuBarModeOffersToQuitAfterTheWindowHasClosed) {
    controller->display();
    controller->prefsWindow()->close();
    EXPECT_TRUE(alerts.shown.empty()); // menu-bar mode off

    standard.setBool(true, TWMenubarKey);
    alerts.answer = TWAlertSecondButtonReturn; // "Later"
    controller->display();
    controller->prefsWindow()->close();
    ASSERT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(alerts.shown[0].messageText(),
              "You may now quit Tidewell and continue running in menu bar mode.");
    EXPECT_EQ(alerts.shown[0].buttons(), (std::vector<std::string>{"Quit", "Later"}));
    EXPECT_EQ(alerts.shown[0].informativeText(),
              "To change this setting later, open Tidewell and adjust the Preferences.");
    QCoreApplication::processEvents();
    EXPECT_EQ(terminations, 0);

    alerts.answer = TWAlertFirstButtonReturn; // "Quit"
    controller->display();
    controller->prefsWindow()->close();
    EXPECT_EQ(terminations, 0); // not inside the close
    EXPECT_FALSE(controller->prefsWindow()->isVisible());
    QCoreApplication::processEvents();
    EXPECT_EQ(terminations, 1);

    // Quitting detaches the close handling: no question.
    controller->display();
    controller->detachWindow();
    controller->prefsWindow()->close();
    EXPECT_EQ(alerts.shown.size(), 2u);
}

TEST_F(PreferencesTest, PaneSwitchResizesKeepingTheTopLeftCornerAndResetsFocusAndTitle) {
    controller->display();
    QMainWindow* window = controller->prefsWindow();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    EXPECT_EQ(window->windowTitle(), "General");
    const QRect general = window->geometry();

    controller->toolbarItem("excludePrefs")->trigger();
    EXPECT_EQ(window->windowTitle(), "Exclude");
    EXPECT_EQ(controller->currentView(), controller->excludeView());
    QTRY_COMPARE(controller->resizeAnimation()->state(), QAbstractAnimation::Stopped);
    const QRect exclude = window->geometry();
    EXPECT_EQ(exclude.topLeft(), general.topLeft());
    EXPECT_NE(exclude.height(), general.height());

    controller->toolbarItem("generalPrefs")->trigger();
    QTRY_COMPARE(controller->resizeAnimation()->state(), QAbstractAnimation::Stopped);
    EXPECT_EQ(window->geometry(), general);

    // The pane already shown: no resize, but title and focus are set again.
    window->setWindowTitle("elsewhere");
    controller->showFinderCheckbox()->setFocus();
    controller->toolbarItem("generalPrefs")->trigger();
    EXPECT_EQ(controller->resizeAnimation()->state(), QAbstractAnimation::Stopped);
    EXPECT_EQ(window->geometry(), general);
    EXPECT_EQ(window->windowTitle(), "General");
    EXPECT_TRUE(controller->dropDownIcon()->hasFocus());
}

TEST_F(PreferencesTest, OneSharedInstanceAndNamedControls) {
    PreferencesController::configureShared({});
    PreferencesController* first = PreferencesController::init();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(PreferencesController::init(), nullptr);
    EXPECT_EQ(PreferencesController::sharedInstance(), first);

    for (QCheckBox* box : controller->generalView()->findChildren<QCheckBox*>())
        EXPECT_EQ(box->accessibleName(), box->text());
    EXPECT_FALSE(controller->dropDownIcon()->accessibleName().isEmpty());
}

} // namespace
