// SPDX-License-Identifier: MIT
// Hide-others from the command line on Xvfb + openbox, 50 applications of 2 windows each:
// `tidewellctl hide-others` (a process that connects, lists, hides and ends) against the same
// request handed to the running tidewell (`tidewell --hide-all`, and the bare request on its
// socket), and the tool while tidewell runs (it hands the request over). Each run is timed from the
// start of the command until an observer on a connection of its own sees WM_STATE Iconic on every
// window; show-all in between is not timed.
#include "TWTestDesktop.h"
#include "TWTestPaths.h"
#include "TWTestTidewell.h"
#include "TWXcbAtom.h"

#include <benchmark/benchmark.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <set>
#include <thread>

namespace {

constexpr int kApplications = 50;
constexpr int kWindowsEach = 2;

struct Desktop {
    TWTestDesktop desktop;
    std::unique_ptr<TWTestTidewell> tidewell;
    std::vector<xcb_window_t> windows;
    xcb_connection_t* c = nullptr;
    xcb_atom_t wmState = XCB_NONE;

    Desktop() {
        if (!desktop.ok())
            return;
        std::set<pid_t> clients;
        for (int i = 0; i < kApplications; ++i)
            clients.insert(desktop.spawnTestClient(
                {"--class", "Bench" + std::to_string(i) + ",Bench" + std::to_string(i)},
                kWindowsEach));
        for (const auto& w : desktop.windows())
            if (clients.count(w.pid))
                windows.push_back(static_cast<xcb_window_t>(w.id));
        tidewell = std::make_unique<TWTestTidewell>(desktop);
        tidewell->writeSharedSettings({{"Minimize", false}});
        c = xcb_connect(nullptr, nullptr);
        wmState = TWInternAtom(c, "WM_STATE");
    }
    ~Desktop() {
        if (c)
            xcb_disconnect(c);
    }

    // How many of the windows are Iconic, read in one pipelined batch.
    std::size_t iconicCount() {
        std::vector<xcb_get_property_cookie_t> cookies;
        for (auto w : windows)
            cookies.push_back(xcb_get_property(c, 0, w, wmState, wmState, 0, 1));
        std::size_t iconic = 0;
        for (auto cookie : cookies) {
            auto* r = xcb_get_property_reply(c, cookie, nullptr);
            iconic += r && xcb_get_property_value_length(r) >= 4 &&
                      *static_cast<uint32_t*>(xcb_get_property_value(r)) == 3;
            std::free(r);
        }
        return iconic;
    }
    bool waitAll(bool iconic) {
        const std::size_t wanted = iconic ? windows.size() : 0;
        return TWTestDesktop::waitFor([&] { return iconicCount() == wanted; },
                                      std::chrono::seconds(30));
    }
};

Desktop& desktop() {
    static Desktop d;
    return d;
}

// Times `hide` from its start until every window is Iconic; shows everything again untimed.
void timeHide(benchmark::State& state, const std::function<void()>& hide,
              const std::function<void()>& show) {
    Desktop& d = desktop();
    if (d.windows.size() != std::size_t(kApplications * kWindowsEach)) {
        state.SkipWithError("the test desktop did not come up");
        return;
    }
    for (auto _ : state) {
        state.PauseTiming();
        show();
        if (!d.waitAll(false)) {
            state.SkipWithError("show-all did not restore every window");
            return;
        }
        // The window manager's own work after the restores (focus, stacking) is let finish,
        // so that each variant starts from an idle desktop.
        std::this_thread::sleep_for(std::chrono::seconds(1));
        state.ResumeTiming();
        hide();
        if (!d.waitAll(true)) {
            state.SkipWithError("not every window was minimized");
            return;
        }
    }
    state.counters["windows"] = double(d.windows.size());
}

const std::string& tool() {
    static const std::string path = TWTestProgramPath("tidewellctl");
    return path;
}

} // namespace

static void BM_ToolProcess(benchmark::State& state) {
    timeHide(
        state,
        [] {
            TWTestDesktop::run({tool(), "hide-others"});
        },
        [] {
            TWTestDesktop::run({tool(), "show-all"});
        });
}
BENCHMARK(BM_ToolProcess)->Iterations(10)->Unit(benchmark::kMillisecond)->UseRealTime();

static void BM_InstanceThroughSecondStart(benchmark::State& state) {
    Desktop& d = desktop();
    if (d.tidewell && TWTestTidewell::request("status").empty() && d.tidewell->start() <= 0) {
        state.SkipWithError("tidewell did not start");
        return;
    }
    timeHide(
        state, [&] { d.tidewell->runAgain({"--hide-all"}); },
        [] { TWTestTidewell::request("show-all"); });
}
BENCHMARK(BM_InstanceThroughSecondStart)
    ->Iterations(10)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

static void BM_InstanceRequestOnly(benchmark::State& state) {
    Desktop& d = desktop();
    if (d.tidewell && TWTestTidewell::request("status").empty() && d.tidewell->start() <= 0) {
        state.SkipWithError("tidewell did not start");
        return;
    }
    timeHide(
        state, [] { TWTestTidewell::request("hide-all"); },
        [] { TWTestTidewell::request("show-all"); });
}
BENCHMARK(BM_InstanceRequestOnly)->Iterations(10)->Unit(benchmark::kMillisecond)->UseRealTime();

// The tool while tidewell runs: it hands the request over.
static void BM_ToolProcessWithInstance(benchmark::State& state) {
    Desktop& d = desktop();
    if (d.tidewell && TWTestTidewell::request("status").empty() && d.tidewell->start() <= 0) {
        state.SkipWithError("tidewell did not start");
        return;
    }
    timeHide(
        state,
        [] {
            TWTestDesktop::run({tool(), "hide-others"});
        },
        [] {
            TWTestDesktop::run({tool(), "show-all"});
        });
}
BENCHMARK(BM_ToolProcessWithInstance)->Iterations(10)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
