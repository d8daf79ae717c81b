// SPDX-License-Identifier: MIT
// Faults and load on the test desktop, with hide-others and show-all run by tidewellctl (as a
// keyboard shortcut would run it): clients killed at random moments of the actions, hundreds of
// runs at once, some killed, and the follower of hidden windows stopped (its listen queue full,
// too). Afterwards every window still there must be shown and unmarked; checked with xprop.
#include "TWTestPaths.h"
#include "TWTestTidewell.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using std::chrono::seconds;

class TWFaultSuiteX11Test : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(desktop.ok()) << desktop.error();
        // The file manager's windows are left alone: every window here is one show-all restores.
        tidewell.writeSharedSettings({{"Minimize", false}});
    }
    // Clients with two windows each, until there are `count`.
    void startClients(size_t count) {
        static int serial = 0;
        while (clients.size() < count) {
            const std::string name = "Fault" + std::to_string(serial++);
            clients.push_back(desktop.spawnTestClient({"--class", name + "," + name}, 2));
        }
    }
    // Waits for a run of the tool, which must end by itself, done, within `bound` (a hang is for
    // ever; the load here can be heavy): one still going then is ended and counted a failure.
    void finish(pid_t run, seconds bound = seconds(120)) {
        int status = 0;
        if (waitFor([&] { return ::waitpid(run, &status, WNOHANG) != 0; }, bound))
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
        else {
            ADD_FAILURE() << "tidewellctl still ran after " << bound.count() << " s";
            desktop.terminate(run, SIGKILL);
        }
    }
    // The followers of hidden windows the tool started on this display.
    std::vector<pid_t> followers() const {
        std::vector<pid_t> found;
        for (pid_t pid :
             TWTestSession::processesWith("DISPLAY=" + desktop.display(), "tidewellctl")) {
            std::ifstream cmdline("/proc/" + std::to_string(pid) + "/cmdline");
            std::string line((std::istreambuf_iterator<char>(cmdline)), {});
            if (line.find("--follow-marks") != std::string::npos)
                found.push_back(pid);
        }
        return found;
    }
    // Connections to the follower's socket until its listen queue takes no more; they stay
    // open until closed by the caller.
    std::vector<int> fillFollowerQueue() const {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string path = std::string(std::getenv("XDG_RUNTIME_DIR")) +
                                 "/tidewell/mark-follower-" + desktop.display() + ".socket";
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        std::vector<int> open;
        for (int i = 0; i < 1000; ++i) {
            const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0);
            if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
                ::close(fd);
                break;
            }
            open.push_back(fd);
        }
        return open;
    }
    // No window minimized without a mark: only Tidewell minimizes here, so no show-all could
    // bring such a window back.
    void expectEveryMinimizedMarked() {
        for (pid_t c : clients)
            for (unsigned long w : desktop.windowsOfPid(c))
                EXPECT_TRUE(!desktop.isMinimized(w) || desktop.hasHiddenMark(w))
                    << "window " << w << " minimized without a mark";
    }
    // Every window of the living clients shown and unmarked, within `bound` for them all.
    void expectAllShown(seconds bound = seconds(20)) {
        const auto end = std::chrono::steady_clock::now() + bound;
        for (pid_t c : clients)
            for (unsigned long w : desktop.windowsOfPid(c))
                EXPECT_TRUE(
                    waitFor([&] { return !desktop.isMinimized(w) && !desktop.hasHiddenMark(w); },
                            std::chrono::duration_cast<std::chrono::milliseconds>(
                                end - std::chrono::steady_clock::now())))
                    << "window " << w
                    << (desktop.hasHiddenMark(w) ? " still hidden" : " minimized without a mark");
    }

    TWTestDesktop desktop;
    TWTestTidewell tidewell{desktop};
    const std::string tool = TWTestProgramPath("tidewellctl");
    std::vector<pid_t> clients;
};

// The follower of hidden windows stopped (as a debugger, or a round trip that never ends, would
// stop it) with its listen queue full: every run still ends in time, the stopped follower is
// replaced rather than waited for again, and everything comes back. Then the follower at work.
TEST_F(TWFaultSuiteX11Test, AStoppedFollowerHoldsUpNoRunAWorkingOneFollowsTheUser) {
    startClients(3);
    finish(desktop.spawn({tool, "hide-others"}));
    const std::vector<pid_t> stopped = followers();
    ASSERT_EQ(stopped.size(), 1u);
    ::kill(stopped[0], SIGSTOP);
    const std::vector<int> queued = fillFollowerQueue();
    ASSERT_FALSE(queued.empty());
    for (const char* action : {"show-all", "hide-others", "hide-others"})
        finish(desktop.spawn({tool, action}), seconds(15));
    for (int fd : queued)
        ::close(fd);
    EXPECT_TRUE(waitFor([&] { return ::kill(stopped[0], 0) != 0; }))
        << "the stopped follower is still there";
    ::kill(stopped[0], SIGCONT);
    expectEveryMinimizedMarked();
    if (HasFailure())
        return;
    // One stopped while it holds the runs' lock for a look (here a stand-in that names itself
    // a follower in the lock): the next run ends it rather than wait out its bound.
    const std::string runLock =
        std::string(std::getenv("XDG_RUNTIME_DIR")) + "/tidewell/command-line.lock";
    auto named = [&runLock] {
        std::string pid;
        std::ifstream(runLock) >> pid;
        return pid;
    };
    const std::string before = named();
    const pid_t holder =
        desktop.spawn({"flock", "-o", runLock, "sh", "-c",
                       "echo $$ > '" + runLock + "'; sleep 600; :", "--follow-marks"});
    ASSERT_TRUE(waitFor([&] { return named() != before; }));
    finish(desktop.spawn({tool, "show-all"}), seconds(15));
    desktop.terminate(holder);
    finish(desktop.spawn({tool, "show-all"}));
    expectAllShown();

    // A window the tool hid that the user restores by hand and minimizes again is the user's
    // minimized window from then on: only the follower the tool leaves behind sees it come back,
    // and drops its mark then, so show-all leaves it alone and brings back the others. The
    // follower is gone once nothing is hidden.
    const unsigned long mine = desktop.windowsOfPid(clients[0]).at(0);
    finish(desktop.spawn({tool, "hide-others"}));
    ASSERT_TRUE(desktop.isIconic(mine) && desktop.hasHiddenMark(mine));
    run({"wmctrl", "-i", "-a", std::to_string(mine)});
    ASSERT_TRUE(waitFor([&] { return !desktop.isMinimized(mine); }));
    EXPECT_TRUE(waitFor([&] { return !desktop.hasHiddenMark(mine); })) << "mark kept";
    run({"xdotool", "windowminimize", std::to_string(mine)});
    ASSERT_TRUE(waitFor([&] { return desktop.isIconic(mine); }));
    finish(desktop.spawn({tool, "show-all"}));
    EXPECT_TRUE(desktop.isIconic(mine)) << "the user's minimized window was shown";
    EXPECT_FALSE(desktop.hasHiddenMark(mine));
    run({"wmctrl", "-i", "-a", std::to_string(mine)});
    expectAllShown();
    EXPECT_TRUE(waitFor([&] {
        return TWTestSession::processesWith("DISPLAY=" + desktop.display(), "tidewellctl").empty();
    })) << "the tool left a process behind";
}

// A shortcut held down: first 200 runs of hide-others at once over 22 windows, where none may
// take the busy window manager for one that cannot minimize and every window ends minimized with
// its mark; then, while things go wrong, rounds of 50 runs at once, hide-others and show-all
// mixed, some killed at random moments, a client killed too, the follower stopped in every other
// round. After each round every minimized window carries its mark; one show-all brings all back.
TEST_F(TWFaultSuiteX11Test, ConcurrentRunsSomeKilledMarkEveryWindowTheyMinimize) {
    startClients(11);
    std::vector<pid_t> all;
    for (int i = 0; i < 200; ++i)
        all.push_back(desktop.spawn({tool, "hide-others"}));
    int cannotHide = 0;
    for (pid_t run : all) {
        int status = 0;
        ASSERT_EQ(::waitpid(run, &status, 0), run);
        cannotHide += WIFEXITED(status) && WEXITSTATUS(status) == 3;
    }
    EXPECT_EQ(cannotHide, 0);
    for (pid_t c : clients)
        for (unsigned long w : desktop.windowsOfPid(c))
            EXPECT_TRUE(desktop.isIconic(w) && desktop.hasHiddenMark(w)) << w;
    std::mt19937 random(20261126);
    for (int round = 0; round < 8 && !HasFailure(); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        startClients(11);
        if (round % 2)
            for (pid_t follower : followers())
                ::kill(follower, SIGSTOP);
        std::vector<pid_t> runs;
        for (int i = 0; i < 50; ++i)
            runs.push_back(desktop.spawn({tool, random() % 3 ? "hide-others" : "show-all"}));
        for (int i = 0; i < 5; ++i) {
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 50'000));
            const pid_t victim = runs[random() % runs.size()];
            desktop.terminate(victim, SIGKILL);
            std::erase(runs, victim);
        }
        // A client dies while the runs address its windows: no run may end on that.
        const auto victim = clients.begin() + long(random() % clients.size());
        desktop.terminate(*victim);
        clients.erase(victim);
        for (pid_t run : runs)
            finish(run);
        expectEveryMinimizedMarked();
    }
    for (pid_t follower : followers())
        ::kill(follower, SIGCONT);
    finish(desktop.spawn({tool, "show-all"}));
    expectAllShown();
}

} // namespace
