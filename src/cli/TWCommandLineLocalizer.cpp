// SPDX-License-Identifier: MIT
// The localized string table of the programs that run without Qt.
#include "TWCommandLineLocalizer.h"

#include "TWLocalizedString.h"

#include <cstdlib>
#include <map>
#include <string_view>

std::string TWCommandLineLanguage() {
    for (const char* variable : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(variable);
        if (!value || !*value)
            continue;
        std::string language(value);
        language = language.substr(0, language.find_first_of(":_.@"));
        return language == "C" || language == "POSIX" ? std::string() : language;
    }
    return {};
}

void TWInstallCommandLineLocalizer() {
    const std::string language = TWCommandLineLanguage();
    std::map<std::string_view, std::string_view> table;
    for (std::size_t i = 0; i < TWTranslationRowCount; ++i)
        if (language == TWTranslationRows[i].language)
            table.emplace(TWTranslationRows[i].text, TWTranslationRows[i].translation);
    if (table.empty()) {
        TWSetLocalizer({});
        return;
    }
    TWSetLocalizer([table = std::move(table)](std::string_view key) {
        auto found = table.find(key);
        return found == table.end() ? std::string() : std::string(found->second);
    });
}
