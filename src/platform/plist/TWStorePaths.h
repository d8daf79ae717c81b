// SPDX-License-Identifier: MIT
// Where the two settings stores live: files under the user's XDG configuration directory.
#pragma once

#include <string>

class TWStorePaths {
  public:
    // The base configuration directory (TWBaseDirectories::configHome).
    static std::string configHome();
    // The same rule applied to explicit values (null or empty means unset).
    static std::string configHome(const char* xdgConfigHome, const char* home);

    // The directory holding both stores: <configHome>/tidewell.
    static std::string storeDirectory();
    // The application's own store: <storeDirectory>/net.quillfen.Tidewell.plist.
    static std::string ownStorePath();
    // The store shared with the menu-bar helper: <storeDirectory>/shared.plist.
    static std::string sharedStorePath();
};
