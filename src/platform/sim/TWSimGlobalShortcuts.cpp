// SPDX-License-Identifier: MIT
// The simulated desktop's global shortcuts.
#include "TWSimGlobalShortcuts.h"

#include "TWKeyCombination.h"

namespace {
// The normal form of `keys`; empty when it is no combination.
std::string normal(const std::string& keys) {
    const auto combination = TWKeyCombination::parse(keys);
    return combination ? combination->text() : std::string();
}
} // namespace

std::optional<std::string> TWSimGlobalShortcuts::bind(TWShortcutAction action,
                                                      const std::string& keys) {
    bound_.erase(action);
    if (keys.empty())
        return std::nullopt;
    const std::string combination = normal(keys);
    if (combination.empty())
        return "\"" + keys + "\" is not a key combination.";
    if (taken_.count(combination))
        return "Another program already uses " + combination + ".";
    bound_[action] = combination;
    return std::nullopt;
}

void TWSimGlobalShortcuts::setActivationHandler(std::function<void(TWShortcutAction)> handler) {
    handler_ = std::move(handler);
}

bool TWSimGlobalShortcuts::press(const std::string& keys) {
    const std::string combination = normal(keys);
    for (const auto& [action, bound] : bound_)
        if (bound == combination && !combination.empty()) {
            if (handler_)
                handler_(action);
            return true;
        }
    return false;
}

void TWSimGlobalShortcuts::setTaken(const std::string& keys, bool taken) {
    if (taken)
        taken_.insert(normal(keys));
    else
        taken_.erase(normal(keys));
}

std::string TWSimGlobalShortcuts::boundKeys(TWShortcutAction action) const {
    const auto it = bound_.find(action);
    return it == bound_.end() ? std::string() : it->second;
}

void TWSimGlobalShortcuts::setChangeHandler(
    std::function<void(TWShortcutAction, const std::string&)> handler) {
    changeHandler_ = std::move(handler);
}

void TWSimGlobalShortcuts::changeInSettings(TWShortcutAction action, const std::string& keys) {
    if (keys.empty())
        bound_.erase(action);
    else
        bound_[action] = normal(keys);
    if (changeHandler_)
        changeHandler_(action, normal(keys));
}
