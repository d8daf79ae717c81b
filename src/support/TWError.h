// SPDX-License-Identifier: MIT
// The error object that carries an outcome (texts, buttons, a link) to whoever presents it.
#pragma once

#include "TWPropertyList.h"

#include <optional>
#include <string>

// The localized message of the error (a string).
inline constexpr const char TWLocalizedDescriptionKey[] = "NSLocalizedDescription";
// The text that tells the user what to do next (a string).
inline constexpr const char TWLocalizedRecoverySuggestionErrorKey[] =
    "NSLocalizedRecoverySuggestion";
// The titles of the buttons offered, in order (an array of strings).
inline constexpr const char TWLocalizedRecoveryOptionsErrorKey[] = "NSLocalizedRecoveryOptions";
// The URL the error is about, as a string.
inline constexpr const char TWURLErrorKey[] = "NSErrorFailingURLKey";

struct TWError {
    std::string domain;
    long code = 0;
    TWPlistDictionary userInfo;

    // The string under `key` in the user information, or nothing when absent or not a string.
    std::optional<std::string> stringForKey(const std::string& key) const {
        const TWPlistValue* value = TWPlistLookup(userInfo, key);
        const std::string* text = value ? value->get<std::string>() : nullptr;
        return text ? std::optional<std::string>(*text) : std::nullopt;
    }
};
