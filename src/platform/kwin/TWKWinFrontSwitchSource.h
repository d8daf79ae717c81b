// SPDX-License-Identifier: MIT
// Front-application switches on KWin: active-state changes whose owning application differs.
#pragma once

#include "TWFrontSwitchSource.h"
#include "TWKWinWorkspace.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

class TWKWinFrontSwitchSource : public TWFrontSwitchSource {
  public:
    // Listens to the connection's active-window changes.
    explicit TWKWinFrontSwitchSource(TWKWinWorkspace& workspace);
    ~TWKWinFrontSwitchSource() override;
    void installFrontSwitchHandler(std::function<void()> handler) override;
    // Runs the handlers when the application owning the active window is not the one seen last.
    void activeWindowChanged();

  private:
    TWKWinWorkspace& workspace_;
    std::vector<std::function<void()>> handlers_;
    std::optional<std::string> lastKey_;
};
