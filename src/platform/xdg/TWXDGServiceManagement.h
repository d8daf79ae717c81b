// SPDX-License-Identifier: MIT
// Login items as XDG autostart entries, programs started as detached processes.
#pragma once

#include "TWServiceManagement.h"
#include "TWXDGAutostart.h"

#include <chrono>
#include <map>
#include <string>

class TWXDGServiceManagement : public TWServiceManagement {
  public:
    // `programs` maps each identifier that may become a login item to the program it starts;
    // `autostartDirectory` empty = $XDG_CONFIG_HOME/autostart (~/.config/autostart).
    explicit TWXDGServiceManagement(std::map<std::string, std::string> programs,
                                    std::string autostartDirectory = {});

    // Enabled: writes <autostart>/<identifier>.desktop and starts the program unless it runs.
    // Disabled: removes that entry and asks the running program (as registered under
    // `identifier`) to quit.
    bool setLoginItemEnabled(const std::string& identifier, bool enabled) override;
    // Spawns `path` in its own session; the child is reparented to init, never a zombie of ours.
    // False (with a log line) when the program cannot be started, exec failures included.
    bool launchApplication(const std::string& path, unsigned options) override;

    // The autostart entry file for `identifier`.
    std::string autostartEntryPath(const std::string& identifier) const;
    // The directory entries are written to.
    const std::string& autostartDirectory() const { return autostart_.directory(); }

  private:
    std::map<std::string, std::string> programs_;
    TWXDGAutostart autostart_;
    std::map<std::string, std::chrono::steady_clock::time_point> recentLaunches_;
};
