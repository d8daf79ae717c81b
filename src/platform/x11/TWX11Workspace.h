// SPDX-License-Identifier: MIT
// Running applications on X11: managed windows grouped by process and desktop-entry identity,
// plus Tidewell's registered processes; hide, unhide and activate through the window manager.
#pragma once

#include "TWApplicationOrder.h"
#include "TWDesktopEntryIndex.h"
#include "TWMimeApps.h"
#include "TWWorkspace.h"
#include "TWX11Connection.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// One application of the latest snapshot, with the windows the workspace acts on.
struct TWX11Application {
    TWRunningApplication info;
    std::string key;                     // grouping key: process (or X client) and identity
    std::vector<TWX11Window> windows;    // every managed window of the application
    std::vector<TWX11Window> appWindows; // the ones a taskbar would count (hidden and restored)
};

// Whether the window manager carries out minimize requests: unknown until a hiding was seen
// through, no when none of the windows of a hiding reached Iconic in time (i3 and other tiling
// window managers ignore the request).
enum class TWX11MinimizeSupport { Unknown, Yes, No };

class TWX11Workspace : public TWWorkspace {
  public:
    explicit TWX11Workspace(TWX11Connection& connection);
    ~TWX11Workspace() override;

    std::vector<TWRunningApplication> runningApplications() override;
    // Marks and iconifies; the window manager's answer is followed through events.
    void hide(const TWRunningApplication& app) override;
    // Asks for every window this workspace (or another Tidewell process) hid to be restored; a
    // mark is removed once its window is seen restored. A window whose hiding the window manager
    // has not carried out yet is restored as soon as it has.
    void unhide(const TWRunningApplication& app) override;
    // Activates at once, or, after restores, once the window manager has finished them.
    void activateWithOptions(const TWRunningApplication& app, unsigned options) override;
    // Sends every request of the action to the server.
    void flush() override;
    bool openURL(const std::string& url) override;
    // The default handler of folders, or the application its entry starts.
    std::string fileManagerBundleIdentifier() override;

    // A fresh snapshot, grouped into applications in launch order.
    const std::vector<TWX11Application>& refresh();
    // The grouping key of the application that owns the active window now (empty: none).
    std::string activeApplicationKey();
    // The desktop entries, parsed again when an applications folder changed.
    const TWDesktopEntryIndex& desktopEntries();
    // Whether a window is one a taskbar shows as an application window (never a desktop, dock
    // or splash; not skipping the taskbar; not transient for another managed window).
    bool isTaskbarWindow(const TWX11Window& window, const TWX11Snapshot& snapshot) const;
    // The same, with the managed windows known only by their IDs.
    bool isTaskbarWindow(const TWX11Window& window,
                         const std::function<bool(xcb_window_t)>& isManaged) const;
    const TWX11Snapshot& lastSnapshot() const { return snapshot_; }
    TWX11Connection& connection() { return connection_; }

    // Minimizes `window` without a mark and stops following it (a collapsed file-manager window
    // stays minimized when everything is shown again).
    void collapse(xcb_window_t window);
    // Runs `action` once `ready` holds (checked as the desktop changes), or at `deadline`.
    void whenReady(std::function<bool()> ready, std::chrono::steady_clock::time_point deadline,
                   std::function<void()> action);
    // Whether requests sent earlier still wait for the window manager's answer.
    bool busy() const;
    // Follows the window manager's answers until nothing waits for one or `timeout` passes;
    // returns whether everything was answered.
    bool settle(std::chrono::milliseconds timeout);
    TWX11MinimizeSupport minimizeSupport() const { return minimizeSupport_; }
    // How many windows hiding has left shown because the window manager does not allow
    // minimizing them (their _NET_WM_ALLOWED_ACTIONS lack it).
    size_t unminimizableCount() const { return unminimizable_; }
    // Follows every window that carries a mark and is minimized (whoever hid it), so that its
    // mark goes when it is seen back, by a show-all anywhere or by the user's hand. Every
    // listing does this for the windows it sees; this one takes a fresh listing and reads the
    // windows it took on once more, so that nothing that happened before they were followed
    // goes unseen.
    void followMarked();
    // How many windows are followed: hidden with a mark, or with a request under way.
    size_t followedCount() const { return followed_.size(); }

    // How long a window manager may take to carry out a minimize or restore request before the
    // request counts as ignored.
    static constexpr std::chrono::milliseconds kAnswerBound{5000};
    // How long a window manager that has minimized windows before is waited for when it is
    // late: under load it answers after seconds, and a mark dropped before its minimize would
    // leave a window minimized that no show-all brings back.
    static constexpr std::chrono::milliseconds kLateAnswerBound{60000};
    // A restore not seen done after kReaskInterval is sent again, up to kRestoreAsks times in
    // all (within kAnswerBound and a half): a window manager that has just started can drop one.
    static constexpr std::chrono::milliseconds kReaskInterval{kAnswerBound / 2};
    static constexpr int kRestoreAsks = 3;
    // A window on another workspace is first asked back in place; a window manager that has not
    // done that within kInPlaceGrace is asked as a pager asks.
    static constexpr std::chrono::milliseconds kInPlaceGrace{400};

  private:
    // A window whose hiding or restoring is under way.
    enum class Step {
        AwaitIconic,       // hidden by us: minimize requested, not yet seen Iconic
        Hidden,            // seen Iconic with our mark: the mark goes when the window comes back
        RestoreWhenIconic, // to be restored once the minimize requested before has been done
        AwaitNormal,       // restore requested, not yet seen Normal
        HideWhenNormal,    // hidden again while a restore is under way: minimized once restored
        AwaitWorkspace,    // restored on the user's workspace, asked back to its own
    };
    struct Followed {
        Step step;
        std::chrono::steady_clock::time_point deadline;
        bool ours = false; // minimized by this workspace's hide (for the capability check)
        bool late = false; // the window manager's answer is awaited past kAnswerBound
        int asks = 0;      // restores sent again after one was not seen done in time
        // The time in the mark this window was followed with: a mark with another time was set
        // by a later hiding.
        std::optional<xcb_timestamp_t> markTime = std::nullopt;
        bool elsewhere = false; // on a workspace other than the user's when its restore began
        // For a window restored from elsewhere: the workspace it lives on, whether it already
        // demanded attention before, and whether it has been asked back by mapping (which some
        // window managers answer by restoring it on the user's workspace).
        std::optional<uint32_t> home = std::nullopt;
        bool flagged = false;
        bool mapAsked = false;
    };
    struct Deferred {
        std::function<bool()> ready;
        std::chrono::steady_clock::time_point deadline;
        std::function<void()> action;
    };
    struct PendingActivation {
        xcb_window_t target = XCB_NONE;
        std::chrono::steady_clock::time_point deadline;
        bool sent = false;
        bool retried = false;
        std::optional<uint32_t> workspace; // the target's
    };
    // The workspace the user was on when restores of windows on other workspaces began: the
    // window manager may take the user along to a restored window, and they are taken back.
    struct WorkspaceReturn {
        uint32_t workspace = 0;
        std::chrono::steady_clock::time_point deadline{};
        bool sent = false;
    };

    TWX11Application* findCached(std::uint64_t handle);
    bool hasType(const TWX11Window& w, xcb_atom_t type) const;
    bool hasState(const TWX11Window& w, xcb_atom_t state) const;
    void unhideApplication(TWX11Application& app);
    void follow(xcb_window_t window, Step step, std::chrono::steady_clock::time_point deadline,
                bool ours = false);
    // Follows the marked, minimized windows of the snapshot not followed yet.
    void followNewlyMarked();
    // Whether a mark records a hiding still under way (the window manager may not have done it).
    bool markIsRecent(const TWX11Window& w) const;
    // Reads the followed windows that changed (all when `everything`) and moves each on.
    void advance(const std::vector<xcb_window_t>& changed, bool everything);
    // Extends the wait for a late minimize once, when the window manager is known to minimize.
    // `what` names the request waited for in the note ("minimize", "restore").
    bool waitLonger(Followed& f, std::chrono::steady_clock::time_point now,
                    const char* what = "minimize");
    void activeWindowChanged();
    // Whether `w` lives on a workspace the user is not on.
    bool onOtherWorkspace(const TWX11Window& w) const;
    // Whether a restore is under way (asked for, or to be asked for once a minimize is done).
    bool restoring() const;
    // Asks for an iconic window to be restored, where it is when it lives elsewhere.
    void askRestore(xcb_window_t window, Followed& f, bool mapped,
                    std::chrono::steady_clock::time_point now);
    // Takes the user back to the workspace they were on once the restores are done.
    void returnToWorkspace(bool restoring, std::chrono::steady_clock::time_point now);
    void scheduleWakeUp();
    void sendActivation();

    TWX11Connection& connection_;
    std::unique_ptr<TWDesktopEntryIndex> entries_;
    TWMimeApps mimeApps_;
    TWX11Snapshot snapshot_;
    std::vector<TWX11Application> apps_;
    TWApplicationOrder order_;
    std::map<xcb_window_t, Followed> followed_;
    bool lateNoted_ = false;
    std::vector<Deferred> deferred_;
    std::optional<PendingActivation> activation_;
    std::optional<WorkspaceReturn> workspaceReturn_;
    TWX11MinimizeSupport minimizeSupport_ = TWX11MinimizeSupport::Unknown;
    size_t unminimizable_ = 0;
    bool advancing_ = false;
};
