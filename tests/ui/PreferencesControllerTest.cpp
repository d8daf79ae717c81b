// SPDX-License-Identifier: MIT
// The preferences window: General pane, icon style, menu bar, login, panes, the close question.
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
#include <QCheckBox>
#include <QComboBox>
#include <QPropertyAnimation>
#include <QTest>

#include <gtest/gtest.h>

namespace {

using Lines = std::vector<std::string>;

class PreferencesTest : public ::testing::Test {
  protected:
    PreferencesTest() {
        TWRegisterDefaults(standard, shared);
        auto icon = [this](const std::string& name) { icons.push_back(name); };
        auto terminate = [this] { ++terminations; };
        controller = std::make_unique<PreferencesController>(
            TWPreferencesServices{&standard, &shared, &alerts, &serviceManagement, &loginItems,
                                  "/usr/bin/tidewell", nullptr, nullptr, icon, terminate});
        controller->display();
    }

    QApplication& application = TWTestApplication();
    TWUserDefaults standard{std::make_shared<TWSimDefaultsStore>()};
    TWUserDefaults shared{std::make_shared<TWSimDefaultsStore>()};
    TWRecordingAlertPresenter alerts;
    TWSimServiceManagement serviceManagement;
    TWSimLoginItemList loginItems;
    Lines icons;
    int terminations = 0;
    std::unique_ptr<PreferencesController> controller;
};

TEST_F(PreferencesTest, TheGeneralPaneWritesItsSettingsAndMinimizeAndCloseAllExcludeEachOther) {
    using S = std::vector<int>;
    PreferencesController& c = *controller;
    // Shown: file manager in front, new window enabled, checked, minimize, close all; then stored.
    auto state = [&] {
        return S{c.showFinderCheckbox()->isChecked(),   c.newWindowCheckbox()->isEnabled(),
                 c.newWindowCheckbox()->isChecked(),    c.minimizeCheckbox()->isChecked(),
                 c.closeAllCheckbox()->isChecked(),     shared.boolForKey(TWShowFinderKey),
                 shared.boolForKey(TWShowWindowKey),    shared.boolForKey(TWMinimizeKey),
                 shared.boolForKey(TWCloseAllFinderKey)};
    };
    shared.setBool(true, TWShowWindowKey);
    c.display();
    EXPECT_EQ(state(), (S{1, 1, 1, 1, 0, 1, 1, 1, 0}));
    // Minimize and close all exclude each other by a click; the new window keeps its value
    // disabled.
    const std::pair<QCheckBox*, S> clicks[] = {
        {c.closeAllCheckbox(), {1, 1, 1, 0, 1, 1, 1, 0, 1}},
        {c.minimizeCheckbox(), {1, 1, 1, 1, 0, 1, 1, 1, 0}},
        {c.showFinderCheckbox(), {0, 0, 1, 1, 0, 0, 1, 1, 0}},
        {nullptr, {1, 1, 0, 1, 1, 1, 0, 1, 1}}, // read again, as another process left them
        {c.newWindowCheckbox(), {1, 1, 1, 1, 1, 1, 1, 1, 1}},
        {c.minimizeCheckbox(), {1, 1, 1, 0, 1, 1, 1, 0, 1}},
        {c.closeAllCheckbox(), {1, 1, 1, 0, 0, 1, 1, 0, 0}}};
    for (const auto& [box, expected] : clicks) {
        if (box) {
            box->click();
        } else {
            shared.setBool(true, TWShowFinderKey);
            shared.setBool(false, TWShowWindowKey);
            shared.setBool(true, TWCloseAllFinderKey); // both on, as a hand edit could leave them
            standard.setBool(true, TWMenubarKey);
            c.display();
            EXPECT_TRUE(c.menuExtraCheckbox()->isChecked());
        }
        EXPECT_EQ(state(), expected) << (box ? box->text().toStdString() : "display");
    }
}

TEST_F(PreferencesTest, IconStylesChangeTheIconAtOnceAndAreStoredByTag) {
    QComboBox* popup = controller->dropDownIcon();
    for (int i = 0; i < popup->count(); ++i) {
        popup->setCurrentIndex(i);
        emit popup->activated(i);
        EXPECT_EQ(standard.integerForKey(TWIconStyleKey), popup->itemData(i).toInt());
    }
    EXPECT_EQ(icons, (Lines{"AppIcon", "Purple", "Graphite", "Dark"}));
    standard.setInteger(4, TWIconStyleKey);
    controller->display();
    EXPECT_EQ(popup->currentText(), "Graphite");
    standard.setInteger(3, TWIconStyleKey); // no item: nothing selected, nothing repaired
    controller->display();
    EXPECT_EQ(std::pair(popup->currentIndex(), standard.integerForKey(TWIconStyleKey)),
              std::pair(-1, std::int64_t(3)));
}

TEST_F(PreferencesTest, MenuBarModeAndStartAtLogin) {
    controller->menuExtraCheckbox()->click();
    controller->menuExtraCheckbox()->click();
    EXPECT_EQ(serviceManagement.requests(),
              (Lines{"setLoginItemEnabled net.quillfen.TidewellStatus YES",
                     "setLoginItemEnabled net.quillfen.TidewellStatus NO"}));
    EXPECT_FALSE(standard.boolForKey(TWMenubarKey));
    loginItems.append("Other", "/usr/bin/other");
    controller->loginCheckbox()->click();
    EXPECT_EQ(loginItems.paths(), (Lines{"/usr/bin/other", "/usr/bin/tidewell"}));
    controller->loginCheckbox()->setChecked(false); // whatever it shows, a click toggles
    controller->loginCheckbox()->click();
    EXPECT_EQ(loginItems.paths(), Lines{"/usr/bin/other"});
}

TEST_F(PreferencesTest, ClosingInMenuBarModeOffersToQuitAfterTheWindowHasClosed) {
    controller->prefsWindow()->close();
    EXPECT_TRUE(alerts.shown.empty()); // menu-bar mode off
    standard.setBool(true, TWMenubarKey);
    for (long answer : {TWAlertSecondButtonReturn /* Later */, TWAlertFirstButtonReturn}) {
        alerts.answer = answer;
        controller->display();
        controller->prefsWindow()->close();
        EXPECT_EQ(terminations, 0); // not inside the close
        EXPECT_FALSE(controller->prefsWindow()->isVisible());
        QCoreApplication::processEvents();
        EXPECT_EQ(terminations, answer == TWAlertFirstButtonReturn);
    }
    ASSERT_EQ(alerts.shown.size(), 2u);
    EXPECT_EQ(alerts.shown[0].buttons(), (Lines{"Quit", "Later"}));
    // Quitting detaches the close handling: no question.
    controller->display();
    controller->detachWindow();
    controller->prefsWindow()->close();
    EXPECT_EQ(alerts.shown.size(), 2u);
}

TEST_F(PreferencesTest, PaneSwitchResizesKeepingTheTopLeftCornerAndResetsFocusAndTitle) {
    QMainWindow* window = controller->prefsWindow();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    const QRect general = window->geometry();
    auto show = [&](const char* pane) {
        controller->toolbarItem(pane)->trigger();
        EXPECT_TRUE(QTest::qWaitFor(
            [&] { return controller->resizeAnimation()->state() != QAbstractAnimation::Running; }));
        return window->geometry();
    };
    const QRect exclude = show("excludePrefs");
    EXPECT_EQ(window->windowTitle(), "Exclude");
    EXPECT_EQ(exclude.topLeft(), general.topLeft());
    EXPECT_NE(exclude.height(), general.height());
    // Back, the focus on the first control.
    controller->showFinderCheckbox()->setFocus();
    EXPECT_EQ(show("generalPrefs"), general);
    EXPECT_EQ(window->windowTitle(), "General");
    EXPECT_TRUE(controller->dropDownIcon()->hasFocus());
}

} // namespace
