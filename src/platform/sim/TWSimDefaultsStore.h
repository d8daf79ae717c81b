// SPDX-License-Identifier: MIT
// A settings store kept in memory: for the simulated desktop, tests and benchmarks.
#pragma once

#include "TWDefaultsStore.h"

#include <mutex>
#include <string>
#include <vector>

class TWSimDefaultsStore : public TWDefaultsStore {
  public:
    TWSimDefaultsStore() = default;
    explicit TWSimDefaultsStore(TWPlistDictionary initial) : values_(std::move(initial)) {}

    TWPlistDictionary load() override;
    std::optional<TWPlistValue> loadValue(const std::string& key) override;
    bool update(const std::function<void(TWPlistDictionary&)>& change) override;

    // Counts of calls (loadValue counts as a load), for tests that check the store is read afresh
    // at each action.
    int loadCount() const;
    int updateCount() const;
    // The keys read one by one (loadValue), in order, for tests of which settings an action
    // consults and when.
    std::vector<std::string> readKeys() const;

  private:
    mutable std::mutex mutex_;
    TWPlistDictionary values_;
    std::vector<std::string> readKeys_;
    int loads_ = 0;
    int updates_ = 0;
};
