// File-manager windows through EWMH: listing by stacking order, iconify, close, new windows.
#include "TWX11ScriptingBridge.h"

#include "TWLog.h"
#include "TWProcessLauncher.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>

namespace {
constexpr auto kCloseRemembered = std::chrono::seconds(2);
constexpr auto kQuitGrace = std::chrono::milliseconds(500);

// Whether a process is still running (not ended, not a zombie waiting for its parent).
bool processAlive(int pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string stat;
    if (!in || !std::getline(in, stat))
        return false;
    auto close = stat.rfind(')');
    return close != std::string::npos && close + 2 < stat.size() && stat[close + 2] != 'Z' &&
           stat[close + 2] != 'X';
}
} // namespace

bool TWX11ScriptingState::isClosing(xcb_window_t window) const {
    auto it = closing.find(window);
    return it != closing.end() &&
           std::chrono::steady_clock::now() - it->second.second < kCloseRemembered;
}

TWX11ScriptingBridge::TWX11ScriptingBridge(TWX11Workspace& workspace)
    : workspace_(workspace), state_(std::make_shared<TWX11ScriptingState>()) {}

std::unique_ptr<TWScriptedFileManager>
TWX11ScriptingBridge::applicationWithBundleIdentifier(const std::string& bundleIdentifier) {
    return std::make_unique<TWX11ScriptedFileManager>(workspace_, bundleIdentifier, state_);
}

TWX11ScriptedFileManager::TWX11ScriptedFileManager(TWX11Workspace& workspace,
                                                   std::string bundleIdentifier,
                                                   std::shared_ptr<TWX11ScriptingState> closing)
    : workspace_(workspace), bundleIdentifier_(std::move(bundleIdentifier)),
      state_(std::make_shared<TWX11ScriptingState>()), closing_(std::move(closing)) {}

void TWX11ScriptedFileManager::requestClose(xcb_window_t window, int pid) {
    workspace_.connection().close(window);
    closing_->closing[window] = {pid, std::chrono::steady_clock::now()};
}

void TWX11ScriptedFileManager::startWhenClosedAreGone(std::vector<std::string> argv) {
    const char* home = std::getenv("HOME");
    auto start = [argv, dir = std::string(home ? home : "")] {
        TWProcessLauncher::spawnDetached(argv, dir);
    };
    // A single-instance file manager hands a new window to its running process; if that process
    // is about to quit with its last window, the request would be lost with it. The start waits
    // (without holding up the caller) until the closed windows are gone and a process left
    // without windows has had a moment to quit.
    if (closing_->closing.empty()) {
        start();
        return;
    }
    auto closing = closing_->closing;
    closing_->closing.clear();
    auto& connection = workspace_.connection();
    std::optional<std::chrono::steady_clock::time_point> goneAt;
    auto ready = [&connection, closing, goneAt]() mutable {
        std::vector<xcb_window_t> stacking;
        connection.snapshotOf({}, stacking);
        for (const auto& [window, entry] : closing)
            if (std::find(stacking.begin(), stacking.end(), window) != stacking.end())
                return false;
        const auto now = std::chrono::steady_clock::now();
        if (!goneAt)
            goneAt = now;
        if (now - *goneAt >= kQuitGrace)
            return true;
        const auto snapshot = connection.snapshot();
        for (const auto& [window, entry] : closing) {
            const int pid = entry.first;
            bool hasWindows = std::any_of(snapshot.windows.begin(), snapshot.windows.end(),
                                          [&](const TWX11Window& w) { return w.pid == pid; });
            if (!hasWindows && processAlive(pid))
                return false;
        }
        return true;
    };
    workspace_.whenReady(ready, std::chrono::steady_clock::now() + kCloseRemembered, start);
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

std::vector<std::pair<xcb_window_t, int>> TWX11ScriptedFileManager::currentWindows() {
    if (known_)
        if (auto windows = windowsFromKnown())
            return *windows;
    return windowsFromSnapshot();
}

std::vector<std::pair<xcb_window_t, int>> TWX11ScriptedFileManager::windowsFromSnapshot() {
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

std::optional<std::vector<std::pair<xcb_window_t, int>>>
TWX11ScriptedFileManager::windowsFromKnown() {
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

std::vector<std::pair<xcb_window_t, int>>
TWX11ScriptedFileManager::listed(const std::vector<const TWX11Window*>& candidates,
                                 const std::function<bool(xcb_window_t)>& isManaged) {
    struct Entry {
        xcb_window_t id;
        int pid;
        bool minimized;
        int stacking;
    };
    std::vector<Entry> entries;
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
        bool minimized = state_->collapsing.count(w.id) ||
                         (!w.mark && (w.iconic || hasAtom(w.states, ewmh._NET_WM_STATE_HIDDEN)));
        entries.push_back({w.id, w.pid, minimized, w.stackingIndex});
    }
    std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        if (a.minimized != b.minimized)
            return !a.minimized;
        return a.stacking > b.stacking;
    });
    std::vector<std::pair<xcb_window_t, int>> out;
    for (const auto& e : entries)
        out.emplace_back(e.id, e.pid);
    return out;
}

std::shared_ptr<TWScriptingWindowArray> TWX11ScriptedFileManager::FinderWindows() {
    return std::make_shared<TWX11ScriptingWindowArray>(*this);
}

std::shared_ptr<TWScriptingWindow>
TWX11ScriptedFileManager::newObjectOfScriptingClass(const std::string& name) {
    if (name != "Finder window")
        return nullptr;
    return std::make_shared<TWX11ScriptingWindow>(*this);
}

std::string TWX11ScriptedFileManager::newWindowTarget() {
    return TWX11FileManagerDefaultLocation;
}

bool TWX11ScriptedFileManager::startNewWindow(const std::string& location) {
    const auto* entry = workspace_.desktopEntries().entryForID(bundleIdentifier_);
    if (!entry) {
        TWLog("TWX11ScriptingBridge: no desktop entry for " + bundleIdentifier_ +
              "; no new window");
        return false;
    }
    auto argv = TWDesktopEntryIndex::commandLineFromExec(entry->exec);
    if (argv.empty()) {
        TWLog("TWX11ScriptingBridge: the desktop entry " + entry->path + " starts nothing");
        return false;
    }
    if (!location.empty())
        argv.push_back(location);
    startWhenClosedAreGone(std::move(argv));
    return true;
}

TWX11ScriptingWindow::TWX11ScriptingWindow(TWX11ScriptedFileManager& owner, xcb_window_t window,
                                           int pid)
    : owner_(owner), window_(window), pid_(pid) {}

TWX11ScriptingWindow::TWX11ScriptingWindow(TWX11ScriptedFileManager& owner)
    : owner_(owner), pending_(true) {}

void TWX11ScriptingWindow::setCollapsed(bool collapsed) {
    if (pending_)
        return;
    // Collapsing carries no hidden mark (it loses one the window had): showing all applications
    // leaves the window minimized.
    if (collapsed) {
        owner_.workspace().collapse(window_);
        owner_.state().collapsing.insert(window_);
    } else {
        owner_.workspace().connection().deiconify(window_);
        owner_.state().collapsing.erase(window_);
    }
}

void TWX11ScriptingWindow::close() {
    if (pending_)
        return;
    owner_.requestClose(window_, pid_);
}

void TWX11ScriptingWindow::setTarget(const std::string& location) {
    if (location == TWX11FileManagerDefaultLocation)
        return; // the window was started on it
    if (pending_) {
        location_ = location;
        return;
    }
    TWLog("TWX11ScriptingBridge: an open window cannot be sent to " + location + "; ignored");
}

void TWX11ScriptingWindow::attach() {
    if (!pending_)
        return;
    pending_ = false;
    owner_.startNewWindow(location_);
}

TWX11ScriptingWindowArray::TWX11ScriptingWindowArray(TWX11ScriptedFileManager& owner)
    : owner_(owner) {}

std::size_t TWX11ScriptingWindowArray::count() {
    return owner_.currentWindows().size();
}

std::shared_ptr<TWScriptingWindow> TWX11ScriptingWindowArray::firstObject() {
    auto windows = owner_.currentWindows();
    if (windows.empty())
        return nullptr;
    return std::make_shared<TWX11ScriptingWindow>(owner_, windows.front().first,
                                                  windows.front().second);
}

void TWX11ScriptingWindowArray::addObject(const std::shared_ptr<TWScriptingWindow>& window) {
    auto* ours = dynamic_cast<TWX11ScriptingWindow*>(window.get());
    if (!ours || !ours->isPending()) {
        TWLog("TWX11ScriptingBridge: only a new window object can be added; ignored");
        return;
    }
    ours->attach();
}
