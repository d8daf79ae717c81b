// Running applications on X11, and the hide / unhide / activate requests for them.
#include "TWX11Workspace.h"

#include "TWLog.h"
#include "TWProcessLauncher.h"
#include "TWProcessRegistry.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <set>

namespace {
// How long an activation waits for the window manager to finish restoring the windows shown
// just before it, and then for the activation itself to take.
constexpr std::chrono::milliseconds kRestoreTimeout{500};
constexpr std::chrono::milliseconds kActivationTimeout{300};

// The program name of a process: basename of argv[0] from /proc/<pid>/cmdline.
std::string commandName(int pid) {
    if (pid <= 0)
        return {};
    std::ifstream in("/proc/" + std::to_string(pid) + "/cmdline");
    std::string argv0;
    if (!in || !std::getline(in, argv0, '\0'))
        return {};
    auto slash = argv0.rfind('/');
    return slash == std::string::npos ? argv0 : argv0.substr(slash + 1);
}

// Windows of one X client share the bits above the server's resource-ID mask.
std::string clientKey(xcb_window_t window, const xcb_setup_t* setup) {
    return "x" + std::to_string(window & ~setup->resource_id_mask);
}

} // namespace

TWX11Workspace::TWX11Workspace(TWX11Connection& connection) : connection_(connection) {}

const TWDesktopEntryIndex& TWX11Workspace::desktopEntries() {
    if (!entries_)
        entries_ = std::make_unique<TWDesktopEntryIndex>();
    return *entries_;
}

bool TWX11Workspace::hasType(const TWX11Window& w, xcb_atom_t type) const {
    return std::find(w.types.begin(), w.types.end(), type) != w.types.end();
}

bool TWX11Workspace::hasState(const TWX11Window& w, xcb_atom_t state) const {
    return std::find(w.states.begin(), w.states.end(), state) != w.states.end();
}

bool TWX11Workspace::isTaskbarWindow(const TWX11Window& w, const TWX11Snapshot& snapshot) const {
    return isTaskbarWindow(w, [&](xcb_window_t id) { return snapshot.find(id) != nullptr; });
}

bool TWX11Workspace::isTaskbarWindow(const TWX11Window& w,
                                     const std::function<bool(xcb_window_t)>& isManaged) const {
    const auto& e = connection_.ewmh();
    if (hasState(w, e._NET_WM_STATE_SKIP_TASKBAR))
        return false;
    if (w.hasTransientFor && w.transientFor != XCB_NONE && w.transientFor != w.id &&
        isManaged(w.transientFor))
        return false;
    if (w.types.empty())
        return true;
    // The first type the window names that we know decides, as EWMH orders them by preference.
    for (xcb_atom_t t : w.types) {
        if (t == e._NET_WM_WINDOW_TYPE_NORMAL || t == e._NET_WM_WINDOW_TYPE_DIALOG ||
            t == e._NET_WM_WINDOW_TYPE_UTILITY)
            return true;
        if (t == e._NET_WM_WINDOW_TYPE_DESKTOP || t == e._NET_WM_WINDOW_TYPE_DOCK ||
            t == e._NET_WM_WINDOW_TYPE_SPLASH || t == e._NET_WM_WINDOW_TYPE_TOOLBAR ||
            t == e._NET_WM_WINDOW_TYPE_MENU || t == e._NET_WM_WINDOW_TYPE_NOTIFICATION ||
            t == e._NET_WM_WINDOW_TYPE_DROPDOWN_MENU || t == e._NET_WM_WINDOW_TYPE_POPUP_MENU ||
            t == e._NET_WM_WINDOW_TYPE_TOOLTIP || t == e._NET_WM_WINDOW_TYPE_COMBO ||
            t == e._NET_WM_WINDOW_TYPE_DND)
            return false;
    }
    return true;
}

const std::vector<TWX11Application>& TWX11Workspace::refresh() {
    snapshot_ = connection_.snapshot();
    const auto& e = connection_.ewmh();
    const xcb_setup_t* setup = xcb_get_setup(connection_.connection());
    const auto& index = desktopEntries();

    std::vector<TWX11Application> apps;
    std::map<std::string, size_t> byKey;
    std::map<int, std::string> commandNames;
    for (const auto& w : snapshot_.windows) {
        bool isDesktopSide = hasType(w, e._NET_WM_WINDOW_TYPE_DESKTOP) ||
                             hasType(w, e._NET_WM_WINDOW_TYPE_DOCK) ||
                             hasType(w, e._NET_WM_WINDOW_TYPE_SPLASH);
        TWIdentityHints hints;
        hints.kdeDesktopFile = w.kdeDesktopFile;
        hints.gtkApplicationID = w.gtkApplicationID;
        hints.wmInstance = w.wmInstance;
        hints.wmClass = w.wmClass;
        if (w.pid > 0) {
            auto it = commandNames.find(w.pid);
            if (it == commandNames.end())
                it = commandNames.emplace(w.pid, commandName(w.pid)).first;
            hints.commandName = it->second;
        }
        // Only a window that names nothing at all stays without identity; the process name
        // alone identifies an application only through a desktop entry.
        std::optional<std::string> identity;
        if (!w.kdeDesktopFile.empty() || !w.gtkApplicationID.empty() || !w.wmInstance.empty() ||
            !w.wmClass.empty())
            identity = index.resolveIdentity(hints);
        std::string key = (w.pid > 0 ? "p" + std::to_string(w.pid) : clientKey(w.id, setup)) + "/" +
                          identity.value_or("");
        auto found = byKey.find(key);
        if (found == byKey.end()) {
            TWX11Application app;
            app.key = key;
            app.info.bundleIdentifier = identity;
            app.info.processIdentifier = w.pid;
            app.info.activationPolicy = TWActivationPolicyProhibited;
            if (identity) {
                if (const auto* entry = index.entryForID(*identity))
                    app.info.localizedName = TWDesktopEntryIndex::localizedName(*entry);
            }
            found = byKey.emplace(key, apps.size()).first;
            apps.push_back(std::move(app));
        }
        auto& app = apps[found->second];
        app.windows.push_back(w);
        if (w.id == snapshot_.activeWindow)
            app.info.active = true;
        if (isDesktopSide)
            continue; // the desktop, panels and splash screens never make an application regular
        bool taskbar = isTaskbarWindow(w, snapshot_);
        bool counted = taskbar || hasType(w, e._NET_WM_WINDOW_TYPE_UTILITY) ||
                       hasState(w, e._NET_WM_STATE_SKIP_TASKBAR) || w.hasTransientFor;
        if (!counted)
            continue;
        app.appWindows.push_back(w);
        bool regular = taskbar && !hasType(w, e._NET_WM_WINDOW_TYPE_UTILITY);
        if (regular)
            app.info.activationPolicy = TWActivationPolicyRegular;
        else if (app.info.activationPolicy == TWActivationPolicyProhibited)
            app.info.activationPolicy = TWActivationPolicyAccessory;
    }
    for (auto& app : apps) {
        if (app.info.localizedName.empty()) {
            const auto& first = app.windows.front();
            app.info.localizedName = !first.wmClass.empty() ? first.wmClass : first.title;
        }
        bool marked = false, visible = false;
        for (const auto& w : app.appWindows) {
            marked = marked || w.mark.has_value();
            visible = visible || (!w.iconic && isTaskbarWindow(w, snapshot_));
        }
        app.info.hidden = marked && !visible;
    }

    // Tidewell's own processes own no windows (or none that identify them): their registration
    // names them.
    for (const auto& reg : TWProcessRegistry::registeredProcesses()) {
        auto same = std::find_if(apps.begin(), apps.end(), [&](const TWX11Application& a) {
            return a.info.processIdentifier == reg.pid;
        });
        if (same == apps.end()) {
            TWX11Application app;
            app.key = "r" + std::to_string(reg.pid);
            app.info.processIdentifier = reg.pid;
            apps.push_back(std::move(app));
            same = apps.end() - 1;
        }
        same->info.bundleIdentifier = reg.bundleIdentifier;
        same->info.localizedName = reg.name;
        same->info.activationPolicy = reg.activationPolicy;
    }

    // Launch order: an application keeps the place it had when first seen; new ones follow in
    // client-list (mapping) order.
    std::set<std::string> live;
    for (auto& app : apps) {
        auto it = launchSequence_.find(app.key);
        if (it == launchSequence_.end())
            it = launchSequence_.emplace(app.key, nextHandle_++).first;
        app.info.handle = it->second;
        live.insert(app.key);
    }
    for (auto it = launchSequence_.begin(); it != launchSequence_.end();)
        it = live.count(it->first) ? std::next(it) : launchSequence_.erase(it);
    std::stable_sort(apps.begin(), apps.end(),
                     [](const auto& a, const auto& b) { return a.info.handle < b.info.handle; });
    apps_ = std::move(apps);
    return apps_;
}

std::vector<TWRunningApplication> TWX11Workspace::runningApplications() {
    std::vector<TWRunningApplication> out;
    for (const auto& app : refresh())
        out.push_back(app.info);
    return out;
}

TWX11Application* TWX11Workspace::findCached(std::uint64_t handle) {
    auto find = [&]() -> TWX11Application* {
        for (auto& app : apps_)
            if (app.info.handle == handle)
                return &app;
        return nullptr;
    };
    if (auto* app = find())
        return app;
    refresh();
    return find();
}

void TWX11Workspace::hide(const TWRunningApplication& info) {
    auto* app = findCached(info.handle);
    if (!app)
        return;
    for (auto& w : app->appWindows) {
        // A window the user minimized is not ours to restore later: it gets no mark.
        if (w.iconic || w.mark)
            continue;
        uint32_t position = static_cast<uint32_t>(std::max(w.stackingIndex, 0));
        // The mark goes first, in the same batch: the server handles requests in order, so no
        // one (another Tidewell process included) ever sees this window minimized and unmarked.
        connection_.setMark(w.id, position);
        connection_.iconify(w.id);
        w.mark = position;
        w.iconic = true;
    }
    app->info.hidden = !app->appWindows.empty();
}

void TWX11Workspace::unhideApplication(TWX11Application& app) {
    std::vector<TWX11Window*> marked;
    for (auto& w : app.appWindows)
        if (w.mark)
            marked.push_back(&w);
    // Bottom to top, so that each restored window lands above the ones restored before it.
    std::stable_sort(marked.begin(), marked.end(), [](const TWX11Window* a, const TWX11Window* b) {
        return *a->mark < *b->mark;
    });
    for (auto* w : marked) {
        if (w->iconic) {
            connection_.deiconify(w->id);
            restoring_.push_back(w->id);
        }
        connection_.removeMark(w->id);
        w->mark.reset();
        w->iconic = false;
    }
    app.info.hidden = false;
}

void TWX11Workspace::unhide(const TWRunningApplication& info) {
    if (auto* app = findCached(info.handle))
        unhideApplication(*app);
}

void TWX11Workspace::activateWithOptions(const TWRunningApplication& info, unsigned options) {
    (void)options; // activation always ignores the other applications on X11
    auto* app = findCached(info.handle);
    if (!app)
        return;
    bool hadMarks = std::any_of(app->appWindows.begin(), app->appWindows.end(),
                                [](const TWX11Window& w) { return w.mark.has_value(); });
    if (hadMarks)
        unhideApplication(*app);
    // The topmost window that is (now) shown; a window the user minimized is left alone.
    const TWX11Window* target = nullptr;
    for (const auto& w : app->appWindows) {
        if (w.iconic || !isTaskbarWindow(w, snapshot_))
            continue;
        if (!target || w.stackingIndex > target->stackingIndex)
            target = &w;
    }
    if (!target) {
        for (const auto& w : app->appWindows)
            if (!w.iconic && (!target || w.stackingIndex > target->stackingIndex))
                target = &w;
    }
    if (!target)
        return;
    if (restoring_.empty()) {
        connection_.activate(target->id, snapshot_.activeWindow);
        return;
    }
    // The window manager focuses each window it restores; an activation that reaches it while
    // it is still restoring can be overtaken by that focusing. Let the restores finish, then
    // activate, and ask once more if something else still took the focus after us.
    connection_.flush();
    connection_.waitUntilRestored(restoring_, kRestoreTimeout);
    restoring_.clear();
    connection_.activate(target->id, connection_.activeWindowNow());
    connection_.flush();
    if (!connection_.waitUntilActive(target->id, kActivationTimeout))
        connection_.activate(target->id, connection_.activeWindowNow());
}

void TWX11Workspace::flush() {
    restoring_.clear();
    connection_.flush();
}

bool TWX11Workspace::openURL(const std::string& url) {
    if (url.empty()) {
        TWLog("TWX11Workspace: openURL called with an empty URL");
        return false;
    }
    return TWProcessLauncher::spawnDetached({"xdg-open", url});
}

std::string TWX11Workspace::fileManagerBundleIdentifier() {
    if (fileManagerID_)
        return *fileManagerID_;
    std::string out;
    if (!TWProcessLauncher::captureOutput({"xdg-mime", "query", "default", "inode/directory"}, out))
        TWLog("TWX11Workspace: xdg-mime could not name the default file manager");
    // The first line, trimmed, without ".desktop".
    out = out.substr(0, out.find('\n'));
    while (!out.empty() && (out.back() == ' ' || out.back() == '\r' || out.back() == '\t'))
        out.pop_back();
    const std::string suffix = ".desktop";
    if (out.size() > suffix.size() &&
        out.compare(out.size() - suffix.size(), suffix.size(), suffix) == 0)
        out.resize(out.size() - suffix.size());
    if (out.empty())
        TWLog("TWX11Workspace: no default file manager is set for inode/directory");
    fileManagerID_ = out;
    return out;
}

std::string TWX11Workspace::activeApplicationKey() {
    for (const auto& app : refresh())
        if (app.info.active)
            return app.key;
    return {};
}
