// SPDX-License-Identifier: MIT
// URL strings: strict validation and the parts the application looks at (scheme, host, ...).
#pragma once

#include <optional>
#include <string>
#include <string_view>

// A parsed absolute or relative URL reference. Only strings made entirely of legal URL
// characters parse: letters, digits, "-._~:/?#[]@!$&'()*+,;=" and "%" followed by two hex
// digits, with at most one "#". Spaces, control characters, non-ASCII bytes and the like make
// the string "not a URL".
class TWURL {
  public:
    // The URL for `string`, or nothing when it is empty or not a URL.
    static std::optional<TWURL> URLWithString(std::string_view string);

    // The string the URL was made from, unchanged.
    const std::string& absoluteString() const { return string_; }
    // The scheme ("https"), as written; nothing for a relative reference.
    const std::optional<std::string>& scheme() const { return scheme_; }
    // Everything after "scheme:" (the whole string for a relative reference).
    const std::string& resourceSpecifier() const { return resourceSpecifier_; }
    // The host with percent escapes decoded and IPv6 brackets removed; nothing when the URL
    // has no authority ("//...") or an empty host.
    const std::optional<std::string>& host() const { return host_; }
    // The port number, when the authority names one.
    const std::optional<int>& port() const { return port_; }
    // The path as written (may be empty).
    const std::string& path() const { return path_; }
    // The query after "?", as written; nothing when there is no "?".
    const std::optional<std::string>& query() const { return query_; }
    // The fragment after "#", as written; nothing when there is no "#".
    const std::optional<std::string>& fragment() const { return fragment_; }

    bool operator==(const TWURL& other) const { return string_ == other.string_; }

  private:
    std::string string_;
    std::optional<std::string> scheme_;
    std::string resourceSpecifier_;
    std::optional<std::string> host_;
    std::optional<int> port_;
    std::string path_;
    std::optional<std::string> query_;
    std::optional<std::string> fragment_;
};
