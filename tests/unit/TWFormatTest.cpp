// SPDX-License-Identifier: MIT
// Formatting of the system's messages: objects, numbers, missing arguments.
#include "TWFormat.h"

#include <gtest/gtest.h>

TEST(TWFormat, ObjectsMissingObjectsAndReorderedArguments) {
    EXPECT_EQ(TWFormat("There is an update to %@ available online.", "Tidewell"),
              "There is an update to Tidewell available online.");
    EXPECT_EQ(TWFormat("app=%@&version=%@&os_version=%@", "A", std::optional<std::string>{}, "12"),
              "app=A&version=(null)&os_version=12");
    EXPECT_EQ(TWFormat("%@ and %@", "one"), "one and (null)");
    EXPECT_EQ(TWFormat("%@", nullptr), "(null)");
    EXPECT_EQ(TWFormat("100%% %@", "sure"), "100% sure");
    EXPECT_EQ(TWFormat("%2$@ %1$@", "world", "hello"), "hello world");
}

TEST(TWFormat, NumbersPointersAndMalformedFormats) {
    EXPECT_EQ(TWFormat("b%lu", 2u), "b2");
    EXPECT_EQ(TWFormat("%d/%ld/%lld", -1, 2L, 3LL), "-1/2/3");
    EXPECT_EQ(TWFormat("[%5d|%-4s|%03u]", 42, "ab", 7u), "[   42|ab  |007]");
    EXPECT_EQ(TWFormat("%.2f|%x", 3.14159, 255), "3.14|ff");
    int x = 0;
    EXPECT_EQ(TWFormat("%p", static_cast<const void*>(&x)).rfind("0x", 0), 0u);
    // Malformed formats never fail.
    EXPECT_EQ(TWFormat("50%"), "50%");
    EXPECT_EQ(TWFormat("%q", 1), "%q");
    EXPECT_EQ(TWFormat("%d"), "0");
    EXPECT_EQ(TWFormat("%d", "text"), "0");
}
