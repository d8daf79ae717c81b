// SPDX-License-Identifier: MIT
// A private headless GNOME Shell with Tidewell's extension, observed through the shell's Eval.
#pragma once

#include "TWTestDesktop.h"

#include <optional>
#include <string>
#include <vector>

struct sd_bus;

class TWGnomeTestDesktop : public TWTestSession {
  public:
    static constexpr const char* kExtension = TIDEWELL_GNOME_UUID;

    // Starts the buses and the shell with `outputs` virtual monitors side by side.
    explicit TWGnomeTestDesktop(int outputs = 1);
    ~TWGnomeTestDesktop();

    // The shell's process.
    pid_t shellProcess() const { return shell_; }

    // Runs JavaScript in the shell; its result as JSON, none when refused or thrown.
    std::optional<std::string> eval(const std::string& code) const;
    // Windows by the shell's IDs. The focused window (empty: none).
    std::string focusedWindow() const;
    // The first window of a process once it shows one (empty when it does not in time).
    std::string windowOf(int pid) const;
    // Runs `call` on the window (".minimize()", "?.get_monitor()"); its result.
    std::optional<std::string> onWindow(const std::string& id, const std::string& call) const;
    void userActivate(const std::string& id) const {
        onWindow(id, ".activate(global.get_current_time())");
    }
    // The state of Tidewell's extension as the shell reports it: "1" enabled, "2" disabled.
    std::string extensionState() const;
    // Disables or enables Tidewell's extension; true once the shell reports it so.
    bool setExtensionEnabled(bool enabled) const;

  private:
    std::vector<pid_t> services() const override { return {shell_, bus_, systemBus_}; }
    std::string start();
    pid_t systemBus_ = -1, bus_ = -1, shell_ = -1;
    sd_bus* connection_ = nullptr;
};
