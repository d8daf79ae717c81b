// SPDX-License-Identifier: MIT
// Tidewell's own service on the session bus (net.quillfen.Tidewell1, described by
// resources/dbus/net.quillfen.Tidewell1.xml): the actions, the menu and the icon for scripts
// and for the GNOME Shell button. See also TWGnomeShellExtension.
#pragma once

#include "TWMenu.h"

#include <QDBusVirtualObject>
#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>
#include <memory>

class TWCommon;
class TWWorkspace;

// What the service reaches outside itself.
struct TWDBusServiceActions {
    std::function<TWCommon&()> common;
    std::function<TWWorkspace&()> workspace;
    // The tray icon's menu, freshly built.
    std::function<std::shared_ptr<TWMenu>()> menu;
    std::function<void()> showPreferences;
    std::function<void()> checkForUpdate;
    std::function<void()> productPage;
    std::function<void()> sendFeedback;
    std::function<void()> quit;
    // Notes one handled call ("dbus HideOthers") where the running instance keeps its journal.
    std::function<void(const QString&)> note;
};

class TWDBusService : public QDBusVirtualObject {
    Q_OBJECT

  public:
    static constexpr const char* serviceName = "net.quillfen.Tidewell";
    static constexpr const char* objectPath = "/net/quillfen/Tidewell";
    static constexpr const char* interfaceName = "net.quillfen.Tidewell1";

    explicit TWDBusService(TWDBusServiceActions actions, QObject* parent = nullptr);
    ~TWDBusService() override;

    // Exports the object and claims the name on the session bus; false (logged) when there is no
    // session bus or another process holds the name.
    bool start();

    // The icon style now shown ("AppIcon", ...) and whether a tray shows Tidewell's icon; a change
    // is signalled.
    void setIconStyle(const QString& imageName);
    void setTrayIconShown(bool shown);
    QString iconName() const;
    // Something may have changed the running applications or their state (a desktop event, a
    // request): they are compared with what was last signalled, soon, once for a burst.
    void noteDesktopMayHaveChanged();

    // QDBusVirtualObject
    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

  private:
    // One entry of RunningApplications: ID, name, hidden.
    struct Application {
        QString id;
        QString name;
        bool hidden = false;
        bool operator==(const Application&) const = default;
    };
    // The menu's running applications, in its order, with their hidden state.
    QList<Application> runningApplications(const TWMenu& menu);
    QDBusMessage call(const QDBusMessage& message);
    QDBusMessage properties(const QDBusMessage& message);
    void emitChanged();

    TWDBusServiceActions actions_;
    QString iconStyle_ = QStringLiteral("AppIcon");
    bool trayIconShown_ = false;
    bool started_ = false;
    QList<Application> lastApplications_;
    QTimer recheck_;
};
