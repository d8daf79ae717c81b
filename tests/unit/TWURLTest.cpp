// SPDX-License-Identifier: MIT
// The URL parser: the parts of valid URLs, and the strings that are not URLs.
#include "TWURL.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

TEST(TWURL, PartsOfValidURLs) {
    // The string, then its scheme, resource specifier, host, port and path ("-": none).
    const char* const cases[][6] = {
        {"x-tidewell-action://preferences", "x-tidewell-action", "//preferences", "preferences",
         "-", ""},
        {"x-tidewell-action:preferences", "x-tidewell-action", "preferences", "-", "-",
         "preferences"},
        {"x-tidewell-action:///preferences/", "x-tidewell-action", "///preferences/", "-", "-",
         "/preferences/"},
        {"X-Tidewell-Action://Preferences", "X-Tidewell-Action", "//Preferences", "Preferences",
         "-", ""},
        {"https://updates.quillfen.net:443/updates/simpleupdate.php?a=1&b=2#top", "https",
         "//updates.quillfen.net:443/updates/simpleupdate.php?a=1&b=2#top", "updates.quillfen.net",
         "443", "/updates/simpleupdate.php"},
        {"https://user:pw@localhost:8443/x.zip", "https", "//user:pw@localhost:8443/x.zip",
         "localhost", "8443", "/x.zip"},
        {"https://[::1]:8080/x", "https", "//[::1]:8080/x", "::1", "8080", "/x"},
        {"https://h%6Fst/", "https", "//h%6Fst/", "host", "-", "/"},
        {"mailto:support@quillfen.net?subject=Tidewell%201.2%20feedback", "mailto",
         "support@quillfen.net?subject=Tidewell%201.2%20feedback", "-", "-",
         "support@quillfen.net"},
        {"relative/path", "-", "relative/path", "-", "-", "relative/path"},
        {"1http://x", "-", "1http://x", "-", "-", "1http://x"},
    };
    const auto part = [](const char* text) {
        return std::string(text) == "-" ? std::nullopt : std::optional<std::string>(text);
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c[0]);
        auto url = TWURL::URLWithString(c[0]);
        ASSERT_TRUE(url);
        EXPECT_EQ(url->absoluteString(), c[0]);
        EXPECT_EQ(url->scheme(), part(c[1]));
        EXPECT_EQ(url->resourceSpecifier(), c[2]);
        EXPECT_EQ(url->host(), part(c[3]));
        EXPECT_EQ(url->port(), part(c[4]) ? std::optional<int>(std::stoi(c[4])) : std::nullopt);
        EXPECT_EQ(url->path(), c[5]);
    }
    auto url = TWURL::URLWithString("x-tidewell-action://preferences?pane=1#general");
    EXPECT_EQ(url->query(), "pane=1");
    EXPECT_EQ(url->fragment(), "general");
    EXPECT_FALSE(TWURL::URLWithString("https://a/b")->query());
    EXPECT_FALSE(TWURL::URLWithString("https://a/b")->fragment());
}

TEST(TWURL, StringsThatAreNotURLs) {
    // clang-format off
    const char* cases[] = {"", "not a url", "https://updates.quillfen.net/x.zip\n",
        " https://updates.quillfen.net/x.zip", "https://host/a%zz", "https://host/a%4",
        "https://host/\xc3\xbc", "https://host/a#b#c", "https://host:99999/", "https://host:8a/",
        "https://[::1/", "https://ho[st/", "http://exa<mple>.com", "https://host/\"quoted\"",
        "https://host/a\\b", "https://host/{x}"};
    // clang-format on
    for (const char* c : cases) {
        SCOPED_TRACE(c);
        EXPECT_FALSE(TWURL::URLWithString(c));
    }
    EXPECT_FALSE(TWURL::URLWithString(std::string_view("https://a/\0b", 12)));
}
