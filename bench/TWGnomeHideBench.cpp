// SPDX-License-Identifier: MIT
// Hiding 50 applications (one weston-flower window each) on a headless GNOME Shell through
// Tidewell's extension: hide-others, timed from the request until the shell has signalled every
// window minimized to an observer on a bus connection of its own. Show-all between the runs is
// not timed. The send time (the action's own work: listing, the record of hidden windows, the
// requests) is reported apart. See TWKWinHideBench for the same on KWin.
#include "TWCommon.h"
#include "TWGnomeDesktop.h"
#include "TWGnomeTestDesktop.h"
#include "TWProcessRegistry.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWTestDesktop.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>

namespace {

constexpr std::size_t kApplications = 50;

TWGnomeTestDesktop* gSession = nullptr;
std::vector<std::uint64_t> gWindows;

bool allMinimized(TWGnomeConnection& observer, bool minimized) {
    return observer.waitFor(
        [&] {
            auto now = observer.current();
            return std::all_of(gWindows.begin(), gWindows.end(), [&](std::uint64_t id) {
                const auto* w = now.find(id);
                return w && w->minimized == minimized;
            });
        },
        std::chrono::seconds(30));
}

void BM_GnomeHideOthers(benchmark::State& state) {
    std::string why;
    auto desktop = TWGnomeDesktop::open(&why);
    auto observer = TWGnomeDesktop::open(&why);
    if (!desktop || !observer) {
        state.SkipWithError(("no GNOME Shell window service: " + why).c_str());
        return;
    }
    // The observer follows the windows' states from the service's signals on.
    observer->connection().snapshot();
    auto store = std::make_shared<TWSimDefaultsStore>();
    TWUserDefaults standard(std::make_shared<TWSimDefaultsStore>()), shared(store);
    TWRegisterDefaults(standard, shared);
    TWCommon common(*desktop, shared);
    std::vector<double> sends;
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        common.showFinderHideOthers();
        auto sent = std::chrono::steady_clock::now();
        if (!allMinimized(observer->connection(), true)) {
            state.SkipWithError("GNOME Shell did not minimize every window");
            return;
        }
        auto done = std::chrono::steady_clock::now();
        state.SetIterationTime(std::chrono::duration<double>(done - start).count());
        sends.push_back(std::chrono::duration<double>(sent - start).count());
        common.showAll();
        if (!allMinimized(observer->connection(), false)) {
            state.SkipWithError("show-all did not bring every window back");
            return;
        }
    }
    std::sort(sends.begin(), sends.end());
    if (!sends.empty())
        state.counters["send_ms"] = 1000 * sends[sends.size() / 2];
    state.counters["windows"] = static_cast<double>(gWindows.size());
}
BENCHMARK(BM_GnomeHideOthers)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    gSession = new TWGnomeTestDesktop;
    if (!gSession->ok()) {
        std::fprintf(stderr, "bench: %s\n", gSession->error().c_str());
        delete gSession;
        return 1;
    }
    std::string why;
    auto lister = TWGnomeDesktop::open(&why);
    if (!lister) {
        std::fprintf(stderr, "bench: %s\n", why.c_str());
        delete gSession;
        return 1;
    }
    std::vector<pid_t> clients;
    for (std::size_t i = 0; i < kApplications; ++i)
        clients.push_back(gSession->spawn({"weston-flower"}));
    bool up = TWTestDesktop::waitFor(
        [&] {
            gWindows.clear();
            for (const auto& w : lister->connection().snapshot().windows)
                if (std::find(clients.begin(), clients.end(), w.pid) != clients.end())
                    gWindows.push_back(w.id);
            return gWindows.size() == kApplications;
        },
        std::chrono::seconds(120));
    lister.reset();
    if (!up) {
        std::fprintf(stderr, "bench: only %zu of %zu windows came up\n", gWindows.size(),
                     kApplications);
        delete gSession;
        return 1;
    }
    TWProcessRegistry::registerCurrentProcess(TWOwnBundleIdentifier, TWOwnName, 0);
    benchmark::RunSpecifiedBenchmarks();
    TWProcessRegistry::unregisterCurrentProcess();
    benchmark::Shutdown();
    delete gSession;
    return 0;
}
