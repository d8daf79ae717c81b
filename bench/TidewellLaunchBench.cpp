// SPDX-License-Identifier: MIT
// The tidewell program's start-up, the relaunch hand-over round trip and the idle instance's
// memory, measured on real processes (simulated desktop, Qt offscreen: no tray there).
#include "TWBenchProcess.h"
#include "TWInstanceChannel.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <signal.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace {

// The program with its test hooks (the instance runs on its simulated desktop) and the shipped
// one, which hands a later start over before it loads Qt.
std::string program() {
    return std::string(TIDEWELL_PROGRAM);
}

pid_t spawn(const std::vector<std::string>& arguments, std::string path = program()) {
    std::vector<char*> argv;
    argv.push_back(path.data());
    std::vector<std::string> copies = arguments;
    for (auto& argument : copies)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_t pid = -1;
    posix_spawn(&pid, path.c_str(), nullptr, nullptr, argv.data(), environ);
    return pid;
}

int waitFor(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

QString channelDirectory() {
    return TWInstanceChannel::defaultDirectory();
}

bool answers() {
    return TWInstanceChannel::sendMessage(channelDirectory(), "status", 100).has_value();
}

void waitUntilAnswering() {
    while (!answers())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void stop(pid_t pid) {
    kill(pid, SIGTERM);
    waitFor(pid);
}

// A private runtime directory, so the benchmark never meets the user's own Tidewell.
void privateSession() {
    static std::string directory = [] {
        char pattern[] = "/tmp/tidewell-bench.XXXXXX";
        std::string made = mkdtemp(pattern);
        setenv("XDG_RUNTIME_DIR", made.c_str(), 1);
        setenv("XDG_CONFIG_HOME", (made + "/config").c_str(), 1);
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
        unsetenv("DISPLAY");
        return made;
    }();
}

// From exec to the instance answering on its socket (launch sequence done).
void BM_StartUntilAnswering(benchmark::State& state) {
    privateSession();
    for (auto _ : state) {
        pid_t pid = spawn({"--desktop=sim"});
        waitUntilAnswering();
        state.PauseTiming();
        stop(pid);
        state.ResumeTiming();
    }
}
BENCHMARK(BM_StartUntilAnswering)->Unit(benchmark::kMillisecond)->Iterations(10);

// A second start handing "reopen" to the instance: from exec until it exits, by which time
// the instance has run the hide-others action and replied. Argument 0: the shipped tidewell;
// 1: the program linked with Qt and everything else, as every start loaded them before the
// hand-over came first.
void BM_RelaunchReopenRoundTrip(benchmark::State& state) {
    privateSession();
    pid_t instance = spawn({"--desktop=sim"});
    waitUntilAnswering();
    const std::string path = state.range(0) == 0 ? TIDEWELL_SHIPPED_PROGRAM : program();
    for (auto _ : state)
        benchmark::DoNotOptimize(waitFor(spawn({}, path)));
    stop(instance);
}
BENCHMARK(BM_RelaunchReopenRoundTrip)
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(30);

// The request alone: "reopen" sent to the instance from this process (no program started), so
// that the relaunch above can be read as this plus what a start costs.
void BM_ReopenRequestAlone(benchmark::State& state) {
    privateSession();
    pid_t instance = spawn({"--desktop=sim"});
    waitUntilAnswering();
    for (auto _ : state)
        benchmark::DoNotOptimize(
            TWInstanceChannel::sendMessage(channelDirectory(), "reopen", 5000));
    stop(instance);
}
BENCHMARK(BM_ReopenRequestAlone)->Unit(benchmark::kMillisecond)->Iterations(30);

// Resident memory of the idle instance, after its launch sequence.
void BM_IdleResidentMemory(benchmark::State& state) {
    privateSession();
    pid_t instance = spawn({"--desktop=sim"});
    waitUntilAnswering();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    long kilobytes = 0;
    for (auto _ : state)
        kilobytes = TWResidentKiB(instance);
    state.counters["VmRSS_KiB"] = double(kilobytes);
    stop(instance);
}
BENCHMARK(BM_IdleResidentMemory)->Iterations(1);

} // namespace

BENCHMARK_MAIN();
