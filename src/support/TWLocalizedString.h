// SPDX-License-Identifier: MIT
// The localized string table: every user-visible text is looked up by its English text.
#pragma once

#include <functional>
#include <string>
#include <string_view>

// The translation of `key` in the default table, or `key` itself when there is none.
std::string TWLocalizedString(std::string_view key);

// Installs the lookup behind TWLocalizedString (the application's translations). A lookup that
// returns an empty string means "no translation". An empty function restores identity.
void TWSetLocalizer(std::function<std::string(std::string_view)> lookup);

// Marks a text kept in a table for lookup later (the translation tools collect it); the text
// itself, unchanged.
constexpr const char* TWLocalizable(const char* text) {
    return text;
}
