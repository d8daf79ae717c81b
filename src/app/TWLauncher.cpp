// SPDX-License-Identifier: MIT
// Start-up of the tidewell program: one instance per session, the rest hand over and exit. The
// instance is wired here; a test build adds TWLauncherTestHooks.
#include "TWLauncher.h"

#include "ExcludeController.h"
#include "OVSystemVersion.h"
#include "PreferencesController.h"
#include "QFSimpleUpdater.h"
#include "TWAlert.h"
#include "TWCommon.h"
#include "TWDBusService.h"
#include "TWDesktopEventPump.h"
#include "TWFormat.h"
#include "TWGnomeShellExtension.h"
#include "TWInstanceChannel.h"
#include "TWInstanceProtocol.h"
#include "TWLauncherTestHooks.h"
#include "TWLocalizedString.h"
#include "TWLog.h"
#include "TWPlatformFactory.h"
#include "TWPlistFileStore.h"
#include "TWProcessRegistry.h"
#include "TWProduct.h"
#include "TWQtAlertPresenter.h"
#include "TWQtHTTPTransport.h"
#include "TWQtMainQueue.h"
#include "TWRequestJournal.h"
#include "TWSettings.h"
#include "TWShortcutBinder.h"
#include "TWShortcutOwnership.h"
#include "TWShortcutRetry.h"
#include "TWStoreWatcher.h"
#include "TWTerminationSignals.h"
#include "TWTranslations.h"
#include "TWTrayIcon.h"
#include "TWUserDefaults.h"
#include "TWXDGAutostart.h"
#include "TWXDGServiceManagement.h"
#include "TidewellAppDelegate.h"
#include "TidewellApplication.h"

#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QIcon>
#include <QRegularExpression>
#include <QTimer>

#include <cstdio>

constexpr const char* kLogClass = "TWLauncher";

namespace {

constexpr int handOverTimeoutMs = TWInstanceProtocol::handOverTimeoutMs;

void printError(const std::string& text) {
    std::fprintf(stderr, "tidewell: %s\n", text.c_str());
}

// A text of the command line in the user's language.
QString localized(const char* text) {
    return QString::fromStdString(TWLocalizedString(text));
}

// The command line's options, in the order --help lists them.
struct TWCommandLine {
    QCommandLineParser parser;
    QCommandLineOption help{{QStringLiteral("h"), QStringLiteral("help")},
                            localized("Print this help and exit.")};
    QCommandLineOption version{{QStringLiteral("v"), QStringLiteral("version")},
                               localized("Print the version and exit.")};
    QCommandLineOption hideAll{QStringLiteral("hide-all"),
                               localized("Hide every application but the file manager and "
                                         "the excluded ones (the tray menu's Hide All).")};
    QCommandLineOption showAll{QStringLiteral("show-all"),
                               localized("Show every application again and bring back the "
                                         "one that was in front (Show All).")};
    QCommandLineOption status{QStringLiteral("status"),
                              localized("Print what the running Tidewell has handled so "
                                        "far and the application Show All brings back to "
                                        "the front.")};
    // Only in a test build.
    QCommandLineOption desktop{QStringLiteral("desktop"),
                               QStringLiteral("For testing: auto (the session's desktop) or sim "
                                              "(an in-memory desktop with in-memory settings and "
                                              "no network; --status then lists every request "
                                              "made to it)."),
                               QStringLiteral("kind"), QStringLiteral("auto")};

    explicit TWCommandLine(bool testHooks) {
        parser.setApplicationDescription(localized(
            "Clears the screen down to the desktop. Started while Tidewell runs, it hands its "
            "request to the running Tidewell and exits; with no argument the request is a "
            "click on Tidewell's icon (hide the others; with Shift held, show all)."));
        parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
        parser.addOptions({help, version, hideAll, showAll, status});
        if (testHooks)
            parser.addOption(desktop);
        parser.addPositionalArgument(
            QStringLiteral("URL"),
            localized("An x-tidewell-action: request for the running Tidewell; "
                      "x-tidewell-action://preferences opens its preferences."),
            QStringLiteral("[URL]"));
    }
};

// The services the application's parts reach through shared instances, and what they are made
// from.
struct TWSharedServices {
    TWDesktop& desktop;
    TWLauncherTestHooks* simulated; // the hooks that made the desktop, when simulated
    TWAlertPresenter& alertPresenter;
    TWServiceManagement& serviceManagement;
    TWLoginItemList& loginItems;
    std::function<void(const std::string&)> setApplicationIconImage;
    std::function<void()> terminate;
    // Rebinds the global shortcuts from the shared store; why `action`'s is not registered.
    std::function<std::optional<std::string>(TWShortcutAction)> refreshShortcut;
};

// Configures the shared instances, in this order, each before the first that reads it:
// 1. the settings stores (standard and shared): everything after reads its settings there;
// 2. the desktop actions (TWCommon), made on the shared store;
// 3. the update check, which the delegate's launch may start;
// 4. the exclusion list, made from the shared store and the desktop's sound during launch;
// 5. the preferences, whose window reaches the exclusion list and the stores.
// The application delegate, made last, uses them all. A later one made first would read a store
// or a service that is not there yet (a shared instance is made on its first use, from the
// services configured at that moment).
void configureSharedServices(const TWSharedServices& shared) {
    // 1.
    if (shared.simulated)
        shared.simulated->installStores();
    else
        TWPlistFileStore::installStandardStores();
    TWUserDefaults& standardDefaults = TWUserDefaults::standardUserDefaults();
    TWUserDefaults& sharedDefaults = TWUserDefaults::sharedUserDefaults();

    // 2.
    TWCommon::configureShared(shared.desktop, sharedDefaults);

    // 3. The simulated desktop runs without a network.
    TWUpdaterServices updaterServices;
    if (shared.simulated)
        updaterServices.transport = shared.simulated->makeTransport();
    else
        updaterServices.transport = std::make_shared<TWQtHTTPTransport>();
    updaterServices.mainQueue = std::make_shared<TWQtMainQueue>();
    updaterServices.systemVersionString = []() -> std::optional<std::string> {
        if (auto version = OVSystemVersion::currentSystemVersion())
            return version->string();
        return std::nullopt;
    };
    QFSimpleUpdater::configure(updaterServices);

    // 4. Made in the launch sequence (its rebuild starts then).
    ExcludeController::configureShared({&sharedDefaults, &shared.desktop.systemSound(), {}});

    // 5. The window is made on first display.
    TWPreferencesServices preferencesServices;
    preferencesServices.standardDefaults = &standardDefaults;
    preferencesServices.sharedDefaults = &sharedDefaults;
    preferencesServices.alertPresenter = &shared.alertPresenter;
    preferencesServices.serviceManagement = &shared.serviceManagement;
    preferencesServices.loginItems = &shared.loginItems;
    preferencesServices.applicationPath = QCoreApplication::applicationFilePath().toStdString();
    preferencesServices.excludeController = [] { return ExcludeController::sharedInstance(); };
    preferencesServices.iconNamed = [](const QString& name) { return TWTrayIcon::iconNamed(name); };
    preferencesServices.setApplicationIconImage = shared.setApplicationIconImage;
    preferencesServices.terminate = shared.terminate;
    preferencesServices.refreshShortcut = shared.refreshShortcut;
    PreferencesController::configureShared(preferencesServices);
}

// Undoes what configureSharedServices set up that must not be left to the static destructors:
// the network transport ends its thread while the application still exists (later, it would
// outlive the event loops that free its objects).
void releaseSharedServices() {
    QFSimpleUpdater::configure({});
}

// What the running instance has handled and shown, in order, and the alerts it showed (each
// noted before it is shown): the answer to a status query.
class TWInstanceJournal : public TWAlertPresenter {
  public:
    TWInstanceJournal(TWAlertPresenter& shown, const TWLauncherTestHooks* testHooks)
        : shown_(shown), testHooks_(testHooks) {}

    long runModal(const TWAlert& alert) override {
        journal_ << "alert " + QString::fromStdString(alert.messageText().value_or(std::string()));
        return shown_.runModal(alert);
    }
    void note(const QString& entry) { journal_ << entry; }
    void forgetLast() { journal_.removeLast(); }

    // The journal, then the application show-all brings to the front, the exclusion list's size
    // and what the test hooks add, within `maximumBytes`.
    QByteArray statusAnswer(int maximumBytes) const {
        QStringList status;
        if (auto front = TWCommon::sharedInstance().currentActiveBundleID())
            status << "front: " + QString::fromStdString(*front);
        // The exclusion list, made at launch and filled from the store in the background.
        if (const ExcludeController* exclusions = ExcludeController::existingInstance())
            status << "exclusion list: " + QString::number(exclusions->rowCount());
        if (testHooks_)
            status << testHooks_->statusLines();
        return journal_.answer(status, maximumBytes);
    }

  private:
    TWAlertPresenter& shown_;
    const TWLauncherTestHooks* testHooks_;
    TWRequestJournal journal_;
};

// Carries out one request that reached the running instance (from another start, or the start's
// own): answers "ok", "unknown", or the status text.
class TWRequestHandler {
  public:
    TWRequestHandler(TidewellAppDelegate& delegate, TWInstanceJournal& journal,
                     TWLauncherTestHooks* testHooks,
                     const std::function<void(const std::string&)>& urlHandler, QObject* context)
        : delegate_(delegate), journal_(journal), testHooks_(testHooks), urlHandler_(urlHandler),
          context_(context) {}

    QByteArray operator()(const QByteArray& message) {
        if (message == "status")
            return journal_.statusAnswer(TWInstanceChannel::maximumMessageSize);
        journal_.note(QString::fromUtf8(message));
        if (message == "reopen") {
            delegate_.applicationShouldHandleReopen(false);
        } else if (message.startsWith("url ")) {
            if (urlHandler_)
                urlHandler_(message.mid(4).toStdString());
        } else if (message == "hide-all") {
            TWCommon::sharedInstance().showFinderHideOthers();
        } else if (message == "show-all") {
            TWCommon::sharedInstance().showAll();
        } else if (std::optional<QByteArray> reply =
                       testHooks_ ? testHooks_->handle(
                                        message, [this] { return delegate_.trayMenu(); }, context_)
                                  : std::nullopt) {
            return *reply;
        } else {
            TWLog(LOG_WARNING, kLogClass, "unknown request dropped");
            journal_.forgetLast();
            return QByteArrayLiteral("unknown");
        }
        return QByteArrayLiteral("ok");
    }

  private:
    TidewellAppDelegate& delegate_;
    TWInstanceJournal& journal_;
    TWLauncherTestHooks* testHooks_;
    const std::function<void(const std::string&)>& urlHandler_;
    QObject* context_;
};

// Hands the request to the instance that holds the session, if one does: the exit status then,
// none when this start is to become the instance (`channel` then holds the session).
std::optional<int> handOver(const TWLauncher::Request& request, TWInstanceChannel& channel) {
    QByteArray reply;
    const TWInstanceChannel::Start start =
        channel.acquireOrHandOver(request.message, handOverTimeoutMs, reply);
    if (start != TWInstanceChannel::Start::Acquired) {
        if (!channel.error().isEmpty()) {
            printError(channel.error().toStdString());
            return TWLauncher::exitFailure;
        }
        if (start == TWInstanceChannel::Start::NoAnswer) {
            printError(TWLocalizedString("Tidewell is running but did not answer"));
            return TWLauncher::exitFailure;
        }
        if (reply == "refused") {
            printError(TWLocalizedString("Tidewell is ending and takes no requests"));
            return TWLauncher::exitFailure;
        }
        if (request.message == "status")
            std::fwrite(reply.constData(), 1, size_t(reply.size()), stdout);
        return TWLauncher::exitSuccess;
    }
    if (request.message == "status") {
        printError(TWLocalizedString("Tidewell is not running"));
        return TWLauncher::exitNotRunning;
    }
    return std::nullopt;
}

// The session's desktop, opened before Qt: Qt ends the process when its platform cannot open the
// display, so what is missing is said plainly first. On the simulated desktop nothing is opened
// (it is made with the application); only Qt's own display is checked. False, with the reason,
// when there is no desktop to work on.
bool openDesktop(bool simulated, std::unique_ptr<TWDesktop>& desktop, std::string& reason) {
    if (!simulated) {
        desktop = TWMakeDesktop(TWDesktopKind::Session, &reason);
        return desktop != nullptr;
    }
    const QByteArray qtPlatform = qgetenv("QT_QPA_PLATFORM");
    const bool qtNeedsX = qtPlatform.startsWith("xcb") ||
                          (qtPlatform.isEmpty() && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"));
    if (qtNeedsX && !TWMakeDesktop(TWDesktopKind::X11))
        reason = qEnvironmentVariableIsEmpty("DISPLAY")
                     ? "DISPLAY is not set"
                     : "cannot open the display " + qEnvironmentVariable("DISPLAY").toStdString();
    return reason.empty();
}

// The running instance: the application and everything it is wired to, until its event loop
// ends. `channel` holds the session; the application takes it over.
// A GNOME session whose shell runs without Tidewell's extension: what keeps it from running said
// in an alert, which offers to turn it on where it is only turned off. The desktop once it is on,
// or null (also when a termination signal ended the alert).
std::unique_ptr<TWDesktop> openDesktopAfterOffer(const std::string& reason) {
    TWQtAlertPresenter presenter;
    TWGnomeShellExtension extension;
    if (!extension.offerToEnable(reason, presenter))
        return nullptr;
    // The shell reports the extension enabled as it starts it; its service follows at once.
    std::string stillMissing;
    for (int attempt = 0; attempt < 20 && !TWTerminationRequested(); ++attempt) {
        if (auto desktop = TWMakeDesktop(TWDesktopKind::Session, &stillMissing))
            return desktop;
        QEventLoop pause;
        QTimer::singleShot(250, &pause, &QEventLoop::quit);
        pause.exec();
    }
    if (!TWTerminationRequested())
        printError("no desktop to work on: " + stillMissing);
    return nullptr;
}

int runInstance(int argc, char** argv, const TWLauncher::Request& request,
                TWInstanceChannel* channel, std::unique_ptr<TWDesktop> desktop,
                TWLauncherTestHooks* testHooks, const std::string& noDesktopReason) {
    TidewellApplication app(argc, argv);
    app.setApplicationName(QStringLiteral("Tidewell"));
    app.setApplicationVersion(QString::fromLatin1(TWShortVersion));
    app.setDesktopFileName(QStringLiteral("net.quillfen.Tidewell"));
    app.setQuitOnLastWindowClosed(false);
    TWInstallTranslations(app);
    // Without a desktop's icon theme (a bare window manager), the common one still names the
    // preferences' toolbar and application icons.
    QIcon::setFallbackThemeName(QStringLiteral("Adwaita"));
    channel->setParent(&app);
    TWQuitEventLoopOnTerminationSignals(&app);
    if (!desktop && !request.simulated) {
        desktop = openDesktopAfterOffer(noDesktopReason);
        if (!desktop)
            return TWTerminationRequested() ? TWLauncher::exitSuccess : TWLauncher::exitFailure;
    }

    // The desktop, its login items and the helper's registration: the test hooks' on the
    // simulated desktop (a test run never touches the user's files), else the user's autostart
    // folder.
    TWLauncherTestHooks* simulated = request.simulated ? testHooks : nullptr;
    std::unique_ptr<TWServiceManagement> serviceManagement;
    std::unique_ptr<TWLoginItemList> loginItems;
    const std::string bundlePath = QCoreApplication::applicationDirPath().toStdString();
    if (simulated) {
        desktop = simulated->makeDesktop();
        serviceManagement = simulated->makeServiceManagement();
        loginItems = simulated->makeLoginItems();
    } else {
        serviceManagement =
            std::make_unique<TWXDGServiceManagement>(std::map<std::string, std::string>{
                {TWHelperBundleIdentifier, bundlePath + "/" + TWHelperExecutableName}});
        loginItems = std::make_unique<TWXDGAutostart>();
    }
    TWProcessRegistry::registerCurrentProcess(TWOwnBundleIdentifier, TWOwnName,
                                              TWActivationPolicyRegular);
    // Tidewell's own D-Bus service, made once the delegate is: it signals what desktop events
    // changed.
    TWDBusService* servicePointer = nullptr;
    TWPumpDesktopEvents(*desktop, &app, [&servicePointer] {
        if (servicePointer)
            servicePointer->noteDesktopMayHaveChanged();
    });

    TWQtAlertPresenter shownAlerts;
    TWInstanceJournal journal(shownAlerts, testHooks);

    TidewellAppDelegate* delegatePointer = nullptr;
    TWTrayIcon tray(
        [&delegatePointer, &servicePointer] {
            if (delegatePointer)
                delegatePointer->applicationShouldHandleReopen(false);
            if (servicePointer)
                servicePointer->noteDesktopMayHaveChanged();
        },
        [&delegatePointer] {
            return delegatePointer ? delegatePointer->trayMenu() : std::shared_ptr<TWMenu>();
        });
    // The other half of the dock click: with Shift a click shows all; in a tray, the middle
    // click does.
    tray.setSecondaryActivation([] { TWCommon::sharedInstance().showAll(); });
    auto setApplicationIconImage = [&tray, &journal,
                                    &servicePointer](const std::string& imageName) {
        journal.note("icon " + QString::fromStdString(imageName));
        tray.setIconImage(QString::fromStdString(imageName));
        if (servicePointer)
            servicePointer->setIconStyle(tray.iconImageName());
    };
    auto terminate = [] { QCoreApplication::exit(0); };

    bool preferencesMade = false;
    // The global shortcuts, registered while this instance holds them (see TWShortcutOwnership).
    std::unique_ptr<TWShortcutBinder> shortcuts;
    std::unique_ptr<TWShortcutRetry> shortcutRetry;
    auto refreshShortcut = [&shortcuts,
                            &shortcutRetry](TWShortcutAction action) -> std::optional<std::string> {
        if (!shortcuts || !shortcutRetry)
            return std::nullopt;
        shortcuts->refresh();
        shortcutRetry->afterBinding();
        return shortcuts->problem(action);
    };

    configureSharedServices({*desktop, simulated, journal, *serviceManagement, *loginItems,
                             setApplicationIconImage, terminate, refreshShortcut});
    shortcuts = std::make_unique<TWShortcutBinder>(desktop->globalShortcuts(),
                                                   TWUserDefaults::sharedUserDefaults(),
                                                   TWCommon::sharedInstance());
    shortcutRetry = std::make_unique<TWShortcutRetry>(*shortcuts, nullptr);
    // A key taken on a retry: the preferences stop saying another program holds it.
    shortcutRetry->setTakenHandler([&preferencesMade] {
        if (preferencesMade)
            PreferencesController::sharedInstance()->showShortcutProblems();
    });
    TWShortcutOwnership shortcutOwnership(
        TWShortcutOwnership::Role::Application,
        QString::fromStdString(TWProcessRegistry::registryDirectory()),
        [&shortcuts, &shortcutRetry](bool owner) {
            shortcuts->setActive(owner);
            shortcutRetry->afterBinding();
        });
    // A change made elsewhere (the command-line tool, an editor) applies at once too.
    TWWatchStoreDirectory(&app, [&shortcuts, &shortcutRetry] {
        shortcuts->refresh();
        shortcutRetry->afterBinding();
    });
    app.setDeactivationHandler([] { TWCommon::sharedInstance().setCurrentProcess(); });

    std::function<void(const std::string&)> urlHandler;
    TidewellAppServices services;
    services.desktop = desktop.get();
    services.standardDefaults = &TWUserDefaults::standardUserDefaults();
    services.sharedDefaults = &TWUserDefaults::sharedUserDefaults();
    services.alertPresenter = &journal;
    services.serviceManagement = serviceManagement.get();
    services.bundlePath = bundlePath;
    services.bundleName = TWBundleName;
    services.shortVersion = TWShortVersion;
    services.common = []() -> TWCommon& { return TWCommon::sharedInstance(); };
    services.registerURLHandler = [&urlHandler](std::function<void(const std::string&)> handler) {
        urlHandler = std::move(handler);
    };
    // A build without the update check leaves the service out: no check at launch, none on
    // request.
    if constexpr (TWUpdateCheckBuilt)
        services.checkForUpdate = [](std::function<void(const TWError&)> handler) {
            QFSimpleUpdater::checkForUpdateWithCompletionHandler(std::move(handler));
        };
    services.createExcludeController = [] { ExcludeController::sharedInstance(); };
    services.displayPreferences = [&journal, &preferencesMade] {
        journal.note(QStringLiteral("preferences shown"));
        preferencesMade = true;
        PreferencesController::sharedInstance()->display();
    };
    services.detachPreferencesWindow = [&preferencesMade] {
        if (preferencesMade)
            PreferencesController::sharedInstance()->detachWindow();
    };
    services.setApplicationIconImage = setApplicationIconImage;
    services.terminate = terminate;
    services.runAfter = [&app](std::chrono::milliseconds delay, std::function<void()> work) {
        QTimer::singleShot(delay, &app, std::move(work));
    };
    TidewellAppDelegate& delegate = TidewellAppDelegate::create(std::move(services));
    delegatePointer = &delegate;

    TWDBusServiceActions dbusActions;
    dbusActions.common = []() -> TWCommon& { return TWCommon::sharedInstance(); };
    dbusActions.workspace = [&desktop]() -> TWWorkspace& { return desktop->workspace(); };
    dbusActions.menu = [&delegate] { return delegate.trayMenu(); };
    // As the menu's item everywhere: through Tidewell's URL, which comes back as a request.
    dbusActions.showPreferences = [] { TWCommon::sharedInstance().showPreferences(); };
    dbusActions.checkForUpdate = [&delegate] { delegate.checkForUpdate(); };
    dbusActions.productPage = [&delegate] { delegate.productPage(); };
    dbusActions.sendFeedback = [&delegate] { delegate.sendFeedback(); };
    dbusActions.quit = terminate;
    dbusActions.note = [&journal](const QString& entry) { journal.note(entry); };
    TWDBusService dbusService(std::move(dbusActions));
    dbusService.setIconStyle(tray.iconImageName().isEmpty() ? QStringLiteral("AppIcon")
                                                            : tray.iconImageName());
    servicePointer = &dbusService;
    QObject::connect(&tray, &TWTrayIcon::shownInTray, &dbusService,
                     [&dbusService] { dbusService.setTrayIconShown(true); });

    // On GNOME the extension can be turned off and on while Tidewell runs: it says so, and
    // carries on once the extension is back.
    TWGnomeShellExtension extension;
    if (TWGnomeShellExtension::isGnomeSession())
        extension.watch([&journal, &desktop](bool enabled) {
            journal.note(enabled ? QStringLiteral("gnome extension enabled")
                                 : QStringLiteral("gnome extension disabled"));
            // The shell's lock screen turns it off and back on: not the user's doing.
            if (!desktop || !desktop->serviceWasPausedByDesktop())
                TWGnomeShellExtension::announce(enabled);
        });

    TWRequestHandler handle(delegate, journal, testHooks, urlHandler, &app);
    // Requests are taken once the launch has passed its location check. A start refused there
    // (its alert up, its quit queued) answers what it has seen and carries out nothing.
    const bool refused = delegate.isRunningTranslocated();
    auto listen = [&] {
        const bool listening =
            channel->listen([&handle, &dbusService, refused](const QByteArray& message) {
                if (refused && message != "status")
                    return QByteArrayLiteral("refused");
                QByteArray reply = handle(message);
                if (message != "status")
                    dbusService.noteDesktopMayHaveChanged();
                return reply;
            });
        if (!listening)
            printError("cannot open the instance channel in " + channel->directory().toStdString());
        return listening;
    };
    if (refused && !listen()) {
        TWProcessRegistry::unregisterCurrentProcess();
        return TWLauncher::exitFailure;
    }

    QObject::connect(&app, &QCoreApplication::aboutToQuit, &app, [&delegate, &shortcuts] {
        delegate.applicationShouldTerminate();
        // Released before the process ends, so that the helper taking over finds them free.
        shortcuts->setActive(false);
        TWProcessRegistry::unregisterCurrentProcess();
        // A settings change that waits for another process's lock is written before the end.
        TWPlistFileStore::finishStandardStoreWrites(TWPlistFileStore::kQuitWait);
    });

    QTimer::singleShot(0, &app, [&] {
        delegate.applicationDidFinishLaunching();
        // Refused: the quit after its alert is queued. Nothing reaches it: no tray, no D-Bus
        // service, no shortcut, no request.
        if (refused)
            return;
        if (!listen()) {
            QCoreApplication::exit(TWLauncher::exitFailure);
            return;
        }
        tray.show();
        dbusService.start();
        shortcutOwnership.start();
        // A start that carried a request (a URL, hide or show) handles it once launched; a
        // plain first start is not a click.
        if (request.message != "reopen")
            handle(request.message);
    });
    const int status = app.exec();
    shortcuts.reset();
    releaseSharedServices();
    return status;
}

} // namespace

QString TWLauncher::helpText(bool testHooks) {
    TWCommandLine commandLine(testHooks);
    QString text = commandLine.parser.helpText();
    // The parser names the program by the file it was started from (tidewell-testing, a copy);
    // the help names it tidewell. The first line is "Usage: <program> ...", in the user's
    // language.
    text.replace(QRegularExpression(QStringLiteral("^([^\n:]*: )\\S+")),
                 QStringLiteral("\\1tidewell"));
    return text + "\n" +
           localized("Exit status: 0 done, 1 failure (no desktop, no answer from "
                     "the running Tidewell), 2 bad usage, 3 --status with no "
                     "Tidewell running.") +
           "\n";
}

QString TWLauncher::versionText() {
    return QStringLiteral("tidewell %1\n").arg(QString::fromLatin1(TWShortVersion));
}

std::optional<TWLauncher::Request> TWLauncher::parseArguments(const QStringList& arguments,
                                                              QString* error, bool testHooks) {
    auto fail = [error](const QString& why) -> std::optional<Request> {
        if (error)
            *error = why;
        return std::nullopt;
    };
    TWCommandLine commandLine(testHooks);
    if (!commandLine.parser.parse(arguments)) {
        // The option as it was typed, dashes and all (the parser's own text drops them).
        const QStringList unknown = commandLine.parser.unknownOptionNames();
        if (!unknown.isEmpty())
            for (const QString& argument : arguments.mid(1)) {
                const QString name = argument.section('=', 0, 0);
                if (name.startsWith('-') &&
                    name.mid(name.startsWith("--") ? 2 : 1) == unknown.first())
                    return fail(QString::fromStdString(
                        TWFormat(TWLocalizedString("unknown option %@"), name.toStdString())));
            }
        return fail(commandLine.parser.errorText());
    }

    Request request;
    request.help = commandLine.parser.isSet(commandLine.help);
    request.version = commandLine.parser.isSet(commandLine.version);
    if (testHooks && commandLine.parser.isSet(commandLine.desktop)) {
        const QStringList kinds = commandLine.parser.values(commandLine.desktop);
        if (kinds.size() > 1 || (kinds.first() != "auto" && kinds.first() != "sim"))
            return fail(QStringLiteral("--desktop takes auto or sim"));
        request.simulated = kinds.first() == "sim";
    }

    QList<QByteArray> messages;
    for (const QString& name : commandLine.parser.optionNames()) {
        if (name == commandLine.hideAll.names().first())
            messages << "hide-all";
        else if (name == commandLine.showAll.names().first())
            messages << "show-all";
        else if (name == commandLine.status.names().first())
            messages << "status";
    }
    for (const QString& url : commandLine.parser.positionalArguments()) {
        if (!TidewellAppDelegate::actionRequest(url.toStdString()))
            return fail(QString::fromStdString(
                TWFormat(TWLocalizedString("%@ is no request Tidewell knows (it takes "
                                           "x-tidewell-action://preferences)"),
                         url.toStdString())));
        messages << "url " + url.toUtf8();
    }
    if (messages.size() > 1)
        return fail(localized("one request at a time: --hide-all, --show-all, --status "
                              "or a URL"));
    if (!messages.isEmpty()) {
        if (messages.first().size() > TWInstanceChannel::maximumMessageSize)
            return fail(localized("the URL is too long"));
        request.message = messages.first();
    }
    return request;
}

int TWLauncher::run(int argc, char** argv, TWLauncherTestHooks* testHooks) {
    // The command line's texts in the user's language (Qt's own among them) from a core
    // application: no window system, no GUI object. It is gone before the instance's is made.
    int commandLineArgc = argc;
    auto commandLineApp = std::make_unique<QCoreApplication>(commandLineArgc, argv);
    TWInstallTranslations(*commandLineApp);
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    QString error;
    const std::optional<Request> request = parseArguments(arguments, &error, testHooks);
    if (!request) {
        printError(error.toStdString());
        std::fputs(
            TWLocalizedString("Try 'tidewell --help' for more information.").append("\n").c_str(),
            stderr);
        return exitUsage;
    }
    if (request->help || request->version) {
        std::fputs((request->help ? helpText(testHooks) : versionText()).toLocal8Bit().constData(),
                   stdout);
        return exitSuccess;
    }

    // Another instance holds the session: hand it the request and leave, before any of the
    // costly start-up (display connection, icons) is paid.
    auto channel = std::make_unique<TWInstanceChannel>(TWInstanceChannel::defaultDirectory());
    if (const std::optional<int> status = handOver(*request, *channel))
        return *status;

    // Diagnostics go to the terminal too when there is one to read them.
    const std::string noDesktop = TWLocalizedString("no desktop to work on: %@");
    commandLineApp.reset();
    TWSetLogSink([](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); });

    std::unique_ptr<TWDesktop> desktop;
    std::string noDesktopReason;
    if (!openDesktop(request->simulated, desktop, noDesktopReason)) {
        printError(TWFormat(noDesktop, noDesktopReason));
        // On GNOME the extension may only be off: the instance offers to turn it on.
        if (request->simulated || !TWGnomeShellExtension::isGnomeSession())
            return exitFailure;
    }
    return runInstance(argc, argv, *request, channel.release(), std::move(desktop), testHooks,
                       noDesktopReason);
}
