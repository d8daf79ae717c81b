// SPDX-License-Identifier: MIT
// The running tidewell under load: 500 windows from 100 clients, hide-others and show-all sent
// back to back to the instance round after round while other clients keep creating and
// destroying windows. Afterwards an independent observer (xprop) finds every window shown and
// unmarked: show-all never lost one to a minimize still under way.
#include "TWTestDesktop.h"
#include "TWTestTidewell.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace {

constexpr int kClients = 100;
constexpr int kWindowsEach = 5;

int rounds() {
    // TIDEWELL_STRESS_ROUNDS shortens or lengthens a local run.
    const char* value = std::getenv("TIDEWELL_STRESS_ROUNDS");
    return value && std::atoi(value) > 0 ? std::atoi(value) : 200;
}

TEST(TidewellStressX11Test, BackToBackHideAndShowThroughTheInstanceLosesNoWindow) {
    TWTestDesktop desktop;
    ASSERT_TRUE(desktop.ok()) << desktop.error();
    TWTestTidewell tidewell(desktop);
    tidewell.writeSharedSettings({{"Minimize", false}});
    std::vector<pid_t> clients;
    for (int i = 0; i < kClients; ++i) {
        const std::string cls = "Stress" + std::to_string(i);
        clients.push_back(
            desktop.spawn({TWTestDesktop::testClientPath(), "--class", cls + "," + cls, "--windows",
                           std::to_string(kWindowsEach)}));
    }
    std::vector<unsigned long> windows;
    ASSERT_TRUE(TWTestDesktop::waitFor(
        [&] {
            windows.clear();
            for (const auto& w : desktop.windows())
                if (std::find(clients.begin(), clients.end(), w.pid) != clients.end())
                    windows.push_back(w.id);
            return windows.size() == static_cast<size_t>(kClients * kWindowsEach);
        },
        std::chrono::seconds(120)))
        << windows.size() << " windows";
    ASSERT_GT(tidewell.start(), 0) << tidewell.log();
    // Windows come and go all along.
    desktop.spawn({"sh", "-c",
                   "while :; do '" + TWTestDesktop::testClientPath() +
                       "' --class Churn,Churn --windows 3 & p=$!; sleep 0.2; kill $p; done"});

    const int n = rounds();
    for (int round = 0; round < n; ++round) {
        // Both on their way before the first is answered: show-all right behind hide-others.
        const auto replies = TWTestTidewell::requestsAtOnce({"hide-all", "show-all"});
        ASSERT_FALSE(replies[0].empty() || replies[1].empty())
            << "round " << round << ", tidewell's log:\n"
            << tidewell.log();
    }

    int lost = 0, marked = 0;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    for (auto w : windows) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        const bool shown = TWTestDesktop::waitFor(
            [&] {
                const std::string state = TWTestDesktop::run(
                    {"xprop", "-id", TWTestDesktop::hex(w), "WM_STATE", "_TIDEWELL_HIDDEN"});
                return state.find("Normal") != std::string::npos &&
                       state.find("_TIDEWELL_HIDDEN(CARDINAL)") == std::string::npos;
            },
            std::max(left, std::chrono::milliseconds(0)));
        if (!shown) {
            const bool hasMark = desktop.hasHiddenMark(w);
            lost += hasMark ? 0 : 1;
            marked += hasMark ? 1 : 0;
        }
    }
    EXPECT_EQ(lost, 0) << "windows left minimized without a mark, out of " << windows.size();
    EXPECT_EQ(marked, 0) << "windows still hidden, out of " << windows.size();
    if (HasFailure())
        std::fprintf(stderr, "tidewell's log:\n%s\n", tidewell.log().c_str());
}

} // namespace
