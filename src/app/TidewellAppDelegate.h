// SPDX-License-Identifier: MIT
// The application delegate: launch sequence, dock click, quit, dock icon and menu, the URL
// scheme and the support actions (product page, feedback, update check).
#pragma once

#include "TWMenu.h"
#include "TWProduct.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

class QSystemTrayIcon;
class TWAlertPresenter;
class TWCommon;
class TWDesktop;
class TWServiceManagement;
class TWUserDefaults;
struct TWError;

// The helper program, next to the application's own executable.
inline constexpr const char* TWHelperExecutableName = "tidewell-helper";
// Answer of applicationShouldTerminate: quit now.
inline constexpr int TWTerminateNow = 1;

// Everything the delegate reaches outside itself. The application wires these to the real
// desktop; tests wire them to the simulated one.
struct TidewellAppServices {
    TWDesktop* desktop = nullptr;
    TWUserDefaults* standardDefaults = nullptr;
    TWUserDefaults* sharedDefaults = nullptr;
    TWAlertPresenter* alertPresenter = nullptr;
    TWServiceManagement* serviceManagement = nullptr;
    // The directory the application runs from (its executable's directory).
    std::string bundlePath;
    std::string bundleName;
    std::string shortVersion;
    // The desktop actions' shared instance, created on first call.
    std::function<TWCommon&()> common;
    // Creates the exclusion-list controller's shared instance (which starts rebuilding the list
    // in the background). Empty while the application has no exclusion-list controller.
    std::function<void()> createExcludeController;
    // Registers the handler of URL events; the delegate does so once, as it is created.
    std::function<void(std::function<void(const std::string& url)>)> registerURLHandler;
    // Starts one update check whose result goes to the handler on the main thread.
    std::function<void(std::function<void(const TWError&)>)> checkForUpdate;
    // Brings the application forward and shows the preferences window.
    std::function<void()> displayPreferences;
    // Detaches the preferences window's close handling before quitting (when it is visible).
    std::function<void()> detachPreferencesWindow;
    // Sets the image of the application's icon (the tray icon) by image name.
    std::function<void(const std::string& imageName)> setApplicationIconImage;
    // Ends the application at once.
    std::function<void()> terminate;
    // Runs `work` once after `delay` on the main thread.
    std::function<void(std::chrono::milliseconds delay, std::function<void()> work)> runAfter;
    // How long after launch the dock icon is applied a second time.
    std::chrono::milliseconds dockIconRepeatDelay{7000};
};

class TidewellAppDelegate {
  public:
    // An independent delegate (tests); registers its URL handler at once.
    explicit TidewellAppDelegate(TidewellAppServices services);
    TidewellAppDelegate(const TidewellAppDelegate&) = delete;
    TidewellAppDelegate& operator=(const TidewellAppDelegate&) = delete;

    // The application's delegate: the first call creates it from `services`; any later call
    // returns that same delegate and ignores its argument.
    static TidewellAppDelegate& create(TidewellAppServices services);
    // The delegate made by create(), or null before then.
    static TidewellAppDelegate* sharedInstance();

    // Registers the default settings of both stores.
    void registerDefaults();
    // True when the application runs from a translocated location ("/AppTranslocation/").
    bool isRunningTranslocated() const;
    // The launch sequence; runs once the event loop has started.
    void applicationDidFinishLaunching();
    // A click on the dock tile or a second start: Shift shows all, anything else hides the
    // others. Always false: nothing else is to be done.
    bool applicationShouldHandleReopen(bool hasVisibleWindows);
    // Quitting is never delayed: always TWTerminateNow.
    int applicationShouldTerminate();
    // Brings the preferences window forward.
    void showPreferences();

    // Applies the icon style from the settings, repairing an invalid style.
    void setDockIcon();
    // A freshly built running-applications menu; it replaces the one handed out before.
    std::shared_ptr<TWMenu> applicationDockMenu();
    // The tray icon's menu: the dock menu, then what a desktop program's own menu offers (the
    // update check when it is built, the product page, feedback, Quit), since the tray is the
    // only menu Tidewell shows.
    std::shared_ptr<TWMenu> trayMenu();
    // The menu last handed out by applicationDockMenu.
    const std::shared_ptr<TWMenu>& dockMenu() const { return dockMenu_; }
    // The status item (never set by the application) and its removal.
    QSystemTrayIcon* twMenu() const { return twMenu_; }
    void removeMenu();

    // The handler of URL events: only x-tidewell-action:preferences (any slashes) is acted on.
    void getUrl(const std::string& url);
    // The request an x-tidewell-action: URL names ("preferences"), when it is one this
    // application carries out; nothing for any other URL.
    static std::optional<std::string> actionRequest(const std::string& url);
    // Opens the product web page.
    void productPage();
    // Opens a new e-mail to the support address about this version.
    void sendFeedback();
    // The address sendFeedback opens.
    std::string feedbackURL() const;
    // Opens `url` with the desktop's default handler; nothing when it is not a URL.
    void performOpenURL(const std::string& url);
    // The update check on the user's request: its result is always shown.
    void checkForUpdate();

    // The image name for an "IconStyle2" value, empty for an invalid style.
    static std::string imageNameForIconStyle(std::int64_t style);

  private:
    TidewellAppServices services_;
    std::shared_ptr<TWMenu> dockMenu_;
    QSystemTrayIcon* twMenu_ = nullptr;
};
