// SPDX-License-Identifier: MIT
// The session-bus side of the GNOME backend: the bus name, the window service's listing,
// requests and signals.
#include "TWGnomeConnection.h"

#include "TWFormat.h"
#include "TWLocalizedString.h"
#include "TWLog.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <set>
#include <unistd.h>
#include <utility>

constexpr const char* kLogClass = "TWGnomeConnection";

namespace {

constexpr const char* kShell = "org.gnome.Shell";
constexpr const char* kPath = "/net/quillfen/Tidewell/Shell";
constexpr const char* kInterface = "net.quillfen.Tidewell.Shell1";
constexpr const char* kWindowRow = "(tsssssisbbbtuiu)";
constexpr std::uint64_t kListTimeoutUsec = 5'000'000;
constexpr std::chrono::seconds kAnswerTimeout{5};

// Errors that say the service is not there (the extension is disabled, or the shell is gone).
bool meansNoService(const std::string& name) {
    return name == SD_BUS_ERROR_UNKNOWN_METHOD || name == SD_BUS_ERROR_UNKNOWN_OBJECT ||
           name == SD_BUS_ERROR_UNKNOWN_INTERFACE || name == SD_BUS_ERROR_SERVICE_UNKNOWN ||
           name == SD_BUS_ERROR_NAME_HAS_NO_OWNER || name == SD_BUS_ERROR_NO_REPLY;
}

std::string displayName() {
    for (const char* var : {"WAYLAND_DISPLAY", "DISPLAY"})
        if (const char* value = std::getenv(var); value && *value) {
            std::string name = value;
            return name.substr(name.rfind('/') + 1);
        }
    return "session";
}

// Frees what sd-bus handed out when the scope ends.
struct Reply {
    sd_bus_message* message = nullptr;
    sd_bus_error error = SD_BUS_ERROR_NULL;
    ~Reply() {
        sd_bus_message_unref(message);
        sd_bus_error_free(&error);
    }
};

bool readRows(sd_bus_message* m, std::vector<TWGnomeWindow>& out) {
    if (sd_bus_message_enter_container(m, 'a', kWindowRow) < 0)
        return false;
    for (;;) {
        TWGnomeWindow w;
        const char *app, *sandboxed, *wmClass, *wmInstance, *gtk, *title;
        int minimized, focused, skip;
        std::uint32_t stacking;
        int r = sd_bus_message_read(m, kWindowRow, &w.id, &app, &sandboxed, &wmClass, &wmInstance,
                                    &gtk, &w.pid, &title, &minimized, &focused, &skip,
                                    &w.transientFor, &w.type, &w.workspace, &stacking);
        if (r < 0)
            return false;
        if (r == 0)
            break;
        w.appId = app;
        // The tracker names windows it matched to no desktop entry "window:N".
        if (w.appId.rfind("window:", 0) == 0)
            w.appId.clear();
        const std::string suffix = ".desktop";
        if (w.appId.size() > suffix.size() &&
            w.appId.compare(w.appId.size() - suffix.size(), suffix.size(), suffix) == 0)
            w.appId.resize(w.appId.size() - suffix.size());
        w.sandboxedAppId = sandboxed;
        w.wmClass = wmClass;
        w.wmInstance = wmInstance;
        w.gtkApplicationId = gtk;
        w.title = title;
        w.minimized = minimized;
        w.focused = focused;
        w.skipTaskbar = skip;
        w.stackingIndex = static_cast<int>(stacking);
        out.push_back(std::move(w));
    }
    return sd_bus_message_exit_container(m) >= 0;
}

// Window IDs as the service takes them: decimal, separated by commas.
std::string idText(const std::vector<std::uint64_t>& ids) {
    std::string text;
    for (auto id : ids)
        text += (text.empty() ? "" : ",") + std::to_string(id);
    return text;
}

} // namespace

struct TWGnomeConnection::Callbacks {
    static int onSignal(sd_bus_message* m, void* data, sd_bus_error*);
    static int onShellOwner(sd_bus_message* m, void* data, sd_bus_error*);
    static int onReply(sd_bus_message* m, void* data, sd_bus_error*);
};

const TWGnomeWindow* TWGnomeSnapshot::find(std::uint64_t id) const {
    for (const auto& w : windows)
        if (w.id == id)
            return &w;
    return nullptr;
}

std::unique_ptr<TWGnomeConnection> TWGnomeConnection::open(std::string* whyNot, bool* absent) {
    auto fail = [&](const std::string& reason,
                    bool nothingThere = false) -> std::unique_ptr<TWGnomeConnection> {
        if (whyNot)
            *whyNot = reason;
        if (absent)
            *absent = nothingThere;
        return nullptr;
    };
    if (absent)
        *absent = false;
    std::unique_ptr<TWGnomeConnection> self(new TWGnomeConnection);
    if (int r = sd_bus_open_user(&self->bus_); r < 0) {
        self->bus_ = nullptr;
        return fail(TWFormat(TWLocalizedString("cannot connect to the session bus: %@"),
                             std::string(std::strerror(-r))),
                    true);
    }
    {
        Reply owner;
        const char* unique = nullptr;
        if (sd_bus_call_method(self->bus_, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                               "org.freedesktop.DBus", "GetNameOwner", &owner.error, &owner.message,
                               "s", kShell) < 0 ||
            sd_bus_message_read(owner.message, "s", &unique) < 0)
            return fail(TWLocalizedString("GNOME Shell is not running on this session bus"), true);
        self->shellOwner_ = unique;
    }
    // The service answers only processes owning a name in Tidewell's namespace. Another
    // connection of this process may hold the plain one already.
    const std::string base = "net.quillfen.Tidewell.Desktop.p" + std::to_string(getpid());
    for (int n = 0; n < 100 && self->busName_.empty(); ++n) {
        std::string name = n == 0 ? base : base + "_" + std::to_string(n);
        if (sd_bus_request_name(self->bus_, name.c_str(), 0) >= 0)
            self->busName_ = name;
    }
    if (self->busName_.empty())
        return fail(
            TWLocalizedString("cannot own a bus name in Tidewell's namespace on the session bus"));
    sd_bus_match_signal(self->bus_, &self->signalSlot_, kShell, kPath, kInterface, nullptr,
                        &Callbacks::onSignal, self.get());
    sd_bus_add_match(self->bus_, &self->ownerSlot_,
                     "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
                     "member='NameOwnerChanged',arg0='org.gnome.Shell'",
                     &Callbacks::onShellOwner, self.get());
    self->sessionName_ = displayName();

    if (!self->subscribe(whyNot))
        return nullptr;
    self->drain();
    return self;
}

bool TWGnomeConnection::subscribe(std::string* whyNot) {
    Reply list;
    std::vector<TWGnomeWindow> rows;
    int r = sd_bus_call_method(bus_, kShell, kPath, kInterface, "Subscribe", &list.error,
                               &list.message, "");
    if (r < 0 || !readRows(list.message, rows)) {
        const std::string name = list.error.name ? list.error.name : "";
        if (whyNot && meansNoService(name))
            *whyNot = TWFormat(
                TWLocalizedString(
                    "GNOME Shell lets other programs hide windows only through Tidewell's GNOME "
                    "Shell extension, which is not running: install it where `gnome-extensions "
                    "info %@` does not find it (a newly installed extension is loaded at the next "
                    "login), enable it with `gnome-extensions enable %@`, and turn extensions on "
                    "as a whole where GNOME Shell has them off (`gsettings set org.gnome.shell "
                    "disable-user-extensions false`)"),
                std::string(TWGnomeExtensionUUID), std::string(TWGnomeExtensionUUID));
        else if (whyNot)
            *whyNot = TWFormat(
                TWLocalizedString("Tidewell's GNOME Shell extension did not answer: "
                                  "%@ %@"),
                name, std::string(list.error.message ? list.error.message : std::strerror(-r)));
        if (!name.empty())
            replyError(name, list.error.message ? list.error.message : "");
        return false;
    }
    // Everything before the answer is in it; signals queued behind it are newer.
    last_ = {};
    last_.complete = true;
    mergeRows(std::move(rows));
    setAvailable(true, "");
    return true;
}

void TWGnomeConnection::mergeRows(std::vector<TWGnomeWindow> rows) {
    for (auto& row : rows) {
        if (row.focused)
            last_.focused = row.id;
        auto it = std::find_if(last_.windows.begin(), last_.windows.end(),
                               [&](const TWGnomeWindow& w) { return w.id == row.id; });
        if (it == last_.windows.end()) {
            // IDs grow with each window the shell creates: kept in that order.
            auto at = std::find_if(last_.windows.begin(), last_.windows.end(),
                                   [&](const TWGnomeWindow& w) { return w.id > row.id; });
            last_.windows.insert(at, std::move(row));
            continue;
        }
        if (it->minimized && !row.minimized)
            restoredOrGone_.push_back(std::to_string(row.id));
        // The focus and the stacking have signals of their own, which may be newer.
        row.focused = it->focused;
        row.stackingIndex = it->stackingIndex;
        *it = std::move(row);
    }
}

void TWGnomeConnection::resubscribeIfBack() {
    if (!resubscribe_ || broken_)
        return;
    resubscribe_ = false;
    std::string why;
    if (!subscribe(&why)) {
        TWLog(LOG_WARNING, kLogClass, "cannot list the windows again: " + why);
        return;
    }
    drain();
}

TWGnomeConnection::~TWGnomeConnection() {
    sd_bus_slot_unref(signalSlot_);
    sd_bus_slot_unref(ownerSlot_);
    if (bus_)
        sd_bus_flush_close_unref(bus_);
}

void TWGnomeConnection::noteBroken(int error) {
    if (broken_)
        return;
    broken_ = true;
    TWLog(LOG_ERR, kLogClass,
          "the connection to the session bus is lost (" + std::string(std::strerror(error)) + ")");
}

void TWGnomeConnection::setAvailable(bool available, const std::string& why) {
    if (available == available_)
        return;
    available_ = available;
    returned_ = returned_ || available;
    if (!available)
        last_.complete = false;
    if (stoppedForLock_)
        TWLog(LOG_INFO, kLogClass,
              available ? "Tidewell's GNOME Shell extension is back after the lock screen"
                        : "GNOME Shell turned its extensions off for the lock screen; the "
                          "windows Tidewell hid stay on record");
    else if (available)
        TWLog(LOG_NOTICE, kLogClass, "Tidewell's GNOME Shell extension answers again");
    else
        TWLog(LOG_WARNING, kLogClass,
              "Tidewell's GNOME Shell extension stopped (" + why +
                  "): nothing is hidden or shown until it is enabled again (`gnome-extensions "
                  "enable " +
                  TWGnomeExtensionUUID + "`); the windows Tidewell hid stay on record");
}

void TWGnomeConnection::replyError(const std::string& name, const std::string& message) {
    if (meansNoService(name))
        setAvailable(false, "it does not answer");
    else
        TWLog(LOG_WARNING, kLogClass,
              "the window service refused a request: " + name + " " + message);
}

int TWGnomeConnection::Callbacks::onSignal(sd_bus_message* m, void* data, sd_bus_error*) {
    auto* self = static_cast<TWGnomeConnection*>(data);
    // The name the match names is resolved by the bus; anyone may send on this path, so the
    // sender is checked against the shell's own connection.
    const char* sender = sd_bus_message_get_sender(m);
    if (!sender || self->shellOwner_ != sender)
        return 0;
    std::uint64_t id = 0;
    int flag = 0;
    if (sd_bus_message_is_signal(m, kInterface, "WindowsChanged")) {
        std::vector<TWGnomeWindow> rows;
        if (readRows(m, rows))
            self->mergeRows(std::move(rows));
    } else if (sd_bus_message_is_signal(m, kInterface, "MinimizedChanged")) {
        for (bool minimized : {true, false}) {
            const std::uint64_t* ids = nullptr;
            std::size_t size = 0;
            if (sd_bus_message_read_array(m, 't', reinterpret_cast<const void**>(&ids), &size) < 0)
                return 0;
            const std::set<std::uint64_t> changed(ids, ids + size / sizeof *ids);
            for (auto& w : self->last_.windows) {
                if (!changed.count(w.id))
                    continue;
                if (w.minimized && !minimized)
                    self->restoredOrGone_.push_back(std::to_string(w.id));
                w.minimized = minimized;
            }
        }
    } else if (sd_bus_message_is_signal(m, kInterface, "FocusChanged") &&
               sd_bus_message_read(m, "t", &id) >= 0) {
        self->last_.focused = id;
        for (auto& w : self->last_.windows)
            w.focused = w.id == id;
    } else if (sd_bus_message_is_signal(m, kInterface, "StackingChanged")) {
        const std::uint64_t* ids = nullptr;
        std::size_t size = 0;
        if (sd_bus_message_read_array(m, 't', reinterpret_cast<const void**>(&ids), &size) < 0)
            return 0;
        std::map<std::uint64_t, int> position;
        for (std::size_t i = 0; i < size / sizeof *ids; ++i)
            position[ids[i]] = static_cast<int>(i);
        for (auto& w : self->last_.windows)
            if (auto it = position.find(w.id); it != position.end())
                w.stackingIndex = it->second;
    } else if (sd_bus_message_is_signal(m, kInterface, "WindowClosed") &&
               sd_bus_message_read(m, "t", &id) >= 0) {
        self->restoredOrGone_.push_back(std::to_string(id));
        std::erase_if(self->last_.windows, [id](const TWGnomeWindow& w) { return w.id == id; });
    } else if (const char* action = nullptr;
               sd_bus_message_is_signal(m, kInterface, "ShortcutPressed") &&
               sd_bus_message_read(m, "s", &action) >= 0) {
        self->shortcutsPressed_.emplace_back(action);
    } else if (sd_bus_message_is_signal(m, kInterface, "ServiceChanged") &&
               sd_bus_message_read(m, "b", &flag) >= 0) {
        const char* reason = "";
        if (sd_bus_message_read(m, "s", &reason) < 0 || !reason)
            reason = "";
        if (!flag)
            self->stoppedForLock_ = std::string(reason) == "locked";
        // Back: what it told this connection is gone with its last run; listed again.
        self->resubscribe_ = self->resubscribe_ || flag;
        self->setAvailable(flag, "it was disabled");
    }
    return 0;
}

int TWGnomeConnection::Callbacks::onShellOwner(sd_bus_message* m, void* data, sd_bus_error*) {
    auto* self = static_cast<TWGnomeConnection*>(data);
    const char *name, *before, *after;
    if (sd_bus_message_read(m, "sss", &name, &before, &after) < 0)
        return 0;
    self->shellOwner_ = after;
    if (!*after)
        self->setAvailable(false, "GNOME Shell left the session bus");
    return 0;
}

int TWGnomeConnection::Callbacks::onReply(sd_bus_message* m, void* data, sd_bus_error*) {
    auto* self = static_cast<TWGnomeConnection*>(data);
    std::uint64_t cookie = 0;
    sd_bus_message_get_reply_cookie(m, &cookie);
    auto found = self->requests_.find(cookie);
    if (found == self->requests_.end())
        return 0;
    Request& request = found->second;
    request.answered = true;
    if (const sd_bus_error* error = sd_bus_message_get_error(m); error && error->name) {
        self->replyError(error->name, error->message ? error->message : "");
    } else if (const char* done = nullptr;
               !request.ids.empty() && sd_bus_message_read(m, "s", &done) >= 0 && done) {
        for (const char* c = done; *c; ++c)
            request.done.push_back(*c == '1');
        // What the shell confirmed is so now; its signal may follow later.
        std::size_t refused = 0;
        for (std::size_t i = 0; i < request.ids.size(); ++i) {
            const bool ok = i < request.done.size() && request.done[i];
            refused += !ok;
            if (!ok)
                continue;
            for (auto& w : self->last_.windows)
                if (w.id == request.ids[i])
                    w.minimized = request.minimized;
        }
        if (refused)
            TWLog(LOG_WARNING, kLogClass,
                  "GNOME Shell did not " +
                      std::string(request.minimized ? "minimize " : "restore ") +
                      std::to_string(refused) + " of " + std::to_string(request.ids.size()) +
                      " windows (gone, or refused)");
    }
    // A request nobody waits for is done with; a waiting restore takes its own answer.
    if (request.waited)
        return 0;
    self->requests_.erase(found);
    return 0;
}

std::uint64_t TWGnomeConnection::send(sd_bus_message* call, Request request) {
    std::uint64_t cookie = 0;
    int r = sd_bus_call_async(bus_, nullptr, call, &Callbacks::onReply, this, kListTimeoutUsec);
    if (r >= 0)
        r = sd_bus_message_get_cookie(call, &cookie);
    if (r < 0) {
        TWLog(LOG_ERR, kLogClass,
              std::string("cannot send a request to GNOME Shell: ") + std::strerror(-r));
        return 0;
    }
    requests_[cookie] = std::move(request);
    return cookie;
}

void TWGnomeConnection::call(const char* method, std::uint64_t id) {
    if (broken_)
        return;
    sd_bus_message* m = nullptr;
    if (sd_bus_message_new_method_call(bus_, &m, kShell, kPath, kInterface, method) >= 0 &&
        sd_bus_message_append(m, "t", id) >= 0)
        send(m, {});
    sd_bus_message_unref(m);
}

void TWGnomeConnection::setMinimized(const std::vector<std::uint64_t>& ids, bool minimized) {
    if (broken_ || ids.empty())
        return;
    sd_bus_message* m = nullptr;
    if (sd_bus_message_new_method_call(bus_, &m, kShell, kPath, kInterface, "SetMinimized") >= 0 &&
        sd_bus_message_append(m, "sb", idText(ids).c_str(), minimized) >= 0)
        send(m, {ids, minimized, false, false, {}});
    sd_bus_message_unref(m);
}

std::vector<std::uint64_t> TWGnomeConnection::restore(const std::vector<std::uint64_t>& ids) {
    if (broken_ || ids.empty())
        return {};
    sd_bus_message* m = nullptr;
    std::uint64_t cookie = 0;
    if (sd_bus_message_new_method_call(bus_, &m, kShell, kPath, kInterface, "SetMinimized") >= 0 &&
        sd_bus_message_append(m, "sb", idText(ids).c_str(), 0) >= 0)
        cookie = send(m, {ids, false, true, false, {}});
    sd_bus_message_unref(m);
    if (!cookie)
        return {};
    waitFor([&] { return requests_.count(cookie) == 0 || requests_[cookie].answered; },
            kAnswerTimeout);
    auto it = requests_.find(cookie);
    if (it == requests_.end())
        return {};
    std::vector<std::uint64_t> restored;
    if (!it->second.answered)
        TWLog(LOG_WARNING, kLogClass, "GNOME Shell did not answer in time");
    for (std::size_t i = 0; i < ids.size() && i < it->second.done.size(); ++i)
        if (it->second.done[i])
            restored.push_back(ids[i]);
    requests_.erase(it);
    return restored;
}

void TWGnomeConnection::activate(std::uint64_t id) {
    call("Activate", id);
}

void TWGnomeConnection::close(std::uint64_t id) {
    call("Close", id);
}

void TWGnomeConnection::flush() {
    if (!broken_)
        if (int r = sd_bus_flush(bus_); r < 0)
            noteBroken(-r);
}

bool TWGnomeConnection::processOnce(std::chrono::microseconds wait) {
    if (broken_)
        return false;
    int r = sd_bus_process(bus_, nullptr);
    if (r > 0)
        return true;
    if (r == 0 && wait.count() > 0)
        r = sd_bus_wait(bus_, static_cast<std::uint64_t>(wait.count()));
    if (r < 0 && r != -EINTR) {
        noteBroken(-r);
        return false;
    }
    return true;
}

void TWGnomeConnection::drain() {
    // Messages read while waiting for a reply sit in sd-bus's queue, where the descriptor no
    // longer shows them: handle them now.
    while (!broken_ && sd_bus_process(bus_, nullptr) > 0) {
    }
}

bool TWGnomeConnection::waitFor(const std::function<bool()>& condition,
                                std::chrono::milliseconds timeout) {
    flush();
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        auto left = std::chrono::duration_cast<std::chrono::microseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || !processOnce(left))
            break;
    }
    // The handlers run from the next dispatch, not inside a request's wait: they may list the
    // windows again under the caller's feet.
    drain();
    return condition();
}

bool TWGnomeConnection::sync(std::chrono::milliseconds timeout) {
    bool answered = waitFor(
        [&] {
            return std::all_of(requests_.begin(), requests_.end(),
                               [](const auto& entry) { return entry.second.answered; });
        },
        timeout);
    if (!answered && !broken_)
        TWLog(LOG_WARNING, kLogClass, "GNOME Shell did not answer in time");
    return answered && available_;
}

TWGnomeSnapshot TWGnomeConnection::snapshot() {
    resubscribeIfBack();
    if (broken_)
        return {};
    // One round trip, no listing: the service answers after every request before and after
    // sending every change it saw.
    Reply reply;
    int r = sd_bus_call_method(bus_, kShell, kPath, kInterface, "Sync", &reply.error,
                               &reply.message, "");
    if (r < 0 && reply.error.name)
        replyError(reply.error.name, reply.error.message ? reply.error.message : "");
    drain();
    resubscribeIfBack();
    TWGnomeSnapshot out = current();
    if (r < 0) {
        if (!reply.error.name)
            TWLog(LOG_WARNING, kLogClass, "GNOME Shell did not answer in time");
        out.complete = false;
    }
    return out;
}

TWGnomeSnapshot TWGnomeConnection::current() const {
    TWGnomeSnapshot out = last_;
    out.complete = last_.complete && available_;
    return out;
}

int TWGnomeConnection::fileDescriptor() const {
    return broken_ ? -1 : sd_bus_get_fd(bus_);
}

void TWGnomeConnection::dispatchEvents() {
    drain();
    resubscribeIfBack();
    afterDispatch();
}

void TWGnomeConnection::afterDispatch() {
    // The handlers run outside the bus's dispatch: they may call the shell again.
    if (std::exchange(returned_, false) && returnHandler_)
        returnHandler_();
    for (const auto& action : std::exchange(shortcutsPressed_, {}))
        if (shortcutHandler_)
            shortcutHandler_(action);
    if (last_.focused == lastActive_)
        return;
    lastActive_ = last_.focused;
    // Run outside the dispatch: the handler may ask the shell again.
    if (activeHandler_)
        activeHandler_();
}

void TWGnomeConnection::setActiveWindowChangeHandler(std::function<void()> handler) {
    activeHandler_ = std::move(handler);
    lastActive_ = last_.focused;
}

std::optional<std::string> TWGnomeConnection::bindShortcut(const std::string& action,
                                                           const std::string& accelerator) {
    if (broken_)
        return TWLocalizedString("The connection to the session bus is lost.");
    Reply reply;
    sd_bus_message* call = nullptr;
    int r = sd_bus_message_new_method_call(bus_, &call, kShell, kPath, kInterface, "BindShortcut");
    if (r >= 0)
        r = sd_bus_message_append(call, "ss", action.c_str(), accelerator.c_str());
    if (r >= 0)
        r = sd_bus_call(bus_, call, kListTimeoutUsec, &reply.error, &reply.message);
    sd_bus_message_unref(call);
    // Signals read while waiting are queued; their handlers run at the next dispatch.
    drain();
    if (r >= 0)
        return std::nullopt;
    const std::string name = reply.error.name ? reply.error.name : "";
    if (meansNoService(name)) {
        setAvailable(false, "it does not answer");
        return TWFormat(TWLocalizedString("Tidewell's GNOME Shell extension is not running; the "
                                          "shortcut works once it is enabled (%@)."),
                        "gnome-extensions enable " + std::string(TWGnomeExtensionUUID));
    }
    if (name.empty())
        return TWFormat(TWLocalizedString("GNOME Shell did not answer: %@."),
                        std::string(std::strerror(-r)));
    return reply.error.message ? std::string(reply.error.message) : name;
}

void TWGnomeConnection::setShortcutHandler(std::function<void(const std::string&)> handler) {
    shortcutHandler_ = std::move(handler);
}

void TWGnomeConnection::setServiceReturnHandler(std::function<void()> handler) {
    returnHandler_ = std::move(handler);
}

std::vector<std::string> TWGnomeConnection::takeRestoredOrGone() {
    std::vector<std::string> out;
    out.swap(restoredOrGone_);
    return out;
}
