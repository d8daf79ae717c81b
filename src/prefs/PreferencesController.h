// SPDX-License-Identifier: MIT
// The preferences window: a toolbar that switches between the General pane (the settings of the
// hide-others action, the icon style, menu-bar mode, start at login) and the Exclude pane.
#pragma once

#include <QIcon>
#include <QMainWindow>
#include <QObject>
#include <QPointer>

#include "TWGlobalShortcuts.h"

#include <functional>
#include <optional>
#include <string>

class ExcludeController;
class QAbstractButton;
class QAction;
class QCheckBox;
class QComboBox;
class QLabel;
class QMainWindow;
class QPropertyAnimation;
class QToolBar;
class QWidget;
class TWAlertPresenter;
class TWLoginItemList;
class TWServiceManagement;
class TWShortcutRecorder;
class TWUserDefaults;

struct TWPreferencesServices {
    TWUserDefaults* standardDefaults = nullptr;
    TWUserDefaults* sharedDefaults = nullptr;
    TWAlertPresenter* alertPresenter = nullptr;
    TWServiceManagement* serviceManagement = nullptr;
    TWLoginItemList* loginItems = nullptr;
    // The program started at login: the tidewell the user runs.
    std::string applicationPath;
    // The Exclude pane's controller.
    std::function<ExcludeController*()> excludeController;
    // The picture of an icon style by image name ("AppIcon", "Purple", "Graphite", "Dark").
    std::function<QIcon(const QString& imageName)> iconNamed;
    // Sets the application's icon (the tray icon) by image name.
    std::function<void(const std::string& imageName)> setApplicationIconImage;
    // Ends the application.
    std::function<void()> terminate;
    // Registers the global shortcuts as stored now; why `action`'s is not registered, if it is
    // not.
    std::function<std::optional<std::string>(TWShortcutAction action)> refreshShortcut;
};

class PreferencesController : public QObject {
    Q_OBJECT

  public:
    // An independent controller with its window built (toolbar, General pane shown).
    explicit PreferencesController(TWPreferencesServices services, QObject* parent = nullptr);
    ~PreferencesController() override;

    // The services the shared instance is made with.
    static void configureShared(TWPreferencesServices services);
    // The shared instance: the first call ever makes it; any later call makes none (null).
    static PreferencesController* init();
    // The shared instance, made by init() when there is none.
    static PreferencesController* sharedInstance();

    // Loads every control from the stores and the login items, centres the window and brings
    // it to the front.
    void display();

    // The General pane's actions. Each runs once on every change of its control's state,
    // whichever way it came (mouse, keyboard, assistive technology, code); loading the
    // controls in display() runs none.
    void dropDownIconAction();
    void menuExtraCheckAction();
    void minimizeFinderWindowAction();
    void closeAllFinderWindowAction();
    void newWindowAction();
    void showFinderAction();
    void setAsLoginItemAction();

    // The lines under the shortcut fields, from the registration as it is now (a key another
    // program let go may have been taken since).
    void showShortcutProblems();

    // Pane switches (the toolbar items).
    void displayGeneralPrefs();
    void displayExcludePrefs();
    // Shows `view` in the window, resizing the window to it (animated) with its top-left
    // corner kept in place; nothing when it is the pane already shown.
    void displayPrefView(QWidget* view);

    // The window is closing: in menu-bar mode, offers to quit now that the menu-bar helper
    // carries on. False when the window is to stay open after all (it was asked for while the
    // question was up).
    bool windowWillClose();
    // Stops handling the window's close (the application is quitting).
    void detachWindow();

    QMainWindow* prefsWindow() const { return prefsWindow_; }
    QWidget* generalView() const { return generalView_; }
    QWidget* excludeView() const { return excludeView_; }
    QWidget* currentView() const { return currentView_; }
    QToolBar* toolbar() const { return toolbar_; }
    QAction* toolbarItem(const QString& identifier) const;
    QComboBox* dropDownIcon() const { return dropDownIcon_; }
    QCheckBox* menuExtraCheckbox() const { return menuExtraCheckbox_; }
    QCheckBox* minimizeCheckbox() const { return minimizeCheckbox_; }
    QCheckBox* loginCheckbox() const { return loginCheckbox_; }
    QCheckBox* newWindowCheckbox() const { return newWindowCheckbox_; }
    QCheckBox* showFinderCheckbox() const { return showFinderCheckbox_; }
    QCheckBox* closeAllCheckbox() const { return closeAllCheckbox_; }
    // The global shortcuts' fields, and the line under each telling why its shortcut is not
    // registered (hidden otherwise).
    TWShortcutRecorder* shortcutRecorder(TWShortcutAction action) const;
    QLabel* shortcutProblem(TWShortcutAction action) const;
    // The General pane's line telling of a change that could not be saved (hidden otherwise).
    QLabel* statusLine() const { return statusLine_; }
    // The window-resize animation of the last pane switch (for waiting on it).
    QPropertyAnimation* resizeAnimation() const { return animation_; }

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void createWindowToolbar();
    QWidget* createGeneralView();
    QCheckBox* addCheckbox(QWidget* parent, const char* title,
                           void (PreferencesController::*action)());
    void connectToolbarItem(QAction* item, void (PreferencesController::*showPane)());
    // Stores `on` under `key`; when the write fails, `box` returns to what is stored and the
    // pane says so. True when stored.
    bool storeState(TWUserDefaults& store, QCheckBox* box, const char* key, bool on);
    // Shows `on` in `box` without running its action.
    static void showState(QAbstractButton* box, bool on);
    // Shows the stored icon style without running the pop-up's action.
    void showIconStyle();
    void showStatus(const QString& text);
    // Stores a recorded combination and has it registered.
    void shortcutRecorded(TWShortcutAction action, const QString& keys);
    // Shows why `action`'s shortcut is not registered (nothing: hides the line).
    void showShortcutProblem(TWShortcutAction action, const QString& text);
    // Sizes the General pane (and the window, while it shows the pane) to what it holds now.
    void fitGeneralView();
    // Moves the window's frame to the centre of its screen.
    void centreWindow();

    TWPreferencesServices services_;
    QPointer<QMainWindow> prefsWindow_;
    QToolBar* toolbar_ = nullptr;
    QAction* generalItem_ = nullptr;
    QAction* excludeItem_ = nullptr;
    QWidget* generalView_ = nullptr;
    QWidget* excludeView_ = nullptr;
    QWidget* currentView_ = nullptr;
    QComboBox* dropDownIcon_ = nullptr;
    QCheckBox* menuExtraCheckbox_ = nullptr;
    QCheckBox* minimizeCheckbox_ = nullptr;
    QCheckBox* loginCheckbox_ = nullptr;
    QCheckBox* newWindowCheckbox_ = nullptr;
    QCheckBox* showFinderCheckbox_ = nullptr;
    QCheckBox* closeAllCheckbox_ = nullptr;
    QLabel* statusLine_ = nullptr;
    TWShortcutRecorder* shortcutRecorders_[2] = {};
    QLabel* shortcutProblems_[2] = {};
    QPropertyAnimation* animation_ = nullptr;
    bool closeHandlingAttached_ = true;
    // Set while the close question is up; a display() meanwhile keeps the window open.
    bool asking_ = false;
    bool shownWhileAsking_ = false;
    // Whether the window manager has framed the window yet, and whether it is to be centred
    // again once it has.
    bool framedOnce_ = false;
    bool centreWhenFramed_ = false;
};
