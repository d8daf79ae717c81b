// SPDX-License-Identifier: MIT
// The desktop actions: hide-others, show-all, file-manager windows, activation, the menu.
#include "TWCommon.h"

#include "TWLocalizedString.h"
#include "TWLog.h"
#include "TWProduct.h"
#include "TWSettings.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

constexpr const char* kLogClass = "TWCommon";

namespace {

constexpr const char* kFinderWindowClass = "Finder window";

// The services the shared instance is built from, set once the application has wired them.
struct SharedServices {
    std::mutex mutex;
    TWDesktop* desktop = nullptr;
    TWUserDefaults* sharedDefaults = nullptr;
    std::once_flag once;
    TWCommon* instance = nullptr;
};

SharedServices& sharedServices() {
    static SharedServices services;
    return services;
}

const TWRunningApplication* firstWithIdentifier(const std::vector<TWRunningApplication>& running,
                                                const std::string& bundleID) {
    for (const auto& app : running)
        if (app.bundleIdentifier == bundleID)
            return &app;
    return nullptr;
}

// The simple Unicode case folding (one code point to one) of the scripts names are written in
// most: Latin-1 Supplement, Latin Extended-A, Greek and Cyrillic. From a fixed table, so the
// order is the same whatever locale the user has (or has installed); other code points are
// kept as they are.
char32_t simpleCaseFold(char32_t c) {
    // Ranges of pairs, each capital followed by its small letter.
    auto evenCapital = [c] { return (c & 1) == 0 ? c + 1 : c; };
    auto oddCapital = [c] { return (c & 1) == 1 ? c + 1 : c; };
    if (c < 0x80)
        return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c;
    if (c < 0x100) {
        if (c == 0xB5) // micro sign -> Greek small mu
            return 0x3BC;
        return c >= 0xC0 && c <= 0xDE && c != 0xD7 ? c + 0x20 : c;
    }
    if (c < 0x180) {
        if ((c >= 0x100 && c <= 0x12F) || (c >= 0x132 && c <= 0x137) || (c >= 0x14A && c <= 0x177))
            return evenCapital();
        if ((c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E))
            return oddCapital();
        if (c == 0x178) // Y with diaeresis -> its Latin-1 small letter
            return 0xFF;
        if (c == 0x17F) // long s
            return 's';
        return c;
    }
    if (c >= 0x370 && c < 0x400) {
        if (c == 0x386)
            return 0x3AC;
        if (c >= 0x388 && c <= 0x38A)
            return c + 0x25;
        if (c == 0x38C)
            return 0x3CC;
        if (c == 0x38E || c == 0x38F)
            return c + 0x3F;
        if ((c >= 0x391 && c <= 0x3A1) || (c >= 0x3A3 && c <= 0x3AB))
            return c + 0x20;
        if (c == 0x3C2) // final sigma
            return 0x3C3;
        if (c >= 0x3D8 && c <= 0x3EF)
            return evenCapital();
        return c;
    }
    if (c >= 0x400 && c < 0x530) {
        if (c <= 0x40F)
            return c + 0x50;
        if (c <= 0x42F)
            return c + 0x20;
        if ((c >= 0x460 && c <= 0x481) || (c >= 0x48A && c <= 0x4BF) || (c >= 0x4D0 && c <= 0x52F))
            return evenCapital();
        if (c == 0x4C0)
            return 0x4CF;
        if (c >= 0x4C1 && c <= 0x4CE)
            return oddCapital();
        return c;
    }
    return c;
}

void appendUTF8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

// A name case-folded for the menu's case-insensitive order ("Émile" next to "émile", "Ärger"
// with "ärger", "Яблоко" with "яблоко"). UTF-8 bytes compare in code-point order; bytes that are
// not valid UTF-8 are kept as they are.
std::string caseFolded(std::string_view s) {
    std::string folded;
    folded.reserve(s.size());
    for (std::size_t i = 0; i < s.size();) {
        const auto lead = static_cast<unsigned char>(s[i]);
        if (lead < 0x80) {
            folded += static_cast<char>(lead >= 'A' && lead <= 'Z' ? lead + ('a' - 'A') : lead);
            ++i;
            continue;
        }
        const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
        char32_t c = length == 4 ? lead & 0x07 : length == 3 ? lead & 0x0F : lead & 0x1F;
        bool valid = length > 1 && lead < 0xF5 && i + length <= s.size();
        for (std::size_t k = 1; valid && k < length; ++k) {
            const auto next = static_cast<unsigned char>(s[i + k]);
            valid = (next & 0xC0) == 0x80;
            c = (c << 6) | (next & 0x3F);
        }
        if (!valid) {
            folded += static_cast<char>(lead);
            ++i;
            continue;
        }
        appendUTF8(folded, simpleCaseFold(c));
        i += length;
    }
    return folded;
}

} // namespace

TWCommon::TWCommon(TWDesktop& desktop, TWUserDefaults& sharedDefaults)
    : desktop_(desktop), sharedDefaults_(sharedDefaults) {
    // The handler lives as long as the source; the instance must outlive every switch it hears.
    desktop_.frontSwitchSource().installFrontSwitchHandler([this] { setCurrentProcess(); });
}

void TWCommon::configureShared(TWDesktop& desktop, TWUserDefaults& sharedDefaults) {
    auto& services = sharedServices();
    std::lock_guard lock(services.mutex);
    services.desktop = &desktop;
    services.sharedDefaults = &sharedDefaults;
}

TWCommon& TWCommon::sharedInstance() {
    auto& services = sharedServices();
    TWDesktop* desktop = nullptr;
    TWUserDefaults* defaults = nullptr;
    {
        std::lock_guard lock(services.mutex);
        desktop = services.desktop;
        defaults = services.sharedDefaults;
    }
    if (!desktop || !defaults)
        throw std::logic_error("TWCommon: sharedInstance used before configureShared");
    // Never released: the front-switch handler refers to it for the rest of the process.
    std::call_once(services.once, [&] { services.instance = new TWCommon(*desktop, *defaults); });
    return *services.instance;
}

// ---------------------------------------------------------------- hide-others, show-all

void TWCommon::showFinderHideOthers() {
    TWWorkspace& workspace = desktop_.workspace();
    // One snapshot serves every question below: fetching the list is a round trip to the
    // desktop, and the walk must see the same applications that the counts came from.
    const std::vector<TWRunningApplication> running = workspace.runningApplications();
    const std::optional<TWPlistArray> excludedRecords =
        sharedDefaults_.arrayForKey(TWExcludedAppsKey);
    const std::string finderID = workspace.fileManagerBundleIdentifier();

    const auto ownCount = std::count_if(running.begin(), running.end(), [](const auto& app) {
        return app.bundleIdentifier == TWOwnBundleIdentifier;
    });

    // Only "BundleID" matters here: a record whose application can no longer be found still
    // excludes its identifier.
    std::unordered_set<std::string> excluded;
    if (excludedRecords) {
        excluded.reserve(excludedRecords->size());
        for (const auto& record : *excludedRecords) {
            const auto* dict = record.get<TWPlistDictionary>();
            const TWPlistValue* field =
                dict ? TWPlistLookup(*dict, TWExcludedBundleIDField) : nullptr;
            const auto* bundleID = field ? field->get<std::string>() : nullptr;
            if (!bundleID) {
                TWLog(LOG_WARNING, kLogClass,
                      "ignoring an excluded-application record without a BundleID");
                continue;
            }
            excluded.insert(*bundleID);
        }
    }

    const TWRunningApplication* finder = firstWithIdentifier(running, finderID);
    const auto front = std::find_if(running.begin(), running.end(),
                                    [](const TWRunningApplication& app) { return app.active; });
    // Whether this action hides an application that is shown now.
    bool hidesShown = false;
    // A file manager often runs as several processes (a second one started for a new window):
    // every running entry of its identifier is the file manager, shown or hidden together; the
    // first is the one brought forward.
    std::vector<const TWRunningApplication*> fileManager;
    for (const auto& app : running)
        if (finder && app.bundleIdentifier == finderID)
            fileManager.push_back(&app);
    // Without our own application running (a helper acting alone) the file manager is always
    // brought forward, so the screen never ends up with nothing in front.
    if (sharedDefaults_.boolForKey(TWShowFinderKey) || ownCount == 0) {
        for (const auto* app : fileManager)
            workspace.unhide(*app);
        if (finder)
            workspace.activateWithOptions(*finder, TWApplicationActivateIgnoringOtherApps);
    } else {
        for (const auto* app : fileManager) {
            hidesShown = hidesShown || !app->hidden;
            workspace.hide(*app);
        }
    }

    minimizeFinderWindows(finder);
    closeAllFinderWindows(finder);

    // Last launched first: the most recent applications disappear before the older ones.
    for (auto it = running.rbegin(); it != running.rend(); ++it) {
        const TWRunningApplication& app = *it;
        if (app.activationPolicy != TWActivationPolicyRegular)
            continue;
        if (app.bundleIdentifier) {
            const std::string& id = *app.bundleIdentifier;
            if (id == finderID || id == TWOwnBundleIdentifier || excluded.count(id) != 0)
                continue;
        }
        hidesShown = hidesShown || !app.hidden;
        workspace.hide(app);
    }

    if (sharedDefaults_.boolForKey(TWShowWindowKey) && sharedDefaults_.boolForKey(TWShowFinderKey))
        openNewFinderWindow();

    // The application in front is kept with what was hidden, for a show-all from any Tidewell
    // process: one that has followed no front switch (a run of the command-line tool) gives focus
    // back to it. An action that finds everything hidden already keeps the one kept before.
    if (hidesShown && front != running.end() && front->bundleIdentifier)
        desktop_.frontRecord().write(*front->bundleIdentifier);
    workspace.flush();
}

void TWCommon::showAll() {
    TWWorkspace& workspace = desktop_.workspace();
    // Chosen before the windows come back: a switch that their return causes (a window manager
    // that focuses a restored window) is not one the user made.
    const std::optional<std::string> previous = previousApplication();
    const std::vector<TWRunningApplication> running = workspace.runningApplications();
    for (const auto& app : running)
        if (app.activationPolicy == TWActivationPolicyRegular)
            workspace.unhide(app);
    if (previous)
        activateApplicationWithBundleID(*previous, false);
    workspace.flush();
}

// ---------------------------------------------------------------- file-manager windows

void TWCommon::minimizeFinderWindows(const TWRunningApplication*) {
    if (!sharedDefaults_.boolForKey(TWMinimizeKey))
        return;
    auto fileManager = desktop_.scriptingBridge().applicationWithBundleIdentifier(
        desktop_.workspace().fileManagerBundleIdentifier());
    if (!fileManager)
        return;
    auto counted = fileManager->FinderWindows();
    if (!counted || counted->count() == 0)
        return;
    // Always the first window of a fresh fetch: the file manager moves each collapsed window
    // behind the open ones, so the first is the next one still open. The number of passes
    // follows the live count, which includes the windows already collapsed.
    std::size_t passes = 0;
    do {
        auto windows = fileManager->FinderWindows();
        if (auto window = windows ? windows->firstObject() : nullptr)
            window->setCollapsed(true);
        ++passes;
    } while (passes < counted->count());
}

void TWCommon::closeAllFinderWindows(const TWRunningApplication*) {
    if (!sharedDefaults_.boolForKey(TWCloseAllFinderKey))
        return;
    auto fileManager = desktop_.scriptingBridge().applicationWithBundleIdentifier(
        desktop_.workspace().fileManagerBundleIdentifier());
    if (!fileManager)
        return;
    auto windows = fileManager->FinderWindows();
    if (!windows || windows->count() == 0)
        return;
    // No pass limit: a window that asks before closing is asked again until it goes.
    std::size_t remaining = 0;
    do {
        auto current = fileManager->FinderWindows();
        auto window = current ? current->firstObject() : nullptr;
        if (!window) {
            // A count above zero with no first window is a broken answer; asking again would
            // only repeat it for ever.
            TWLog(LOG_WARNING, kLogClass,
                  "the file manager reports windows but none can be reached");
            return;
        }
        window->close();
        auto recounted = fileManager->FinderWindows();
        remaining = recounted ? recounted->count() : 0;
    } while (remaining != 0);
}

void TWCommon::openNewFinderWindow() {
    auto fileManager = desktop_.scriptingBridge().applicationWithBundleIdentifier(
        desktop_.workspace().fileManagerBundleIdentifier());
    if (!fileManager)
        return;
    auto window = fileManager->newObjectOfScriptingClass(kFinderWindowClass);
    if (!window) {
        TWLog(LOG_WARNING, kLogClass, "the file manager offers no \"Finder window\" class");
        return;
    }
    if (auto windows = fileManager->FinderWindows())
        windows->addObject(window);
    // The file manager's own choice of location, never one of ours.
    window->setTarget(fileManager->newWindowTarget());
}

// ---------------------------------------------------------------- activation

std::optional<std::string> TWCommon::currentActiveBundleID() const {
    std::lock_guard lock(stateMutex_);
    return currentActiveBundleID_;
}

void TWCommon::setCurrentActiveBundleID(std::optional<std::string> bundleID) {
    std::lock_guard lock(stateMutex_);
    currentActiveBundleID_ = std::move(bundleID);
}

void TWCommon::setCurrentProcess() {
    // Nobody is filtered out: whatever is in front, ourselves included, is what show-all
    // brings back.
    for (const auto& app : desktop_.workspace().runningApplications()) {
        if (app.active) {
            setCurrentActiveBundleID(app.bundleIdentifier);
            return;
        }
    }
}

std::optional<std::string> TWCommon::previousApplication() {
    std::optional<std::string> previous = currentActiveBundleID();
    if (!previous)
        previous = desktop_.frontRecord().read();
    return previous;
}

void TWCommon::activatePreviousApplication() {
    if (auto previous = previousApplication())
        activateApplicationWithBundleID(*previous, false);
}

void TWCommon::activateApplicationWithBundleID(const std::string& bundleID, bool toggle) {
    TWWorkspace& workspace = desktop_.workspace();
    const auto running = workspace.runningApplications();
    const TWRunningApplication* app = firstWithIdentifier(running, bundleID);
    if (!app)
        return;
    // A visible application is hidden even when it is in the background.
    if (toggle && !app->hidden)
        workspace.hide(*app);
    else
        workspace.activateWithOptions(*app, TWApplicationActivateIgnoringOtherApps);
    workspace.flush();
}

bool TWCommon::isApplicationRunning(const std::string& bundleID) {
    return firstWithIdentifier(desktop_.workspace().runningApplications(), bundleID) != nullptr;
}

// ---------------------------------------------------------------- Apple events

namespace {
TWAppleEvent eventForCreator(std::uint32_t eventClass, std::uint32_t eventID,
                             std::uint32_t creator) {
    TWAppleEvent event;
    event.eventClass = eventClass;
    event.eventID = eventID;
    event.targetDescriptorType = TWFourCharCode("sign");
    event.targetData = {
        static_cast<std::uint8_t>(creator >> 24), static_cast<std::uint8_t>(creator >> 16),
        static_cast<std::uint8_t>(creator >> 8), static_cast<std::uint8_t>(creator)};
    event.returnID = -1;
    event.transactionID = 0;
    event.sendMode = 1;
    event.priority = 0;
    event.timeout = -1;
    return event;
}
} // namespace

TWAppleEvent TWCommon::reopenEventForCreator(std::uint32_t creator) {
    return eventForCreator(TWFourCharCode("aevt"), TWFourCharCode("rapp"), creator);
}

TWAppleEvent TWCommon::activateEventForCreator(std::uint32_t creator) {
    return eventForCreator(TWFourCharCode("misc"), TWFourCharCode("actv"), creator);
}

void TWCommon::sendReopenEventToApplicationWithCreator(std::uint32_t creator) {
    desktop_.appleEventSender().send(reopenEventForCreator(creator));
}

void TWCommon::makeApplicationActiveWithCreator(std::uint32_t creator) {
    desktop_.appleEventSender().send(activateEventForCreator(creator));
}

// ---------------------------------------------------------------- the menu

void TWCommon::showPreferences() {
    // Through the URL scheme, like any other process asking: the handler shows the window.
    if (!desktop_.workspace().openURL(TWPreferencesURL))
        TWLog(LOG_ERR, kLogClass, std::string("nothing could open ") + TWPreferencesURL);
}

std::shared_ptr<TWMenu> TWCommon::buildAppMenu() {
    auto menu = std::make_shared<TWMenu>("DockMenu");
    menu->addItem(std::make_shared<TWMenuItem>(TWLocalizedString("Preferences..."),
                                               "showPreferences", this,
                                               [this] { showPreferences(); }));
    menu->addItem(TWMenuItem::separatorItem());
    menu->addItem(std::make_shared<TWMenuItem>(TWLocalizedString("Hide All"),
                                               "showFinderHideOthers", this,
                                               [this] { showFinderHideOthers(); }));
    menu->addItem(std::make_shared<TWMenuItem>(TWLocalizedString("Show All"), "showAll", this,
                                               [this] { showAll(); }));
    menu->addItem(TWMenuItem::separatorItem());
    appendApplicationItems(*menu);
    return menu;
}

void TWCommon::appendApplicationItems(TWMenu& menu) {
    auto caption = std::make_shared<TWMenuItem>(TWLocalizedString("Toggle Visibility"), "", nullptr,
                                                std::function<void()>());
    caption->setState(0);
    menu.addItem(caption);

    // Names refer into one snapshot; the dictionaries are built only for the items made.
    const std::vector<TWRunningApplication> running = desktop_.workspace().runningApplications();
    // One entry per name (the last one met wins) but every name listed: two applications with
    // one name give two items that both toggle the later one.
    std::unordered_map<std::string_view, std::size_t> lastWithName;
    std::vector<std::size_t> listed;
    lastWithName.reserve(running.size());
    listed.reserve(running.size());
    for (std::size_t i = 0; i < running.size(); ++i) {
        const TWRunningApplication& app = running[i];
        if (!app.bundleIdentifier || app.activationPolicy != TWActivationPolicyRegular ||
            app.localizedName == TWOwnName)
            continue;
        lastWithName[app.localizedName] = i;
        listed.push_back(i);
    }
    // Stable, so names equal but for case keep their running order. Each name is folded once,
    // not at every comparison.
    std::vector<std::pair<std::string, std::size_t>> order;
    order.reserve(listed.size());
    for (std::size_t i : listed)
        order.emplace_back(caseFolded(running[i].localizedName), i);
    std::stable_sort(order.begin(), order.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (std::size_t k = 0; k < order.size(); ++k)
        listed[k] = order[k].second;
    for (std::size_t i : listed) {
        const std::string& name = running[i].localizedName;
        const TWRunningApplication& app = running[lastWithName.at(name)];
        TWPlistDictionary info;
        info.emplace("pid", TWPlistValue(app.processIdentifier));
        info.emplace("name", TWPlistValue(app.localizedName));
        info.emplace("bundleID", TWPlistValue(*app.bundleIdentifier));
        menu.addItem(std::make_shared<TWDockMenuItem>(*this, std::move(info), name));
    }
}

TWDockMenuItem::TWDockMenuItem(TWCommon& common, TWPlistDictionary processInfo,
                               const std::string& name)
    : common_(common) {
    std::string title = "   ";
    title += name;
    setTitle(std::move(title));
    setAction("toggleAppVisibility");
    setTarget(this);
    setRepresentedObject(std::move(processInfo));
}

void TWDockMenuItem::toggleAppVisibility() {
    const auto& info = representedObject();
    const TWPlistValue* field = info ? TWPlistLookup(*info, "bundleID") : nullptr;
    const auto* bundleID = field ? field->get<std::string>() : nullptr;
    if (!bundleID)
        return;
    common_.activateApplicationWithBundleID(*bundleID, true);
}
