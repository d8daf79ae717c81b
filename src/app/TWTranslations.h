// SPDX-License-Identifier: MIT
// The translations of Tidewell's texts (and of Qt's own) for the user's language, behind the
// localized string table. See also resources/translations/.
#pragma once

class QCoreApplication;

// Loads the translations for the user's languages (LANGUAGE, LC_ALL, LC_MESSAGES, LANG: no
// generated system locale is needed) into `application` and makes TWLocalizedString answer
// from them. English, or a language without translations, leaves every text as it is.
void TWInstallTranslations(QCoreApplication& application);
