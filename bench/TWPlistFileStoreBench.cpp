// SPDX-License-Identifier: MIT
// Figures for the property-list file store: cached reads, reads after another process's write,
// and updates on disk and in memory.
#include "TWPlistFileStore.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

// A store with the settings of a well-used installation: the switches and ten excluded
// applications.
TWPlistDictionary typicalSettings() {
    TWPlistArray excluded;
    for (int i = 0; i < 10; ++i) {
        TWPlistDictionary record;
        record["name"] = TWPlistValue("Application " + std::to_string(i));
        record["URLData"] = TWPlistValue(TWPlistData(200, static_cast<std::uint8_t>(i)));
        record["BundleID"] = TWPlistValue("org.example.application" + std::to_string(i));
        excluded.emplace_back(std::move(record));
    }
    TWPlistDictionary settings;
    settings["ExcludedApps"] = TWPlistValue(std::move(excluded));
    settings["ShowFinder"] = TWPlistValue(true);
    settings["ShowWindow"] = TWPlistValue(false);
    settings["Minimize"] = TWPlistValue(true);
    settings["CloseAllFinder"] = TWPlistValue(false);
    return settings;
}

struct Scratch {
    explicit Scratch(const std::string& base) {
        std::string tmpl = base + "/twplistbench-XXXXXX";
        if (!mkdtemp(tmpl.data()))
            std::abort();
        dir = tmpl;
        file = (dir / "shared.plist").string();
    }
    ~Scratch() { fs::remove_all(dir); }
    fs::path dir;
    std::string file;
};

// Range 0: a directory on disk (writes sync for real); 1: a memory file system.
std::string baseFor(const benchmark::State& state) {
    return state.range(0) == 0 ? fs::temp_directory_path().string() : "/dev/shm";
}

} // namespace

static void BM_LoadUnchanged(benchmark::State& state) {
    Scratch scratch(baseFor(state));
    TWPlistFileStore store(scratch.file);
    store.update([](TWPlistDictionary& d) { d = typicalSettings(); });
    for (auto _ : state)
        benchmark::DoNotOptimize(store.load().size());
}
BENCHMARK(BM_LoadUnchanged)->Arg(0);

static void BM_LoadFreshStore(benchmark::State& state) {
    Scratch scratch(baseFor(state));
    TWPlistFileStore(scratch.file).update([](TWPlistDictionary& d) { d = typicalSettings(); });
    for (auto _ : state) {
        TWPlistFileStore store(scratch.file);
        benchmark::DoNotOptimize(store.load().size());
    }
}
BENCHMARK(BM_LoadFreshStore)->Arg(0);

static void BM_Update(benchmark::State& state) {
    Scratch scratch(baseFor(state));
    TWPlistFileStore store(scratch.file);
    store.update([](TWPlistDictionary& d) { d = typicalSettings(); });
    bool flag = false;
    for (auto _ : state) {
        flag = !flag;
        store.update([&](TWPlistDictionary& d) { d["ShowWindow"] = TWPlistValue(flag); });
    }
}
BENCHMARK(BM_Update)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

// A child process writes on request; the parent times its first read after each write.
static void BM_LoadAfterAnotherProcessWrote(benchmark::State& state) {
    Scratch scratch(baseFor(state));
    TWPlistFileStore store(scratch.file);
    store.update([](TWPlistDictionary& d) { d = typicalSettings(); });
    int request[2];
    int done[2];
    if (pipe(request) != 0 || pipe(done) != 0)
        std::abort();
    pid_t child = fork();
    if (child == 0) {
        close(request[1]);
        close(done[0]);
        TWPlistFileStore writer(scratch.file);
        char c;
        long n = 0;
        while (read(request[0], &c, 1) == 1) {
            writer.update([&](TWPlistDictionary& d) { d["IconStyle2"] = TWPlistValue(++n); });
            if (write(done[1], &c, 1) != 1)
                break;
        }
        _exit(0);
    }
    close(request[0]);
    close(done[1]);
    char c = 'w';
    for (auto _ : state) {
        if (write(request[1], &c, 1) != 1 || read(done[0], &c, 1) != 1)
            std::abort();
        auto start = std::chrono::steady_clock::now();
        benchmark::DoNotOptimize(store.load().size());
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    close(request[1]); // the child sees end of file and exits
    waitpid(child, nullptr, 0);
    close(done[0]);
}
BENCHMARK(BM_LoadAfterAnotherProcessWrote)->Arg(1)->UseManualTime()->Unit(benchmark::kMicrosecond);

// A store of many keys written to a memory file system: the writer's cost per key stays flat.
static void BM_WriteManyKeys(benchmark::State& state) {
    Scratch scratch("/dev/shm");
    TWPlistFileStore store(scratch.file);
    TWPlistDictionary many;
    for (int i = 0; i < state.range(0); ++i)
        many["key" + std::to_string(i)] = TWPlistValue(std::string("some value here"));
    for (auto _ : state)
        store.update([&](TWPlistDictionary& d) { d = many; });
    state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_WriteManyKeys)
    ->RangeMultiplier(4)
    ->Range(500, 32000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
