// SPDX-License-Identifier: MIT
// Running applications on X11, and the hide / unhide / activate requests for them.
#include "TWX11Workspace.h"

#include "TWLog.h"
#include "TWProcessLauncher.h"
#include "TWProcessRegistry.h"
#include "TWProcessTable.h"
#include "TWTopmostWindow.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <set>

constexpr const char* kLogClass = "TWX11Workspace";

namespace {
// How long an activation that follows restores waits for the window manager to finish them, and
// how long after it something else taking the focus is answered with one more activation.
constexpr std::chrono::milliseconds kActivationBound{2000};
constexpr std::chrono::milliseconds kActivationSettle{300};
// How often a deferred action looks again at what no event announces (a process quitting).
constexpr std::chrono::milliseconds kDeferredPoll{50};

std::string lower(std::string s) {
    for (auto& c : s)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// Windows of one X client share the bits above the server's resource-ID mask.
std::string clientKey(xcb_window_t window, const xcb_setup_t* setup) {
    return "x" + std::to_string(window & ~setup->resource_id_mask);
}

} // namespace

TWX11Workspace::TWX11Workspace(TWX11Connection& connection) : connection_(connection) {
    connection_.setWindowChangeHandler(
        [this](const std::vector<xcb_window_t>& changed, bool) { advance(changed, false); });
}

TWX11Workspace::~TWX11Workspace() {
    connection_.setWindowChangeHandler(nullptr);
    connection_.wakeUpAt(std::nullopt);
}

const TWDesktopEntryIndex& TWX11Workspace::desktopEntries() {
    // An application installed (or removed) while Tidewell runs gets its identity at once.
    if (!entries_ || !entries_->isCurrent()) {
        entries_ = std::make_unique<TWDesktopEntryIndex>();
        mimeApps_ = TWMimeApps{};
    }
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

bool TWX11Workspace::markIsRecent(const TWX11Window& w) const {
    if (!w.mark)
        return false;
    // A minimize asked for and not yet seen done, whether a restore waits behind it or not.
    if (auto f = followed_.find(w.id);
        f != followed_.end() &&
        (f->second.step == Step::AwaitIconic || f->second.step == Step::RestoreWhenIconic ||
         f->second.step == Step::HideWhenNormal))
        return true;
    if (!w.markTime || snapshot_.time == XCB_CURRENT_TIME)
        return false;
    // Server time is in milliseconds and wraps: the difference is taken modulo 2^32.
    const uint32_t age = snapshot_.time - *w.markTime;
    return age < static_cast<uint32_t>(kAnswerBound.count());
}

const std::vector<TWX11Application>& TWX11Workspace::refresh() {
    // Tidewell's own windows are those its processes' X clients made, whatever pid others claim.
    std::set<int> ownPids;
    for (const auto& reg : TWProcessRegistry::registeredProcesses())
        ownPids.insert(reg.pid);
    connection_.setClaimChecked(std::move(ownPids));
    snapshot_ = connection_.snapshot();
    const auto& e = connection_.ewmh();
    const xcb_setup_t* setup = xcb_get_setup(connection_.connection());
    const auto& index = desktopEntries();

    // Each window's own identity first; a window that names no entry itself (a dialog, a file
    // chooser, a toolkit's secondary window) then takes that of its transient-for parent, of its
    // window group or of its process, and only after those a guess from its program or class.
    std::map<int, std::string> commandNames;
    std::vector<TWIdentityHints> hints(snapshot_.windows.size());
    std::map<xcb_window_t, std::string> own;
    for (size_t i = 0; i < snapshot_.windows.size(); ++i) {
        const auto& w = snapshot_.windows[i];
        auto& h = hints[i];
        h.kdeDesktopFile = w.kdeDesktopFile;
        h.gtkApplicationID = w.gtkApplicationID;
        h.wmInstance = w.wmInstance;
        h.wmClass = w.wmClass;
        if (w.pid > 0) {
            auto it = commandNames.find(w.pid);
            if (it == commandNames.end())
                it = commandNames.emplace(w.pid, TWProcessTable::programName(w.pid)).first;
            h.commandName = it->second;
        }
        if (auto id = index.ownIdentity(h))
            own.emplace(w.id, *id);
    }
    auto inherited = [&](const TWX11Window& w) -> std::optional<std::string> {
        xcb_window_t parent = w.hasTransientFor ? w.transientFor : XCB_NONE;
        for (int depth = 0; depth < 8 && parent != XCB_NONE && parent != w.id; ++depth) {
            if (auto it = own.find(parent); it != own.end())
                return it->second;
            const TWX11Window* p = snapshot_.find(parent);
            parent = p && p->hasTransientFor ? p->transientFor : XCB_NONE;
        }
        if (w.groupLeader != XCB_NONE) {
            if (auto it = own.find(w.groupLeader); it != own.end())
                return it->second;
            for (const auto& other : snapshot_.windows)
                if (other.groupLeader == w.groupLeader && own.count(other.id))
                    return own.at(other.id);
        }
        if (w.pid > 0)
            for (const auto& other : snapshot_.windows)
                if (other.pid == w.pid && own.count(other.id))
                    return own.at(other.id);
        return std::nullopt;
    };

    // A process none of whose windows names an entry is one application all the same, named
    // by its main window: toolkits give further windows generic classes (Tk's "Toplevel") that
    // would otherwise split it. The main window is the one a taskbar shows whose WM_CLASS names
    // the application in both halves (instance and class alike but for case, as ICCCM has an
    // application's main window), else the first a taskbar shows, else the first.
    auto processKey = [&](const TWX11Window& w) {
        return w.pid > 0 ? "p" + std::to_string(w.pid) : clientKey(w.id, setup);
    };
    auto namesSomething = [](const TWX11Window& w) {
        return !w.kdeDesktopFile.empty() || !w.gtkApplicationID.empty() || !w.wmInstance.empty() ||
               !w.wmClass.empty();
    };
    std::map<std::string, std::string> mainGuess;
    for (int tier = 0; tier < 3; ++tier)
        for (size_t i = 0; i < snapshot_.windows.size(); ++i) {
            const auto& w = snapshot_.windows[i];
            const bool fits =
                tier == 2 ||
                (isTaskbarWindow(w, snapshot_) &&
                 (tier == 1 || (!w.wmClass.empty() && lower(w.wmClass) == lower(w.wmInstance))));
            if (fits && !own.count(w.id) && namesSomething(w))
                if (auto guess = index.guessedIdentity(hints[i]))
                    mainGuess.emplace(processKey(w), *guess);
        }

    std::vector<TWX11Application> apps;
    std::map<std::string, size_t> byKey;
    for (size_t i = 0; i < snapshot_.windows.size(); ++i) {
        const auto& w = snapshot_.windows[i];
        bool isDesktopSide = hasType(w, e._NET_WM_WINDOW_TYPE_DESKTOP) ||
                             hasType(w, e._NET_WM_WINDOW_TYPE_DOCK) ||
                             hasType(w, e._NET_WM_WINDOW_TYPE_SPLASH);
        std::optional<std::string> identity;
        if (auto it = own.find(w.id); it != own.end())
            identity = it->second;
        if (!identity)
            identity = inherited(w);
        // Only a window that names nothing at all stays without identity; the process name
        // alone identifies an application only through a desktop entry.
        if (!identity && namesSomething(w))
            if (auto it = mainGuess.find(processKey(w)); it != mainGuess.end())
                identity = it->second;
        std::string key = processKey(w) + "/" + identity.value_or("");
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
            // The class it is known by (its main window's), else the first window's.
            const auto named =
                std::find_if(app.windows.begin(), app.windows.end(), [&](const TWX11Window& w) {
                    return app.info.bundleIdentifier == w.wmClass;
                });
            const auto& first = named != app.windows.end() ? *named : app.windows.front();
            app.info.localizedName = !first.wmClass.empty() ? first.wmClass : first.title;
        }
        bool marked = false, visible = false;
        for (const auto& w : app.appWindows) {
            // A mark on a window that is back (restored by hand, or withdrawn and shown again)
            // records nothing any more.
            marked = marked || (w.mark && (w.iconic || markIsRecent(w)));
            visible = visible || (!w.iconic && isTaskbarWindow(w, snapshot_));
        }
        app.info.hidden = marked && !visible;
    }

    // New applications follow in client-list (mapping) order.
    order_.apply(apps);
    apps_ = std::move(apps);
    followNewlyMarked();
    return apps_;
}

void TWX11Workspace::followNewlyMarked() {
    const auto now = std::chrono::steady_clock::now();
    for (const auto& w : snapshot_.windows) {
        // A marked window that is shown is left to the next show-all, which knows whether its
        // hiding is still under way.
        if (!w.mark || !w.iconic || w.unmanaged || followed_.count(w.id))
            continue;
        follow(w.id, Step::Hidden, now);
        followed_[w.id].markTime = w.markTime;
    }
}

void TWX11Workspace::followMarked() {
    refresh();
    // A window restored between the listing and the request to hear of its changes is seen
    // only by reading it again.
    advance({}, true);
}

std::vector<TWRunningApplication> TWX11Workspace::runningApplications() {
    return TWApplicationOrder::infos(refresh());
}

TWX11Application* TWX11Workspace::findCached(std::uint64_t handle) {
    return TWApplicationOrder::find(apps_, handle, [this] { refresh(); });
}

void TWX11Workspace::follow(xcb_window_t window, Step step,
                            std::chrono::steady_clock::time_point deadline, bool ours) {
    connection_.watch(window);
    followed_[window] = Followed{step, deadline, ours};
}

void TWX11Workspace::hide(const TWRunningApplication& info) {
    auto* app = findCached(info.handle);
    if (!app)
        return;
    const auto deadline = std::chrono::steady_clock::now() + kAnswerBound;
    for (auto& w : app->appWindows) {
        if (w.unmanaged)
            continue; // no window manager runs to minimize it
        if (!w.minimizable && !w.iconic) {
            // Waiting for a minimize the window manager has said it will not carry out would
            // only delay the others.
            TWLog(LOG_WARNING, kLogClass,
                  "\"" + (w.title.empty() ? info.localizedName : w.title) + "\" of " +
                      info.bundleIdentifier.value_or(info.localizedName) +
                      " cannot be minimized (the window manager does not allow it); it stays "
                      "shown");
            ++unminimizable_;
            continue;
        }
        // An activation still waiting for restores would bring back what is hidden now.
        if (activation_ && activation_->target == w.id)
            activation_.reset();
        auto f = followed_.find(w.id);
        const bool restoring = f != followed_.end() && (f->second.step == Step::AwaitNormal ||
                                                        f->second.step == Step::RestoreWhenIconic);
        // A window the user minimized is not ours to restore later: it gets no mark. One we
        // hid stays as it is, unless a restore of it is under way: then it is minimized again,
        // after the restore.
        if (w.iconic && (!w.mark || !restoring))
            continue;
        const uint32_t position =
            w.mark ? *w.mark : static_cast<uint32_t>(std::max(w.stackingIndex, 0));
        // The mark goes first, in the same batch: the server handles requests in order, so no
        // one (another Tidewell process included) ever sees this window minimized and unmarked.
        connection_.setMark(w.id, position, snapshot_.time);
        if (w.iconic && f != followed_.end() && f->second.step == Step::AwaitNormal) {
            // Still minimized because the window manager has not carried out the restore yet:
            // a minimize sent now would be seen done at once, and the restore that follows it
            // would then take the window back with its mark. It is sent once the window is
            // seen restored.
            follow(w.id, Step::HideWhenNormal, deadline, true);
        } else {
            connection_.iconify(w.id, onOtherWorkspace(w));
            follow(w.id, Step::AwaitIconic, deadline, true);
        }
        followed_[w.id].elsewhere = onOtherWorkspace(w);
        followed_[w.id].markTime = snapshot_.time;
        w.mark = position;
        w.markTime = snapshot_.time;
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
    const auto now = std::chrono::steady_clock::now();
    if (!workspaceReturn_ && std::any_of(marked.begin(), marked.end(), [&](const TWX11Window* w) {
            return onOtherWorkspace(*w);
        }))
        workspaceReturn_ = WorkspaceReturn{*snapshot_.currentWorkspace};
    for (auto* w : marked) {
        auto f = followed_.find(w->id);
        if (w->unmanaged) {
            connection_.restoreUnmanaged(*w);
            followed_.erase(w->id);
        } else if (f != followed_.end() && f->second.step == Step::HideWhenNormal) {
            if (w->iconic) {
                // The restore asked for before is still under way: it is awaited again.
                f->second.step = Step::AwaitNormal;
            } else {
                // Restored, and its minimize not sent yet: it is back for good.
                connection_.removeMark(w->id);
                followed_.erase(f);
            }
        } else if (w->iconic) {
            // The mark stays until the window is seen restored.
            follow(w->id, Step::AwaitNormal, now);
            Followed& asked = followed_[w->id];
            asked.elsewhere = onOtherWorkspace(*w);
            asked.home = w->workspace;
            asked.flagged = hasState(*w, connection_.ewmh()._NET_WM_STATE_DEMANDS_ATTENTION);
            askRestore(w->id, asked, w->mapped, now);
        } else if (f != followed_.end() && (f->second.step == Step::AwaitNormal ||
                                            f->second.step == Step::AwaitWorkspace)) {
            // Restored by a restore asked for moments ago (this listing came before its answer
            // was handled): that answer ends the mark.
        } else if (markIsRecent(*w)) {
            // Hidden a moment ago and not minimized yet: restoring it now would come before the
            // minimize and be undone by it.
            const bool late = f != followed_.end() && f->second.late;
            auto deadline = f != followed_.end() ? f->second.deadline : now + kAnswerBound;
            follow(w->id, Step::RestoreWhenIconic, deadline);
            followed_[w->id].late = late;
            followed_[w->id].elsewhere = onOtherWorkspace(*w);
        } else {
            // Back already (restored by hand, or withdrawn and shown again): the hidden state
            // the mark recorded is over.
            connection_.removeMark(w->id);
            followed_.erase(w->id);
        }
        w->mark.reset();
        w->iconic = false;
    }
    app.info.hidden = false;
}

bool TWX11Workspace::onOtherWorkspace(const TWX11Window& w) const {
    return w.workspace && snapshot_.currentWorkspace && *w.workspace != kAllWorkspaces &&
           *w.workspace != *snapshot_.currentWorkspace;
}

bool TWX11Workspace::restoring() const {
    return std::any_of(followed_.begin(), followed_.end(), [](const auto& f) {
        return f.second.step == Step::AwaitNormal || f.second.step == Step::RestoreWhenIconic ||
               f.second.step == Step::AwaitWorkspace;
    });
}

void TWX11Workspace::askRestore(xcb_window_t window, Followed& f, bool mapped,
                                std::chrono::steady_clock::time_point now) {
    // A window elsewhere is first asked back in place; the re-asks try the other ways.
    if (f.elsewhere)
        connection_.unhideInPlace(window);
    else
        connection_.restore(window, mapped);
    f.step = Step::AwaitNormal;
    f.deadline = now + (f.elsewhere ? kInPlaceGrace : kReaskInterval);
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
    const TWX11Window* target = TWTopmostWindow(app->appWindows, [&](const TWX11Window& w) {
        return !w.iconic && isTaskbarWindow(w, snapshot_);
    });
    if (!target)
        target = TWTopmostWindow(app->appWindows, [](const TWX11Window& w) { return !w.iconic; });
    if (!target)
        return;
    if (!restoring()) {
        activation_.reset();
        connection_.activate(target->id, snapshot_.activeWindow);
        return;
    }
    // The window manager focuses each window it restores; an activation that reaches it while
    // it is still restoring can be overtaken by that focusing. It is sent once the restores are
    // done, and sent once more if something else still takes the focus right after.
    activation_ = PendingActivation{target->id, std::chrono::steady_clock::now() + kActivationBound,
                                    false, false, target->workspace};
}

void TWX11Workspace::sendActivation() {
    activation_->sent = true;
    activation_->deadline = std::chrono::steady_clock::now() + kActivationSettle;
    connection_.activate(activation_->target, connection_.activeWindowNow());
    connection_.flush();
}

void TWX11Workspace::collapse(xcb_window_t window) {
    if (activation_ && activation_->target == window)
        activation_.reset();
    const TWX11Window* w = snapshot_.find(window);
    connection_.iconify(window, w && onOtherWorkspace(*w));
    connection_.removeMark(window);
    followed_.erase(window);
}

void TWX11Workspace::whenReady(std::function<bool()> ready,
                               std::chrono::steady_clock::time_point deadline,
                               std::function<void()> action) {
    deferred_.push_back(Deferred{std::move(ready), deadline, std::move(action)});
    scheduleWakeUp();
}

bool TWX11Workspace::busy() const {
    return activation_ || workspaceReturn_ || !deferred_.empty() ||
           std::any_of(followed_.begin(), followed_.end(),
                       [](const auto& f) { return f.second.step != Step::Hidden; });
}

void TWX11Workspace::scheduleWakeUp() {
    std::optional<std::chrono::steady_clock::time_point> next;
    auto consider = [&](std::chrono::steady_clock::time_point t) {
        if (!next || t < *next)
            next = t;
    };
    for (const auto& [window, f] : followed_)
        if (f.step != Step::Hidden)
            consider(f.deadline);
    for (const auto& d : deferred_)
        consider(std::min(d.deadline, std::chrono::steady_clock::now() + kDeferredPoll));
    if (activation_)
        consider(activation_->deadline);
    if (workspaceReturn_) // the window manager reports the switch on the root only
        consider(
            std::min(workspaceReturn_->deadline, std::chrono::steady_clock::now() + kDeferredPoll));
    connection_.wakeUpAt(next);
}

bool TWX11Workspace::waitLonger(Followed& f, std::chrono::steady_clock::time_point now,
                                const char* what) {
    // Only a window manager that is known to minimize is waited for: one that never does
    // (i3) is found out at the first bound.
    if (f.late || minimizeSupport_ != TWX11MinimizeSupport::Yes)
        return false;
    if (!lateNoted_) {
        TWLog(LOG_NOTICE, kLogClass,
              std::string("the window manager is slow to ") + what +
                  " windows; its answer is awaited longer");
        lateNoted_ = true;
    }
    f.late = true;
    f.deadline = now + kLateAnswerBound;
    return true;
}

void TWX11Workspace::advance(const std::vector<xcb_window_t>& changed, bool everything) {
    if (advancing_ || connection_.broken())
        return;
    advancing_ = true;
    const auto now = std::chrono::steady_clock::now();
    std::vector<xcb_window_t> look;
    for (const auto& [window, f] : followed_) {
        const bool due = f.step != Step::Hidden && now >= f.deadline;
        if (everything || due || std::binary_search(changed.begin(), changed.end(), window))
            look.push_back(window);
    }
    const std::vector<TWX11WindowState> states = connection_.states(look);
    int ignored = 0;
    bool anyIconic = false;
    for (size_t i = 0; i < look.size(); ++i) {
        const xcb_window_t window = look[i];
        const TWX11WindowState& st = states[i];
        Followed& f = followed_.at(window);
        const bool expired = now >= f.deadline;
        bool done = false, keepMark = false;
        if (!st.exists) {
            done = true;
        } else if (!st.managed) {
            // Withdrawn by its client: the hidden state is over, and so is the mark.
            done = true;
        } else {
            switch (f.step) {
            case Step::AwaitIconic:
                if (st.iconic) {
                    anyIconic = anyIconic || f.ours;
                    f.step = Step::Hidden;
                    done = !st.marked; // collapsed or restored by another process meanwhile
                } else if (expired && !waitLonger(f, now)) {
                    ignored += f.ours ? 1 : 0;
                    done = true;
                    // Another process's hiding: its mark is its own to drop.
                    keepMark = !f.ours;
                }
                break;
            case Step::Hidden:
                if (st.marked && !st.iconic && st.markTime != f.markTime) {
                    // Shown and hidden again by another process, whose minimize is still under
                    // way: the new mark is followed until it is done.
                    f = Followed{Step::AwaitIconic, now + kAnswerBound};
                    f.markTime = st.markTime;
                    break;
                }
                // Restored by anyone (a show-all elsewhere, the user's task bar): the mark goes.
                done = !st.iconic || !st.marked;
                f.markTime = st.markTime; // marked again while minimized: the same hiding
                break;
            case Step::RestoreWhenIconic:
                if (st.iconic) {
                    f = Followed{Step::AwaitNormal,
                                 now,
                                 f.ours,
                                 false,
                                 0,
                                 std::nullopt,
                                 f.elsewhere,
                                 st.workspace,
                                 st.demandsAttention};
                    askRestore(window, f, st.mapped, now);
                } else if (expired && !waitLonger(f, now)) {
                    done = true; // it was never minimized
                }
                break;
            case Step::HideWhenNormal:
                if (!st.iconic) {
                    connection_.iconify(window, f.elsewhere);
                    f = Followed{Step::AwaitIconic, now + kAnswerBound, f.ours, false, 0,
                                 f.markTime,        f.elsewhere};
                } else if (expired && !waitLonger(f, now)) {
                    f.step = Step::Hidden; // never restored: minimized and marked, as asked
                }
                break;
            case Step::AwaitNormal:
                if (!st.iconic) {
                    // A window manager that does not restore a window elsewhere on a pager's
                    // activation flags it instead; the flag is ours to take back.
                    if (f.elsewhere && f.asks > 0 && st.demandsAttention && !f.flagged)
                        connection_.clearAttention(window);
                    if (f.mapAsked && f.home && st.workspace && *st.workspace != *f.home) {
                        // Restored on the user's workspace: moved back to its own.
                        connection_.moveToWorkspace(window, *f.home);
                        f.step = Step::AwaitWorkspace;
                        f.deadline = now + kAnswerBound;
                    } else {
                        done = true;
                    }
                } else if (f.elsewhere && !f.mapAsked && !st.mapped && f.asks > 0 &&
                           (expired || (st.demandsAttention && !f.flagged))) {
                    // Still minimized after the pager's activation (flagged at most): mapping
                    // it is a restore every window manager carries out, some of them on the
                    // user's workspace, from where it is moved back once restored.
                    connection_.deiconify(window);
                    f.mapAsked = true;
                    ++f.asks;
                    f.deadline = now + kReaskInterval;
                } else if (expired && ++f.asks < kRestoreAsks) {
                    // A window manager that was (re)starting drops what it is sent meanwhile:
                    // the restore is asked for again before the window is given up on.
                    connection_.restore(window, st.mapped, f.elsewhere);
                    f.deadline = now + kReaskInterval;
                } else if (expired && !waitLonger(f, now, "restore")) {
                    // Kept marked: the next show-all asks again.
                    TWLog(LOG_WARNING, kLogClass,
                          "the window manager did not restore a window in time; "
                          "it stays marked as hidden");
                    f.step = Step::Hidden;
                }
                break;
            case Step::AwaitWorkspace:
                if (st.workspace == f.home) {
                    done = true;
                } else if (st.iconic) {
                    // Minimized again on the way (by another hiding, perhaps): the mark stays
                    // for the next show-all.
                    done = true;
                    keepMark = true;
                } else if (expired) {
                    // Shown all the same; only its place is wrong.
                    TWLog(LOG_WARNING, kLogClass,
                          "the window manager did not move a restored window back to its "
                          "workspace");
                    done = true;
                }
                break;
            }
        }
        if (done) {
            if (st.exists && st.marked && !keepMark && !(f.step == Step::Hidden && st.iconic))
                connection_.removeMark(window);
            followed_.erase(window);
        }
    }
    if (anyIconic)
        minimizeSupport_ = TWX11MinimizeSupport::Yes;
    if (ignored > 0 && minimizeSupport_ != TWX11MinimizeSupport::Yes) {
        if (minimizeSupport_ != TWX11MinimizeSupport::No)
            TWLog(LOG_WARNING, kLogClass,
                  "the window manager does not minimize windows (none reached the "
                  "iconic state in time); nothing is hidden and no window is marked");
        minimizeSupport_ = TWX11MinimizeSupport::No;
    }

    for (size_t i = 0; i < deferred_.size();) {
        if (deferred_[i].ready() || now >= deferred_[i].deadline) {
            auto action = std::move(deferred_[i].action);
            deferred_.erase(deferred_.begin() + static_cast<long>(i));
            action();
            continue;
        }
        ++i;
    }

    const bool restoringNow = restoring();
    returnToWorkspace(restoringNow, now);
    if (activation_) {
        if (!activation_->sent &&
            ((!restoringNow && !workspaceReturn_) || now >= activation_->deadline)) {
            sendActivation();
        } else if (activation_->sent && now >= activation_->deadline) {
            activation_.reset();
        } else if (activation_->sent && !activation_->retried &&
                   connection_.activeWindowNow() != activation_->target) {
            activation_->retried = true;
            // Unless it was the target that went: minimized since, by the user or by another
            // process's hiding (a run of the tool right after this show-all), it stays so.
            const TWX11WindowState target = connection_.states({activation_->target})[0];
            if (target.exists && !target.iconic && !target.marked)
                connection_.activate(activation_->target, connection_.activeWindowNow());
        }
    }
    connection_.flush();
    scheduleWakeUp();
    advancing_ = false;
}

void TWX11Workspace::returnToWorkspace(bool restoring, std::chrono::steady_clock::time_point now) {
    if (!workspaceReturn_ || restoring)
        return;
    if (workspaceReturn_->sent) {
        if (connection_.currentWorkspaceNow() == workspaceReturn_->workspace)
            workspaceReturn_.reset();
        else if (now >= workspaceReturn_->deadline) {
            TWLog(LOG_WARNING, kLogClass,
                  "the window manager did not go back to the workspace the user was on");
            workspaceReturn_.reset();
        }
        return;
    }
    // The application given focus back living on another workspace: the window manager's own
    // rule for activating it decides where the user goes.
    const bool focusElsewhere = activation_ && !activation_->sent && activation_->workspace &&
                                *activation_->workspace != kAllWorkspaces &&
                                *activation_->workspace != workspaceReturn_->workspace;
    const auto current = connection_.currentWorkspaceNow();
    if (focusElsewhere || !current || *current == workspaceReturn_->workspace) {
        workspaceReturn_.reset();
        return;
    }
    TWLog(LOG_INFO, kLogClass,
          "the window manager took the user to the workspace of a restored window; going back");
    connection_.showWorkspace(workspaceReturn_->workspace);
    workspaceReturn_->sent = true;
    workspaceReturn_->deadline = now + kActivationBound;
}

bool TWX11Workspace::settle(std::chrono::milliseconds timeout) {
    const auto end = std::chrono::steady_clock::now() + timeout;
    connection_.flush();
    while (true) {
        connection_.dispatchEvents();
        advance({}, false);
        if (!busy())
            return true;
        if (std::chrono::steady_clock::now() >= end || connection_.broken())
            return false;
        // Woken by the window manager's answers, or by the earliest deadline.
        connection_.waitForEvents(end);
    }
}

void TWX11Workspace::flush() {
    connection_.flush();
    scheduleWakeUp();
}

bool TWX11Workspace::openURL(const std::string& url) {
    if (url.empty()) {
        TWLog(LOG_WARNING, kLogClass, "openURL called with an empty URL");
        return false;
    }
    return TWProcessLauncher::spawnDetached({"xdg-open", url});
}

std::string TWX11Workspace::fileManagerBundleIdentifier() {
    const auto& index = desktopEntries();
    const auto handler = mimeApps_.defaultApplication("inode/directory", index);
    if (!handler) {
        static bool logged = false;
        if (!logged)
            TWLog(LOG_WARNING, kLogClass, "no default file manager is set for inode/directory");
        logged = true;
        return {};
    }
    // The handler can be an entry of its own that starts the file manager's program (a folder
    // handler): the file manager is then the application that program stands for.
    const TWDesktopEntry* entry = index.entryForID(*handler);
    const TWDesktopEntry* main =
        entry ? index.mainEntryForProgram(TWDesktopEntryIndex::programOf(entry->exec)) : nullptr;
    return main ? main->id : *handler;
}

std::string TWX11Workspace::activeApplicationKey() {
    for (const auto& app : refresh())
        if (app.info.active)
            return app.key;
    return {};
}
