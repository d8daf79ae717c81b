// Hiding 50 applications of 2 windows each on Xvfb + openbox: Tidewell's hide-others against a
// shell loop of xdotool and against sending the same requests one round trip at a time. Each
// run is timed from the first request until the window manager has set WM_STATE Iconic on every
// window, as an observer on its own connection sees it through PropertyNotify events. Every
// variant minimizes the windows in the same order: the most recently launched first, as
// hide-others does.
#include "TWCommon.h"
#include "TWProcessRegistry.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWTestDesktop.h"
#include "TWX11Desktop.h"

#include <benchmark/benchmark.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <poll.h>
#include <set>

namespace {

constexpr int kApplications = 50;
constexpr int kWindowsEach = 2;

xcb_atom_t internAtom(xcb_connection_t* c, const char* name) {
    auto* r = xcb_intern_atom_reply(
        c, xcb_intern_atom(c, 0, static_cast<uint16_t>(std::strlen(name)), name), nullptr);
    xcb_atom_t a = r ? r->atom : XCB_NONE;
    std::free(r);
    return a;
}

// Watches WM_STATE on the client windows from a connection of its own.
class Observer {
  public:
    explicit Observer(const std::vector<xcb_window_t>& windows) : windows_(windows) {
        c_ = xcb_connect(nullptr, nullptr);
        root_ = xcb_setup_roots_iterator(xcb_get_setup(c_)).data->root;
        wmState_ = internAtom(c_, "WM_STATE");
        changeState_ = internAtom(c_, "WM_CHANGE_STATE");
        mark_ = internAtom(c_, "_TIDEWELL_HIDDEN");
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
std::map<std::string, double> gMeanSeconds;

void record(benchmark::State& state, const std::string& name, double total, int runs) {
    gMeanSeconds[name] = total / runs;
    state.counters["windows"] = static_cast<double>(gWindows.size());
}

void BM_TidewellHideOthers(benchmark::State& state) {
    auto desktop = TWX11Desktop::open();
    TWUserDefaults shared(std::make_shared<TWSimDefaultsStore>());
    TWUserDefaults standard(std::make_shared<TWSimDefaultsStore>());
    TWRegisterDefaults(standard, shared);
    shared.setBool(false, TWMinimizeKey);
    TWCommon common(*desktop, shared);
    desktop->workspace().fileManagerBundleIdentifier(); // read once per process, as in the app
    double total = 0;
    int runs = 0;
    for (auto _ : state) {
        gObserver->restore();
        desktop->dispatchPendingEvents();
        auto start = std::chrono::steady_clock::now();
        common.showFinderHideOthers();
        if (!gObserver->waitAll(true))
            state.SkipWithError("not every window was minimized");
        double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        state.SetIterationTime(seconds);
        total += seconds;
        ++runs;
    }
    record(state, "tidewell", total, runs);
}

void BM_TidewellRunningApplications(benchmark::State& state) {
    auto desktop = TWX11Desktop::open();
    for (auto _ : state)
        benchmark::DoNotOptimize(desktop->workspace().runningApplications());
}

void BM_OneRoundTripPerRequest(benchmark::State& state) {
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    xcb_atom_t changeState = internAtom(c, "WM_CHANGE_STATE");
    double total = 0;
    int runs = 0;
    for (auto _ : state) {
        gObserver->restore();
        auto start = std::chrono::steady_clock::now();
        for (auto it = gWindows.rbegin(); it != gWindows.rend(); ++it) {
            xcb_window_t w = *it;
            xcb_client_message_event_t ev{};
            ev.response_type = XCB_CLIENT_MESSAGE;
            ev.format = 32;
            ev.window = w;
            ev.type = changeState;
            ev.data.data32[0] = 3;
            xcb_send_event(c, 0, root,
                           XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT |
                               XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                           reinterpret_cast<const char*>(&ev));
            // Wait for the server before the next request, as a checked request would.
            std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
        }
        if (!gObserver->waitAll(true))
            state.SkipWithError("not every window was minimized");
        double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        state.SetIterationTime(seconds);
        total += seconds;
        ++runs;
    }
    xcb_disconnect(c);
    record(state, "round-trip", total, runs);
}

void BM_XdotoolLoop(benchmark::State& state) {
    double total = 0;
    int runs = 0;
    for (auto _ : state) {
        gObserver->restore();
        auto start = std::chrono::steady_clock::now();
        for (auto it = gWindows.rbegin(); it != gWindows.rend(); ++it)
            TWTestDesktop::run({"xdotool", "windowminimize", std::to_string(*it)});
        if (!gObserver->waitAll(true))
            state.SkipWithError("not every window was minimized");
        double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        state.SetIterationTime(seconds);
        total += seconds;
        ++runs;
    }
    record(state, "xdotool", total, runs);
}

BENCHMARK(BM_TidewellHideOthers)->UseManualTime()->Iterations(10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TidewellRunningApplications)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OneRoundTripPerRequest)
    ->UseManualTime()
    ->Iterations(10)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_XdotoolLoop)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    TWTestDesktop desktop;
    if (!desktop.ok()) {
        std::fprintf(stderr, "bench: %s\n", desktop.error().c_str());
        return 1;
    }
    gDesktop = &desktop;
    // Tidewell itself counts as running, as it does when the action comes from the app.
    TWProcessRegistry::registerCurrentProcess(TWOwnBundleIdentifier, TWOwnName, 0);
    for (int i = 0; i < kApplications; ++i) {
        std::string cls = "bench" + std::to_string(i);
        pid_t pid =
            desktop.spawnTestClient({"--class", cls + "," + cls, "--title", cls}, kWindowsEach);
        auto windows = desktop.windowsOfPid(pid);
        if (windows.size() != kWindowsEach)
            std::fprintf(
                stderr, "bench: client %d shows %zu windows (%s)\n%s", i, windows.size(),
                TWTestDesktop::run({"cat", "/proc/" + std::to_string(pid) + "/stat"}).c_str(),
                TWTestDesktop::run({"xprop", "-root", "_NET_CLIENT_LIST"}).c_str());
        for (auto w : windows)
            gWindows.push_back(static_cast<xcb_window_t>(w));
    }
    if (gWindows.size() != static_cast<size_t>(kApplications * kWindowsEach)) {
        std::fprintf(stderr, "bench: only %zu windows appeared\n", gWindows.size());
        return 1;
    }
    Observer observer(gWindows);
    gObserver = &observer;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    TWProcessRegistry::unregisterCurrentProcess();
    if (gMeanSeconds.count("tidewell") && gMeanSeconds["tidewell"] > 0) {
        for (const char* other : {"xdotool", "round-trip"})
            if (gMeanSeconds.count(other))
                std::printf("%s / tidewell: %.1fx\n", other,
                            gMeanSeconds[other] / gMeanSeconds["tidewell"]);
    }
    return 0;
}
