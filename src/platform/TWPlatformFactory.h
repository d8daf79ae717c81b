// The one place that chooses the desktop backend.
#pragma once

#include "TWDesktop.h"

#include <memory>

enum class TWDesktopKind {
    Automatic, // the X11 desktop when $DISPLAY can be opened, else the simulated one
    X11,       // the X11 desktop, or nothing when the display cannot be opened
    Simulated, // the in-memory desktop
};

// A new desktop of the kind asked for; null only when X11 is asked for and unavailable.
std::unique_ptr<TWDesktop> TWMakeDesktop(TWDesktopKind kind);
