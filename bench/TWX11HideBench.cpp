// SPDX-License-Identifier: MIT
// Hiding 50 applications on Xvfb + openbox, 100 windows in all (--windows=N for N windows, in
// at most 50 applications of an equal share each): Tidewell's hide-others against a
// shell loop of xdotool and against sending the same requests one round trip at a time. Each
// run is timed from the first request until the window manager has set WM_STATE Iconic on every
// window, as an observer on its own connection sees it through PropertyNotify events. Every
// variant minimizes the windows in the same order: the most recently launched first, as
// hide-others does. A last benchmark runs hide-others with "Minimize" on while the file manager
// shows three windows, and counts the snapshots and round trips the action makes; the longest
// time the main thread is blocked by one call, per action, closes the set.
#include "TWCommon.h"
#include "TWProcessRegistry.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWTestDesktop.h"
#include "TWX11Desktop.h"
#include "TWXcbAtom.h"

#include <benchmark/benchmark.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <poll.h>
#include <set>

namespace {

constexpr int kMostApplications = 50;
// The applications and the windows each shows: --windows=N sets them.
int gApplications = kMostApplications;
size_t gWindowsEach = 2;

// Watches WM_STATE on the client windows from a connection of its own.
class Observer {
  public:
    explicit Observer(const std::vector<xcb_window_t>& windows) : windows_(windows) {
        c_ = xcb_connect(nullptr, nullptr);
        root_ = xcb_setup_roots_iterator(xcb_get_setup(c_)).data->root;
        wmState_ = TWInternAtom(c_, "WM_STATE");
        changeState_ = TWInternAtom(c_, "WM_CHANGE_STATE");
        mark_ = TWInternAtom(c_, "_TIDEWELL_HIDDEN");
        uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        for (auto w : windows_)
            xcb_change_window_attributes(c_, w, XCB_CW_EVENT_MASK, &mask);
        xcb_flush(c_);
    }
    ~Observer() { xcb_disconnect(c_); }
    xcb_connection_t* connection() const { return c_; }
    xcb_window_t root() const { return root_; }
    xcb_atom_t changeState() const { return changeState_; }

    // States of the given windows, fetched in one pipelined batch: true = Iconic.
    std::map<xcb_window_t, bool> states(const std::set<xcb_window_t>& which) {
        std::map<xcb_window_t, xcb_get_property_cookie_t> cookies;
        for (auto w : which)
            cookies[w] = xcb_get_property(c_, 0, w, wmState_, wmState_, 0, 1);
        std::map<xcb_window_t, bool> out;
        for (auto& [w, cookie] : cookies) {
            auto* r = xcb_get_property_reply(c_, cookie, nullptr);
            out[w] = r && xcb_get_property_value_length(r) >= 4 &&
                     *static_cast<uint32_t*>(xcb_get_property_value(r)) == 3;
            std::free(r);
        }
        return out;
    }

    // Blocks until every window is in the wanted state (or 30 s pass); false on timeout.
    bool waitAll(bool iconic) {
        std::set<xcb_window_t> pending(windows_.begin(), windows_.end());
        for (auto& [w, state] : states(pending))
            if (state == iconic)
                pending.erase(w);
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!pending.empty() && std::chrono::steady_clock::now() < deadline) {
            std::set<xcb_window_t> changed;
            while (auto* e = xcb_poll_for_event(c_)) {
                if ((e->response_type & 0x7f) == XCB_PROPERTY_NOTIFY) {
                    auto* p = reinterpret_cast<xcb_property_notify_event_t*>(e);
                    if (p->atom == wmState_ && pending.count(p->window))
                        changed.insert(p->window);
                }
                std::free(e);
            }
            if (changed.empty()) {
                pollfd pfd{xcb_get_file_descriptor(c_), POLLIN, 0};
                poll(&pfd, 1, 100);
                continue;
            }
            for (auto& [w, state] : states(changed))
                if (state == iconic)
                    pending.erase(w);
        }
        return pending.empty();
    }

    // Brings every window back and removes Tidewell's marks (not timed).
    void restore() {
        for (auto w : windows_) {
            xcb_map_window(c_, w);
            xcb_delete_property(c_, w, mark_);
        }
        xcb_flush(c_);
        if (!waitAll(false))
            std::fprintf(stderr, "bench: windows did not come back\n");
    }

  private:
    xcb_connection_t* c_ = nullptr;
    xcb_window_t root_ = XCB_NONE;
    xcb_atom_t wmState_ = XCB_NONE, changeState_ = XCB_NONE, mark_ = XCB_NONE;
    std::vector<xcb_window_t> windows_;
};

TWTestDesktop* gDesktop = nullptr;
Observer* gObserver = nullptr;
std::vector<xcb_window_t> gWindows;
// Median time of each variant: the machine may be shared, and one slow run should not decide.
std::map<std::string, double> gMedianSeconds;

// Minimizes every window with one WM_CHANGE_STATE message each, last launched first; with
// `marks`, each window first gets the hidden mark Tidewell writes. With `roundTrip`, every request
// waits for the server before the next one goes out, as checked requests would.
void sendHideRequests(xcb_connection_t* c, xcb_window_t root, xcb_atom_t changeState,
                      xcb_atom_t mark, bool marks, bool roundTrip) {
    auto wait = [&] {
        if (roundTrip)
            std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    };
    uint32_t position = 0;
    for (auto it = gWindows.rbegin(); it != gWindows.rend(); ++it) {
        xcb_window_t w = *it;
        if (marks) {
            xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, mark, XCB_ATOM_CARDINAL, 32, 1,
                                &position);
            wait();
        }
        xcb_client_message_event_t ev{};
        ev.response_type = XCB_CLIENT_MESSAGE;
        ev.format = 32;
        ev.window = w;
        ev.type = changeState;
        ev.data.data32[0] = 3;
        xcb_send_event(c, 0, root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&ev));
        wait();
    }
    xcb_flush(c);
}

// One run of a variant: from the first request until every window is Iconic; `sent` is when
// the variant had sent its last request.
struct Timing {
    double total = 0, sending = 0;
};

Timing timeOnce(const std::function<void()>& body, const std::function<void()>& beforeEach) {
    gObserver->restore();
    if (beforeEach)
        beforeEach();
    auto start = std::chrono::steady_clock::now();
    body();
    auto sent = std::chrono::steady_clock::now();
    if (!gObserver->waitAll(true))
        std::fprintf(stderr, "bench: not every window was minimized\n");
    auto end = std::chrono::steady_clock::now();
    return {std::chrono::duration<double>(end - start).count(),
            std::chrono::duration<double>(sent - start).count()};
}

struct RawConnection {
    RawConnection() {
        c = xcb_connect(nullptr, nullptr);
        root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
        changeState = TWInternAtom(c, "WM_CHANGE_STATE");
        mark = TWInternAtom(c, "_TIDEWELL_HIDDEN");
    }
    ~RawConnection() { xcb_disconnect(c); }
    xcb_connection_t* c;
    xcb_window_t root;
    xcb_atom_t changeState, mark;
};

void BM_TidewellRunningApplications(benchmark::State& state) {
    auto desktop = TWX11Desktop::open();
    desktop->workspace().runningApplications();
    for (auto _ : state)
        benchmark::DoNotOptimize(desktop->workspace().runningApplications());
}

// The X part of the listing alone: the two batches of property requests.
void BM_TidewellWindowSnapshot(benchmark::State& state) {
    auto desktop = TWX11Desktop::open();
    for (auto _ : state)
        benchmark::DoNotOptimize(desktop->connection().snapshot());
}

// Every way of hiding, run in turns (one of each per round) so that a change in the load of a
// shared machine weighs on all of them alike. Each reports its median, and how much of it was
// spent sending (listing included) and how much waiting for the window manager.
void BM_HideVariantsInterleaved(benchmark::State& state) {
    auto desktop = TWX11Desktop::open();
    TWUserDefaults shared(std::make_shared<TWSimDefaultsStore>());
    TWUserDefaults standard(std::make_shared<TWSimDefaultsStore>());
    TWRegisterDefaults(standard, shared);
    shared.setBool(false, TWMinimizeKey);
    TWCommon common(*desktop, shared);
    // As in the running application: the file manager's identity and the desktop entries are
    // read once per process, before the first action.
    desktop->workspace().fileManagerBundleIdentifier();
    desktop->workspace().runningApplications();
    auto lister = TWX11Desktop::open();
    lister->workspace().runningApplications();
    RawConnection raw;

    struct Variant {
        std::string name;
        std::function<void()> body;
        std::function<void()> beforeEach;
        int every = 1; // runs in every n-th round
    };
    std::vector<Variant> variants = {
        {"tidewell", [&] { common.showFinderHideOthers(); },
         [&] { desktop->dispatchPendingEvents(); }, 1},
        // No listing, no marks: the minimize requests alone, one round trip each.
        {"round-trip",
         [&] { sendHideRequests(raw.c, raw.root, raw.changeState, raw.mark, false, true); },
         {},
         1},
        // The same work as Tidewell's action (the listing, a mark and a minimize request per
        // window), one round trip per request.
        {"round-trip+listing+marks",
         [&] {
             benchmark::DoNotOptimize(lister->workspace().runningApplications());
             sendHideRequests(raw.c, raw.root, raw.changeState, raw.mark, true, true);
         },
         {},
         1},
        // Every minimize request in one write, nothing else: the window manager's share.
        {"pipelined",
         [&] { sendHideRequests(raw.c, raw.root, raw.changeState, raw.mark, false, false); },
         {},
         1},
        {"xdotool",
         [] {
             for (auto it = gWindows.rbegin(); it != gWindows.rend(); ++it)
                 TWTestDesktop::run({"xdotool", "windowminimize", std::to_string(*it)});
         },
         {},
         5},
    };
    std::map<std::string, std::vector<Timing>> runs;
    int round = 0;
    for (auto _ : state) {
        for (auto& v : variants)
            if (round % v.every == 0)
                runs[v.name].push_back(timeOnce(v.body, v.beforeEach));
        ++round;
    }
    for (auto& [name, times] : runs) {
        std::sort(times.begin(), times.end(),
                  [](const Timing& a, const Timing& b) { return a.total < b.total; });
        const Timing& median = times[times.size() / 2];
        gMedianSeconds[name] = median.total;
        state.counters[name + "_ms"] = 1000 * median.total;
        state.counters[name + "_send_ms"] = 1000 * median.sending;
    }
    state.counters["windows"] = static_cast<double>(gWindows.size());
}

// Hide-others with the default settings ("Minimize" on) while the file manager shows
// kFileManagerWindows windows among the other applications: the action's own time (until it
// returns), with the snapshots and round trips it asked of the X server.
constexpr int kFileManagerWindows = 3;

void BM_HideOthersMinimizingFileManagerWindows(benchmark::State& state) {
    pid_t fm = gDesktop->spawn({"pcmanfm", gDesktop->home()});
    auto fmWindows = [&] { return gDesktop->windowsOfPid(fm); };
    if (!TWTestDesktop::waitFor([&] { return fmWindows().size() == 1; })) {
        state.SkipWithError("the file manager showed no window");
        gDesktop->terminate(fm);
        return;
    }
    for (int i = 1; i < kFileManagerWindows; ++i) {
        TWTestDesktop::run({"pcmanfm", "-n", gDesktop->home()});
        TWTestDesktop::waitFor([&] { return static_cast<int>(fmWindows().size()) == i + 1; });
    }
    const auto fileManagerWindows = fmWindows();
    if (fileManagerWindows.size() != kFileManagerWindows) {
        state.SkipWithError("the file manager did not show every window");
        gDesktop->terminate(fm);
        return;
    }

    auto desktop = TWX11Desktop::open();
    TWUserDefaults shared(std::make_shared<TWSimDefaultsStore>());
    TWUserDefaults standard(std::make_shared<TWSimDefaultsStore>());
    TWRegisterDefaults(standard, shared);
    TWCommon common(*desktop, shared);
    desktop->workspace().fileManagerBundleIdentifier();
    desktop->workspace().runningApplications();
    RawConnection raw;

    std::vector<double> seconds;
    TWX11RequestCounts before{}, after{};
    for (auto _ : state) {
        state.PauseTiming();
        gObserver->restore();
        for (auto w : fileManagerWindows)
            xcb_map_window(raw.c, static_cast<xcb_window_t>(w));
        xcb_flush(raw.c);
        TWTestDesktop::waitFor([&] {
            for (auto w : fileManagerWindows)
                if (gDesktop->isIconic(w))
                    return false;
            return true;
        });
        desktop->dispatchPendingEvents();
        before = desktop->connection().requestCounts();
        state.ResumeTiming();
        auto start = std::chrono::steady_clock::now();
        common.showFinderHideOthers();
        seconds.push_back(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        state.PauseTiming();
        after = desktop->connection().requestCounts();
        if (!gObserver->waitAll(true))
            std::fprintf(stderr, "bench: not every window was minimized\n");
        if (!TWTestDesktop::waitFor([&] {
                for (auto w : fileManagerWindows)
                    if (!gDesktop->isMinimized(w))
                        return false;
                return true;
            }))
            std::fprintf(stderr, "bench: not every file-manager window was minimized\n");
        state.ResumeTiming();
    }
    std::sort(seconds.begin(), seconds.end());
    state.counters["action_median_ms"] = 1000 * seconds[seconds.size() / 2];
    state.counters["snapshots"] = static_cast<double>(after.snapshots - before.snapshots);
    state.counters["partial_snapshots"] =
        static_cast<double>(after.partialSnapshots - before.partialSnapshots);
    state.counters["round_trips"] = static_cast<double>(after.roundTrips - before.roundTrips);
    state.counters["fm_windows"] = static_cast<double>(fileManagerWindows.size());
    state.counters["windows"] = static_cast<double>(gWindows.size() + fileManagerWindows.size());
    gDesktop->terminate(fm);
}

// The application's main thread runs an action, then handles the desktop's events as they come
// until the window manager has answered everything; each of those calls blocks the thread (the
// tray cannot answer meanwhile). The longest single call per action over all runs, as the
// event loop would see it: hide-others, show-all, and show-all right behind hide-others.
void BM_MainThreadLongestStall(benchmark::State& state) {
    auto desktop = TWX11Desktop::open();
    TWUserDefaults shared(std::make_shared<TWSimDefaultsStore>());
    TWUserDefaults standard(std::make_shared<TWSimDefaultsStore>());
    TWRegisterDefaults(standard, shared);
    shared.setBool(false, TWMinimizeKey);
    TWCommon common(*desktop, shared);
    desktop->workspace().fileManagerBundleIdentifier();
    desktop->workspace().runningApplications();
    std::map<std::string, double> longest;
    auto timed = [&](const std::string& name, const std::function<void()>& call) {
        const auto start = std::chrono::steady_clock::now();
        call();
        const double s =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        longest[name] = std::max(longest[name], s);
    };
    auto pump = [&](const std::string& name) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (desktop->x11Workspace().busy() && std::chrono::steady_clock::now() < end) {
            pollfd pfd{desktop->eventFileDescriptor(), POLLIN, 0};
            poll(&pfd, 1, 100);
            timed(name, [&] { desktop->dispatchPendingEvents(); });
        }
    };
    gObserver->restore();
    desktop->dispatchPendingEvents();
    for (auto _ : state) {
        timed("hide_others", [&] { common.showFinderHideOthers(); });
        pump("hide_others");
        if (!gObserver->waitAll(true))
            std::fprintf(stderr, "bench: not every window was minimized\n");
        timed("show_all", [&] { common.showAll(); });
        pump("show_all");
        if (!gObserver->waitAll(false))
            std::fprintf(stderr, "bench: not every window came back\n");
        timed("hide_then_show", [&] {
            common.showFinderHideOthers();
            common.showAll();
        });
        pump("hide_then_show");
        if (!gObserver->waitAll(false))
            std::fprintf(stderr, "bench: not every window came back after the race\n");
    }
    for (const auto& [name, seconds] : longest)
        state.counters["longest_" + name + "_ms"] = 1000 * seconds;
    state.counters["windows"] = static_cast<double>(gWindows.size());
}

BENCHMARK(BM_HideVariantsInterleaved)->Iterations(15)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TidewellRunningApplications)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TidewellWindowSnapshot)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HideOthersMinimizingFileManagerWindows)->Iterations(15)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MainThreadLongestStall)->Iterations(10)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    // --windows=N (taken out before the benchmark library reads the rest).
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument.rfind("--windows=", 0) != 0) {
            argv[kept++] = argv[i];
            continue;
        }
        const int windows = std::atoi(argument.c_str() + 10);
        if (windows < 2) {
            std::fprintf(stderr, "bench: --windows wants a number of at least 2\n");
            return 2;
        }
        gApplications = std::min(kMostApplications, windows / 2);
        gWindowsEach = size_t(windows / gApplications);
    }
    argc = kept;
    benchmark::Initialize(&argc, argv);
    TWTestDesktop desktop;
    if (!desktop.ok()) {
        std::fprintf(stderr, "bench: %s\n", desktop.error().c_str());
        return 1;
    }
    gDesktop = &desktop;
    // Tidewell itself counts as running, as it does when the action comes from the app.
    TWProcessRegistry::registerCurrentProcess(TWOwnBundleIdentifier, TWOwnName, 0);
    for (int i = 0; i < gApplications; ++i) {
        std::string cls = "bench" + std::to_string(i);
        pid_t pid = desktop.spawnTestClient({"--class", cls + "," + cls, "--title", cls},
                                            int(gWindowsEach));
        auto windows = desktop.windowsOfPid(pid);
        if (windows.size() != gWindowsEach)
            std::fprintf(
                stderr, "bench: client %d shows %zu windows (%s)\n%s", i, windows.size(),
                TWTestDesktop::run({"cat", "/proc/" + std::to_string(pid) + "/stat"}).c_str(),
                TWTestDesktop::run({"xprop", "-root", "_NET_CLIENT_LIST"}).c_str());
        for (auto w : windows)
            gWindows.push_back(static_cast<xcb_window_t>(w));
    }
    if (gWindows.size() != size_t(gApplications) * gWindowsEach) {
        std::fprintf(stderr, "bench: only %zu windows appeared\n", gWindows.size());
        return 1;
    }
    Observer observer(gWindows);
    gObserver = &observer;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    TWProcessRegistry::unregisterCurrentProcess();
    if (gMedianSeconds.count("tidewell") && gMedianSeconds["tidewell"] > 0) {
        for (const char* other : {"xdotool", "round-trip", "round-trip+listing+marks", "pipelined"})
            if (gMedianSeconds.count(other))
                std::printf("%s / tidewell (medians): %.2fx\n", other,
                            gMedianSeconds[other] / gMedianSeconds["tidewell"]);
    }
    return 0;
}
