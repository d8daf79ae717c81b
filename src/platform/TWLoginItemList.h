// SPDX-License-Identifier: MIT
// The session's list of programs started at login.
#pragma once

#include <optional>
#include <string>
#include <vector>

// One entry of the list, as a snapshot saw it.
struct TWLoginItemEntry {
    // What names the entry to the list (the autostart entry's file, or a test's key).
    std::string reference;
    // The program the entry starts, as a full path; none when it cannot be resolved (the
    // program does not exist).
    std::optional<std::string> resolvedPath;
    // False for an entry the user turned off (it stays in the list but starts nothing).
    bool enabled = true;
};

class TWLoginItemList {
  public:
    virtual ~TWLoginItemList() = default;
    // The entries in a stable order in which an appended entry comes last; empty when the list
    // cannot be read.
    virtual std::vector<TWLoginItemEntry> snapshot() = 0;
    // Removes one entry of a snapshot; false when it could not be removed.
    virtual bool remove(const TWLoginItemEntry& entry) = 0;
    // Appends an entry that starts the program at `path` under `displayName`; false when none
    // was added.
    virtual bool append(const std::string& displayName, const std::string& path) = 0;
    // Turns an entry the user turned off on again, in place; false when it could not be changed.
    virtual bool enable(const TWLoginItemEntry& entry) = 0;
};
