// SPDX-License-Identifier: MIT
// Notification that another application came to the front.
#pragma once

#include <functional>

class TWFrontSwitchSource {
  public:
    virtual ~TWFrontSwitchSource() = default;
    // Installs a handler run on the main thread each time the front application changes.
    // Handlers are kept for the life of the source and never removed.
    virtual void installFrontSwitchHandler(std::function<void()> handler) = 0;
};
