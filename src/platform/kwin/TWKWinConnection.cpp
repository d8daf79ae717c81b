// SPDX-License-Identifier: MIT
// The Wayland side of the KWin backend: registry, window-management events, requests.
#include "TWKWinConnection.h"
#include "TWFormat.h"
#include "TWLocalizedString.h"

#include "TWLog.h"

#include "plasma-window-management-client-protocol.h"

#include <wayland-client.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <poll.h>

constexpr const char* kLogClass = "TWKWinConnection";

namespace {
constexpr std::uint32_t kNeededVersion = 13; // windows announced and fetched by uuid
constexpr std::uint32_t kKnownVersion = 16;  // every event of this version has a handler
constexpr int kMaxDescribeRounds = 20;
} // namespace

struct TWKWinConnection::Window {
    TWKWinConnection* owner = nullptr;
    org_kde_plasma_window* proxy = nullptr;
    TWKWinWindow info;
    std::uint64_t sequence = 0;
    bool described = false; // its initial state has arrived

    ~Window() {
        if (proxy)
            org_kde_plasma_window_destroy(proxy);
    }

    static Window* of(void* data) { return static_cast<Window*>(data); }
    static void onTitle(void* data, org_kde_plasma_window*, const char* title) {
        of(data)->info.title = title ? title : "";
    }
    static void onAppId(void* data, org_kde_plasma_window*, const char* appId) {
        of(data)->info.appId = appId ? appId : "";
    }
    static void onState(void* data, org_kde_plasma_window*, std::uint32_t state) {
        auto* w = of(data);
        if (w->info.minimized() && !(state & TWKWinStateMinimized))
            w->owner->restoredOrGone_.push_back(w->info.uuid);
        w->info.state = state;
    }
    static void onUnmapped(void* data, org_kde_plasma_window*) {
        auto* w = of(data);
        TWKWinConnection* owner = w->owner;
        owner->restoredOrGone_.push_back(w->info.uuid);
        // Destroys the proxy too; the compositor sends nothing more for it.
        owner->windows_.erase(w->info.uuid);
    }
    static void onInitialState(void* data, org_kde_plasma_window*) { of(data)->described = true; }
    static void onParent(void* data, org_kde_plasma_window*, org_kde_plasma_window* parent) {
        auto* w = of(data);
        w->info.parent.clear();
        if (parent) {
            if (auto* p = static_cast<Window*>(
                    wl_proxy_get_user_data(reinterpret_cast<wl_proxy*>(parent))))
                w->info.parent = p->info.uuid;
        }
    }
    static void onPid(void* data, org_kde_plasma_window*, std::uint32_t pid) {
        of(data)->info.pid = static_cast<int>(pid);
    }
    static void onResourceName(void* data, org_kde_plasma_window*, const char* name) {
        of(data)->info.resourceName = name ? name : "";
    }
};

namespace {
void ignoreInt(void*, org_kde_plasma_window*, int32_t) {}
void ignoreString(void*, org_kde_plasma_window*, const char*) {}
void ignoreNothing(void*, org_kde_plasma_window*) {}
void ignoreGeometry(void*, org_kde_plasma_window*, int32_t, int32_t, uint32_t, uint32_t) {}
void ignoreMenu(void*, org_kde_plasma_window*, const char*, const char*) {}

const org_kde_plasma_window_listener kWindowListener = {
    TWKWinConnection::Window::onTitle,
    TWKWinConnection::Window::onAppId,
    TWKWinConnection::Window::onState,
    ignoreInt,    // virtual_desktop_changed
    ignoreString, // themed_icon_name_changed
    TWKWinConnection::Window::onUnmapped,
    TWKWinConnection::Window::onInitialState,
    TWKWinConnection::Window::onParent,
    ignoreGeometry,
    ignoreNothing, // icon_changed
    TWKWinConnection::Window::onPid,
    ignoreString, // virtual_desktop_entered
    ignoreString, // virtual_desktop_left
    ignoreMenu,   // application_menu
    ignoreString, // activity_entered
    ignoreString, // activity_left
    TWKWinConnection::Window::onResourceName,
};

void ignoreShowDesktop(void*, org_kde_plasma_window_management*, uint32_t) {}
void ignoreWindowId(void*, org_kde_plasma_window_management*, uint32_t) {}
void ignoreStackingIds(void*, org_kde_plasma_window_management*, wl_array*) {}

void ignoreGlobalRemove(void*, wl_registry*, uint32_t) {}

void onSyncDone(void* data, wl_callback*, uint32_t) {
    *static_cast<bool*>(data) = true;
}
const wl_callback_listener kSyncListener = {onSyncDone};
} // namespace

const TWKWinWindow* TWKWinSnapshot::find(const std::string& uuid) const {
    for (const auto& w : windows)
        if (w.uuid == uuid)
            return &w;
    return nullptr;
}

void TWKWinConnection::onGlobal(void* data, wl_registry* registry, std::uint32_t name,
                                const char* interface, std::uint32_t version) {
    auto* self = static_cast<TWKWinConnection*>(data);
    std::string iface = interface;
    if (iface.rfind("org_kde_", 0) == 0)
        self->kdeGlobals_ = true;
    if (iface != org_kde_plasma_window_management_interface.name || self->management_)
        return;
    self->managementVersion_ = version;
    if (version < kNeededVersion)
        return;
    self->management_ = static_cast<org_kde_plasma_window_management*>(
        wl_registry_bind(registry, name, &org_kde_plasma_window_management_interface,
                         std::min(version, kKnownVersion)));
    static const org_kde_plasma_window_management_listener listener = {
        ignoreShowDesktop, ignoreWindowId, ignoreStackingIds, onStackingOrderUuid, onWindowWithUuid,
    };
    org_kde_plasma_window_management_add_listener(self->management_, &listener, self);
}

void TWKWinConnection::onWindowWithUuid(void* data, org_kde_plasma_window_management* management,
                                        std::uint32_t, const char* uuid) {
    auto* self = static_cast<TWKWinConnection*>(data);
    if (!uuid || !*uuid || self->windows_.count(uuid))
        return;
    auto window = std::make_unique<Window>();
    window->owner = self;
    window->info.uuid = uuid;
    window->sequence = self->nextSequence_++;
    window->proxy = org_kde_plasma_window_management_get_window_by_uuid(management, uuid);
    org_kde_plasma_window_add_listener(window->proxy, &kWindowListener, window.get());
    self->windows_.emplace(uuid, std::move(window));
}

void TWKWinConnection::onStackingOrderUuid(void* data, org_kde_plasma_window_management*,
                                           const char* uuids) {
    auto* self = static_cast<TWKWinConnection*>(data);
    self->stacking_.clear();
    std::string all = uuids ? uuids : "";
    std::size_t start = 0;
    while (start <= all.size()) {
        auto end = all.find(';', start);
        if (end == std::string::npos)
            end = all.size();
        if (end > start)
            self->stacking_.push_back(all.substr(start, end - start));
        start = end + 1;
    }
}

std::unique_ptr<TWKWinConnection> TWKWinConnection::open(const std::string& socket,
                                                         std::string* whyNot, bool* absent) {
    auto fail = [&](const std::string& reason,
                    bool nothingThere = false) -> std::unique_ptr<TWKWinConnection> {
        if (whyNot)
            *whyNot = reason;
        if (absent)
            *absent = nothingThere;
        return nullptr;
    };
    const char* env = std::getenv("WAYLAND_DISPLAY");
    std::string name = !socket.empty() ? socket : (env && *env ? env : "");
    if (name.empty())
        return fail(TWLocalizedString("no Wayland display (WAYLAND_DISPLAY is not set)"), true);
    std::unique_ptr<TWKWinConnection> self(new TWKWinConnection);
    self->displayName_ = name.substr(name.rfind('/') + 1);
    self->display_ = wl_display_connect(name.c_str());
    if (!self->display_)
        return fail(TWFormat(TWLocalizedString("cannot connect to the Wayland display %@"), name),
                    true);
    self->registry_ = wl_display_get_registry(self->display_);
    static const wl_registry_listener registryListener = {onGlobal, ignoreGlobalRemove};
    wl_registry_add_listener(self->registry_, &registryListener, self.get());
    if (!self->sync())
        return fail(TWFormat(TWLocalizedString("the Wayland display %@ does not answer"), name));
    if (!self->management_) {
        if (self->managementVersion_ > 0)
            return fail(TWFormat(TWLocalizedString("the compositor's window management is too old "
                                                   "(version %@, %@ needed)"),
                                 std::to_string(self->managementVersion_),
                                 std::to_string(kNeededVersion)));
        if (self->kdeGlobals_)
            return fail(TWLocalizedString(
                "KWin does not let this program manage windows: it needs a desktop "
                "entry whose Exec names this program by its full path and that carries "
                "X-KDE-Wayland-Interfaces=org_kde_plasma_window_management"));
        return fail(TWLocalizedString("this desktop does not let other programs hide windows"));
    }
    return self;
}

TWKWinConnection::~TWKWinConnection() {
    windows_.clear();
    if (management_)
        org_kde_plasma_window_management_destroy(management_);
    if (registry_)
        wl_registry_destroy(registry_);
    if (display_) {
        wl_display_flush(display_);
        wl_display_disconnect(display_);
    }
}

bool TWKWinConnection::broken() const {
    return broken_;
}

void TWKWinConnection::noteBroken() {
    if (broken_)
        return;
    broken_ = true;
    int error = wl_display_get_error(display_);
    TWLog(LOG_ERR, kLogClass,
          "the connection to the compositor is lost (" +
              std::string(std::strerror(error ? error : EPIPE)) + ")");
}

int TWKWinConnection::fileDescriptor() const {
    return broken_ ? -1 : wl_display_get_fd(display_);
}

bool TWKWinConnection::readAndDispatch(std::chrono::milliseconds timeout) {
    if (broken_)
        return false;
    while (wl_display_prepare_read(display_) != 0) {
        if (wl_display_dispatch_pending(display_) < 0) {
            noteBroken();
            return false;
        }
    }
    if (wl_display_flush(display_) < 0 && errno != EAGAIN) {
        wl_display_cancel_read(display_);
        noteBroken();
        return false;
    }
    pollfd pfd{wl_display_get_fd(display_), POLLIN, 0};
    int ready = poll(&pfd, 1, static_cast<int>(timeout.count()));
    if (ready > 0) {
        if (wl_display_read_events(display_) < 0) {
            noteBroken();
            return false;
        }
    } else {
        wl_display_cancel_read(display_);
    }
    if (wl_display_dispatch_pending(display_) < 0) {
        noteBroken();
        return false;
    }
    return true;
}

bool TWKWinConnection::sync(std::chrono::milliseconds timeout) {
    if (broken_)
        return false;
    bool done = false;
    wl_callback* callback = wl_display_sync(display_);
    wl_callback_add_listener(callback, &kSyncListener, &done);
    bool answered = waitFor([&] { return done; }, timeout);
    wl_callback_destroy(callback);
    if (!answered && !broken_)
        TWLog(LOG_WARNING, kLogClass, "the compositor did not answer in time");
    return answered;
}

bool TWKWinConnection::waitFor(const std::function<bool()>& condition,
                               std::chrono::milliseconds timeout) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || !readAndDispatch(left))
            break;
    }
    // The active-window handler runs from the next dispatch, not inside a request's wait: it
    // may list the windows again under the caller's feet.
    return condition();
}

void TWKWinConnection::dispatchEvents() {
    readAndDispatch(std::chrono::milliseconds(0));
    afterDispatch();
}

void TWKWinConnection::afterDispatch() {
    auto now = current();
    if (now.activeWindow == lastActive_)
        return;
    lastActive_ = now.activeWindow;
    // Run outside the dispatch: the handler may ask the compositor again.
    if (activeHandler_)
        activeHandler_();
}

TWKWinSnapshot TWKWinConnection::snapshot() {
    // A window announced in one answer describes itself in the next: ask until all have.
    bool complete = false;
    for (int round = 0; round < kMaxDescribeRounds && !broken_; ++round) {
        if (!sync())
            break;
        complete = std::none_of(windows_.begin(), windows_.end(),
                                [](const auto& entry) { return !entry.second->described; });
        if (complete)
            break;
    }
    if (broken_)
        return {};
    TWKWinSnapshot out = current();
    out.complete = complete;
    return out;
}

TWKWinSnapshot TWKWinConnection::current() const {
    std::vector<const Window*> described;
    for (const auto& [uuid, w] : windows_)
        if (w->described)
            described.push_back(w.get());
    std::sort(described.begin(), described.end(),
              [](const Window* a, const Window* b) { return a->sequence < b->sequence; });
    TWKWinSnapshot out;
    for (const Window* w : described) {
        out.windows.push_back(w->info);
        auto& info = out.windows.back();
        auto it = std::find(stacking_.begin(), stacking_.end(), info.uuid);
        // A window missing from the stacking order sorts below every stacked one.
        info.stackingIndex = it == stacking_.end() ? -1 : static_cast<int>(it - stacking_.begin());
        if (info.active())
            out.activeWindow = info.uuid;
    }
    return out;
}

TWKWinConnection::Window* TWKWinConnection::findWindow(const std::string& uuid) const {
    auto it = windows_.find(uuid);
    return it == windows_.end() ? nullptr : it->second.get();
}

void TWKWinConnection::setMinimized(const std::string& uuid, bool minimized) {
    auto* w = findWindow(uuid);
    if (!w || broken_)
        return;
    org_kde_plasma_window_set_state(w->proxy, TWKWinStateMinimized,
                                    minimized ? TWKWinStateMinimized : 0);
}

void TWKWinConnection::activate(const std::string& uuid) {
    auto* w = findWindow(uuid);
    if (!w || broken_)
        return;
    // Activating a minimized window restores it.
    org_kde_plasma_window_set_state(w->proxy, TWKWinStateActive | TWKWinStateMinimized,
                                    TWKWinStateActive);
}

void TWKWinConnection::close(const std::string& uuid) {
    auto* w = findWindow(uuid);
    if (!w || broken_)
        return;
    org_kde_plasma_window_close(w->proxy);
}

void TWKWinConnection::flush() {
    if (broken_)
        return;
    if (wl_display_flush(display_) < 0 && errno != EAGAIN)
        noteBroken();
}

void TWKWinConnection::setActiveWindowChangeHandler(std::function<void()> handler) {
    activeHandler_ = std::move(handler);
    lastActive_ = current().activeWindow;
}

std::vector<std::string> TWKWinConnection::takeRestoredOrGone() {
    std::vector<std::string> out;
    out.swap(restoredOrGone_);
    return out;
}
