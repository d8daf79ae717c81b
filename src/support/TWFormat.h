// SPDX-License-Identifier: MIT
// printf-style formatting of the system's messages, with "%@" for objects (strings).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

// One argument of a format. A missing object (std::nullopt / nullptr) prints as "(null)".
using TWFormatArg =
    std::variant<std::nullptr_t, std::string, std::int64_t, std::uint64_t, double, const void*>;

// Formats `format` with `args`. Conversions: %@ (object), %s, %d %i %ld %lld %u %lu %llu %zu
// %x %X %o, %f %e %g, %c, %p, %% with flags, width and precision, and positional "%n$".
// A conversion without an argument, or with an argument of the wrong kind, prints as it
// would for a zero or null argument: formatting never fails.
std::string TWFormatArgs(std::string_view format, const std::vector<TWFormatArg>& args);

namespace tw_detail {
inline TWFormatArg toFormatArg(std::nullptr_t) {
    return nullptr;
}
inline TWFormatArg toFormatArg(const char* s) {
    return s ? TWFormatArg(std::string(s)) : TWFormatArg(nullptr);
}
inline TWFormatArg toFormatArg(std::string_view s) {
    return std::string(s);
}
inline TWFormatArg toFormatArg(const std::string& s) {
    return s;
}
inline TWFormatArg toFormatArg(const std::optional<std::string>& s) {
    return s ? TWFormatArg(*s) : TWFormatArg(nullptr);
}
inline TWFormatArg toFormatArg(const void* p) {
    return p;
}
template <class T>
requires std::is_integral_v<T> TWFormatArg toFormatArg(T v) {
    if constexpr (std::is_signed_v<T>)
        return static_cast<std::int64_t>(v);
    else
        return static_cast<std::uint64_t>(v);
}
template <class T>
requires std::is_floating_point_v<T> TWFormatArg toFormatArg(T v) {
    return static_cast<double>(v);
}
} // namespace tw_detail

template <class... Args> std::string TWFormat(std::string_view format, const Args&... args) {
    return TWFormatArgs(format, std::vector<TWFormatArg>{tw_detail::toFormatArg(args)...});
}
