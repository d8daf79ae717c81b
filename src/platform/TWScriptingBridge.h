// SPDX-License-Identifier: MIT
// Scripting the file manager's windows: the terms the Finder-window operations use.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

// One file-manager window, as a scripting object.
class TWScriptingWindow {
  public:
    virtual ~TWScriptingWindow() = default;
    // Minimizes (true) or restores (false) the window.
    virtual void setCollapsed(bool collapsed) = 0;
    // Closes the window.
    virtual void close() = 0;
    // Sets the location the window shows.
    virtual void setTarget(const std::string& location) = 0;
};

// The file manager's window elements. Each query asks the file manager afresh.
class TWScriptingWindowArray {
  public:
    virtual ~TWScriptingWindowArray() = default;
    // Number of windows now.
    virtual std::size_t count() = 0;
    // The frontmost window, or null when there is none.
    virtual std::shared_ptr<TWScriptingWindow> firstObject() = 0;
    // Inserting a new, unattached window object creates the window in the file manager.
    virtual void addObject(const std::shared_ptr<TWScriptingWindow>& window) = 0;
};

// A scripting object for the file manager application.
class TWScriptedFileManager {
  public:
    virtual ~TWScriptedFileManager() = default;
    // A fresh fetch of the window elements ("FinderWindows").
    virtual std::shared_ptr<TWScriptingWindowArray> FinderWindows() = 0;
    // A new, unattached object of a scripting class (such as "Finder window"), or null when the
    // class is unknown.
    virtual std::shared_ptr<TWScriptingWindow>
    newObjectOfScriptingClass(const std::string& name) = 0;
    // The location the file manager's own preferences choose for new windows.
    virtual std::string newWindowTarget() = 0;
};

class TWScriptingBridge {
  public:
    virtual ~TWScriptingBridge() = default;
    // A scripting object for the application with this identifier.
    virtual std::unique_ptr<TWScriptedFileManager>
    applicationWithBundleIdentifier(const std::string& bundleIdentifier) = 0;
};
