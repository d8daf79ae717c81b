// Start-up of the tidewell program: one instance per session, the rest hand over and exit.
#include "TWLauncher.h"

#include "ExcludeController.h"
#include "OVSystemVersion.h"
#include "PreferencesController.h"
#include "QFSimpleUpdater.h"
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
#include "TWTrayIcon.h"
#include "TWUserDefaults.h"
#include "TWXDGAutostart.h"
#include "TWXDGServiceManagement.h"
#include "TidewellAppDelegate.h"
#include "TidewellApplication.h"

#include <QDir>
#include <QElapsedTimer>
#include <QIcon>
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

} // namespace

const char* TWLauncher::usage() {
    return "Usage: tidewell [--hide-all | --show-all | URL]\n"
           "Starts Tidewell, or hands the request to the Tidewell already running:\n"
           "  (no argument)   a click on Tidewell's icon (hide the others; with Shift, show all)\n"
           "  --hide-all      hide every application but the file manager\n"
           "  --show-all      show every application again\n"
           "  URL             an x-tidewell-action: request, e.g. x-tidewell-action://preferences\n"
           "  --status        print what the running instance has handled so far, and the\n"
           "                  application that show-all brings back to the front\n"
           "For testing only:\n"
           "  --desktop=sim   run on an in-memory desktop with in-memory settings and no network;\n"
           "                  --status then also lists every request made to that desktop\n";
}

std::optional<TWLauncher::Request>
TWLauncher::parseArguments(const std::vector<std::string>& arguments) {
    Request request;
    bool haveRequest = false;
    for (const std::string& argument : arguments) {
        QByteArray message;
        if (argument == "--help" || argument == "-h") {
            request.help = true;
            continue;
        }
        if (argument.rfind("--desktop=", 0) == 0) {
            request.desktop = argument.substr(10);
            if (request.desktop != "auto" && request.desktop != "x11" && request.desktop != "sim")
                return std::nullopt;
            continue;
        }
        if (argument == "--hide-all")
            message = "hide-all";
        else if (argument == "--show-all")
            message = "show-all";
        else if (argument == "--status")
            message = "status";
        else if (!argument.empty() && argument[0] != '-')
            message = "url " + QByteArray::fromStdString(argument);
        else
            return std::nullopt;
        if (haveRequest || message.size() > TWInstanceChannel::maximumMessageSize)
            return std::nullopt;
        request.message = message;
        haveRequest = true;
    }
    return request;
}

int TWLauncher::run(int argc, char** argv) {
    const std::optional<Request> request =
        parseArguments(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
    if (!request || request->help) {
        std::fputs(usage(), request ? stdout : stderr);
        return request ? 0 : 2;
    }

    // Another instance holds the session: hand it the request and leave, before any of the
    // costly start-up (display connection, icons) is paid.
    const QString channelDirectory = TWInstanceChannel::defaultDirectory();
    auto* channel = new TWInstanceChannel(channelDirectory);
    QByteArray reply;
    const TWInstanceChannel::Start start =
        channel->acquireOrHandOver(request->message, handOverTimeoutMs, reply);
    if (start != TWInstanceChannel::Start::Acquired) {
        const QString error = channel->error();
        delete channel;
        if (!error.isEmpty()) {
            printError(error.toStdString());
            return 1;
        }
        if (start == TWInstanceChannel::Start::NoAnswer) {
            printError("Tidewell is running but did not answer");
            return 1;
        }
        if (request->message == "status")
            std::fwrite(reply.constData(), 1, size_t(reply.size()), stdout);
        return 0;
    }
    if (request->message == "status") {
        delete channel;
        printError("Tidewell is not running");
        return 1;
    }

    // Diagnostics go to the terminal too when there is one to read them.
    TWSetLogSink([](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); });

    // Qt ends the process when its platform cannot open the display: say so plainly first.
    const bool simulated = request->desktop == "sim";
    std::unique_ptr<TWDesktop> desktop;
    if (!simulated)
        desktop = TWMakeDesktop(TWDesktopKind::X11);
    const QByteArray qtPlatform = qgetenv("QT_QPA_PLATFORM");
    const bool qtNeedsX = qtPlatform.startsWith("xcb") ||
                          (qtPlatform.isEmpty() && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"));
    if (simulated ? qtNeedsX && !TWMakeDesktop(TWDesktopKind::X11) : !desktop) {
        delete channel;
        printError(qEnvironmentVariableIsEmpty("DISPLAY")
                       ? "no display to work on: DISPLAY is not set"
                       : "cannot open the display " +
                             qEnvironmentVariable("DISPLAY").toStdString());
        return 1;
    }

    TidewellApplication app(argc, argv);
    app.setApplicationName(QStringLiteral("Tidewell"));
    app.setApplicationVersion(QString::fromLatin1(TWShortVersion));
    app.setDesktopFileName(QStringLiteral("net.quillfen.Tidewell"));
    app.setQuitOnLastWindowClosed(false);
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
    if (!desktop) {
        printError("no desktop to work on (is DISPLAY set?)");
        return 1;
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
    TWQtAlertPresenter alertPresenter;

    // What the running instance has handled, in order: the answer to a status query.
    TWRequestJournal journal;

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
            return delegatePointer ? delegatePointer->applicationDockMenu()
                                   : std::shared_ptr<TWMenu>();
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
            const std::shared_ptr<TWMenu> menu = delegate.applicationDockMenu();
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
        return 1;
    }

    QObject::connect(&app, &QCoreApplication::aboutToQuit, &app, [&delegate] {
        delegate.applicationShouldTerminate();
        TWProcessRegistry::unregisterCurrentProcess();
    });

    QTimer::singleShot(0, &app, [&] {
        tray.show();
        delegate.applicationDidFinishLaunching();
        // A start that carried a request (a URL, hide or show) handles it once launched; a
        // plain first start is not a click.
        if (request->message != "reopen")
            handle(request->message);
    });
    const int status = app.exec();
    // The network transport ends its thread while the application still exists; left to the
    // static destructors it would outlive the event loops that free its objects.
    QFSimpleUpdater::configure({});
    return status;
}
