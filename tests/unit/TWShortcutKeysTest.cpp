// SPDX-License-Identifier: MIT
// The key combinations the Wayland desktops' shortcut services are given, checked against those
// desktops' own key tables: Qt's key codes (KDE's service takes them) and xkbcommon's key symbol
// names (GNOME Shell parses accelerators with them).
#include "TWGnomeGlobalShortcuts.h"
#include "TWKWinGlobalShortcuts.h"

#include <QKeySequence>
#include <gtest/gtest.h>
#include <xkbcommon/xkbcommon.h>

#include <cctype>

namespace {

std::vector<std::string> everyKey() {
    std::vector<std::string> keys{"Space", "Esc",    "Tab",  "Backtab", "Backspace", "Return",
                                  "Enter", "Ins",    "Del",  "Pause",   "Print",     "SysReq",
                                  "Home",  "End",    "Left", "Up",      "Right",     "Down",
                                  "PgUp",  "PgDown", "Menu", "Help",    "CapsLock"};
    for (int n = 1; n <= 35; ++n)
        keys.push_back("F" + std::to_string(n));
    for (char c = '!'; c <= '~'; ++c)
        keys.emplace_back(1, c);
    return keys;
}

TEST(TWShortcutKeysTest, EveryKeyHasQtsCodeForKDEAndAKeySymbolForGNOME) {
    for (const auto& key : everyKey()) {
        const std::string text = "Ctrl+Alt+Shift+Meta+" + key;
        const auto combination = TWKeyCombination::parse(text);
        ASSERT_TRUE(combination) << text;

        const auto code = TWKWinGlobalShortcuts::qtKeyCode(*combination);
        const QKeySequence qt =
            QKeySequence::fromString(QString::fromStdString(text), QKeySequence::PortableText);
        ASSERT_EQ(qt.count(), 1) << text;
        EXPECT_EQ(code, qt[0].toCombined()) << text;

        const auto accelerator = TWGnomeGlobalShortcuts::accelerator(*combination);
        const std::string modifiers = "<Control><Alt><Shift><Super>";
        ASSERT_TRUE(accelerator && accelerator->rfind(modifiers, 0) == 0) << text;
        const std::string name = accelerator->substr(modifiers.size());
        const xkb_keysym_t symbol = xkb_keysym_from_name(name.c_str(), XKB_KEYSYM_NO_FLAGS);
        EXPECT_NE(symbol, XKB_KEY_NoSymbol) << text << " as " << name;
        // A character key is the symbol of that character (a letter's lower case).
        if (key.size() == 1) {
            EXPECT_EQ(xkb_keysym_to_utf32(symbol),
                      static_cast<std::uint32_t>(std::tolower(static_cast<unsigned char>(key[0]))))
                << text << " as " << name;
        }
    }
    // Keys neither desktop has a name for are refused, not bound to something else.
    const auto unknown = TWKeyCombination::parse("Ctrl+Nonesuch");
    EXPECT_EQ(TWKWinGlobalShortcuts::qtKeyCode(*unknown), std::nullopt);
    EXPECT_EQ(TWGnomeGlobalShortcuts::accelerator(*unknown), std::nullopt);
}

} // namespace
