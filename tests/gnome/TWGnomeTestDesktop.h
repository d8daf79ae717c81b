// SPDX-License-Identifier: MIT
// A private GNOME Shell for one test program: a session bus and a system bus of its own, a
// headless GNOME Shell on its own Wayland socket, a temporary home (nautilus the default file
// manager) with Tidewell's extension from the build tree and a test-only observer extension
// installed and enabled, spawned Wayland clients, and the shell's own Eval (opened by the
// observer) as the independent observer. All ends with the object. See TWKWinTestDesktop.
#pragma once

#include "TWTestDesktop.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct sd_bus;

class TWGnomeTestDesktop : public TWTestSession {
  public:
    static constexpr const char* kExtension = TIDEWELL_GNOME_UUID;

    // Starts the buses and the shell (again when it hangs at start) and points WAYLAND_DISPLAY,
    // DBUS_SESSION_BUS_ADDRESS, HOME and the XDG variables at them. The shell shows `outputs`
    // virtual monitors side by side.
    explicit TWGnomeTestDesktop(int outputs = 1);
    ~TWGnomeTestDesktop();

    // The shell's process.
    pid_t shellProcess() const { return shell_; }

    // Runs JavaScript in the shell (org.gnome.Shell.Eval); its result as JSON, none when the
    // shell refused or the code threw.
    std::optional<std::string> eval(const std::string& code) const;
    // The focused window as the shell says (0: none).
    std::uint64_t focusedWindow() const;
    // The first window of a process once it shows one (0 when it does not in time).
    std::uint64_t windowOf(int pid) const;
    // Runs `call` on the window (".minimize()", "?.get_monitor()") as the user's hand or to
    // look; its result. Brings the window forward.
    std::optional<std::string> onWindow(std::uint64_t id, const std::string& call) const;
    void userActivate(std::uint64_t id) const {
        onWindow(id, ".activate(global.get_current_time())");
    }
    // The state of Tidewell's extension as the shell reports it: "1" enabled, "2" disabled.
    std::string extensionState() const;
    // Disables or enables Tidewell's extension as `gnome-extensions` would; true once the shell
    // reports it so.
    bool setExtensionEnabled(bool enabled) const;

  private:
    std::vector<pid_t> services() const override { return {shell_, bus_, systemBus_}; }
    std::string start();
    pid_t systemBus_ = -1, bus_ = -1, shell_ = -1;
    sd_bus* connection_ = nullptr;
};
