// SPDX-License-Identifier: MIT
// Running applications on KWin: the compositor's windows grouped by process and desktop-entry
// identity, plus Tidewell's registered processes; hide, unhide and activate through the Plasma
// window management, with the record of what Tidewell hid (TWHiddenRecord).
#pragma once

#include "TWApplicationOrder.h"
#include "TWDesktopEntryIndex.h"
#include "TWHiddenRecord.h"
#include "TWKWinConnection.h"
#include "TWProcessRegistry.h"
#include "TWWorkspace.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// One application of a snapshot, with the windows the workspace acts on.
struct TWKWinApplication {
    TWRunningApplication info;
    std::string key;                       // grouping key: process and identity
    std::vector<TWKWinWindow> windows;     // every window of the application
    std::vector<TWKWinWindow> taskbarWins; // the ones a taskbar shows (hidden and restored)
};

// Whether a taskbar shows the window as an application window: not skipping the taskbar and
// not transient for another window.
bool TWKWinIsTaskbarWindow(const TWKWinWindow& window);

// Groups a snapshot into applications in announcement order (handles left 0): windows of one
// process with one identity form one application; the identity is the desktop-entry ID that
// the app id (or, for Xwayland windows, the resource name) and the program name resolve to.
// Hidden = has marked windows and no shown taskbar window.
std::vector<TWKWinApplication>
TWKWinGroupApplications(const TWKWinSnapshot& snapshot, const TWDesktopEntryIndex& entries,
                        const TWHiddenMarks& marks,
                        const std::function<std::string(int)>& programName);

class TWKWinWorkspace : public TWWorkspace {
  public:
    explicit TWKWinWorkspace(TWKWinConnection& connection);

    std::vector<TWRunningApplication> runningApplications() override;
    // Hides are gathered and sent at flush (or before the next listing or unhide), so that one
    // write of the record covers every window of the action.
    void hide(const TWRunningApplication& app) override;
    void unhide(const TWRunningApplication& app) override;
    void activateWithOptions(const TWRunningApplication& app, unsigned options) override;
    void flush() override;
    bool openURL(const std::string& url) override;
    std::string fileManagerBundleIdentifier() override;

    // A fresh snapshot, grouped into applications in launch order; drops the marks the
    // snapshot shows to be over.
    const std::vector<TWKWinApplication>& refresh();
    // The grouping key of the application owning `uuid` by what events told so far (empty:
    // none), without asking the compositor.
    std::string keyOfWindow(const std::string& uuid);
    // Drops the marks of windows that were restored or went away (from the events).
    void forgetMarks(const std::vector<std::string>& uuids);
    const TWDesktopEntryIndex& desktopEntries();
    const TWHiddenRecord& record() const { return record_; }
    TWKWinConnection& connection() { return connection_; }

  private:
    TWKWinApplication* findCached(std::uint64_t handle);
    void unhideApplication(TWKWinApplication& app);
    void sendPendingHides();
    std::string programName(int pid);

    TWKWinConnection& connection_;
    TWHiddenRecord record_;
    std::unique_ptr<TWDesktopEntryIndex> entries_;
    std::optional<std::string> fileManagerID_;
    std::vector<TWKWinApplication> apps_;
    TWHiddenMarks marks_; // as of the last refresh, with the pending hides
    std::vector<std::pair<std::string, TWHiddenMark>> pendingHides_;
    TWApplicationOrder order_;
    std::map<int, std::string> programNames_;
};
