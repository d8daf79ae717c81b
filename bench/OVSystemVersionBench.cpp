// SPDX-License-Identifier: MIT
// Figures for version parsing and comparison.
#include "OVSystemVersion.h"

#include <benchmark/benchmark.h>

static void BM_ParseTypical(benchmark::State& state) {
    for (auto _ : state) {
        OVSystemVersion v("10.15.7b12");
        benchmark::DoNotOptimize(v.components().data());
    }
}
BENCHMARK(BM_ParseTypical);

static void BM_CompareParsed(benchmark::State& state) {
    OVSystemVersion a("10.15.7b12");
    OVSystemVersion b("10.15.7a3");
    for (auto _ : state)
        benchmark::DoNotOptimize(a.compare(b));
}
BENCHMARK(BM_CompareParsed);

static void BM_ParseAndCompareString(benchmark::State& state) {
    OVSystemVersion current("12.6.1");
    for (auto _ : state)
        benchmark::DoNotOptimize(current.isGreaterThanOrEqualToString("10.13.4"));
}
BENCHMARK(BM_ParseAndCompareString);

static void BM_CompareLongRuns(benchmark::State& state) {
    OVSystemVersion a("000000000000000000000123456789012345678901234567890.1");
    OVSystemVersion b("123456789012345678901234567890123456789012345678901.1");
    for (auto _ : state)
        benchmark::DoNotOptimize(a.compare(b));
}
BENCHMARK(BM_CompareLongRuns);

static void BM_CachedClassAnswer(benchmark::State& state) {
    OVSystemVersion::isGreaterThanOrEqualToStringForCurrentSystem("10.13");
    for (auto _ : state)
        benchmark::DoNotOptimize(
            OVSystemVersion::isGreaterThanOrEqualToStringForCurrentSystem("10.13"));
}
BENCHMARK(BM_CachedClassAnswer);

BENCHMARK_MAIN();
