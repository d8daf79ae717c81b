// SPDX-License-Identifier: MIT
// Version strings: parsing, canonical text, ordering, and the running system's version.
#include "OVSystemVersion.h"
#include "TWLog.h"
#include "TWLogCapture.h"
#include "TWTestPaths.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <regex>
#include <string>
#include <vector>

namespace {

const std::string kWarning =
    "OVSystemVersion: Warning, found \".\" without a following digit value.";

std::string bailout(const std::string& text) {
    return "OVSystemVersion: Found unsupported character in version string, bailing:\"" + text +
           "\".";
}

enum class Logged { Nothing, Warning, Bailout };

struct ParseCase {
    const char* input;
    std::vector<std::string> components;
    std::int64_t beta, alpha, dev;
    const char* canonical;
    Logged logged;
};

const ParseCase kParseCases[] = {
    {"10.6.8", {"10", "6", "8"}, 0, 0, 0, "10.6.8", Logged::Nothing},
    {"1.0b2", {"1", "0"}, 2, 0, 0, "1.0b2", Logged::Nothing},
    {"2.1a3", {"2", "1"}, 0, 3, 0, "2.1a3", Logged::Nothing},
    {"3.0d7b2", {"3", "0"}, 2, 0, 7, "3.0b2d7", Logged::Nothing},
    {"1.0b", {"1", "0"}, 0, 0, 0, "1.0", Logged::Nothing},
    {"10.06", {"10", "06"}, 0, 0, 0, "10.06", Logged::Nothing},
    {"", {"0"}, 0, 0, 0, "0", Logged::Nothing},
    {"1.", {"1"}, 0, 0, 0, "1", Logged::Warning},
    {"1..2", {"1", "2"}, 0, 0, 0, "1.2", Logged::Warning},
    {"1.x", {"1"}, 0, 0, 0, "1", Logged::Warning},
    {"1.b2", {"1", "2"}, 0, 0, 0, "1.2", Logged::Warning},
    {"1b2.3", {"1", "3"}, 2, 0, 0, "1.3b2", Logged::Nothing},
    {"1.0b2.1", {"1", "0", "1"}, 2, 0, 0, "1.0.1b2", Logged::Nothing},
    {"10.8 (12A269)", {"10", "8"}, 0, 0, 0, "10.8", Logged::Bailout},
    {"abc", {"0"}, 0, 0, 0, "0", Logged::Bailout},
    {"b2", {"0"}, 2, 0, 0, "0b2", Logged::Nothing},
    // A later suffix of the same letter wins; letters are case-sensitive.
    {"1b2b3", {"1"}, 3, 0, 0, "1b3", Logged::Nothing},
    {"1.0B2", {"1", "0"}, 0, 0, 0, "1.0", Logged::Bailout},
    {"2.0a1b2d3", {"2", "0"}, 2, 1, 3, "2.0b2a1d3", Logged::Nothing},
    // Only ASCII digits are digits: Arabic-Indic one (U+0661) and fullwidth one (U+FF11) bail.
    {"1.\xD9\xA1", {"1"}, 0, 0, 0, "1", Logged::Warning},
    {"1\xD9\xA1", {"1"}, 0, 0, 0, "1", Logged::Bailout},
    {"\xEF\xBC\x91.2", {"0"}, 0, 0, 0, "0", Logged::Bailout},
    // The character after a lone dot is skipped whole, even when it takes several bytes.
    {"1.\303\2512", {"1", "2"}, 0, 0, 0, "1.2", Logged::Warning},     // "1.é2", é in octal
    {"1.\342\202\2542", {"1", "2"}, 0, 0, 0, "1.2", Logged::Warning}, // "1.€2": three bytes
    {"-1", {"0"}, 0, 0, 0, "0", Logged::Bailout},
};

TEST(OVSystemVersionParsing, FieldsCanonicalTextAndLogFollowTheParseRules) {
    for (const ParseCase& c : kParseCases) {
        SCOPED_TRACE(std::string("input \"") + c.input + "\"");
        TWLogCapture log;
        OVSystemVersion v(c.input);
        EXPECT_EQ(v.components(), c.components);
        EXPECT_EQ(v.beta(), c.beta);
        EXPECT_EQ(v.alpha(), c.alpha);
        EXPECT_EQ(v.dev(), c.dev);
        EXPECT_EQ(v.string(), c.canonical);
        switch (c.logged) {
        case Logged::Nothing:
            EXPECT_TRUE(log.lines.empty()) << log.lines.front();
            break;
        case Logged::Warning:
            ASSERT_EQ(log.lines.size(), 1u);
            EXPECT_EQ(log.lines[0], kWarning);
            break;
        case Logged::Bailout:
            ASSERT_EQ(log.lines.size(), 1u);
            EXPECT_EQ(log.lines[0], bailout(c.input));
            break;
        }
    }
}

TEST(OVSystemVersionParsing, EveryLoneDotWarnsOnce) {
    TWLogCapture log;
    OVSystemVersion v("1..2.");
    EXPECT_EQ(v.components(), (std::vector<std::string>{"1", "2"}));
    EXPECT_EQ(log.lines, (std::vector<std::string>{kWarning, kWarning}));
}

TEST(OVSystemVersionParsing, HugeSuffixNumbersSaturateAndHugeComponentsStayExact) {
    constexpr std::int64_t max = std::numeric_limits<std::int64_t>::max();
    OVSystemVersion v("123456789012345678901234567890.1b99999999999999999999a9223372036854775807"
                      "d9223372036854775806");
    EXPECT_EQ(v.components().front(), "123456789012345678901234567890");
    EXPECT_EQ(v.beta(), max);
    EXPECT_EQ(v.alpha(), max);
    EXPECT_EQ(v.dev(), max - 1);
    EXPECT_EQ(v.string(), "123456789012345678901234567890.1b9223372036854775807a9223372036854775807"
                          "d9223372036854775806");
    // Weights this large are still ordered without overflowing.
    EXPECT_EQ(v.compare(OVSystemVersion("123456789012345678901234567890.1b1")),
              OVOrderedDescending);
    EXPECT_EQ(OVSystemVersion("123456789012345678901234567890.1b1").compare(v), OVOrderedAscending);
}

struct CompareCase {
    const char* left;
    const char* right;
    int result;
};

const CompareCase kCompareCases[] = {
    {"10.10", "10.9", 1},
    {"10.6", "10.6.0", -1},
    {"10.6.0", "10.6", 1},
    {"2", "1.9.9", 1},
    {"1.0", "1.0b1", 1},
    {"1.0b1", "1.0", -1},
    {"1.0b1", "1.0a5", 1},
    {"1.0a10", "1.0b1", 0},
    {"1.0d2", "1.0a1", -1},
    {"1.0b9", "1.1d1", -1},
    {"1.0", "1.0b", 0},
    // Digit runs compare by value, however they are written and however long they are.
    {"10.06", "10.6", 0},
    {"10.007", "10.6", 1},
    {"0000000000000000000000000000000000000000001", "1", 0},
    {"100000000000000000000000000000000000000000", "99999999999999999999999999999999999999999", 1},
    {"18446744073709551617", "18446744073709551616", 1},
    {"1.0d1000", "1.0a1", 0},
    {"1.0b2a3", "1.0b2a2d999", 1},
    {"1.0b2a3", "1.0b2a3", 0},
};

TEST(OVSystemVersionComparison, CompareAndTheTenHelpersAgreeWithTheOrdering) {
    for (const CompareCase& c : kCompareCases) {
        SCOPED_TRACE(std::string(c.left) + " vs " + c.right);
        OVSystemVersion left(c.left);
        OVSystemVersion right(c.right);
        ASSERT_EQ(static_cast<int>(left.compare(right)), c.result);
        // The ordering is antisymmetric.
        EXPECT_EQ(static_cast<int>(right.compare(left)), -c.result);

        EXPECT_EQ(left.isEqualToSystemVersion(right), c.result == 0);
        EXPECT_EQ(left.isLessThanSystemVersion(right), c.result < 0);
        EXPECT_EQ(left.isLessThanOrEqualToSystemVersion(right), c.result <= 0);
        EXPECT_EQ(left.isGreaterThanSystemVersion(right), c.result > 0);
        EXPECT_EQ(left.isGreaterThanOrEqualToSystemVersion(right), c.result >= 0);
        EXPECT_EQ(left.isEqualToString(c.right), c.result == 0);
        EXPECT_EQ(left.isLessThanString(c.right), c.result < 0);
        EXPECT_EQ(left.isLessThanOrEqualToString(c.right), c.result <= 0);
        EXPECT_EQ(left.isGreaterThanString(c.right), c.result > 0);
        EXPECT_EQ(left.isGreaterThanOrEqualToString(c.right), c.result >= 0);
        EXPECT_EQ(left.isEqual(&right), c.result == 0);
        EXPECT_EQ(left == right, c.result == 0);
    }
}

TEST(OVSystemVersionIdentity, DescriptionHashAndSharedInstances) {
    auto v = OVSystemVersion::systemVersionWithString("3.0d7b2");
    std::smatch m;
    std::string description = v->description();
    ASSERT_TRUE(std::regex_match(description, m,
                                 std::regex("<OVSystemVersion: (0x[0-9a-f]+) : 3\\.0b2d7>")))
        << description;
    EXPECT_EQ(std::stoull(m[1].str(), nullptr, 16), reinterpret_cast<std::uintptr_t>(v.get()));

    // Copies share the one instance.
    std::shared_ptr<const OVSystemVersion> copy = v;
    EXPECT_EQ(copy->description(), description);

    // The hash follows the canonical text, so equal versions written differently may differ.
    EXPECT_EQ(OVSystemVersion("3.0d7b2").hash(), OVSystemVersion("3.0b2d7").hash());
    OVSystemVersion a10("1.0a10");
    OVSystemVersion b1("1.0b1");
    EXPECT_TRUE(a10.isEqual(&b1));
    EXPECT_NE(a10.string(), b1.string());
    EXPECT_EQ(a10.hash(), std::hash<std::string>{}("1.0a10"));
    EXPECT_FALSE(a10.isEqual(nullptr));
}

// Writes os-release files into a private directory and points the class at them.
class OVSystemVersionCurrent : public ::testing::Test {
  protected:
    void SetUp() override {
        OVSystemVersion::setOSReleasePathsForTesting({etc.string(), lib.string()});
    }
    void TearDown() override {
        OVSystemVersion::setOSReleasePathsForTesting({"/etc/os-release", "/usr/lib/os-release"});
    }
    static void write(const std::filesystem::path& p, const std::string& text) {
        TWWriteFile(p, text);
    }
    std::string current() {
        auto v = OVSystemVersion::currentSystemVersion();
        return v ? v->string() : "(nil)";
    }

    TWTempDir temp{"ovsystemversion"};
    std::filesystem::path dir = temp.path, etc = dir / "etc-os-release",
                          lib = dir / "lib-os-release";
};

TEST_F(OVSystemVersionCurrent, VersionIDIsReadWithShellQuoting) {
    struct Case {
        const char* file;
        const char* expected;
    };
    const Case cases[] = {
        {"NAME=Debian\nVERSION_ID=12\n", "12"},
        {"NAME=\"Ubuntu\"\nVERSION_ID=\"22.04\"\nID=ubuntu\n", "22.04"},
        {"VERSION_ID='3.19.1'\n", "3.19.1"},
        {"  VERSION_ID=1\\.2\n", "1.2"}, // unquoted backslash escapes the next character
        {"VERSION_ID=\"1\\.2\"\n", "1"}, // inside double quotes it stays (and bails)
        {"VERSION_ID=\"\\\"\"\n", "0"},  // an escaped quote is a character of the value
        {"VERSION_ID=\"10\"'.'4 # comment\n", "10.4"}, // concatenated words
        {"# VERSION_ID=9\nVERSION_ID_LIKE=8\nXVERSION_ID=7\nVERSION_ID=6\n", "6"},
        {"VERSION_ID=1\nVERSION_ID=2\n", "2"},
        {"VERSION_ID=\"2024.1b3\"\r\n", "2024.1b3"},
        {"NAME=Arch\nBUILD_ID=rolling\n", "(nil)"}, // no version at all
        {"VERSION_ID=\n", "(nil)"},
        {"VERSION_ID=\"\"\n", "(nil)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        write(etc, c.file);
        OVSystemVersion::setOSReleasePathsForTesting({etc.string(), lib.string()});
        EXPECT_EQ(current(), c.expected);
    }
}

TEST_F(OVSystemVersionCurrent, FallsBackOnlyWhenTheFirstFileIsMissingAndKeepsWhatItRead) {
    EXPECT_EQ(current(), "(nil)") << "neither file exists";
    write(lib, "VERSION_ID=\"11\"\n");
    EXPECT_EQ(current(), "11") << "a failed read is retried, and the fallback file is used";

    OVSystemVersion::setOSReleasePathsForTesting({etc.string(), lib.string()});
    write(etc, "NAME=Nothing\n");
    EXPECT_EQ(current(), "(nil)") << "an existing first file is the one that counts";

    // A successful read is kept for the process: the same shared instance, not a re-read.
    write(etc, "VERSION_ID=10.0\n");
    auto first = OVSystemVersion::currentSystemVersion();
    ASSERT_TRUE(first);
    write(etc, "VERSION_ID=11.0\n");
    EXPECT_EQ(OVSystemVersion::currentSystemVersion().get(), first.get());
    EXPECT_EQ(first->string(), "10.0");
}

TEST_F(OVSystemVersionCurrent, ClassWideAnswersAreCachedPerStringIncludingUnreadableOnes) {
    EXPECT_FALSE(OVSystemVersion::isGreaterThanOrEqualToStringForCurrentSystem("1"))
        << "no system version reads as NO";
    write(etc, "VERSION_ID=5.2\n");
    EXPECT_FALSE(OVSystemVersion::isGreaterThanOrEqualToStringForCurrentSystem("1"))
        << "the earlier answer is kept";
    EXPECT_TRUE(OVSystemVersion::isGreaterThanOrEqualToStringForCurrentSystem("5.2"));
    EXPECT_TRUE(OVSystemVersion::isGreaterThanOrEqualToStringForCurrentSystem("5.1.9"));
    EXPECT_FALSE(OVSystemVersion::isGreaterThanOrEqualToStringForCurrentSystem("5.2.0"));
    EXPECT_FALSE(OVSystemVersion::isGreaterThanOrEqualToStringForCurrentSystem("6"));

    write(etc, "VERSION_ID=7\n");
    OVSystemVersion::setOSReleasePathsForTesting({etc.string()});
    EXPECT_TRUE(OVSystemVersion::isGreaterThanOrEqualToStringForCurrentSystem("6"))
        << "forgetting the caches lets the new version answer";
    write(etc, "VERSION_ID=1\n");
    EXPECT_TRUE(OVSystemVersion::isGreaterThanOrEqualToStringForCurrentSystem("6"));
}

} // namespace
