// SPDX-License-Identifier: MIT
// Faults and load on the test desktop: clients killed at random moments of hide-others and
// show-all run by tidewellctl (as a keyboard shortcut would run it), the window manager killed
// (as a crash would) and started again in the middle of hide-others, and the running tidewell
// sent hide-all and show-all back to back over 500 windows while other windows come and go, and
// the follower of hidden windows stopped (its listen queue full, too) among runs killed and
// runs started together.
// Afterwards every window still there must be shown and unmarked; checked with xprop.
#include "TWTestPaths.h"
#include "TWTestTidewell.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
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
    // Waits for a run of the tool, which must end by itself within `bound` (a hang is for ever;
    // the load here can be heavy): one still going then is ended and counted a failure.
    void finish(pid_t run, seconds bound = seconds(120)) {
        const auto end = std::chrono::steady_clock::now() + bound;
        int status = 0;
        while (::waitpid(run, &status, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() >= end) {
                ADD_FAILURE() << "tidewellctl still ran after " << bound.count() << " s";
                desktop.terminate(run, SIGKILL);
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        EXPECT_TRUE(WIFEXITED(status)) << "tidewellctl did not end by itself";
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
        int lost = 0, marked = 0;
        for (pid_t c : clients)
            for (unsigned long w : desktop.windowsOfPid(c))
                if (!waitFor([&] { return !desktop.isMinimized(w) && !desktop.hasHiddenMark(w); },
                             std::chrono::duration_cast<std::chrono::milliseconds>(
                                 end - std::chrono::steady_clock::now())))
                    ++(desktop.hasHiddenMark(w) ? marked : lost);
        EXPECT_EQ(lost, 0) << "windows left minimized without a mark";
        EXPECT_EQ(marked, 0) << "windows still hidden";
    }

    TWTestDesktop desktop;
    TWTestTidewell tidewell{desktop};
    const std::string tool = TWTestProgramPath("tidewellctl");
    std::vector<pid_t> clients;
};

// The kill lands inside a show-all's requests in few rounds: a run that ended on the X error for
// a window that had closed was first caught in round 45, so 40 rounds are too few.
TEST_F(TWFaultSuiteX11Test, ClientsKilledDuringHideAndShowLoseNoOtherWindow) {
    std::mt19937 random(20261124);
    for (int round = 0; round < 200 && !HasFailure(); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        startClients(6);
        // One client dies while hide-others runs, another while show-all runs.
        for (const char* action : {"hide-others", "show-all"}) {
            const pid_t run = desktop.spawn({tool, action});
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 30'000));
            const auto victim = clients.begin() + long(random() % clients.size());
            desktop.terminate(*victim);
            clients.erase(victim);
            finish(run);
        }
        expectAllShown();
    }
}

TEST_F(TWFaultSuiteX11Test, AWindowManagerCrashMidHideLosesNoWindow) {
    startClients(6);
    // The crash comes at a different moment of the action each round: before the requests,
    // among them, and after them while the window manager works through them.
    for (int delayMs : {0, 2, 5, 10, 20, 40}) {
        SCOPED_TRACE("crash after " + std::to_string(delayMs) + " ms");
        const pid_t hide = desktop.spawn({tool, "hide-others"});
        std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
        ASSERT_TRUE(desktop.restartWindowManager());
        finish(hide);
        finish(desktop.spawn({tool, "show-all"}));
        // A window manager that has just started can drop a restore it is sent (seen with
        // openbox in about one round of a hundred, twice asked). Such a window must still be
        // minimized with its mark, so that the next show-all brings it back: nothing is lost.
        for (pid_t c : clients)
            for (unsigned long w : desktop.windowsOfPid(c))
                EXPECT_TRUE(!desktop.isIconic(w) || desktop.hasHiddenMark(w))
                    << "window " << w << " minimized without a mark: lost";
        finish(desktop.spawn({tool, "show-all"}));
        expectAllShown();
        if (HasFailure())
            return;
    }
}

// A shortcut held down: 200 runs of hide-others at once over 22 windows. None takes the busy
// window manager for one that cannot minimize, every window ends minimized with its mark, and
// one show-all brings them all back.
TEST_F(TWFaultSuiteX11Test, TwoHundredConcurrentRunsMarkEveryWindowTheyMinimize) {
    startClients(11);
    std::vector<pid_t> runs;
    for (int i = 0; i < 200; ++i)
        runs.push_back(desktop.spawn({tool, "hide-others"}));
    int cannotHide = 0;
    for (pid_t run : runs) {
        int status = 0;
        ASSERT_EQ(::waitpid(run, &status, 0), run);
        cannotHide += WIFEXITED(status) && WEXITSTATUS(status) == 3;
    }
    EXPECT_EQ(cannotHide, 0);
    int unmarked = 0, shown = 0;
    for (pid_t c : clients)
        for (unsigned long w : desktop.windowsOfPid(c))
            ++(!desktop.isIconic(w) ? shown : desktop.hasHiddenMark(w) ? cannotHide : unmarked);
    EXPECT_EQ(unmarked, 0) << "windows minimized without a mark";
    EXPECT_EQ(shown, 0);
    finish(desktop.spawn({tool, "show-all"}));
    expectAllShown();
}

// The window manager dies while windows are hidden. A show-all made with none running shows
// them (it finds them among the root's children) and leaves no state a new window manager
// would take for minimized; one made after a new window manager has started restores them.
TEST_F(TWFaultSuiteX11Test, WindowsHiddenWhenTheWindowManagerDiesAreShownWithOrWithoutOne) {
    startClients(3);
    for (bool showWithoutOne : {true, false}) {
        SCOPED_TRACE(showWithoutOne ? "shown with none running" : "shown under a new one");
        finish(desktop.spawn({tool, "hide-others"}));
        std::vector<unsigned long> windows;
        for (pid_t c : clients)
            for (unsigned long w : desktop.windowsOfPid(c))
                windows.push_back(w);
        ASSERT_EQ(windows.size(), 6u);
        desktop.killWindowManager();
        if (showWithoutOne) {
            finish(desktop.spawn({tool, "show-all"}));
            for (unsigned long w : windows) {
                EXPECT_FALSE(desktop.hasHiddenMark(w)) << w;
                EXPECT_FALSE(desktop.isMinimized(w)) << w;
                EXPECT_NE(run({"xwininfo", "-id", std::to_string(w)}).find("IsViewable"),
                          std::string::npos)
                    << w;
            }
        }
        ASSERT_TRUE(desktop.restartWindowManager());
        if (!showWithoutOne)
            finish(desktop.spawn({tool, "show-all"}));
        expectAllShown();
    }
}

// A window the tool hid that the user restores by hand and minimizes again is the user's
// minimized window from then on: show-all leaves it alone and brings back the others. First
// with the tool alone, then with the application running too (it does not list the desktop
// while the tool acts, so it would not see the window come back either). What followed the
// marks for the tool is gone once nothing is hidden.
TEST_F(TWFaultSuiteX11Test, AWindowRestoredByHandAndMinimizedAgainStaysMinimized) {
    startClients(2);
    std::vector<unsigned long> windows;
    for (pid_t c : clients)
        for (unsigned long w : desktop.windowsOfPid(c))
            windows.push_back(w);
    ASSERT_EQ(windows.size(), 4u);
    const unsigned long mine = windows[0];
    char id[32];
    std::snprintf(id, sizeof id, "0x%lx", mine);
    for (bool withApplication : {false, true}) {
        SCOPED_TRACE(withApplication ? "with the application" : "the tool alone");
        if (withApplication) {
            if (!std::filesystem::exists(TWTestTidewell::programPath()))
                GTEST_SKIP() << "built without the Qt programs";
            ASSERT_GT(tidewell.start(), 0) << tidewell.log();
            run({"wmctrl", "-i", "-a", id});
        }
        ASSERT_TRUE(waitFor([&] { return !desktop.isMinimized(mine); }));
        finish(desktop.spawn({tool, "hide-others"}));
        ASSERT_TRUE(desktop.isIconic(mine) && desktop.hasHiddenMark(mine));
        run({"wmctrl", "-i", "-a", id});
        ASSERT_TRUE(waitFor([&] { return !desktop.isMinimized(mine); }));
        // Nothing tells a later run that the window was back: only something that follows it
        // sees it, and the mark goes then.
        EXPECT_TRUE(waitFor([&] { return !desktop.hasHiddenMark(mine); })) << "mark kept";
        run({"xdotool", "windowminimize", std::to_string(mine)});
        ASSERT_TRUE(waitFor([&] { return desktop.isIconic(mine); }));
        finish(desktop.spawn({tool, "show-all"}));
        EXPECT_TRUE(desktop.isIconic(mine)) << "the user's minimized window was shown";
        EXPECT_FALSE(desktop.hasHiddenMark(mine));
        for (unsigned long w : windows) {
            if (w == mine)
                continue;
            EXPECT_TRUE(waitFor([&] {
                return !desktop.isMinimized(w) && !desktop.hasHiddenMark(w);
            })) << w;
        }
        EXPECT_TRUE(waitFor([&] {
            return TWTestSession::processesWith("DISPLAY=" + desktop.display(), "tidewellctl")
                .empty();
        })) << "the tool left a process behind";
    }
}

// The follower of hidden windows stopped (as a debugger, or a round trip that never ends, would
// stop it), then stopped with its listen queue full: every run still ends in time, the stopped
// follower is replaced rather than waited for again, and everything comes back.
TEST_F(TWFaultSuiteX11Test, AStoppedFollowerHoldsUpNoRun) {
    startClients(3);
    finish(desktop.spawn({tool, "hide-others"}));
    for (bool fullQueue : {false, true}) {
        SCOPED_TRACE(fullQueue ? "stopped, its queue full" : "stopped");
        const std::vector<pid_t> stopped = followers();
        ASSERT_EQ(stopped.size(), 1u);
        ::kill(stopped[0], SIGSTOP);
        std::vector<int> queued;
        if (fullQueue) {
            queued = fillFollowerQueue();
            ASSERT_FALSE(queued.empty());
        }
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
    }
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
}

// A shortcut held down while things go wrong: rounds of 50 runs at once, hide-others and
// show-all mixed, some killed at random moments, the follower stopped in every other round.
// After each round every minimized window carries its mark; one show-all brings all back.
TEST_F(TWFaultSuiteX11Test, FollowerFaultsKilledAndConcurrentRunsLeaveEveryHiddenWindowMarked) {
    startClients(6);
    std::mt19937 random(20261126);
    for (int round = 0; round < 8 && !HasFailure(); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
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
        for (pid_t run : runs)
            finish(run);
        expectEveryMinimizedMarked();
    }
    for (pid_t follower : followers())
        ::kill(follower, SIGCONT);
    finish(desktop.spawn({tool, "show-all"}));
    expectAllShown();
}

TEST_F(TWFaultSuiteX11Test, BackToBackHideAndShowThroughTheInstanceLosesNoWindow) {
    if (!std::filesystem::exists(TWTestTidewell::programPath()))
        GTEST_SKIP() << "built without the Qt programs";
    // TIDEWELL_STRESS_ROUNDS shortens or lengthens a local run.
    const char* rounds = std::getenv("TIDEWELL_STRESS_ROUNDS");
    const int n = rounds && std::atoi(rounds) > 0 ? std::atoi(rounds) : 200;
    for (int i = 0; i < 100; ++i) {
        const std::string cls = "Stress" + std::to_string(i);
        clients.push_back(desktop.spawn(
            {TWTestDesktop::testClientPath(), "--class", cls + "," + cls, "--windows", "5"}));
    }
    ASSERT_TRUE(waitFor([&] { return desktop.windows().size() >= 500; }, seconds(120)));
    ASSERT_GT(tidewell.start(), 0) << tidewell.log();
    // Windows come and go all along.
    desktop.spawn({"sh", "-c",
                   "while :; do '" + TWTestDesktop::testClientPath() +
                       "' --class Churn,Churn --windows 3 & p=$!; sleep 0.2; kill $p; done"});
    for (int round = 0; round < n; ++round) {
        // Both on their way before the first is answered: show-all right behind hide-all.
        const auto replies = TWTestTidewell::requestsAtOnce({"hide-all", "show-all"});
        ASSERT_FALSE(replies[0].empty() || replies[1].empty()) << "round " << round << ":\n"
                                                               << tidewell.log();
    }
    expectAllShown(seconds(60));
    if (HasFailure())
        std::fprintf(stderr, "tidewell's log:\n%s\n", tidewell.log().c_str());
}

} // namespace
