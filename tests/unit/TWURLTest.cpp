// SPDX-License-Identifier: MIT
// The URL parser: the parts of valid URLs, and the strings that are not URLs.
#include "TWURL.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string>

TEST(TWURL, PartsOfValidURLs) {
    // The string, then its scheme, host, port and path ("-": none); the resource specifier is
    // what follows the scheme.
    // clang-format off
    const char* const cases[][5] = {
        {"x-tidewell-action://preferences", "x-tidewell-action", "preferences", "-", ""},
        {"x-tidewell-action:preferences", "x-tidewell-action", "-", "-", "preferences"},
        {"x-tidewell-action:///preferences/", "x-tidewell-action", "-", "-", "/preferences/"},
        {"https://updates.quillfen.net:443/updates/simpleupdate.php?a=1&b=2#top", "https",
         "updates.quillfen.net", "443", "/updates/simpleupdate.php"},
        {"https://user:pw@localhost:8443/x.zip", "https", "localhost", "8443", "/x.zip"},
        {"https://[::1]:8080/x", "https", "::1", "8080", "/x"},
        {"https://h%6Fst/", "https", "host", "-", "/"},
        {"relative/path", "-", "-", "-", "relative/path"}, {"1http://x", "-", "-", "-", "1http://x"}};
    // clang-format on
    const auto part = [](const char* text) {
        return std::string(text) == "-" ? std::nullopt : std::optional<std::string>(text);
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c[0]);
        auto url = TWURL::URLWithString(c[0]);
        ASSERT_TRUE(url);
        EXPECT_EQ(url->scheme(), part(c[1]));
        EXPECT_EQ(url->resourceSpecifier(), c[0] + (part(c[1]) ? std::strlen(c[1]) + 1 : 0));
        EXPECT_EQ(url->host(), part(c[2]));
        EXPECT_EQ(url->port(), part(c[3]) ? std::optional<int>(std::stoi(c[3])) : std::nullopt);
        EXPECT_EQ(url->path(), c[4]);
    }
}

TEST(TWURL, StringsThatAreNotURLs) {
    // clang-format off
    const char* cases[] = {"", "https://host/a b", "https://host/a%4", "https://host/a#b#c",
        "https://host:99999/", "https://host:8a/", "https://[::1/", "https://ho[st/"};
    // clang-format on
    for (const char* c : cases) {
        SCOPED_TRACE(c);
        EXPECT_FALSE(TWURL::URLWithString(c));
    }
}
