// SPDX-License-Identifier: MIT
// Running applications on GNOME Shell, and the hide / unhide / activate requests for them.
#include "TWGnomeWorkspace.h"

#include "TWLog.h"
#include "TWMimeApps.h"
#include "TWProcessLauncher.h"
#include "TWProcessTable.h"
#include "TWTopmostWindow.h"

#include <algorithm>
#include <set>
#include <utility>

constexpr const char* kLogClass = "TWGnomeWorkspace";

namespace {
std::string key(std::uint64_t id) {
    return std::to_string(id);
}
} // namespace

bool TWGnomeIsTaskbarWindow(const TWGnomeWindow& window) {
    return !window.skipTaskbar && window.transientFor == 0;
}

std::vector<TWGnomeApplication>
TWGnomeGroupApplications(const TWGnomeSnapshot& snapshot, const TWDesktopEntryIndex& entries,
                         const TWHiddenMarks& marks,
                         const std::function<std::string(int)>& programName) {
    std::vector<TWGnomeApplication> apps;
    std::map<std::string, std::size_t> byKey;
    for (const auto& w : snapshot.windows) {
        const TWGnomeWindow* owner = &w;
        for (int depth = 0; depth < 8 && owner->transientFor; ++depth) {
            const TWGnomeWindow* parent = snapshot.find(owner->transientFor);
            if (!parent)
                break;
            owner = parent;
        }
        TWIdentityHints hints;
        // The tracker's match (or the sandbox's ID) names a desktop entry when there is one.
        hints.kdeDesktopFile = !owner->appId.empty() ? owner->appId : owner->sandboxedAppId;
        hints.gtkApplicationID = owner->gtkApplicationId;
        hints.wmClass = owner->wmClass;
        hints.wmInstance = owner->wmInstance;
        hints.commandName = programName(owner->pid);
        std::optional<std::string> identity = entries.resolveIdentity(hints);
        std::string groupKey = "p" + std::to_string(owner->pid) + "/" + identity.value_or("");
        auto found = byKey.find(groupKey);
        if (found == byKey.end()) {
            TWGnomeApplication app;
            app.key = groupKey;
            app.info.bundleIdentifier = identity;
            app.info.processIdentifier = owner->pid;
            app.info.activationPolicy = TWActivationPolicyProhibited;
            if (identity)
                if (const auto* entry = entries.entryForID(*identity))
                    app.info.localizedName = TWDesktopEntryIndex::localizedName(*entry);
            if (app.info.localizedName.empty())
                app.info.localizedName = !owner->wmClass.empty() ? owner->wmClass : owner->title;
            found = byKey.emplace(groupKey, apps.size()).first;
            apps.push_back(std::move(app));
        }
        auto& app = apps[found->second];
        app.windows.push_back(w);
        if (w.focused)
            app.info.active = true;
        if (TWGnomeIsTaskbarWindow(w)) {
            app.taskbarWins.push_back(w);
            app.info.activationPolicy = TWActivationPolicyRegular;
        } else if (app.info.activationPolicy == TWActivationPolicyProhibited) {
            app.info.activationPolicy = TWActivationPolicyAccessory;
        }
    }
    for (auto& app : apps) {
        bool marked = false, shown = false;
        for (const auto& w : app.taskbarWins) {
            marked = marked || marks.count(key(w.id));
            shown = shown || !w.minimized;
        }
        app.info.hidden = marked && !shown;
    }
    return apps;
}

TWGnomeWorkspace::TWGnomeWorkspace(TWGnomeConnection& connection)
    : connection_(connection), record_("gnome-hidden-" + connection.sessionName()) {}

const TWDesktopEntryIndex& TWGnomeWorkspace::desktopEntries() {
    if (!entries_)
        entries_ = std::make_unique<TWDesktopEntryIndex>();
    return *entries_;
}

std::string TWGnomeWorkspace::programName(int pid) {
    auto it = programNames_.find(pid);
    if (it == programNames_.end())
        it = programNames_.emplace(pid, TWProcessTable::programName(pid)).first;
    return it->second;
}

const std::vector<TWGnomeApplication>& TWGnomeWorkspace::refresh() {
    sendPendingHides();
    TWGnomeSnapshot snapshot = connection_.snapshot();
    // The signals tell what a listing cannot: a window restored and minimized again since the
    // last look is no longer Tidewell's to restore.
    forgetMarks(connection_.takeRestoredOrGone());
    if (snapshot.complete) {
        record_.update([&](TWHiddenMarks& marks) {
            TWHiddenRecord::prune(
                marks,
                [&](const std::string& id) -> std::optional<bool> {
                    for (const auto& w : snapshot.windows)
                        if (key(w.id) == id)
                            return w.minimized;
                    return std::nullopt;
                },
                TWHiddenRecord::now());
            marks_ = marks;
        });
    } else {
        // Without the service nothing is known to be over: every mark stays.
        marks_ = record_.read();
    }
    auto apps = TWGnomeGroupApplications(snapshot, desktopEntries(), marks_,
                                         [this](int pid) { return programName(pid); });
    order_.apply(apps);
    std::set<int> pids;
    for (const auto& app : apps)
        pids.insert(app.info.processIdentifier);
    for (auto it = programNames_.begin(); it != programNames_.end();)
        it = pids.count(it->first) ? std::next(it) : programNames_.erase(it);
    apps_ = std::move(apps);
    return apps_;
}

std::vector<TWRunningApplication> TWGnomeWorkspace::runningApplications() {
    return TWApplicationOrder::infos(refresh());
}

TWGnomeApplication* TWGnomeWorkspace::findCached(std::uint64_t handle) {
    return TWApplicationOrder::find(apps_, handle, [this] { refresh(); });
}

void TWGnomeWorkspace::hide(const TWRunningApplication& info) {
    auto* app = findCached(info.handle);
    if (!app)
        return;
    long long now = TWHiddenRecord::now();
    for (auto& w : app->taskbarWins) {
        // A window the user minimized is not ours to restore later: it gets no mark.
        if (w.minimized || marks_.count(key(w.id)))
            continue;
        pendingHides_.emplace_back(w.id, TWHiddenMark{w.stackingIndex, now, false});
        marks_[key(w.id)] = pendingHides_.back().second;
        w.minimized = true;
        app->info.hidden = true;
    }
}

void TWGnomeWorkspace::sendPendingHides() {
    if (pendingHides_.empty())
        return;
    auto hides = std::exchange(pendingHides_, {});
    if (!connection_.available()) {
        TWLog(LOG_ERR, kLogClass,
              "Tidewell's GNOME Shell extension is not running; " + std::to_string(hides.size()) +
                  " windows stay shown");
        for (const auto& [id, mark] : hides)
            marks_.erase(key(id));
        return;
    }
    // The marks are written, in one go, before any window is minimized: no Tidewell process
    // ever sees a window minimized by us and unmarked. One that never gets minimized loses its
    // mark again.
    bool recorded = record_.update([&](TWHiddenMarks& marks) {
        for (const auto& [id, mark] : hides)
            marks[key(id)] = mark;
        marks_ = marks;
    });
    if (!recorded) {
        TWLog(LOG_ERR, kLogClass,
              "the record of hidden windows cannot be written; " + std::to_string(hides.size()) +
                  " windows stay shown");
        for (const auto& [id, mark] : hides)
            marks_.erase(key(id));
        return;
    }
    for (const auto& [id, mark] : hides)
        connection_.setMinimized(id, true);
    connection_.flush();
}

void TWGnomeWorkspace::unhideApplication(TWGnomeApplication& app) {
    sendPendingHides();
    std::vector<TWGnomeWindow*> marked;
    for (auto& w : app.taskbarWins)
        if (marks_.count(key(w.id)))
            marked.push_back(&w);
    if (marked.empty())
        return;
    if (!connection_.available()) {
        TWLog(LOG_ERR, kLogClass,
              "Tidewell's GNOME Shell extension is not running; the hidden windows stay hidden "
              "and on record");
        return;
    }
    // Bottom to top, so that each restored window lands above the ones restored before it.
    std::stable_sort(marked.begin(), marked.end(),
                     [&](const TWGnomeWindow* a, const TWGnomeWindow* b) {
                         return marks_[key(a->id)].position < marks_[key(b->id)].position;
                     });
    for (auto* w : marked) {
        if (w->minimized)
            connection_.setMinimized(w->id, false);
        w->minimized = false;
    }
    // The marks go once the shell answered: a mark left behind by an interruption is dropped
    // once its window is seen shown, a window minimized without its mark could never come back.
    if (!connection_.sync()) {
        TWLog(LOG_WARNING, kLogClass,
              "GNOME Shell did not confirm the restores; the windows stay on record");
        return;
    }
    record_.update([&](TWHiddenMarks& marks) {
        for (auto* w : marked)
            marks.erase(key(w->id));
        marks_ = marks;
    });
    app.info.hidden = false;
}

void TWGnomeWorkspace::unhide(const TWRunningApplication& info) {
    if (auto* app = findCached(info.handle))
        unhideApplication(*app);
}

void TWGnomeWorkspace::activateWithOptions(const TWRunningApplication& info, unsigned options) {
    (void)options; // activation always ignores the other applications on GNOME Shell
    auto* app = findCached(info.handle);
    if (!app)
        return;
    unhideApplication(*app);
    // The topmost window now shown; a window the user minimized is left alone.
    auto shown = [](const TWGnomeWindow& w) { return !w.minimized; };
    const TWGnomeWindow* target = TWTopmostWindow(app->taskbarWins, shown);
    if (!target)
        target = TWTopmostWindow(app->windows, shown);
    if (target)
        connection_.activate(target->id);
}

void TWGnomeWorkspace::flush() {
    sendPendingHides();
    connection_.flush();
}

void TWGnomeWorkspace::forgetMarks(const std::vector<std::string>& ids) {
    if (ids.empty())
        return;
    sendPendingHides();
    auto ours = [&](const TWHiddenMarks& marks) {
        return std::any_of(ids.begin(), ids.end(),
                           [&](const std::string& id) { return marks.count(id) != 0; });
    };
    // Another Tidewell process may have marked the window since our last look.
    if (!ours(marks_) && !ours(record_.read()))
        return;
    record_.update([&](TWHiddenMarks& marks) {
        for (const auto& id : ids)
            marks.erase(id);
        marks_ = marks;
    });
}

std::string TWGnomeWorkspace::keyOfWindow(std::uint64_t id) {
    if (id == 0)
        return {};
    auto snapshot = connection_.current();
    if (!snapshot.find(id))
        snapshot = connection_.snapshot();
    auto apps = TWGnomeGroupApplications(snapshot, desktopEntries(), {},
                                         [this](int pid) { return programName(pid); });
    for (const auto& app : apps)
        for (const auto& w : app.windows)
            if (w.id == id)
                return app.key;
    return {};
}

bool TWGnomeWorkspace::openURL(const std::string& url) {
    if (url.empty()) {
        TWLog(LOG_WARNING, kLogClass, "openURL called with an empty URL");
        return false;
    }
    return TWProcessLauncher::spawnDetached({"xdg-open", url});
}

std::string TWGnomeWorkspace::fileManagerBundleIdentifier() {
    if (fileManagerID_)
        return *fileManagerID_;
    TWMimeApps mimeApps;
    const auto& index = desktopEntries();
    const auto handler = mimeApps.defaultApplication("inode/directory", index);
    if (!handler) {
        TWLog(LOG_WARNING, kLogClass, "no default file manager is set for inode/directory");
        fileManagerID_ = "";
        return {};
    }
    // A folder handler of its own that starts the file manager's program stands for it.
    const TWDesktopEntry* entry = index.entryForID(*handler);
    const TWDesktopEntry* main =
        entry ? index.mainEntryForProgram(TWDesktopEntryIndex::programOf(entry->exec)) : nullptr;
    fileManagerID_ = main ? main->id : *handler;
    return *fileManagerID_;
}
