// SPDX-License-Identifier: MIT
// The real Tidewell on a test desktop: its session files, its start, its journal.
#pragma once

#include "TWTestDesktop.h"

#include <map>
#include <string>
#include <sys/types.h>
#include <variant>
#include <vector>

// Settings keys with boolean or string values, as a settings file holds them.
using TWTestSettings = std::map<std::string, std::variant<bool, std::string>>;

class TWTestTidewell {
  public:
    // Tidewell's desktop entry (the build's) and URL scheme in the home, no update check.
    explicit TWTestTidewell(TWTestSession& desktop);

    // The program under test, from the build tree.
    static std::string programPath();

    // Writes the application's own settings file, or the one shared with the helper.
    void writeSettings(const TWTestSettings& values) const;
    void writeSharedSettings(const TWTestSettings& values) const;
    std::string autostartDirectory() const { return desktop_.home() + "/.config/autostart"; }

    // Starts the first tidewell and waits until it answers: its pid, or -1.
    pid_t start();
    // Runs tidewell with `arguments` to its end, as a second start; its exit status.
    int runAgain(const std::vector<std::string>& arguments) const;
    // The running instance's journal (its answer to --status), one line each.
    std::vector<std::string> status() const;
    // One raw request to the running instance on its socket; its reply, empty on failure.
    static std::string request(const std::string& message);
    // What the instance logged so far.
    std::string log() const;

  private:
    TWTestSession& desktop_;
};
