// SPDX-License-Identifier: MIT
// A login-item list in memory, for tests and the simulated desktop.
#pragma once

#include "TWLoginItemList.h"

#include <set>
#include <string>
#include <vector>

class TWSimLoginItemList : public TWLoginItemList {
  public:
    std::vector<TWLoginItemEntry> snapshot() override { return entries_; }
    bool remove(const TWLoginItemEntry& entry) override;
    // Appends an entry whose resolved path is `path` (none when `path` was marked missing).
    bool append(const std::string& displayName, const std::string& path) override;
    bool enable(const TWLoginItemEntry& entry) override;

    // Programs that do not exist: entries starting them resolve to nothing.
    void markMissing(const std::string& path) { missing_.insert(path); }
    // The paths of the entries (empty for unresolvable ones), in list order.
    std::vector<std::string> paths() const;

  private:
    std::vector<TWLoginItemEntry> entries_;
    std::set<std::string> missing_;
    int next_ = 0;
};
