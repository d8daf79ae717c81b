// SPDX-License-Identifier: MIT
// Figures for the desktop actions on the simulated desktop: hide-others and the menu at scale.
#include "TWCommon.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWSimDesktop.h"

#include <benchmark/benchmark.h>

namespace {

// A desktop with the file manager, ourselves and `apps` other regular applications, an
// accessory application for every tenth. The request log is off: it would measure the
// recording, not the decisions.
struct Desk {
    TWSimDesktop desk;
    TWUserDefaults own{std::make_shared<TWSimDefaultsStore>()};
    TWUserDefaults shared{std::make_shared<TWSimDefaultsStore>()};
    TWCommon common{desk, shared};

    Desk(int apps, int excluded) {
        TWRegisterDefaults(own, shared);
        desk.setLogEnabled(false);
        desk.launchApplication("com.apple.finder", "Finder");
        desk.launchApplication(TWOwnBundleIdentifier, "Tidewell");
        for (int i = 0; i < apps; ++i)
            desk.launchApplication("org.example.application" + std::to_string(i),
                                   "Application " + std::to_string(apps - i),
                                   i % 10 == 9 ? TWActivationPolicyAccessory
                                               : TWActivationPolicyRegular);
        TWPlistArray records;
        for (int i = 0; i < excluded; ++i) {
            // Field by field: GCC 12 misreads a braced dictionary of variants here.
            TWPlistDictionary record;
            record[TWExcludedNameField] = TWPlistValue("Application");
            record[TWExcludedURLDataField] = TWPlistValue(TWPlistData(64, 0x2a));
            record[TWExcludedBundleIDField] =
                TWPlistValue("org.example.application" + std::to_string(i * 5));
            records.emplace_back(std::move(record));
        }
        if (excluded > 0)
            shared.setObject(records, TWExcludedAppsKey);
    }
};

void BM_HideOthers(benchmark::State& state) {
    Desk d(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    for (auto _ : state)
        d.common.showFinderHideOthers();
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_HideOthers)->Args({1000, 200})->Args({1000, 0})->Unit(benchmark::kMicrosecond);

void BM_BuildAppMenu(benchmark::State& state) {
    Desk d(static_cast<int>(state.range(0)), 0);
    for (auto _ : state) {
        auto menu = d.common.buildAppMenu();
        benchmark::DoNotOptimize(menu);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_BuildAppMenu)->Arg(500)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
