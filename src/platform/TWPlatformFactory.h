// SPDX-License-Identifier: MIT
// The one place that chooses the desktop backend.
#pragma once

#include "TWDesktop.h"

#include <memory>
#include <string>

enum class TWDesktopKind {
    Session,   // on Wayland GNOME Shell when Tidewell's extension answers, KWin when it offers
               // its window management; X11 when only a display is there; nothing
               // otherwise (on GNOME's Wayland session without the extension: how to enable it)
    X11,       // the X11 desktop, or nothing when the display cannot be opened
    KWin,      // KDE Plasma on Wayland, or nothing when its window management is not offered
    Gnome,     // GNOME Shell through Tidewell's extension, or nothing when it does not answer
    Simulated, // the in-memory desktop
};

// A new desktop of the kind asked for; null when that kind is unavailable, with the reason in
// `whyNot` (for example "this desktop does not let other programs hide windows").
std::unique_ptr<TWDesktop> TWMakeDesktop(TWDesktopKind kind, std::string* whyNot = nullptr);
