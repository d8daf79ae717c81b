// SPDX-License-Identifier: MIT
// The test hooks of tidewell-testing: a simulated desktop with a file manager and two
// applications, in-memory stores and login items, an offline network, and the "menu <title>"
// request that chooses a tray menu item by its title. See also TWLauncherTestHooks.
#pragma once

#include "TWLauncherTestHooks.h"

class TWSimDesktop;

class TWSimLauncherTestHooks : public TWLauncherTestHooks {
  public:
    std::unique_ptr<TWDesktop> makeDesktop() override;
    void installStores() override;
    std::unique_ptr<TWServiceManagement> makeServiceManagement() override;
    std::unique_ptr<TWLoginItemList> makeLoginItems() override;
    std::shared_ptr<TWHTTPTransport> makeTransport() override;
    std::optional<QByteArray> handle(const QByteArray& message,
                                     const std::function<std::shared_ptr<TWMenu>()>& trayMenu,
                                     QObject* context) override;
    QStringList statusLines() const override;

  private:
    const TWSimDesktop* desktop_ = nullptr; // owned by the program once made
};
