// SPDX-License-Identifier: MIT
// Running applications on GNOME Shell: the shell's windows grouped by process and desktop-entry
// identity, plus Tidewell's registered processes; hide, unhide and activate through the
// extension's window service, with the record of what Tidewell hid (TWHiddenRecord).
#pragma once

#include "TWApplicationOrder.h"
#include "TWDesktopEntryIndex.h"
#include "TWGnomeConnection.h"
#include "TWHiddenRecord.h"
#include "TWWorkspace.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// One application of a snapshot, with the windows the workspace acts on.
struct TWGnomeApplication {
    TWRunningApplication info;
    std::string key;                        // grouping key: process and identity
    std::vector<TWGnomeWindow> windows;     // every window of the application
    std::vector<TWGnomeWindow> taskbarWins; // the ones a taskbar shows (hidden and restored)
};

// Whether a taskbar shows the window as an application window: not skipping the taskbar and
// not transient for another window.
bool TWGnomeIsTaskbarWindow(const TWGnomeWindow& window);

// Groups a snapshot into applications in creation order (handles left 0): windows of one
// process with one identity form one application; the identity is the desktop-entry ID that the
// shell's window tracker, the sandbox, the GTK application ID, the class and the program name
// resolve to. A transient window belongs to its parent's application. Hidden = has marked
// windows and no shown taskbar window.
std::vector<TWGnomeApplication>
TWGnomeGroupApplications(const TWGnomeSnapshot& snapshot, const TWDesktopEntryIndex& entries,
                         const TWHiddenMarks& marks,
                         const std::function<std::string(int)>& programName);

class TWGnomeWorkspace : public TWWorkspace {
  public:
    explicit TWGnomeWorkspace(TWGnomeConnection& connection);

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
    const std::vector<TWGnomeApplication>& refresh();
    // The grouping key of the application owning window `id` (empty: none), by the last
    // listing, listing again when it does not know the window.
    std::string keyOfWindow(std::uint64_t id);
    // Drops the marks of windows that were restored or went away (from the signals).
    void forgetMarks(const std::vector<std::string>& ids);
    const TWDesktopEntryIndex& desktopEntries();
    const TWHiddenRecord& record() const { return record_; }
    TWGnomeConnection& connection() { return connection_; }

  private:
    TWGnomeApplication* findCached(std::uint64_t handle);
    void unhideApplication(TWGnomeApplication& app);
    void sendPendingHides();
    std::string programName(int pid);

    TWGnomeConnection& connection_;
    TWHiddenRecord record_;
    std::unique_ptr<TWDesktopEntryIndex> entries_;
    std::optional<std::string> fileManagerID_;
    std::vector<TWGnomeApplication> apps_;
    TWHiddenMarks marks_; // as of the last refresh, with the pending hides
    std::vector<std::pair<std::uint64_t, TWHiddenMark>> pendingHides_;
    TWApplicationOrder order_;
    std::map<int, std::string> programNames_;
};
