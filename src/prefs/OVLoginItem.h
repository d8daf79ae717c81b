// SPDX-License-Identifier: MIT
// Start at login: whether the application is among the session's login items, adding it,
// removing it, and repairing an entry that starts a copy elsewhere.
#pragma once

#include "TWLoginItemList.h"

#include <optional>
#include <string>

class OVLoginItem {
  public:
    // `path` is the program to start at login, `displayName` the name an added entry carries.
    // `list` is the session's list; null when it could not be opened (then it reads as empty).
    OVLoginItem(std::string displayName, std::string path, TWLoginItemList* list);

    // Whether an entry of the list is this application's (see fileListItemRef).
    bool isLoginItem();
    // Adds an entry at the end of the list, after removing any earlier one of this application;
    // an entry for `path` that the user turned off is turned on instead, in place.
    bool installLoginItem();
    // Removes every entry of this application; the result reports the last removal (false when
    // none matched).
    bool removeLoginItem();
    // An entry that starts another copy (same program name, other folder) is replaced by one
    // for `path`. True when nothing needed doing or the entry was replaced.
    bool updateLoginItemPathIfNeeded();
    // The first entry of this application that is turned on, in list order; `resolvedURL` (when
    // given) receives the resolved path of every such entry visited, so after a miss it holds
    // the last one's.
    std::optional<TWLoginItemEntry>
    fileListItemRef(std::optional<std::string>* resolvedURL = nullptr);

    const std::string& path() const { return path_; }
    void setPath(std::string path) { path_ = std::move(path); }
    const std::string& displayName() const { return displayName_; }
    void setDisplayName(std::string name) { displayName_ = std::move(name); }

  private:
    // An entry is this application's when its program has the same file name as `path` (a copy
    // that moved still counts) or is `path` itself; an unresolvable entry never is.
    bool matches(const TWLoginItemEntry& entry, const std::string& matchingName) const;
    std::string matchingName() const;

    std::string path_;
    std::string displayName_;
    TWLoginItemList* list_;
};
