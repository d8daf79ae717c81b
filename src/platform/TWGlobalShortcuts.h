// SPDX-License-Identifier: MIT
// Key combinations bound for the whole desktop, each to one of Tidewell's two requests.
#pragma once

#include <functional>
#include <optional>
#include <string>

enum class TWShortcutAction { HideOthers, ShowAll };

class TWGlobalShortcuts {
  public:
    virtual ~TWGlobalShortcuts() = default;
    // Binds `keys` (a key combination's portable text, "Ctrl+Alt+H"; empty: none) to `action`,
    // replacing what the action had. Nothing when the desktop took the binding, else why not,
    // in words for the user (another program holds these keys, the desktop offers no global
    // shortcuts).
    virtual std::optional<std::string> bind(TWShortcutAction action, const std::string& keys) = 0;
    // Called, from the desktop's event dispatch, each time a bound combination is pressed.
    virtual void setActivationHandler(std::function<void(TWShortcutAction)> handler) = 0;
    // Called, from the desktop's event dispatch, when the desktop's own settings gave `action`
    // other keys (portable text; empty: none). Only desktops whose settings list the shortcuts
    // of every program ever call it.
    virtual void
    setChangeHandler(std::function<void(TWShortcutAction, const std::string& keys)> handler) {
        (void)handler;
    }
};
