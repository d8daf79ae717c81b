// SPDX-License-Identifier: MIT
// Front-application switches on X11: _NET_ACTIVE_WINDOW changes whose owning application differs.
#pragma once

#include "TWFrontSwitchSource.h"
#include "TWX11Workspace.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

class TWX11FrontSwitchSource : public TWFrontSwitchSource {
  public:
    // Listens to the connection's active-window changes.
    explicit TWX11FrontSwitchSource(TWX11Workspace& workspace);
    void installFrontSwitchHandler(std::function<void()> handler) override;
    // Runs the handlers when the application owning the active window is not the one seen last.
    void activeWindowChanged();

  private:
    TWX11Workspace& workspace_;
    std::vector<std::function<void()>> handlers_;
    std::optional<std::string> lastKey_;
};
