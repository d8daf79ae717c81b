// SPDX-License-Identifier: MIT
// Hiding 50 applications (one weston-flower window each) on a headless compositor, built once
// for KWin (TWKWinHideBench) and once for GNOME Shell through Tidewell's extension
// (TWGnomeHideBench): hide-others, timed from the request until the compositor has reported
// every window minimized to an observer on a connection of its own. Show-all between the runs is
// not timed. The send time (the action's own work: listing, the record of hidden windows, the
// requests) is reported apart.
#include "TWCommon.h"
#include "TWProcessRegistry.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWTestDesktop.h"

#if defined(TW_BENCH_GNOME)
#include "TWGnomeDesktop.h"
#include "TWGnomeTestDesktop.h"
using Session = TWGnomeTestDesktop;
using Desktop = TWGnomeDesktop;
static std::unique_ptr<Desktop> openDesktop(std::string* why) {
    return TWGnomeDesktop::open(why);
}
static TWCompositorWindowList& windowsOf(Desktop& desktop) {
    return desktop.gnomeWorkspace().windows();
}
#define TW_BENCH_NAME "BM_GnomeHideOthers"
#else
#include "TWKWinDesktop.h"
#include "TWKWinTestDesktop.h"
using Session = TWKWinTestDesktop;
using Desktop = TWKWinDesktop;
static std::unique_ptr<Desktop> openDesktop(std::string* why) {
    return TWKWinDesktop::open("", why);
}
static TWCompositorWindowList& windowsOf(Desktop& desktop) {
    return desktop.kwinWorkspace().windows();
}
#define TW_BENCH_NAME "BM_KWinHideOthers"
#endif

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>

namespace {

constexpr std::size_t kApplications = 50;

Session* gSession = nullptr;
std::vector<std::string> gWindows;

bool allMinimized(TWCompositorWindowList& observer, bool minimized) {
    return observer.waitFor(
        [&] {
            auto now = observer.current();
            return std::all_of(gWindows.begin(), gWindows.end(), [&](const std::string& id) {
                const auto* w = now.find(id);
                return w && w->minimized == minimized;
            });
        },
        std::chrono::seconds(30));
}

void BM_HideOthers(benchmark::State& state) {
    std::string why;
    auto desktop = openDesktop(&why);
    auto observer = openDesktop(&why);
    if (!desktop || !observer) {
        state.SkipWithError(("no window management: " + why).c_str());
        return;
    }
    TWCompositorWindowList& observed = windowsOf(*observer);
    // The observer follows the windows' states from the compositor's events on.
    observed.list();
    auto store = std::make_shared<TWSimDefaultsStore>();
    TWUserDefaults standard(std::make_shared<TWSimDefaultsStore>()), shared(store);
    TWRegisterDefaults(standard, shared);
    TWCommon common(*desktop, shared);
    std::vector<double> sends;
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        common.showFinderHideOthers();
        auto sent = std::chrono::steady_clock::now();
        if (!allMinimized(observed, true)) {
            state.SkipWithError((observed.name() + " did not minimize every window").c_str());
            return;
        }
        auto done = std::chrono::steady_clock::now();
        state.SetIterationTime(std::chrono::duration<double>(done - start).count());
        sends.push_back(std::chrono::duration<double>(sent - start).count());
        common.showAll();
        if (!allMinimized(observed, false)) {
            state.SkipWithError("show-all did not bring every window back");
            return;
        }
    }
    std::sort(sends.begin(), sends.end());
    if (!sends.empty())
        state.counters["send_ms"] = 1000 * sends[sends.size() / 2];
    state.counters["windows"] = static_cast<double>(gWindows.size());
}
BENCHMARK(BM_HideOthers)
    ->Name(TW_BENCH_NAME)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(10);

int fail(const std::string& why) {
    std::fprintf(stderr, "bench: %s\n", why.c_str());
    delete gSession;
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    gSession = new Session;
    if (!gSession->ok())
        return fail(gSession->error());
    std::string why;
    auto lister = openDesktop(&why);
    if (!lister)
        return fail(why);
    std::vector<pid_t> clients;
    for (std::size_t i = 0; i < kApplications; ++i)
        clients.push_back(gSession->spawn({"weston-flower"}));
    bool up = TWTestDesktop::waitFor(
        [&] {
            gWindows.clear();
            for (const auto& w : windowsOf(*lister).list().windows)
                if (std::find(clients.begin(), clients.end(), w.pid) != clients.end())
                    gWindows.push_back(w.id);
            return gWindows.size() == kApplications;
        },
        std::chrono::seconds(120));
    lister.reset();
    if (!up)
        return fail("only " + std::to_string(gWindows.size()) + " of " +
                    std::to_string(kApplications) + " windows came up");
    TWProcessRegistry::registerCurrentProcess(TWOwnBundleIdentifier, TWOwnName, 0);
    benchmark::RunSpecifiedBenchmarks();
    TWProcessRegistry::unregisterCurrentProcess();
    benchmark::Shutdown();
    delete gSession;
    return 0;
}
