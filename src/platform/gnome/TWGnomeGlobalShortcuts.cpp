// SPDX-License-Identifier: MIT
// Tidewell's actions bound to accelerators in GNOME Shell through Tidewell's extension.
#include "TWGnomeGlobalShortcuts.h"

#include "TWFormat.h"
#include "TWLocalizedString.h"
#include "TWLog.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <string_view>
#include <utility>

constexpr const char* kLogClass = "TWGnomeGlobalShortcuts";

namespace {

const char* actionName(TWShortcutAction action) {
    return action == TWShortcutAction::HideOthers ? "hide-others" : "show-all";
}

} // namespace

std::optional<std::string> TWGnomeGlobalShortcuts::accelerator(const TWKeyCombination& c) {
    const std::optional<std::string> key = c.keySymbolName();
    if (!key)
        return std::nullopt;
    std::string out;
    if (c.modifiers & TWKeyCombination::Control)
        out += "<Control>";
    if (c.modifiers & TWKeyCombination::Alt)
        out += "<Alt>";
    if (c.modifiers & TWKeyCombination::Shift)
        out += "<Shift>";
    if (c.modifiers & TWKeyCombination::Meta)
        out += "<Super>";
    return out + *key;
}

TWGnomeGlobalShortcuts::TWGnomeGlobalShortcuts(TWGnomeConnection& connection)
    : connection_(connection) {
    connection_.setShortcutHandler([this](const std::string& action) {
        for (auto a : {TWShortcutAction::HideOthers, TWShortcutAction::ShowAll})
            if (action == actionName(a) && handler_)
                handler_(a);
    });
    connection_.setServiceReturnHandler([this] { restore(); });
}

TWGnomeGlobalShortcuts::~TWGnomeGlobalShortcuts() {
    connection_.setShortcutHandler(nullptr);
    connection_.setServiceReturnHandler(nullptr);
    // The keys go back to the desktop with Tidewell.
    if (connection_.available())
        for (const auto& [action, accelerator] : bound_)
            connection_.bindShortcut(actionName(action), "");
}

void TWGnomeGlobalShortcuts::setActivationHandler(std::function<void(TWShortcutAction)> handler) {
    handler_ = std::move(handler);
}

std::optional<std::string> TWGnomeGlobalShortcuts::bind(TWShortcutAction action,
                                                        const std::string& keys) {
    std::string text;
    if (!keys.empty()) {
        auto combination = TWKeyCombination::parse(keys);
        if (!combination)
            return TWFormat(TWLocalizedString("\"%@\" is not a key combination."), keys);
        auto converted = accelerator(*combination);
        if (!converted)
            return TWFormat(
                TWLocalizedString("GNOME Shell has no global shortcut with the key %@."),
                combination->key);
        text = *converted;
    } else if (!bound_.count(action)) {
        return std::nullopt; // nothing bound: nothing to take away
    }
    auto failure = connection_.bindShortcut(actionName(action), text);
    // Refused by the shell: the action keeps what it had. Not heard (the extension is away):
    // it is bound when the extension comes back.
    if (failure && connection_.available()) {
        // The shell refuses an accelerator only when something holds it (the conversion above
        // gives it only ones it can read): said in the user's words, with the shell's own in
        // the journal.
        TWLog(LOG_INFO, kLogClass, "GNOME Shell refused " + text + ": " + *failure);
        return TWFormat(
            TWLocalizedString("GNOME Shell or another program already uses %@ as a shortcut."),
            TWKeyCombination::parse(keys)->text());
    }
    if (text.empty())
        bound_.erase(action);
    else
        bound_[action] = text;
    return failure;
}

void TWGnomeGlobalShortcuts::restore() {
    // The extension let go of every accelerator when it stopped.
    for (const auto& [action, accelerator] : bound_)
        if (auto failure = connection_.bindShortcut(actionName(action), accelerator))
            TWLog(LOG_WARNING, kLogClass,
                  std::string("the shortcut of ") + actionName(action) +
                      " could not be bound again: " + *failure);
}
