// SPDX-License-Identifier: MIT
// Global shortcuts on GNOME Shell: each action's key combination grabbed by Tidewell's shell
// extension (as an accelerator, in GNOME's text), its presses received as the window service's
// signal. What is bound is bound again whenever the extension comes back after it stopped.
#pragma once

#include "TWGlobalShortcuts.h"
#include "TWGnomeConnection.h"
#include "TWKeyCombination.h"

#include <map>
#include <optional>
#include <string>

class TWGnomeGlobalShortcuts : public TWGlobalShortcuts {
  public:
    explicit TWGnomeGlobalShortcuts(TWGnomeConnection& connection);
    ~TWGnomeGlobalShortcuts() override;

    std::optional<std::string> bind(TWShortcutAction action, const std::string& keys) override;
    void setActivationHandler(std::function<void(TWShortcutAction)> handler) override;

    // GNOME's accelerator text ("<Control><Alt>h"); none for a key it has no name for.
    static std::optional<std::string> accelerator(const TWKeyCombination& combination);

  private:
    void restore();
    TWGnomeConnection& connection_;
    std::function<void(TWShortcutAction)> handler_;
    std::map<TWShortcutAction, std::string> bound_; // accelerators the shell holds for us
};
