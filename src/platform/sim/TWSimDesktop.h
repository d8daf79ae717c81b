// SPDX-License-Identifier: MIT
// A desktop kept in memory: applications, a file manager with windows, keyboard, URL opening
// and Apple events, scriptable by tests and demos, recording every request in order.
#pragma once

#include "TWDesktop.h"
#include "TWScriptingAdapter.h"
#include "TWSimGlobalShortcuts.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

// One file-manager window as the simulated file manager holds it.
struct TWSimWindow {
    std::uint64_t id = 0;
    std::string name;
    bool collapsed = false;
    int refusalsLeft = 0; // close requests still to be refused
    std::string target;   // the location it shows
};

// The simulated desktop. Request log formats (one string per request, in order):
//   "runningApplications", "hide <name>", "unhide <name>", "activate <name> <options>",
//   "openURL <url>", "scripting <bundle id>", "FinderWindows", "count", "firstObject",
//   "collapse <window>", "expand <window>", "close <window>", "new object <class>",
//   "addObject", "newWindowTarget", "setTarget <location>",
//   "appleEvent <class>/<id> sign:<creator>", "beep".
// Window requests made through an object that no longer names a window log "<gone>" as the
// window name; new window objects, which name no window even once inserted, log "<new>".
class TWSimDesktop : public TWDesktop,
                     public TWWorkspace,
                     public TWFrontSwitchSource,
                     public TWKeyboard,
                     public TWAppleEventSender,
                     public TWSystemSound {
  public:
    TWSimDesktop();
    ~TWSimDesktop() override;

    TWWorkspace& workspace() override { return *this; }
    TWScriptingBridge& scriptingBridge() override { return scripting_; }
    TWFrontSwitchSource& frontSwitchSource() override { return *this; }
    TWKeyboard& keyboard() override { return *this; }
    TWAppleEventSender& appleEventSender() override { return *this; }
    TWSystemSound& systemSound() override { return *this; }
    // Kept in memory: a second simulated desktop is a session of its own.
    TWFrontRecord& frontRecord() override { return frontRecord_; }
    TWGlobalShortcuts& globalShortcuts() override { return shortcuts_; }
    // The global shortcuts with what tests script on them (presses, keys held by others).
    TWSimGlobalShortcuts& simGlobalShortcuts() { return shortcuts_; }

    // --- Scripting the desktop (none of these is logged) ---

    // Starts an application at the end of the running list; returns its handle. A pid below 0
    // gets one assigned. Several instances may share one identifier.
    std::uint64_t launchApplication(std::optional<std::string> bundleIdentifier, std::string name,
                                    int activationPolicy = TWActivationPolicyRegular, int pid = -1);
    // Removes the application from the running list; false when it is not running.
    bool quitApplication(std::uint64_t handle);
    // Makes the application the active one (not hidden); runs the front-switch handlers, on the
    // calling thread, when the front application changed.
    void makeActive(std::uint64_t handle);
    // Sets the hidden flag without any request being logged.
    void setHidden(std::uint64_t handle, bool hidden);
    // The application as the workspace reports it now, or nothing when it is not running.
    std::optional<TWRunningApplication> application(std::uint64_t handle) const;
    // The first running application with this identifier.
    std::optional<TWRunningApplication> applicationWithIdentifier(const std::string& id) const;

    // Adds a file-manager window behind the open ones (behind every window when collapsed).
    // `refusals`: how many close requests it ignores before it closes.
    std::uint64_t addFileManagerWindow(std::string name, bool collapsed = false, int refusals = 0);
    // Adds `count` open windows named "window 1" .. "window <count>", front to back.
    void addFileManagerWindows(int count);
    // The file manager's windows, front to back, collapsed ones last.
    std::vector<TWSimWindow> fileManagerWindows() const;
    // Collapses or expands one of them, as its own scripting does (logged as that is).
    void setWindowCollapsed(std::uint64_t id, bool collapsed);

    void setFileManagerBundleIdentifier(std::string identifier);
    void setNewWindowTarget(std::string location);
    void setKeyModifiers(std::uint32_t modifiers);
    // What openURL answers from now on (true by default).
    void setOpenURLResult(bool result);

    // --- Observing ---

    // Every request since the last clearLog, in order.
    std::vector<std::string> log() const;
    void clearLog();
    // Benchmarks switch the log off so that recording does not dominate what they measure.
    void setLogEnabled(bool enabled);
    int flushCount() const;
    std::vector<TWAppleEvent> sentAppleEvents() const;
    std::vector<std::string> openedURLs() const;

    // TWWorkspace
    std::vector<TWRunningApplication> runningApplications() override;
    void hide(const TWRunningApplication& app) override;
    void unhide(const TWRunningApplication& app) override;
    void activateWithOptions(const TWRunningApplication& app, unsigned options) override;
    void flush() override;
    bool openURL(const std::string& url) override;
    std::string fileManagerBundleIdentifier() override;

    // A scripting object for the application, as scriptingBridge() gives it.
    std::unique_ptr<TWScriptedFileManager>
    applicationWithBundleIdentifier(const std::string& bundleIdentifier);

    // TWFrontSwitchSource
    void installFrontSwitchHandler(std::function<void()> handler) override;

    // TWKeyboard
    std::uint32_t currentKeyModifiers() override;

    // TWAppleEventSender
    void send(const TWAppleEvent& event) override;

    // TWSystemSound
    void beep() override;

  private:
    class FileManagerWindows;
    friend class FileManagerWindows;

    void record(std::string entry); // caller holds mutex_
    void activateLocked(std::uint64_t handle, bool& switched);
    std::size_t windowIndexLocked(std::uint64_t id) const;
    void runFrontSwitchHandlers();

    // The file manager's windows, reached through the scripting adapter.
    std::vector<std::uint64_t> windowIds();
    void closeWindow(std::uint64_t id);
    void insertNewWindow();
    std::string newWindowTarget() const;
    void recordScripting(std::string entry);

    mutable std::mutex mutex_;
    std::vector<TWRunningApplication> apps_;                 // launch order
    std::unordered_map<std::uint64_t, std::size_t> indexOf_; // handle -> position in apps_
    std::uint64_t nextHandle_ = 1;
    std::uint64_t activeHandle_ = 0;
    std::vector<TWSimWindow> windows_; // front to back, collapsed last
    std::uint64_t nextWindowId_ = 1;
    std::string fileManagerId_ = "com.apple.finder";
    std::string newWindowTarget_ = "file:///home/user/";
    std::uint32_t modifiers_ = 0;
    bool openURLResult_ = true;
    std::vector<std::string> log_;
    bool logEnabled_ = true;
    int flushes_ = 0;
    std::vector<TWAppleEvent> appleEvents_;
    std::vector<std::string> openedURLs_;
    std::vector<std::function<void()>> frontSwitchHandlers_;
    TWScriptingAdapter scripting_;
    TWSimGlobalShortcuts shortcuts_;
    TWProcessFrontRecord frontRecord_;
};
