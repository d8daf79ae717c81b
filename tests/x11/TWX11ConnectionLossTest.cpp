// SPDX-License-Identifier: MIT
// The X11 backend when the X server goes away under it: every operation is a no-op, nothing
// crashes or hangs, and the loss is reported once.
#include "TWLog.h"
#include "TWTestDesktop.h"
#include "TWX11Desktop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>

namespace {

TEST(TWX11ConnectionLoss, EveryOperationAfterTheServerDiedIsANoOpWithOneLine) {
    // A write to the dead server's socket must not end the process.
    std::signal(SIGPIPE, SIG_IGN);
    TWTestDesktop desktop;
    ASSERT_TRUE(desktop.ok()) << desktop.error();
    pid_t pid = desktop.spawnTestClient({"--class", "lost,Lost"}, 2);
    ASSERT_GT(pid, 0);
    auto x11 = TWX11Desktop::open();
    ASSERT_NE(x11, nullptr);
    auto apps = x11->workspace().runningApplications();
    auto app = std::find_if(apps.begin(), apps.end(),
                            [&](const auto& a) { return a.processIdentifier == pid; });
    ASSERT_NE(app, apps.end());
    auto fileManager = x11->scriptingBridge().applicationWithBundleIdentifier("Lost");
    auto window = fileManager->FinderWindows()->firstObject();
    ASSERT_NE(window, nullptr);
    x11->frontSwitchSource().installFrontSwitchHandler([] {});

    std::vector<std::string> log;
    TWSetLogSink([&](const std::string& line) { log.push_back(line); });
    desktop.killServer();

    auto start = std::chrono::steady_clock::now();
    auto& workspace = x11->workspace();
    for (int round = 0; round < 2; ++round) {
        workspace.hide(*app);
        workspace.unhide(*app);
        workspace.activateWithOptions(*app, TWApplicationActivateIgnoringOtherApps);
        workspace.flush();
        EXPECT_TRUE(workspace.runningApplications().empty());
        window->setCollapsed(true);
        window->close();
        EXPECT_EQ(fileManager->FinderWindows()->count(), 0u);
        EXPECT_EQ(fileManager->FinderWindows()->firstObject(), nullptr);
        EXPECT_EQ(x11->keyboard().currentKeyModifiers(), 0u);
        x11->systemSound().beep();
        x11->dispatchPendingEvents();
        x11->sync();
    }
    x11.reset();
    auto elapsed = std::chrono::steady_clock::now() - start;
    TWSetLogSink({});
    // No operation waited for an answer that could not come.
    EXPECT_LT(elapsed, std::chrono::seconds(3));
    std::string all;
    for (const auto& line : log)
        all += line + "\n";
    ASSERT_EQ(log.size(), 1u) << all;
    EXPECT_NE(log[0].find("broken"), std::string::npos) << log[0];
}

} // namespace
