// SPDX-License-Identifier: MIT
// A settings store kept in memory: for the simulated desktop, tests and benchmarks.
#include "TWSimDefaultsStore.h"

TWPlistDictionary TWSimDefaultsStore::load() {
    std::lock_guard lock(mutex_);
    ++loads_;
    return values_;
}

std::optional<TWPlistValue> TWSimDefaultsStore::loadValue(const std::string& key) {
    std::lock_guard lock(mutex_);
    ++loads_;
    readKeys_.push_back(key);
    if (const TWPlistValue* value = TWPlistLookup(values_, key))
        return *value;
    return std::nullopt;
}

bool TWSimDefaultsStore::update(const std::function<void(TWPlistDictionary&)>& change) {
    std::lock_guard lock(mutex_);
    ++updates_;
    TWPlistDictionary next = values_;
    change(next);
    values_ = std::move(next);
    return true;
}

int TWSimDefaultsStore::loadCount() const {
    std::lock_guard lock(mutex_);
    return loads_;
}

int TWSimDefaultsStore::updateCount() const {
    std::lock_guard lock(mutex_);
    return updates_;
}

std::vector<std::string> TWSimDefaultsStore::readKeys() const {
    std::lock_guard lock(mutex_);
    return readKeys_;
}
