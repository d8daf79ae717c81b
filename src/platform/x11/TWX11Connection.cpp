// SPDX-License-Identifier: MIT
// The X connection of the backend: pipelined property fetches, EWMH/ICCCM requests, events.
#include "TWX11Connection.h"

#include "TWLog.h"

#include <xcb/res.h>
#include <xcb/xcb_icccm.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

constexpr const char* kLogClass = "TWX11Connection";

namespace {

constexpr uint8_t kBadWindow = 3;
constexpr uint8_t kBadMatch = 8;
constexpr uint8_t kBadDrawable = 9;

std::string propertyString(xcb_get_property_reply_t* reply) {
    if (!reply || reply->format != 8)
        return {};
    int len = xcb_get_property_value_length(reply);
    return std::string(static_cast<const char*>(xcb_get_property_value(reply)), len);
}

std::vector<uint32_t> propertyWords(xcb_get_property_reply_t* reply) {
    if (!reply || reply->format != 32)
        return {};
    auto* data = static_cast<const uint32_t*>(xcb_get_property_value(reply));
    int n = xcb_get_property_value_length(reply) / 4;
    return std::vector<uint32_t>(data, data + n);
}

// A property fetch that may fail because the window is gone: frees the error, counts it.
struct Reply {
    xcb_get_property_reply_t* reply = nullptr;
    bool windowGone = false;
    ~Reply() { std::free(reply); }
};

void collect(xcb_connection_t* c, xcb_get_property_cookie_t cookie, Reply& out) {
    xcb_generic_error_t* error = nullptr;
    out.reply = xcb_get_property_reply(c, cookie, &error);
    if (error) {
        out.windowGone = error->error_code == kBadWindow;
        std::free(error);
    }
}

} // namespace

const TWX11Window* TWX11Snapshot::find(xcb_window_t id) const {
    for (const auto& w : windows)
        if (w.id == id)
            return &w;
    return nullptr;
}

std::unique_ptr<TWX11Connection> TWX11Connection::open(const std::string& display) {
    int screenNumber = 0;
    xcb_connection_t* c = xcb_connect(display.empty() ? nullptr : display.c_str(), &screenNumber);
    if (!c || xcb_connection_has_error(c)) {
        const char* env = std::getenv("DISPLAY");
        TWLog(LOG_ERR, kLogClass,
              "cannot open the X display \"" +
                  (display.empty() ? std::string(env ? env : "") : display) + "\"");
        if (c)
            xcb_disconnect(c);
        return nullptr;
    }
    std::unique_ptr<TWX11Connection> self(new TWX11Connection);
    self->conn_ = c;
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int i = 0; i < screenNumber && it.rem; ++i)
        xcb_screen_next(&it);
    self->root_ = it.data->root;

    xcb_intern_atom_cookie_t* ewmhCookies = xcb_ewmh_init_atoms(c, &self->ewmh_);
    const char* names[] = {"_TIDEWELL_HIDDEN",    "WM_STATE",
                           "WM_CHANGE_STATE",     "_KDE_NET_WM_DESKTOP_FILE",
                           "_GTK_APPLICATION_ID", "_TIDEWELL_TIMESTAMP"};
    xcb_intern_atom_cookie_t cookies[6];
    for (int i = 0; i < 6; ++i)
        cookies[i] = xcb_intern_atom(c, 0, static_cast<uint16_t>(std::strlen(names[i])), names[i]);
    self->ewmhReady_ = xcb_ewmh_init_atoms_replies(&self->ewmh_, ewmhCookies, nullptr) != 0;
    xcb_atom_t* targets[] = {&self->atomHiddenMark_,  &self->atomWMState_,
                             &self->atomChangeState_, &self->atomKdeDesktopFile_,
                             &self->atomGtkAppID_,    &self->atomTimestamp_};
    for (int i = 0; i < 6; ++i) {
        if (auto* r = xcb_intern_atom_reply(c, cookies[i], nullptr)) {
            *targets[i] = r->atom;
            std::free(r);
        }
    }
    if (!self->ewmhReady_) {
        TWLog(LOG_ERR, kLogClass, "the X server did not answer the atom requests");
        return nullptr;
    }

    // Root property changes tell us about _NET_ACTIVE_WINDOW; our own unmapped window gives us
    // server timestamps on demand.
    uint32_t rootMask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(c, self->root_, XCB_CW_EVENT_MASK, &rootMask);
    self->ownWindow_ = xcb_generate_id(c);
    uint32_t values[] = {1, XCB_EVENT_MASK_PROPERTY_CHANGE};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, self->ownWindow_, self->root_, -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT,
                      XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
    const xcb_query_extension_reply_t* res = xcb_get_extension_data(c, &xcb_res_id);
    self->haveRes_ = res && res->present;
    xcb_flush(c);
    // One descriptor for the event loop: the X connection and our wake-up timer.
    self->timer_ = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    self->epoll_ = epoll_create1(EPOLL_CLOEXEC);
    if (self->epoll_ >= 0) {
        for (int fd : {xcb_get_file_descriptor(c), self->timer_}) {
            epoll_event ev{};
            ev.events = EPOLLIN;
            ev.data.fd = fd;
            if (fd >= 0)
                epoll_ctl(self->epoll_, EPOLL_CTL_ADD, fd, &ev);
        }
    }
    return self;
}

TWX11Connection::~TWX11Connection() {
    for (auto* e : deferred_)
        std::free(e);
    if (conn_) {
        xcb_flush(conn_);
        if (ewmhReady_)
            xcb_ewmh_connection_wipe(&ewmh_);
        xcb_disconnect(conn_);
    }
    if (epoll_ >= 0)
        ::close(epoll_);
    if (timer_ >= 0)
        ::close(timer_);
}

bool TWX11Connection::hasError() const {
    return !conn_ || xcb_connection_has_error(conn_) != 0;
}

bool TWX11Connection::broken() {
    if (!hasError())
        return false;
    if (!loggedConnectionError_)
        TWLog(LOG_ERR, kLogClass,
              "the connection to the X server is broken; desktop requests are "
              "ignored");
    loggedConnectionError_ = true;
    return true;
}

int TWX11Connection::fileDescriptor() const {
    if (!conn_)
        return -1;
    return epoll_ >= 0 ? epoll_ : xcb_get_file_descriptor(conn_);
}

void TWX11Connection::wakeUpAt(std::optional<std::chrono::steady_clock::time_point> when) {
    if (timer_ < 0)
        return;
    itimerspec spec{};
    if (when) {
        auto ns =
            std::chrono::duration_cast<std::chrono::nanoseconds>(when->time_since_epoch()).count();
        if (ns <= 0)
            ns = 1;
        spec.it_value.tv_sec = static_cast<time_t>(ns / 1000000000);
        spec.it_value.tv_nsec = static_cast<long>(ns % 1000000000);
    }
    timerfd_settime(timer_, TFD_TIMER_ABSTIME, &spec, nullptr);
}

void TWX11Connection::waitForEvents(std::chrono::steady_clock::time_point until) {
    if (!conn_ || broken())
        return;
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        until - std::chrono::steady_clock::now());
    if (left.count() <= 0)
        return;
    // Events read along with replies wait in xcb's queue, where no descriptor announces them.
    if (!deferred_.empty())
        return;
    if (xcb_generic_event_t* e = xcb_poll_for_queued_event(conn_)) {
        deferred_.push_back(e);
        return;
    }
    pollfd pfd{fileDescriptor(), POLLIN, 0};
    poll(&pfd, 1, static_cast<int>(std::min<long long>(left.count() + 1, 1000)));
}

namespace {
// WM_STATE Iconic means minimized, except on a window manager that reports minimized windows
// with _NET_WM_STATE_HIDDEN: there only that state says so, since such window managers also give
// the Iconic state to every window out of view (openbox, on another workspace; metacity, on the
// workspace the user is switching to, until it has shown it).
bool minimized(bool iconicState, const std::vector<uint32_t>& states, xcb_atom_t hidden,
               bool hiddenSupported) {
    return iconicState &&
           (!hiddenSupported || std::find(states.begin(), states.end(), hidden) != states.end());
}

// The root window's fact that minimized() needs: whether minimized windows carry
// _NET_WM_STATE_HIDDEN here. Asked for on construction, read by collect(); a batch constructs it
// with its other requests and collects once they are all out, so that the whole batch is one
// round trip.
class RootFacts {
  public:
    RootFacts(xcb_connection_t* c, xcb_window_t root, const xcb_ewmh_connection_t& ewmh)
        : c_(c), hidden_(ewmh._NET_WM_STATE_HIDDEN),
          supported_(xcb_get_property(c, 0, root, ewmh._NET_SUPPORTED, XCB_ATOM_ATOM, 0, 1 << 12)) {
    }
    void collect() {
        Reply supportedReply;
        ::collect(c_, supported_, supportedReply);
        const std::vector<uint32_t> supported = propertyWords(supportedReply.reply);
        hiddenSupported = std::find(supported.begin(), supported.end(), hidden_) != supported.end();
    }

    bool hiddenSupported = false;

  private:
    xcb_connection_t* c_;
    xcb_atom_t hidden_;
    xcb_get_property_cookie_t supported_;
};
} // namespace

TWX11Snapshot TWX11Connection::snapshot() {
    TWX11Snapshot snap;
    if (broken())
        return snap;
    xcb_connection_t* c = conn_;
    requestTimestamp();
    auto clientsCookie =
        xcb_get_property(c, 0, root_, ewmh_._NET_CLIENT_LIST, XCB_ATOM_WINDOW, 0, 1 << 16);
    auto stackingCookie =
        xcb_get_property(c, 0, root_, ewmh_._NET_CLIENT_LIST_STACKING, XCB_ATOM_WINDOW, 0, 1 << 16);
    auto activeCookie =
        xcb_get_property(c, 0, root_, ewmh_._NET_ACTIVE_WINDOW, XCB_ATOM_WINDOW, 0, 1);
    auto checkCookie =
        xcb_get_property(c, 0, root_, ewmh_._NET_SUPPORTING_WM_CHECK, XCB_ATOM_WINDOW, 0, 1);
    auto workspaceCookie =
        xcb_get_property(c, 0, root_, ewmh_._NET_CURRENT_DESKTOP, XCB_ATOM_CARDINAL, 0, 1);
    ++counts_.snapshots;
    ++counts_.roundTrips;
    Reply clients, stacking, active, check, workspace;
    collect(c, clientsCookie, clients);
    collect(c, stackingCookie, stacking);
    collect(c, activeCookie, active);
    collect(c, checkCookie, check);
    collect(c, workspaceCookie, workspace);
    if (auto d = propertyWords(workspace.reply); !d.empty())
        snap.currentWorkspace = d[0];
    // A server that went away answers nothing: report it now rather than an empty desktop.
    if (broken())
        return snap;
    auto ids = propertyWords(clients.reply);
    auto order = propertyWords(stacking.reply);
    if (auto a = propertyWords(active.reply); !a.empty())
        snap.activeWindow = a[0];

    // The window manager's check window names itself while the window manager runs; one that
    // died leaves the root's properties behind, client list included.
    const std::vector<uint32_t> checkWindow = propertyWords(check.reply);
    xcb_get_property_cookie_t selfCheck{};
    if (!ids.empty() || !checkWindow.empty())
        ++counts_.roundTrips;
    std::vector<TWX11Window> found = readWindows(ids, [&] {
        // Joins the batch of the windows' properties.
        if (!checkWindow.empty())
            selfCheck = xcb_get_property(c, 0, checkWindow[0], ewmh_._NET_SUPPORTING_WM_CHECK,
                                         XCB_ATOM_WINDOW, 0, 1);
        return order;
    });
    if (!checkWindow.empty()) {
        Reply self;
        collect(c, selfCheck, self);
        const std::vector<uint32_t> words = propertyWords(self.reply);
        snap.windowManagerRunning = !words.empty() && words[0] == checkWindow[0];
    } else {
        snap.windowManagerRunning = false;
    }
    if (!snap.windowManagerRunning)
        found = unmanagedMarkedWindows();
    if (broken())
        return TWX11Snapshot{};
    snap.windows = std::move(found);
    // Its event came before the replies that were just read.
    snap.time = takeTimestamp(std::chrono::milliseconds(200));
    return snap;
}

std::vector<TWX11Window>
TWX11Connection::readWindows(const std::vector<uint32_t>& ids,
                             const std::function<std::vector<uint32_t>()>& stackingOrder) {
    xcb_connection_t* c = conn_;
    // Every request for every window goes out before the first reply is read. The process ID
    // from the X-Resource extension and the legacy WM_NAME are needed only for the few windows
    // without _NET_WM_PID or _NET_WM_NAME: they follow in a second batch, for those alone.
    enum {
        Class,
        Pid,
        Type,
        State,
        Transient,
        WMState,
        Mark,
        Kde,
        Gtk,
        NetName,
        Hints,
        Desktop,
        Allowed,
        Count
    };
    std::vector<std::array<xcb_get_property_cookie_t, Count>> pending(ids.size());
    std::vector<xcb_get_window_attributes_cookie_t> attributes(ids.size());
    for (size_t i = 0; i < ids.size(); ++i) {
        const xcb_window_t w = ids[i];
        auto& p = pending[i];
        p[Class] = xcb_get_property(c, 0, w, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 256);
        p[Pid] = xcb_get_property(c, 0, w, ewmh_._NET_WM_PID, XCB_ATOM_CARDINAL, 0, 1);
        p[Type] = xcb_get_property(c, 0, w, ewmh_._NET_WM_WINDOW_TYPE, XCB_ATOM_ATOM, 0, 32);
        p[State] = xcb_get_property(c, 0, w, ewmh_._NET_WM_STATE, XCB_ATOM_ATOM, 0, 32);
        p[Transient] = xcb_get_property(c, 0, w, XCB_ATOM_WM_TRANSIENT_FOR, XCB_ATOM_WINDOW, 0, 1);
        p[WMState] = xcb_get_property(c, 0, w, atomWMState_, atomWMState_, 0, 2);
        p[Mark] = xcb_get_property(c, 0, w, atomHiddenMark_, XCB_ATOM_CARDINAL, 0, 2);
        p[Kde] = xcb_get_property(c, 0, w, atomKdeDesktopFile_, XCB_GET_PROPERTY_TYPE_ANY, 0, 256);
        p[Gtk] = xcb_get_property(c, 0, w, atomGtkAppID_, XCB_GET_PROPERTY_TYPE_ANY, 0, 256);
        p[NetName] = xcb_get_property(c, 0, w, ewmh_._NET_WM_NAME, ewmh_.UTF8_STRING, 0, 256);
        p[Hints] = xcb_get_property(c, 0, w, XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS, 0, 9);
        p[Desktop] = xcb_get_property(c, 0, w, ewmh_._NET_WM_DESKTOP, XCB_ATOM_CARDINAL, 0, 1);
        p[Allowed] = xcb_get_property(c, 0, w, ewmh_._NET_WM_ALLOWED_ACTIONS, XCB_ATOM_ATOM, 0, 64);
        attributes[i] = xcb_get_window_attributes(c, w);
    }
    RootFacts root(c, root_, ewmh_);
    // Read only once every window request is out, so that the whole batch is one round trip.
    const std::vector<uint32_t> order = stackingOrder();
    root.collect();
    std::vector<TWX11Window> found;
    found.reserve(ids.size());
    for (size_t i = 0; i < ids.size(); ++i) {
        Reply r[Count];
        for (int k = 0; k < Count; ++k)
            collect(c, pending[i][k], r[k]);
        xcb_generic_error_t* attributesError = nullptr;
        auto* attrs = xcb_get_window_attributes_reply(c, attributes[i], &attributesError);
        const bool mapped = attrs && attrs->map_state != XCB_MAP_STATE_UNMAPPED;
        std::free(attrs);
        std::free(attributesError);
        bool gone = false;
        for (auto& one : r)
            gone = gone || one.windowGone;
        if (gone)
            continue; // closed between the client list and its properties: not running any more
        TWX11Window w;
        w.id = ids[i];
        auto pos = std::find(order.begin(), order.end(), ids[i]);
        w.stackingIndex = pos == order.end() ? -1 : static_cast<int>(pos - order.begin());
        std::string cls = propertyString(r[Class].reply);
        auto nul = cls.find('\0');
        w.wmInstance = cls.substr(0, nul);
        if (nul != std::string::npos) {
            w.wmClass = cls.substr(nul + 1);
            if (auto end = w.wmClass.find('\0'); end != std::string::npos)
                w.wmClass.resize(end);
        }
        if (auto pid = propertyWords(r[Pid].reply); !pid.empty() && pid[0] > 0)
            w.pid = static_cast<int>(pid[0]);
        w.types = propertyWords(r[Type].reply);
        w.states = propertyWords(r[State].reply);
        if (auto t = propertyWords(r[Transient].reply); !t.empty()) {
            w.hasTransientFor = true;
            w.transientFor = t[0];
        }
        if (auto s = propertyWords(r[WMState].reply); !s.empty())
            w.iconic = s[0] == XCB_ICCCM_WM_STATE_ICONIC;
        if (auto m = propertyWords(r[Mark].reply); !m.empty()) {
            w.mark = m[0];
            if (m.size() > 1)
                w.markTime = m[1];
        }
        w.mapped = mapped;
        // WM_HINTS: flags, input, initial_state, icon_pixmap, icon_window, icon_x, icon_y,
        // icon_mask, window_group; the group is set when flags has WindowGroupHint (1 << 6).
        if (auto h = propertyWords(r[Hints].reply); h.size() >= 9 && (h[0] & (1u << 6)))
            w.groupLeader = h[8];
        if (auto d = propertyWords(r[Desktop].reply); !d.empty())
            w.workspace = d[0];
        w.iconic = minimized(w.iconic, w.states, ewmh_._NET_WM_STATE_HIDDEN, root.hiddenSupported);
        // Only a list that exists says anything: many window managers publish none.
        if (r[Allowed].reply && r[Allowed].reply->type == XCB_ATOM_ATOM) {
            const auto allowed = propertyWords(r[Allowed].reply);
            w.minimizable = std::find(allowed.begin(), allowed.end(),
                                      ewmh_._NET_WM_ACTION_MINIMIZE) != allowed.end();
        }
        w.kdeDesktopFile = propertyString(r[Kde].reply);
        w.gtkApplicationID = propertyString(r[Gtk].reply);
        w.title = propertyString(r[NetName].reply);
        found.push_back(std::move(w));
    }

    struct Fallback {
        size_t index;
        bool wantPid, wantName;
        xcb_res_query_client_ids_cookie_t res;
        xcb_get_property_cookie_t name;
    };
    std::vector<Fallback> fallbacks;
    for (size_t i = 0; i < found.size(); ++i) {
        // A pid that only a claim names stands for Tidewell's own processes: the server says
        // whose the window really is.
        const bool claimed = found[i].pid > 0 && claimChecked_.count(found[i].pid) > 0;
        Fallback f{i, (found[i].pid <= 0 || claimed) && haveRes_, found[i].title.empty(), {}, {}};
        if (claimed && haveRes_)
            found[i].pid = -1; // unless the server confirms it
        if (!f.wantPid && !f.wantName)
            continue;
        if (f.wantPid) {
            xcb_res_client_id_spec_t spec{found[i].id, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
            f.res = xcb_res_query_client_ids(c, 1, &spec);
        }
        if (f.wantName)
            f.name = xcb_get_property(c, 0, found[i].id, XCB_ATOM_WM_NAME,
                                      XCB_GET_PROPERTY_TYPE_ANY, 0, 256);
        fallbacks.push_back(f);
    }
    if (!fallbacks.empty())
        ++counts_.roundTrips;
    for (const auto& f : fallbacks) {
        auto& w = found[f.index];
        if (f.wantPid) {
            xcb_generic_error_t* error = nullptr;
            auto* reply = xcb_res_query_client_ids_reply(c, f.res, &error);
            std::free(error);
            if (reply) {
                auto it = xcb_res_query_client_ids_ids_iterator(reply);
                for (; it.rem; xcb_res_client_id_value_next(&it)) {
                    if ((it.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) &&
                        xcb_res_client_id_value_value_length(it.data) >= 1)
                        w.pid = static_cast<int>(*xcb_res_client_id_value_value(it.data));
                }
                std::free(reply);
            }
        }
        if (f.wantName) {
            // A window that closed just now keeps its place in this snapshot: it is gone by
            // the next one, and every request addressed to it is skipped quietly.
            Reply name;
            collect(c, f.name, name);
            w.title = propertyString(name.reply);
        }
    }
    return found;
}

std::vector<TWX11Window> TWX11Connection::unmanagedMarkedWindows() {
    xcb_connection_t* c = conn_;
    ++counts_.roundTrips;
    auto* tree = xcb_query_tree_reply(c, xcb_query_tree(c, root_), nullptr);
    if (!tree)
        return {};
    const xcb_window_t* children = xcb_query_tree_children(tree);
    const std::vector<xcb_window_t> all(children, children + xcb_query_tree_children_length(tree));
    std::free(tree);
    std::vector<xcb_get_property_cookie_t> marks;
    std::vector<xcb_get_window_attributes_cookie_t> attributes;
    for (xcb_window_t w : all) {
        marks.push_back(xcb_get_property(c, 0, w, atomHiddenMark_, XCB_ATOM_CARDINAL, 0, 2));
        attributes.push_back(xcb_get_window_attributes(c, w));
    }
    ++counts_.roundTrips;
    std::vector<uint32_t> marked;
    for (size_t i = 0; i < all.size(); ++i) {
        Reply mark;
        collect(c, marks[i], mark);
        auto* attrs = xcb_get_window_attributes_reply(c, attributes[i], nullptr);
        if (attrs && !attrs->override_redirect && !propertyWords(mark.reply).empty())
            marked.push_back(all[i]);
        std::free(attrs);
    }
    if (marked.empty())
        return {};
    ++counts_.roundTrips;
    std::vector<TWX11Window> found = readWindows(marked, [] { return std::vector<uint32_t>{}; });
    for (auto& w : found)
        w.unmanaged = true;
    return found;
}

void TWX11Connection::restoreUnmanaged(const TWX11Window& window) {
    // No window manager runs to restore it: the window is mapped, and the states that only a
    // window manager clears are cleared, so that the next one to start does not minimize it
    // again. Then the hidden state is over.
    std::vector<xcb_atom_t> states;
    for (xcb_atom_t a : window.states)
        if (a != ewmh_._NET_WM_STATE_HIDDEN)
            states.push_back(a);
    xcb_change_property(conn_, XCB_PROP_MODE_REPLACE, window.id, ewmh_._NET_WM_STATE, XCB_ATOM_ATOM,
                        32, static_cast<uint32_t>(states.size()), states.data());
    xcb_delete_property(conn_, window.id, atomWMState_);
    xcb_map_window(conn_, window.id);
    removeMark(window.id);
}

TWX11Snapshot TWX11Connection::snapshotOf(const std::vector<xcb_window_t>& which,
                                          std::vector<xcb_window_t>& stacking) {
    stacking.clear();
    if (broken())
        return {};
    ++counts_.partialSnapshots;
    ++counts_.roundTrips;
    auto stackingCookie = xcb_get_property(conn_, 0, root_, ewmh_._NET_CLIENT_LIST_STACKING,
                                           XCB_ATOM_WINDOW, 0, 1 << 16);
    const std::vector<uint32_t> ids(which.begin(), which.end());
    std::vector<uint32_t> order;
    std::vector<TWX11Window> found = readWindows(ids, [&] {
        Reply r;
        collect(conn_, stackingCookie, r);
        order = propertyWords(r.reply);
        return order;
    });
    if (broken())
        return {};
    stacking.assign(order.begin(), order.end());
    TWX11Snapshot snap;
    for (auto& w : found)
        if (w.stackingIndex >= 0) // else withdrawn: no longer managed, no longer a window here
            snap.windows.push_back(std::move(w));
    return snap;
}

void TWX11Connection::iconify(xcb_window_t window, bool otherWorkspace) {
    if (otherWorkspace)
        xcb_ewmh_request_change_wm_state(&ewmh_, 0, window, XCB_EWMH_WM_STATE_ADD,
                                         ewmh_._NET_WM_STATE_HIDDEN, XCB_NONE,
                                         XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER);
    // ICCCM 4.1.4: the window manager iconifies on a WM_CHANGE_STATE message to the root.
    xcb_client_message_event_t ev{};
    ev.response_type = XCB_CLIENT_MESSAGE;
    ev.format = 32;
    ev.window = window;
    ev.type = atomChangeState_;
    ev.data.data32[0] = XCB_ICCCM_WM_STATE_ICONIC;
    xcb_send_event(conn_, 0, root_,
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&ev));
}

void TWX11Connection::unhideInPlace(xcb_window_t window) {
    // Source 2: a pager, on the user's behalf.
    xcb_ewmh_request_change_wm_state(&ewmh_, 0, window, XCB_EWMH_WM_STATE_REMOVE,
                                     ewmh_._NET_WM_STATE_HIDDEN, XCB_NONE,
                                     XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER);
}

void TWX11Connection::restore(xcb_window_t window, bool mapped, bool otherWorkspace) {
    if (otherWorkspace) {
        // Mapping it would bring it to the user's workspace on some window managers (metacity);
        // activating it as a pager does restores it where it is, and may take the user along.
        unhideInPlace(window);
        mapped = true;
    }
    if (!mapped) {
        deiconify(window);
        return;
    }
    xcb_ewmh_request_change_active_window(&ewmh_, 0, window, XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER,
                                          serverTime(), XCB_NONE);
}

void TWX11Connection::deiconify(xcb_window_t window) {
    // Mapping an iconic window asks the window manager (through MapRequest) to restore it.
    xcb_map_window(conn_, window);
}

void TWX11Connection::moveToWorkspace(xcb_window_t window, uint32_t workspace) {
    xcb_ewmh_request_change_wm_desktop(&ewmh_, 0, window, workspace,
                                       XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER);
}

void TWX11Connection::clearAttention(xcb_window_t window) {
    xcb_ewmh_request_change_wm_state(&ewmh_, 0, window, XCB_EWMH_WM_STATE_REMOVE,
                                     ewmh_._NET_WM_STATE_DEMANDS_ATTENTION, XCB_NONE,
                                     XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER);
}

void TWX11Connection::activate(xcb_window_t window, xcb_window_t currentlyActive) {
    xcb_ewmh_request_change_active_window(const_cast<xcb_ewmh_connection_t*>(&ewmh_), 0, window,
                                          XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER, serverTime(),
                                          currentlyActive);
}

xcb_window_t TWX11Connection::activeWindowNow() {
    if (broken())
        return XCB_NONE;
    ++counts_.roundTrips;
    Reply r;
    collect(conn_,
            xcb_get_property(conn_, 0, root_, ewmh_._NET_ACTIVE_WINDOW, XCB_ATOM_WINDOW, 0, 1), r);
    const std::vector<uint32_t> words = propertyWords(r.reply);
    return words.empty() ? XCB_NONE : words[0];
}

std::optional<uint32_t> TWX11Connection::currentWorkspaceNow() {
    if (broken())
        return std::nullopt;
    ++counts_.roundTrips;
    Reply r;
    collect(conn_,
            xcb_get_property(conn_, 0, root_, ewmh_._NET_CURRENT_DESKTOP, XCB_ATOM_CARDINAL, 0, 1),
            r);
    const std::vector<uint32_t> words = propertyWords(r.reply);
    return words.empty() ? std::nullopt : std::optional<uint32_t>(words[0]);
}

void TWX11Connection::showWorkspace(uint32_t workspace) {
    xcb_ewmh_request_change_current_desktop(&ewmh_, 0, workspace, serverTime());
}

void TWX11Connection::close(xcb_window_t window) {
    xcb_ewmh_request_close_window(&ewmh_, 0, window, serverTime(),
                                  XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER);
}

void TWX11Connection::setMark(xcb_window_t window, uint32_t stackingIndex, xcb_timestamp_t time) {
    const uint32_t words[2] = {stackingIndex, time};
    xcb_change_property(conn_, XCB_PROP_MODE_REPLACE, window, atomHiddenMark_, XCB_ATOM_CARDINAL,
                        32, 2, words);
}

void TWX11Connection::watch(xcb_window_t window) {
    if (broken() || !watched_.insert(window).second)
        return;
    const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(conn_, window, XCB_CW_EVENT_MASK, &mask);
}

std::vector<TWX11WindowState> TWX11Connection::states(const std::vector<xcb_window_t>& windows) {
    std::vector<TWX11WindowState> out(windows.size());
    if (windows.empty() || broken())
        return out;
    struct Cookies {
        xcb_get_property_cookie_t state, mark, netState, workspace;
        xcb_get_window_attributes_cookie_t attributes;
    };
    std::vector<Cookies> cookies;
    cookies.reserve(windows.size());
    for (xcb_window_t w : windows)
        cookies.push_back(
            {xcb_get_property(conn_, 0, w, atomWMState_, atomWMState_, 0, 2),
             xcb_get_property(conn_, 0, w, atomHiddenMark_, XCB_ATOM_CARDINAL, 0, 2),
             xcb_get_property(conn_, 0, w, ewmh_._NET_WM_STATE, XCB_ATOM_ATOM, 0, 32),
             xcb_get_property(conn_, 0, w, ewmh_._NET_WM_DESKTOP, XCB_ATOM_CARDINAL, 0, 1),
             xcb_get_window_attributes(conn_, w)});
    RootFacts root(conn_, root_, ewmh_);
    ++counts_.roundTrips;
    root.collect();
    for (std::size_t i = 0; i < windows.size(); ++i) {
        Reply state, mark, netState, workspace;
        collect(conn_, cookies[i].state, state);
        collect(conn_, cookies[i].mark, mark);
        collect(conn_, cookies[i].netState, netState);
        collect(conn_, cookies[i].workspace, workspace);
        xcb_generic_error_t* error = nullptr;
        auto* attrs = xcb_get_window_attributes_reply(conn_, cookies[i].attributes, &error);
        auto& s = out[i];
        s.exists = attrs && !state.windowGone;
        s.mapped = attrs && attrs->map_state != XCB_MAP_STATE_UNMAPPED;
        const std::vector<uint32_t> words = propertyWords(state.reply);
        s.managed = !words.empty() && (words[0] == XCB_ICCCM_WM_STATE_NORMAL ||
                                       words[0] == XCB_ICCCM_WM_STATE_ICONIC);
        std::optional<uint32_t> on;
        if (auto d = propertyWords(workspace.reply); !d.empty())
            on = d[0];
        const std::vector<uint32_t> netStates = propertyWords(netState.reply);
        s.iconic = minimized(!words.empty() && words[0] == XCB_ICCCM_WM_STATE_ICONIC, netStates,
                             ewmh_._NET_WM_STATE_HIDDEN, root.hiddenSupported);
        s.workspace = on;
        s.demandsAttention = std::find(netStates.begin(), netStates.end(),
                                       ewmh_._NET_WM_STATE_DEMANDS_ATTENTION) != netStates.end();
        const std::vector<uint32_t> markWords = propertyWords(mark.reply);
        s.marked = !markWords.empty();
        if (markWords.size() >= 2)
            s.markTime = markWords[1];
        std::free(attrs);
        std::free(error);
    }
    return out;
}

void TWX11Connection::removeMark(xcb_window_t window) {
    xcb_delete_property(conn_, window, atomHiddenMark_);
}

void TWX11Connection::flush() {
    if (conn_)
        xcb_flush(conn_);
    // A timestamp belongs to one action; the next action asks for a fresh one.
    lastTime_ = XCB_CURRENT_TIME;
}

xcb_timestamp_t TWX11Connection::serverTime() {
    if (lastTime_ != XCB_CURRENT_TIME || broken())
        return lastTime_;
    requestTimestamp();
    xcb_flush(conn_);
    ++counts_.roundTrips;
    return takeTimestamp(std::chrono::milliseconds(200));
}

void TWX11Connection::requestTimestamp() {
    // A zero-length append changes nothing but makes the server report the time.
    xcb_change_property(conn_, XCB_PROP_MODE_APPEND, ownWindow_, atomTimestamp_, XCB_ATOM_STRING, 8,
                        0, nullptr);
}

xcb_timestamp_t TWX11Connection::takeTimestamp(std::chrono::milliseconds wait) {
    const auto deadline = std::chrono::steady_clock::now() + wait;
    while (!broken()) {
        while (xcb_generic_event_t* e = xcb_poll_for_event(conn_)) {
            if ((e->response_type & 0x7f) == XCB_PROPERTY_NOTIFY) {
                auto* p = reinterpret_cast<xcb_property_notify_event_t*>(e);
                if (p->window == ownWindow_ && p->atom == atomTimestamp_) {
                    lastTime_ = p->time;
                    std::free(e);
                    return lastTime_;
                }
            }
            deferred_.push_back(e); // handled at the next dispatch, in order
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            break;
        pollfd pfd{xcb_get_file_descriptor(conn_), POLLIN, 0};
        poll(&pfd, 1, static_cast<int>(left.count()));
    }
    if (!broken())
        TWLog(LOG_NOTICE, kLogClass,
              "the X server did not report a timestamp in time; using the current "
              "time");
    return XCB_CURRENT_TIME;
}

void TWX11Connection::setActiveWindowChangeHandler(std::function<void()> handler) {
    activeWindowChanged_ = std::move(handler);
}

void TWX11Connection::setWindowChangeHandler(
    std::function<void(const std::vector<xcb_window_t>&, bool)> handler) {
    windowsChanged_ = std::move(handler);
}

void TWX11Connection::setKeyEventHandler(std::function<void(const xcb_generic_event_t&)> handler) {
    keyEvent_ = std::move(handler);
}

void TWX11Connection::handleEvent(xcb_generic_event_t* event) {
    uint8_t type = event->response_type & 0x7f;
    if (type == 0) {
        auto* error = reinterpret_cast<xcb_generic_error_t*>(event);
        if (error->error_code == kBadWindow || error->error_code == kBadMatch ||
            error->error_code == kBadDrawable)
            noteVanishedWindow();
        else
            TWLog(LOG_WARNING, kLogClass,
                  "X error " + std::to_string(error->error_code) + " for request " +
                      std::to_string(error->major_code));
    }
}

void TWX11Connection::dispatchEvents() {
    if (!conn_)
        return;
    if (broken()) {
        // Nothing more will arrive; events read before the loss are dropped with it.
        for (auto* e : deferred_)
            std::free(e);
        deferred_.clear();
        return;
    }
    bool activeChanged = false, clientList = false;
    std::set<xcb_window_t> changed;
    std::vector<xcb_generic_event_t> keyEvents; // every core event is 32 bytes
    auto take = [&](xcb_generic_event_t* e) {
        switch (e->response_type & 0x7f) {
        case XCB_PROPERTY_NOTIFY: {
            auto* p = reinterpret_cast<xcb_property_notify_event_t*>(e);
            if (p->window == root_) {
                activeChanged = activeChanged || p->atom == ewmh_._NET_ACTIVE_WINDOW;
                clientList = clientList || p->atom == ewmh_._NET_CLIENT_LIST;
            } else if ((p->atom == atomWMState_ || p->atom == atomHiddenMark_ ||
                        p->atom == ewmh_._NET_WM_STATE || p->atom == ewmh_._NET_WM_DESKTOP) &&
                       watched_.count(p->window)) {
                changed.insert(p->window);
            }
            break;
        }
        case XCB_UNMAP_NOTIFY:
            if (auto* u = reinterpret_cast<xcb_unmap_notify_event_t*>(e); watched_.count(u->window))
                changed.insert(u->window);
            break;
        case XCB_DESTROY_NOTIFY: {
            auto* d = reinterpret_cast<xcb_destroy_notify_event_t*>(e);
            if (watched_.erase(d->window))
                changed.insert(d->window);
            break;
        }
        case XCB_KEY_PRESS:
        case XCB_MAPPING_NOTIFY:
            keyEvents.push_back(*e);
            break;
        default:
            handleEvent(e);
        }
        std::free(e);
    };
    while (!deferred_.empty()) {
        take(deferred_.front());
        deferred_.pop_front();
    }
    while (xcb_generic_event_t* e = xcb_poll_for_event(conn_))
        take(e);
    reportVanishedWindows();
    // A due wake-up counts as a change with nothing in particular changed.
    uint64_t expirations = 0;
    const bool woken = timer_ >= 0 && read(timer_, &expirations, sizeof expirations) > 0;
    if ((woken || clientList || activeChanged || !changed.empty()) && windowsChanged_)
        windowsChanged_(std::vector<xcb_window_t>(changed.begin(), changed.end()), clientList);
    // Several changes in one batch are one switch: the handler looks at the state as it is now.
    if (activeChanged && activeWindowChanged_)
        activeWindowChanged_();
    for (const auto& e : keyEvents)
        if (keyEvent_)
            keyEvent_(e);
    // The handlers' round trips can read further events into xcb's queue, where no readable
    // descriptor would announce them: they are handled now, a few rounds at most.
    if (dispatchDepth_ < 4) {
        if (xcb_generic_event_t* e = xcb_poll_for_queued_event(conn_)) {
            deferred_.push_back(e);
            ++dispatchDepth_;
            dispatchEvents();
            --dispatchDepth_;
        }
    }
}

void TWX11Connection::sync() {
    if (broken())
        return;
    ++counts_.roundTrips;
    std::free(xcb_get_input_focus_reply(conn_, xcb_get_input_focus(conn_), nullptr));
    dispatchEvents();
}

void TWX11Connection::noteVanishedWindow() {
    ++vanished_;
}

void TWX11Connection::reportVanishedWindows() {
    if (vanished_ == 0)
        return;
    TWLog(LOG_INFO, kLogClass,
          std::to_string(vanished_) +
              " request(s) addressed windows that had already closed; skipped");
    vanished_ = 0;
}
