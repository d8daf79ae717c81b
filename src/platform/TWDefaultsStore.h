// SPDX-License-Identifier: MIT
// The persistent half of a settings store: a dictionary of property-list values kept somewhere.
#pragma once

#include "TWPropertyList.h"

#include <functional>
#include <optional>
#include <string>

class TWDefaultsStore {
  public:
    virtual ~TWDefaultsStore() = default;

    // The persisted values as they are now (what any process wrote last); empty when none.
    virtual TWPlistDictionary load() = 0;

    // The persisted value under `key` as it is now, or nothing. Stores that can answer for one
    // key without copying every value override this.
    virtual std::optional<TWPlistValue> loadValue(const std::string& key) {
        TWPlistDictionary values = load();
        if (const TWPlistValue* value = TWPlistLookup(values, key))
            return *value;
        return std::nullopt;
    }

    // Applies `change` to the latest persisted values and persists the result, atomically with
    // respect to every other writer of the same store. Returns false (and logs why) when the
    // result could not be persisted; the previously persisted values are then left untouched.
    // A store may keep `change` and apply it later, on another thread (when another process
    // holds the store): it must own what it refers to.
    virtual bool update(const std::function<void(TWPlistDictionary&)>& change) = 0;
};
