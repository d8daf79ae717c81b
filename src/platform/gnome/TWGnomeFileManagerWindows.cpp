// SPDX-License-Identifier: MIT
// File-manager windows through the extension's window service.
#include "TWGnomeFileManagerWindows.h"

#include "TWLog.h"
#include "TWProcessLauncher.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>

namespace {
constexpr const char* kLogClass = "TWGnomeFileManagerWindows";
} // namespace

TWGnomeFileManagerWindows::TWGnomeFileManagerWindows(TWGnomeWorkspace& workspace,
                                                     std::string bundleIdentifier,
                                                     std::shared_ptr<TWGnomeFileManagerState> state)
    : workspace_(workspace), bundleIdentifier_(std::move(bundleIdentifier)),
      state_(std::move(state)) {}

std::vector<TWFileManagerWindows::WindowId> TWGnomeFileManagerWindows::windows() {
    std::vector<TWListedWindow> entries;
    for (const auto& app : workspace_.refresh()) {
        if (app.info.bundleIdentifier != bundleIdentifier_)
            continue;
        for (const auto& w : app.taskbarWins) {
            // A window we asked to close is on its way out; counting it again would make a
            // close-until-none loop wait for the file manager.
            if (state_->closing.isClosing(w.id))
                continue;
            // Once the shell shows the collapse, the listing is the truth again.
            if (w.minimized)
                state_->collapsing.erase(w.id);
            bool minimized = w.minimized || state_->collapsing.count(w.id);
            listed_[w.id] = {w.pid};
            entries.push_back({w.id, minimized, w.stackingIndex});
        }
    }
    return TWFrontToBack(std::move(entries));
}

const TWGnomeFileManagerWindows::Listed* TWGnomeFileManagerWindows::find(WindowId window) const {
    auto it = listed_.find(window);
    return it == listed_.end() ? nullptr : &it->second;
}

void TWGnomeFileManagerWindows::setCollapsed(WindowId window, bool collapsed) {
    if (!find(window))
        return;
    // Collapsing carries no hidden mark: showing all applications leaves the window minimized.
    workspace_.connection().setMinimized(window, collapsed);
    if (collapsed)
        state_->collapsing.insert(window);
    else
        state_->collapsing.erase(window);
}

void TWGnomeFileManagerWindows::close(WindowId window) {
    const Listed* listed = find(window);
    if (!listed)
        return;
    workspace_.connection().close(window);
    state_->closing.add(window, listed->pid);
}

void TWGnomeFileManagerWindows::waitForClosedWindows() {
    // A single-instance file manager hands a new window to its running process; if that process
    // is about to quit with its last window, the request would be lost with it.
    if (state_->closing.empty())
        return;
    const auto closing = state_->closing.take();
    auto& connection = workspace_.connection();
    auto start = std::chrono::steady_clock::now();
    connection.waitFor(
        [&] {
            auto snapshot = connection.current();
            for (const auto& [id, pid] : closing)
                if (snapshot.find(id))
                    return false;
            // A process that keeps running without windows gets a short grace to quit.
            for (const auto& [id, pid] : closing) {
                bool hasWindows =
                    std::any_of(snapshot.windows.begin(), snapshot.windows.end(),
                                [&, pid = pid](const TWGnomeWindow& w) { return w.pid == pid; });
                if (!hasWindows && TWProcessLauncher::isRunning(pid) &&
                    std::chrono::steady_clock::now() - start < TWGnomeCloseRequests::kQuitGrace)
                    return false;
            }
            return true;
        },
        TWGnomeCloseRequests::kRemembered);
}

void TWGnomeFileManagerWindows::openWindow() {
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
