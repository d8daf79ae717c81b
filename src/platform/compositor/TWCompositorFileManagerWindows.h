// SPDX-License-Identifier: MIT
// The file manager's windows on a compositor (TWCompositorWorkspace): listing front to back,
// minimize, close, and new windows started from the file manager's desktop entry.
#pragma once

#include "TWCloseRequests.h"
#include "TWCompositorWorkspace.h"
#include "TWFileManagerWindows.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

using TWCompositorCloseRequests = TWCloseRequests<std::string>;

class TWCompositorFileManagerWindows : public TWFileManagerWindows {
  public:
    // The windows of the application with this desktop-entry ID. `closing` is shared by every
    // scripting object of one desktop: windows asked to close are left out for a while, and a
    // new window waits for them to go.
    TWCompositorFileManagerWindows(TWCompositorWorkspace& workspace, std::string bundleIdentifier,
                                   std::shared_ptr<TWCompositorCloseRequests> closing);
    // The application's taskbar windows; windows asked to close a moment ago are left out.
    std::vector<WindowId> windows() override;
    void setCollapsed(WindowId window, bool collapsed) override;
    void close(WindowId window) override;
    // Starts the application's desktop entry, once the windows closed just before are gone.
    void openWindow() override;

  private:
    struct Listed {
        std::string id;
        int pid = -1;
    };
    TWCompositorWorkspace& workspace_;
    std::string bundleIdentifier_;
    std::shared_ptr<TWCompositorCloseRequests> closing_;
    // Asked to minimize: sorted as minimized before the compositor's events show it.
    std::set<std::string> collapsing_;
    // Each window gets a number when first listed.
    std::map<std::string, WindowId> numbers_;
    std::map<WindowId, Listed> listed_;
    const Listed* find(WindowId window) const;
    void waitForClosedWindows();
};
