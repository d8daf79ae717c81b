// SPDX-License-Identifier: MIT
// Running applications on KWin, and the hide / unhide / activate requests for them.
#include "TWKWinWorkspace.h"

#include "TWLog.h"
#include "TWProcessLauncher.h"
#include "TWProcessTable.h"
#include "TWTopmostWindow.h"

#include <algorithm>
#include <set>
#include <utility>

constexpr const char* kLogClass = "TWKWinWorkspace";

namespace {} // namespace

bool TWKWinIsTaskbarWindow(const TWKWinWindow& window) {
    return !(window.state & TWKWinStateSkipTaskbar) && window.parent.empty();
}

std::vector<TWKWinApplication>
TWKWinGroupApplications(const TWKWinSnapshot& snapshot, const TWDesktopEntryIndex& entries,
                        const TWHiddenMarks& marks,
                        const std::function<std::string(int)>& programName) {
    std::vector<TWKWinApplication> apps;
    std::map<std::string, std::size_t> byKey;
    for (const auto& w : snapshot.windows) {
        // A transient window belongs to its parent's application whatever it names itself.
        const TWKWinWindow* owner = &w;
        for (int depth = 0; depth < 8 && !owner->parent.empty(); ++depth) {
            const TWKWinWindow* parent = snapshot.find(owner->parent);
            if (!parent)
                break;
            owner = parent;
        }
        std::optional<std::string> identity;
        if (!owner->appId.empty() || !owner->resourceName.empty()) {
            TWIdentityHints hints;
            // KWin gives an app id that names a desktop entry when it knows one; for other
            // windows it is the client's own class-like name.
            hints.kdeDesktopFile = owner->appId;
            hints.wmClass = owner->appId;
            hints.wmInstance = owner->resourceName;
            hints.commandName = programName(owner->pid);
            identity = entries.resolveIdentity(hints);
        }
        std::string key = "p" + std::to_string(owner->pid) + "/" + identity.value_or("");
        auto found = byKey.find(key);
        if (found == byKey.end()) {
            TWKWinApplication app;
            app.key = key;
            app.info.bundleIdentifier = identity;
            app.info.processIdentifier = owner->pid;
            app.info.activationPolicy = TWActivationPolicyProhibited;
            if (identity) {
                if (const auto* entry = entries.entryForID(*identity))
                    app.info.localizedName = TWDesktopEntryIndex::localizedName(*entry);
            }
            if (app.info.localizedName.empty())
                app.info.localizedName = !owner->appId.empty() ? owner->appId : owner->title;
            found = byKey.emplace(key, apps.size()).first;
            apps.push_back(std::move(app));
        }
        auto& app = apps[found->second];
        app.windows.push_back(w);
        if (w.active())
            app.info.active = true;
        if (TWKWinIsTaskbarWindow(w)) {
            app.taskbarWins.push_back(w);
            app.info.activationPolicy = TWActivationPolicyRegular;
        } else if (app.info.activationPolicy == TWActivationPolicyProhibited) {
            app.info.activationPolicy = TWActivationPolicyAccessory;
        }
    }
    for (auto& app : apps) {
        bool marked = false, shown = false;
        for (const auto& w : app.taskbarWins) {
            marked = marked || marks.count(w.uuid);
            shown = shown || !w.minimized();
        }
        app.info.hidden = marked && !shown;
    }
    return apps;
}

TWKWinWorkspace::TWKWinWorkspace(TWKWinConnection& connection)
    : connection_(connection), record_("kwin-hidden-" + connection.displayName()) {}

const TWDesktopEntryIndex& TWKWinWorkspace::desktopEntries() {
    if (!entries_)
        entries_ = std::make_unique<TWDesktopEntryIndex>();
    return *entries_;
}

std::string TWKWinWorkspace::programName(int pid) {
    auto it = programNames_.find(pid);
    if (it == programNames_.end())
        it = programNames_.emplace(pid, TWProcessTable::programName(pid)).first;
    return it->second;
}

const std::vector<TWKWinApplication>& TWKWinWorkspace::refresh() {
    sendPendingHides();
    TWKWinSnapshot snapshot = connection_.snapshot();
    // The events tell what a snapshot cannot: a window restored and minimized again since the
    // last look is no longer Tidewell's to restore.
    forgetMarks(connection_.takeRestoredOrGone());
    if (snapshot.complete) {
        record_.update([&](TWHiddenMarks& marks) {
            TWHiddenRecord::prune(
                marks,
                [&](const std::string& uuid) -> std::optional<bool> {
                    const TWKWinWindow* w = snapshot.find(uuid);
                    return w ? std::optional<bool>(w->minimized()) : std::nullopt;
                },
                TWHiddenRecord::now());
            marks_ = marks;
        });
    } else {
        marks_ = record_.read();
    }
    auto apps = TWKWinGroupApplications(snapshot, desktopEntries(), marks_,
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

std::vector<TWRunningApplication> TWKWinWorkspace::runningApplications() {
    return TWApplicationOrder::infos(refresh());
}

TWKWinApplication* TWKWinWorkspace::findCached(std::uint64_t handle) {
    return TWApplicationOrder::find(apps_, handle, [this] { refresh(); });
}

void TWKWinWorkspace::hide(const TWRunningApplication& info) {
    auto* app = findCached(info.handle);
    if (!app)
        return;
    long long now = TWHiddenRecord::now();
    for (auto& w : app->taskbarWins) {
        // A window the user minimized is not ours to restore later: it gets no mark.
        if (w.minimized() || marks_.count(w.uuid))
            continue;
        pendingHides_.emplace_back(w.uuid, TWHiddenMark{w.stackingIndex, now, false});
        marks_[w.uuid] = pendingHides_.back().second;
        w.state |= TWKWinStateMinimized;
        app->info.hidden = true;
    }
}

void TWKWinWorkspace::sendPendingHides() {
    if (pendingHides_.empty())
        return;
    auto hides = std::exchange(pendingHides_, {});
    // The marks are written, in one go, before any window is minimized: no Tidewell process
    // ever sees a window minimized by us and unmarked. One that never gets minimized loses its
    // mark again.
    bool recorded = record_.update([&](TWHiddenMarks& marks) {
        for (const auto& [uuid, mark] : hides)
            marks[uuid] = mark;
        marks_ = marks;
    });
    if (!recorded) {
        TWLog(LOG_ERR, kLogClass,
              "the record of hidden windows cannot be written; " + std::to_string(hides.size()) +
                  " windows stay shown");
        for (const auto& [uuid, mark] : hides)
            marks_.erase(uuid);
        return;
    }
    for (const auto& [uuid, mark] : hides)
        connection_.setMinimized(uuid, true);
}

void TWKWinWorkspace::unhideApplication(TWKWinApplication& app) {
    sendPendingHides();
    std::vector<TWKWinWindow*> marked;
    for (auto& w : app.taskbarWins)
        if (marks_.count(w.uuid))
            marked.push_back(&w);
    if (marked.empty())
        return;
    // Bottom to top, so that each restored window lands above the ones restored before it.
    std::stable_sort(marked.begin(), marked.end(),
                     [&](const TWKWinWindow* a, const TWKWinWindow* b) {
                         return marks_[a->uuid].position < marks_[b->uuid].position;
                     });
    for (auto* w : marked) {
        if (w->minimized())
            connection_.setMinimized(w->uuid, false);
        w->state &= ~TWKWinStateMinimized;
    }
    // The marks go after the requests: a mark left behind by an interruption is dropped once
    // its window is seen shown, a window minimized without its mark could never come back.
    connection_.flush();
    record_.update([&](TWHiddenMarks& marks) {
        for (auto* w : marked)
            marks.erase(w->uuid);
        marks_ = marks;
    });
    app.info.hidden = false;
}

void TWKWinWorkspace::unhide(const TWRunningApplication& info) {
    if (auto* app = findCached(info.handle))
        unhideApplication(*app);
}

void TWKWinWorkspace::activateWithOptions(const TWRunningApplication& info, unsigned options) {
    (void)options; // activation always ignores the other applications on KWin
    auto* app = findCached(info.handle);
    if (!app)
        return;
    unhideApplication(*app);
    // The topmost window now shown; a window the user minimized is left alone.
    auto shown = [](const TWKWinWindow& w) { return !w.minimized(); };
    const TWKWinWindow* target = TWTopmostWindow(app->taskbarWins, shown);
    if (!target)
        target = TWTopmostWindow(app->windows, shown);
    if (target)
        connection_.activate(target->uuid);
}

void TWKWinWorkspace::flush() {
    sendPendingHides();
    connection_.flush();
}

void TWKWinWorkspace::forgetMarks(const std::vector<std::string>& uuids) {
    if (uuids.empty())
        return;
    sendPendingHides();
    bool ours = std::any_of(uuids.begin(), uuids.end(),
                            [&](const std::string& uuid) { return marks_.count(uuid) != 0; });
    // Another Tidewell process may have marked the window since our last look.
    if (!ours) {
        auto onDisk = record_.read();
        ours = std::any_of(uuids.begin(), uuids.end(),
                           [&](const std::string& uuid) { return onDisk.count(uuid) != 0; });
    }
    if (!ours)
        return;
    record_.update([&](TWHiddenMarks& marks) {
        for (const auto& uuid : uuids)
            marks.erase(uuid);
        marks_ = marks;
    });
}

std::string TWKWinWorkspace::keyOfWindow(const std::string& uuid) {
    if (uuid.empty())
        return {};
    auto apps = TWKWinGroupApplications(connection_.current(), desktopEntries(), {},
                                        [this](int pid) { return programName(pid); });
    for (const auto& app : apps)
        for (const auto& w : app.windows)
            if (w.uuid == uuid)
                return app.key;
    return {};
}

bool TWKWinWorkspace::openURL(const std::string& url) {
    if (url.empty()) {
        TWLog(LOG_WARNING, kLogClass, "openURL called with an empty URL");
        return false;
    }
    return TWProcessLauncher::spawnDetached({"xdg-open", url});
}

std::string TWKWinWorkspace::fileManagerBundleIdentifier() {
    if (fileManagerID_)
        return *fileManagerID_;
    std::string out;
    if (!TWProcessLauncher::captureOutput({"xdg-mime", "query", "default", "inode/directory"}, out))
        TWLog(LOG_WARNING, kLogClass, "xdg-mime could not name the default file manager");
    out = out.substr(0, out.find('\n'));
    while (!out.empty() && (out.back() == ' ' || out.back() == '\r' || out.back() == '\t'))
        out.pop_back();
    const std::string suffix = ".desktop";
    if (out.size() > suffix.size() &&
        out.compare(out.size() - suffix.size(), suffix.size(), suffix) == 0)
        out.resize(out.size() - suffix.size());
    if (out.empty())
        TWLog(LOG_WARNING, kLogClass, "no default file manager is set for inode/directory");
    fileManagerID_ = out;
    return out;
}
