// SPDX-License-Identifier: MIT
// A private headless KWin (Wayland), observed through KWin's D-Bus interface and scripting.
#pragma once

#include "TWTestDesktop.h"

#include <optional>
#include <string>
#include <vector>

class TWKWinTestDesktop : public TWTestSession {
  public:
    // Starts the bus and KWin and points WAYLAND_DISPLAY, DBUS_SESSION_BUS_ADDRESS, HOME and
    // the XDG variables at them. `permitted` (absolute paths) and this test program get a
    // desktop entry asking for the window management. KWin shows `outputs` outputs side by side.
    explicit TWKWinTestDesktop(const std::vector<std::string>& permitted = {}, int outputs = 1);
    ~TWKWinTestDesktop();

    // One value of KWin's own description of the window (org.kde.KWin getWindowInfo) as gdbus
    // prints it; empty when KWin does not know the window.
    std::string info(const std::string& uuid, const std::string& key) const;
    // A flag of that description (minimized, keepAbove...); none when KWin does not know the
    // window.
    std::optional<bool> flag(const std::string& uuid, const std::string& name = "minimized") const;
    // The active window as KWin's scripting reports it (a script of the session's prints each
    // activation to KWin's log); empty when none is.
    std::string activeWindow() const;
    // Loads the KWin script `code` as `name` (unloading one of that name first) and starts it;
    // an empty `code` only unloads.
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
