// SPDX-License-Identifier: MIT
// Login-item registration and launching of companion programs (the menu-bar helper).
#pragma once

#include <string>

// Start the program without taking focus from the application in front.
inline constexpr unsigned TWLaunchWithoutActivation = 0x10000;

class TWServiceManagement {
  public:
    virtual ~TWServiceManagement() = default;
    // Makes the program known under `identifier` start at login (or stop doing so).
    // Fire-and-forget: false only tells the caller nothing changed.
    virtual bool setLoginItemEnabled(const std::string& identifier, bool enabled) = 0;
    // Starts the program at `path`, detached from this process; `options` as TWLaunch* bits.
    virtual bool launchApplication(const std::string& path, unsigned options) = 0;
};
