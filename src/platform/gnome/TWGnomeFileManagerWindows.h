// SPDX-License-Identifier: MIT
// The file manager's windows on GNOME Shell: listing front to back, minimize, close, and new
// windows started from the file manager's desktop entry.
#pragma once

#include "TWCloseRequests.h"
#include "TWFileManagerWindows.h"
#include "TWGnomeWorkspace.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

using TWGnomeCloseRequests = TWCloseRequests<std::uint64_t>;

// What the file manager's windows asked of the shell that its signals may not show yet,
// shared by every scripting object of one desktop: windows asked to minimize sort as minimized;
// windows asked to close are left out for a while, and a new window waits for them to go.
struct TWGnomeFileManagerState {
    std::set<std::uint64_t> collapsing;
    TWGnomeCloseRequests closing;
};

class TWGnomeFileManagerWindows : public TWFileManagerWindows {
  public:
    // The windows of the application with this desktop-entry ID.
    TWGnomeFileManagerWindows(TWGnomeWorkspace& workspace, std::string bundleIdentifier,
                              std::shared_ptr<TWGnomeFileManagerState> state);
    // The application's taskbar windows; windows asked to close a moment ago are left out.
    std::vector<WindowId> windows() override;
    void setCollapsed(WindowId window, bool collapsed) override;
    void close(WindowId window) override;
    // Starts the application's desktop entry, once the windows closed just before are gone.
    void openWindow() override;

  private:
    struct Listed {
        int pid = -1;
    };
    TWGnomeWorkspace& workspace_;
    std::string bundleIdentifier_;
    std::shared_ptr<TWGnomeFileManagerState> state_;
    // The shell's window IDs serve as the windows' names; each listed one with its process.
    std::map<WindowId, Listed> listed_;
    const Listed* find(WindowId window) const;
    void waitForClosedWindows();
};
