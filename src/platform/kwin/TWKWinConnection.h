// SPDX-License-Identifier: MIT
// One connection to KWin's Plasma window management: the compositor's view of every window (app
// id, process, states, parent, stacking order) kept current from its events, and the minimize,
// restore, activate and close requests. See TWCompositorWorkspace for how windows become
// applications.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

struct wl_display;
struct wl_registry;
struct wl_callback;
struct org_kde_plasma_window_management;
struct org_kde_plasma_window;

// Window state bits of the protocol.
inline constexpr std::uint32_t TWKWinStateActive = 1u << 0;
inline constexpr std::uint32_t TWKWinStateMinimized = 1u << 1;
inline constexpr std::uint32_t TWKWinStateMinimizable = 1u << 9;
inline constexpr std::uint32_t TWKWinStateSkipTaskbar = 1u << 12;

// One window as the compositor last described it.
struct TWKWinWindow {
    std::string uuid; // the compositor's identity of the window, never reused
    std::string appId;
    std::string resourceName; // X11 instance name of an Xwayland window, else empty
    std::string title;
    int pid = -1;
    std::uint32_t state = 0;
    std::string parent;    // the window this one is transient for (its uuid), empty when none
    int stackingIndex = 0; // 0 at the bottom
    bool minimized() const { return (state & TWKWinStateMinimized) != 0; }
    bool active() const { return (state & TWKWinStateActive) != 0; }
};

// Every window the compositor has fully described, in the order they were announced.
struct TWKWinSnapshot {
    std::vector<TWKWinWindow> windows;
    std::string activeWindow; // uuid, empty when no window is active
    // The compositor answered and described every window it announced: a window missing here
    // is gone. False for what events alone told, a timeout or a broken connection.
    bool complete = false;
    const TWKWinWindow* find(const std::string& uuid) const;
};

class TWKWinConnection {
  public:
    // Connects to the Wayland display `socket` (empty: $WAYLAND_DISPLAY) and binds the window
    // management. Null when that fails; `whyNot` then says what is missing (in the user's
    // language), and `absent` whether there is no compositor to talk to at all.
    static std::unique_ptr<TWKWinConnection> open(const std::string& socket, std::string* whyNot,
                                                  bool* absent = nullptr);
    ~TWKWinConnection();
    TWKWinConnection(const TWKWinConnection&) = delete;
    TWKWinConnection& operator=(const TWKWinConnection&) = delete;

    // The windows now: waits (bounded) until the compositor has answered everything asked so
    // far and described every window it announced. An empty snapshot once the connection broke.
    TWKWinSnapshot snapshot();
    // The windows as the events received so far describe them, without asking the compositor.
    TWKWinSnapshot current() const;

    void setMinimized(const std::string& uuid, bool minimized);
    void activate(const std::string& uuid);
    void close(const std::string& uuid);
    // Sends the requests made so far.
    void flush();
    // Waits until the compositor has handled every request sent so far; false on a timeout or
    // a broken connection.
    bool sync(std::chrono::milliseconds timeout = std::chrono::seconds(5));
    // Dispatches events until `condition` holds or `timeout` passes; returns the last answer.
    bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds timeout);

    // Event-loop integration: the descriptor to watch (-1 once broken) and the handling of
    // whatever arrived, without blocking.
    int fileDescriptor() const;
    void dispatchEvents();
    bool broken() const;

    // Runs from dispatchEvents (never inside a wait) after events changed which window is
    // active.
    void setActiveWindowChangeHandler(std::function<void()> handler);
    // Windows that were restored from minimized or went away since the last call.
    std::vector<std::string> takeRestoredOrGone();
    // The socket name of the display, naming this session's records.
    const std::string& displayName() const { return displayName_; }

    // One window's proxy and what its events told (defined with the protocol callbacks).
    struct Window;

  private:
    TWKWinConnection() = default;
    Window* findWindow(const std::string& uuid) const;
    bool readAndDispatch(std::chrono::milliseconds timeout);
    void afterDispatch();
    void noteBroken();

    // Protocol callbacks.
    static void onGlobal(void* data, wl_registry* registry, std::uint32_t name,
                         const char* interface, std::uint32_t version);
    static void onWindowWithUuid(void* data, org_kde_plasma_window_management* management,
                                 std::uint32_t id, const char* uuid);
    static void onStackingOrderUuid(void* data, org_kde_plasma_window_management* management,
                                    const char* uuids);

    wl_display* display_ = nullptr;
    wl_registry* registry_ = nullptr;
    org_kde_plasma_window_management* management_ = nullptr;
    std::uint32_t managementVersion_ = 0;
    bool kdeGlobals_ = false; // the compositor offers KDE protocols (it is KWin)
    std::string displayName_;
    bool broken_ = false;
    std::map<std::string, std::unique_ptr<Window>> windows_;
    std::uint64_t nextSequence_ = 0;
    std::vector<std::string> stacking_; // bottom to top
    std::string lastActive_;
    std::function<void()> activeHandler_;
    std::vector<std::string> restoredOrGone_;
};
