// SPDX-License-Identifier: MIT
// The localized string table: every user-visible text is looked up by its English text.
#include "TWLocalizedString.h"

namespace {
std::function<std::string(std::string_view)>& localizer() {
    static std::function<std::string(std::string_view)> lookup;
    return lookup;
}
} // namespace

std::string TWLocalizedString(std::string_view key) {
    if (auto& lookup = localizer()) {
        std::string translated = lookup(key);
        if (!translated.empty())
            return translated;
    }
    return std::string(key);
}

void TWSetLocalizer(std::function<std::string(std::string_view)> lookup) {
    localizer() = std::move(lookup);
}
