// SPDX-License-Identifier: MIT
// Where the two settings stores live: files under the user's XDG configuration directory.
#include "TWStorePaths.h"

#include "TWBaseDirectories.h"

std::string TWStorePaths::storeDirectory() {
    return TWBaseDirectories::configHome() + "/tidewell";
}

std::string TWStorePaths::ownStorePath() {
    return storeDirectory() + "/net.quillfen.Tidewell.plist";
}

std::string TWStorePaths::sharedStorePath() {
    return storeDirectory() + "/shared.plist";
}
