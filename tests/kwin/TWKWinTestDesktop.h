// SPDX-License-Identifier: MIT
// A private headless KWin (Wayland), observed through KWin's D-Bus interface and scripting.
#pragma once

#include "TWTestDesktop.h"

#include <optional>
#include <string>
#include <vector>

class TWKWinTestDesktop : public TWTestSession {
  public:
    // Starts the bus and KWin; `permitted` programs and this one may manage windows.
    explicit TWKWinTestDesktop(const std::vector<std::string>& permitted = {}, int outputs = 1);
    ~TWKWinTestDesktop();

    // A value of KWin's getWindowInfo for the window; empty when KWin does not know it.
    std::string info(const std::string& uuid, const std::string& key) const;
    // A flag of that description (minimized, keepAbove...); none for an unknown window.
    std::optional<bool> flag(const std::string& uuid, const std::string& name = "minimized") const;
    // The active window as a script of the session's reports it; empty when none is.
    std::string activeWindow() const;
    // Loads and starts the KWin script `code` as `name`, replacing one; empty: unloads.
    void runScript(const std::string& name, const std::string& code) const;
    // What the script expression evaluates to in KWin, as text; empty when it did not run.
    std::string evaluate(const std::string& expression) const;

  private:
    std::vector<pid_t> services() const override { return {kwin_, bus_}; }
    std::string start(const std::vector<std::string>& permitted);
    mutable bool observing_ = false;
    pid_t bus_ = -1;
    pid_t kwin_ = -1;
};
