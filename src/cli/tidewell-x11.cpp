// tidewell-x11: runs the desktop actions (hide-others, show-all, toggle, the running list) on the
// X11 desktop from a terminal; "watch" keeps running, records front switches and reads the same
// commands from standard input.
#include "TWCommon.h"
#include "TWLog.h"
#include "TWProcessRegistry.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWUserDefaults.h"
#include "TWX11Desktop.h"

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

void usage() {
    std::cerr
        << "usage: tidewell-x11 [--display D] [--set Key=YES|NO|number|text]...\n"
           "                    [--exclude BUNDLE_ID]... COMMAND\n"
           "commands: hide-others | show-all | toggle ID | list | watch\n"
           "  watch: records front switches and reads commands from standard input\n"
           "Settings live in memory for this run: registered defaults plus --set/--exclude.\n";
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

// One command; false when it is not known.
bool runCommand(const std::vector<std::string>& words, TWCommon& common, TWX11Desktop& desktop) {
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
    // Let every request reach the server, so that its errors are reported before we go on.
    desktop.sync();
    return true;
}

int watch(TWCommon& common, TWX11Desktop& desktop) {
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
        if (desktop.connection().hasError()) {
            std::fprintf(stderr, "tidewell-x11: lost the X server\n");
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

} // namespace

int main(int argc, char** argv) {
    std::string display;
    std::vector<std::string> words;
    TWPlistDictionary settings;
    TWPlistArray excluded;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--display" && i + 1 < argc) {
            display = argv[++i];
        } else if (a == "--set" && i + 1 < argc) {
            std::string kv = argv[++i];
            auto eq = kv.find('=');
            if (eq == std::string::npos) {
                usage();
                return 2;
            }
            settings[kv.substr(0, eq)] = parseValue(kv.substr(eq + 1));
        } else if (a == "--exclude" && i + 1 < argc) {
            TWPlistDictionary record;
            record[TWExcludedNameField] = std::string(argv[i + 1]);
            record[TWExcludedBundleIDField] = std::string(argv[i + 1]);
            record[TWExcludedURLDataField] = TWPlistData{};
            excluded.emplace_back(std::move(record));
            ++i;
        } else if (a == "-h" || a == "--help") {
            usage();
            return 0;
        } else {
            words.push_back(a);
        }
    }
    if (words.empty()) {
        usage();
        return 2;
    }
    if (!excluded.empty())
        settings[TWExcludedAppsKey] = excluded;

    // Log lines go to standard error as well as to the system log.
    TWSetLogSink([](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); });
    auto desktop = TWX11Desktop::open(display);
    if (!desktop)
        return 1;
    // The settings-file stores are not part of this tool yet: the stores are in memory.
    TWUserDefaults standard(std::make_shared<TWSimDefaultsStore>());
    TWUserDefaults shared(std::make_shared<TWSimDefaultsStore>(settings));
    TWRegisterDefaults(standard, shared);
    // Acting for Tidewell: the actions count it as the running main application.
    TWProcessRegistry::registerCurrentProcess(TWOwnBundleIdentifier, TWOwnName,
                                              TWActivationPolicyRegular);
    TWCommon common(*desktop, shared);
    int status = 0;
    if (words[0] == "watch") {
        status = watch(common, *desktop);
    } else if (!runCommand(words, common, *desktop)) {
        usage();
        status = 2;
    }
    TWProcessRegistry::unregisterCurrentProcess();
    return status;
}
