// SPDX-License-Identifier: MIT
// The workspace of running applications: listing them in order, hiding, showing, activating.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// How an application takes part in the desktop: only regular applications are hidden,
// shown or listed.
enum TWActivationPolicy : int {
    TWActivationPolicyRegular = 0,
    TWActivationPolicyAccessory = 1,
    TWActivationPolicyProhibited = 2,
};

// Bring the application forward regardless of which application is active now.
inline constexpr unsigned TWApplicationActivateIgnoringOtherApps = 2;

// One running application as the workspace saw it when the list was fetched.
struct TWRunningApplication {
    std::uint64_t handle = 0; // the backend's identity of this running application
    std::optional<std::string> bundleIdentifier;
    int activationPolicy = TWActivationPolicyRegular;
    std::string localizedName;
    int processIdentifier = -1;
    bool active = false;
    bool hidden = false;
};

class TWWorkspace {
  public:
    virtual ~TWWorkspace() = default;

    // Running applications in launch order.
    virtual std::vector<TWRunningApplication> runningApplications() = 0;
    // Hides all of the application's windows.
    virtual void hide(const TWRunningApplication& app) = 0;
    // Shows the windows that hiding took away.
    virtual void unhide(const TWRunningApplication& app) = 0;
    // Brings the application to the front (restoring it when hidden).
    virtual void activateWithOptions(const TWRunningApplication& app, unsigned options) = 0;
    // Hands any requests made so far to the desktop; called at the end of every action.
    virtual void flush() {}
    // Opens a URL with the desktop's default handler; false when nothing could open it.
    virtual bool openURL(const std::string& url) = 0;
    // The identifier of the desktop's file manager (the application treated as Finder).
    virtual std::string fileManagerBundleIdentifier() = 0;
};
