// SPDX-License-Identifier: MIT
// File-manager windows through EWMH: listing by stacking order, iconify, close, new windows.
#include "TWX11FileManagerWindows.h"

#include "TWLog.h"
#include "TWProcessLauncher.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>

namespace {
constexpr const char* kLogClass = "TWX11FileManagerWindows";
} // namespace

TWX11FileManagerWindows::TWX11FileManagerWindows(TWX11Workspace& workspace,
                                                 std::string bundleIdentifier,
                                                 std::shared_ptr<TWX11CloseRequests> closing)
    : workspace_(workspace), bundleIdentifier_(std::move(bundleIdentifier)),
      closing_(std::move(closing)) {}

void TWX11FileManagerWindows::startWhenClosedAreGone(std::vector<std::string> argv) {
    const char* home = std::getenv("HOME");
    auto start = [argv, dir = std::string(home ? home : "")] {
        TWProcessLauncher::spawnDetached(argv, dir);
    };
    // A single-instance file manager hands a new window to its running process; if that process
    // is about to quit with its last window, the request would be lost with it. The start waits
    // (without holding up the caller) until the closed windows are gone and a process left
    // without windows has had a moment to quit.
    if (closing_->empty()) {
        start();
        return;
    }
    auto closing = closing_->take();
    auto& connection = workspace_.connection();
    std::optional<std::chrono::steady_clock::time_point> goneAt;
    auto ready = [&connection, closing, goneAt]() mutable {
        std::vector<xcb_window_t> stacking;
        connection.snapshotOf({}, stacking);
        for (const auto& [window, pid] : closing)
            if (std::find(stacking.begin(), stacking.end(), window) != stacking.end())
                return false;
        const auto now = std::chrono::steady_clock::now();
        if (!goneAt)
            goneAt = now;
        if (now - *goneAt >= TWX11CloseRequests::kQuitGrace)
            return true;
        const auto snapshot = connection.snapshot();
        for (const auto& [window, pid] : closing) {
            bool hasWindows = std::any_of(snapshot.windows.begin(), snapshot.windows.end(),
                                          [&](const TWX11Window& w) { return w.pid == pid; });
            if (!hasWindows && TWProcessLauncher::isRunning(pid))
                return false;
        }
        return true;
    };
    workspace_.whenReady(ready, std::chrono::steady_clock::now() + TWX11CloseRequests::kRemembered,
                         start);
}

namespace {
bool hasAtom(const std::vector<xcb_atom_t>& atoms, xcb_atom_t atom) {
    return std::find(atoms.begin(), atoms.end(), atom) != atoms.end();
}

// Whether two readings of a window describe the same window of the same application: what
// decides its application and its kind, never its title or state.
bool sameIdentity(const TWX11Window& a, const TWX11Window& b) {
    return a.pid == b.pid && a.wmInstance == b.wmInstance && a.wmClass == b.wmClass &&
           a.kdeDesktopFile == b.kdeDesktopFile && a.gtkApplicationID == b.gtkApplicationID &&
           a.types == b.types && a.hasTransientFor == b.hasTransientFor &&
           a.transientFor == b.transientFor;
}
} // namespace

std::vector<TWFileManagerWindows::WindowId> TWX11FileManagerWindows::windows() {
    if (known_)
        if (auto windows = windowsFromKnown())
            return *windows;
    return windowsFromSnapshot();
}

std::vector<TWFileManagerWindows::WindowId> TWX11FileManagerWindows::windowsFromSnapshot() {
    const auto& apps = workspace_.refresh();
    const auto& snapshot = workspace_.lastSnapshot();
    const xcb_window_t idMask =
        xcb_get_setup(workspace_.connection().connection())->resource_id_mask;
    Known known;
    std::set<xcb_window_t> clients;
    std::vector<const TWX11Window*> candidates;
    for (const auto& app : apps) {
        if (app.info.bundleIdentifier != bundleIdentifier_)
            continue;
        for (const auto& w : app.windows) {
            known.fileManager.insert(w.id);
            clients.insert(w.id & ~idMask);
        }
        // The desktop window never reaches appWindows.
        for (const auto& w : app.appWindows)
            candidates.push_back(&w);
    }
    for (const auto& w : snapshot.windows) {
        known.seen.insert(w.id);
        if (clients.count(w.id & ~idMask))
            known.sameClients.emplace(w.id, w);
    }
    known_ = std::move(known);
    return listed(candidates, [&](xcb_window_t id) { return snapshot.find(id) != nullptr; });
}

std::optional<std::vector<TWFileManagerWindows::WindowId>>
TWX11FileManagerWindows::windowsFromKnown() {
    auto& connection = workspace_.connection();
    std::vector<xcb_window_t> watched;
    watched.reserve(known_->sameClients.size());
    for (const auto& [id, w] : known_->sameClients)
        watched.push_back(id);
    std::vector<xcb_window_t> stacking;
    const TWX11Snapshot now = connection.snapshotOf(watched, stacking);
    if (connection.hasError())
        return std::nullopt;
    for (xcb_window_t id : stacking)
        if (!known_->seen.count(id))
            return std::nullopt; // a new window: whose it is takes a full snapshot to tell
    const auto& ewmh = connection.ewmh();
    std::vector<const TWX11Window*> candidates;
    for (const auto& w : now.windows) {
        auto before = known_->sameClients.find(w.id);
        if (before == known_->sameClients.end() || !sameIdentity(before->second, w))
            return std::nullopt; // the ID now names another window
        // As the snapshot's grouping does: the desktop, panels and splash screens are no
        // application windows. A window that closed is simply not among `now`.
        if (!known_->fileManager.count(w.id) ||
            hasAtom(w.types, ewmh._NET_WM_WINDOW_TYPE_DESKTOP) ||
            hasAtom(w.types, ewmh._NET_WM_WINDOW_TYPE_DOCK) ||
            hasAtom(w.types, ewmh._NET_WM_WINDOW_TYPE_SPLASH))
            continue;
        candidates.push_back(&w);
    }
    std::set<xcb_window_t> live(stacking.begin(), stacking.end());
    return listed(candidates, [&](xcb_window_t id) { return live.count(id) != 0; });
}

std::vector<TWFileManagerWindows::WindowId>
TWX11FileManagerWindows::listed(const std::vector<const TWX11Window*>& candidates,
                                const std::function<bool(xcb_window_t)>& isManaged) {
    std::vector<TWListedWindow> entries;
    const auto& ewmh = workspace_.connection().ewmh();
    for (const TWX11Window* candidate : candidates) {
        const TWX11Window& w = *candidate;
        // Utility windows and dialogs are not file-manager windows.
        if (!workspace_.isTaskbarWindow(w, isManaged) ||
            hasAtom(w.types, ewmh._NET_WM_WINDOW_TYPE_UTILITY) ||
            hasAtom(w.types, ewmh._NET_WM_WINDOW_TYPE_DIALOG))
            continue;
        // A window we asked to close is on its way out; counting it again would make a
        // close-until-none loop wait for the file manager.
        if (closing_->isClosing(w.id))
            continue;
        // A window Tidewell hid (marked) is hidden, not collapsed: it can still be collapsed.
        bool minimized = collapsing_.count(w.id) ||
                         (!w.mark && (w.iconic || hasAtom(w.states, ewmh._NET_WM_STATE_HIDDEN)));
        entries.push_back({w.id, minimized, w.stackingIndex});
        pids_[w.id] = w.pid;
    }
    return TWFrontToBack(std::move(entries));
}

void TWX11FileManagerWindows::setCollapsed(WindowId id, bool collapsed) {
    const auto window = static_cast<xcb_window_t>(id);
    // Collapsing carries no hidden mark (it loses one the window had): showing all applications
    // leaves the window minimized.
    if (collapsed) {
        workspace_.collapse(window);
        collapsing_.insert(window);
    } else {
        workspace_.connection().deiconify(window);
        collapsing_.erase(window);
    }
}

void TWX11FileManagerWindows::close(WindowId id) {
    const auto window = static_cast<xcb_window_t>(id);
    workspace_.connection().close(window);
    auto pid = pids_.find(window);
    closing_->add(window, pid == pids_.end() ? -1 : pid->second);
}

void TWX11FileManagerWindows::openWindow() {
    auto argv = workspace_.desktopEntries().commandLineForID(bundleIdentifier_);
    if (argv.empty()) {
        TWLog(LOG_WARNING, kLogClass,
              "no desktop entry starts " + bundleIdentifier_ + "; no new window");
        return;
    }
    startWhenClosedAreGone(std::move(argv));
}
