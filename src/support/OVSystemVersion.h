// SPDX-License-Identifier: MIT
// Dotted version strings with beta/alpha/development suffixes ("10.6.8", "1.0b2"): parsing,
// canonical text and ordering, and the running system's version.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// The outcome of OVSystemVersion::compare, from the receiver's side.
enum OVComparisonResult : int {
    OVOrderedAscending = -1, // the receiver is lower
    OVOrderedSame = 0,
    OVOrderedDescending = 1, // the receiver is higher
};

// A parsed version. Instances are not changed once parsed and are shared rather than copied:
// the factories hand out std::shared_ptr<const OVSystemVersion>, and copying that pointer is
// the class's copy (both holders see the one instance). The class is also an ordinary value
// type for callers that build one on the stack.
class OVSystemVersion {
  public:
    // Parses `text`. Never fails: unsupported characters are logged and parsing stops there,
    // keeping what was read; no component at all reads as "0".
    explicit OVSystemVersion(std::string_view text);

    // A new shared instance parsed from `text`.
    static std::shared_ptr<const OVSystemVersion> systemVersionWithString(std::string_view text);

    // The running system's version (VERSION_ID of os-release), or null when it cannot be read.
    // Read once per process when it succeeds; a failure is retried at the next call.
    static std::shared_ptr<const OVSystemVersion> currentSystemVersion();

    // Whether the running system's version is at least `text` (false when it cannot be read).
    // Each distinct `text` is answered once and then from a process-wide cache.
    static bool isGreaterThanOrEqualToStringForCurrentSystem(const std::string& text);

    // Replaces the os-release files consulted, in order, and forgets both process-wide caches.
    // For tests; the default list is /etc/os-release then /usr/lib/os-release.
    static void setOSReleasePathsForTesting(std::vector<std::string> paths);

    // The canonical text: components joined by ".", then "b<n>", "a<n>", "d<n>" for each
    // positive suffix, always in that order.
    std::string string() const;
    // "<OVSystemVersion: <address> : <string>>".
    std::string description() const;
    // The hash of string(); versions that compare equal may hash differently ("1.0a10", "1.0b1").
    std::size_t hash() const;

    // Numeric order by components, then by the suffix weight beta*10000 + alpha*1000 + dev,
    // a final release (weight 0) ranking above every pre-release.
    OVComparisonResult compare(const OVSystemVersion& other) const;

    // False for null; otherwise isEqualToSystemVersion.
    bool isEqual(const OVSystemVersion* other) const;
    bool operator==(const OVSystemVersion& other) const { return isEqualToSystemVersion(other); }

    // The five tests against another version (compare's result 0, -1, <= 0, 1, >= 0).
    bool isEqualToSystemVersion(const OVSystemVersion& other) const;
    bool isLessThanSystemVersion(const OVSystemVersion& other) const;
    bool isLessThanOrEqualToSystemVersion(const OVSystemVersion& other) const;
    bool isGreaterThanSystemVersion(const OVSystemVersion& other) const;
    bool isGreaterThanOrEqualToSystemVersion(const OVSystemVersion& other) const;

    // The same five tests against the version parsed from `text`.
    bool isEqualToString(std::string_view text) const;
    bool isLessThanString(std::string_view text) const;
    bool isLessThanOrEqualToString(std::string_view text) const;
    bool isGreaterThanString(std::string_view text) const;
    bool isGreaterThanOrEqualToString(std::string_view text) const;

    // The numeric components as written ("10", "06"); never empty after parsing.
    const std::vector<std::string>& components() const { return components_; }
    void setComponents(std::vector<std::string> components) { components_ = std::move(components); }
    // Suffix numbers; 0 means no such suffix.
    std::int64_t beta() const { return beta_; }
    void setBeta(std::int64_t beta) { beta_ = beta; }
    std::int64_t alpha() const { return alpha_; }
    void setAlpha(std::int64_t alpha) { alpha_ = alpha; }
    std::int64_t dev() const { return dev_; }
    void setDev(std::int64_t dev) { dev_ = dev; }

  private:
    std::vector<std::string> components_;
    std::int64_t beta_ = 0;
    std::int64_t alpha_ = 0;
    std::int64_t dev_ = 0;
};
