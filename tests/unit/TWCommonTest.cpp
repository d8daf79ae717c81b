// SPDX-License-Identifier: MIT
// The desktop actions on the simulated desktop: end states, and the request log where order
// matters.
#include "TWCommon.h"
#include "TWLog.h"
#include "TWLogCapture.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWSimDesktop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

using Log = std::vector<std::string>;

namespace {

const char* const kFinder = "com.apple.finder";

// A desktop with the settings registered as at launch; the actions instance is built last so
// it goes first, before the desktop whose front-switch handler refers to it.
template <class Desktop = TWSimDesktop> struct Fixture {
    Desktop desk;
    std::shared_ptr<TWSimDefaultsStore> sharedBacking = std::make_shared<TWSimDefaultsStore>();
    TWUserDefaults own{std::make_shared<TWSimDefaultsStore>()};
    TWUserDefaults shared{sharedBacking};
    TWCommon common{desk, shared};

    Fixture() { TWRegisterDefaults(own, shared); }
    std::uint64_t launch(const char* id, const char* name, int policy = TWActivationPolicyRegular) {
        return desk.launchApplication(id ? std::optional<std::string>(id) : std::nullopt, name,
                                      policy);
    }
    bool hidden(std::uint64_t handle) const { return desk.application(handle)->hidden; }
    // The requests that change something (a query is one word), in order.
    Log effects() const {
        Log out;
        for (const auto& line : desk.log())
            if (line.find(' ') != line.npos && !line.starts_with("scripting "))
                out.push_back(line);
        return out;
    }
};

} // namespace

TEST(TWCommonHideOthers, FinderForwardItsWindowsCollapsedAndClosedTheRestHiddenLastFirst) {
    Fixture<> f;
    TWLogCapture captured;
    auto finder = f.launch(kFinder, "Finder");
    auto self = f.launch(TWOwnBundleIdentifier, "Tidewell");
    f.launch("com.example.p", "P");
    f.launch("com.example.q", "Q");
    f.launch("com.example.r", "R");
    f.launch("com.example.meter", "Meter", TWActivationPolicyAccessory);
    f.launch(nullptr, "xclock");
    f.desk.setHidden(finder, true);
    f.desk.makeActive(self);                          // the dock click
    f.desk.addFileManagerWindow("unsaved", false, 2); // refuses to close twice
    f.desk.addFileManagerWindow("docs");
    f.desk.setNewWindowTarget("file:///srv/projects/");
    f.shared.setBool(true, TWCloseAllFinderKey);
    f.shared.setBool(true, TWShowWindowKey);
    // Q excluded (only "BundleID" counts, whatever the rest), an application not running, and
    // two malformed records that are logged and skipped.
    f.shared.setObject(TWPlistArray{TWPlistDictionary{{TWExcludedBundleIDField, "com.example.q"},
                                                      {TWExcludedURLDataField, TWPlistData{}}},
                                    TWPlistDictionary{{TWExcludedBundleIDField, "com.example.x"}},
                                    "not a record", TWPlistDictionary{{TWExcludedNameField, "x"}}},
                       TWExcludedAppsKey);
    f.desk.clearLog();

    f.common.showFinderHideOthers();

    // Finder forward, its windows collapsed and closed (asking again until each goes), the
    // most recently launched hidden first, then one new window at the file manager's location.
    EXPECT_EQ(f.effects(), (Log{"unhide Finder", "activate Finder 2", "collapse unsaved",
                                "collapse docs", "close unsaved", "close unsaved", "close unsaved",
                                "close docs", "hide xclock", "hide R", "hide P",
                                "new object Finder window", "setTarget file:///srv/projects/"}));
    ASSERT_EQ(f.desk.fileManagerWindows().size(), 1u);
    EXPECT_EQ(f.desk.fileManagerWindows()[0].target, "file:///srv/projects/");
    EXPECT_EQ(f.desk.flushCount(), 1);
    EXPECT_EQ(captured.countStartingWith("TWCommon: "), 2);
    EXPECT_EQ(f.common.currentActiveBundleID(), std::optional<std::string>(kFinder));
}

TEST(TWCommonHideOthers, ShowFinderOffHidesTheFileManagerFirstUnlessOurOwnApplicationIsAbsent) {
    for (bool ownRunning : {true, false}) {
        SCOPED_TRACE(ownRunning);
        Fixture<> f; // with another file manager: whichever the desktop names
        f.desk.setFileManagerBundleIdentifier("org.gnome.Nautilus");
        f.launch(kFinder, "Old Finder");
        f.launch("org.gnome.Nautilus", "Files");
        f.launch("org.gnome.Nautilus", "Files B"); // a second process: the file manager too
        if (ownRunning)
            f.launch(TWOwnBundleIdentifier, "Tidewell");
        else // the helper acting alone still brings the file manager forward
            f.launch(TWHelperBundleIdentifier, "Tidewell Menu", TWActivationPolicyAccessory);
        f.desk.addFileManagerWindows(1);
        f.shared.setBool(false, TWShowFinderKey);
        f.shared.setBool(true, TWShowWindowKey);
        f.shared.setBool(true, TWCloseAllFinderKey);
        f.desk.clearLog();

        f.common.showFinderHideOthers();

        // Never a new window: that needs "ShowFinder" as well.
        EXPECT_EQ(f.effects(),
                  ownRunning ? (Log{"hide Files", "hide Files B", "collapse window 1",
                                    "close window 1", "hide Old Finder"})
                             : (Log{"unhide Files", "unhide Files B", "activate Files 2",
                                    "collapse window 1", "close window 1", "hide Old Finder"}));
        // The new-window step, last, asks for "ShowWindow" first, then "ShowFinder".
        const Log reads = f.sharedBacking->readKeys();
        const auto step = std::find(reads.rbegin(), reads.rend(), TWCloseAllFinderKey).base();
        EXPECT_EQ(Log(step, reads.end()), (Log{TWShowWindowKey, TWShowFinderKey}));
    }
}

TEST(TWCommonFinderWindows, MinimizeCollapsesTheFirstWindowOfAFreshFetchOncePerLiveCount) {
    Fixture<> f;
    f.shared.setBool(true, TWCloseAllFinderKey);
    f.common.minimizeFinderWindows(nullptr); // no window: asked once, nothing done
    f.common.closeAllFinderWindows(nullptr);
    EXPECT_TRUE(f.effects().empty());
    f.desk.addFileManagerWindows(2);
    f.desk.addFileManagerWindow("already down", true);
    f.shared.setBool(false, TWCloseAllFinderKey);
    f.desk.clearLog();

    f.common.minimizeFinderWindows(nullptr);
    f.common.closeAllFinderWindows(nullptr); // switched off: not a single request

    // Three windows, three passes, the count asked again after each.
    EXPECT_EQ(
        f.desk.log(),
        (Log{"scripting com.apple.finder", "FinderWindows", "count", "FinderWindows", "firstObject",
             "collapse window 1", "count", "FinderWindows", "firstObject", "collapse window 2",
             "count", "FinderWindows", "firstObject", "collapse already down", "count"}));
}

namespace {
// A file manager whose answers contradict each other: windows counted, none reachable.
struct BrokenWindows : TWScriptingWindowArray {
    std::size_t count() override { return 1; }
    std::shared_ptr<TWScriptingWindow> firstObject() override { return nullptr; }
    void addObject(const std::shared_ptr<TWScriptingWindow>&) override {}
};
struct BrokenFileManager : TWScriptedFileManager {
    std::shared_ptr<TWScriptingWindowArray> FinderWindows() override {
        return std::make_shared<BrokenWindows>();
    }
    std::shared_ptr<TWScriptingWindow> newObjectOfScriptingClass(const std::string&) override {
        return nullptr;
    }
    std::string newWindowTarget() override { return {}; }
};
struct BrokenDesktop : TWSimDesktop, TWScriptingBridge {
    std::unique_ptr<TWScriptedFileManager>
    applicationWithBundleIdentifier(const std::string&) override {
        return std::make_unique<BrokenFileManager>();
    }
    TWScriptingBridge& scriptingBridge() override { return *this; }
};
} // namespace

TEST(TWCommonFinderWindows, ABrokenFileManagerAnswerEndsTheLoopsWithAMessage) {
    Fixture<BrokenDesktop> f;
    f.shared.setBool(true, TWCloseAllFinderKey);
    f.shared.setBool(true, TWShowWindowKey);
    TWLogCapture captured;

    f.common.showFinderHideOthers(); // returns: neither loop spins on the contradiction

    ASSERT_EQ(captured.lines.size(), 2u);
    EXPECT_NE(captured.lines[0].find("none can be reached"), std::string::npos);
    EXPECT_NE(captured.lines[1].find("Finder window"), std::string::npos);
}

TEST(TWCommonShowAll, UnhidesEveryRegularApplicationAndReactivatesTheRecordedOneIfAny) {
    Fixture<> f;
    f.launch(kFinder, "Finder");
    f.launch(TWOwnBundleIdentifier, "Tidewell");
    auto p = f.launch("com.example.p", "P");
    auto meter = f.launch("com.example.meter", "Meter", TWActivationPolicyAccessory);
    f.launch(nullptr, "xclock");
    f.common.showFinderHideOthers();
    f.desk.makeActive(p); // the user went back to P, then hid it again
    f.desk.setHidden(p, true);
    f.desk.setHidden(meter, true);
    f.desk.clearLog();

    f.common.showAll();

    // Every regular application unhidden before the recorded one is activated (not toggled).
    EXPECT_EQ(f.effects(), (Log{"unhide Finder", "unhide Tidewell", "unhide P", "unhide xclock",
                                "activate P 2"}));

    // Nothing recorded, or the recorded application gone: nothing is activated.
    f.common.setCurrentActiveBundleID(std::nullopt);
    f.desk.clearLog();
    f.common.showAll();
    f.desk.makeActive(p);
    f.desk.quitApplication(p);
    f.common.showAll();
    for (const std::string& effect : f.effects())
        EXPECT_FALSE(effect.starts_with("activate")) << effect;
}

TEST(TWCommonActivation, FrontSwitchesAreRecordedAndToggleActsOnTheFirstInstance) {
    Fixture<> f;
    auto meter = f.launch("com.example.meter", "Meter", TWActivationPolicyAccessory);
    auto anonymous = f.launch(nullptr, "xclock");
    auto first = f.launch("org.example.editor", "Editor");
    auto second = f.launch("org.example.editor", "Editor");

    f.desk.makeActive(meter); // not filtered: whatever is in front is recorded
    EXPECT_EQ(f.common.currentActiveBundleID(), std::optional<std::string>("com.example.meter"));
    f.desk.makeActive(anonymous);
    EXPECT_FALSE(f.common.currentActiveBundleID()) << "an application without identifier";
    EXPECT_TRUE(f.common.isApplicationRunning("com.example.meter"));
    EXPECT_FALSE(f.common.isApplicationRunning(TWOwnBundleIdentifier));

    f.desk.clearLog();
    f.common.activateApplicationWithBundleID("org.example.editor", true);
    EXPECT_TRUE(f.hidden(first));
    EXPECT_FALSE(f.hidden(second));
    f.common.activateApplicationWithBundleID("org.example.editor", true);
    EXPECT_TRUE(f.desk.application(first)->active);
    f.common.activateApplicationWithBundleID("org.example.nothing", true);
    EXPECT_EQ(f.effects(), (Log{"hide Editor", "activate Editor 2"}));
    EXPECT_EQ(f.desk.flushCount(), 2);

    // The shared instance: none before it is configured, then one, for the rest of the process
    // (and so must its services be).
    EXPECT_THROW(TWCommon::sharedInstance(), std::logic_error);
    static Fixture<> process;
    TWCommon::configureShared(process.desk, process.shared);
    EXPECT_EQ(&TWCommon::sharedInstance(), &TWCommon::sharedInstance());
    process.desk.makeActive(process.launch("com.example.p", "P"));
    EXPECT_EQ(TWCommon::sharedInstance().currentActiveBundleID(),
              std::optional<std::string>("com.example.p"));
}

TEST(TWCommonActivation, AppleEventsAreBuiltExactlyAndSent) {
    Fixture<> f;
    f.common.sendReopenEventToApplicationWithCreator(TWFourCharCode("MACS"));
    f.common.makeApplicationActiveWithCreator(0x01020304);
    // 'aevt'/'rapp' and 'misc'/'actv' to the creator as 'sign'; the rest as the fields' defaults
    // (-1, 0, no reply, normal priority, the default time-out) spelled out.
    EXPECT_EQ(f.desk.sentAppleEvents(),
              (std::vector<TWAppleEvent>{
                  {0x61657674u, 0x72617070u, 0x7369676Eu, {'M', 'A', 'C', 'S'}, -1, 0, 1, 0, -1},
                  {0x6D697363u, 0x61637476u, 0x7369676Eu, {1, 2, 3, 4}, -1, 0, 1, 0, -1}}));
}

TEST(TWCommonMenu, LayoutIsSixFixedItemsThenTheApplicationsIgnoringCase) {
    Fixture<> f;
    f.launch(kFinder, "Finder");
    f.launch(TWOwnBundleIdentifier, "Tidewell");
    f.launch("net.example.renamed", "Tidewell"); // a copy of ourselves: left out by name
    f.launch("com.example.cal", "calendar");
    f.launch("com.example.meter", "Meter", TWActivationPolicyAccessory);
    f.launch(nullptr, "xclock");
    f.desk.launchApplication("com.example.books", "Books", 0, 4242);
    // Each pair sorts the other way round in raw code-point order.
    for (const char* name :
         {"\u00c9diteur", "\u00e9bauche", "\u0141b", "\u0142a", "\u03a9mega", "\u03b2eta",
          "\u042f\u0431", "\u0431\u0443", "\u0401\u0436", "\u0435\u043b"})
        f.launch("com.example.intl", name);

    auto menu = f.common.buildAppMenu();

    EXPECT_EQ(menu->title(), "DockMenu");
    // Title, action, target (the actions instance, the item itself, none), separator, no key
    // equivalent, state or object on the fixed items.
    Log seen;
    for (const auto& item : menu->items()) {
        const void* target = item->target();
        seen.push_back(item->title() + "|" + item->action() + "|" +
                       (target == &f.common    ? "common"
                        : target == item.get() ? "self"
                                               : "-") +
                       (item->isSeparatorItem() ? "|separator" : "") +
                       (item->keyEquivalent().empty() && item->state() == 0 ? "" : "|extra") +
                       (item->representedObject() ? "|object" : ""));
    }
    // clang-format off
    Log expected{"Preferences...|showPreferences|common", "||-|separator",
                 "Hide All|showFinderHideOthers|common", "Show All|showAll|common",
                 "||-|separator", "Toggle Visibility||-"};
    // clang-format on
    for (const char* name : {"Books", "calendar", "Finder", "\u00e9bauche", "\u00c9diteur",
                             "\u0142a", "\u0141b", "\u03b2eta", "\u03a9mega", "\u0431\u0443",
                             "\u0435\u043b", "\u042f\u0431", "\u0401\u0436"})
        expected.push_back(std::string("   ") + name + "|toggleAppVisibility|self|object");
    EXPECT_EQ(seen, expected);
    EXPECT_EQ(
        *menu->items()[6]->representedObject(),
        (TWPlistDictionary{{"pid", 4242}, {"name", "Books"}, {"bundleID", "com.example.books"}}));
}

TEST(TWCommonMenu, ItemsPerformTheirActionsSameNameItemsBothForTheLastOneMet) {
    Fixture<> f;
    auto older = f.launch("com.example.notes", "Notes");
    f.launch("org.other.notes", "Notes");
    auto menu = f.common.buildAppMenu();
    ASSERT_EQ(menu->items().size(), 8u);
    EXPECT_EQ(menu->items()[6]->title() + menu->items()[7]->title(), "   Notes   Notes");

    menu->items()[6]->perform(); // toggles the later "Notes", never the older one
    EXPECT_FALSE(f.hidden(older));
    EXPECT_TRUE(f.desk.applicationWithIdentifier("org.other.notes")->hidden);
    menu->items()[7]->perform(); // hidden now: activated
    EXPECT_TRUE(f.desk.applicationWithIdentifier("org.other.notes")->active);

    // The fixed items (the others are driven through the tray menu): a caption that does
    // nothing, and the preferences.
    f.desk.clearLog();
    menu->items()[5]->perform();
    EXPECT_TRUE(f.desk.log().empty());
    menu->items()[0]->perform();
    EXPECT_EQ(f.desk.log(), (Log{"openURL x-tidewell-action://preferences"}));
}
