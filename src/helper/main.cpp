// SPDX-License-Identifier: MIT
// The entry point of tidewell-helper, "Tidewell Menu": Tidewell's actions from a tray icon of
// their own, on the X11 desktop, with the main application's settings files.
#include "TWCommon.h"
#include "TWDesktopEventPump.h"
#include "TWLocalizedString.h"
#include "TWLog.h"
#include "TWPlatformFactory.h"
#include "TWPlistFileStore.h"
#include "TWProcessRegistry.h"
#include "TWProductVersion.h"
#include "TWSettings.h"
#include "TWShortcutBinder.h"
#include "TWShortcutOwnership.h"
#include "TWShortcutRetry.h"
#include "TWStoreWatcher.h"
#include "TWTerminationSignals.h"
#include "TWTranslations.h"
#include "TWTrayIcon.h"
#include "TWUserDefaults.h"
#include "TidewellHelper.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QCursor>
#include <QMenu>
#include <QRegularExpression>
#include <QTimer>

#include <cstdio>
#include <optional>
#include <unistd.h>

constexpr const char* kLogClass = "TidewellHelper";

namespace {

// The command line: --help and --version, nothing else. Returns the exit status when the
// program should end here.
std::optional<int> handleCommandLine(int argc, char** argv) {
    // The texts in the user's language (Qt's own among them), from a core application that is
    // gone before the helper's is made.
    int commandLineArgc = argc;
    QCoreApplication commandLine(commandLineArgc, argv);
    TWInstallTranslations(commandLine);
    const auto localized = [](const char* text) {
        return QString::fromStdString(TWLocalizedString(text));
    };
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    QCommandLineParser parser;
    parser.setApplicationDescription(localized(
        "Tidewell Menu: Hide All, Show All, the running applications to toggle, Preferences... "
        "and Quit from a tray icon of its own. Tidewell starts it when menu-bar mode is on; "
        "one runs per session."));
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                  localized("Print this help and exit."));
    const QCommandLineOption version({QStringLiteral("v"), QStringLiteral("version")},
                                     localized("Print the version and exit."));
    parser.addOptions({help, version});
    if (!parser.parse(arguments) || !parser.positionalArguments().isEmpty()) {
        const QString error = parser.positionalArguments().isEmpty()
                                  ? parser.errorText()
                                  : localized("no arguments are taken");
        std::fprintf(
            stderr, "tidewell-helper: %s\n%s\n", error.toLocal8Bit().constData(),
            TWLocalizedString("Try 'tidewell-helper --help' for more information.").c_str());
        return 2;
    }
    if (parser.isSet(help)) {
        QString text = parser.helpText();
        // "Usage: <program> ...", in the user's language.
        text.replace(QRegularExpression(QStringLiteral("^([^\n:]*: )\\S+")),
                     QStringLiteral("\\1tidewell-helper"));
        std::fputs(text.toLocal8Bit().constData(), stdout);
        std::printf("\n%s\n", TWLocalizedString("Exit status: 0 done (or another Tidewell Menu "
                                                "already runs), 1 no desktop, 2 bad usage.")
                                  .c_str());
        return 0;
    }
    if (parser.isSet(version)) {
        std::printf("tidewell-helper %s\n", TWShortVersion);
        return 0;
    }
    return std::nullopt;
}

} // namespace

int main(int argc, char** argv) {
    if (const std::optional<int> status = handleCommandLine(argc, argv))
        return *status;
    TWSetLogSink([](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); });

    // One helper per session; a second start (a login item and Tidewell both starting it) leaves
    // quietly. The lock stays held until this process ends.
    // Without a private runtime directory (the registry has logged why) there is no session to
    // share: nothing to run for.
    const std::string runtimeDirectory = TWProcessRegistry::registryDirectory();
    if (runtimeDirectory.empty())
        return 1;
    const int lock = TidewellHelper::acquireSessionLock(runtimeDirectory);
    if (lock < 0) {
        TWLog(LOG_NOTICE, kLogClass, "another Tidewell Menu runs in this session");
        return 0;
    }

    QApplication app(argc, argv);
    app.setApplicationName(QString::fromLatin1(TWHelperName));
    app.setDesktopFileName(QString::fromLatin1(TWHelperBundleIdentifier));
    app.setQuitOnLastWindowClosed(false);
    TWInstallTranslations(app);
    TWQuitEventLoopOnTerminationSignals(&app);

    std::string noDesktopReason;
    std::unique_ptr<TWDesktop> desktop = TWMakeDesktop(TWDesktopKind::Session, &noDesktopReason);
    if (!desktop) {
        std::fprintf(stderr, "tidewell-helper: no desktop to work on: %s\n",
                     noDesktopReason.c_str());
        ::close(lock);
        return 1;
    }
    TWPumpDesktopEvents(*desktop, &app);

    // The same settings files as Tidewell: the hide-others action reads the shared store.
    TWPlistFileStore::installStandardStores();
    TWRegisterDefaults(TWUserDefaults::standardUserDefaults(),
                       TWUserDefaults::sharedUserDefaults());
    TWCommon::configureShared(*desktop, TWUserDefaults::sharedUserDefaults());
    TWCommon& common = TWCommon::sharedInstance();

    TWProcessRegistry::registerCurrentProcess(TWHelperBundleIdentifier, TWHelperName,
                                              TWHelperActivationPolicy);
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &app, [] {
        TWProcessRegistry::unregisterCurrentProcess();
        // A settings change that waits for another process's lock is written before the end.
        TWPlistFileStore::finishStandardStoreWrites(TWPlistFileStore::kQuitWait);
    });

    // The global shortcuts, while Tidewell itself is not running; a change of the settings (made
    // in Tidewell's preferences) applies at once.
    TWShortcutBinder shortcuts(desktop->globalShortcuts(), TWUserDefaults::sharedUserDefaults(),
                               common);
    // Keys a crashed Tidewell held are free only once the desktop has noticed: asked again.
    TWShortcutRetry shortcutRetry(shortcuts, nullptr);
    TWWatchStoreDirectory(&app, [&shortcuts, &shortcutRetry] {
        shortcuts.refresh();
        shortcutRetry.afterBinding();
    });
    TWShortcutOwnership shortcutOwnership(TWShortcutOwnership::Role::Helper,
                                          QString::fromStdString(runtimeDirectory),
                                          [&shortcuts, &shortcutRetry](bool owner) {
                                              shortcuts.setActive(owner);
                                              shortcutRetry.afterBinding();
                                          });
    shortcutOwnership.start();
    // Released before the locks are, so that whoever takes over finds the keys free.
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &app,
                     [&shortcuts] { shortcuts.setActive(false); });

    TidewellHelper helper(common, desktop->workspace(), [] { QCoreApplication::quit(); });
    // A menu-bar item opens its menu on a click, whichever button.
    TWTrayIcon* trayPointer = nullptr;
    TWTrayIcon tray(
        [&trayPointer] {
            if (trayPointer)
                trayPointer->menu()->popup(QCursor::pos());
        },
        [&helper] { return helper.buildMenu(); });
    trayPointer = &tray;
    tray.setIconImage(QString::fromLatin1(TWHelperIconImage));
    QTimer::singleShot(0, &app, [&tray] { tray.show(); });

    const int status = app.exec();
    ::close(lock);
    return status;
}
