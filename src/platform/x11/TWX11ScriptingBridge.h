// The file manager's windows as scripting objects, carried out through the window manager.
#pragma once

#include "TWScriptingBridge.h"
#include "TWX11Workspace.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

// The location new file-manager windows get from the file manager's own preferences. A window
// started through addObject already shows it, so setting it as the target needs nothing more.
inline constexpr const char* TWX11FileManagerDefaultLocation =
    "x-tidewell-file-manager:default-location";

class TWX11ScriptingBridge : public TWScriptingBridge {
  public:
    explicit TWX11ScriptingBridge(TWX11Workspace& workspace);
    // The file manager (or any application) named by its desktop-entry ID.
    std::unique_ptr<TWScriptedFileManager>
    applicationWithBundleIdentifier(const std::string& bundleIdentifier) override;

  private:
    TWX11Workspace& workspace_;
    std::shared_ptr<struct TWX11ScriptingState> state_;
};

// What one scripting object has asked of the window manager and that may not be visible in the
// window properties yet: collapsed windows sort as minimized, closing windows are gone.
// Close requests are remembered by every scripting object for a while (a window that refuses
// to close is listed again after that), so that a new window is started only once the closed
// ones, and a file manager that quits with its last window, are gone.
struct TWX11ScriptingState {
    std::set<xcb_window_t> collapsing;
    std::map<xcb_window_t, std::pair<int, std::chrono::steady_clock::time_point>> closing;
    bool isClosing(xcb_window_t window) const;
};

class TWX11ScriptedFileManager : public TWScriptedFileManager {
  public:
    TWX11ScriptedFileManager(TWX11Workspace& workspace, std::string bundleIdentifier,
                             std::shared_ptr<TWX11ScriptingState> closing);
    std::shared_ptr<TWScriptingWindowArray> FinderWindows() override;
    std::shared_ptr<TWScriptingWindow> newObjectOfScriptingClass(const std::string& name) override;
    std::string newWindowTarget() override;

    // The application's normal windows now (with their process), front to back, minimized ones
    // last; never its desktop window.
    std::vector<std::pair<xcb_window_t, int>> currentWindows();
    // Starts the application's desktop entry, with `location` when one is given, once the
    // windows closed just before are gone.
    bool startNewWindow(const std::string& location);
    // Asks the window manager to close `window` of process `pid`.
    void requestClose(xcb_window_t window, int pid);
    TWX11Workspace& workspace() { return workspace_; }
    TWX11ScriptingState& state() { return *state_; }

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
    std::shared_ptr<TWX11ScriptingState> state_;
    std::shared_ptr<TWX11ScriptingState> closing_;
    std::optional<Known> known_;
    void startWhenClosedAreGone(std::vector<std::string> argv);
    std::vector<std::pair<xcb_window_t, int>> windowsFromSnapshot();
    std::optional<std::vector<std::pair<xcb_window_t, int>>> windowsFromKnown();
    std::vector<std::pair<xcb_window_t, int>>
    listed(const std::vector<const TWX11Window*>& candidates,
           const std::function<bool(xcb_window_t)>& isManaged);
};

class TWX11ScriptingWindow : public TWScriptingWindow {
  public:
    // An existing window.
    TWX11ScriptingWindow(TWX11ScriptedFileManager& owner, xcb_window_t window, int pid);
    // A new window object that does not exist until it is added to the window array.
    explicit TWX11ScriptingWindow(TWX11ScriptedFileManager& owner);
    void setCollapsed(bool collapsed) override;
    void close() override;
    void setTarget(const std::string& location) override;
    // Creates the window when this is a new, not yet added object.
    void attach();
    bool isPending() const { return pending_; }
    xcb_window_t window() const { return window_; }

  private:
    TWX11ScriptedFileManager& owner_;
    xcb_window_t window_ = XCB_NONE;
    int pid_ = -1;
    bool pending_ = false;
    std::string location_;
};

class TWX11ScriptingWindowArray : public TWScriptingWindowArray {
  public:
    explicit TWX11ScriptingWindowArray(TWX11ScriptedFileManager& owner);
    std::size_t count() override;
    std::shared_ptr<TWScriptingWindow> firstObject() override;
    void addObject(const std::shared_ptr<TWScriptingWindow>& window) override;

  private:
    TWX11ScriptedFileManager& owner_;
};
