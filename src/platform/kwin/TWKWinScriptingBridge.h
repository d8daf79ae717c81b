// The file manager's windows on KWin as scripting objects: listing front to back, minimize,
// close, and new windows started from the file manager's desktop entry.
#pragma once

#include "TWKWinWorkspace.h"
#include "TWScriptingBridge.h"

#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

// The location new file-manager windows get from the file manager's own preferences. A window
// started through addObject already shows it, so setting it as the target needs nothing more.
inline constexpr const char* TWKWinFileManagerDefaultLocation =
    "x-tidewell-file-manager:default-location";

// What the scripting objects asked of the compositor that its events may not show yet:
// collapsed windows sort as minimized; windows asked to close are left out for a while (one
// that refuses to close is listed again after that), and a new window waits for them to go.
struct TWKWinScriptingState {
    std::set<std::string> collapsing;
    std::map<std::string, std::pair<int, std::chrono::steady_clock::time_point>> closing;
    bool isClosing(const std::string& uuid) const;
};

class TWKWinScriptingBridge : public TWScriptingBridge {
  public:
    explicit TWKWinScriptingBridge(TWKWinWorkspace& workspace);
    std::unique_ptr<TWScriptedFileManager>
    applicationWithBundleIdentifier(const std::string& bundleIdentifier) override;

  private:
    TWKWinWorkspace& workspace_;
    std::shared_ptr<TWKWinScriptingState> state_;
};

class TWKWinScriptedFileManager : public TWScriptedFileManager {
  public:
    TWKWinScriptedFileManager(TWKWinWorkspace& workspace, std::string bundleIdentifier,
                              std::shared_ptr<TWKWinScriptingState> state);
    std::shared_ptr<TWScriptingWindowArray> FinderWindows() override;
    std::shared_ptr<TWScriptingWindow> newObjectOfScriptingClass(const std::string& name) override;
    std::string newWindowTarget() override;

    // The application's taskbar windows now (uuid and process), front to back, minimized last.
    std::vector<std::pair<std::string, int>> currentWindows();
    // Starts the application's desktop entry, with `location` when one is given, once the
    // windows closed just before are gone.
    bool startNewWindow(const std::string& location);
    TWKWinWorkspace& workspace() { return workspace_; }
    TWKWinScriptingState& state() { return *state_; }

  private:
    void waitForClosedWindows();
    TWKWinWorkspace& workspace_;
    std::string bundleIdentifier_;
    std::shared_ptr<TWKWinScriptingState> state_;
};

class TWKWinScriptingWindow : public TWScriptingWindow {
  public:
    // An existing window.
    TWKWinScriptingWindow(TWKWinScriptedFileManager& owner, std::string uuid, int pid);
    // A new window object that does not exist until it is added to the window array.
    explicit TWKWinScriptingWindow(TWKWinScriptedFileManager& owner);
    void setCollapsed(bool collapsed) override;
    void close() override;
    void setTarget(const std::string& location) override;
    // Creates the window when this is a new, not yet added object.
    void attach();
    bool isPending() const { return pending_; }

  private:
    TWKWinScriptedFileManager& owner_;
    std::string uuid_;
    int pid_ = -1;
    bool pending_ = false;
    std::string location_;
};

class TWKWinScriptingWindowArray : public TWScriptingWindowArray {
  public:
    explicit TWKWinScriptingWindowArray(TWKWinScriptedFileManager& owner);
    std::size_t count() override;
    std::shared_ptr<TWScriptingWindow> firstObject() override;
    void addObject(const std::shared_ptr<TWScriptingWindow>& window) override;

  private:
    TWKWinScriptedFileManager& owner_;
};
