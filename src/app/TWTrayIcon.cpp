// SPDX-License-Identifier: MIT
// The dock tile on Linux: a tray icon with the chosen style, the dock click and the dock menu.
#include "TWTrayIcon.h"

#include "TWLog.h"

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QTimer>

constexpr const char* kLogClass = "TWTrayIcon";

TWTrayIcon::TWTrayIcon(std::function<void()> reopen,
                       std::function<std::shared_ptr<TWMenu>()> buildMenu, QObject* parent)
    : QObject(parent), reopen_(std::move(reopen)), buildMenu_(std::move(buildMenu)),
      menu_(new QMenu) {
    // The menu is built when it is about to open, so it reflects the applications running at
    // that moment and their state.
    connect(menu_, &QMenu::aboutToShow, this, [this] { fillMenu(menu_, buildMenu_()); });
}

TWTrayIcon::~TWTrayIcon() {
    delete tray_;
    delete menu_;
}

// The icons are compiled into this static library; its resources must be registered by hand.
static void registerIconResources() {
    static const bool registered = [] {
        Q_INIT_RESOURCE(icons);
        return true;
    }();
    (void)registered;
}

QIcon TWTrayIcon::iconNamed(const QString& imageName) {
    registerIconResources();
    const QString path = ":/icons/" + imageName + ".svg";
    return QFile::exists(path) ? QIcon(path) : QIcon();
}

bool TWTrayIcon::show() {
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        if (!waitingForTray_) {
            TWLog(LOG_NOTICE, kLogClass,
                  "no system tray found; starting tidewell again acts as a "
                  "click on its icon");
            // A panel started after us (or restarted) still gets the icon.
            waitingForTray_ = true;
            auto* poll = new QTimer(this);
            connect(poll, &QTimer::timeout, this, [this, poll] {
                if (QSystemTrayIcon::isSystemTrayAvailable()) {
                    poll->deleteLater();
                    show();
                }
            });
            poll->start(1000);
        }
        return false;
    }
    if (!tray_) {
        tray_ = new QSystemTrayIcon(this);
        tray_->setToolTip(QStringLiteral("Tidewell"));
        tray_->setIcon(iconNamed(imageName_.isEmpty() ? QStringLiteral("AppIcon") : imageName_));
        tray_->setContextMenu(menu_);
        connect(tray_, &QSystemTrayIcon::activated, this,
                [this](QSystemTrayIcon::ActivationReason reason) {
                    if (reason == QSystemTrayIcon::Trigger)
                        reopen_();
                    else if (reason == QSystemTrayIcon::MiddleClick && secondaryActivation_)
                        secondaryActivation_();
                });
    }
    tray_->show();
    emit shownInTray();
    return true;
}

bool TWTrayIcon::isVisible() const {
    return tray_ && tray_->isVisible();
}

void TWTrayIcon::setIconImage(const QString& imageName) {
    QIcon icon = iconNamed(imageName);
    // A missing image restores the default icon rather than leaving the tile blank.
    if (icon.isNull())
        icon = iconNamed(QStringLiteral("AppIcon"));
    imageName_ = imageName;
    QApplication::setWindowIcon(icon);
    if (tray_)
        tray_->setIcon(icon);
}

void TWTrayIcon::fillMenu(QMenu* menu, const std::shared_ptr<TWMenu>& model) {
    menu->clear();
    if (!model)
        return;
    menu->setTitle(QString::fromStdString(model->title()));
    for (const std::shared_ptr<TWMenuItem>& item : model->items()) {
        if (item->isSeparatorItem()) {
            menu->addSeparator();
            continue;
        }
        QAction* action = menu->addAction(QString::fromStdString(item->title()));
        if (item->action().empty()) {
            action->setEnabled(false);
            continue;
        }
        // The action keeps its model item alive: the menu may outlive the model it came from.
        // Queued, so the menu has closed before the desktop changes under it.
        QObject::connect(
            action, &QAction::triggered, menu, [item] { item->perform(); }, Qt::QueuedConnection);
    }
}
