// SPDX-License-Identifier: MIT
// A settings store: registered defaults (volatile, per process) under persisted values.
#pragma once

#include "TWDefaultsStore.h"

#include <memory>
#include <mutex>
#include <optional>
#include <string>

class TWUserDefaults {
  public:
    explicit TWUserDefaults(std::shared_ptr<TWDefaultsStore> store);

    // The application's own store and the store shared with the menu-bar helper. Both must have
    // been set (setStandardUserDefaults / setSharedUserDefaults) before first use.
    static TWUserDefaults& standardUserDefaults();
    static TWUserDefaults& sharedUserDefaults();
    static void setStandardUserDefaults(std::shared_ptr<TWUserDefaults> defaults);
    static void setSharedUserDefaults(std::shared_ptr<TWUserDefaults> defaults);

    // Adds `defaults` to the registration layer (later registrations replace earlier ones per
    // key). Registered values are never persisted.
    void registerDefaults(const TWPlistDictionary& defaults);

    // The persisted value, else the registered one, else nothing.
    std::optional<TWPlistValue> objectForKey(const std::string& key) const;
    // Persists `value` under `key`.
    bool setObject(const TWPlistValue& value, const std::string& key);
    // Removes the persisted value; the registered default (if any) shows through again.
    bool removeObjectForKey(const std::string& key);

    // Boolean view: true, a non-zero number, or a string "YES"/"true"/"y"/a non-zero number
    // reads as true; absent or anything else as false.
    bool boolForKey(const std::string& key) const;
    bool setBool(bool value, const std::string& key);
    // Integer view: numbers (reals truncated), booleans as 0/1, strings by their leading
    // decimal number; anything else, or absent, as 0.
    std::int64_t integerForKey(const std::string& key) const;
    bool setInteger(std::int64_t value, const std::string& key);
    // The value when it is an array, else nothing.
    std::optional<TWPlistArray> arrayForKey(const std::string& key) const;
    // The value when it is a string (numbers are converted), else nothing.
    std::optional<std::string> stringForKey(const std::string& key) const;

    TWDefaultsStore& store() { return *store_; }

  private:
    std::shared_ptr<TWDefaultsStore> store_;
    mutable std::mutex registeredMutex_;
    TWPlistDictionary registered_;
};
