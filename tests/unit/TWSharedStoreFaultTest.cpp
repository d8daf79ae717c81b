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

namespace {

constexpr int kPerRole = 5'000; // operations of each process
constexpr int kSlots = 50;      // keys per process: the file stays small, writes stay fast

std::string slotKey(int role, int op) {
    return (role == 0 ? "app" : "helper") + std::to_string(op / 2 % kSlots);
}

// One process's share of the work, from operation `from` on: even operations write the op's
// number under its slot, odd ones read back the slot last written and check it. Each finished
// operation is reported on `ack` (its number, as 4 bytes). Exits 3 when a read misses.
[[noreturn]] void work(const std::string& path, int role, int from, int ack) {
    TWUserDefaults defaults(std::make_shared<TWPlistFileStore>(path));
    for (int op = from; op < kPerRole; ++op) {
        if (op % 2 == 0 ? !defaults.setInteger(op, slotKey(role, op))
                        : defaults.integerForKey(slotKey(role, op - 1)) < op - 1)
            _exit(2 + op % 2);
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

    void start(const std::string& path, int role) {
        int fds[2];
        ASSERT_EQ(pipe(fds), 0);
        if ((pid = fork()) == 0)
            work(path, role, next, fds[1]);
        close(fds[1]);
        ack = fds[0];
        fcntl(ack, F_SETFL, O_NONBLOCK);
    }
    // Reads what the worker acknowledged; false once its pipe is closed.
    bool drain() {
        int op;
        ssize_t n;
        while ((n = read(ack, &op, sizeof op)) == sizeof op) {
            next = op + 1;
            lastWrite = op % 2 == 0 ? op : lastWrite;
        }
        return n != 0;
    }
    // Killed, or finished its share cleanly: anything else is a failed write or read.
    void reap(bool kill) {
        if (kill)
            ::kill(pid, SIGKILL);
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        drain();
        close(ack);
        ASSERT_TRUE((kill && WIFSIGNALED(status)) || (WIFEXITED(status) && !WEXITSTATUS(status)))
            << "failed at operation " << next << " (status " << status << ")";
        pid = -1;
    }
};

TEST(TWSharedStoreFaultTest, TwoProcessesKilledAtRandomLoseNoAcknowledgedWrite) {
    const TWTempDir temp("twsharedstorefault", true);
    const std::string path = (temp.path / "shared.plist").string();
    std::array<Worker, 2> workers;
    for (int role = 0; role < 2; ++role)
        workers[role].start(path, role);
    std::mt19937 random(20261124);
    int kills = 0;
    while (workers[0].pid > 0 || workers[1].pid > 0) {
        // A random pause, during which the workers' acknowledgements are read as they come.
        const auto pauseEnd =
            std::chrono::steady_clock::now() + std::chrono::microseconds(200 + random() % 5'000);
        while (std::chrono::steady_clock::now() < pauseEnd) {
            std::array<pollfd, 2> fds{};
            for (int r = 0; r < 2; ++r)
                fds[r] = {workers[r].pid > 0 ? workers[r].ack : -1, POLLIN, 0};
            if (poll(fds.data(), 2, 5) > 0)
                for (int r = 0; r < 2; ++r)
                    if (fds[r].revents != 0 && !workers[r].drain())
                        workers[r].reap(false); // finished its share
            if (HasFatalFailure())
                return;
        }
        // Either process may be the one killed; it starts again where its acknowledgements end.
        Worker& victim = workers[random() % 2];
        if (victim.pid > 0) {
            victim.reap(true);
            if (HasFatalFailure())
                return;
            ++kills;
            if (victim.next < kPerRole)
                victim.start(path, &victim == &workers[0] ? 0 : 1);
        }
    }

    const TWPlistDictionary values = TWPlistFileStore(path).load();
    for (int role = 0; role < 2; ++role) {
        EXPECT_EQ(workers[role].next, kPerRole);
        // Each slot holds the last write acknowledged for it.
        const int last = workers[role].lastWrite;
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
}

} // namespace
