// SPDX-License-Identifier: MIT
// URL strings: strict validation and splitting into scheme, authority, path, query, fragment.
#include "TWURL.h"

#include <cctype>

namespace {

bool isHexDigit(char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    return (std::tolower(static_cast<unsigned char>(c)) - 'a') + 10;
}

bool isAlpha(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Characters that may appear literally anywhere in a URL string ("%" and "#" are checked apart).
bool isLegalCharacter(char c) {
    if (isAlpha(c) || isDigit(c))
        return true;
    switch (c) {
    case '-':
    case '.':
    case '_':
    case '~':
    case ':':
    case '/':
    case '?':
    case '[':
    case ']':
    case '@':
    case '!':
    case '$':
    case '&':
    case '\'':
    case '(':
    case ')':
    case '*':
    case '+':
    case ',':
    case ';':
    case '=':
        return true;
    default:
        return false;
    }
}

bool isLegalString(std::string_view s) {
    bool seenFragment = false;
    for (std::size_t i = 0; i < s.size(); ++i) {
        char c = s[i];
        if (c == '%') {
            if (i + 2 >= s.size() || !isHexDigit(s[i + 1]) || !isHexDigit(s[i + 2]))
                return false;
            i += 2;
        } else if (c == '#') {
            if (seenFragment)
                return false;
            seenFragment = true;
        } else if (!isLegalCharacter(c)) {
            return false;
        }
    }
    return true;
}

std::string percentDecoded(std::string_view s) {
    std::string out;
    out.reserve(s.size());
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '%' && i + 2 < s.size() && isHexDigit(s[i + 1]) && isHexDigit(s[i + 2])) {
            out.push_back(static_cast<char>(hexValue(s[i + 1]) * 16 + hexValue(s[i + 2])));
            i += 2;
        } else {
            out.push_back(s[i]);
        }
    }
    return out;
}

// The length of a leading "scheme:" (without the colon), or 0 when the string has none.
std::size_t schemeLength(std::string_view s) {
    if (s.empty() || !isAlpha(s[0]))
        return 0;
    for (std::size_t i = 1; i < s.size(); ++i) {
        char c = s[i];
        if (c == ':')
            return i;
        if (!isAlpha(c) && !isDigit(c) && c != '+' && c != '-' && c != '.')
            return 0;
    }
    return 0;
}

} // namespace

std::optional<TWURL> TWURL::URLWithString(std::string_view string) {
    if (string.empty() || !isLegalString(string))
        return std::nullopt;

    TWURL url;
    url.string_ = std::string(string);

    std::string_view rest = string;
    if (std::size_t length = schemeLength(string)) {
        url.scheme_ = std::string(string.substr(0, length));
        rest = string.substr(length + 1);
    }
    url.resourceSpecifier_ = std::string(rest);

    if (std::size_t hash = rest.find('#'); hash != std::string_view::npos) {
        url.fragment_ = std::string(rest.substr(hash + 1));
        rest = rest.substr(0, hash);
    }
    if (std::size_t question = rest.find('?'); question != std::string_view::npos) {
        url.query_ = std::string(rest.substr(question + 1));
        rest = rest.substr(0, question);
    }

    if (rest.starts_with("//")) {
        rest.remove_prefix(2);
        std::size_t slash = rest.find('/');
        std::string_view authority = rest.substr(0, slash);
        rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash);

        if (std::size_t at = authority.rfind('@'); at != std::string_view::npos)
            authority.remove_prefix(at + 1);

        std::string_view hostPart = authority;
        std::string_view portPart;
        bool hasPort = false;
        if (authority.starts_with('[')) {
            std::size_t close = authority.find(']');
            if (close == std::string_view::npos)
                return std::nullopt;
            hostPart = authority.substr(1, close - 1);
            std::string_view after = authority.substr(close + 1);
            if (!after.empty()) {
                if (after[0] != ':')
                    return std::nullopt;
                hasPort = true;
                portPart = after.substr(1);
            }
        } else {
            if (authority.find_first_of("[]") != std::string_view::npos)
                return std::nullopt;
            if (std::size_t colon = authority.rfind(':'); colon != std::string_view::npos) {
                hostPart = authority.substr(0, colon);
                hasPort = true;
                portPart = authority.substr(colon + 1);
            }
        }
        if (hasPort && !portPart.empty()) {
            // A port is a decimal number that fits the protocol's 16 bits; anything else makes
            // the whole string unusable as an address.
            if (portPart.size() > 5)
                return std::nullopt;
            int port = 0;
            for (char c : portPart) {
                if (!isDigit(c))
                    return std::nullopt;
                port = port * 10 + (c - '0');
            }
            if (port > 65535)
                return std::nullopt;
            url.port_ = port;
        }
        if (!hostPart.empty())
            url.host_ = percentDecoded(hostPart);
    }
    url.path_ = std::string(rest);
    return url;
}
