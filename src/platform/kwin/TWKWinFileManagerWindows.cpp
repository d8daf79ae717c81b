// SPDX-License-Identifier: MIT
// File-manager windows through the Plasma window management.
#include "TWKWinFileManagerWindows.h"

#include "TWLog.h"
#include "TWProcessLauncher.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>

namespace {
constexpr const char* kLogClass = "TWKWinFileManagerWindows";
} // namespace

TWKWinFileManagerWindows::TWKWinFileManagerWindows(TWKWinWorkspace& workspace,
                                                   std::string bundleIdentifier,
                                                   std::shared_ptr<TWKWinFileManagerState> state)
    : workspace_(workspace), bundleIdentifier_(std::move(bundleIdentifier)),
      state_(std::move(state)) {}

std::vector<TWFileManagerWindows::WindowId> TWKWinFileManagerWindows::windows() {
    std::vector<TWListedWindow> entries;
    for (const auto& app : workspace_.refresh()) {
        if (app.info.bundleIdentifier != bundleIdentifier_)
            continue;
        for (const auto& w : app.taskbarWins) {
            // A window we asked to close is on its way out; counting it again would make a
            // close-until-none loop wait for the file manager.
            if (state_->closing.isClosing(w.uuid))
                continue;
            // Once the compositor shows the collapse, the event is the truth again.
            if (w.minimized())
                state_->collapsing.erase(w.uuid);
            bool minimized = w.minimized() || state_->collapsing.count(w.uuid);
            auto number = numbers_.emplace(w.uuid, numbers_.size() + 1).first->second;
            listed_[number] = {w.uuid, w.pid};
            entries.push_back({number, minimized, w.stackingIndex});
        }
    }
    return TWFrontToBack(std::move(entries));
}

const TWKWinFileManagerWindows::Listed* TWKWinFileManagerWindows::find(WindowId window) const {
    auto it = listed_.find(window);
    return it == listed_.end() ? nullptr : &it->second;
}

void TWKWinFileManagerWindows::setCollapsed(WindowId window, bool collapsed) {
    const Listed* listed = find(window);
    if (!listed)
        return;
    // Collapsing carries no hidden mark: showing all applications leaves the window minimized.
    workspace_.connection().setMinimized(listed->uuid, collapsed);
    if (collapsed)
        state_->collapsing.insert(listed->uuid);
    else
        state_->collapsing.erase(listed->uuid);
}

void TWKWinFileManagerWindows::close(WindowId window) {
    const Listed* listed = find(window);
    if (!listed)
        return;
    workspace_.connection().close(listed->uuid);
    state_->closing.add(listed->uuid, listed->pid);
}

void TWKWinFileManagerWindows::waitForClosedWindows() {
    // A single-instance file manager hands a new window to its running process; if that process
    // is about to quit with its last window, the request would be lost with it.
    if (state_->closing.empty())
        return;
    const auto closing = state_->closing.take();
    auto& connection = workspace_.connection();
    connection.flush();
    auto start = std::chrono::steady_clock::now();
    connection.waitFor(
        [&] {
            auto snapshot = connection.current();
            for (const auto& [uuid, pid] : closing)
                if (snapshot.find(uuid))
                    return false;
            // A process that keeps running without windows gets a short grace to quit.
            for (const auto& [uuid, pid] : closing) {
                bool hasWindows = std::any_of(snapshot.windows.begin(), snapshot.windows.end(),
                                              [&](const TWKWinWindow& w) { return w.pid == pid; });
                if (!hasWindows && TWProcessLauncher::isRunning(pid) &&
                    std::chrono::steady_clock::now() - start < TWKWinCloseRequests::kQuitGrace)
                    return false;
            }
            return true;
        },
        TWKWinCloseRequests::kRemembered);
}

void TWKWinFileManagerWindows::openWindow() {
    auto argv = workspace_.desktopEntries().commandLineForID(bundleIdentifier_);
    if (argv.empty()) {
        TWLog(LOG_WARNING, kLogClass,
              "no desktop entry starts " + bundleIdentifier_ + "; no new window");
        return;
    }
    waitForClosedWindows();
    const char* home = std::getenv("HOME");
    TWProcessLauncher::spawnDetached(argv, home ? home : "");
}
