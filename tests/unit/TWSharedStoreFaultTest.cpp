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
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr int kOperations = 10'000; // in all, both processes together
constexpr int kSlots = 50;          // keys per process: the file stays small, writes stay fast

std::string slotKey(int role, int op) {
    return (role == 0 ? "app" : "helper") + std::to_string(op / 2 % kSlots);
}

// One process's share of the work, from operation `from` on: even operations write the op's
// number under its slot, odd ones read back the slot last written and check it. Each finished
// operation is reported on `ack` (its number, as 4 bytes). Exits 3 when a read misses.
[[noreturn]] void work(const std::string& path, int role, int from, int to, int ack) {
    TWUserDefaults defaults(std::make_shared<TWPlistFileStore>(path));
    for (int op = from; op < to; ++op) {
        if (op % 2 == 0) {
            if (!defaults.setInteger(op, slotKey(role, op)))
                _exit(2);
        } else if (defaults.integerForKey(slotKey(role, op - 1)) < op - 1) {
            _exit(3);
        }
        if (write(ack, &op, sizeof op) != sizeof op)
            _exit(4);
    }
    _exit(0);
}

struct Worker {
    pid_t pid = -1;
    int ack = -1;
    int next = 0;       // the first operation not yet acknowledged
    int lastWrite = -1; // the last acknowledged write
};

TEST(TWSharedStoreFaultTest, TwoProcessesKilledAtRandomLoseNoAcknowledgedWrite) {
    const TWTempDir temp("twsharedstorefault", true);
    const fs::path dir = temp.path;
    const std::string path = (dir / "shared.plist").string();
    constexpr int perRole = kOperations / 2;

    std::array<Worker, 2> workers;
    auto start = [&](int role) {
        int fds[2];
        ASSERT_EQ(pipe(fds), 0);
        const pid_t pid = fork();
        if (pid == 0) {
            close(fds[0]);
            work(path, role, workers[role].next, perRole, fds[1]);
        }
        close(fds[1]);
        workers[role].pid = pid;
        workers[role].ack = fds[0];
    };
    // Reads what the worker acknowledged; false once its pipe is closed.
    auto drain = [&](Worker& w) {
        int op;
        ssize_t n;
        while ((n = read(w.ack, &op, sizeof op)) == sizeof op) {
            w.next = op + 1;
            if (op % 2 == 0)
                w.lastWrite = op;
        }
        return n != 0;
    };
    auto reap = [&](int role, bool killed) {
        Worker& w = workers[role];
        if (killed)
            kill(w.pid, SIGKILL);
        int status = 0;
        ASSERT_EQ(waitpid(w.pid, &status, 0), w.pid);
        drain(w);
        close(w.ack);
        // Killed, or finished its share cleanly: anything else is a failed write or read.
        const bool clean =
            (killed && WIFSIGNALED(status)) || (WIFEXITED(status) && WEXITSTATUS(status) == 0);
        ASSERT_TRUE(clean) << "worker " << role << " failed at operation " << w.next << " (status "
                           << status << ")";
        w.pid = -1;
    };

    std::mt19937 random(20261124);
    int kills = 0;
    start(0);
    start(1);
    while (workers[0].pid > 0 || workers[1].pid > 0) {
        // A random pause, during which the workers' acknowledgements are read as they come.
        const auto pauseEnd =
            std::chrono::steady_clock::now() + std::chrono::microseconds(200 + random() % 5'000);
        while (std::chrono::steady_clock::now() < pauseEnd) {
            std::array<pollfd, 2> fds{};
            for (int r = 0; r < 2; ++r)
                fds[r] = {workers[r].pid > 0 ? workers[r].ack : -1, POLLIN, 0};
            if (poll(fds.data(), 2, 5) <= 0)
                continue;
            for (int r = 0; r < 2; ++r)
                if (fds[r].revents != 0 && fcntl(workers[r].ack, F_SETFL, O_NONBLOCK) == 0 &&
                    !drain(workers[r])) {
                    reap(r, false); // finished its share
                    if (HasFatalFailure())
                        return;
                }
        }
        // Either process may be the one killed; it starts again where its acknowledgements end.
        const int victim = static_cast<int>(random() % 2);
        if (workers[victim].pid > 0) {
            reap(victim, true);
            if (HasFatalFailure())
                return;
            ++kills;
            if (workers[victim].next < perRole)
                start(victim);
        }
    }

    const TWPlistDictionary values = TWPlistFileStore(path).load();
    for (int role = 0; role < 2; ++role) {
        EXPECT_EQ(workers[role].next, perRole);
        // Each slot holds the last write acknowledged for it.
        const int last = workers[role].lastWrite;
        for (int op = std::max(0, last - 2 * kSlots + 2); op <= last; op += 2) {
            const TWPlistValue* v = TWPlistLookup(values, slotKey(role, op));
            ASSERT_NE(v, nullptr) << slotKey(role, op) << " lost";
            EXPECT_EQ(*v->get<std::int64_t>(), op) << slotKey(role, op);
        }
    }
    for (const auto& entry : fs::directory_iterator(dir))
        EXPECT_EQ(entry.path().filename().string().find(".corrupt-"), std::string::npos)
            << "the store was judged damaged: " << entry.path();
    EXPECT_GT(kills, 20) << "too few kills to prove anything";
    RecordProperty("kills", kills);
}

} // namespace
