// SPDX-License-Identifier: MIT
// Global shortcuts of the simulated desktop: bindings kept in memory, presses made by tests, and
// combinations that another program is said to hold.
#pragma once

#include "TWGlobalShortcuts.h"

#include <map>
#include <set>
#include <string>

class TWSimGlobalShortcuts : public TWGlobalShortcuts {
  public:
    std::optional<std::string> bind(TWShortcutAction action, const std::string& keys) override;
    void setActivationHandler(std::function<void(TWShortcutAction)> handler) override;
    void setChangeHandler(
        std::function<void(TWShortcutAction, const std::string& keys)> handler) override;

    // Presses `keys` (portable text, in any order of modifiers): runs the handler for the action
    // bound to it. False when nothing of Tidewell's is bound to it.
    bool press(const std::string& keys);
    // Another program holds `keys` from now on (or no longer does).
    void setTaken(const std::string& keys, bool taken = true);
    // The desktop's own settings give `action` other keys (empty: none), and say so.
    void changeInSettings(TWShortcutAction action, const std::string& keys);
    // The combination bound to `action`, empty for none.
    std::string boundKeys(TWShortcutAction action) const;

  private:
    std::map<TWShortcutAction, std::string> bound_;
    std::set<std::string> taken_;
    std::function<void(TWShortcutAction)> handler_;
    std::function<void(TWShortcutAction, const std::string&)> changeHandler_;
};
