// SPDX-License-Identifier: MIT
// The preferences window: toolbar, General pane, pane switching and the close question.
#include "PreferencesController.h"

#include "ExcludeController.h"
#include "OVLoginItem.h"
#include "TWAlert.h"
#include "TWLocalizedString.h"
#include "TWServiceManagement.h"
#include "TWSettings.h"
#include "TWUserDefaults.h"

#include <QAbstractItemView>
#include <QActionGroup>
#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QMainWindow>
#include <QPropertyAnimation>
#include <QScreen>
#include <QStyle>
#include <QTableView>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>

#include <iterator>
#include <mutex>

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
    connect(generalItem_, &QAction::triggered, this, [this] { displayGeneralPrefs(); });
    connect(excludeItem_, &QAction::triggered, this, [this] { displayExcludePrefs(); });
    prefsWindow_->addToolBar(Qt::TopToolBarArea, toolbar_);
    generalItem_->setChecked(true);
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
    // A click (by the user, or the simulated one that keeps two settings exclusive) runs the
    // action; loading a state in display() does not.
    connect(checkbox, &QCheckBox::clicked, this, [this, action] { (this->*action)(); });
    return checkbox;
}

QWidget* PreferencesController::createGeneralView() {
    auto* view = new QWidget;
    auto* form = new QFormLayout(view);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);

    dropDownIcon_ = new QComboBox(view);
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
    connect(dropDownIcon_, &QComboBox::activated, this, [this] { dropDownIconAction(); });
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
    // The new window is a detail of bringing the file manager forward.
    newWindowCheckbox_->setContentsMargins(20, 0, 0, 0);
    form->addRow(QString(), newWindowCheckbox_);
    form->addRow(QString(), minimizeCheckbox_);
    form->addRow(QString(), closeAllCheckbox_);

    view->resize(std::max(paneWidth, view->sizeHint().width()), view->sizeHint().height());
    return view;
}

// ----------------------------------------------------------------------------- display

void PreferencesController::display() {
    TWUserDefaults& own = *services_.standardDefaults;
    TWUserDefaults& sharedDefaults = *services_.sharedDefaults;
    OVLoginItem loginItem("Tidewell", services_.applicationPath, services_.loginItems);

    newWindowCheckbox_->setChecked(sharedDefaults.boolForKey(TWShowWindowKey));
    minimizeCheckbox_->setChecked(sharedDefaults.boolForKey(TWMinimizeKey));
    const bool showFinder = sharedDefaults.boolForKey(TWShowFinderKey);
    showFinderCheckbox_->setChecked(showFinder);
    newWindowCheckbox_->setEnabled(showFinder);
    closeAllCheckbox_->setChecked(sharedDefaults.boolForKey(TWCloseAllFinderKey));
    menuExtraCheckbox_->setChecked(own.boolForKey(TWMenubarKey));
    // A stored style no item has selects nothing.
    dropDownIcon_->setCurrentIndex(
        dropDownIcon_->findData(static_cast<int>(own.integerForKey(TWIconStyleKey))));
    loginCheckbox_->setChecked(loginItem.isLoginItem());

    QScreen* screen =
        prefsWindow_->screen() ? prefsWindow_->screen() : QApplication::primaryScreen();
    if (screen) {
        QRect frame = prefsWindow_->frameGeometry();
        frame.moveCenter(screen->availableGeometry().center());
        prefsWindow_->move(frame.topLeft());
    }
    prefsWindow_->show();
    prefsWindow_->raise();
    prefsWindow_->activateWindow();
}

// ----------------------------------------------------------------------------- actions

void PreferencesController::dropDownIconAction() {
    const std::int64_t tag = dropDownIcon_->currentData().toInt();
    if (services_.setApplicationIconImage)
        services_.setApplicationIconImage(TWIconImageName(tag));
    services_.standardDefaults->setInteger(tag, TWIconStyleKey);
}

void PreferencesController::menuExtraCheckAction() {
    const bool on = menuExtraCheckbox_->isChecked();
    if (services_.serviceManagement)
        services_.serviceManagement->setLoginItemEnabled(TWHelperBundleIdentifier, on);
    services_.standardDefaults->setBool(on, TWMenubarKey);
}

void PreferencesController::minimizeFinderWindowAction() {
    if (!minimizeCheckbox_->isChecked()) {
        services_.sharedDefaults->setBool(false, TWMinimizeKey);
        return;
    }
    services_.sharedDefaults->setBool(true, TWMinimizeKey);
    if (services_.sharedDefaults->boolForKey(TWCloseAllFinderKey))
        closeAllCheckbox_->click();
}

void PreferencesController::closeAllFinderWindowAction() {
    if (!closeAllCheckbox_->isChecked()) {
        services_.sharedDefaults->setBool(false, TWCloseAllFinderKey);
        return;
    }
    services_.sharedDefaults->setBool(true, TWCloseAllFinderKey);
    if (services_.sharedDefaults->boolForKey(TWMinimizeKey))
        minimizeCheckbox_->click();
}

void PreferencesController::newWindowAction() {
    services_.sharedDefaults->setBool(newWindowCheckbox_->isChecked(), TWShowWindowKey);
}

void PreferencesController::showFinderAction() {
    const bool on = showFinderCheckbox_->isChecked();
    services_.sharedDefaults->setBool(on, TWShowFinderKey);
    newWindowCheckbox_->setEnabled(on);
}

void PreferencesController::setAsLoginItemAction() {
    // Toggles what the session has, whatever the checkbox shows.
    OVLoginItem loginItem("Tidewell", services_.applicationPath, services_.loginItems);
    if (loginItem.isLoginItem())
        loginItem.removeLoginItem();
    else
        loginItem.installLoginItem();
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

// ----------------------------------------------------------------------------- closing

bool PreferencesController::eventFilter(QObject* watched, QEvent* event) {
    // The type is checked first: while the window is being destroyed it is no longer a
    // QMainWindow, and reading the guarded pointer then would be a bad downcast.
    if (event->type() == QEvent::Close && closeHandlingAttached_ && watched == prefsWindow_)
        windowWillClose();
    return QObject::eventFilter(watched, event);
}

void PreferencesController::windowWillClose() {
    if (!prefsWindow_->isVisible() || !services_.standardDefaults->boolForKey(TWMenubarKey))
        return;
    std::shared_ptr<TWAlert> alert = TWAlert::ov_alertWithMessageText(
        TWLocalizedString("You may now quit Tidewell and continue running in menu bar mode."),
        TWLocalizedString("Quit"), TWLocalizedString("Later"), std::nullopt,
        TWLocalizedString(
            "To change this setting later, open Tidewell and adjust the Preferences."));
    if (alert->runModal(*services_.alertPresenter) == TWAlertFirstButtonReturn) {
        // Queued: the window finishes closing before the application quits.
        auto terminate = services_.terminate;
        QTimer::singleShot(0, this, [terminate] {
            if (terminate)
                terminate();
        });
    }
}

void PreferencesController::detachWindow() {
    closeHandlingAttached_ = false;
}
