// SPDX-License-Identifier: MIT
// A key combination as the settings store it: modifiers and one key, in Qt's portable text
// ("Ctrl+Alt+H", "Meta+F12", "Shift+Space").
#pragma once

#include <optional>
#include <string>
#include <string_view>

struct TWKeyCombination {
    enum Modifier : unsigned { Shift = 1u << 0, Control = 1u << 1, Alt = 1u << 2, Meta = 1u << 3 };

    unsigned modifiers = 0;
    // The key's portable name: "H", "7", "F12", "Space", "Return", "PgUp", "/", ...
    std::string key;

    // Parses portable text: modifiers ("Ctrl", "Alt", "Shift", "Meta", any order and case)
    // joined by '+' before exactly one key ("+" itself is written "Ctrl++"). Nothing when the
    // text is not one such combination.
    static std::optional<TWKeyCombination> parse(std::string_view text);
    // The portable text, modifiers in the order Ctrl, Alt, Shift, Meta; letters upper case.
    std::string text() const;
    // Whether the desktops take it as a global shortcut: it holds Ctrl, Alt or Meta, or its key
    // is a function key (F1 to F35). Anything else would swallow ordinary typing.
    bool isGlobalShortcut() const;
    // The X key symbol's name of the key, as xkbcommon and GNOME Shell's accelerators read it
    // ("h", "F12", "Page_Up", "slash"); letters lower case, naming the unshifted key. Nothing
    // for a key without one (a single character of another alphabet is left to the caller's
    // lookup by code point).
    std::optional<std::string> keySymbolName() const;

    bool operator==(const TWKeyCombination&) const = default;
};
