// Backend selection: X11 when a display is there, the simulated desktop otherwise.
#include "TWPlatformFactory.h"

#include "TWLog.h"
#include "TWSimDesktop.h"
#include "TWX11Desktop.h"

#include <cstdlib>

std::unique_ptr<TWDesktop> TWMakeDesktop(TWDesktopKind kind) {
    switch (kind) {
    case TWDesktopKind::Simulated:
        return std::make_unique<TWSimDesktop>();
    case TWDesktopKind::X11:
        return TWX11Desktop::open();
    case TWDesktopKind::Automatic:
        break;
    }
    const char* display = std::getenv("DISPLAY");
    if (display && *display) {
        if (auto desktop = TWX11Desktop::open())
            return desktop;
    }
    TWLog("TWPlatformFactory: no X11 display available; using the simulated desktop");
    return std::make_unique<TWSimDesktop>();
}
