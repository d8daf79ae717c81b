// SPDX-License-Identifier: MIT
// One connection to the window service of Tidewell's GNOME Shell extension over the session bus
// (sd-bus): the shell's windows as the service lists them once (at the start, and again when it
// comes back), kept current from the signals it sends this connection alone, and the minimize,
// restore, activate and close requests, one request for all the windows of an action. The
// connection claims the name net.quillfen.Tidewell.Desktop.p<pid>, which is what the service
// asks of its callers. See TWCompositorWorkspace for how windows become applications.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct sd_bus;
struct sd_bus_message;
struct sd_bus_slot;

inline constexpr const char* TWGnomeExtensionUUID = TIDEWELL_GNOME_UUID;

// Meta.WindowType values the service lists.
inline constexpr std::uint32_t TWGnomeWindowTypeNormal = 0;

// One window as the shell last described it.
struct TWGnomeWindow {
    std::uint64_t id = 0; // the shell's window ID, never reused while it runs
    std::string appId;    // the window tracker's desktop-entry ID (no ".desktop"), else empty
    std::string sandboxedAppId;
    std::string wmClass; // the app_id of a Wayland client
    std::string wmInstance;
    std::string gtkApplicationId;
    int pid = -1;
    std::string title;
    bool minimized = false;
    bool focused = false;
    bool skipTaskbar = false;
    std::uint64_t transientFor = 0;
    std::uint32_t type = TWGnomeWindowTypeNormal;
    int workspace = -1;
    int stackingIndex = 0; // 0 at the bottom
};

// Every window the service listed, in the order the shell created them.
struct TWGnomeSnapshot {
    std::vector<TWGnomeWindow> windows;
    std::uint64_t focused = 0; // 0 when no listed window has the focus
    // The service answered: a window missing here is gone. False for what signals alone told,
    // a timeout, or a service that is not there.
    bool complete = false;
    const TWGnomeWindow* find(std::uint64_t id) const;
};

class TWGnomeConnection {
  public:
    // Connects to the session bus and finds the service. Null when GNOME Shell is not there or
    // its extension does not answer; `whyNot` then says which, and how to enable the extension,
    // in the user's language; `absent` whether GNOME Shell itself is not there.
    static std::unique_ptr<TWGnomeConnection> open(std::string* whyNot, bool* absent = nullptr);
    ~TWGnomeConnection();
    TWGnomeConnection(const TWGnomeConnection&) = delete;
    TWGnomeConnection& operator=(const TWGnomeConnection&) = delete;

    // The windows now: after every request sent so far is answered and every change the
    // service saw before is received (one round trip, no listing); an incomplete snapshot of
    // what is known when the service does not answer.
    TWGnomeSnapshot snapshot();
    // The windows as the listing and the signals since describe them, without asking.
    TWGnomeSnapshot current() const;

    // Requests, sent without waiting for their answers (see sync).
    void setMinimized(const std::vector<std::uint64_t>& ids, bool minimized);
    // Restores the windows and waits (bounded) for the service's answer: the ones it restored.
    std::vector<std::uint64_t> restore(const std::vector<std::uint64_t>& ids);
    void activate(std::uint64_t id);
    void close(std::uint64_t id);
    // Sends the requests made so far.
    void flush();
    // Waits until every request sent so far is answered; false on a timeout, a lost bus or a
    // service that stopped.
    bool sync(std::chrono::milliseconds timeout = std::chrono::seconds(5));
    // Handles signals until `condition` holds or `timeout` passes; returns the last answer.
    bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds timeout);

    // Event-loop integration: the descriptor to watch (-1 once the bus is lost) and the handling
    // of whatever arrived, without blocking.
    int fileDescriptor() const;
    void dispatchEvents();
    bool broken() const { return broken_; }
    // Whether the extension's service answers (it is noticed going and coming back).
    bool available() const { return available_; }
    // Whether it last stopped because the shell turned extensions off for its lock screen
    // (true until it stops for another reason): nothing the user need be told.
    bool stoppedForLockScreen() const { return stoppedForLock_; }

    // Runs from dispatchEvents (never inside a wait) after signals changed which window has
    // the focus.
    void setActiveWindowChangeHandler(std::function<void()> handler);
    // Binds the accelerator (GNOME's text; empty: none) to the action ("hide-others",
    // "show-all") in the shell, waiting for the answer: nothing when it is bound, else why not.
    std::optional<std::string> bindShortcut(const std::string& action,
                                            const std::string& accelerator);
    // Runs, after the dispatch, for each press of a bound accelerator, with its action.
    void setShortcutHandler(std::function<void(const std::string&)> handler);
    // Runs, after the dispatch, when the extension answers again after it stopped (what it
    // held, such as the bound accelerators, is to be given to it again).
    void setServiceReturnHandler(std::function<void()> handler);
    // Windows that were restored from minimized or went away since the last call (as text IDs,
    // the record's keys).
    std::vector<std::string> takeRestoredOrGone();
    // The bus name this connection owns in Tidewell's namespace.
    const std::string& busName() const { return busName_; }
    // Names this session's record of hidden windows.
    const std::string& sessionName() const { return sessionName_; }

  private:
    TWGnomeConnection() = default;
    // What a request sent and not yet answered was, and its answer once it came.
    struct Request {
        std::vector<std::uint64_t> ids; // a SetMinimized's windows
        bool minimized = false;
        bool waited = false; // kept for the caller once answered
        bool answered = false;
        std::vector<bool> done; // a SetMinimized's answer, per window
    };
    std::uint64_t send(sd_bus_message* call, Request request);
    void call(const char* method, std::uint64_t id);
    bool subscribe(std::string* whyNot);
    void resubscribeIfBack();
    void mergeRows(std::vector<TWGnomeWindow> rows);
    void drain();
    bool processOnce(std::chrono::microseconds wait);
    void afterDispatch();
    void noteBroken(int error);
    void setAvailable(bool available, const std::string& why);
    void replyError(const std::string& name, const std::string& message);
    // The bus callbacks (defined with sd-bus's types).
    struct Callbacks;
    friend struct Callbacks;

    sd_bus* bus_ = nullptr;
    sd_bus_slot* signalSlot_ = nullptr;
    sd_bus_slot* ownerSlot_ = nullptr;
    std::string busName_, sessionName_, shellOwner_;
    bool broken_ = false;
    bool available_ = true;
    bool stoppedForLock_ = false;
    bool resubscribe_ = false;                  // the service came back: it is to be listed again
    std::map<std::uint64_t, Request> requests_; // by the call's cookie
    TWGnomeSnapshot last_;
    std::uint64_t lastActive_ = 0;
    std::function<void()> activeHandler_;
    std::vector<std::string> restoredOrGone_;
    std::function<void(const std::string&)> shortcutHandler_;
    std::vector<std::string> shortcutsPressed_;
    std::function<void()> returnHandler_;
    bool returned_ = false; // the extension came back since the last dispatch
};
