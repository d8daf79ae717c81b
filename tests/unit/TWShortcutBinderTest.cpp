// SPDX-License-Identifier: MIT
// The global shortcuts: key combinations in portable text (what parses, its normal form, which
// may be global shortcuts), and the binder keeping them in step with the shared store on the
// simulated desktop.
#include "TWShortcutBinder.h"
#include "TWCommon.h"
#include "TWKeyCombination.h"
#include "TWLogCapture.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWSimDesktop.h"

#include <gtest/gtest.h>

namespace {
using Action = TWShortcutAction;

struct Fixture {
    TWSimDesktop desk;
    TWUserDefaults shared{std::make_shared<TWSimDefaultsStore>()};
    TWCommon common{desk, shared};
    TWShortcutBinder binder{desk.globalShortcuts(), shared, common};
    TWSimGlobalShortcuts& keys = desk.simGlobalShortcuts();
};
} // namespace

TEST(TWKeyCombination, ParsesNormalisesAndJudgesCombinations) {
    struct Row {
        const char* text;
        const char* normal; // nullptr: not a combination
        bool global;
    };
    const Row rows[] = {
        {"alt+ctrl+h", "Ctrl+Alt+H", true}, // any order and case of modifiers; letters upper
        {"Ctrl++", "Ctrl++", true},         // the plus key itself
        {"F5", "F5", true},                 // function keys need no modifier
        {"F35", "F35", true},
        {"F36", "F36", false},
        {"F0", "F0", false},
        {"Fx", "Fx", false},
        {"Shift+H", "Shift+H", false},     // Shift alone would swallow typing
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

// Presses, and keys another client grabbed, on a real X server: TidewellAppX11Test.
TEST(TWShortcutBinder, BindsWhileActiveAndReportsWhatFailed) {
    Fixture f;
    f.shared.setObject(TWPlistValue("ctrl+alt+h"), TWHideOthersShortcutKey);
    f.shared.setObject(TWPlistValue("Ctrl+Alt+S"), TWShowAllShortcutKey);
    // Nothing is taken from the desktop until this process is the one to register.
    f.binder.refresh();
    EXPECT_EQ(f.keys.boundKeys(Action::HideOthers), "");
    f.binder.setActive(true);
    EXPECT_EQ(f.keys.boundKeys(Action::HideOthers), "Ctrl+Alt+H");
    EXPECT_EQ(f.keys.boundKeys(Action::ShowAll), "Ctrl+Alt+S");

    // Keys another program holds, and keys already Hide Others', are reported, not bound. Moving
    // keys from one action to the other works.
    f.keys.setTaken("Ctrl+Alt+K");
    f.shared.setObject(TWPlistValue("Ctrl+Alt+K"), TWShowAllShortcutKey);
    f.binder.refresh();
    EXPECT_EQ(f.binder.problem(Action::ShowAll), "Another program already uses Ctrl+Alt+K.");
    EXPECT_FALSE(f.keys.press("Ctrl+Alt+S"));
    f.keys.setTaken("Ctrl+Alt+K", false);
    f.shared.setObject(TWPlistValue("Ctrl+Alt+H"), TWShowAllShortcutKey);
    f.binder.refresh();
    EXPECT_TRUE(f.binder.problem(Action::ShowAll).has_value());
    EXPECT_EQ(f.keys.boundKeys(Action::HideOthers), "Ctrl+Alt+H");
    f.shared.setObject(TWPlistValue("Ctrl+Alt+K"), TWHideOthersShortcutKey);
    f.binder.refresh();
    EXPECT_EQ(f.keys.boundKeys(Action::HideOthers), "Ctrl+Alt+K");
    EXPECT_EQ(f.keys.boundKeys(Action::ShowAll), "Ctrl+Alt+H");
    EXPECT_FALSE(f.binder.problem(Action::ShowAll).has_value());

    // Hide Others takes Show All's keys: Show All gives way and says why.
    f.shared.setObject(TWPlistValue("Ctrl+Alt+H"), TWHideOthersShortcutKey);
    f.binder.refresh();
    EXPECT_EQ(f.keys.boundKeys(Action::HideOthers), "Ctrl+Alt+H");
    EXPECT_EQ(f.keys.boundKeys(Action::ShowAll), "");
    EXPECT_TRUE(f.binder.problem(Action::ShowAll).has_value());

    // A combination that would swallow typing, written by hand, is refused.
    f.shared.setObject(TWPlistValue("Shift+H"), TWShowAllShortcutKey);
    f.binder.refresh();
    EXPECT_EQ(f.keys.boundKeys(Action::ShowAll), "");
    EXPECT_TRUE(f.binder.problem(Action::ShowAll).has_value());

    // A refusal is logged once however often it is looked at again, and cut short.
    {
        TWLogCapture capture;
        std::string value;
        while (value.size() < (1u << 20))
            value += "Nope+";
        f.shared.setObject(TWPlistValue(value + "H"), TWShowAllShortcutKey);
        for (int i = 0; i < 3; ++i)
            f.binder.refresh();
        ASSERT_EQ(capture.lines.size(), 1u);
        EXPECT_LT(capture.lines[0].size(), 300u);
        ASSERT_TRUE(f.binder.problem(Action::ShowAll));
        EXPECT_LT(f.binder.problem(Action::ShowAll)->size(), 300u);
    }

    // Other keys given in the desktop's settings become the stored ones, bound as they are.
    f.keys.changeInSettings(Action::HideOthers, "Ctrl+Alt+J");
    EXPECT_EQ(f.shared.stringForKey(TWHideOthersShortcutKey), "Ctrl+Alt+J");
    f.binder.refresh();
    EXPECT_EQ(f.keys.boundKeys(Action::HideOthers), "Ctrl+Alt+J");
    EXPECT_FALSE(f.binder.problem(Action::HideOthers).has_value());

    // Cleared (an empty value is none), and every binding released on handing over.
    f.shared.setObject(TWPlistValue(""), TWShowAllShortcutKey);
    f.binder.refresh();
    EXPECT_EQ(f.keys.boundKeys(Action::ShowAll), "");
    f.binder.setActive(false);
    EXPECT_EQ(f.keys.boundKeys(Action::HideOthers), "");
    EXPECT_FALSE(f.binder.problem(Action::HideOthers).has_value());
}
