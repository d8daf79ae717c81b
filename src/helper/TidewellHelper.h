// SPDX-License-Identifier: MIT
// The menu-bar helper ("Tidewell Menu"): its menu, what each item does, and the one-per-session
// lock. The program around it (tray icon, desktop, settings) is wired in main.cpp.
#pragma once

#include "TWMenu.h"

#include <functional>
#include <memory>
#include <string>

class TWCommon;
class TWWorkspace;

// How the helper is known to the workspace.
inline constexpr const char* TWHelperName = "Tidewell Menu";
inline constexpr int TWHelperActivationPolicy = 1; // accessory: no window of its own
// The icon image compiled into the application resources for the helper's tray icon.
inline constexpr const char* TWHelperIconImage = "MenuBar";
// The lock file, next to the main application's instance channel.
inline constexpr const char* TWHelperLockName = "helper.lock";

class TidewellHelper {
  public:
    // `common` performs the desktop actions, `workspace` opens URLs, `quit` ends the program.
    TidewellHelper(TWCommon& common, TWWorkspace& workspace, std::function<void()> quit);

    // A fresh menu: "Hide All", "Show All", separator, "Toggle Visibility" and the running
    // applications, separator, "Preferences...", separator, "Quit".
    std::shared_ptr<TWMenu> buildMenu();

    // Asks the main application, through its URL scheme, to show its preferences; whichever
    // program handles the scheme (a running Tidewell, or a new one) gets the request.
    void showPreferences();

    // Takes the one-per-session lock in `directory`: the open lock file's descriptor (kept
    // open for the life of the program), or -1 when another helper holds it or the file cannot
    // be opened (logged).
    static int acquireSessionLock(const std::string& directory);

  private:
    TWCommon& common_;
    TWWorkspace& workspace_;
    std::function<void()> quit_;
};
