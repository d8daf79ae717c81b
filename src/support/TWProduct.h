// Product constants: name, version, and the addresses the application talks to.
#pragma once

#include "TWProductVersion.h"

// The product page and the support address (the update server is a build setting).
inline constexpr const char TWProductPageURL[] = "https://quillfen.net/tidewell/";
inline constexpr const char TWSupportEmailAddress[] = "support@quillfen.net";
