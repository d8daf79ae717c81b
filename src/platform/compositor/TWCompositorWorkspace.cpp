// SPDX-License-Identifier: MIT
// Running applications on a compositor, and the hide / unhide / activate requests for them.
#include "TWCompositorWorkspace.h"

#include "TWLog.h"
#include "TWProcessLauncher.h"
#include "TWProcessTable.h"
#include "TWTopmostWindow.h"

#include <algorithm>
#include <set>

const TWCompositorWindow* TWCompositorSnapshot::find(const std::string& id) const {
    for (const auto& w : windows)
        if (w.id == id)
            return &w;
    return nullptr;
}

bool TWCompositorIsTaskbarWindow(const TWCompositorWindow& window) {
    return !window.skipTaskbar && window.parent.empty();
}

std::vector<TWCompositorApplication>
TWCompositorGroupApplications(const TWCompositorSnapshot& snapshot,
                              const TWDesktopEntryIndex& entries, const TWHiddenMarks& marks,
                              const std::function<std::string(int)>& programName) {
    std::vector<TWCompositorApplication> apps;
    std::map<std::string, std::size_t> byKey;
    for (const auto& w : snapshot.windows) {
        // A transient window belongs to its parent's application whatever it names itself.
        const TWCompositorWindow* owner = &w;
        for (int depth = 0; depth < 8 && !owner->parent.empty(); ++depth) {
            const TWCompositorWindow* parent = snapshot.find(owner->parent);
            if (!parent)
                break;
            owner = parent;
        }
        std::optional<std::string> identity;
        if (owner->hints) {
            TWIdentityHints hints = *owner->hints;
            hints.commandName = programName(owner->pid);
            identity = entries.resolveIdentity(hints);
        }
        std::string key = "p" + std::to_string(owner->pid) + "/" + identity.value_or("");
        auto found = byKey.find(key);
        if (found == byKey.end()) {
            TWCompositorApplication app;
            app.key = key;
            app.info.bundleIdentifier = identity;
            app.info.processIdentifier = owner->pid;
            app.info.activationPolicy = TWActivationPolicyProhibited;
            if (identity) {
                if (const auto* entry = entries.entryForID(*identity))
                    app.info.localizedName = TWDesktopEntryIndex::localizedName(*entry);
            }
            if (app.info.localizedName.empty())
                app.info.localizedName = owner->fallbackName;
            found = byKey.emplace(key, apps.size()).first;
            apps.push_back(std::move(app));
        }
        auto& app = apps[found->second];
        app.windows.push_back(w);
        if (w.active)
            app.info.active = true;
        if (TWCompositorIsTaskbarWindow(w)) {
            app.taskbarWins.push_back(w);
            app.info.activationPolicy = TWActivationPolicyRegular;
        } else if (app.info.activationPolicy == TWActivationPolicyProhibited) {
            app.info.activationPolicy = TWActivationPolicyAccessory;
        }
    }
    for (auto& app : apps) {
        bool marked = false, shown = false;
        for (const auto& w : app.taskbarWins) {
            marked = marked || marks.count(w.id);
            shown = shown || !w.minimized;
        }
        app.info.hidden = marked && !shown;
    }
    return apps;
}

TWCompositorWorkspace::TWCompositorWorkspace(std::unique_ptr<TWCompositorWindowList> windows,
                                             const std::string& recordName, std::string logClass)
    : logClass_(std::move(logClass)), windows_(std::move(windows)), record_(recordName) {}

const TWDesktopEntryIndex& TWCompositorWorkspace::desktopEntries() {
    if (!entries_)
        entries_ = std::make_unique<TWDesktopEntryIndex>();
    return *entries_;
}

std::string TWCompositorWorkspace::programName(int pid) {
    auto it = programNames_.find(pid);
    if (it == programNames_.end())
        it = programNames_.emplace(pid, TWProcessTable::programName(pid)).first;
    return it->second;
}

const std::vector<TWCompositorApplication>& TWCompositorWorkspace::refresh(bool askCompositor) {
    sendPendingHides();
    sendPendingRestores();
    TWCompositorSnapshot snapshot =
        askCompositor ? windows_->list() : windows_->listAfterRequests();
    // The events tell what a snapshot cannot: a window restored and minimized again since the
    // last look is no longer Tidewell's to restore.
    forgetMarks(windows_->takeRestoredOrGone());
    // Without an answer nothing is known to be over: every mark stays.
    marks_ = record_.read();
    if (snapshot.complete) {
        auto minimized = [&](const std::string& id) -> std::optional<bool> {
            const TWCompositorWindow* w = snapshot.find(id);
            return w ? std::optional<bool>(w->minimized) : std::nullopt;
        };
        TWHiddenMarks pruned = marks_;
        TWHiddenRecord::prune(pruned, minimized, TWHiddenRecord::now());
        // The lock only when something changes: a held lock keeps no listing waiting.
        if (pruned != marks_)
            record_.update([&](TWHiddenMarks& marks) {
                TWHiddenRecord::prune(marks, minimized, TWHiddenRecord::now());
                marks_ = marks;
            });
    }
    auto apps = TWCompositorGroupApplications(snapshot, desktopEntries(), marks_,
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

std::vector<TWRunningApplication> TWCompositorWorkspace::runningApplications() {
    return TWApplicationOrder::infos(refresh());
}

TWCompositorApplication* TWCompositorWorkspace::findCached(std::uint64_t handle) {
    return TWApplicationOrder::find(apps_, handle, [this] { refresh(); });
}

void TWCompositorWorkspace::hide(const TWRunningApplication& info) {
    // A restore asked for before goes first: the hide then finds the window shown.
    sendPendingRestores();
    auto* app = findCached(info.handle);
    if (!app)
        return;
    long long now = TWHiddenRecord::now();
    for (auto& w : app->taskbarWins) {
        // A window the user minimized is not ours to restore later: it gets no mark.
        if (w.minimized || marks_.count(w.id))
            continue;
        pendingHides_.emplace_back(w.id, TWHiddenMark{w.stackingIndex, now, false});
        marks_[w.id] = pendingHides_.back().second;
        w.minimized = true;
        app->info.hidden = true;
    }
}

void TWCompositorWorkspace::sendPendingHides() {
    if (pendingHides_.empty())
        return;
    auto hides = std::exchange(pendingHides_, {});
    auto unmark = [&] {
        for (const auto& [id, mark] : hides)
            marks_.erase(id);
    };
    if (auto why = windows_->unavailable(); !why.empty()) {
        TWLog(LOG_ERR, logClass_,
              why + "; " + std::to_string(hides.size()) + " windows stay shown");
        unmark();
        return;
    }
    // The marks are written, in one go, before any window is minimized: no Tidewell process
    // ever sees a window minimized by us and unmarked. One that never gets minimized loses its
    // mark again.
    bool recorded = record_.update([&](TWHiddenMarks& marks) {
        for (const auto& [id, mark] : hides)
            marks[id] = mark;
        marks_ = marks;
    });
    if (!recorded) {
        TWLog(LOG_ERR, logClass_,
              "the record of hidden windows cannot be written; " + std::to_string(hides.size()) +
                  " windows stay shown");
        unmark();
        return;
    }
    std::vector<std::string> ids;
    for (const auto& [id, mark] : hides)
        ids.push_back(id);
    windows_->setMinimized(ids, true);
    windows_->flush();
    minimizedHere_.insert(ids.begin(), ids.end());
}

TWCompositorApplication* TWCompositorWorkspace::findByKey(const std::string& key) {
    for (auto& app : apps_)
        if (app.key == key)
            return &app;
    return nullptr;
}

void TWCompositorWorkspace::queueRestores(const std::string& key) {
    sendPendingHides();
    if (const auto* app = findByKey(key)) {
        for (const auto& w : app->taskbarWins) {
            auto it = marks_.find(w.id);
            if (it == marks_.end() ||
                std::any_of(pendingRestores_.begin(), pendingRestores_.end(),
                            [&](const PendingRestore& r) { return r.id == w.id; }))
                continue;
            pendingRestores_.push_back(
                {key, w.id, it->second.position,
                 w.minimized || it->second.confirmed || minimizedHere_.count(w.id) != 0});
        }
    }
}

void TWCompositorWorkspace::sendPendingRestores() {
    if (pendingRestores_.empty())
        return;
    // Only keys and IDs cross the waits below: the handlers a wait may run list the windows
    // again and replace every application record.
    auto restores = std::exchange(pendingRestores_, {});
    if (auto why = windows_->unavailable(); !why.empty()) {
        TWLog(LOG_ERR, logClass_, why + "; the hidden windows stay hidden and on record");
        return;
    }
    // Bottom to top, so that each restored window lands above the ones restored before it.
    std::stable_sort(restores.begin(), restores.end(),
                     [](const auto& a, const auto& b) { return a.position < b.position; });
    std::vector<std::string> left;
    for (const auto& r : restores)
        left.push_back(r.id);
    // One request for every window of the action. A mark goes only once the compositor
    // confirms its window restored: a window minimized without its mark could never come back.
    std::set<std::string> restored;
    for (int attempt = 0; attempt < kRestoreAttempts && !left.empty(); ++attempt) {
        if (attempt > 0 && !windows_->unavailable().empty())
            break;
        auto confirmed = windows_->restore(left);
        std::erase_if(left, [&](const std::string& id) { return confirmed.count(id) != 0; });
        restored.merge(confirmed);
    }
    if (!left.empty()) {
        TWLog(LOG_WARNING, logClass_,
              windows_->name() + " did not restore " + std::to_string(left.size()) +
                  " windows; they stay hidden and on record");
        // A window minimized again under this restore was never the user's to take back: its
        // passing restore is no reason to drop its mark.
        auto seen = windows_->takeRestoredOrGone();
        std::erase_if(seen, [&](const std::string& id) {
            return std::find(left.begin(), left.end(), id) != left.end();
        });
        forgetMarks(seen);
    }
    for (const auto& r : restores)
        minimizedHere_.erase(r.id);
    if (restored.empty())
        return;
    record_.update([&](TWHiddenMarks& marks) {
        for (const auto& r : restores) {
            auto mark = marks.find(r.id);
            if (mark != marks.end() && restored.count(r.id) &&
                (r.seenMinimized || mark->second.confirmed))
                marks.erase(mark);
        }
        marks_ = marks;
    });
    std::set<std::string> keys;
    for (const auto& r : restores)
        keys.insert(r.key);
    for (const auto& key : keys)
        noteRestored(key, restored);
}

void TWCompositorWorkspace::noteRestored(const std::string& key,
                                         const std::set<std::string>& restored) {
    // Found again: the list may have been replaced while the compositor was asked.
    auto* app = findByKey(key);
    if (!app)
        return;
    bool hidden = false;
    for (auto* windows : {&app->windows, &app->taskbarWins})
        for (auto& w : *windows)
            if (restored.count(w.id))
                w.minimized = false;
    for (const auto& w : app->taskbarWins)
        hidden = hidden || marks_.count(w.id);
    app->info.hidden = hidden;
}

void TWCompositorWorkspace::unhide(const TWRunningApplication& info) {
    // Gathered and sent at flush (or before the next listing, hide or activation), so that one
    // request restores every window of the action.
    if (auto* app = findCached(info.handle))
        queueRestores(std::string(app->key));
}

void TWCompositorWorkspace::activateWithOptions(const TWRunningApplication& info,
                                                unsigned options) {
    (void)options; // a compositor's activation always ignores the other applications
    auto* found = findCached(info.handle);
    if (!found)
        return;
    const std::string key = found->key;
    queueRestores(key);
    sendPendingRestores();
    const auto* app = findByKey(key);
    if (!app)
        return;
    // The topmost window now shown; a window the user minimized is left alone.
    auto shown = [](const TWCompositorWindow& w) { return !w.minimized; };
    const TWCompositorWindow* target = TWTopmostWindow(app->taskbarWins, shown);
    if (!target)
        target = TWTopmostWindow(app->windows, shown);
    if (target)
        windows_->activate(target->id);
}

void TWCompositorWorkspace::flush() {
    sendPendingHides();
    sendPendingRestores();
    windows_->flush();
}

void TWCompositorWorkspace::forgetMarks(const std::vector<std::string>& ids) {
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

void TWCompositorWorkspace::forgetMark(const std::string& id) {
    if (!marks_.count(id))
        return;
    auto pending = std::find_if(pendingHides_.begin(), pendingHides_.end(),
                                [&](const auto& hide) { return hide.first == id; });
    if (pending == pendingHides_.end())
        return forgetMarks({id});
    pendingHides_.erase(pending);
    marks_.erase(id);
}

std::string TWCompositorWorkspace::keyOfWindow(const std::string& id, bool askWhenUnknown) {
    if (id.empty())
        return {};
    auto snapshot = windows_->current();
    if (askWhenUnknown && !snapshot.find(id))
        snapshot = windows_->list();
    auto apps = TWCompositorGroupApplications(snapshot, desktopEntries(), {},
                                              [this](int pid) { return programName(pid); });
    for (const auto& app : apps)
        for (const auto& w : app.windows)
            if (w.id == id)
                return app.key;
    return {};
}

bool TWCompositorWorkspace::openURL(const std::string& url) {
    if (url.empty()) {
        TWLog(LOG_WARNING, logClass_, "openURL called with an empty URL");
        return false;
    }
    return TWProcessLauncher::spawnDetached({"xdg-open", url});
}
