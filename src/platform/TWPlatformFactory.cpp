// SPDX-License-Identifier: MIT
// Backend selection: GNOME Shell on Wayland when Tidewell's extension answers, KWin on a Wayland
// session that offers window management, X11 when only a display is there, the simulated desktop
// when asked for (or as the automatic last resort).
#include "TWPlatformFactory.h"

#include "TWFormat.h"
#include "TWGnomeDesktop.h"
#include "TWKWinDesktop.h"
#include "TWLocalizedString.h"
#include "TWLog.h"
#include "TWSimDesktop.h"
#include "TWX11Desktop.h"

#include <cstdlib>

constexpr const char* kLogClass = "TWPlatformFactory";

namespace {

bool isSet(const char* name) {
    const char* value = std::getenv(name);
    return value && *value;
}

std::unique_ptr<TWDesktop> sessionDesktop(std::string& whyNot) {
    if (isSet("WAYLAND_DISPLAY")) {
        // GNOME Shell on Wayland shows its windows to Tidewell only through Tidewell's
        // extension; without it the session offers nothing else: say how to enable it. (On X11
        // the window manager's EWMH serves, as on any other.)
        std::string gnomeReason;
        bool noGnome = false;
        if (auto desktop = TWGnomeDesktop::open(&gnomeReason, &noGnome))
            return desktop;
        if (!noGnome) {
            whyNot = gnomeReason;
            return nullptr;
        }
        std::string reason;
        bool noCompositor = false;
        if (auto desktop = TWKWinDesktop::open("", &reason, &noCompositor))
            return desktop;
        // A Wayland session that answers decides: its X11 side (Xwayland) shows only the X11
        // programs, so working there would leave every Wayland window alone.
        if (!noCompositor) {
            whyNot = reason;
            return nullptr;
        }
        if (!isSet("DISPLAY")) {
            whyNot = reason;
            return nullptr;
        }
    }
    if (isSet("DISPLAY")) {
        if (auto desktop = TWX11Desktop::open())
            return desktop;
        whyNot = TWFormat(TWLocalizedString("cannot open the X11 display %@"),
                          std::string(std::getenv("DISPLAY")));
        return nullptr;
    }
    whyNot = TWLocalizedString("no desktop session (neither WAYLAND_DISPLAY nor DISPLAY is set)");
    return nullptr;
}

} // namespace

std::unique_ptr<TWDesktop> TWMakeDesktop(TWDesktopKind kind, std::string* whyNot) {
    std::string reason;
    std::unique_ptr<TWDesktop> desktop;
    switch (kind) {
    case TWDesktopKind::Simulated:
        return std::make_unique<TWSimDesktop>();
    case TWDesktopKind::X11:
        // The X11 backend logs its own reason.
        desktop = TWX11Desktop::open();
        if (!desktop && whyNot)
            *whyNot = TWFormat(TWLocalizedString("cannot open the X11 display %@"),
                               std::string(std::getenv("DISPLAY") ? std::getenv("DISPLAY") : ""));
        return desktop;
    case TWDesktopKind::KWin:
        desktop = TWKWinDesktop::open("", &reason);
        break;
    case TWDesktopKind::Gnome:
        desktop = TWGnomeDesktop::open(&reason);
        break;
    case TWDesktopKind::Session:
        desktop = sessionDesktop(reason);
        break;
    }
    if (!desktop) {
        TWLog(LOG_ERR, kLogClass, reason);
        if (whyNot)
            *whyNot = reason;
    }
    return desktop;
}
