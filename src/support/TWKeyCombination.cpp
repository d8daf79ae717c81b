// SPDX-License-Identifier: MIT
// Reading and writing key combinations in portable text.
#include "TWKeyCombination.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <utility>

namespace {

constexpr std::array<std::pair<std::string_view, unsigned>, 4> kModifierNames{{
    {"Ctrl", TWKeyCombination::Control},
    {"Alt", TWKeyCombination::Alt},
    {"Shift", TWKeyCombination::Shift},
    {"Meta", TWKeyCombination::Meta},
}};

// Keys whose portable name is not their key symbol's name.
constexpr std::array<std::pair<std::string_view, std::string_view>, 32> kNamedKeys{{
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
    {"NumLock", "Num_Lock"},
    {"ScrollLock", "Scroll_Lock"},
    {"Volume Up", "XF86AudioRaiseVolume"},
    {"Volume Down", "XF86AudioLowerVolume"},
    {"Volume Mute", "XF86AudioMute"},
    {"Media Play", "XF86AudioPlay"},
    {"Media Next", "XF86AudioNext"},
    {"Media Previous", "XF86AudioPrev"},
    {"Media Stop", "XF86AudioStop"},
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

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

} // namespace

std::optional<TWKeyCombination> TWKeyCombination::parse(std::string_view text) {
    TWKeyCombination combination;
    while (!text.empty()) {
        // The last part is the key, and may be "+" itself.
        const auto plus = text.size() > 1 ? text.find('+') : std::string_view::npos;
        if (plus == std::string_view::npos) {
            combination.key = std::string(text);
            if (combination.key.size() == 1)
                combination.key[0] =
                    static_cast<char>(std::toupper(static_cast<unsigned char>(combination.key[0])));
            // Key names may hold a space ("Volume Up"), never at either end.
            for (char c : combination.key)
                if (static_cast<unsigned char>(c) < ' ')
                    return std::nullopt;
            if (combination.key.front() == ' ' || combination.key.back() == ' ')
                return std::nullopt;
            return combination;
        }
        const auto part = text.substr(0, plus);
        unsigned bit = 0;
        for (const auto& [name, value] : kModifierNames)
            if (equalsIgnoringCase(part, name))
                bit = value;
        if (bit == 0 || (combination.modifiers & bit) != 0)
            return std::nullopt;
        combination.modifiers |= bit;
        text.remove_prefix(plus + 1);
    }
    return std::nullopt; // no key after the modifiers
}

std::string TWKeyCombination::text() const {
    std::string out;
    for (const auto& [name, value] : kModifierNames)
        if ((modifiers & value) != 0) {
            out += name;
            out += '+';
        }
    return out + key;
}

bool TWKeyCombination::isGlobalShortcut() const {
    if ((modifiers & (Control | Alt | Meta)) != 0)
        return true;
    if (key.size() < 2 || key.size() > 3 || key[0] != 'F')
        return false;
    int number = 0;
    for (std::size_t i = 1; i < key.size(); ++i) {
        if (!std::isdigit(static_cast<unsigned char>(key[i])))
            return false;
        number = number * 10 + (key[i] - '0');
    }
    return key[1] != '0' && number >= 1 && number <= 35;
}

std::optional<std::string> TWKeyCombination::keySymbolName() const {
    for (const auto& [name, symbol] : kNamedKeys)
        if (equalsIgnoringCase(key, name))
            return std::string(symbol);
    if (key.size() >= 2 && (key[0] == 'F' || key[0] == 'f') &&
        std::all_of(key.begin() + 1, key.end(), [](char ch) { return ch >= '0' && ch <= '9'; }))
        if (int n = std::atoi(key.c_str() + 1); n >= 1 && n <= 35)
            return "F" + std::to_string(n);
    if (key.size() == 1) {
        const auto ch = static_cast<unsigned char>(key[0]);
        if (std::isalnum(ch))
            return std::string(1, static_cast<char>(std::tolower(ch)));
        if (auto at = kSymbolChars.find(key[0]); at != std::string_view::npos)
            return std::string(kSymbolNames[at]);
    }
    return std::nullopt;
}
