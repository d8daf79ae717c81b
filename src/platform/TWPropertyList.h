// SPDX-License-Identifier: MIT
// Property-list values: the value type of the settings stores and of menu items' represented
// objects.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

struct TWPlistValue;
using TWPlistArray = std::vector<TWPlistValue>;
using TWPlistDictionary = std::map<std::string, TWPlistValue>;
using TWPlistData = std::vector<std::uint8_t>;

// A point in time, as seconds since 2001-01-01 00:00:00 UTC (the property-list epoch).
struct TWPlistDate {
    double secondsSinceReferenceDate = 0;
    bool operator==(const TWPlistDate&) const = default;
};

struct TWPlistValue {
    enum class Type { Boolean, Integer, Real, String, Data, Date, Array, Dictionary };

    using Storage = std::variant<bool, std::int64_t, double, std::string, TWPlistData, TWPlistDate,
                                 TWPlistArray, TWPlistDictionary>;
    Storage storage;

    TWPlistValue() : storage(false) {}
    TWPlistValue(bool b) : storage(b) {}
    TWPlistValue(int i) : storage(static_cast<std::int64_t>(i)) {}
    TWPlistValue(long i) : storage(static_cast<std::int64_t>(i)) {}
    TWPlistValue(long long i) : storage(static_cast<std::int64_t>(i)) {}
    TWPlistValue(unsigned i) : storage(static_cast<std::int64_t>(i)) {}
    TWPlistValue(double d) : storage(d) {}
    TWPlistValue(const char* s) : storage(std::string(s)) {}
    TWPlistValue(std::string s) : storage(std::move(s)) {}
    TWPlistValue(TWPlistData d) : storage(std::move(d)) {}
    TWPlistValue(TWPlistDate d) : storage(d) {}
    TWPlistValue(TWPlistArray a) : storage(std::move(a)) {}
    TWPlistValue(TWPlistDictionary d) : storage(std::move(d)) {}

    Type type() const { return static_cast<Type>(storage.index()); }

    // Typed views: a pointer to the held value, or null when the value is of another type.
    template <class T> const T* get() const { return std::get_if<T>(&storage); }
    template <class T> T* get() { return std::get_if<T>(&storage); }

    bool operator==(const TWPlistValue& other) const { return storage == other.storage; }
};

// The value under `key` in `dict`, or null when absent.
inline const TWPlistValue* TWPlistLookup(const TWPlistDictionary& dict, const std::string& key) {
    auto it = dict.find(key);
    return it == dict.end() ? nullptr : &it->second;
}
