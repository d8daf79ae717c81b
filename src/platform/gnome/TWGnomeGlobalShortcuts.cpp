// SPDX-License-Identifier: MIT
// Tidewell's actions bound to accelerators in GNOME Shell through Tidewell's extension.
#include "TWGnomeGlobalShortcuts.h"

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

// Keys whose portable name is not their key symbol's name.
constexpr std::array<std::pair<std::string_view, std::string_view>, 23> kNamedKeys{{
    {"Space", "space"},
    {"Esc", "Escape"},
    {"Backtab", "ISO_Left_Tab"},
    {"Backspace", "BackSpace"},
    {"Enter", "KP_Enter"},
    {"Ins", "Insert"},
    {"Del", "Delete"},
    {"SysReq", "Sys_Req"},
    {"PgUp", "Page_Up"},
    {"PgDown", "Page_Down"},
    {"CapsLock", "Caps_Lock"},
    {"Tab", "Tab"},
    {"Return", "Return"},
    {"Pause", "Pause"},
    {"Print", "Print"},
    {"Home", "Home"},
    {"End", "End"},
    {"Left", "Left"},
    {"Right", "Right"},
    {"Up", "Up"},
    {"Down", "Down"},
    {"Menu", "Menu"},
    {"Help", "Help"},
}};

// The key symbols of the printable ASCII characters that are neither letters nor digits.
constexpr std::string_view kSymbolChars = "!\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~";
constexpr std::array<std::string_view, 32> kSymbolNames{
    "exclam",       "quotedbl",    "numbersign", "dollar",   "percent",     "ampersand",
    "apostrophe",   "parenleft",   "parenright", "asterisk", "plus",        "comma",
    "minus",        "period",      "slash",      "colon",    "semicolon",   "less",
    "equal",        "greater",     "question",   "at",       "bracketleft", "backslash",
    "bracketright", "asciicircum", "underscore", "grave",    "braceleft",   "bar",
    "braceright",   "asciitilde"};

// Key names as people write them by hand: any case.
bool sameName(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

} // namespace

std::optional<std::string> TWGnomeGlobalShortcuts::accelerator(const TWKeyCombination& c) {
    std::string key;
    for (const auto& [name, symbol] : kNamedKeys)
        if (sameName(c.key, name))
            key = symbol;
    if (key.empty() && c.key.size() >= 2 && (c.key[0] == 'F' || c.key[0] == 'f') &&
        std::all_of(c.key.begin() + 1, c.key.end(), [](char ch) { return ch >= '0' && ch <= '9'; }))
        if (int n = std::atoi(c.key.c_str() + 1); n >= 1 && n <= 35)
            key = "F" + std::to_string(n);
    if (key.empty() && c.key.size() == 1) {
        const auto ch = static_cast<unsigned char>(c.key[0]);
        if (std::isalnum(ch))
            key = static_cast<char>(std::tolower(ch));
        else if (auto at = kSymbolChars.find(c.key[0]); at != std::string_view::npos)
            key = kSymbolNames[at];
    }
    if (key.empty())
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
    return out + key;
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
            return "\"" + keys + "\" is not a key combination.";
        auto converted = accelerator(*combination);
        if (!converted)
            return "GNOME Shell has no global shortcut with the key " + combination->key + ".";
        text = *converted;
    } else if (!bound_.count(action)) {
        return std::nullopt; // nothing bound: nothing to take away
    }
    auto failure = connection_.bindShortcut(actionName(action), text);
    // Refused by the shell: the action keeps what it had. Not heard (the extension is away):
    // it is bound when the extension comes back.
    if (failure && connection_.available())
        return failure;
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
