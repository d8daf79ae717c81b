// SPDX-License-Identifier: MIT
// Where the two settings stores live: files under the user's XDG configuration directory.
#pragma once

#include <string>

class TWStorePaths {
  public:
    // The directory holding both stores: <XDG config home>/tidewell (TWBaseDirectories).
    static std::string storeDirectory();
    // The application's own store: <storeDirectory>/net.quillfen.Tidewell.plist.
    static std::string ownStorePath();
    // The store shared with the menu-bar helper: <storeDirectory>/shared.plist.
    static std::string sharedStorePath();
};
