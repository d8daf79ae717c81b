// SPDX-License-Identifier: MIT
// Version strings: parsing, canonical text, ordering, and the running system's version.
#include "OVSystemVersion.h"
#include "TWLog.h"
#include "TWLogCapture.h"
#include "TWTestPaths.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

namespace {

const std::string kWarning =
    "OVSystemVersion: Warning, found \".\" without a following digit value.";

enum Logged { Nothing, Warning, Bailout };

// The input, its canonical text (every field: the components, then beta, alpha and dev when
// set), and what is logged.
using ParseCase = std::tuple<const char*, const char*, Logged>;

// clang-format off
const ParseCase kParseCases[] = {
    {"10.06", "10.06", Nothing}, {"2.0a1b2d3", "2.0b2a1d3", Nothing}, {"1.0b", "1.0", Nothing},
    {"b2", "0b2", Nothing}, {"1a99999999999999999999", "1a9223372036854775807", Nothing},
    {"1d9223372036854775806", "1d9223372036854775806", Nothing}, // just below saturation
    {"1.", "1", Warning}, {"1.b2", "1.2", Warning}, {"1.0B2", "1.0", Bailout},
    // After a lone dot one character is skipped whole, of two or three bytes.
    {"1.\xD9\xA1", "1", Warning}, {"1.\342\202\2542", "1.2", Warning}};
// clang-format on

TEST(OVSystemVersionParsing, CanonicalTextAndLogFollowTheParseRules) {
    for (const auto& [input, canonical, logged] : kParseCases) {
        SCOPED_TRACE(std::string("input \"") + input + "\"");
        TWLogCapture log;
        EXPECT_EQ(OVSystemVersion(input).string(), canonical);
        const std::vector<std::string> expected[] = {
            {},
            {kWarning},
            {"OVSystemVersion: Found unsupported character in version string, bailing:\"" +
             std::string(input) + "\"."}};
        EXPECT_EQ(log.lines, expected[logged]);
    }
}

// clang-format off
const std::tuple<const char*, const char*, int> kCompareCases[] = {
    {"10.10", "10.9", 1}, {"10.6.0", "10.6", 1}, {"1.0", "1.0b1", 1}, {"1.0b1", "1.0a5", 1},
    {"1.0d2", "1.0a1", -1}, {"1.0", "1.0b", 0}, {"10.06", "10.6", 0},
    {"18446744073709551617", "18446744073709551616", 1}, {"1b99999999999999999999", "1b1", 1}};
// clang-format on

TEST(OVSystemVersionComparison, CompareFollowsTheOrdering) {
    for (const auto& [l, r, result] : kCompareCases) {
        SCOPED_TRACE(std::string(l) + " vs " + r);
        OVSystemVersion left(l), right(r);
        ASSERT_EQ(static_cast<int>(left.compare(right)), result);
        EXPECT_EQ(static_cast<int>(right.compare(left)), -result); // antisymmetric
    }
}

// VERSION_ID, read with shell quoting from the first of the os-release files that exists.
TEST(OVSystemVersionCurrent, VersionIDIsReadWithShellQuotingFromTheFirstFileThatExists) {
    const TWTempDir temp{"ovsystemversion"};
    const std::filesystem::path etc = temp.path / "etc", lib = temp.path / "lib";
    const auto pointAt = [&] {
        OVSystemVersion::setOSReleasePathsForTesting({etc.string(), lib.string()});
    };
    const auto current = [] {
        auto v = OVSystemVersion::currentSystemVersion();
        return v ? v->string() : std::string("(nil)");
    };
    pointAt();
    EXPECT_EQ(current(), "(nil)") << "neither file exists";
    TWWriteFile(lib, "VERSION_ID=\"11\"\n");
    EXPECT_EQ(current(), "11") << "a failed read is retried, and the fallback file is used";

    const std::pair<const char*, const char*> cases[] = {
        {"VERSION_ID='3.19.1'\n", "3.19.1"},
        {"  VERSION_ID=1\\.2\n", "1.2"}, // unquoted backslash escapes the next character
        {"VERSION_ID=\"1\\.2\"\n", "1"}, // inside double quotes it stays (and bails)
        {"VERSION_ID=\"\\\"\"\n", "0"},  // an escaped quote is a character of the value
        {"VERSION_ID=\"10\"'.'4 # comment\n", "10.4"}, // concatenated words
        {"# VERSION_ID=9\nVERSION_ID_LIKE=8\nXVERSION_ID=7\nVERSION_ID=6\nVERSION_ID=5\n", "5"},
        {"VERSION_ID=\"2024.1b3\"\r\n", "2024.1b3"},
        {"NAME=Arch\nBUILD_ID=rolling\n", "(nil)"}, // none, and the fallback file's is not read
    };
    for (const auto& [file, expected] : cases) {
        SCOPED_TRACE(file);
        TWWriteFile(etc, file);
        pointAt();
        EXPECT_EQ(current(), expected);
    }
}

} // namespace
