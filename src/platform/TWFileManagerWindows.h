// SPDX-License-Identifier: MIT
// The file manager's windows as a desktop backend carries them out: list, minimize or restore,
// close, open. TWScriptingAdapter serves the scripting terms of the actions over this.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The location a new window is opened on when the backend cannot name the file manager's own
// choice: a window started without a location already shows it.
inline constexpr const char* TWFileManagerDefaultLocation =
    "x-tidewell-file-manager:default-location";

// One file manager's windows, for one scripting object's lifetime (what a backend learns while
// serving it may be kept here: a listing's cache, the windows it asked to minimize).
class TWFileManagerWindows {
  public:
    // A window as the backend names it, opaque to the caller; never 0.
    using WindowId = std::uint64_t;

    virtual ~TWFileManagerWindows() = default;
    // The file manager's normal windows now, front to back, minimized ones last (a window
    // Tidewell hid counts as open). Each call asks the desktop afresh.
    virtual std::vector<WindowId> windows() = 0;
    // Minimizes (true) or restores (false) the window, never marking it as hidden by Tidewell;
    // nothing when it has gone.
    virtual void setCollapsed(WindowId window, bool collapsed) = 0;
    // Asks the window to close; nothing when it has gone.
    virtual void close(WindowId window) = 0;
    // Opens one new window on the location the file manager's own preferences choose.
    virtual void openWindow() = 0;
    // That location, as far as the backend can name it.
    virtual std::string newWindowLocation() { return TWFileManagerDefaultLocation; }
};

// One window of a listing before it is ordered.
struct TWListedWindow {
    TWFileManagerWindows::WindowId id = 0;
    bool minimized = false;
    int stackingIndex = 0; // higher is nearer the front
};

// The windows front to back, minimized ones last; equal ones keep their order.
std::vector<TWFileManagerWindows::WindowId> TWFrontToBack(std::vector<TWListedWindow> windows);
