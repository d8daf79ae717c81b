// SPDX-License-Identifier: MIT
// The preferences window: toolbar, General pane, pane switching and the close question.
#include "PreferencesController.h"

#include "ExcludeController.h"
#include "OVLoginItem.h"
#include "TWAlert.h"
#include "TWFormat.h"
#include "TWKeyCombination.h"
#include "TWLocalizedString.h"
#include "TWServiceManagement.h"
#include "TWSettings.h"
#include "TWShortcutBinder.h"
#include "TWShortcutRecorder.h"
#include "TWUserDefaults.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QAccessibleWidget>
#include <QActionGroup>
#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLabel>
#include <QMainWindow>
#include <QPropertyAnimation>
#include <QScreen>
#include <QStyle>
#include <QTableView>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>

#include <algorithm>
#include <iterator>
#include <mutex>
#include <utility>

namespace {

constexpr const char* generalIdentifier = "generalPrefs";
constexpr const char* excludeIdentifier = "excludePrefs";
constexpr int paneWidth = 480;
constexpr int excludePaneHeight = 360;
constexpr int resizeDurationMs = 200;

QString localized(const char* text) {
    return QString::fromStdString(TWLocalizedString(text));
}

struct SharedState {
    std::mutex mutex;
    TWPreferencesServices services;
    PreferencesController* instance = nullptr;
    bool initialised = false;
};

SharedState& shared() {
    static SharedState state;
    return state;
}

// The names of the icon styles, in the order of TWIconStyles.
constexpr const char* iconStyleTitles[] = {
    TWLocalizable("Standard"),
    TWLocalizable("Purple"),
    TWLocalizable("Graphite"),
    TWLocalizable("Dark"),
};
static_assert(std::size(iconStyleTitles) == std::size(TWIconStyles));

// The icon-style pop-up: a combo box of its own class, so that assistive technology gets the
// interface below rather than the stock one.
class TWIconStylePopUp : public QComboBox {
    Q_OBJECT

  public:
    using QComboBox::QComboBox;
};

// The stock combo-box interface names the box by its current value on Linux (leaving the name
// to a label relation that screen readers do not all follow); this one is named by its
// accessible name and gives the value as the value. Its one child is the list of the styles.
class TWIconStylePopUpAccessible : public QAccessibleWidget {
  public:
    explicit TWIconStylePopUpAccessible(QComboBox* box)
        : QAccessibleWidget(box, QAccessible::ComboBox) {}

    QString text(QAccessible::Text t) const override {
        if (t == QAccessible::Value)
            return box()->currentText();
        if (t == QAccessible::Name && !box()->accessibleName().isEmpty())
            return box()->accessibleName();
        return QAccessibleWidget::text(t);
    }
    QAccessible::State state() const override {
        QAccessible::State s = QAccessibleWidget::state();
        s.expandable = true;
        s.expanded = box()->view()->isVisible();
        s.collapsed = !s.expanded;
        return s;
    }
    int childCount() const override { return 1; }
    QAccessibleInterface* child(int index) const override {
        return index == 0 ? QAccessible::queryAccessibleInterface(box()->view()) : nullptr;
    }
    int indexOfChild(const QAccessibleInterface* child) const override {
        return child && child->object() == box()->view() ? 0 : -1;
    }
    QStringList actionNames() const override {
        return {QAccessibleActionInterface::showMenuAction(),
                QAccessibleActionInterface::pressAction()};
    }
    void doAction(const QString& actionName) override {
        if (actionName == QAccessibleActionInterface::showMenuAction() ||
            actionName == QAccessibleActionInterface::pressAction()) {
            if (box()->view()->isVisible())
                box()->hidePopup();
            else
                box()->showPopup();
        }
    }

  private:
    QComboBox* box() const { return static_cast<QComboBox*>(widget()); }
};

QAccessibleInterface* iconStylePopUpAccessible(const QString& className, QObject* object) {
    if (className == QLatin1String(TWIconStylePopUp::staticMetaObject.className()))
        if (auto* box = qobject_cast<QComboBox*>(object))
            return new TWIconStylePopUpAccessible(box);
    return nullptr;
}

} // namespace

PreferencesController::PreferencesController(TWPreferencesServices services, QObject* parent)
    : QObject(parent), services_(std::move(services)) {
    prefsWindow_ = new QMainWindow;
    // A titled window with a close button: its size follows the pane shown.
    prefsWindow_->setWindowFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                                 Qt::WindowCloseButtonHint);
    prefsWindow_->setAttribute(Qt::WA_QuitOnClose, false);
    prefsWindow_->setContextMenuPolicy(Qt::NoContextMenu); // the toolbar cannot be hidden
    prefsWindow_->installEventFilter(this);
    auto* content = new QWidget(prefsWindow_);
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(0, 0, 0, 0);
    prefsWindow_->setCentralWidget(content);

    generalView_ = createGeneralView();
    if (services_.excludeController) {
        if (ExcludeController* exclude = services_.excludeController())
            excludeView_ = exclude->view();
    }
    if (!excludeView_)
        excludeView_ = new QWidget;
    excludeView_->resize(paneWidth, excludePaneHeight);
    for (QWidget* pane : {generalView_, excludeView_}) {
        pane->setParent(content);
        pane->hide();
    }
    animation_ = new QPropertyAnimation(prefsWindow_, "geometry", this);
    animation_->setDuration(resizeDurationMs);
    animation_->setEasingCurve(QEasingCurve::InOutQuad);
    connect(animation_, &QPropertyAnimation::finished, this, [this] {
        if (prefsWindow_)
            prefsWindow_->setFixedSize(animation_->endValue().toRect().size());
    });

    createWindowToolbar();
    displayGeneralPrefs();
}

PreferencesController::~PreferencesController() {
    delete prefsWindow_;
}

void PreferencesController::configureShared(TWPreferencesServices services) {
    std::lock_guard lock(shared().mutex);
    shared().services = std::move(services);
}

PreferencesController* PreferencesController::init() {
    TWPreferencesServices services;
    {
        std::lock_guard lock(shared().mutex);
        if (shared().initialised)
            return nullptr;
        shared().initialised = true;
        services = shared().services;
    }
    // Lives until the process ends.
    auto* controller = new PreferencesController(std::move(services));
    std::lock_guard lock(shared().mutex);
    shared().instance = controller;
    return controller;
}

PreferencesController* PreferencesController::sharedInstance() {
    {
        std::lock_guard lock(shared().mutex);
        if (shared().initialised)
            return shared().instance;
    }
    return init();
}

// ----------------------------------------------------------------------------- building

void PreferencesController::createWindowToolbar() {
    toolbar_ = new QToolBar(QStringLiteral("prefWindowToolbar"), prefsWindow_);
    toolbar_->setObjectName(QStringLiteral("prefWindowToolbar"));
    toolbar_->setMovable(false);
    toolbar_->setFloatable(false);
    toolbar_->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    toolbar_->setIconSize(QSize(32, 32));
    toolbar_->toggleViewAction()->setEnabled(false);

    QStyle* style = QApplication::style();
    generalItem_ = toolbar_->addAction(
        QIcon::fromTheme(QStringLiteral("preferences-system"),
                         style->standardIcon(QStyle::SP_FileDialogDetailedView)),
        localized("General"));
    excludeItem_ =
        toolbar_->addAction(QIcon::fromTheme(QStringLiteral("application-x-executable"),
                                             style->standardIcon(QStyle::SP_DesktopIcon)),
                            localized("Exclude"));
    generalItem_->setObjectName(QString::fromLatin1(generalIdentifier));
    excludeItem_->setObjectName(QString::fromLatin1(excludeIdentifier));
    // The panes from the keyboard too: toolbar buttons take no focus.
    generalItem_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_1));
    excludeItem_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_2));
    auto* group = new QActionGroup(toolbar_);
    for (QAction* item : {generalItem_, excludeItem_}) {
        item->setCheckable(true);
        group->addAction(item);
    }
    prefsWindow_->addToolBar(Qt::TopToolBarArea, toolbar_);
    generalItem_->setChecked(true);
    connectToolbarItem(generalItem_, &PreferencesController::displayGeneralPrefs);
    connectToolbarItem(excludeItem_, &PreferencesController::displayExcludePrefs);
}

void PreferencesController::connectToolbarItem(QAction* item,
                                               void (PreferencesController::*showPane)()) {
    // The pane follows the item's state, however it changed: a click triggers the action, while
    // assistive technology toggles the item's button, which passes only its state on.
    connect(item, &QAction::toggled, this, [this, item, showPane](bool on) {
        if (on) {
            (this->*showPane)();
            return;
        }
        // The selected item cannot be unselected: one pane is always shown.
        const QList<QAction*> items = item->actionGroup()->actions();
        if (std::none_of(items.begin(), items.end(), [](QAction* a) { return a->isChecked(); }))
            item->setChecked(true);
    });
}

QAction* PreferencesController::toolbarItem(const QString& identifier) const {
    if (identifier == QLatin1String(generalIdentifier))
        return generalItem_;
    if (identifier == QLatin1String(excludeIdentifier))
        return excludeItem_;
    return nullptr;
}

QCheckBox* PreferencesController::addCheckbox(QWidget* parent, const char* title,
                                              void (PreferencesController::*action)()) {
    auto* checkbox = new QCheckBox(localized(title), parent);
    checkbox->setAccessibleName(checkbox->text());
    // Every change of state runs the action once; display() loads states with the signal
    // blocked.
    connect(checkbox, &QCheckBox::toggled, this, [this, action] { (this->*action)(); });
    return checkbox;
}

void PreferencesController::showState(QAbstractButton* box, bool on) {
    const QSignalBlocker quiet(box);
    box->setChecked(on);
}

bool PreferencesController::storeState(TWUserDefaults& store, QCheckBox* box, const char* key,
                                       bool on) {
    if (store.setBool(on, key))
        return true;
    showState(box, store.boolForKey(key));
    showStatus(localized("The change could not be saved: the settings file cannot be written."));
    return false;
}

void PreferencesController::showStatus(const QString& text) {
    statusLine_->setText(text);
    statusLine_->setVisible(!text.isEmpty());
    fitGeneralView();
    if (!text.isEmpty()) { // read out by a screen reader, as an alert is
        QAccessibleEvent alert(statusLine_, QAccessible::Alert);
        QAccessible::updateAccessibility(&alert);
    }
}

QWidget* PreferencesController::createGeneralView() {
    auto* view = new QWidget;
    auto* form = new QFormLayout(view);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);

    static const bool accessible = [] {
        QAccessible::installFactory(iconStylePopUpAccessible);
        return true;
    }();
    (void)accessible;
    dropDownIcon_ = new TWIconStylePopUp(view);
    dropDownIcon_->setIconSize(QSize(32, 32));
    for (std::size_t i = 0; i < std::size(TWIconStyles); ++i) {
        const QString imageName = QString::fromLatin1(TWIconStyles[i].imageName);
        const QIcon picture = services_.iconNamed ? services_.iconNamed(imageName) : QIcon();
        dropDownIcon_->addItem(picture, localized(iconStyleTitles[i]),
                               static_cast<int>(TWIconStyles[i].tag));
    }
    auto* iconLabel = new QLabel(localized("Icon style:"), view);
    iconLabel->setBuddy(dropDownIcon_);
    dropDownIcon_->setAccessibleName(localized("Icon style"));
    connect(dropDownIcon_, &QComboBox::currentIndexChanged, this, [this] { dropDownIconAction(); });
    form->addRow(iconLabel, dropDownIcon_);

    menuExtraCheckbox_ = addCheckbox(view, TWLocalizable("Show Tidewell in the menu bar"),
                                     &PreferencesController::menuExtraCheckAction);
    loginCheckbox_ = addCheckbox(view, TWLocalizable("Start Tidewell at login"),
                                 &PreferencesController::setAsLoginItemAction);
    form->addRow(QString(), menuExtraCheckbox_);
    form->addRow(QString(), loginCheckbox_);

    showFinderCheckbox_ = addCheckbox(view, TWLocalizable("Bring the file manager to the front"),
                                      &PreferencesController::showFinderAction);
    newWindowCheckbox_ = addCheckbox(view, TWLocalizable("Open a new file manager window"),
                                     &PreferencesController::newWindowAction);
    minimizeCheckbox_ = addCheckbox(view, TWLocalizable("Minimize the file manager's windows"),
                                    &PreferencesController::minimizeFinderWindowAction);
    closeAllCheckbox_ = addCheckbox(view, TWLocalizable("Close all file manager windows"),
                                    &PreferencesController::closeAllFinderWindowAction);
    auto* hidingLabel = new QLabel(localized("When hiding the others:"), view);
    form->addRow(hidingLabel, showFinderCheckbox_);
    // The new window is a detail of bringing the file manager forward: indented under it.
    auto* indented = new QHBoxLayout;
    indented->addSpacing(20);
    indented->addWidget(newWindowCheckbox_, 1);
    form->addRow(QString(), indented);
    form->addRow(QString(), minimizeCheckbox_);
    form->addRow(QString(), closeAllCheckbox_);
    // The global shortcuts, each with the reason it is not registered under it.
    constexpr struct {
        TWShortcutAction action;
        const char* label;
        const char* accessibleName;
    } shortcutRows[] = {
        {TWShortcutAction::HideOthers, TWLocalizable("Hide Others:"),
         TWLocalizable("Hide Others shortcut")},
        {TWShortcutAction::ShowAll, TWLocalizable("Show All:"), TWLocalizable("Show All shortcut")},
    };
    for (const auto& row : shortcutRows) {
        const int index = static_cast<int>(row.action);
        auto* recorder = new TWShortcutRecorder(view);
        recorder->setAccessibleName(localized(row.accessibleName));
        auto* problem = new QLabel(view);
        problem->setWordWrap(true);
        problem->setAccessibleName(localized(row.accessibleName));
        problem->hide();
        auto* column = new QVBoxLayout;
        column->addWidget(recorder, 0, Qt::AlignLeft);
        column->addWidget(problem);
        auto* label = new QLabel(localized(row.label), view);
        label->setBuddy(recorder);
        form->addRow(label, column);
        connect(
            recorder, &TWShortcutRecorder::keysChanged, this,
            [this, action = row.action](const QString& keys) { shortcutRecorded(action, keys); });
        connect(recorder, &TWShortcutRecorder::refused, this,
                [this, action = row.action](const QString& reason) {
                    showShortcutProblem(action, reason);
                });
        shortcutRecorders_[index] = recorder;
        shortcutProblems_[index] = problem;
    }

    statusLine_ = new QLabel(view);
    statusLine_->setWordWrap(true);
    statusLine_->setAccessibleName(localized("Status"));
    statusLine_->hide();
    form->addRow(statusLine_);

    view->resize(std::max(paneWidth, view->sizeHint().width()), view->sizeHint().height());
    return view;
}

// ----------------------------------------------------------------------------- display

void PreferencesController::display() {
    TWUserDefaults& own = *services_.standardDefaults;
    TWUserDefaults& sharedDefaults = *services_.sharedDefaults;
    OVLoginItem loginItem("Tidewell", services_.applicationPath, services_.loginItems);

    if (asking_)
        shownWhileAsking_ = true;
    showState(newWindowCheckbox_, sharedDefaults.boolForKey(TWShowWindowKey));
    showState(minimizeCheckbox_, sharedDefaults.boolForKey(TWMinimizeKey));
    const bool showFinder = sharedDefaults.boolForKey(TWShowFinderKey);
    showState(showFinderCheckbox_, showFinder);
    newWindowCheckbox_->setEnabled(showFinder);
    showState(closeAllCheckbox_, sharedDefaults.boolForKey(TWCloseAllFinderKey));
    showState(menuExtraCheckbox_, own.boolForKey(TWMenubarKey));
    showIconStyle();
    showState(loginCheckbox_, loginItem.isLoginItem());
    for (TWShortcutAction action : {TWShortcutAction::HideOthers, TWShortcutAction::ShowAll})
        shortcutRecorder(action)->setKeys(QString::fromStdString(
            sharedDefaults.stringForKey(TWShortcutBinder::settingsKey(action)).value_or("")));
    showShortcutProblems();
    showStatus(QString());

    centreWindow();
    // Before the window manager has framed the window once, its frame is not known: centred
    // again once it is, so the first show sits where every later one does.
    centreWhenFramed_ = !prefsWindow_->isVisible() && !framedOnce_;
    prefsWindow_->show();
    prefsWindow_->raise();
    prefsWindow_->activateWindow();
}

// ----------------------------------------------------------------------------- actions

TWShortcutRecorder* PreferencesController::shortcutRecorder(TWShortcutAction action) const {
    return shortcutRecorders_[static_cast<int>(action)];
}

QLabel* PreferencesController::shortcutProblem(TWShortcutAction action) const {
    return shortcutProblems_[static_cast<int>(action)];
}

void PreferencesController::showShortcutProblem(TWShortcutAction action, const QString& text) {
    QLabel* line = shortcutProblem(action);
    line->setText(text);
    line->setVisible(!text.isEmpty());
    fitGeneralView();
    if (!text.isEmpty()) {
        QAccessibleEvent alert(line, QAccessible::Alert);
        QAccessible::updateAccessibility(&alert);
    }
}

void PreferencesController::showShortcutProblems() {
    for (TWShortcutAction action : {TWShortcutAction::HideOthers, TWShortcutAction::ShowAll}) {
        std::optional<std::string> problem;
        if (services_.refreshShortcut)
            problem = services_.refreshShortcut(action);
        QString text = QString::fromStdString(problem.value_or(""));
        // The combinations as the fields show them: "Strg+Alt+K" in German.
        for (TWShortcutAction named : {TWShortcutAction::HideOthers, TWShortcutAction::ShowAll}) {
            const auto stored = TWKeyCombination::parse(
                services_.sharedDefaults->stringForKey(TWShortcutBinder::settingsKey(named))
                    .value_or(""));
            if (!stored)
                continue;
            const QString portable = QString::fromStdString(stored->text());
            text.replace(portable, QKeySequence::fromString(portable, QKeySequence::PortableText)
                                       .toString(QKeySequence::NativeText));
        }
        showShortcutProblem(action, text);
    }
}

void PreferencesController::shortcutRecorded(TWShortcutAction action, const QString& keys) {
    TWUserDefaults& store = *services_.sharedDefaults;
    const char* key = TWShortcutBinder::settingsKey(action);
    // The other action's combination is refused as a bare key is: saved, it would leave one of
    // the two without a shortcut.
    const TWShortcutAction other = action == TWShortcutAction::HideOthers
                                       ? TWShortcutAction::ShowAll
                                       : TWShortcutAction::HideOthers;
    const auto recorded = TWKeyCombination::parse(keys.toStdString());
    const auto othersKeys = TWKeyCombination::parse(
        store.stringForKey(TWShortcutBinder::settingsKey(other)).value_or(""));
    if (recorded && othersKeys && *recorded == *othersKeys) {
        shortcutRecorder(action)->setKeys(
            QString::fromStdString(store.stringForKey(key).value_or("")));
        showShortcutProblem(
            action, QString::fromStdString(TWFormat(
                        TWLocalizedString("%@ is already the shortcut of %@."),
                        QKeySequence::fromString(keys, QKeySequence::PortableText)
                            .toString(QKeySequence::NativeText)
                            .toStdString(),
                        TWLocalizedString(other == TWShortcutAction::HideOthers ? "Hide Others"
                                                                                : "Show All"))));
        return;
    }
    const bool stored = keys.isEmpty() ? store.removeObjectForKey(key)
                                       : store.setObject(TWPlistValue(keys.toStdString()), key);
    if (!stored) {
        shortcutRecorder(action)->setKeys(
            QString::fromStdString(store.stringForKey(key).value_or("")));
        showStatus(
            localized("The change could not be saved: the settings file cannot be written."));
        return;
    }
    // Both lines: moving a combination from one action to the other changes both.
    showShortcutProblems();
}

void PreferencesController::showIconStyle() {
    // A stored style no item has selects nothing.
    const QSignalBlocker quiet(dropDownIcon_);
    dropDownIcon_->setCurrentIndex(dropDownIcon_->findData(
        static_cast<int>(services_.standardDefaults->integerForKey(TWIconStyleKey))));
}

void PreferencesController::dropDownIconAction() {
    if (dropDownIcon_->currentIndex() < 0)
        return;
    const std::int64_t tag = dropDownIcon_->currentData().toInt();
    if (!services_.standardDefaults->setInteger(tag, TWIconStyleKey)) {
        showIconStyle();
        showStatus(
            localized("The change could not be saved: the settings file cannot be written."));
        return;
    }
    if (services_.setApplicationIconImage)
        services_.setApplicationIconImage(TWIconImageName(tag));
}

void PreferencesController::menuExtraCheckAction() {
    const bool on = menuExtraCheckbox_->isChecked();
    // The helper follows only a stored mode: a new launch must find what the user sees.
    if (storeState(*services_.standardDefaults, menuExtraCheckbox_, TWMenubarKey, on) &&
        services_.serviceManagement)
        services_.serviceManagement->setLoginItemEnabled(TWHelperBundleIdentifier, on);
}

void PreferencesController::minimizeFinderWindowAction() {
    const bool on = minimizeCheckbox_->isChecked();
    // Turning it on turns "close all" off, through its own control and action.
    if (storeState(*services_.sharedDefaults, minimizeCheckbox_, TWMinimizeKey, on) && on &&
        services_.sharedDefaults->boolForKey(TWCloseAllFinderKey)) {
        if (closeAllCheckbox_->isChecked())
            closeAllCheckbox_->setChecked(false);
        else
            storeState(*services_.sharedDefaults, closeAllCheckbox_, TWCloseAllFinderKey, false);
    }
}

void PreferencesController::closeAllFinderWindowAction() {
    const bool on = closeAllCheckbox_->isChecked();
    if (storeState(*services_.sharedDefaults, closeAllCheckbox_, TWCloseAllFinderKey, on) && on &&
        services_.sharedDefaults->boolForKey(TWMinimizeKey)) {
        if (minimizeCheckbox_->isChecked())
            minimizeCheckbox_->setChecked(false);
        else
            storeState(*services_.sharedDefaults, minimizeCheckbox_, TWMinimizeKey, false);
    }
}

void PreferencesController::newWindowAction() {
    storeState(*services_.sharedDefaults, newWindowCheckbox_, TWShowWindowKey,
               newWindowCheckbox_->isChecked());
}

void PreferencesController::showFinderAction() {
    storeState(*services_.sharedDefaults, showFinderCheckbox_, TWShowFinderKey,
               showFinderCheckbox_->isChecked());
    newWindowCheckbox_->setEnabled(showFinderCheckbox_->isChecked());
}

void PreferencesController::setAsLoginItemAction() {
    // The action toggles what the session's list holds, whatever the box showed (the list may
    // have changed behind the window); the box then shows what the list holds, and a list that
    // could not be changed is said in the pane.
    OVLoginItem loginItem("Tidewell", services_.applicationPath, services_.loginItems);
    const bool before = loginItem.isLoginItem();
    if (before)
        loginItem.removeLoginItem();
    else
        loginItem.installLoginItem();
    const bool now = loginItem.isLoginItem();
    showState(loginCheckbox_, now);
    if (now == before)
        showStatus(localized("Start at login could not be changed: the autostart folder cannot "
                             "be written."));
}

// ----------------------------------------------------------------------------- panes

void PreferencesController::displayGeneralPrefs() {
    displayPrefView(generalView_);
    generalItem_->setChecked(true);
    dropDownIcon_->setFocus(Qt::OtherFocusReason);
    prefsWindow_->setWindowTitle(localized("General"));
}

void PreferencesController::displayExcludePrefs() {
    displayPrefView(excludeView_);
    excludeItem_->setChecked(true);
    QWidget* table = nullptr;
    if (services_.excludeController)
        if (ExcludeController* exclude = services_.excludeController())
            table = exclude->excludeTableView();
    (table ? table : excludeView_)->setFocus(Qt::OtherFocusReason);
    prefsWindow_->setWindowTitle(localized("Exclude"));
}

void PreferencesController::displayPrefView(QWidget* view) {
    if (view == currentView_)
        return;
    QWidget* content = prefsWindow_->centralWidget();
    auto* layout = static_cast<QVBoxLayout*>(content->layout());
    const QSize paneSize = view ? view->size() : QSize(0, 0);
    if (currentView_) {
        layout->removeWidget(currentView_);
        currentView_->hide();
    }
    // The window's client area: the pane under the toolbar.
    const QSize newSize(paneSize.width(), paneSize.height() + toolbar_->sizeHint().height());
    const QRect oldFrame = prefsWindow_->geometry();
    // The top-left corner stays where it is, whether the window grows or shrinks.
    const QRect newFrame(oldFrame.topLeft(), newSize);
    if (view) {
        layout->addWidget(view);
        view->show();
    }
    currentView_ = view;

    animation_->stop();
    prefsWindow_->setMinimumSize(0, 0);
    prefsWindow_->setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
    if (!prefsWindow_->isVisible()) {
        prefsWindow_->setGeometry(newFrame);
        prefsWindow_->setFixedSize(newSize);
        return;
    }
    animation_->setStartValue(oldFrame);
    animation_->setEndValue(newFrame);
    animation_->start();
}

void PreferencesController::fitGeneralView() {
    // The lines that come and go (the status, the shortcuts' problems) change the pane's height.
    const int width = std::max(paneWidth, generalView_->sizeHint().width());
    QLayout* layout = generalView_->layout();
    layout->activate(); // a line just shown or hidden counts
    const int height = layout->hasHeightForWidth() ? layout->totalHeightForWidth(width)
                                                   : generalView_->sizeHint().height();
    if (generalView_->size() == QSize(width, height))
        return;
    generalView_->resize(width, height);
    if (currentView_ != generalView_ || !prefsWindow_)
        return;
    animation_->stop();
    prefsWindow_->setMinimumSize(0, 0);
    prefsWindow_->setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
    prefsWindow_->setFixedSize(width, height + toolbar_->sizeHint().height());
}

// ----------------------------------------------------------------------------- closing

void PreferencesController::centreWindow() {
    QScreen* screen =
        prefsWindow_->screen() ? prefsWindow_->screen() : QApplication::primaryScreen();
    if (!screen)
        return;
    QRect frame = prefsWindow_->frameGeometry();
    frame.moveCenter(screen->availableGeometry().center());
    prefsWindow_->move(frame.topLeft());
}

bool PreferencesController::eventFilter(QObject* watched, QEvent* event) {
    // The type is checked first: while the window is being destroyed it is no longer a
    // QMainWindow, and reading the guarded pointer then would be a bad downcast.
    if ((event->type() == QEvent::Move || event->type() == QEvent::Resize) &&
        watched == prefsWindow_ && prefsWindow_->isVisible() &&
        prefsWindow_->frameGeometry() != prefsWindow_->geometry()) {
        framedOnce_ = true;
        if (std::exchange(centreWhenFramed_, false))
            centreWindow();
    }
    if (event->type() == QEvent::Close && closeHandlingAttached_ && watched == prefsWindow_ &&
        !windowWillClose()) {
        event->ignore();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

bool PreferencesController::windowWillClose() {
    if (!prefsWindow_->isVisible() || !services_.standardDefaults->boolForKey(TWMenubarKey) ||
        asking_)
        return true;
    std::shared_ptr<TWAlert> alert = TWAlert::ov_alertWithMessageText(
        TWLocalizedString("You may now quit Tidewell and continue running in menu bar mode."),
        TWLocalizedString("Quit"), TWLocalizedString("Later"), std::nullopt,
        TWLocalizedString(
            "To change this setting later, open Tidewell and adjust the Preferences."));
    // The preferences may be asked for again while the question is up (the question's own event
    // loop runs): the request wins over the close, unless the user quits.
    asking_ = true;
    shownWhileAsking_ = false;
    const long answer = alert->runModal(*services_.alertPresenter);
    asking_ = false;
    if (answer == TWAlertFirstButtonReturn) {
        // Queued: the window finishes closing before the application quits.
        auto terminate = services_.terminate;
        QTimer::singleShot(0, this, [terminate] {
            if (terminate)
                terminate();
        });
        return true;
    }
    return !shownWhileAsking_;
}

void PreferencesController::detachWindow() {
    closeHandlingAttached_ = false;
}

#include "PreferencesController.moc"
