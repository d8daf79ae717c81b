// SPDX-License-Identifier: MIT
// Binding the stored shortcuts, and what a pressed one does.
#include "TWShortcutBinder.h"

#include "TWCommon.h"
#include "TWFormat.h"
#include "TWKeyCombination.h"
#include "TWLocalizedString.h"
#include "TWLog.h"
#include "TWSettings.h"
#include "TWUserDefaults.h"

constexpr const char* kLogClass = "TWShortcutBinder";

namespace {

constexpr TWShortcutAction kActions[] = {TWShortcutAction::HideOthers, TWShortcutAction::ShowAll};

const char* actionTitle(TWShortcutAction action) {
    return action == TWShortcutAction::HideOthers ? TWLocalizable("Hide Others")
                                                  : TWLocalizable("Show All");
}

// The stored combination in its normal form; empty for none. A value that is no combination
// stays as it is (binding it reports why).
std::string storedKeys(TWUserDefaults& defaults, TWShortcutAction action) {
    const std::string text =
        defaults.stringForKey(TWShortcutBinder::settingsKey(action)).value_or(std::string());
    if (const auto combination = TWKeyCombination::parse(text))
        return combination->text();
    return text;
}

// `text` cut to a length a log line or a message can carry.
std::string shortened(const std::string& text) {
    constexpr size_t kLongest = 120;
    if (text.size() <= kLongest)
        return text;
    size_t cut = kLongest;
    while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xc0) == 0x80)
        --cut; // not inside a UTF-8 sequence
    return text.substr(0, cut) + "...";
}

} // namespace

TWShortcutBinder::TWShortcutBinder(TWGlobalShortcuts& shortcuts, TWUserDefaults& sharedDefaults,
                                   TWCommon& common)
    : shortcuts_(shortcuts), sharedDefaults_(sharedDefaults) {
    shortcuts_.setActivationHandler([&common](TWShortcutAction action) {
        if (action == TWShortcutAction::HideOthers)
            common.showFinderHideOthers();
        else
            common.showAll();
    });
    // Keys given in the desktop's own settings become the stored ones, so that the preferences
    // show them and the next start binds them rather than the old.
    shortcuts_.setChangeHandler([this](TWShortcutAction action, const std::string& keys) {
        if (!active_ || storedKeys(sharedDefaults_, action) == keys)
            return;
        TWLog(LOG_INFO, kLogClass,
              std::string("the desktop's settings gave ") + actionTitle(action) + " " +
                  (keys.empty() ? std::string("no shortcut") : keys));
        binding(action) = {keys, std::nullopt, false};
        if (keys.empty())
            sharedDefaults_.removeObjectForKey(settingsKey(action));
        else
            sharedDefaults_.setObject(TWPlistValue(keys), settingsKey(action));
    });
}

TWShortcutBinder::~TWShortcutBinder() {
    unbindAll();
    shortcuts_.setActivationHandler(nullptr);
    shortcuts_.setChangeHandler(nullptr);
}

const char* TWShortcutBinder::settingsKey(TWShortcutAction action) {
    return action == TWShortcutAction::HideOthers ? TWHideOthersShortcutKey : TWShowAllShortcutKey;
}

void TWShortcutBinder::setActive(bool active) {
    if (active == active_)
        return;
    active_ = active;
    if (active_)
        refresh();
    else
        unbindAll();
}

void TWShortcutBinder::unbindAll() {
    for (TWShortcutAction action : kActions) {
        Binding& b = binding(action);
        if (!b.keys.empty())
            shortcuts_.bind(action, "");
        b = {};
    }
}

void TWShortcutBinder::refresh() {
    if (!active_)
        return;
    const std::string wanted[] = {storedKeys(sharedDefaults_, kActions[0]),
                                  storedKeys(sharedDefaults_, kActions[1])};
    // Releases first, so that keys moved from one action to the other are free to take.
    for (TWShortcutAction action : kActions) {
        Binding& b = binding(action);
        const std::string& keys = wanted[static_cast<int>(action)];
        // Show All gives way when Hide Others takes its keys.
        const bool clash = action == TWShortcutAction::ShowAll && keys == wanted[0];
        if (!b.keys.empty() && (b.keys != keys || (clash && !b.problem))) {
            shortcuts_.bind(action, "");
            b = {};
        }
    }
    for (TWShortcutAction action : kActions) {
        Binding& b = binding(action);
        const std::string& keys = wanted[static_cast<int>(action)];
        if (keys.empty() || (keys == b.keys && !b.problem))
            continue;
        const Binding before = b;
        b.keys = keys;
        b.refused = false;
        const auto combination = TWKeyCombination::parse(keys);
        if (!combination) {
            // Hand-edited text that names no keys: said here alike on every desktop.
            b.problem =
                TWFormat(TWLocalizedString("\"%@\" is not a key combination."), shortened(keys));
        } else if (!combination->isGlobalShortcut()) {
            // A hand-edited "H" would take the letter from every program.
            b.problem = TWLocalizedString(
                "A shortcut needs Ctrl, Alt or Meta, unless it is a function key (F1 to F35).");
        } else if (action == TWShortcutAction::ShowAll && keys == wanted[0]) {
            b.problem = TWFormat(TWLocalizedString("%@ is already the shortcut of %@."), keys,
                                 TWLocalizedString(actionTitle(TWShortcutAction::HideOthers)));
        } else {
            b.problem = shortcuts_.bind(action, keys);
            b.refused = b.problem.has_value();
        }
        // Cut short (a hand-edited value can be of any length), and logged once per refusal: a
        // refused value is looked at again at every refresh.
        if (b.problem)
            b.problem = shortened(*b.problem);
        if (b.problem && (before.keys != b.keys || before.problem != b.problem))
            TWLog(LOG_NOTICE, kLogClass,
                  std::string("the shortcut of ") + actionTitle(action) +
                      " is not registered: " + *b.problem);
        else if (!b.problem)
            TWLog(LOG_INFO, kLogClass, shortened(keys) + " registered for " + actionTitle(action));
    }
}

std::optional<std::string> TWShortcutBinder::problem(TWShortcutAction action) const {
    return bindings_[static_cast<int>(action)].problem;
}

bool TWShortcutBinder::refusedByDesktop() const {
    return active_ && (bindings_[0].refused || bindings_[1].refused);
}
