// SPDX-License-Identifier: MIT
// The dock tile on Linux: a tray icon showing the chosen icon style, whose click is the dock
// click and whose menu is the dock menu, rebuilt each time it opens.
#pragma once

#include "TWMenu.h"

#include <QIcon>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

class QMenu;
class QSystemTrayIcon;

class TWTrayIcon : public QObject {
    Q_OBJECT

  public:
    // `reopen` runs on a click; `buildMenu` supplies the menu each time it opens.
    TWTrayIcon(std::function<void()> reopen, std::function<std::shared_ptr<TWMenu>()> buildMenu,
               QObject* parent = nullptr);
    ~TWTrayIcon() override;

    // What the secondary activation (a middle click, or a panel's SecondaryActivate) does.
    void setSecondaryActivation(std::function<void()> action) {
        secondaryActivation_ = std::move(action);
    }

    // Shows the tray icon; false (and a log line) when the session has no tray yet, in which
    // case the icon appears as soon as a tray does.
    bool show();
    // True once the icon is in the tray.
    bool isVisible() const;

    // Sets the icon to the image named `imageName` ("AppIcon", "Purple", "Graphite", "Dark");
    // an unknown name falls back to the application's default icon.
    void setIconImage(const QString& imageName);
    QString iconImageName() const { return imageName_; }

    // The icon compiled into the application for `imageName`; null when there is none.
    static QIcon iconNamed(const QString& imageName);
    // Replaces the contents of `menu` with `model`: separators, inert items disabled, every
    // other item running its model item when triggered.
    static void fillMenu(QMenu* menu, const std::shared_ptr<TWMenu>& model);

    // The context menu (rebuilt on every aboutToShow).
    QMenu* menu() const { return menu_; }

  signals:
    // The icon has come into a tray.
    void shownInTray();

  private:
    std::function<void()> reopen_;
    std::function<void()> secondaryActivation_;
    std::function<std::shared_ptr<TWMenu>()> buildMenu_;
    QSystemTrayIcon* tray_ = nullptr;
    QMenu* menu_ = nullptr;
    QString imageName_;
    bool waitingForTray_ = false;
};
