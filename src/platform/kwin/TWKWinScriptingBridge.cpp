// File-manager windows through the Plasma window management.
#include "TWKWinScriptingBridge.h"

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

bool TWKWinScriptingState::isClosing(const std::string& uuid) const {
    auto it = closing.find(uuid);
    return it != closing.end() &&
           std::chrono::steady_clock::now() - it->second.second < kCloseRemembered;
}

TWKWinScriptingBridge::TWKWinScriptingBridge(TWKWinWorkspace& workspace)
    : workspace_(workspace), state_(std::make_shared<TWKWinScriptingState>()) {}

std::unique_ptr<TWScriptedFileManager>
TWKWinScriptingBridge::applicationWithBundleIdentifier(const std::string& bundleIdentifier) {
    return std::make_unique<TWKWinScriptedFileManager>(workspace_, bundleIdentifier, state_);
}

TWKWinScriptedFileManager::TWKWinScriptedFileManager(TWKWinWorkspace& workspace,
                                                     std::string bundleIdentifier,
                                                     std::shared_ptr<TWKWinScriptingState> state)
    : workspace_(workspace), bundleIdentifier_(std::move(bundleIdentifier)),
      state_(std::move(state)) {}

std::vector<std::pair<std::string, int>> TWKWinScriptedFileManager::currentWindows() {
    struct Entry {
        std::string uuid;
        int pid;
        bool minimized;
        int stacking;
    };
    std::vector<Entry> entries;
    for (const auto& app : workspace_.refresh()) {
        if (app.info.bundleIdentifier != bundleIdentifier_)
            continue;
        for (const auto& w : app.taskbarWins) {
            // A window we asked to close is on its way out; counting it again would make a
            // close-until-none loop wait for the file manager.
            if (state_->isClosing(w.uuid))
                continue;
            // Once the compositor shows the collapse, the event is the truth again.
            if (w.minimized())
                state_->collapsing.erase(w.uuid);
            bool minimized = w.minimized() || state_->collapsing.count(w.uuid);
            entries.push_back({w.uuid, w.pid, minimized, w.stackingIndex});
        }
    }
    std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        if (a.minimized != b.minimized)
            return !a.minimized;
        return a.stacking > b.stacking;
    });
    std::vector<std::pair<std::string, int>> out;
    for (const auto& e : entries)
        out.emplace_back(e.uuid, e.pid);
    return out;
}

std::shared_ptr<TWScriptingWindowArray> TWKWinScriptedFileManager::FinderWindows() {
    return std::make_shared<TWKWinScriptingWindowArray>(*this);
}

std::shared_ptr<TWScriptingWindow>
TWKWinScriptedFileManager::newObjectOfScriptingClass(const std::string& name) {
    if (name != "Finder window")
        return nullptr;
    return std::make_shared<TWKWinScriptingWindow>(*this);
}

std::string TWKWinScriptedFileManager::newWindowTarget() {
    return TWKWinFileManagerDefaultLocation;
}

void TWKWinScriptedFileManager::waitForClosedWindows() {
    // A single-instance file manager hands a new window to its running process; if that process
    // is about to quit with its last window, the request would be lost with it.
    if (state_->closing.empty())
        return;
    auto& connection = workspace_.connection();
    connection.flush();
    auto start = std::chrono::steady_clock::now();
    connection.waitFor(
        [&] {
            auto snapshot = connection.current();
            for (const auto& [uuid, entry] : state_->closing)
                if (snapshot.find(uuid))
                    return false;
            // A process that keeps running without windows gets a short grace to quit.
            for (const auto& [uuid, entry] : state_->closing) {
                bool hasWindows =
                    std::any_of(snapshot.windows.begin(), snapshot.windows.end(),
                                [&](const TWKWinWindow& w) { return w.pid == entry.first; });
                if (!hasWindows && processAlive(entry.first) &&
                    std::chrono::steady_clock::now() - start < kQuitGrace)
                    return false;
            }
            return true;
        },
        kCloseRemembered);
    state_->closing.clear();
}

bool TWKWinScriptedFileManager::startNewWindow(const std::string& location) {
    const auto* entry = workspace_.desktopEntries().entryForID(bundleIdentifier_);
    if (!entry) {
        TWLog("TWKWinScriptingBridge: no desktop entry for " + bundleIdentifier_ +
              "; no new window");
        return false;
    }
    auto argv = TWDesktopEntryIndex::commandLineFromExec(entry->exec);
    if (argv.empty()) {
        TWLog("TWKWinScriptingBridge: the desktop entry " + entry->path + " starts nothing");
        return false;
    }
    if (!location.empty())
        argv.push_back(location);
    waitForClosedWindows();
    const char* home = std::getenv("HOME");
    return TWProcessLauncher::spawnDetached(argv, home ? home : "");
}

TWKWinScriptingWindow::TWKWinScriptingWindow(TWKWinScriptedFileManager& owner, std::string uuid,
                                             int pid)
    : owner_(owner), uuid_(std::move(uuid)), pid_(pid) {}

TWKWinScriptingWindow::TWKWinScriptingWindow(TWKWinScriptedFileManager& owner)
    : owner_(owner), pending_(true) {}

void TWKWinScriptingWindow::setCollapsed(bool collapsed) {
    if (pending_)
        return;
    // Collapsing carries no hidden mark: showing all applications leaves the window minimized.
    owner_.workspace().connection().setMinimized(uuid_, collapsed);
    if (collapsed)
        owner_.state().collapsing.insert(uuid_);
    else
        owner_.state().collapsing.erase(uuid_);
}

void TWKWinScriptingWindow::close() {
    if (pending_)
        return;
    owner_.workspace().connection().close(uuid_);
    owner_.state().closing[uuid_] = {pid_, std::chrono::steady_clock::now()};
}

void TWKWinScriptingWindow::setTarget(const std::string& location) {
    if (location == TWKWinFileManagerDefaultLocation)
        return; // the window was started on it
    if (pending_) {
        location_ = location;
        return;
    }
    TWLog("TWKWinScriptingBridge: an open window cannot be sent to " + location + "; ignored");
}

void TWKWinScriptingWindow::attach() {
    if (!pending_)
        return;
    pending_ = false;
    owner_.startNewWindow(location_);
}

TWKWinScriptingWindowArray::TWKWinScriptingWindowArray(TWKWinScriptedFileManager& owner)
    : owner_(owner) {}

std::size_t TWKWinScriptingWindowArray::count() {
    return owner_.currentWindows().size();
}

std::shared_ptr<TWScriptingWindow> TWKWinScriptingWindowArray::firstObject() {
    auto windows = owner_.currentWindows();
    if (windows.empty())
        return nullptr;
    return std::make_shared<TWKWinScriptingWindow>(owner_, windows.front().first,
                                                   windows.front().second);
}

void TWKWinScriptingWindowArray::addObject(const std::shared_ptr<TWScriptingWindow>& window) {
    auto* ours = dynamic_cast<TWKWinScriptingWindow*>(window.get());
    if (!ours || !ours->isPending()) {
        TWLog("TWKWinScriptingBridge: only a new window object can be added; ignored");
        return;
    }
    ours->attach();
}
