// SPDX-License-Identifier: MIT
// The desktop actions on the simulated desktop, checked against the ordered request log.
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
struct Fixture {
    TWSimDesktop desk;
    std::shared_ptr<TWSimDefaultsStore> ownBacking = std::make_shared<TWSimDefaultsStore>();
    std::shared_ptr<TWSimDefaultsStore> sharedBacking = std::make_shared<TWSimDefaultsStore>();
    TWUserDefaults own{ownBacking};
    TWUserDefaults shared{sharedBacking};
    TWCommon common{desk, shared};

    Fixture() { TWRegisterDefaults(own, shared); }

    std::uint64_t launch(const char* id, const char* name, int policy = TWActivationPolicyRegular) {
        return desk.launchApplication(id ? std::optional<std::string>(id) : std::nullopt, name,
                                      policy);
    }
    bool hidden(std::uint64_t handle) const { return desk.application(handle)->hidden; }
    void exclude(const std::vector<TWPlistValue>& records) {
        shared.setObject(TWPlistArray(records), TWExcludedAppsKey);
    }
    // The requests that change something, in order (queries left out); or only those that
    // begin with `prefix`.
    Log effects(const std::string& prefix = "") const {
        static const char* const kinds[] = {"hide ",  "unhide ",    "activate ", "collapse ",
                                            "close ", "setTarget ", "openURL ",  "new object "};
        Log out;
        for (const auto& line : desk.log())
            if (prefix.empty() ? std::any_of(std::begin(kinds), std::end(kinds),
                                             [&](const char* k) { return line.starts_with(k); })
                               : line.starts_with(prefix))
                out.push_back(line);
        return out;
    }
    bool logged(const std::string& line) const {
        const Log log = desk.log();
        return std::find(log.begin(), log.end(), line) != log.end();
    }
};

TWPlistValue excludedRecord(const std::string& name, const std::string& bundleID) {
    return TWPlistDictionary{{TWExcludedNameField, TWPlistValue(name)},
                             {TWExcludedURLDataField, TWPlistValue(TWPlistData{0xde, 0xad})},
                             {TWExcludedBundleIDField, TWPlistValue(bundleID)}};
}

} // namespace

TEST(TWCommonHideOthers, FreshInstallShowsFinderCollapsesItsWindowsAndHidesTheRestLastFirst) {
    Fixture f;
    auto finder = f.launch(kFinder, "Finder");
    auto self = f.launch(TWOwnBundleIdentifier, "Tidewell");
    auto p = f.launch("com.example.p", "P");
    f.launch("com.example.q", "Q");
    f.launch("com.example.r", "R");
    f.desk.setHidden(finder, true);
    f.desk.makeActive(self); // the dock click
    f.desk.addFileManagerWindows(2);
    f.desk.clearLog();

    f.common.showFinderHideOthers();

    // Finder forward, its windows collapsed, then the most recently launched hidden first.
    EXPECT_EQ(f.effects(), (Log{"unhide Finder", "activate Finder 2", "collapse window 1",
                                "collapse window 2", "hide R", "hide Q", "hide P"}));
    EXPECT_EQ(f.desk.flushCount(), 1);
    EXPECT_TRUE(f.desk.application(finder)->active);
    EXPECT_FALSE(f.hidden(self));
    EXPECT_TRUE(f.hidden(p));
    EXPECT_EQ(f.common.currentActiveBundleID(), std::optional<std::string>(kFinder));
}

TEST(TWCommonHideOthers, ShowFinderOffHidesFinderFirstUnlessOurOwnApplicationIsAbsent) {
    for (bool ownRunning : {true, false}) {
        SCOPED_TRACE(ownRunning);
        Fixture f;
        auto finder = f.launch(kFinder, "Finder");
        if (ownRunning)
            f.launch(TWOwnBundleIdentifier, "Tidewell");
        else // the helper acting alone still brings the file manager forward
            f.launch(TWHelperBundleIdentifier, "Tidewell Menu", TWActivationPolicyAccessory);
        f.launch("com.example.p", "P");
        f.launch("com.example.q", "Q");
        f.shared.setBool(false, TWShowFinderKey);
        f.shared.setBool(true, TWShowWindowKey);
        f.shared.setBool(false, TWMinimizeKey);
        f.desk.clearLog();

        f.common.showFinderHideOthers();

        // Never a new window: that needs "ShowFinder" as well.
        EXPECT_EQ(f.effects(),
                  ownRunning ? (Log{"hide Finder", "hide Q", "hide P"})
                             : (Log{"unhide Finder", "activate Finder 2", "hide Q", "hide P"}));
        EXPECT_EQ(f.hidden(finder), ownRunning);
        // The new-window step, last, asks for "ShowWindow" first, then "ShowFinder".
        const Log reads = f.sharedBacking->readKeys();
        const auto step = std::find(reads.rbegin(), reads.rend(), TWCloseAllFinderKey).base();
        EXPECT_EQ(Log(step, reads.end()), (Log{TWShowWindowKey, TWShowFinderKey}));
    }
}

TEST(TWCommonHideOthers, ExcludedIdentifiersStayVisibleWhateverTheRestOfTheRecord) {
    Fixture f;
    TWLogCapture captured;
    f.launch(kFinder, "Finder");
    f.launch(TWOwnBundleIdentifier, "Tidewell");
    auto p = f.launch("com.example.p", "P");
    auto q = f.launch("com.example.q", "Q");
    f.shared.setBool(false, TWMinimizeKey);
    // Q twice (the second record's bookmark is garbage, as for a deleted application), one
    // record of an application not running, and two malformed entries.
    f.exclude({excludedRecord("Q", "com.example.q"),
               TWPlistDictionary{{TWExcludedBundleIDField, TWPlistValue("com.example.q")},
                                 {TWExcludedURLDataField, TWPlistValue(TWPlistData{})}},
               excludedRecord("Gone", "com.example.gone"), TWPlistValue("not a record"),
               TWPlistDictionary{{TWExcludedNameField, TWPlistValue("no id")}}});

    f.common.showFinderHideOthers();

    EXPECT_FALSE(f.hidden(q));
    EXPECT_TRUE(f.hidden(p));
    EXPECT_EQ(captured.countStartingWith("TWCommon: "), 2);
}

TEST(TWCommonHideOthers, OnlyRegularApplicationsAreHiddenOrShownWithOrWithoutAnIdentifier) {
    Fixture f;
    f.launch(kFinder, "Finder");
    f.launch(TWOwnBundleIdentifier, "Tidewell");
    f.launch("org.example.editor", "Editor");
    auto menuUtility = f.launch("org.example.meter", "Meter", TWActivationPolicyAccessory);
    auto daemon = f.launch("org.example.daemon", "Daemon", TWActivationPolicyProhibited);
    f.launch(nullptr, "xclock");
    f.launch("org.example.editor", "Editor");
    f.shared.setBool(false, TWMinimizeKey);
    f.desk.clearLog();

    f.common.showFinderHideOthers();
    EXPECT_EQ(f.effects("hide "), (Log{"hide Editor", "hide xclock", "hide Editor"}));
    f.desk.clearLog();
    f.common.showAll();
    EXPECT_EQ(f.effects("unhide "), (Log{"unhide Finder", "unhide Tidewell", "unhide Editor",
                                         "unhide xclock", "unhide Editor"}));
    EXPECT_FALSE(f.hidden(menuUtility) || f.hidden(daemon));
}

TEST(TWCommonHideOthers, SettingsChangedBetweenTwoActionsTakeEffectForAnyFileManager) {
    Fixture f;
    f.desk.setFileManagerBundleIdentifier("org.gnome.Nautilus");
    f.launch(kFinder, "Old Finder");
    auto files = f.launch("org.gnome.Nautilus", "Files");
    f.launch(TWOwnBundleIdentifier, "Tidewell");
    f.desk.addFileManagerWindows(1);

    f.common.showFinderHideOthers();
    EXPECT_FALSE(f.hidden(files));
    EXPECT_TRUE(f.desk.fileManagerWindows()[0].collapsed);
    EXPECT_EQ(f.effects().front(), "unhide Files");
    EXPECT_EQ(f.effects().back(), "hide Old Finder");
    EXPECT_TRUE(f.logged("scripting org.gnome.Nautilus"));

    f.shared.setBool(false, TWShowFinderKey);
    f.shared.setBool(false, TWMinimizeKey);
    f.shared.setBool(true, TWCloseAllFinderKey);
    int loadsBefore = f.sharedBacking->loadCount();
    f.desk.clearLog();
    f.common.showFinderHideOthers();

    EXPECT_TRUE(f.hidden(files));
    EXPECT_TRUE(f.desk.fileManagerWindows().empty());
    EXPECT_EQ(f.effects().front(), "hide Files");
    EXPECT_GT(f.sharedBacking->loadCount(), loadsBefore);
}

TEST(TWCommonFinderWindows, MinimizeCollapsesTheFirstWindowOfAFreshFetchOncePerWindow) {
    Fixture f;
    f.desk.addFileManagerWindows(2);
    f.desk.addFileManagerWindow("already down", true);
    f.desk.clearLog();

    f.common.minimizeFinderWindows(nullptr);

    // Three windows, three passes: the last pass finds the window collapsed before.
    EXPECT_EQ(
        f.desk.log(),
        (Log{"scripting com.apple.finder", "FinderWindows", "count", "FinderWindows", "firstObject",
             "collapse window 1", "count", "FinderWindows", "firstObject", "collapse window 2",
             "count", "FinderWindows", "firstObject", "collapse already down", "count"}));
}

TEST(TWCommonFinderWindows, EmptyOrSwitchedOffOperationsAskOnceOrNothing) {
    Fixture f;
    f.shared.setBool(true, TWCloseAllFinderKey);
    f.common.minimizeFinderWindows(nullptr);
    f.common.closeAllFinderWindows(nullptr);
    EXPECT_EQ(f.desk.log(), (Log{"scripting com.apple.finder", "FinderWindows", "count",
                                 "scripting com.apple.finder", "FinderWindows", "count"}));

    f.desk.addFileManagerWindows(3);
    f.shared.setBool(false, TWMinimizeKey);
    f.shared.setBool(false, TWCloseAllFinderKey);
    f.desk.clearLog();
    f.common.minimizeFinderWindows(nullptr);
    f.common.closeAllFinderWindows(nullptr);
    EXPECT_TRUE(f.desk.log().empty());
}

TEST(TWCommonFinderWindows, CollapseAllCloseAllAskingAgainThenHideThenOneNewWindowAtItsLocation) {
    Fixture f;
    f.launch(kFinder, "Finder");
    f.launch(TWOwnBundleIdentifier, "Tidewell");
    f.launch("com.example.p", "P");
    f.shared.setBool(true, TWCloseAllFinderKey);
    f.shared.setBool(true, TWShowWindowKey);
    f.desk.setNewWindowTarget("file:///srv/projects/");
    f.desk.addFileManagerWindow("unsaved", false, 2); // refuses to close twice
    f.desk.addFileManagerWindow("docs");
    f.desk.clearLog();

    f.common.showFinderHideOthers();

    EXPECT_EQ(f.effects(),
              (Log{"unhide Finder", "activate Finder 2", "collapse unsaved", "collapse docs",
                   "close unsaved", "close unsaved", "close unsaved", "close docs", "hide P",
                   "new object Finder window", "setTarget file:///srv/projects/"}));
    auto windows = f.desk.fileManagerWindows();
    ASSERT_EQ(windows.size(), 1u);
    EXPECT_FALSE(windows[0].collapsed);
    EXPECT_EQ(windows[0].target, "file:///srv/projects/");
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
struct BrokenBridge : TWScriptingBridge {
    std::unique_ptr<TWScriptedFileManager>
    applicationWithBundleIdentifier(const std::string&) override {
        return std::make_unique<BrokenFileManager>();
    }
};
struct BrokenFileManagerDesktop : TWSimDesktop {
    BrokenBridge bridge;
    TWScriptingBridge& scriptingBridge() override { return bridge; }
};
} // namespace

TEST(TWCommonFinderWindows, ABrokenFileManagerAnswerEndsTheLoopsWithAMessage) {
    BrokenFileManagerDesktop desk;
    TWUserDefaults shared{std::make_shared<TWSimDefaultsStore>()};
    TWUserDefaults own{std::make_shared<TWSimDefaultsStore>()};
    TWRegisterDefaults(own, shared);
    shared.setBool(true, TWCloseAllFinderKey);
    shared.setBool(true, TWShowWindowKey);
    TWCommon common{desk, shared};
    TWLogCapture captured;

    common.showFinderHideOthers(); // returns: neither loop spins on the contradiction

    ASSERT_EQ(captured.lines.size(), 2u);
    EXPECT_NE(captured.lines[0].find("none can be reached"), std::string::npos);
    EXPECT_NE(captured.lines[1].find("Finder window"), std::string::npos);
}

TEST(TWCommonShowAll, UnhidesEveryRegularApplicationAndReactivatesTheRecordedOneIfAny) {
    Fixture f;
    f.launch(kFinder, "Finder");
    f.launch(TWOwnBundleIdentifier, "Tidewell");
    auto p = f.launch("com.example.p", "P");
    f.launch("com.example.meter", "Meter", TWActivationPolicyAccessory);
    f.desk.makeActive(p);
    f.common.showFinderHideOthers();
    ASSERT_EQ(f.common.currentActiveBundleID(), std::optional<std::string>(kFinder));
    f.desk.makeActive(p); // the user went back to P, then hid it again
    f.desk.setHidden(p, true);
    f.desk.clearLog();

    f.common.showAll();

    // Every regular application unhidden before the recorded one is activated (and not toggled).
    EXPECT_EQ(f.effects(), (Log{"unhide Finder", "unhide Tidewell", "unhide P", "activate P 2"}));
    EXPECT_TRUE(f.desk.application(p)->active);

    // Nothing recorded, or the recorded application gone: nothing is activated.
    f.common.setCurrentActiveBundleID(std::nullopt);
    f.desk.clearLog();
    f.common.showAll();
    f.desk.makeActive(p);
    f.desk.quitApplication(p);
    f.common.showAll();
    EXPECT_TRUE(f.effects("activate").empty());
}

TEST(TWCommonActivation, FrontSwitchesAreRecordedThroughTheHandlerWhateverThePolicy) {
    Fixture f;
    auto p = f.launch("com.example.p", "P");
    auto anonymous = f.launch(nullptr, "xclock");
    auto meter = f.launch("com.example.meter", "Meter", TWActivationPolicyAccessory);
    EXPECT_FALSE(f.common.currentActiveBundleID());

    f.desk.makeActive(meter); // not filtered: whatever is in front is recorded
    EXPECT_EQ(f.common.currentActiveBundleID(), std::optional<std::string>("com.example.meter"));
    f.desk.makeActive(p);
    EXPECT_EQ(f.common.currentActiveBundleID(), std::optional<std::string>("com.example.p"));
    f.desk.makeActive(anonymous);
    EXPECT_FALSE(f.common.currentActiveBundleID()) << "an application without identifier";

    f.common.setCurrentActiveBundleID("com.example.p");
    f.desk.hide(*f.desk.application(anonymous)); // nothing is active now
    f.common.setCurrentProcess();
    EXPECT_EQ(f.common.currentActiveBundleID(), std::optional<std::string>("com.example.p"));

    // Whether an application runs ignores its activation policy.
    EXPECT_TRUE(f.common.isApplicationRunning("com.example.meter"));
    EXPECT_FALSE(f.common.isApplicationRunning(TWOwnBundleIdentifier));
}

TEST(TWCommonActivation, ToggleHidesAVisibleApplicationAndActivatesAHiddenOneFirstInstanceOnly) {
    Fixture f;
    auto front = f.launch("com.example.front", "Front");
    auto first = f.launch("org.example.editor", "Editor");
    auto second = f.launch("org.example.editor", "Editor");
    f.desk.makeActive(front);
    f.desk.clearLog();

    f.common.activateApplicationWithBundleID("org.example.editor", true);
    EXPECT_TRUE(f.hidden(first));
    EXPECT_FALSE(f.hidden(second));
    f.common.activateApplicationWithBundleID("org.example.editor", true);
    EXPECT_FALSE(f.hidden(first));
    EXPECT_TRUE(f.desk.application(first)->active);
    f.common.activateApplicationWithBundleID("org.example.nothing", true);

    EXPECT_EQ(f.effects(), (Log{"hide Editor", "activate Editor 2"}));
    EXPECT_EQ(f.desk.flushCount(), 2);
}

TEST(TWCommonActivation, AppleEventsAreBuiltExactlyAndSent) {
    // 'aevt'/'rapp' and 'misc'/'actv' to the creator as 'sign'; the rest as the fields' defaults
    // (-1, 0, no reply, normal priority, the default time-out) spelled out.
    EXPECT_EQ(TWCommon::reopenEventForCreator(TWFourCharCode("MACS")),
              (TWAppleEvent{
                  0x61657674u, 0x72617070u, 0x7369676Eu, {'M', 'A', 'C', 'S'}, -1, 0, 1, 0, -1}));
    EXPECT_EQ(TWCommon::activateEventForCreator(0x01020304),
              (TWAppleEvent{0x6D697363u, 0x61637476u, 0x7369676Eu, {1, 2, 3, 4}, -1, 0, 1, 0, -1}));

    Fixture f;
    f.common.sendReopenEventToApplicationWithCreator(TWFourCharCode("ttxt"));
    f.common.makeApplicationActiveWithCreator(TWFourCharCode("ttxt"));
    EXPECT_EQ(f.desk.log(),
              (Log{"appleEvent aevt/rapp sign:ttxt", "appleEvent misc/actv sign:ttxt"}));
    auto sent = f.desk.sentAppleEvents();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[0], TWCommon::reopenEventForCreator(TWFourCharCode("ttxt")));
    EXPECT_EQ(sent[1], TWCommon::activateEventForCreator(TWFourCharCode("ttxt")));
}

TEST(TWCommonMenu, LayoutIsSixFixedItemsThenTheApplicationsIgnoringCase) {
    Fixture f;
    f.launch(kFinder, "Finder");
    f.launch(TWOwnBundleIdentifier, "Tidewell");
    f.launch("com.example.cal", "calendar");
    f.launch("com.example.editor", "\u00c9diteur"); // letters beyond ASCII fold too
    f.launch("com.example.draft", "\u00e9bauche");
    f.launch("com.example.meter", "Meter", TWActivationPolicyAccessory);
    f.launch(nullptr, "xclock");
    auto books = f.desk.launchApplication("com.example.books", "Books", 0, 4242);

    auto menu = f.common.buildAppMenu();

    EXPECT_EQ(menu->title(), "DockMenu");
    const auto& items = menu->items();
    // Title, action, target (the actions instance, the item itself, none), separator, no key
    // equivalent, state or object on the fixed items.
    std::vector<std::string> seen;
    for (const auto& item : items) {
        const void* target = item->target();
        seen.push_back(item->title() + "|" + item->action() + "|" +
                       (target == &f.common    ? "common"
                        : target == item.get() ? "self"
                                               : "-") +
                       (item->isSeparatorItem() ? "|separator" : "") +
                       (item->keyEquivalent().empty() && item->state() == 0 ? "" : "|extra") +
                       (item->representedObject() ? "|object" : ""));
        EXPECT_TRUE(item->target() != item.get() || dynamic_cast<TWDockMenuItem*>(item.get()));
    }
    EXPECT_EQ(seen, (std::vector<std::string>{
                        "Preferences...|showPreferences|common", "||-|separator",
                        "Hide All|showFinderHideOthers|common", "Show All|showAll|common",
                        "||-|separator", "Toggle Visibility||-",
                        "   Books|toggleAppVisibility|self|object",
                        "   calendar|toggleAppVisibility|self|object",
                        "   Finder|toggleAppVisibility|self|object",
                        "   \u00e9bauche|toggleAppVisibility|self|object",
                        "   \u00c9diteur|toggleAppVisibility|self|object"}));
    EXPECT_EQ(*items[6]->representedObject(),
              (TWPlistDictionary{{"pid", TWPlistValue(4242)},
                                 {"name", TWPlistValue("Books")},
                                 {"bundleID", TWPlistValue("com.example.books")}}));
    EXPECT_EQ(f.desk.application(books)->processIdentifier, 4242);
}

TEST(TWCommonMenu, CaseIsFoldedInLatinExtendedGreekAndCyrillicToo) {
    // Each pair sorts the other way round in raw code-point order.
    Fixture f;
    f.launch("com.example.lb", "\u0141b");               // Łb
    f.launch("com.example.la", "\u0142a");               // ła
    f.launch("com.example.omega", "\u03a9mega");         // Ωmega
    f.launch("com.example.beta", "\u03b2eta");           // βeta
    f.launch("com.example.apple", "\u042f\u0431\u043b"); // Ябл
    f.launch("com.example.beech", "\u0431\u0443\u043a"); // бук
    f.launch("com.example.hedgehog", "\u0401\u0436");    // Ёж
    f.launch("com.example.fir", "\u0435\u043b\u044c");   // ель

    const auto menu = f.common.buildAppMenu();

    std::vector<std::string> titles;
    for (std::size_t i = 6; i < menu->items().size(); ++i)
        titles.push_back(menu->items()[i]->title().substr(3));
    EXPECT_EQ(titles, (std::vector<std::string>{"\u0142a", "\u0141b", "\u03b2eta", "\u03a9mega",
                                                "\u0431\u0443\u043a", "\u0435\u043b\u044c",
                                                "\u042f\u0431\u043b", "\u0401\u0436"}));
}

TEST(TWCommonMenu, ItemsPerformTheirActionsSameNameItemsBothForTheLastOneMet) {
    Fixture f;
    auto older = f.launch("com.example.notes", "Notes");
    f.launch("org.other.notes", "Notes");
    // Recognised by name: a copy of ourselves under another identifier is left out too.
    f.launch("net.example.renamed", "Tidewell");

    auto menu = f.common.buildAppMenu();

    ASSERT_EQ(menu->items().size(), 8u);
    for (std::size_t i = 6; i < 8; ++i) {
        EXPECT_EQ(menu->items()[i]->title(), "   Notes");
        EXPECT_EQ(*TWPlistLookup(*menu->items()[i]->representedObject(), "bundleID"),
                  TWPlistValue("org.other.notes"));
    }
    f.desk.clearLog();
    menu->items()[6]->perform(); // toggles the later "Notes", never the older one
    EXPECT_EQ(f.desk.log(), (Log{"runningApplications", "hide Notes"}));
    EXPECT_FALSE(f.hidden(older));
    EXPECT_TRUE(f.desk.applicationWithIdentifier("org.other.notes")->hidden);
    menu->items()[7]->perform(); // hidden now: activated
    EXPECT_TRUE(f.desk.applicationWithIdentifier("org.other.notes")->active);

    // The fixed items: a caption that does nothing, then the actions.
    f.desk.clearLog();
    menu->items()[5]->perform();
    EXPECT_TRUE(f.desk.log().empty());
    menu->items()[0]->perform();
    EXPECT_EQ(f.desk.log(), (Log{"openURL x-tidewell-action://preferences"}));
    f.shared.setBool(false, TWMinimizeKey);
    menu->items()[2]->perform();
    EXPECT_TRUE(f.hidden(older));
    menu->items()[3]->perform();
    EXPECT_FALSE(f.hidden(older));
}

TEST(TWCommonShared, CreatedOnceFromTheConfiguredServices) {
    EXPECT_THROW(TWCommon::sharedInstance(), std::logic_error);

    // The shared instance lives for the rest of the process, and so must its services.
    static TWSimDesktop desk;
    static TWUserDefaults shared{std::make_shared<TWSimDefaultsStore>()};
    TWCommon::configureShared(desk, shared);
    TWCommon& instance = TWCommon::sharedInstance();
    EXPECT_EQ(&TWCommon::sharedInstance(), &instance);
    EXPECT_EQ(&instance.desktop(), static_cast<TWDesktop*>(&desk));

    desk.makeActive(desk.launchApplication("com.example.p", "P"));
    EXPECT_EQ(instance.currentActiveBundleID(), std::optional<std::string>("com.example.p"));
}
