// SPDX-License-Identifier: MIT
// Product constants: name, version, and the addresses the application talks to.
#pragma once

#include "TWProductVersion.h"

#include <string_view>

// The one URL scheme the application answers, the one request it knows, and the URL that asks
// the running application (from the helper, the tray, another copy) to open its preferences.
inline constexpr const char TWURLScheme[] = "x-tidewell-action";
inline constexpr const char TWPreferencesRequest[] = "preferences";
inline constexpr const char TWPreferencesURL[] = "x-tidewell-action://preferences";
static_assert(
    std::string_view(TWPreferencesURL).starts_with(TWURLScheme) &&
        std::string_view(TWPreferencesURL).ends_with(TWPreferencesRequest) &&
        std::string_view(TWPreferencesURL).size() ==
            std::string_view(TWURLScheme).size() + std::string_view("://").size() +
                std::string_view(TWPreferencesRequest).size() &&
        std::string_view(TWPreferencesURL).substr(std::string_view(TWURLScheme).size(), 3) == "://",
    "the preferences URL is <scheme>://<request>");

// The product page and the support address (the update server is a build setting).
inline constexpr const char TWProductPageURL[] = "https://quillfen.net/tidewell/";
inline constexpr const char TWSupportEmailAddress[] = "support@quillfen.net";
