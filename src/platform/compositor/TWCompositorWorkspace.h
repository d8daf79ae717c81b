// SPDX-License-Identifier: MIT
// Running applications on a compositor that lists its windows to other programs (KWin, GNOME
// Shell): the windows grouped by process and desktop-entry identity, plus Tidewell's registered
// processes; hide, unhide and activate through the compositor's minimize and activate requests,
// with the record of what Tidewell hid (TWHiddenRecord). Each backend's connection is reached
// through a TWCompositorWindowList.
#pragma once

#include "TWApplicationOrder.h"
#include "TWDesktopEntryIndex.h"
#include "TWHiddenRecord.h"
#include "TWWorkspace.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

// One window as the compositor last described it.
struct TWCompositorWindow {
    std::string id; // the compositor's name of the window, never reused; the record's key
    int pid = -1;
    std::string parent; // the window this one is transient for, empty when none
    bool minimized = false;
    bool active = false;
    bool skipTaskbar = false;
    int stackingIndex = 0; // 0 at the bottom
    // What the window tells of its desktop entry (the workspace adds the program name); none
    // when it tells nothing.
    std::optional<TWIdentityHints> hints;
    std::string fallbackName; // the application's name when no desktop entry names it
};

// Every window the compositor described, in the order it announced them.
struct TWCompositorSnapshot {
    std::vector<TWCompositorWindow> windows;
    std::string active; // empty when no window is active
    // The compositor answered: a window missing here is gone. False for what events alone told,
    // a timeout or a compositor that does not answer.
    bool complete = false;
    const TWCompositorWindow* find(const std::string& id) const;
};

// What the workspace asks of a backend's connection.
class TWCompositorWindowList {
  public:
    virtual ~TWCompositorWindowList() = default;
    // The windows now, asked of the compositor after every request sent so far.
    virtual TWCompositorSnapshot list() = 0;
    // The windows as the events so far describe them, without asking.
    virtual TWCompositorSnapshot current() = 0;
    // As list(), asking the compositor only when a request went out since the last listing:
    // else nothing of Tidewell's is left for it to carry out, and the last listing with the
    // events since is as good (the later looks of one action cost no round trip).
    virtual TWCompositorSnapshot listAfterRequests() = 0;
    // Minimizes or restores the windows, without waiting for the compositor.
    virtual void setMinimized(const std::vector<std::string>& ids, bool minimized) = 0;
    void setMinimized(const std::string& id, bool minimized) {
        setMinimized(std::vector<std::string>{id}, minimized);
    }
    // Restores the windows, in order, and waits (bounded) for the compositor: the ones it
    // confirmed restored. A window it refused, did not find or did not answer for is not.
    virtual std::set<std::string> restore(const std::vector<std::string>& ids) = 0;
    virtual void activate(const std::string& id) = 0;
    virtual void close(const std::string& id) = 0;
    // Sends the requests made so far.
    virtual void flush() = 0;
    // Handles events until `condition` holds or `timeout` passes; returns the last answer.
    virtual bool waitFor(const std::function<bool()>& condition,
                         std::chrono::milliseconds timeout) = 0;
    // Windows that were restored from minimized or went away since the last call.
    virtual std::vector<std::string> takeRestoredOrGone() = 0;
    // Empty while requests can reach the compositor; else why they cannot.
    virtual std::string unavailable() const { return {}; }
    // The compositor's name in messages.
    virtual std::string name() const = 0;
};

// A backend's connection as a window list. `Backend` names the `Connection`, turns the
// workspace's window IDs into the connection's (`native`) and its snapshots into the
// workspace's (`convert`), restores windows as far as the compositor confirms (`restore`), and
// says why no request can reach it (`unavailable`) and its `name`.
template <class Backend> class TWConnectionWindowList : public TWCompositorWindowList {
  public:
    using Connection = typename Backend::Connection;
    explicit TWConnectionWindowList(Connection& connection) : connection_(connection) {}
    TWCompositorSnapshot list() override {
        auto snapshot = Backend::convert(connection_.snapshot());
        listedComplete_ = snapshot.complete;
        requested_ = false;
        return snapshot;
    }
    TWCompositorSnapshot listAfterRequests() override {
        if (requested_ || !Backend::unavailable(connection_).empty())
            return list();
        auto snapshot = current();
        snapshot.complete = listedComplete_;
        return snapshot;
    }
    TWCompositorSnapshot current() override { return Backend::convert(connection_.current()); }
    using TWCompositorWindowList::setMinimized;
    void setMinimized(const std::vector<std::string>& ids, bool minimized) override {
        requested_ = true;
        Backend::setMinimized(connection_, ids, minimized);
    }
    std::set<std::string> restore(const std::vector<std::string>& ids) override {
        requested_ = true;
        return Backend::restore(connection_, ids);
    }
    void activate(const std::string& id) override {
        requested_ = true;
        connection_.activate(Backend::native(id));
    }
    void close(const std::string& id) override {
        requested_ = true;
        connection_.close(Backend::native(id));
    }
    void flush() override { connection_.flush(); }
    bool waitFor(const std::function<bool()>& condition,
                 std::chrono::milliseconds timeout) override {
        return connection_.waitFor(condition, timeout);
    }
    std::vector<std::string> takeRestoredOrGone() override {
        return connection_.takeRestoredOrGone();
    }
    std::string unavailable() const override { return Backend::unavailable(connection_); }
    std::string name() const override { return Backend::name; }

  private:
    Connection& connection_;
    bool listedComplete_ = false; // the last listing's
    bool requested_ = true;       // a request went out since the last listing
};

// One application of a snapshot, with the windows the workspace acts on.
struct TWCompositorApplication {
    TWRunningApplication info;
    std::string key;                             // grouping key: process and identity
    std::vector<TWCompositorWindow> windows;     // every window of the application
    std::vector<TWCompositorWindow> taskbarWins; // the ones a taskbar shows (hidden and restored)
};

// Whether a taskbar shows the window as an application window: not skipping the taskbar and
// not transient for another window.
bool TWCompositorIsTaskbarWindow(const TWCompositorWindow& window);

// Groups a snapshot into applications in announcement order (handles left 0): windows of one
// process with one identity form one application; the identity is the desktop-entry ID that
// the window's hints and the program name resolve to. A transient window belongs to its
// parent's application. Hidden = has marked windows and no shown taskbar window.
std::vector<TWCompositorApplication>
TWCompositorGroupApplications(const TWCompositorSnapshot& snapshot,
                              const TWDesktopEntryIndex& entries, const TWHiddenMarks& marks,
                              const std::function<std::string(int)>& programName);

class TWCompositorWorkspace : public TWWorkspace {
  public:
    // `recordName` names the record of hidden windows; `logClass` the workspace's messages.
    TWCompositorWorkspace(std::unique_ptr<TWCompositorWindowList> windows,
                          const std::string& recordName, std::string logClass);

    std::vector<TWRunningApplication> runningApplications() override;
    // Hides and restores are gathered and sent at flush (or before the next listing, or an
    // action of the other kind), so that one request and one write of the record cover every
    // window of the action.
    void hide(const TWRunningApplication& app) override;
    void unhide(const TWRunningApplication& app) override;
    void activateWithOptions(const TWRunningApplication& app, unsigned options) override;
    void flush() override;
    bool openURL(const std::string& url) override;

    // A fresh snapshot (without `askCompositor`, as listAfterRequests() gives it), grouped into
    // applications in launch order; drops the marks the snapshot shows to be over.
    const std::vector<TWCompositorApplication>& refresh(bool askCompositor = true);
    // The grouping key of the application owning window `id` (empty: none) by what the events
    // told so far; `askWhenUnknown` lists the windows afresh when they do not know it.
    std::string keyOfWindow(const std::string& id, bool askWhenUnknown);
    // Drops the marks of windows that were restored or went away (from the events).
    void forgetMarks(const std::vector<std::string>& ids);
    // Drops window `id`'s mark, withdrawing its hide if not yet sent: a collapsed window stays
    // minimized when all applications are shown.
    void forgetMark(const std::string& id);
    bool isMarked(const std::string& id) const { return marks_.count(id) != 0; }
    const TWDesktopEntryIndex& desktopEntries();
    const TWHiddenRecord& record() const { return record_; }
    TWCompositorWindowList& windows() { return *windows_; }

  protected:
    const std::string logClass_;
    std::optional<std::string> fileManagerID_;

  private:
    // How often show-all asks for a window the compositor did not confirm restored.
    static constexpr int kRestoreAttempts = 3;
    TWCompositorApplication* findCached(std::uint64_t handle);
    TWCompositorApplication* findByKey(const std::string& key);
    // Queues the restore of the marked windows of the application with grouping key `key`.
    void queueRestores(const std::string& key);
    // Restores the queued windows in one request, asking again (a few times) for the ones the
    // compositor did not confirm; the confirmed ones lose their marks, the others keep them for
    // the next show-all.
    void sendPendingRestores();
    // Marks the windows restored in the application's record, wherever the list is now.
    void noteRestored(const std::string& key, const std::set<std::string>& restored);
    void sendPendingHides();
    std::string programName(int pid);

    std::unique_ptr<TWCompositorWindowList> windows_;
    TWHiddenRecord record_;
    std::unique_ptr<TWDesktopEntryIndex> entries_;
    std::vector<TWCompositorApplication> apps_;
    TWHiddenMarks marks_; // as of the last refresh, with the pending hides
    std::vector<std::pair<std::string, TWHiddenMark>> pendingHides_;
    struct PendingRestore {
        std::string key; // the application's grouping key
        std::string id;
        int position = 0;
        // Seen minimized (here or by the record), or minimized by this process: a restore
        // confirmed for a window never seen minimized may have come before another Tidewell
        // process's minimize, which is still on its way; the mark then stays.
        bool seenMinimized = false;
    };
    std::vector<PendingRestore> pendingRestores_;
    std::set<std::string> minimizedHere_; // windows this process asked to minimize
    TWApplicationOrder order_;
    std::map<int, std::string> programNames_;
};
