// SPDX-License-Identifier: MIT
// The file manager's windows through the window manager: listing by stacking order, iconify,
// close, and new windows started from the file manager's desktop entry.
#pragma once

#include "TWCloseRequests.h"
#include "TWFileManagerWindows.h"
#include "TWX11Workspace.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

// The windows asked to close, shared by every scripting object of one desktop, so that a new
// window is started only once the closed ones, and a file manager that quits with its last
// window, are gone.
using TWX11CloseRequests = TWCloseRequests<xcb_window_t>;

class TWX11FileManagerWindows : public TWFileManagerWindows {
  public:
    // The windows of the application with this desktop-entry ID.
    TWX11FileManagerWindows(TWX11Workspace& workspace, std::string bundleIdentifier,
                            std::shared_ptr<TWX11CloseRequests> closing);
    // Never its desktop window; windows asked to close a moment ago are left out.
    std::vector<WindowId> windows() override;
    void setCollapsed(WindowId window, bool collapsed) override;
    void close(WindowId window) override;
    // Starts the application's desktop entry, once the windows closed just before are gone.
    void openWindow() override;

  private:
    // What the last full snapshot told about the windows. Who owns a window does not change
    // while it exists, so a later listing only needs the stacking list and the states of the
    // windows that may be the file manager's; a window ID it has not seen calls for a full
    // snapshot again.
    struct Known {
        std::set<xcb_window_t> seen; // every managed window
        // Every window of the file manager's X clients as it was then. An X client allocates
        // window IDs from its own range, so an ID reused after a window closed can only turn
        // up here: these are read again at each listing, and a change means a full snapshot.
        std::map<xcb_window_t, TWX11Window> sameClients;
        std::set<xcb_window_t> fileManager; // the file manager's windows among them
    };

    TWX11Workspace& workspace_;
    std::string bundleIdentifier_;
    std::shared_ptr<TWX11CloseRequests> closing_;
    // Asked to minimize: sorted as minimized before the window properties show it.
    std::set<xcb_window_t> collapsing_;
    std::map<xcb_window_t, int> pids_; // of every window listed
    std::optional<Known> known_;

    void startWhenClosedAreGone(std::vector<std::string> argv);
    std::vector<WindowId> windowsFromSnapshot();
    std::optional<std::vector<WindowId>> windowsFromKnown();
    std::vector<WindowId> listed(const std::vector<const TWX11Window*>& candidates,
                                 const std::function<bool(xcb_window_t)>& isManaged);
};
