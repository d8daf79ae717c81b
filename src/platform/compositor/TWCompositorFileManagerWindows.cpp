// SPDX-License-Identifier: MIT
// File-manager windows through a compositor's window list.
#include "TWCompositorFileManagerWindows.h"

#include "TWLog.h"
#include "TWProcessLauncher.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>

namespace {
constexpr const char* kLogClass = "TWCompositorFileManagerWindows";
} // namespace

TWCompositorFileManagerWindows::TWCompositorFileManagerWindows(
    TWCompositorWorkspace& workspace, std::string bundleIdentifier,
    std::shared_ptr<TWCompositorCloseRequests> closing)
    : workspace_(workspace), bundleIdentifier_(std::move(bundleIdentifier)),
      closing_(std::move(closing)) {}

std::vector<TWFileManagerWindows::WindowId> TWCompositorFileManagerWindows::windows() {
    std::vector<TWListedWindow> entries;
    // The action's own listing serves until one of its requests may have changed the windows.
    for (const auto& app : workspace_.refresh(false)) {
        if (app.info.bundleIdentifier != bundleIdentifier_)
            continue;
        for (const auto& w : app.taskbarWins) {
            // A window we asked to close is on its way out; counting it again would make a
            // close-until-none loop wait for the file manager.
            if (closing_->isClosing(w.id))
                continue;
            // Once the compositor shows the collapse, the event is the truth again.
            if (w.minimized)
                collapsing_.erase(w.id);
            // A window Tidewell hid (marked) is hidden, not collapsed: it can still be collapsed.
            bool minimized = collapsing_.count(w.id) || (w.minimized && !workspace_.isMarked(w.id));
            auto number = numbers_.emplace(w.id, numbers_.size() + 1).first->second;
            listed_[number] = {w.id, w.pid};
            entries.push_back({number, minimized, w.stackingIndex});
        }
    }
    return TWFrontToBack(std::move(entries));
}

const TWCompositorFileManagerWindows::Listed*
TWCompositorFileManagerWindows::find(WindowId window) const {
    auto it = listed_.find(window);
    return it == listed_.end() ? nullptr : &it->second;
}

void TWCompositorFileManagerWindows::setCollapsed(WindowId window, bool collapsed) {
    const Listed* listed = find(window);
    if (!listed)
        return;
    // Collapsing carries no hidden mark, also on a window just hidden: showing all applications
    // leaves the window minimized.
    workspace_.windows().setMinimized(listed->id, collapsed);
    if (collapsed) {
        collapsing_.insert(listed->id);
        workspace_.forgetMark(listed->id);
    } else
        collapsing_.erase(listed->id);
}

void TWCompositorFileManagerWindows::close(WindowId window) {
    const Listed* listed = find(window);
    if (!listed)
        return;
    workspace_.windows().close(listed->id);
    closing_->add(listed->id, listed->pid);
}

void TWCompositorFileManagerWindows::waitForClosedWindows() {
    // A single-instance file manager hands a new window to its running process; if that process
    // is about to quit with its last window, the request would be lost with it.
    if (closing_->empty())
        return;
    const auto closing = closing_->take();
    auto& windows = workspace_.windows();
    windows.flush();
    auto start = std::chrono::steady_clock::now();
    windows.waitFor(
        [&] {
            auto snapshot = windows.current();
            for (const auto& [id, pid] : closing)
                if (snapshot.find(id))
                    return false;
            // A process that keeps running without windows gets a short grace to quit.
            for (const auto& [id, pid] : closing) {
                bool hasWindows = std::any_of(
                    snapshot.windows.begin(), snapshot.windows.end(),
                    [&, pid = pid](const TWCompositorWindow& w) { return w.pid == pid; });
                if (!hasWindows && TWProcessLauncher::isRunning(pid) &&
                    std::chrono::steady_clock::now() - start <
                        TWCompositorCloseRequests::kQuitGrace)
                    return false;
            }
            return true;
        },
        TWCompositorCloseRequests::kRemembered);
}

void TWCompositorFileManagerWindows::openWindow() {
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
