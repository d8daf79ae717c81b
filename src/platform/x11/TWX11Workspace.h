// Running applications on X11: managed windows grouped by process and desktop-entry identity,
// plus Tidewell's registered processes; hide, unhide and activate through the window manager.
#pragma once

#include "TWDesktopEntryIndex.h"
#include "TWWorkspace.h"
#include "TWX11Connection.h"

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

class TWX11Workspace : public TWWorkspace {
  public:
    explicit TWX11Workspace(TWX11Connection& connection);

    std::vector<TWRunningApplication> runningApplications() override;
    void hide(const TWRunningApplication& app) override;
    void unhide(const TWRunningApplication& app) override;
    void activateWithOptions(const TWRunningApplication& app, unsigned options) override;
    // Sends every request of the action to the server.
    void flush() override;
    bool openURL(const std::string& url) override;
    std::string fileManagerBundleIdentifier() override;

    // A fresh snapshot, grouped into applications in launch order.
    const std::vector<TWX11Application>& refresh();
    // The grouping key of the application that owns the active window now (empty: none).
    std::string activeApplicationKey();
    // The desktop entries, parsed once.
    const TWDesktopEntryIndex& desktopEntries();
    // Whether a window is one a taskbar shows as an application window (never a desktop, dock
    // or splash; not skipping the taskbar; not transient for another managed window).
    bool isTaskbarWindow(const TWX11Window& window, const TWX11Snapshot& snapshot) const;
    // The same, with the managed windows known only by their IDs.
    bool isTaskbarWindow(const TWX11Window& window,
                         const std::function<bool(xcb_window_t)>& isManaged) const;
    const TWX11Snapshot& lastSnapshot() const { return snapshot_; }
    TWX11Connection& connection() { return connection_; }

  private:
    TWX11Application* findCached(std::uint64_t handle);
    bool hasType(const TWX11Window& w, xcb_atom_t type) const;
    bool hasState(const TWX11Window& w, xcb_atom_t state) const;
    void unhideApplication(TWX11Application& app);

    TWX11Connection& connection_;
    std::unique_ptr<TWDesktopEntryIndex> entries_;
    std::optional<std::string> fileManagerID_;
    TWX11Snapshot snapshot_;
    std::vector<TWX11Application> apps_;
    std::map<std::string, std::uint64_t> launchSequence_; // grouping key -> handle
    std::uint64_t nextHandle_ = 1;
    std::vector<xcb_window_t> restoring_; // restored in this action, not yet confirmed
};
