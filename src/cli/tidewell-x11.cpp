// SPDX-License-Identifier: MIT
// tidewell-x11: runs the desktop actions (hide-others, show-all, toggle, the running list) on the
// session's desktop (GNOME Shell through Tidewell's extension, KWin on Wayland, or X11) from a
// terminal, with the user's settings as the application would; "watch" keeps running, records front
// switches and reads the same commands from standard input.
#include "TWCommon.h"
#include "TWGnomeDesktop.h"
#include "TWKWinDesktop.h"
#include "TWLog.h"
#include "TWPlatformFactory.h"
#include "TWPlistFileStore.h"
#include "TWProcessRegistry.h"
#include "TWProductVersion.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWStorePaths.h"
#include "TWUserDefaults.h"
#include "TWX11Desktop.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <poll.h>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

volatile std::sig_atomic_t stopRequested = 0;

constexpr int kExitBadUsage = 2;
constexpr int kExitNoDisplay = 1;
constexpr int kExitCannotHide = 3;
// How long a command waits for the window manager to carry out what it asked.
constexpr std::chrono::milliseconds kSettleBound = 2 * TWX11Workspace::kAnswerBound;

void usage(std::ostream& out) {
    out << "usage: tidewell-x11 [--display D] [--set KEY=VALUE]... [--exclude ID]... COMMAND\n"
           "\n"
           "commands:\n"
           "  hide-others   hide every application but the file manager and the excluded ones\n"
           "  show-all      show every hidden application and bring back the one in front\n"
           "  toggle ID     activate the application with desktop-entry ID, or hide it when\n"
           "                it is in front\n"
           "  list          print the running applications\n"
           "  watch         print front switches; read the commands above from standard input\n"
           "\n"
           "options:\n"
           "  -h, --help    print this help and exit\n"
           "  -v, --version print the version and exit\n"
           "  --display D   work on the X display D (default: the session's desktop: on\n"
           "                $WAYLAND_DISPLAY GNOME Shell when Tidewell's extension answers,\n"
           "                KWin when it offers its window management; else $DISPLAY)\n"
           "  --set K=V     use V for setting K in this run (YES, NO, a number or text)\n"
           "  --exclude ID  leave the application ID alone in this run, as if it were excluded\n"
           "\n"
           "Settings are read from the user's files, as the application reads them\n"
           "(" +
               TWStorePaths::storeDirectory() +
               "). With --set or --exclude the files are only read: the changes\n"
               "apply to this run alone.\n"
               "\n"
               "exit status: 0 done, 1 no desktop to work on, 2 bad usage, 3 the window manager\n"
               "does not minimize windows (nothing was hidden)\n";
}

TWPlistValue parseValue(const std::string& text) {
    if (text == "YES" || text == "true")
        return true;
    if (text == "NO" || text == "false")
        return false;
    char* end = nullptr;
    long long number = std::strtoll(text.c_str(), &end, 10);
    if (!text.empty() && end && *end == '\0')
        return number;
    return text;
}

void printList(TWDesktop& desktop) {
    std::printf("%-36s %-6s %-24s %7s %-6s %s\n", "ID", "POLICY", "NAME", "PID", "HIDDEN",
                "ACTIVE");
    for (const auto& app : desktop.workspace().runningApplications()) {
        std::printf("%-36s %-6d %-24s %7d %-6s %s\n",
                    app.bundleIdentifier ? app.bundleIdentifier->c_str() : "-",
                    app.activationPolicy, app.localizedName.c_str(), app.processIdentifier,
                    app.hidden ? "yes" : "no", app.active ? "yes" : "no");
    }
    std::fflush(stdout);
}

// Waits until the window manager has carried out the requests (the windows hidden are iconic,
// the ones shown are back), so that the command's effect is complete when it ends and errors
// are reported now.
void settle(TWDesktop& desktop) {
    if (auto* x11 = dynamic_cast<TWX11Desktop*>(&desktop)) {
        x11->x11Workspace().settle(kSettleBound);
        x11->sync();
    } else if (auto* kwin = dynamic_cast<TWKWinDesktop*>(&desktop)) {
        kwin->connection().sync();
    } else if (auto* gnome = dynamic_cast<TWGnomeDesktop*>(&desktop)) {
        gnome->connection().sync();
    } else {
        desktop.dispatchPendingEvents();
    }
}

bool cannotHide(TWDesktop& desktop) {
    auto* x11 = dynamic_cast<TWX11Desktop*>(&desktop);
    return x11 && x11->x11Workspace().minimizeSupport() == TWX11MinimizeSupport::No;
}

bool connectionLost(TWDesktop& desktop) {
    if (auto* kwin = dynamic_cast<TWKWinDesktop*>(&desktop))
        return kwin->connection().broken();
    if (auto* gnome = dynamic_cast<TWGnomeDesktop*>(&desktop))
        return gnome->connection().broken();
    auto* x11 = dynamic_cast<TWX11Desktop*>(&desktop);
    return x11 && x11->connection().hasError();
}

// One command; false when it is not known.
bool runCommand(const std::vector<std::string>& words, TWCommon& common, TWDesktop& desktop) {
    if (words.empty())
        return true;
    const std::string& command = words[0];
    if (command == "hide-others")
        common.showFinderHideOthers();
    else if (command == "show-all")
        common.showAll();
    else if (command == "toggle" && words.size() == 2)
        common.activateApplicationWithBundleID(words[1], true);
    else if (command == "list")
        printList(desktop);
    else
        return false;
    settle(desktop);
    return true;
}

int watch(TWCommon& common, TWDesktop& desktop) {
    std::signal(SIGINT, [](int) { stopRequested = 1; });
    std::signal(SIGTERM, [](int) { stopRequested = 1; });
    desktop.frontSwitchSource().installFrontSwitchHandler([&common] {
        auto id = common.currentActiveBundleID();
        std::printf("front: %s\n", id ? id->c_str() : "-");
        std::fflush(stdout);
    });
    std::string pendingInput;
    bool inputOpen = true;
    while (!stopRequested) {
        pollfd fds[2] = {{desktop.eventFileDescriptor(), POLLIN, 0},
                         {STDIN_FILENO, static_cast<short>(inputOpen ? POLLIN : 0), 0}};
        int ready = poll(fds, 2, 500);
        if (ready < 0)
            continue;
        desktop.dispatchPendingEvents();
        if (connectionLost(desktop)) {
            std::fprintf(stderr, "tidewell-x11: lost the desktop's server\n");
            return 1;
        }
        if (inputOpen && (fds[1].revents & (POLLIN | POLLHUP))) {
            char buffer[1024];
            ssize_t n = read(STDIN_FILENO, buffer, sizeof buffer);
            if (n <= 0) {
                inputOpen = false;
                continue;
            }
            pendingInput.append(buffer, static_cast<size_t>(n));
            size_t newline;
            while ((newline = pendingInput.find('\n')) != std::string::npos) {
                std::istringstream line(pendingInput.substr(0, newline));
                pendingInput.erase(0, newline + 1);
                std::vector<std::string> words;
                for (std::string w; line >> w;)
                    words.push_back(w);
                if (!runCommand(words, common, desktop))
                    std::fprintf(stderr, "tidewell-x11: unknown command\n");
                std::printf("done\n");
                std::fflush(stdout);
            }
        }
    }
    return 0;
}

// The settings of this run: the user's files, or, when the command line changes anything, an
// in-memory copy of them with the changes applied (the files are never written then).
void installSettings(const TWPlistDictionary& overrides, const TWPlistArray& excluded) {
    if (overrides.empty() && excluded.empty()) {
        TWPlistFileStore::installStandardStores();
    } else {
        TWPlistDictionary own = TWPlistFileStore(TWStorePaths::ownStorePath()).load();
        TWPlistDictionary shared = TWPlistFileStore(TWStorePaths::sharedStorePath()).load();
        for (const auto& [key, value] : overrides)
            shared[key] = value;
        if (!excluded.empty()) {
            // Added to the user's own exclusions, which stay in force.
            TWPlistArray list;
            if (const TWPlistValue* current = TWPlistLookup(shared, TWExcludedAppsKey))
                if (const auto* array = current->get<TWPlistArray>())
                    list = *array;
            list.insert(list.end(), excluded.begin(), excluded.end());
            shared[TWExcludedAppsKey] = list;
        }
        TWUserDefaults::setStandardUserDefaults(
            std::make_shared<TWUserDefaults>(std::make_shared<TWSimDefaultsStore>(own)));
        TWUserDefaults::setSharedUserDefaults(
            std::make_shared<TWUserDefaults>(std::make_shared<TWSimDefaultsStore>(shared)));
    }
    TWRegisterDefaults(TWUserDefaults::standardUserDefaults(),
                       TWUserDefaults::sharedUserDefaults());
}

} // namespace

int main(int argc, char** argv) {
    std::string display;
    std::vector<std::string> words;
    TWPlistDictionary overrides;
    TWPlistArray excluded;
    auto bad = [](const std::string& why) {
        std::cerr << "tidewell-x11: " << why << "\n";
        usage(std::cerr);
        return kExitBadUsage;
    };
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        bool hasValue = i + 1 < argc;
        if (a == "-h" || a == "--help") {
            usage(std::cout);
            return 0;
        } else if (a == "-v" || a == "--version") {
            std::cout << "tidewell-x11 " << TWShortVersion << "\n";
            return 0;
        } else if (a == "--display" || a == "--set" || a == "--exclude") {
            if (!hasValue)
                return bad(a + " needs a value");
            std::string value = argv[++i];
            if (a == "--display") {
                display = value;
            } else if (a == "--set") {
                auto eq = value.find('=');
                if (eq == std::string::npos || eq == 0)
                    return bad("--set wants KEY=VALUE, not \"" + value + "\"");
                overrides[value.substr(0, eq)] = parseValue(value.substr(eq + 1));
            } else {
                if (value.empty())
                    return bad("--exclude wants an application ID");
                TWPlistDictionary record;
                record[TWExcludedNameField] = value;
                record[TWExcludedBundleIDField] = value;
                record[TWExcludedURLDataField] = TWPlistData{};
                excluded.emplace_back(std::move(record));
            }
        } else if (a.size() > 1 && a[0] == '-') {
            return bad("unknown option " + a);
        } else {
            words.push_back(a);
        }
    }
    if (words.empty())
        return bad("no command");
    const std::string& command = words[0];
    bool known = ((command == "hide-others" || command == "show-all" || command == "list" ||
                   command == "watch") &&
                  words.size() == 1) ||
                 (command == "toggle" && words.size() == 2);
    if (!known)
        return bad("unknown command or wrong arguments: " + command);

    // Log lines go to standard error as well as to the system log.
    TWSetLogSink([](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); });
    if (!display.empty())
        setenv("DISPLAY", display.c_str(), 1);
    std::string whyNot;
    auto desktop =
        TWMakeDesktop(display.empty() ? TWDesktopKind::Session : TWDesktopKind::X11, &whyNot);
    if (!desktop) {
        std::fprintf(stderr, "tidewell-x11: no desktop to work on: %s\n", whyNot.c_str());
        return kExitNoDisplay;
    }
    installSettings(overrides, excluded);
    // Acting for Tidewell: the actions count it as the running main application.
    TWProcessRegistry::registerCurrentProcess(TWOwnBundleIdentifier, TWOwnName,
                                              TWActivationPolicyRegular);
    TWCommon common(*desktop, TWUserDefaults::sharedUserDefaults());
    int status = 0;
    if (command == "watch") {
        status = watch(common, *desktop);
    } else {
        runCommand(words, common, *desktop);
        if (cannotHide(*desktop)) {
            std::fprintf(stderr, "tidewell-x11: the window manager does not minimize windows; "
                                 "nothing was hidden\n");
            status = kExitCannotHide;
        }
    }
    TWProcessRegistry::unregisterCurrentProcess();
    return status;
}
