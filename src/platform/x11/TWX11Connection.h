// SPDX-License-Identifier: MIT
// The connection to the X server: atoms, the window snapshot (fetched in one pipelined batch),
// client messages, server time and the event queue. Every X request of the backend passes here.
#pragma once

#include <xcb/xcb.h>
#include <xcb/xcb_ewmh.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

// One managed client window as the snapshot saw it.
struct TWX11Window {
    xcb_window_t id = 0;
    int stackingIndex = -1; // position in _NET_CLIENT_LIST_STACKING, bottom = 0
    int pid = -1; // _NET_WM_PID, else (or when it claims a checked pid) the X-Resource client pid
    std::string wmInstance, wmClass;
    std::string title;
    std::string kdeDesktopFile, gtkApplicationID;
    std::vector<xcb_atom_t> types;
    std::vector<xcb_atom_t> states;
    xcb_window_t transientFor = XCB_NONE;
    bool hasTransientFor = false;
    xcb_window_t groupLeader = XCB_NONE; // WM_HINTS window_group
    bool iconic = false;                 // WM_STATE Iconic
    bool mapped = true;                  // the client window itself is mapped
    std::optional<uint32_t> mark;        // _TIDEWELL_HIDDEN: the stacking position saved at hiding
    // The server time at which the window was marked (absent in a mark without one).
    std::optional<xcb_timestamp_t> markTime;
    // A marked top-level window that no window manager manages (none runs): shown by
    // restoreUnmanaged, never hidden.
    bool unmanaged = false;
    // _NET_WM_DESKTOP: the workspace the window lives on (kAllWorkspaces: every one); none when
    // the window manager has no workspaces.
    std::optional<uint32_t> workspace;
    // Whether the window manager lets the window be minimized: no when it lists the actions it
    // allows (_NET_WM_ALLOWED_ACTIONS) and minimize is not among them.
    bool minimizable = true;
};

// _NET_WM_DESKTOP of a window shown on every workspace.
constexpr uint32_t kAllWorkspaces = 0xFFFFFFFF;

// What a watched window's state is now (one batch for many windows).
struct TWX11WindowState {
    bool exists = false;
    bool managed = false; // WM_STATE Normal or Iconic
    bool iconic = false;
    bool mapped = false;
    bool marked = false;
    std::optional<xcb_timestamp_t> markTime; // the server time the mark records, when it has one
    std::optional<uint32_t> workspace;       // _NET_WM_DESKTOP
    bool demandsAttention = false;           // _NET_WM_STATE_DEMANDS_ATTENTION
};

// Everything one action needs to know about the managed windows, from one batch of requests.
struct TWX11Snapshot {
    std::vector<TWX11Window> windows; // in _NET_CLIENT_LIST order (mapping order)
    xcb_window_t activeWindow = XCB_NONE;
    xcb_timestamp_t time = XCB_CURRENT_TIME;  // the server time when it was taken
    std::optional<uint32_t> currentWorkspace; // _NET_CURRENT_DESKTOP
    // Whether an EWMH window manager runs. Without one the client list left on the root is
    // stale; `windows` then holds the marked top-level windows instead, each `unmanaged`.
    bool windowManagerRunning = true;
    const TWX11Window* find(xcb_window_t id) const;
};

// How much the connection has asked of the server so far: for benchmarks and tests that check
// what an action costs; nothing in the program reads it.
struct TWX11RequestCounts {
    long snapshots = 0;        // full snapshots of every managed window
    long partialSnapshots = 0; // the stacking list with a few windows' properties
    long roundTrips = 0;       // batches whose replies were waited for
};

class TWX11Connection {
  public:
    // Connects to `display` (empty: $DISPLAY); null with a log line when that fails.
    static std::unique_ptr<TWX11Connection> open(const std::string& display);
    ~TWX11Connection();
    TWX11Connection(const TWX11Connection&) = delete;
    TWX11Connection& operator=(const TWX11Connection&) = delete;

    xcb_connection_t* connection() const { return conn_; }
    xcb_window_t root() const { return root_; }
    const xcb_ewmh_connection_t& ewmh() const { return ewmh_; }
    xcb_atom_t hiddenMarkAtom() const { return atomHiddenMark_; }
    xcb_atom_t wmStateAtom() const { return atomWMState_; }

    // All managed windows with every property the backend reads: two round trips for any number
    // of windows, a third only when some window lacks _NET_WM_PID or _NET_WM_NAME. When no
    // window manager runs, the marked top-level windows (found among the root's children).
    TWX11Snapshot snapshot();
    // The stacking list (bottom first, into `stacking`) and the properties of `which` alone, in
    // one batch: the windows of `which` still managed, with their place in that list. The active
    // window is not read.
    TWX11Snapshot snapshotOf(const std::vector<xcb_window_t>& which,
                             std::vector<xcb_window_t>& stacking);

    // Process IDs that a window's own _NET_WM_PID is not believed for (Tidewell's processes):
    // a window claiming one gets the pid of its X client from the X-Resource extension, so a
    // client cannot pass its windows off as Tidewell's.
    void setClaimChecked(std::set<int> pids) { claimChecked_ = std::move(pids); }

    // Requests, sent without waiting (they reach the server at the next flush).
    // A window on another workspace is asked through _NET_WM_STATE_HIDDEN as well: a window
    // manager that keeps every window out of view Iconic (openbox) takes WM_CHANGE_STATE for
    // such a window as no change.
    void iconify(xcb_window_t window, bool otherWorkspace = false);
    // Asks the window manager to restore an iconic window: by mapping it when it is unmapped
    // (ICCCM), else, for window managers that keep minimized windows mapped, by activating it
    // as a pager does.
    // A window on another workspace is asked back as a pager asks (_NET_WM_STATE_HIDDEN
    // removed, then activated): some window managers take the user to it.
    void restore(xcb_window_t window, bool mapped, bool otherWorkspace = false);
    // Asks for _NET_WM_STATE_HIDDEN to go: window managers that honour it (openbox) restore the
    // window on its own workspace without taking the user there; others ignore it.
    void unhideInPlace(xcb_window_t window);
    void deiconify(xcb_window_t window);
    // Asks the window manager to move a window to workspace `workspace`, as a pager asks.
    void moveToWorkspace(xcb_window_t window, uint32_t workspace);
    // Asks for _NET_WM_STATE_DEMANDS_ATTENTION to go.
    void clearAttention(xcb_window_t window);
    // Shows a marked window that no window manager manages and drops its mark.
    void restoreUnmanaged(const TWX11Window& window);
    void activate(xcb_window_t window, xcb_window_t currentlyActive);
    void close(xcb_window_t window);
    void setMark(xcb_window_t window, uint32_t stackingIndex, xcb_timestamp_t time);
    void removeMark(xcb_window_t window);
    void flush();
    // Reports changes of `window` (its state, its mark, its withdrawal) to the window handler.
    void watch(xcb_window_t window);
    // The state of each of `windows` now, in one batch.
    std::vector<TWX11WindowState> states(const std::vector<xcb_window_t>& windows);

    // The active window as the window manager reports it now (one round trip).
    xcb_window_t activeWindowNow();
    // The workspace the user is on now (one round trip); none without workspaces.
    std::optional<uint32_t> currentWorkspaceNow();
    // Asks the window manager to show workspace `workspace`.
    void showWorkspace(uint32_t workspace);

    // A server timestamp: the last one seen in an event when recent, else a fresh one from a
    // property change on our own window (one round trip, waited for at most 200 ms).
    xcb_timestamp_t serverTime();

    // Handles every event that has arrived: a change of _NET_ACTIVE_WINDOW goes to the active
    // window handler, changes of watched windows and of the client list to the window handler,
    // and an expired wake-up to it as well.
    void dispatchEvents();
    void setActiveWindowChangeHandler(std::function<void()> handler);
    // `changed`: watched windows that changed; `clientList`: whether the client list changed.
    void setWindowChangeHandler(
        std::function<void(const std::vector<xcb_window_t>& changed, bool clientList)> handler);
    // Key presses on the root window (the global shortcuts' grabs) and keyboard mapping changes,
    // handed on after the other handlers of the same dispatch have run.
    void setKeyEventHandler(std::function<void(const xcb_generic_event_t&)> handler);
    // Makes the event descriptor readable at `when` (replacing any earlier wake-up); none stops.
    void wakeUpAt(std::optional<std::chrono::steady_clock::time_point> when);
    // Waits until the event descriptor is readable or `until` passes.
    void waitForEvents(std::chrono::steady_clock::time_point until);
    // Waits (at most `timeoutMs`) for every request sent so far to be answered, and handles the
    // errors that came back.
    void sync();
    // Readable when X events arrived or a wake-up is due.
    int fileDescriptor() const;
    bool hasError() const;
    // Whether the connection is unusable (the server went away, or a protocol error); logged once
    // for the connection's lifetime. Every request on a broken connection is a no-op.
    bool broken();

    // Counts a request that failed because its window no longer exists; logged once per batch.
    void noteVanishedWindow();
    void reportVanishedWindows();

    const TWX11RequestCounts& requestCounts() const { return counts_; }

  private:
    TWX11Connection() = default;
    void handleEvent(xcb_generic_event_t* event);
    xcb_atom_t intern(const char* name);
    // The root's children that carry a mark, with their properties (a few round trips).
    std::vector<TWX11Window> unmanagedMarkedWindows();
    // Every property of `ids`, requested in one batch; `stackingOrder` is called once they are
    // all sent (so a request it makes joins the batch) and gives each window its place.
    std::vector<TWX11Window>
    readWindows(const std::vector<uint32_t>& ids,
                const std::function<std::vector<uint32_t>()>& stackingOrder);

    xcb_connection_t* conn_ = nullptr;
    xcb_ewmh_connection_t ewmh_{};
    bool ewmhReady_ = false;
    xcb_window_t root_ = XCB_NONE;
    xcb_window_t ownWindow_ = XCB_NONE;
    bool haveRes_ = false;
    std::set<int> claimChecked_;
    xcb_atom_t atomHiddenMark_ = XCB_NONE, atomWMState_ = XCB_NONE, atomChangeState_ = XCB_NONE,
               atomKdeDesktopFile_ = XCB_NONE, atomGtkAppID_ = XCB_NONE, atomTimestamp_ = XCB_NONE;
    xcb_timestamp_t lastTime_ = XCB_CURRENT_TIME;
    std::deque<xcb_generic_event_t*> deferred_;
    std::function<void()> activeWindowChanged_;
    std::function<void(const std::vector<xcb_window_t>&, bool)> windowsChanged_;
    std::function<void(const xcb_generic_event_t&)> keyEvent_;
    std::set<xcb_window_t> watched_;
    int epoll_ = -1, timer_ = -1;
    int dispatchDepth_ = 0;
    // Sends the timestamp request on our own window; its event is read by takeTimestamp().
    void requestTimestamp();
    xcb_timestamp_t takeTimestamp(std::chrono::milliseconds wait);
    int vanished_ = 0;
    TWX11RequestCounts counts_;
    bool loggedConnectionError_ = false;
};
