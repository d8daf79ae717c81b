// SPDX-License-Identifier: MIT
// What a test build of the tidewell program adds to it: an in-memory desktop (--desktop=sim)
// with in-memory stores and no network, and requests only tests send. The shipped program is
// started with none; tidewell-testing (src/app/testing) with the simulated ones.
#pragma once

#include <QByteArray>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <string>

class QObject;
class TWDesktop;
class TWHTTPTransport;
class TWLoginItemList;
class TWMenu;
class TWServiceManagement;

class TWLauncherTestHooks {
  public:
    virtual ~TWLauncherTestHooks() = default;

    // The desktop and the services that stand in for the user's files and the network, used
    // when the command line asks for the simulated desktop. The stores are installed as the
    // shared ones.
    virtual std::unique_ptr<TWDesktop> makeDesktop() = 0;
    virtual void installStores() = 0;
    virtual std::unique_ptr<TWServiceManagement> makeServiceManagement() = 0;
    virtual std::unique_ptr<TWLoginItemList> makeLoginItems() = 0;
    virtual std::shared_ptr<TWHTTPTransport> makeTransport() = 0;

    // A request the program itself does not know: the reply, or none when the hooks do not know
    // it either. `trayMenu` builds the menu the tray would show now; work is queued on `context`.
    virtual std::optional<QByteArray>
    handle(const QByteArray& message, const std::function<std::shared_ptr<TWMenu>()>& trayMenu,
           QObject* context) = 0;
    // Lines added to the status answer (the simulated desktop's requests, in order).
    virtual QStringList statusLines() const = 0;
};
