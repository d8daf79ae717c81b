// SPDX-License-Identifier: MIT
// Reading and writing key combinations in portable text.
#include "TWKeyCombination.h"

#include <array>
#include <cctype>
#include <utility>

namespace {

constexpr std::array<std::pair<std::string_view, unsigned>, 4> kModifierNames{{
    {"Ctrl", TWKeyCombination::Control},
    {"Alt", TWKeyCombination::Alt},
    {"Shift", TWKeyCombination::Shift},
    {"Meta", TWKeyCombination::Meta},
}};

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
            for (char c : combination.key)
                if (static_cast<unsigned char>(c) <= ' ')
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
