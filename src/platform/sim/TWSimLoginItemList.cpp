// SPDX-License-Identifier: MIT
// A login-item list in memory.
#include "TWSimLoginItemList.h"

#include <algorithm>

bool TWSimLoginItemList::remove(const TWLoginItemEntry& entry) {
    auto it = std::find_if(entries_.begin(), entries_.end(), [&](const TWLoginItemEntry& e) {
        return e.reference == entry.reference;
    });
    if (it == entries_.end())
        return false;
    entries_.erase(it);
    return true;
}

bool TWSimLoginItemList::append(const std::string& displayName, const std::string& path) {
    TWLoginItemEntry entry{displayName + "#" + std::to_string(next_++), path};
    if (missing_.count(path))
        entry.resolvedPath.reset();
    entries_.push_back(std::move(entry));
    return true;
}

bool TWSimLoginItemList::enable(const TWLoginItemEntry& entry) {
    for (TWLoginItemEntry& e : entries_)
        if (e.reference == entry.reference)
            return e.enabled = true;
    return false;
}

std::vector<std::string> TWSimLoginItemList::paths() const {
    std::vector<std::string> paths;
    for (const TWLoginItemEntry& entry : entries_)
        paths.push_back(entry.resolvedPath.value_or(""));
    return paths;
}
