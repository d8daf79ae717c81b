// SPDX-License-Identifier: MIT
// The tidewell program on a real desktop (Xvfb, openbox, tint2's system tray): from exec until
// its icon is embedded in the tray, the reopen hand-over round trip on the X11 backend (until the
// second start exits, and until the window manager has minimized the others), and the idle
// instance's resident memory.
#include "TWBenchProcess.h"
#include "TWTestDesktop.h"
#include "TWTestPaths.h"
#include "TWTestTidewell.h"
#include "TWXcbAtom.h"

#include <benchmark/benchmark.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <signal.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace {

// Looks at the display from a connection of its own.
class Observer {
  public:
    Observer() {
        c_ = xcb_connect(nullptr, nullptr);
        root_ = xcb_setup_roots_iterator(xcb_get_setup(c_)).data->root;
        traySelection_ = TWInternAtom(c_, "_NET_SYSTEM_TRAY_S0");
        wmState_ = TWInternAtom(c_, "WM_STATE");
    }
    ~Observer() { xcb_disconnect(c_); }

    bool trayOwned() {
        auto* r =
            xcb_get_selection_owner_reply(c_, xcb_get_selection_owner(c_, traySelection_), nullptr);
        const bool owned = r && r->owner != XCB_NONE;
        std::free(r);
        return owned;
    }

    // WM_CLASS instance of `window`, empty when it has none.
    std::string instanceName(xcb_window_t window) {
        auto* r = xcb_get_property_reply(
            c_, xcb_get_property(c_, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 64),
            nullptr);
        std::string name;
        if (r && xcb_get_property_value_length(r) > 0)
            name = std::string(static_cast<const char*>(xcb_get_property_value(r)));
        std::free(r);
        return name;
    }

    // True when a viewable window of class instance `program` sits inside a window of tint2's:
    // the icon has been docked and mapped by the tray.
    bool embeddedIn(const std::string& program, const std::string& tray) {
        return search(root_, program, tray, false);
    }

    // WM_STATE of `window` is Iconic.
    bool iconic(xcb_window_t window) {
        auto* r = xcb_get_property_reply(
            c_, xcb_get_property(c_, 0, window, wmState_, wmState_, 0, 2), nullptr);
        const bool iconicState = r && xcb_get_property_value_length(r) >= 4 &&
                                 *static_cast<const uint32_t*>(xcb_get_property_value(r)) == 3;
        std::free(r);
        return iconicState;
    }

  private:
    bool search(xcb_window_t window, const std::string& program, const std::string& tray,
                bool insideTray) {
        auto* tree = xcb_query_tree_reply(c_, xcb_query_tree(c_, window), nullptr);
        if (!tree)
            return false;
        const xcb_window_t* children = xcb_query_tree_children(tree);
        const int count = xcb_query_tree_children_length(tree);
        bool found = false;
        for (int i = 0; i < count && !found; ++i) {
            const std::string name = instanceName(children[i]);
            if (insideTray && name == program) {
                auto* attributes = xcb_get_window_attributes_reply(
                    c_, xcb_get_window_attributes(c_, children[i]), nullptr);
                found = attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
                std::free(attributes);
            } else {
                found = search(children[i], program, tray, insideTray || name == tray);
            }
        }
        std::free(tree);
        return found;
    }

    xcb_connection_t* c_ = nullptr;
    xcb_window_t root_ = XCB_NONE;
    xcb_atom_t traySelection_ = XCB_NONE;
    xcb_atom_t wmState_ = XCB_NONE;
};

// One desktop for the whole run, with tint2's tray up and two clients to hide.
struct Session {
    Session() : tidewell(desktop) {
        if (!desktop.ok())
            return;
        desktop.spawn({"tint2"});
        desktop.spawn({"xlogo"});
        desktop.spawn({"xterm"});
        observer = std::make_unique<Observer>();
        ready = TWTestDesktop::waitFor(
            [&] { return observer->trayOwned() && desktop.windows().size() >= 2; });
    }
    TWTestDesktop desktop;
    TWTestTidewell tidewell;
    std::unique_ptr<Observer> observer;
    bool ready = false;
};

Session& session() {
    static Session* s = [] {
        unsetenv("QT_QPA_PLATFORM");
        setenv("NO_AT_BRIDGE", "1", 1);
        return new Session;
    }();
    return *s;
}

pid_t spawnTidewell(const std::vector<std::string>& arguments) {
    std::string path = TWTestProgramPath("tidewell");
    std::vector<std::string> copies = arguments;
    std::vector<char*> argv{path.data()};
    for (auto& argument : copies)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_t pid = -1;
    posix_spawn(&pid, path.c_str(), nullptr, nullptr, argv.data(), environ);
    return pid;
}

void stop(pid_t pid) {
    kill(pid, SIGTERM);
    int status = 0;
    waitpid(pid, &status, 0);
}

bool answers() {
    return !TWTestTidewell::request("status").empty();
}

// Polls until `condition` holds; false after ten seconds.
template <typename Condition> bool pollUntil(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    return true;
}

// From exec until the tray shows the icon: docked into tint2's window and mapped there.
void BM_StartUntilTrayIconEmbedded(benchmark::State& state) {
    Session& s = session();
    if (!s.ready) {
        state.SkipWithError("the test desktop or tint2 did not come up");
        return;
    }
    for (auto _ : state) {
        pid_t pid = spawnTidewell({});
        if (!pollUntil([&] { return s.observer->embeddedIn("tidewell", "tint2"); })) {
            stop(pid);
            state.SkipWithError("the icon never appeared in the tray");
            return;
        }
        state.PauseTiming();
        stop(pid);
        // The tray drops the icon once its window is gone.
        pollUntil([&] { return !s.observer->embeddedIn("tidewell", "tint2"); });
        state.ResumeTiming();
    }
}
BENCHMARK(BM_StartUntilTrayIconEmbedded)->Unit(benchmark::kMillisecond)->Iterations(10);

// A second start handing "reopen" to the instance on the X11 backend. Timed until the second
// start exits (the instance has run hide-others and replied) and, as a second figure, until the
// window manager reports the two clients minimized. Show-all between runs, untimed.
void BM_RelaunchReopenRoundTripX11(benchmark::State& state) {
    Session& s = session();
    if (!s.ready) {
        state.SkipWithError("the test desktop did not come up");
        return;
    }
    pid_t instance = spawnTidewell({});
    pollUntil(answers);
    std::vector<unsigned long> clients;
    for (const auto& w : s.desktop.windows()) {
        const std::string name = s.observer->instanceName(xcb_window_t(w.id));
        if (name == "xlogo" || name == "xterm")
            clients.push_back(w.id);
    }
    double untilMinimizedMs = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        pid_t second = spawnTidewell({});
        int status = 0;
        waitpid(second, &status, 0);
        state.PauseTiming();
        pollUntil([&] {
            for (unsigned long w : clients)
                if (!s.observer->iconic(xcb_window_t(w)))
                    return false;
            return true;
        });
        untilMinimizedMs +=
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                .count();
        TWTestTidewell::request("show-all");
        pollUntil([&] {
            for (unsigned long w : clients)
                if (s.observer->iconic(xcb_window_t(w)))
                    return false;
            return true;
        });
        state.ResumeTiming();
    }
    state.counters["until_minimized_ms"] = untilMinimizedMs / double(state.iterations());
    state.counters["clients"] = double(clients.size());
    stop(instance);
}
BENCHMARK(BM_RelaunchReopenRoundTripX11)->Unit(benchmark::kMillisecond)->Iterations(20);

// Resident memory of the idle instance on X11 with its tray icon shown.
void BM_IdleResidentMemoryX11(benchmark::State& state) {
    Session& s = session();
    if (!s.ready) {
        state.SkipWithError("the test desktop did not come up");
        return;
    }
    pid_t instance = spawnTidewell({});
    pollUntil([&] { return s.observer->embeddedIn("tidewell", "tint2"); });
    std::this_thread::sleep_for(std::chrono::seconds(1));
    long kilobytes = 0;
    for (auto _ : state)
        kilobytes = TWResidentKiB(instance);
    state.counters["VmRSS_KiB"] = double(kilobytes);
    stop(instance);
}
BENCHMARK(BM_IdleResidentMemoryX11)->Iterations(1);

} // namespace

BENCHMARK_MAIN();
