// SPDX-License-Identifier: MIT
// The preferences window driven as assistive technology drives it (controls found by their
// accessible names, acted on through the accessible actions): the General pane's settings, the
// icon style, menu bar, login, the shortcut recorders, failed writes, panes, and the close
// question.
#include "PreferencesController.h"
#include "TWAlert.h"
#include "TWFailingStore.h"
#include "TWRecordingAlertPresenter.h"
#include "TWSettings.h"
#include "TWShortcutRecorder.h"
#include "TWSimDefaultsStore.h"
#include "TWSimLoginItemList.h"
#include "TWSimServiceManagement.h"
#include "TWTestApplication.h"
#include "TWUserDefaults.h"

#include <QAccessible>
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QTest>

#include <gtest/gtest.h>

#include <set>

namespace {

using Lines = std::vector<std::string>;

// A login-item list that cannot be added to while `readOnly` is set.
class TWFailingLoginItems : public TWSimLoginItemList {
  public:
    bool append(const std::string& displayName, const std::string& path) override {
        return !readOnly && TWSimLoginItemList::append(displayName, path);
    }
    bool readOnly = false;
};

class PreferencesTest : public ::testing::Test {
  protected:
    PreferencesTest() {
        TWRegisterDefaults(standard, shared);
        auto icon = [this](const std::string& name) { icons.push_back(name); };
        auto terminate = [this] { ++terminations; };
        TWPreferencesServices services{
            &standard, &shared, &alerts, &serviceManagement, &loginItems, "/usr/bin/tidewell",
            nullptr,   nullptr, icon,    terminate,          {}};
        // The application's registration: what it reports for each action's stored keys.
        services.refreshShortcut = [this](TWShortcutAction action) -> std::optional<std::string> {
            const auto keys =
                shared.stringForKey(action == TWShortcutAction::HideOthers ? TWHideOthersShortcutKey
                                                                           : TWShowAllShortcutKey);
            if (keys && heldElsewhere.count(*keys))
                return "Another program already uses " + *keys + " as a shortcut.";
            return std::nullopt;
        };
        controller = std::make_unique<PreferencesController>(std::move(services));
        controller->display();
    }

    // The window's control with this accessible name, as a screen reader finds it.
    QAccessibleInterface* accessible(const QString& name) {
        QAccessibleInterface* window =
            QAccessible::queryAccessibleInterface(controller->prefsWindow());
        std::vector<QAccessibleInterface*> todo{window};
        while (!todo.empty()) {
            QAccessibleInterface* node = todo.back();
            todo.pop_back();
            if (node != window && node->text(QAccessible::Name) == name)
                return node;
            for (int i = node->childCount() - 1; i >= 0; --i)
                todo.push_back(node->child(i));
        }
        ADD_FAILURE() << "no control named " << name.toStdString();
        return nullptr;
    }
    // The accessible "Toggle" action (what Orca and switch access send) on a named control.
    void toggle(const QString& name) {
        if (QAccessibleInterface* control = accessible(name))
            control->actionInterface()->doAction(QAccessibleActionInterface::toggleAction());
    }

    QApplication& application = TWTestApplication();
    std::shared_ptr<TWFailingStore> standardStore = std::make_shared<TWFailingStore>();
    std::shared_ptr<TWFailingStore> sharedStore = std::make_shared<TWFailingStore>();
    TWUserDefaults standard{standardStore};
    TWUserDefaults shared{sharedStore};
    TWRecordingAlertPresenter alerts;
    TWSimServiceManagement serviceManagement;
    TWFailingLoginItems loginItems;
    Lines icons;
    int terminations = 0;
    std::set<std::string> heldElsewhere; // key combinations another program has taken
    std::unique_ptr<PreferencesController> controller;
};

const QString showFinder = "Bring the file manager to the front";
const QString newWindow = "Open a new file manager window";
const QString minimize = "Minimize the file manager's windows";
const QString closeAll = "Close all file manager windows";

TEST_F(PreferencesTest, EachToggleIsStoredAndMinimizeAndCloseAllExcludeEachOther) {
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
    // Minimize and close all exclude each other; the new window keeps its value disabled.
    const std::pair<QString, S> toggles[] = {
        {closeAll, {1, 1, 1, 0, 1, 1, 1, 0, 1}},
        {minimize, {1, 1, 1, 1, 0, 1, 1, 1, 0}},
        {showFinder, {0, 0, 1, 1, 0, 0, 1, 1, 0}},
        {{}, {1, 1, 0, 1, 1, 1, 0, 1, 1}}, // read again, as another process left them
        {newWindow, {1, 1, 1, 1, 1, 1, 1, 1, 1}},
        {minimize, {1, 1, 1, 0, 1, 1, 1, 0, 1}},
        {closeAll, {1, 1, 1, 0, 0, 1, 1, 0, 0}}};
    for (const auto& [name, expected] : toggles) {
        if (!name.isEmpty()) {
            toggle(name);
        } else {
            shared.setBool(true, TWShowFinderKey);
            shared.setBool(false, TWShowWindowKey);
            shared.setBool(true, TWCloseAllFinderKey); // both on, as a hand edit could leave them
            c.display();
        }
        EXPECT_EQ(state(), expected) << name.toStdString();
    }
}

TEST_F(PreferencesTest, IconStyleIsNamedAsSuchAndEveryChangeIsStoredOnce) {
    QComboBox* popup = controller->dropDownIcon();
    QAccessibleInterface* control = accessible("Icon style");
    ASSERT_TRUE(control);
    EXPECT_EQ(control->text(QAccessible::Value), "Standard");
    // Chosen by the keyboard, and set by code: stored and applied once each.
    popup->setFocus();
    QTest::keyClick(popup, Qt::Key_Down);
    popup->setCurrentIndex(3);
    EXPECT_EQ(icons, (Lines{"Purple", "Dark"}));
    EXPECT_EQ(standard.integerForKey(TWIconStyleKey), 5);
    EXPECT_EQ(control->text(QAccessible::Value), "Dark");
    standard.setInteger(4, TWIconStyleKey);
    controller->display();
    EXPECT_EQ(popup->currentText(), "Graphite");
    EXPECT_EQ(icons.size(), 2u); // loading applies nothing
}

TEST_F(PreferencesTest, MenuBarModeAndStartAtLoginFollowTheirBoxesAFailedChangeSaysWhy) {
    toggle("Show Tidewell in the menu bar");
    toggle("Show Tidewell in the menu bar");
    EXPECT_EQ(serviceManagement.requests(),
              (Lines{"setLoginItemEnabled net.quillfen.TidewellStatus YES",
                     "setLoginItemEnabled net.quillfen.TidewellStatus NO"}));
    EXPECT_FALSE(standard.boolForKey(TWMenubarKey));
    loginItems.append("Other", "/usr/bin/other");
    toggle("Start Tidewell at login");
    EXPECT_EQ(loginItems.paths(), (Lines{"/usr/bin/other", "/usr/bin/tidewell"}));
    controller->loginCheckbox()->setChecked(false); // set by code: acted on too
    EXPECT_EQ(loginItems.paths(), Lines{"/usr/bin/other"});
    QLabel* status = controller->statusLine();

    // A failed write returns the control to what is stored and says so.
    sharedStore->readOnly = standardStore->readOnly = true;
    toggle(minimize);
    EXPECT_TRUE(controller->minimizeCheckbox()->isChecked()); // as stored
    EXPECT_TRUE(status->isVisible());
    EXPECT_EQ(status->text().toStdString(),
              "The change could not be saved: the settings file cannot be written.");
    loginItems.readOnly = true;
    status->clear();
    toggle("Start Tidewell at login");
    EXPECT_FALSE(controller->loginCheckbox()->isChecked());
    EXPECT_EQ(status->text().toStdString(),
              "Start at login could not be changed: the autostart folder cannot be written.");
    controller->display(); // a fresh look clears the line
    EXPECT_FALSE(status->isVisible());
}

TEST_F(PreferencesTest, ShortcutFieldsRecordCancelClearRefuseAndSayWhyABindingFailed) {
    using A = TWShortcutAction;
    TWShortcutRecorder* hide = controller->shortcutRecorder(A::HideOthers);
    QLabel* hideProblem = controller->shortcutProblem(A::HideOthers);
    auto stored = [this] {
        return shared.stringForKey(TWHideOthersShortcutKey).value_or("<none>");
    };
    EXPECT_EQ(stored(), "<none>"); // nothing taken from the desktop unasked
    EXPECT_EQ(hide->text(), "None");
    // Pressed as assistive technology does, then keys as the user types them. Each row starts a
    // recording (the field's accessible press) unless it is marked not to.
    QAccessibleInterface* field = accessible("Hide Others shortcut");
    ASSERT_TRUE(field);
    struct Step {
        bool press;
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        std::string stored;
        bool refused;
    };
    const Step steps[] = {
        {true, Qt::Key_H, Qt::ControlModifier | Qt::AltModifier, "Ctrl+Alt+H", false},
        {true, Qt::Key_Escape, Qt::NoModifier, "Ctrl+Alt+H", false}, // cancelled
        {true, Qt::Key_H, Qt::ShiftModifier, "Ctrl+Alt+H", true},    // would swallow typing
        {true, Qt::Key_F7, Qt::NoModifier, "F7", false},
        {false, Qt::Key_Backspace, Qt::NoModifier, "<none>", false}, // cleared
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.stored);
        if (step.press) { // an animated click: it lands on the event loop
            field->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
            EXPECT_TRUE(QTest::qWaitFor([&] { return hide->isRecording(); }));
        }
        QTest::keyClick(hide, step.key, step.modifiers);
        EXPECT_FALSE(hide->isRecording());
        EXPECT_EQ(stored(), step.stored);
        EXPECT_EQ(hideProblem->isVisible(), step.refused);
    }
    // Keys another program holds: stored, with the reason beside the field; a fresh look at
    // the window registers again (the other program may have let go).
    heldElsewhere.insert("Ctrl+Alt+K");
    hide->startRecording();
    QTest::keyClick(hide, Qt::Key_K, Qt::ControlModifier | Qt::AltModifier);
    EXPECT_EQ(stored(), "Ctrl+Alt+K");
    EXPECT_EQ(hideProblem->text().toStdString(),
              "Another program already uses Ctrl+Alt+K as a shortcut.");
    EXPECT_TRUE(hideProblem->isVisible());
    heldElsewhere.clear();
    controller->display();
    EXPECT_FALSE(hideProblem->isVisible());
}

TEST_F(PreferencesTest, ARequestWhileTheCloseQuestionIsUpKeepsTheOneWindowOpen) {
    QMainWindow* window = controller->prefsWindow();
    controller->prefsWindow()->close();
    EXPECT_TRUE(alerts.shown.empty()); // menu-bar mode off
    standard.setBool(true, TWMenubarKey);
    for (long answer : {TWAlertSecondButtonReturn /* Later */, TWAlertFirstButtonReturn}) {
        alerts.answer = answer;
        controller->display();
        window->close();
        EXPECT_EQ(terminations, 0); // not inside the close
        EXPECT_FALSE(window->isVisible());
        QCoreApplication::processEvents();
        EXPECT_EQ(terminations, answer == TWAlertFirstButtonReturn);
    }
    ASSERT_EQ(alerts.shown.size(), 2u);
    // Asked for again while the question is up, "Later" leaves the one window open.
    alerts.answer = TWAlertSecondButtonReturn;
    controller->display();
    alerts.onShow = [this] { controller->display(); };
    window->close();
    EXPECT_TRUE(window->isVisible());
    alerts.onShow = nullptr;
    controller->display();
    int windows = 0;
    for (QWidget* top : QApplication::topLevelWidgets())
        windows += top->isVisible() && top->inherits("QMainWindow");
    EXPECT_EQ(windows, 1);
    // Quitting detaches the close handling: no question.
    controller->detachWindow();
    window->close();
    EXPECT_EQ(alerts.shown.size(), 3u);
}

} // namespace
