// SPDX-License-Identifier: MIT
// The translations of Tidewell's texts, compiled into the program, keyed by the English texts.
#include "TWTranslations.h"

#include "TWLocalizedString.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

void TWInstallTranslations(QCoreApplication& application) {
    // Resources of a static library are registered by hand.
    Q_INIT_RESOURCE(tidewell_translations);
    const QLocale locale;
    auto* own = new QTranslator(&application);
    if (own->load(locale, QStringLiteral("tidewell"), QStringLiteral("_"),
                  QStringLiteral(":/i18n")))
        QCoreApplication::installTranslator(own);
    else
        delete own;
    // Qt's own dialogs (the file chooser's buttons), when the system has their translations.
    auto* qt = new QTranslator(&application);
    if (qt->load(locale, QStringLiteral("qtbase"), QStringLiteral("_"),
                 QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(qt);
    else
        delete qt;
    // The texts are their own keys (ID-based messages): an untranslated one comes back as it is.
    TWSetLocalizer([](std::string_view key) {
        const std::string id(key);
        return QCoreApplication::translate(nullptr, id.c_str()).toStdString();
    });
}
