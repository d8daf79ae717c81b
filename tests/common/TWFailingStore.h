// SPDX-License-Identifier: MIT
// A settings store in memory whose writes fail on demand, as on a read-only or full disk.
#pragma once

#include "TWSimDefaultsStore.h"

class TWFailingStore : public TWSimDefaultsStore {
  public:
    bool update(const std::function<void(TWPlistDictionary&)>& change) override {
        return !readOnly && TWSimDefaultsStore::update(change);
    }
    // While set, every write fails and leaves the values as they were.
    bool readOnly = false;
};
