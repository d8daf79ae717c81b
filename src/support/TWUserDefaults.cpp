// SPDX-License-Identifier: MIT
// A settings store: registered defaults (volatile, per process) under persisted values.
#include "TWUserDefaults.h"

#include <cmath>
#include <limits>
#include <stdexcept>
#include <strings.h>

namespace {

std::shared_ptr<TWUserDefaults>& standardSlot() {
    static std::shared_ptr<TWUserDefaults> slot;
    return slot;
}

std::shared_ptr<TWUserDefaults>& sharedSlot() {
    static std::shared_ptr<TWUserDefaults> slot;
    return slot;
}

std::int64_t clampToInt64(double d) {
    if (std::isnan(d))
        return 0;
    if (d >= 9.2233720368547758e18)
        return std::numeric_limits<std::int64_t>::max();
    if (d <= -9.2233720368547758e18)
        return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(d);
}

// The leading decimal integer of a string, as the platform's defaults read one: optional
// spaces, an optional sign, decimal digits, stopping at the first other character (" 12abc" is
// 12, "0x5" is 0, "5e-1" is 5); 0 when there are no digits, clamped at the 64-bit limits.
std::int64_t leadingInteger(const std::string& s) {
    std::size_t i = 0;
    while (i < s.size() && (s[i] == ' ' || s[i] == '\t'))
        ++i;
    bool negative = false;
    if (i < s.size() && (s[i] == '+' || s[i] == '-'))
        negative = s[i++] == '-';
    constexpr std::int64_t max = std::numeric_limits<std::int64_t>::max();
    std::int64_t magnitude = 0;
    bool saturated = false;
    for (; i < s.size() && s[i] >= '0' && s[i] <= '9'; ++i) {
        const int digit = s[i] - '0';
        if (magnitude > (max - digit) / 10)
            saturated = true;
        else
            magnitude = magnitude * 10 + digit;
    }
    if (saturated)
        return negative ? std::numeric_limits<std::int64_t>::min() : max;
    return negative ? -magnitude : magnitude;
}

} // namespace

TWUserDefaults::TWUserDefaults(std::shared_ptr<TWDefaultsStore> store) : store_(std::move(store)) {}

TWUserDefaults& TWUserDefaults::standardUserDefaults() {
    if (!standardSlot())
        throw std::logic_error("TWUserDefaults: the standard store was used before it was set");
    return *standardSlot();
}

TWUserDefaults& TWUserDefaults::sharedUserDefaults() {
    if (!sharedSlot())
        throw std::logic_error("TWUserDefaults: the shared store was used before it was set");
    return *sharedSlot();
}

void TWUserDefaults::setStandardUserDefaults(std::shared_ptr<TWUserDefaults> defaults) {
    standardSlot() = std::move(defaults);
}

void TWUserDefaults::setSharedUserDefaults(std::shared_ptr<TWUserDefaults> defaults) {
    sharedSlot() = std::move(defaults);
}

void TWUserDefaults::registerDefaults(const TWPlistDictionary& defaults) {
    std::lock_guard lock(registeredMutex_);
    for (const auto& [key, value] : defaults)
        registered_.insert_or_assign(key, value);
}

std::optional<TWPlistValue> TWUserDefaults::objectForKey(const std::string& key) const {
    if (auto persisted = store_->loadValue(key))
        return persisted;
    std::lock_guard lock(registeredMutex_);
    if (const TWPlistValue* v = TWPlistLookup(registered_, key))
        return *v;
    return std::nullopt;
}

bool TWUserDefaults::setObject(const TWPlistValue& value, const std::string& key) {
    // By value: the change can be applied after this call returns.
    return store_->update([key, value](TWPlistDictionary& d) { d.insert_or_assign(key, value); });
}

bool TWUserDefaults::removeObjectForKey(const std::string& key) {
    return store_->update([key](TWPlistDictionary& d) { d.erase(key); });
}

bool TWUserDefaults::boolForKey(const std::string& key) const {
    auto value = objectForKey(key);
    if (!value)
        return false;
    if (const bool* b = value->get<bool>())
        return *b;
    if (const std::int64_t* i = value->get<std::int64_t>())
        return *i != 0;
    if (const double* d = value->get<double>())
        return *d != 0;
    if (const std::string* s = value->get<std::string>()) {
        if (strcasecmp(s->c_str(), "yes") == 0 || strcasecmp(s->c_str(), "true") == 0)
            return true;
        if (strcasecmp(s->c_str(), "no") == 0 || strcasecmp(s->c_str(), "false") == 0)
            return false;
        return leadingInteger(*s) != 0;
    }
    return false;
}

bool TWUserDefaults::setBool(bool value, const std::string& key) {
    return setObject(TWPlistValue(value), key);
}

std::int64_t TWUserDefaults::integerForKey(const std::string& key) const {
    auto value = objectForKey(key);
    if (!value)
        return 0;
    if (const std::int64_t* i = value->get<std::int64_t>())
        return *i;
    if (const bool* b = value->get<bool>())
        return *b ? 1 : 0;
    if (const double* d = value->get<double>())
        return clampToInt64(*d);
    if (const std::string* s = value->get<std::string>())
        return leadingInteger(*s);
    return 0;
}

bool TWUserDefaults::setInteger(std::int64_t value, const std::string& key) {
    return setObject(TWPlistValue(static_cast<long long>(value)), key);
}

std::optional<TWPlistArray> TWUserDefaults::arrayForKey(const std::string& key) const {
    auto value = objectForKey(key);
    if (!value)
        return std::nullopt;
    if (TWPlistArray* a = value->get<TWPlistArray>())
        return std::move(*a);
    return std::nullopt;
}

std::optional<std::string> TWUserDefaults::stringForKey(const std::string& key) const {
    auto value = objectForKey(key);
    if (!value)
        return std::nullopt;
    if (const std::string* s = value->get<std::string>())
        return *s;
    if (const std::int64_t* i = value->get<std::int64_t>())
        return std::to_string(*i);
    if (const double* d = value->get<double>()) {
        char buf[64];
        std::snprintf(buf, sizeof buf, "%g", *d);
        return std::string(buf);
    }
    return std::nullopt;
}
