// File-manager windows through EWMH: listing by stacking order, iconify, close, new windows.
#include "TWX11ScriptingBridge.h"

#include "TWLog.h"
#include "TWProcessLauncher.h"

#include <algorithm>
#include <cstdlib>

TWX11ScriptingBridge::TWX11ScriptingBridge(TWX11Workspace& workspace) : workspace_(workspace) {}

std::unique_ptr<TWScriptedFileManager>
TWX11ScriptingBridge::applicationWithBundleIdentifier(const std::string& bundleIdentifier) {
    return std::make_unique<TWX11ScriptedFileManager>(workspace_, bundleIdentifier);
}

TWX11ScriptedFileManager::TWX11ScriptedFileManager(TWX11Workspace& workspace,
                                                   std::string bundleIdentifier)
    : workspace_(workspace), bundleIdentifier_(std::move(bundleIdentifier)),
      state_(std::make_shared<TWX11ScriptingState>()) {}

std::vector<xcb_window_t> TWX11ScriptedFileManager::currentWindows() {
    struct Entry {
        xcb_window_t id;
        bool minimized;
        int stacking;
    };
    std::vector<Entry> entries;
    const auto& apps = workspace_.refresh();
    const auto& snapshot = workspace_.lastSnapshot();
    const auto& ewmh = workspace_.connection().ewmh();
    for (const auto& app : apps) {
        if (app.info.bundleIdentifier != bundleIdentifier_)
            continue;
        for (const auto& w : app.appWindows) {
            // Utility windows and dialogs are not file-manager windows; the desktop window
            // never reaches appWindows.
            if (!workspace_.isTaskbarWindow(w, snapshot) ||
                std::find(w.types.begin(), w.types.end(), ewmh._NET_WM_WINDOW_TYPE_UTILITY) !=
                    w.types.end() ||
                std::find(w.types.begin(), w.types.end(), ewmh._NET_WM_WINDOW_TYPE_DIALOG) !=
                    w.types.end())
                continue;
            // A window we asked to close is on its way out; counting it again would make a
            // close-until-none loop wait for the file manager.
            if (state_->closing.count(w.id))
                continue;
            bool minimized = w.iconic || state_->collapsing.count(w.id) ||
                             std::find(w.states.begin(), w.states.end(),
                                       ewmh._NET_WM_STATE_HIDDEN) != w.states.end();
            entries.push_back({w.id, minimized, w.stackingIndex});
        }
    }
    std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        if (a.minimized != b.minimized)
            return !a.minimized;
        return a.stacking > b.stacking;
    });
    std::vector<xcb_window_t> out;
    for (const auto& e : entries)
        out.push_back(e.id);
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
    const char* home = std::getenv("HOME");
    return TWProcessLauncher::spawnDetached(argv, home ? home : "");
}

TWX11ScriptingWindow::TWX11ScriptingWindow(TWX11ScriptedFileManager& owner, xcb_window_t window)
    : owner_(owner), window_(window) {}

TWX11ScriptingWindow::TWX11ScriptingWindow(TWX11ScriptedFileManager& owner)
    : owner_(owner), pending_(true) {}

void TWX11ScriptingWindow::setCollapsed(bool collapsed) {
    if (pending_)
        return;
    auto& connection = owner_.workspace().connection();
    // Collapsing carries no hidden mark: showing all applications leaves the window minimized.
    if (collapsed) {
        connection.iconify(window_);
        owner_.state().collapsing.insert(window_);
    } else {
        connection.deiconify(window_);
        owner_.state().collapsing.erase(window_);
    }
}

void TWX11ScriptingWindow::close() {
    if (pending_)
        return;
    owner_.workspace().connection().close(window_);
    owner_.state().closing.insert(window_);
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
    return std::make_shared<TWX11ScriptingWindow>(owner_, windows.front());
}

void TWX11ScriptingWindowArray::addObject(const std::shared_ptr<TWScriptingWindow>& window) {
    auto* ours = dynamic_cast<TWX11ScriptingWindow*>(window.get());
    if (!ours || !ours->isPending()) {
        TWLog("TWX11ScriptingBridge: only a new window object can be added; ignored");
        return;
    }
    ours->attach();
}
