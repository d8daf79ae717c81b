// SPDX-License-Identifier: MIT
// The settings keys, the store each lives in, and their registered defaults.
#pragma once

#include "TWUserDefaults.h"

#include <cstdint>
#include <string>

// Shared store (read by the hide-others action, shared with the menu-bar helper).
inline constexpr const char* TWExcludedAppsKey = "ExcludedApps";
inline constexpr const char* TWShowFinderKey = "ShowFinder";
inline constexpr const char* TWShowWindowKey = "ShowWindow";
inline constexpr const char* TWMinimizeKey = "Minimize";
inline constexpr const char* TWCloseAllFinderKey = "CloseAllFinder";
// Tidewell's global shortcuts, as key combinations' portable text ("Ctrl+Alt+H"); absent or
// empty: none.
inline constexpr const char* TWHideOthersShortcutKey = "HideOthersShortcut";
inline constexpr const char* TWShowAllShortcutKey = "ShowAllShortcut";

// The application's own store.
inline constexpr const char* TWMenubarKey = "Menubar";
inline constexpr const char* TWIconStyleKey = "IconStyle2";
inline constexpr const char* TWCheckForUpdatesKey = "CheckForUpdates";

// The icon styles as "IconStyle2" stores them, and the image each shows.
struct TWIconStyle {
    std::int64_t tag;
    const char* imageName;
};
inline constexpr TWIconStyle TWIconStyles[] = {
    {1, "AppIcon"}, {2, "Purple"}, {4, "Graphite"}, {5, "Dark"}};
// The image of the style stored as `tag`; empty for a tag that is no style.
std::string TWIconImageName(std::int64_t tag);

// Fields of an excluded-application record.
inline constexpr const char* TWExcludedNameField = "name";
inline constexpr const char* TWExcludedURLDataField = "URLData";
inline constexpr const char* TWExcludedBundleIDField = "BundleID";
inline constexpr const char* TWExcludedURLField = "URL";   // memory only
inline constexpr const char* TWExcludedIconField = "Icon"; // memory only

// Identifiers.
inline constexpr const char* TWOwnBundleIdentifier = "net.quillfen.Tidewell";
inline constexpr const char* TWHelperBundleIdentifier = "net.quillfen.TidewellStatus";
inline constexpr const char* TWOwnName = "Tidewell";

// Registers the defaults: first on the application's own store, then on the shared one.
void TWRegisterDefaults(TWUserDefaults& standardDefaults, TWUserDefaults& sharedDefaults);
