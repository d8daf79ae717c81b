// SPDX-License-Identifier: MIT
// The application delegate: launch sequence, dock click, dock icon and menu, URL scheme.
#include "TidewellAppDelegate.h"

#include "TWAlert.h"
#include "TWCommon.h"
#include "TWDesktop.h"
#include "TWLocalizedString.h"
#include "TWProduct.h"
#include "TWServiceManagement.h"
#include "TWSettings.h"
#include "TWURL.h"
#include "TWUpdateHandlers.h"
#include "TWUserDefaults.h"

#include <QSystemTrayIcon>

namespace {
// Set once, never cleared: the delegate lives until the process ends.
TidewellAppDelegate* sharedDelegate = nullptr;
} // namespace

TidewellAppDelegate::TidewellAppDelegate(TidewellAppServices services)
    : services_(std::move(services)) {
    // Registered here, before launching finishes, so a URL that starts the application is
    // not lost.
    if (services_.registerURLHandler)
        services_.registerURLHandler([this](const std::string& url) { getUrl(url); });
}

TidewellAppDelegate& TidewellAppDelegate::create(TidewellAppServices services) {
    if (!sharedDelegate)
        sharedDelegate = new TidewellAppDelegate(std::move(services));
    return *sharedDelegate;
}

TidewellAppDelegate* TidewellAppDelegate::sharedInstance() {
    return sharedDelegate;
}

void TidewellAppDelegate::registerDefaults() {
    TWRegisterDefaults(*services_.standardDefaults, *services_.sharedDefaults);
}

bool TidewellAppDelegate::isRunningTranslocated() const {
    return services_.bundlePath.find("/AppTranslocation/") != std::string::npos;
}

void TidewellAppDelegate::applicationDidFinishLaunching() {
    TWUserDefaults& defaults = *services_.standardDefaults;
    const std::string& name = services_.bundleName;

    if (isRunningTranslocated()) {
        TWAlert alert;
        alert.setMessageText(
            TWFormat(TWLocalizedString("Cannot run %@ from this location."), name));
        alert.setInformativeText(
            TWFormat(TWLocalizedString("Quit %@, move it into your Applications folder, relaunch "
                                       "it from there and try again."),
                     name));
        services_.desktop->systemSound().beep();
        alert.runModal(*services_.alertPresenter);
        services_.terminate();
        return;
    }

    registerDefaults();

    TWCommon& common = services_.common();
    if (services_.createExcludeController)
        services_.createExcludeController();

    setDockIcon();

    if (defaults.boolForKey(TWMenubarKey)) {
        const std::string helperPath = services_.bundlePath + "/" + TWHelperExecutableName;
        if (!common.isApplicationRunning(TWHelperBundleIdentifier)) {
            services_.serviceManagement->setLoginItemEnabled(TWHelperBundleIdentifier, true);
            services_.serviceManagement->launchApplication(helperPath, TWLaunchWithoutActivation);
        }
    }

    if (defaults.boolForKey(TWCheckForUpdatesKey) && services_.checkForUpdate) {
        TWAlertPresenter* presenter = services_.alertPresenter;
        TWWorkspace* workspace = &services_.desktop->workspace();
        services_.checkForUpdate([presenter, workspace](const TWError& error) {
            TWLaunchUpdateHandler(error, *presenter, *workspace);
        });
    }

    services_.runAfter(services_.dockIconRepeatDelay, [this] { setDockIcon(); });
}

bool TidewellAppDelegate::applicationShouldHandleReopen(bool hasVisibleWindows) {
    (void)hasVisibleWindows;
    if (services_.desktop->keyboard().currentKeyModifiers() & TWShiftKey)
        services_.common().showAll();
    else
        services_.common().showFinderHideOthers();
    return false;
}

int TidewellAppDelegate::applicationShouldTerminate() {
    if (services_.detachPreferencesWindow)
        services_.detachPreferencesWindow();
    return TWTerminateNow;
}

void TidewellAppDelegate::showPreferences() {
    services_.displayPreferences();
}

std::string TidewellAppDelegate::imageNameForIconStyle(std::int64_t style) {
    return TWIconImageName(style);
}

void TidewellAppDelegate::setDockIcon() {
    TWUserDefaults& defaults = *services_.standardDefaults;
    std::string imageName = imageNameForIconStyle(defaults.integerForKey(TWIconStyleKey));
    if (imageName.empty()) {
        // Repaired in the store, not only for this one use.
        defaults.setInteger(1, TWIconStyleKey);
        imageName = "AppIcon";
    }
    services_.setApplicationIconImage(imageName);
}

std::shared_ptr<TWMenu> TidewellAppDelegate::applicationDockMenu() {
    dockMenu_ = services_.common().buildAppMenu();
    return dockMenu_;
}

std::shared_ptr<TWMenu> TidewellAppDelegate::trayMenu() {
    std::shared_ptr<TWMenu> menu = applicationDockMenu();
    auto add = [&](const char* title, const char* action, std::function<void()> perform) {
        menu->addItem(std::make_shared<TWMenuItem>(TWLocalizedString(title), action, this,
                                                   std::move(perform)));
    };
    menu->addItem(TWMenuItem::separatorItem());
    if (services_.checkForUpdate)
        add("Check for Updates...", "checkForUpdate", [this] { checkForUpdate(); });
    add("Product Page", "productPage", [this] { productPage(); });
    add("Send Feedback...", "sendFeedback", [this] { sendFeedback(); });
    menu->addItem(TWMenuItem::separatorItem());
    add("Quit", "terminate", [this] { services_.terminate(); });
    return menu;
}

void TidewellAppDelegate::removeMenu() {
    if (twMenu_ && QSystemTrayIcon::isSystemTrayAvailable()) {
        twMenu_->hide();
        delete twMenu_;
        twMenu_ = nullptr;
    }
}

std::optional<std::string> TidewellAppDelegate::actionRequest(const std::string& urlString) {
    const std::optional<TWURL> url = TWURL::URLWithString(urlString);
    if (!url || url->scheme() != std::optional<std::string>(TWURLScheme))
        return std::nullopt;
    std::string request = url->resourceSpecifier();
    const auto first = request.find_first_not_of('/');
    if (first == std::string::npos)
        return std::nullopt;
    request = request.substr(first, request.find_last_not_of('/') - first + 1);
    if (request != TWPreferencesRequest)
        return std::nullopt;
    return request;
}

void TidewellAppDelegate::getUrl(const std::string& urlString) {
    if (actionRequest(urlString) == std::optional<std::string>(TWPreferencesRequest))
        showPreferences();
}

void TidewellAppDelegate::performOpenURL(const std::string& urlString) {
    if (const std::optional<TWURL> url = TWURL::URLWithString(urlString))
        services_.desktop->workspace().openURL(url->absoluteString());
}

void TidewellAppDelegate::productPage() {
    performOpenURL(TWProductPageURL);
}

std::string TidewellAppDelegate::feedbackURL() const {
    std::string url;
    url.reserve(10);
    url += "mailto:";
    url += TWSupportEmailAddress;
    url += "?subject=";
    url += "Tidewell%20";
    url += services_.shortVersion;
    url += "%20feedback";
    return url;
}

void TidewellAppDelegate::sendFeedback() {
    performOpenURL(feedbackURL());
}

void TidewellAppDelegate::checkForUpdate() {
    if (!services_.checkForUpdate)
        return;
    TWAlertPresenter* presenter = services_.alertPresenter;
    TWWorkspace* workspace = &services_.desktop->workspace();
    services_.checkForUpdate([presenter, workspace](const TWError& error) {
        TWManualUpdateHandler(error, *presenter, *workspace);
    });
}
