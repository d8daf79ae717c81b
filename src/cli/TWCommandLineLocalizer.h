// SPDX-License-Identifier: MIT
// The localized string table of the programs that run without Qt: the translations of the Qt
// Linguist files (resources/translations), compiled into a table at build time.
#pragma once

#include <cstddef>
#include <string>

// One finished translation: language ("de"), the English text, its translation.
struct TWTranslationRow {
    const char* language;
    const char* text;
    const char* translation;
};
extern const TWTranslationRow TWTranslationRows[];
extern const std::size_t TWTranslationRowCount;

// The language of the user's messages, as the windows choose it: the first of LANGUAGE (a
// colon-separated list), LC_ALL, LC_MESSAGES and LANG that is set, its language part only
// ("de_DE.UTF-8" is "de"). Empty when none is set; "C" and "POSIX" are English.
std::string TWCommandLineLanguage();

// Makes TWLocalizedString answer from the table in the user's language.
void TWInstallCommandLineLocalizer();
