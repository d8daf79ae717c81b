// SPDX-License-Identifier: MIT
// Keeps the desktop's global shortcuts in step with the two shortcut settings of the shared
// store, while this process is the one that registers them (the application, or the menu-bar
// helper while the application is not running). See also TWGlobalShortcuts, TWShortcutOwnership.
#pragma once

#include "TWGlobalShortcuts.h"

#include <array>
#include <optional>
#include <string>

class TWCommon;
class TWUserDefaults;

class TWShortcutBinder {
  public:
    // Pressed shortcuts run `common`'s hide-others and show-all requests.
    TWShortcutBinder(TWGlobalShortcuts& shortcuts, TWUserDefaults& sharedDefaults,
                     TWCommon& common);
    ~TWShortcutBinder();
    TWShortcutBinder(const TWShortcutBinder&) = delete;
    TWShortcutBinder& operator=(const TWShortcutBinder&) = delete;

    // Registers the stored shortcuts (active) or releases every one (inactive).
    void setActive(bool active);
    bool active() const { return active_; }
    // Reads both settings again and rebinds what changed, and what failed before.
    void refresh();
    // Why `action`'s stored shortcut is not registered; nothing when it is (or none is stored,
    // or this process does not register shortcuts now).
    std::optional<std::string> problem(TWShortcutAction action) const;
    // Whether the desktop refused a stored shortcut (keys another program holds: that can end,
    // as when a program that held them has just quit or crashed).
    bool refusedByDesktop() const;

    // The settings key of `action`.
    static const char* settingsKey(TWShortcutAction action);

  private:
    struct Binding {
        std::string keys; // what the desktop was last asked to bind
        std::optional<std::string> problem;
        bool refused = false; // the problem is the desktop's refusal
    };
    Binding& binding(TWShortcutAction action) { return bindings_[static_cast<int>(action)]; }
    void unbindAll();

    TWGlobalShortcuts& shortcuts_;
    TWUserDefaults& sharedDefaults_;
    bool active_ = false;
    std::array<Binding, 2> bindings_;
};
