// Product constants: name, version, and the addresses the application talks to.
#pragma once

#include "TWProductVersion.h"

// The product page, the update server and the support address.
inline constexpr const char TWUpdateEndpoint[] =
    "https://updates.quillfen.net/updates/simpleupdate.php";
inline constexpr const char TWProductPageURL[] = "https://quillfen.net/tidewell/";
inline constexpr const char TWSupportEmailAddress[] = "support@quillfen.net";
