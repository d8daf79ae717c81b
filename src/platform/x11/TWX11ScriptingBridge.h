// The file manager's windows as scripting objects, carried out through the window manager.
#pragma once

#include "TWScriptingBridge.h"
#include "TWX11Workspace.h"

#include <memory>
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
};

// What one scripting object has asked of the window manager and that may not be visible in the
// window properties yet: collapsed windows sort as minimized, closing windows are gone.
struct TWX11ScriptingState {
    std::set<xcb_window_t> collapsing;
    std::set<xcb_window_t> closing;
};

class TWX11ScriptedFileManager : public TWScriptedFileManager {
  public:
    TWX11ScriptedFileManager(TWX11Workspace& workspace, std::string bundleIdentifier);
    std::shared_ptr<TWScriptingWindowArray> FinderWindows() override;
    std::shared_ptr<TWScriptingWindow> newObjectOfScriptingClass(const std::string& name) override;
    std::string newWindowTarget() override;

    // The application's normal windows now, front to back, minimized ones last; never its
    // desktop window.
    std::vector<xcb_window_t> currentWindows();
    // Starts the application's desktop entry, with `location` when one is given.
    bool startNewWindow(const std::string& location);
    TWX11Workspace& workspace() { return workspace_; }
    TWX11ScriptingState& state() { return *state_; }

  private:
    TWX11Workspace& workspace_;
    std::string bundleIdentifier_;
    std::shared_ptr<TWX11ScriptingState> state_;
};

class TWX11ScriptingWindow : public TWScriptingWindow {
  public:
    // An existing window.
    TWX11ScriptingWindow(TWX11ScriptedFileManager& owner, xcb_window_t window);
    // A new window object that does not exist until it is added to the window array.
    explicit TWX11ScriptingWindow(TWX11ScriptedFileManager& owner);
    void setCollapsed(bool collapsed) override;
    void close() override;
    void setTarget(const std::string& location) override;
    // Creates the window when this is a new, not yet added object.
    void attach();
    bool isPending() const { return pending_; }

  private:
    TWX11ScriptedFileManager& owner_;
    xcb_window_t window_ = XCB_NONE;
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
