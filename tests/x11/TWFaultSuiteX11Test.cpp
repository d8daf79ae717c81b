// SPDX-License-Identifier: MIT
// Faults on the test desktop, through tidewell-x11 as a keyboard shortcut would run it: clients
// killed at random moments of hide-others and show-all, and the window manager killed (as a crash
// would) and started again in the middle of hide-others. After each round show-all must have
// brought back every window that is still there, and no mark may be left; checked with xprop, a
// program of its own.
#include "TWTestDesktop.h"
#include "TWTestPaths.h"
#include "TWTestTidewell.h"

#include <gtest/gtest.h>

#include <csignal>
#include <random>
#include <sys/wait.h>
#include <thread>

namespace {

struct Client {
    pid_t pid = -1;
    std::vector<unsigned long> windows;
};

class TWFaultSuiteX11Test : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(desktop.ok()) << desktop.error();
        // The file manager's windows are left alone: every window here is one show-all restores.
        tidewell.writeSharedSettings({{"Minimize", false}});
    }

    Client startClient() {
        static int serial = 0;
        const std::string name = "Fault" + std::to_string(serial++);
        Client c;
        c.pid = desktop.spawnTestClient({"--class", name + "," + name}, 2);
        c.windows = desktop.windowsOfPid(c.pid);
        return c;
    }

    // Runs the tool to its end; it must end by itself, whatever happened meanwhile.
    void finish(pid_t run) {
        int status = 0;
        ASSERT_EQ(::waitpid(run, &status, 0), run);
        ASSERT_TRUE(WIFEXITED(status)) << "tidewell-x11 did not end by itself";
    }

    // Every window of the living clients shown and unmarked (waiting for the window manager to
    // finish what it was asked).
    void expectAllShown(const std::vector<Client>& clients) {
        for (const auto& c : clients)
            for (unsigned long w : c.windows)
                EXPECT_TRUE(TWTestDesktop::waitFor(
                    [&] { return !desktop.isMinimized(w) && !desktop.hasHiddenMark(w); },
                    std::chrono::seconds(20)))
                    << "window " << w << " minimized: " << desktop.isMinimized(w)
                    << ", marked: " << desktop.hasHiddenMark(w);
    }

    TWTestDesktop desktop;
    TWTestTidewell tidewell{desktop};
    const std::string tool = TWTestProgramPath("tidewell-x11");
};

TEST_F(TWFaultSuiteX11Test, ClientsKilledDuringHideAndShowLoseNoOtherWindow) {
    constexpr int kRounds = 200;
    std::vector<Client> clients;
    for (int i = 0; i < 6; ++i)
        clients.push_back(startClient());
    std::mt19937 random(20261124);
    int killed = 0;
    for (int round = 0; round < kRounds; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        // One client dies while hide-others runs, another while show-all runs; each is replaced
        // by a new one before the round is checked.
        for (const char* action : {"hide-others", "show-all"}) {
            const pid_t run = desktop.spawn({tool, action});
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 30'000));
            const std::size_t victim = random() % clients.size();
            ::kill(clients[victim].pid, SIGKILL);
            desktop.terminate(clients[victim].pid);
            clients.erase(clients.begin() + static_cast<long>(victim));
            ++killed;
            finish(run);
            if (HasFatalFailure())
                return;
        }
        expectAllShown(clients);
        if (HasFailure())
            return;
        while (clients.size() < 6)
            clients.push_back(startClient());
    }
    EXPECT_EQ(killed, 2 * kRounds);
}

TEST_F(TWFaultSuiteX11Test, AWindowManagerCrashMidHideLosesNoWindow) {
    std::vector<Client> clients;
    for (int i = 0; i < 6; ++i)
        clients.push_back(startClient());
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
        for (const auto& c : clients)
            for (unsigned long w : c.windows)
                EXPECT_TRUE(!desktop.isIconic(w) || desktop.hasHiddenMark(w))
                    << "window " << w << " minimized without a mark: lost";
        finish(desktop.spawn({tool, "show-all"}));
        expectAllShown(clients);
        if (HasFailure())
            return;
    }
}

} // namespace
