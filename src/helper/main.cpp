// The entry point of tidewell-helper, "Tidewell Menu": Tidewell's actions from a tray icon of
// their own, on the X11 desktop, with the main application's settings files.
#include "TWCommon.h"
#include "TWDesktopEventPump.h"
#include "TWLog.h"
#include "TWPlatformFactory.h"
#include "TWPlistFileStore.h"
#include "TWProcessRegistry.h"
#include "TWSettings.h"
#include "TWTerminationSignals.h"
#include "TWTrayIcon.h"
#include "TWUserDefaults.h"
#include "TidewellHelper.h"

#include <QApplication>
#include <QCursor>
#include <QMenu>
#include <QTimer>

#include <cstdio>
#include <cstring>
#include <unistd.h>

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const bool help = std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0;
        std::fputs("Usage: tidewell-helper\n"
                   "Tidewell Menu: Hide All, Show All, Preferences... and Quit from a tray icon.\n"
                   "Started by Tidewell when \"Menubar\" is set; one per session.\n",
                   help ? stdout : stderr);
        return help ? 0 : 2;
    }
    TWSetLogSink([](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); });

    // One helper per session; a second start (a login item and Tidewell both starting it) leaves
    // quietly. The lock stays held until this process ends.
    const int lock = TidewellHelper::acquireSessionLock(TWProcessRegistry::registryDirectory());
    if (lock < 0) {
        TWLog("TidewellHelper: another Tidewell Menu runs in this session");
        return 0;
    }

    QApplication app(argc, argv);
    app.setApplicationName(QString::fromLatin1(TWHelperName));
    app.setDesktopFileName(QString::fromLatin1(TWHelperBundleIdentifier));
    app.setQuitOnLastWindowClosed(false);
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
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &app,
                     [] { TWProcessRegistry::unregisterCurrentProcess(); });

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
