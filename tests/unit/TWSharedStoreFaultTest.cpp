// SPDX-License-Identifier: MIT
// The shared settings store under fire: the application and the helper (two processes, each with
// its own TWUserDefaults on the same file) write and read it 10,000 times while either is killed
// (SIGKILL) at random moments and started again. No acknowledged write may be lost, no read may
// miss a value its writer saw stored, and the file must never be judged damaged.
#include "TWPlistFileStore.h"
#include "TWTestPaths.h"
#include "TWUserDefaults.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <random>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr int kPerRole = 5'000; // operations of each process
constexpr int kSlots = 50;      // keys per process: the file stays small, writes stay fast

std::string slotKey(int role, int op) {
    return (role == 0 ? "app" : "helper") + std::to_string(op / 2 % kSlots);
}

// What a process has acknowledged, in memory it shares with the test: the first operation not
// yet done, and the last write done.
struct Progress {
    std::atomic<int> next{0}, lastWrite{-1};
};

// One process's share of the work, from its first operation not yet done: even operations write
// the op's number under its slot, odd ones read back the slot last written and check it. Exits 3
// when a read misses.
[[noreturn]] void work(const std::string& path, int role, Progress& progress) {
    TWUserDefaults defaults(std::make_shared<TWPlistFileStore>(path));
    for (int op = progress.next; op < kPerRole; ++op) {
        if (op % 2 == 0 ? !defaults.setInteger(op, slotKey(role, op))
                        : defaults.integerForKey(slotKey(role, op - 1)) < op - 1)
            _exit(2 + op % 2);
        if (op % 2 == 0)
            progress.lastWrite = op;
        progress.next = op + 1;
    }
    _exit(0);
}

TEST(TWSharedStoreFaultTest, TwoProcessesKilledAtRandomLoseNoAcknowledgedWrite) {
    const TWTempDir temp("twsharedstorefault", true);
    const std::string path = (temp.path / "shared.plist").string();
    void* shared = mmap(nullptr, 2 * sizeof(Progress), PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    Progress* progress = new (shared) Progress[2];
    std::array<pid_t, 2> pids{};
    const auto start = [&](int role) {
        if ((pids[role] = fork()) == 0)
            work(path, role, progress[role]);
    };
    start(0);
    start(1);
    std::mt19937 random(20261124);
    int kills = 0;
    while (pids[0] > 0 || pids[1] > 0) {
        std::this_thread::sleep_for(std::chrono::microseconds(200 + random() % 5'000));
        // Either process may be the one killed; it starts again where its acknowledgements end.
        const int victim = random() % 2;
        if (pids[victim] == 0)
            continue;
        kill(pids[victim], SIGKILL);
        int status = 0;
        ASSERT_EQ(waitpid(pids[victim], &status, 0), pids[victim]);
        // Killed, or finished its share cleanly: anything else is a failed write or read.
        ASSERT_TRUE(WIFSIGNALED(status) || (WIFEXITED(status) && WEXITSTATUS(status) == 0))
            << "failed at operation " << progress[victim].next << " (status " << status << ")";
        kills += WIFSIGNALED(status);
        pids[victim] = 0;
        if (progress[victim].next < kPerRole)
            start(victim);
    }

    const TWPlistDictionary values = TWPlistFileStore(path).load();
    for (int role = 0; role < 2; ++role) {
        // Each slot holds the last write acknowledged for it.
        const int last = progress[role].lastWrite;
        for (int op = std::max(0, last - 2 * kSlots + 2); op <= last; op += 2) {
            const TWPlistValue* v = TWPlistLookup(values, slotKey(role, op));
            ASSERT_NE(v, nullptr) << slotKey(role, op) << " lost";
            EXPECT_EQ(*v->get<std::int64_t>(), op) << slotKey(role, op);
        }
    }
    for (const auto& entry : std::filesystem::directory_iterator(temp.path))
        EXPECT_EQ(entry.path().filename().string().find(".corrupt-"), std::string::npos)
            << "the store was judged damaged: " << entry.path();
    EXPECT_GT(kills, 20) << "too few kills to prove anything";
    RecordProperty("kills", kills);
    munmap(shared, 2 * sizeof(Progress));
}

} // namespace
