// SPDX-License-Identifier: MIT
// The desktop actions: hide-others, show-all, file-manager windows, activation, the menu.
#pragma once

#include "TWAppleEventSender.h"
#include "TWDesktop.h"
#include "TWMenu.h"
#include "TWUserDefaults.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

class TWCommon {
  public:
    // Takes the desktop and the shared settings store; installs the front-switch handler.
    TWCommon(TWDesktop& desktop, TWUserDefaults& sharedDefaults);
    TWCommon(const TWCommon&) = delete;
    TWCommon& operator=(const TWCommon&) = delete;

    // The shared instance, created on first use from the services given to configureShared.
    static void configureShared(TWDesktop& desktop, TWUserDefaults& sharedDefaults);
    static TWCommon& sharedInstance();

    // Hides every regular application but the file manager, ourselves and the excluded ones;
    // keeps the application in front in the desktop's front record when it hides any shown one.
    void showFinderHideOthers();
    // Shows every regular application and re-activates the one recorded as last in front (or
    // kept in front when the others were hidden: activatePreviousApplication).
    void showAll();

    // Collapses every file-manager window (when "Minimize" is on). `finder` is not used.
    void minimizeFinderWindows(const TWRunningApplication* finder);
    // Closes every file-manager window (when "CloseAllFinder" is on). `finder` is not used.
    void closeAllFinderWindows(const TWRunningApplication* finder);
    // Opens one new file-manager window on its own preferred location.
    void openNewFinderWindow();

    // The identifier of the application recorded as active at the last switch.
    std::optional<std::string> currentActiveBundleID() const;
    void setCurrentActiveBundleID(std::optional<std::string> bundleID);
    // Records the active application's identifier (unchanged when none is active).
    void setCurrentProcess();
    // Re-activates the recorded application; without one, the application kept in the desktop's
    // front record when the others were last hidden, if any.
    void activatePreviousApplication();
    // Activates the first application with `bundleID`; with `toggle`, hides it when visible.
    void activateApplicationWithBundleID(const std::string& bundleID, bool toggle);
    // Whether any running application has `bundleID`.
    bool isApplicationRunning(const std::string& bundleID);

    // The events addressed by creator code, built exactly; and sending them.
    static TWAppleEvent reopenEventForCreator(std::uint32_t creator);
    static TWAppleEvent activateEventForCreator(std::uint32_t creator);
    void sendReopenEventToApplicationWithCreator(std::uint32_t creator);
    void makeApplicationActiveWithCreator(std::uint32_t creator);

    // A new running-applications menu.
    std::shared_ptr<TWMenu> buildAppMenu();
    // Appends the menu's running-applications section to `menu`: the "Toggle Visibility"
    // caption, then one toggle item per running regular application, by name.
    void appendApplicationItems(TWMenu& menu);
    // Menu actions (sender ignored).
    void showPreferences();

    TWDesktop& desktop() { return desktop_; }

  private:
    // The recorded application, else the one kept in the desktop's front record.
    std::optional<std::string> previousApplication();

    TWDesktop& desktop_;
    TWUserDefaults& sharedDefaults_;
    mutable std::mutex stateMutex_;
    std::optional<std::string> currentActiveBundleID_;
};

// The menu item of one running application: choosing it toggles that application.
class TWDockMenuItem : public TWMenuItem {
  public:
    // Title "   " + name; the process-info dictionary ("pid", "name", "bundleID") is kept as
    // the represented object.
    TWDockMenuItem(TWCommon& common, TWPlistDictionary processInfo, const std::string& name);
    // Hidden -> activated, shown -> hidden.
    void toggleAppVisibility();
    void perform() override { toggleAppVisibility(); }

  private:
    TWCommon& common_;
};
