// Start-up of the tidewell program: one instance per session, the rest hand over and exit.
#include "TWLauncher.h"

#include "ExcludeController.h"
#include "OVSystemVersion.h"
#include "PreferencesController.h"
#include "QFSimpleUpdater.h"
#include "TWAlert.h"
#include "TWCommon.h"
#include "TWDesktopEventPump.h"
#include "TWInstanceChannel.h"
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
#include "TWSimDefaultsStore.h"
#include "TWSimDesktop.h"
#include "TWSimLoginItemList.h"
#include "TWSimServiceManagement.h"
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
#include <QIcon>
#include <QRegularExpression>
#include <QTimer>

#include <cstdio>
#include <thread>

namespace {

constexpr int handOverTimeoutMs = 5000;

void printError(const std::string& text) {
    std::fprintf(stderr, "tidewell: %s\n", text.c_str());
}

// The simulated desktop starts with a file manager and two applications, so that the actions
// have something to act on when the program runs on it (for testing).
void populateSimulatedDesktop(TWSimDesktop& desktop) {
    desktop.setFileManagerBundleIdentifier("org.example.Files");
    desktop.launchApplication(std::string("org.example.Files"), "Files");
    desktop.launchApplication(std::string("org.example.Terminal"), "Terminal");
    const auto editor = desktop.launchApplication(std::string("org.example.Editor"), "Editor");
    desktop.makeActive(editor);
    desktop.clearLog();
}

// The simulated desktop runs without a network: every update check fails as if offline, so a
// test run never reaches the update server.
class TWOfflineTransport : public TWHTTPTransport {
  public:
    void post(const std::string&, std::string,
              std::function<void(std::optional<std::string>)> completion) override {
        // Answered on a thread of its own, as a real transport would.
        std::thread([completion = std::move(completion)] { completion(std::nullopt); }).detach();
    }
};

// Notes each alert's message in the journal (the answer to a status query), then shows it.
class TWJournalingAlertPresenter : public TWAlertPresenter {
  public:
    TWJournalingAlertPresenter(TWAlertPresenter& shown, TWRequestJournal& journal)
        : shown_(shown), journal_(journal) {}
    long runModal(const TWAlert& alert) override {
        journal_ << "alert " + QString::fromStdString(alert.messageText().value_or(std::string()));
        return shown_.runModal(alert);
    }

  private:
    TWAlertPresenter& shown_;
    TWRequestJournal& journal_;
};

// The command line's options, in the order --help lists them.
struct TWCommandLine {
    QCommandLineParser parser;
    QCommandLineOption help{{QStringLiteral("h"), QStringLiteral("help")},
                            QStringLiteral("Print this help and exit.")};
    QCommandLineOption version{{QStringLiteral("v"), QStringLiteral("version")},
                               QStringLiteral("Print the version and exit.")};
    QCommandLineOption hideAll{QStringLiteral("hide-all"),
                               QStringLiteral("Hide every application but the file manager and "
                                              "the excluded ones (the tray menu's Hide All).")};
    QCommandLineOption showAll{QStringLiteral("show-all"),
                               QStringLiteral("Show every application again and bring back the "
                                              "one that was in front (Show All).")};
    QCommandLineOption status{QStringLiteral("status"),
                              QStringLiteral("Print what the running Tidewell has handled so "
                                             "far and the application Show All brings back to "
                                             "the front.")};
    QCommandLineOption desktop{QStringLiteral("desktop"),
                               QStringLiteral("For testing: auto (the session's desktop), x11, "
                                              "or sim (an in-memory desktop with in-memory "
                                              "settings and no network; --status then lists "
                                              "every request made to it)."),
                               QStringLiteral("kind"), QStringLiteral("auto")};

    TWCommandLine() {
        parser.setApplicationDescription(QStringLiteral(
            "Clears the screen down to the desktop. Started while Tidewell runs, it hands its "
            "request to the running Tidewell and exits; with no argument the request is a "
            "click on Tidewell's icon (hide the others; with Shift held, show all)."));
        parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
        parser.addOptions({help, version, hideAll, showAll, status, desktop});
        parser.addPositionalArgument(
            QStringLiteral("URL"),
            QStringLiteral("An x-tidewell-action: request for the running Tidewell; "
                           "x-tidewell-action://preferences opens its preferences."),
            QStringLiteral("[URL]"));
    }
};

} // namespace

QString TWLauncher::helpText() {
    TWCommandLine commandLine;
    QString text = commandLine.parser.helpText();
    // The parser names the program from the running application; this text names it alike
    // before there is one.
    text.replace(QRegularExpression(QStringLiteral("^Usage: \\S+")),
                 QStringLiteral("Usage: tidewell"));
    return text + QStringLiteral("\nExit status: 0 done, 1 failure (no desktop, no answer from "
                                 "the running Tidewell), 2 bad usage, 3 --status with no "
                                 "Tidewell running.\n");
}

QString TWLauncher::versionText() {
    return QStringLiteral("tidewell %1\n").arg(QString::fromLatin1(TWShortVersion));
}

std::optional<TWLauncher::Request> TWLauncher::parseArguments(const QStringList& arguments,
                                                              QString* error) {
    auto fail = [error](const QString& why) -> std::optional<Request> {
        if (error)
            *error = why;
        return std::nullopt;
    };
    TWCommandLine commandLine;
    if (!commandLine.parser.parse(arguments))
        return fail(commandLine.parser.errorText());

    Request request;
    request.help = commandLine.parser.isSet(commandLine.help);
    request.version = commandLine.parser.isSet(commandLine.version);
    if (commandLine.parser.isSet(commandLine.desktop)) {
        const QStringList kinds = commandLine.parser.values(commandLine.desktop);
        request.desktop = kinds.last().toStdString();
        if (kinds.size() > 1 ||
            (request.desktop != "auto" && request.desktop != "x11" && request.desktop != "sim"))
            return fail(QStringLiteral("--desktop takes one of auto, x11 or sim"));
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
    for (const QString& url : commandLine.parser.positionalArguments())
        messages << "url " + url.toUtf8();
    if (messages.size() > 1)
        return fail(QStringLiteral("one request at a time: --hide-all, --show-all, --status "
                                   "or a URL"));
    if (!messages.isEmpty()) {
        if (messages.first().size() > TWInstanceChannel::maximumMessageSize)
            return fail(QStringLiteral("the URL is too long"));
        request.message = messages.first();
    }
    return request;
}

int TWLauncher::run(int argc, char** argv) {
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    QString error;
    const std::optional<Request> request = parseArguments(arguments, &error);
    if (!request) {
        printError(error.toStdString());
        std::fputs("Try 'tidewell --help' for more information.\n", stderr);
        return exitUsage;
    }
    if (request->help || request->version) {
        std::fputs((request->help ? helpText() : versionText()).toLocal8Bit().constData(), stdout);
        return exitSuccess;
    }

    // Another instance holds the session: hand it the request and leave, before any of the
    // costly start-up (display connection, icons) is paid.
    const QString channelDirectory = TWInstanceChannel::defaultDirectory();
    auto* channel = new TWInstanceChannel(channelDirectory);
    QByteArray reply;
    const TWInstanceChannel::Start start =
        channel->acquireOrHandOver(request->message, handOverTimeoutMs, reply);
    if (start != TWInstanceChannel::Start::Acquired) {
        const QString channelError = channel->error();
        delete channel;
        if (!channelError.isEmpty()) {
            printError(channelError.toStdString());
            return exitFailure;
        }
        if (start == TWInstanceChannel::Start::NoAnswer) {
            printError("Tidewell is running but did not answer");
            return exitFailure;
        }
        if (request->message == "status")
            std::fwrite(reply.constData(), 1, size_t(reply.size()), stdout);
        return exitSuccess;
    }
    if (request->message == "status") {
        delete channel;
        printError("Tidewell is not running");
        return exitNotRunning;
    }

    // Diagnostics go to the terminal too when there is one to read them.
    TWSetLogSink([](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); });

    // The session's desktop, before Qt: Qt ends the process when its platform cannot open the
    // display, so what is missing is said plainly first.
    const bool simulated = request->desktop == "sim";
    std::unique_ptr<TWDesktop> desktop;
    std::string noDesktopReason;
    if (!simulated) {
        desktop = TWMakeDesktop(TWDesktopKind::Session, &noDesktopReason);
    } else {
        const QByteArray qtPlatform = qgetenv("QT_QPA_PLATFORM");
        const bool qtNeedsX =
            qtPlatform.startsWith("xcb") ||
            (qtPlatform.isEmpty() && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"));
        if (qtNeedsX && !TWMakeDesktop(TWDesktopKind::X11))
            noDesktopReason =
                qEnvironmentVariableIsEmpty("DISPLAY")
                    ? "DISPLAY is not set"
                    : "cannot open the display " + qEnvironmentVariable("DISPLAY").toStdString();
    }
    if (simulated ? !noDesktopReason.empty() : !desktop) {
        delete channel;
        printError("no desktop to work on: " + noDesktopReason);
        return exitFailure;
    }

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

    // The desktop and the settings stores. The simulated desktop keeps its settings in memory
    // too, so a test run never touches the user's files.
    TWSimDesktop* simDesktop = nullptr;
    std::unique_ptr<TWServiceManagement> serviceManagement;
    const std::string bundlePath = QCoreApplication::applicationDirPath().toStdString();
    if (simulated) {
        auto sim = std::make_unique<TWSimDesktop>();
        populateSimulatedDesktop(*sim);
        simDesktop = sim.get();
        desktop = std::move(sim);
        TWUserDefaults::setStandardUserDefaults(
            std::make_shared<TWUserDefaults>(std::make_shared<TWSimDefaultsStore>()));
        TWUserDefaults::setSharedUserDefaults(
            std::make_shared<TWUserDefaults>(std::make_shared<TWSimDefaultsStore>()));
        serviceManagement = std::make_unique<TWSimServiceManagement>();
    } else {
        TWPlistFileStore::installStandardStores();
        serviceManagement =
            std::make_unique<TWXDGServiceManagement>(std::map<std::string, std::string>{
                {TWHelperBundleIdentifier, bundlePath + "/" + TWHelperExecutableName}});
    }
    TWProcessRegistry::registerCurrentProcess(TWOwnBundleIdentifier, TWOwnName,
                                              TWActivationPolicyRegular);

    TWPumpDesktopEvents(*desktop, &app);

    TWUserDefaults& standardDefaults = TWUserDefaults::standardUserDefaults();
    TWUserDefaults& sharedDefaults = TWUserDefaults::sharedUserDefaults();
    TWCommon::configureShared(*desktop, sharedDefaults);
    app.setDeactivationHandler([] { TWCommon::sharedInstance().setCurrentProcess(); });

    auto mainQueue = std::make_shared<TWQtMainQueue>();
    TWUpdaterServices updaterServices;
    if (simulated)
        updaterServices.transport = std::make_shared<TWOfflineTransport>();
    else
        updaterServices.transport = std::make_shared<TWQtHTTPTransport>();
    updaterServices.mainQueue = mainQueue;
    updaterServices.systemVersionString = []() -> std::optional<std::string> {
        if (auto version = OVSystemVersion::currentSystemVersion())
            return version->string();
        return std::nullopt;
    };
    QFSimpleUpdater::configure(updaterServices);
    // What the running instance has handled and shown, in order: the answer to a status query.
    TWRequestJournal journal;
    TWQtAlertPresenter shownAlerts;
    TWJournalingAlertPresenter alertPresenter(shownAlerts, journal);

    // The session's login items: the user's autostart folder, or a list in memory on the
    // simulated desktop (a test run never touches the user's files).
    std::unique_ptr<TWLoginItemList> loginItems;
    if (simulated)
        loginItems = std::make_unique<TWSimLoginItemList>();
    else
        loginItems = std::make_unique<TWXDGAutostart>();

    std::function<void(const std::string&)> urlHandler;
    TidewellAppDelegate* delegatePointer = nullptr;
    TWTrayIcon tray(
        [&delegatePointer] {
            if (delegatePointer)
                delegatePointer->applicationShouldHandleReopen(false);
        },
        [&delegatePointer] {
            return delegatePointer ? delegatePointer->trayMenu() : std::shared_ptr<TWMenu>();
        });

    TidewellAppServices services;
    services.desktop = desktop.get();
    services.standardDefaults = &standardDefaults;
    services.sharedDefaults = &sharedDefaults;
    services.alertPresenter = &alertPresenter;
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
    auto setApplicationIconImage = [&tray, &journal](const std::string& imageName) {
        journal << "icon " + QString::fromStdString(imageName);
        tray.setIconImage(QString::fromStdString(imageName));
    };
    auto terminate = [] { QCoreApplication::exit(0); };

    // The preferences: the exclusion list is made in the launch sequence (its rebuild starts
    // then); the window on first display.
    ExcludeController::configureShared({&sharedDefaults, &desktop->systemSound(), {}});
    TWPreferencesServices preferencesServices;
    preferencesServices.standardDefaults = &standardDefaults;
    preferencesServices.sharedDefaults = &sharedDefaults;
    preferencesServices.alertPresenter = &alertPresenter;
    preferencesServices.serviceManagement = serviceManagement.get();
    preferencesServices.loginItems = loginItems.get();
    preferencesServices.applicationPath = QCoreApplication::applicationFilePath().toStdString();
    preferencesServices.excludeController = [] { return ExcludeController::sharedInstance(); };
    preferencesServices.iconNamed = [](const QString& name) { return TWTrayIcon::iconNamed(name); };
    preferencesServices.setApplicationIconImage = setApplicationIconImage;
    preferencesServices.terminate = terminate;
    PreferencesController::configureShared(preferencesServices);
    bool preferencesMade = false;

    services.createExcludeController = [] { ExcludeController::sharedInstance(); };
    services.displayPreferences = [&journal, &preferencesMade] {
        journal << QStringLiteral("preferences shown");
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

    auto handle = [&](const QByteArray& message) -> QByteArray {
        if (message != "status")
            journal << QString::fromUtf8(message);
        if (message == "reopen") {
            delegate.applicationShouldHandleReopen(false);
        } else if (message.startsWith("url ")) {
            if (urlHandler)
                urlHandler(message.mid(4).toStdString());
        } else if (message == "hide-all") {
            TWCommon::sharedInstance().showFinderHideOthers();
        } else if (message == "show-all") {
            TWCommon::sharedInstance().showAll();
        } else if (message.startsWith("menu ")) {
            // For tests: chooses the tray menu's item with this title, as a click on it does
            // (queued, as there, so the reply goes out before the item's work starts).
            const std::string title = message.mid(5).toStdString();
            const std::shared_ptr<TWMenu> menu = delegate.trayMenu();
            for (const std::shared_ptr<TWMenuItem>& item : menu->items()) {
                if (!item->isSeparatorItem() && !item->action().empty() && item->title() == title) {
                    QTimer::singleShot(0, &app, [item] { item->perform(); });
                    return QByteArrayLiteral("ok");
                }
            }
            TWLog("TidewellAppDelegate: no menu item \"" + title + "\"");
            journal.removeLast();
            return QByteArrayLiteral("unknown");
        } else if (message == "status") {
            QStringList status;
            // The application show-all brings to the front, as recorded so far.
            if (auto front = TWCommon::sharedInstance().currentActiveBundleID())
                status << "front: " + QString::fromStdString(*front);
            // The exclusion list, made at launch and filled from the store in the background.
            if (const ExcludeController* exclusions = ExcludeController::existingInstance())
                status << "exclusion list: " + QString::number(exclusions->rowCount());
            if (simDesktop)
                for (const std::string& line : simDesktop->log())
                    status << "desktop: " + QString::fromStdString(line);
            return journal.answer(status, TWInstanceChannel::maximumMessageSize);
        } else {
            TWLog("TidewellAppDelegate: unknown request dropped");
            if (message != "status")
                journal.removeLast();
            return QByteArrayLiteral("unknown");
        }
        return QByteArrayLiteral("ok");
    };
    if (!channel->listen(handle)) {
        printError("cannot open the instance channel in " + channelDirectory.toStdString());
        return exitFailure;
    }

    QObject::connect(&app, &QCoreApplication::aboutToQuit, &app, [&delegate] {
        delegate.applicationShouldTerminate();
        TWProcessRegistry::unregisterCurrentProcess();
    });

    QTimer::singleShot(0, &app, [&] {
        tray.show();
        delegate.applicationDidFinishLaunching();
        // A start that carried a request (a URL, hide or show) handles it once launched; a
        // plain first start is not a click. A refused start (the quit after its alert is still
        // queued) carries out nothing.
        if (request->message != "reopen" && !delegate.isRunningTranslocated())
            handle(request->message);
    });
    const int status = app.exec();
    // The network transport ends its thread while the application still exists; left to the
    // static destructors it would outlive the event loops that free its objects.
    QFSimpleUpdater::configure({});
    return status;
}
