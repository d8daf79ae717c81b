// SPDX-License-Identifier: MIT
// Key combinations in portable text: what parses, its normal form, and which combinations may be
// global shortcuts.
#include "TWKeyCombination.h"

#include <gtest/gtest.h>

TEST(TWKeyCombination, ParsesNormalisesAndJudgesCombinations) {
    struct Row {
        const char* text;
        const char* normal; // nullptr: not a combination
        bool global;
    };
    const Row rows[] = {
        {"Ctrl+Alt+H", "Ctrl+Alt+H", true},
        {"alt+ctrl+h", "Ctrl+Alt+H", true}, // any order and case of modifiers; letters upper
        {"Meta+Shift+F12", "Shift+Meta+F12", true},
        {"Ctrl++", "Ctrl++", true}, // the plus key itself
        {"F5", "F5", true},         // function keys need no modifier
        {"F35", "F35", true},
        {"Shift+F1", "Shift+F1", true},
        {"F36", "F36", false},
        {"F0", "F0", false},
        {"Fx", "Fx", false},
        {"Shift+H", "Shift+H", false}, // Shift alone would swallow typing
        {"Space", "Space", false},
        {"Ctrl+PgUp", "Ctrl+PgUp", true},
        {"", nullptr, false},
        {"Ctrl+", nullptr, false},         // no key
        {"Ctrl+Ctrl+H", nullptr, false},   // a modifier twice
        {"Hyper+H", nullptr, false},       // no such modifier
        {"Ctrl+ H", nullptr, false},       // a space before the key
        {"Volume Up", "Volume Up", false}, // inside a key name, one is part of it
        {"Ctrl+\tH", nullptr, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        const auto combination = TWKeyCombination::parse(row.text);
        ASSERT_EQ(combination.has_value(), row.normal != nullptr);
        if (!combination)
            continue;
        EXPECT_EQ(combination->text(), row.normal);
        EXPECT_EQ(TWKeyCombination::parse(combination->text()), combination); // round trip
        EXPECT_EQ(combination->isGlobalShortcut(), row.global);
    }
}
