// The desktop actions on the simulated desktop, checked against the ordered request log.
#include "TWCommon.h"
#include "TWLocalizedString.h"
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
};

TWPlistValue excludedRecord(const std::string& name, const std::string& bundleID) {
    return TWPlistDictionary{{TWExcludedNameField, TWPlistValue(name)},
                             {TWExcludedURLDataField, TWPlistValue(TWPlistData{0xde, 0xad})},
                             {TWExcludedBundleIDField, TWPlistValue(bundleID)}};
}

} // namespace

// ---------------------------------------------------------------- hide-others

TEST(TWCommonHideOthers, FreshInstallShowsFinderCollapsesItsWindowsAndHidesTheRestLastFirst) {
    Fixture f;
    auto finder = f.launch(kFinder, "Finder");
    auto self = f.launch(TWOwnBundleIdentifier, "Tidewell");
    auto p = f.launch("com.example.p", "P");
    auto q = f.launch("com.example.q", "Q");
    auto r = f.launch("com.example.r", "R");
    f.desk.setHidden(finder, true);
    f.desk.makeActive(self); // the dock click
    f.desk.addFileManagerWindows(2);
    f.desk.clearLog();

    f.common.showFinderHideOthers();

    EXPECT_EQ(f.desk.log(),
              (Log{"runningApplications", "unhide Finder", "activate Finder 2",
                   "runningApplications", // the front switch to Finder, recorded
                   "scripting com.apple.finder", "FinderWindows", "count", "FinderWindows",
                   "firstObject", "collapse window 1", "count", "FinderWindows", "firstObject",
                   "collapse window 2", "count", "hide R", "hide Q", "hide P"}));
    EXPECT_EQ(f.desk.flushCount(), 1);
    EXPECT_FALSE(f.hidden(finder));
    EXPECT_TRUE(f.desk.application(finder)->active);
    EXPECT_FALSE(f.hidden(self));
    EXPECT_TRUE(f.hidden(p) && f.hidden(q) && f.hidden(r));
    for (const auto& w : f.desk.fileManagerWindows())
        EXPECT_TRUE(w.collapsed) << w.name;
    EXPECT_EQ(f.common.currentActiveBundleID(), std::optional<std::string>(kFinder));
}

TEST(TWCommonHideOthers, ShowFinderOffHidesFinderFirstAndOpensNoWindow) {
    Fixture f;
    f.launch(kFinder, "Finder");
    f.launch(TWOwnBundleIdentifier, "Tidewell");
    f.launch("com.example.p", "P");
    f.launch("com.example.q", "Q");
    f.shared.setBool(false, TWShowFinderKey);
    f.shared.setBool(true, TWShowWindowKey);
    f.shared.setBool(false, TWMinimizeKey);
    f.desk.clearLog();

    f.common.showFinderHideOthers();

    EXPECT_EQ(f.desk.log(), (Log{"runningApplications", "hide Finder", "hide Q", "hide P"}));
    // The new-window step, last, asks for "ShowWindow" first, then "ShowFinder".
    const Log reads = f.sharedBacking->readKeys();
    const auto step = std::find(reads.rbegin(), reads.rend(), TWCloseAllFinderKey).base();
    EXPECT_EQ(Log(step, reads.end()), (Log{TWShowWindowKey, TWShowFinderKey}));
}

TEST(TWCommonHideOthers, WithoutOurOwnApplicationRunningFinderIsShownWhateverTheSetting) {
    Fixture f;
    auto finder = f.launch(kFinder, "Finder");
    f.launch(TWHelperBundleIdentifier, "Tidewell Menu", TWActivationPolicyAccessory);
    f.launch("com.example.p", "P");
    f.desk.setHidden(finder, true);
    f.shared.setBool(false, TWShowFinderKey);
    f.shared.setBool(true, TWShowWindowKey);
    f.shared.setBool(false, TWMinimizeKey);
    f.desk.clearLog();

    f.common.showFinderHideOthers();

    EXPECT_EQ(f.desk.log(), (Log{"runningApplications", "unhide Finder", "activate Finder 2",
                                 "runningApplications", "hide P"}))
        << "Finder shown, but no new window: that still needs ShowFinder";
}

TEST(TWCommonHideOthers, ExcludedIdentifiersStayVisibleWhateverTheRestOfTheRecord) {
    Fixture f;
    TWLogCapture captured;
    f.launch(kFinder, "Finder");
    f.launch(TWOwnBundleIdentifier, "Tidewell");
    auto p = f.launch("com.example.p", "P");
    auto q = f.launch("com.example.q", "Q");
    auto r = f.launch("com.example.r", "R");
    f.shared.setBool(false, TWMinimizeKey);
    // Q twice (the second record's bookmark is garbage, as for a deleted application), one
    // record of an application not running, and two malformed entries.
    f.exclude({excludedRecord("Q", "com.example.q"),
               TWPlistDictionary{{TWExcludedBundleIDField, TWPlistValue("com.example.q")},
                                 {TWExcludedURLDataField, TWPlistValue(TWPlistData{})}},
               excludedRecord("Gone", "com.example.gone"), TWPlistValue("not a record"),
               TWPlistDictionary{{TWExcludedNameField, TWPlistValue("no id")}}});
    f.desk.clearLog();

    f.common.showFinderHideOthers();

    auto log = f.desk.log();
    EXPECT_EQ(Log(log.end() - 2, log.end()), (Log{"hide R", "hide P"}));
    EXPECT_FALSE(f.hidden(q));
    EXPECT_TRUE(f.hidden(p) && f.hidden(r));
    EXPECT_EQ(std::count_if(captured.lines.begin(), captured.lines.end(),
                            [](const std::string& l) { return l.rfind("TWCommon: ", 0) == 0; }),
              2);
}

TEST(TWCommonHideOthers, OnlyRegularApplicationsAreHiddenWithOrWithoutAnIdentifier) {
    Fixture f;
    f.launch(kFinder, "Finder");
    f.launch(TWOwnBundleIdentifier, "Tidewell");
    auto first = f.launch("org.example.editor", "Editor");
    auto menuUtility = f.launch("org.example.meter", "Meter", TWActivationPolicyAccessory);
    auto daemon = f.launch("org.example.daemon", "Daemon", TWActivationPolicyProhibited);
    auto anonymous = f.launch(nullptr, "xclock");
    auto second = f.launch("org.example.editor", "Editor");
    f.shared.setBool(false, TWMinimizeKey);
    f.desk.clearLog();

    f.common.showFinderHideOthers();

    auto log = f.desk.log();
    EXPECT_EQ(Log(log.begin() + 4, log.end()), (Log{"hide Editor", "hide xclock", "hide Editor"}));
    EXPECT_TRUE(f.hidden(first) && f.hidden(second) && f.hidden(anonymous));
    EXPECT_FALSE(f.hidden(menuUtility) || f.hidden(daemon));

    // Show-all does not touch them either.
    f.desk.clearLog();
    f.common.showAll();
    for (const auto& entry : f.desk.log())
        EXPECT_TRUE(entry.find("Meter") == std::string::npos &&
                    entry.find("Daemon") == std::string::npos)
            << entry;
}

TEST(TWCommonHideOthers, SettingsChangedBetweenTwoActionsTakeEffect) {
    Fixture f;
    auto finder = f.launch(kFinder, "Finder");
    f.launch(TWOwnBundleIdentifier, "Tidewell");
    f.desk.addFileManagerWindows(1);

    f.common.showFinderHideOthers();
    EXPECT_FALSE(f.hidden(finder));
    EXPECT_TRUE(f.desk.fileManagerWindows()[0].collapsed);

    f.shared.setBool(false, TWShowFinderKey);
    f.shared.setBool(false, TWMinimizeKey);
    f.shared.setBool(true, TWCloseAllFinderKey);
    int loadsBefore = f.sharedBacking->loadCount();
    f.desk.clearLog();
    f.common.showFinderHideOthers();

    EXPECT_TRUE(f.hidden(finder));
    EXPECT_TRUE(f.desk.fileManagerWindows().empty());
    EXPECT_EQ(f.desk.log()[1], "hide Finder");
    EXPECT_GT(f.sharedBacking->loadCount(), loadsBefore);
}

TEST(TWCommonHideOthers, AnotherFileManagerIsTreatedAsFinder) {
    Fixture f;
    f.desk.setFileManagerBundleIdentifier("org.gnome.Nautilus");
    f.launch(kFinder, "Old Finder");
    auto files = f.launch("org.gnome.Nautilus", "Files");
    f.launch(TWOwnBundleIdentifier, "Tidewell");
    f.desk.addFileManagerWindows(1);
    f.desk.clearLog();

    f.common.showFinderHideOthers();

    auto log = f.desk.log();
    EXPECT_EQ(log[1], "unhide Files");
    EXPECT_EQ(log[4], "scripting org.gnome.Nautilus");
    EXPECT_EQ(log.back(), "hide Old Finder");
    EXPECT_FALSE(f.hidden(files));
}

// ---------------------------------------------------------------- file-manager windows

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

TEST(TWCommonFinderWindows, CloseAllAsksAgainUntilARefusingWindowGoes) {
    Fixture f;
    f.shared.setBool(true, TWCloseAllFinderKey);
    f.desk.addFileManagerWindow("unsaved", false, 2);
    f.desk.addFileManagerWindow("docs");
    f.desk.clearLog();

    f.common.closeAllFinderWindows(nullptr);

    Log expected{"scripting com.apple.finder", "FinderWindows", "count"};
    for (const char* name : {"unsaved", "unsaved", "unsaved", "docs"})
        expected.insert(expected.end(), {"FinderWindows", "firstObject",
                                         std::string("close ") + name, "FinderWindows", "count"});
    EXPECT_EQ(f.desk.log(), expected);
    EXPECT_TRUE(f.desk.fileManagerWindows().empty());
}

TEST(TWCommonFinderWindows, MinimizeAndCloseTogetherCollapseFirstThenCloseAll) {
    Fixture f;
    f.launch(kFinder, "Finder");
    f.launch(TWOwnBundleIdentifier, "Tidewell");
    f.shared.setBool(true, TWCloseAllFinderKey);
    f.desk.addFileManagerWindows(2);
    f.desk.clearLog();

    f.common.showFinderHideOthers();

    Log closes, collapses;
    for (const auto& entry : f.desk.log()) {
        if (entry.rfind("collapse ", 0) == 0)
            collapses.push_back(entry);
        if (entry.rfind("close ", 0) == 0) {
            EXPECT_EQ(collapses.size(), 2u) << "a close came before the collapses ended";
            closes.push_back(entry);
        }
    }
    EXPECT_EQ(collapses, (Log{"collapse window 1", "collapse window 2"}));
    EXPECT_EQ(closes, (Log{"close window 1", "close window 2"}));
    EXPECT_TRUE(f.desk.fileManagerWindows().empty());
}

TEST(TWCommonFinderWindows, NewWindowComesLastAndShowsTheFileManagersOwnLocation) {
    Fixture f;
    f.launch(kFinder, "Finder");
    f.launch(TWOwnBundleIdentifier, "Tidewell");
    f.launch("com.example.p", "P");
    f.shared.setBool(true, TWShowWindowKey);
    f.shared.setBool(false, TWMinimizeKey);
    f.desk.setNewWindowTarget("file:///srv/projects/");
    f.desk.addFileManagerWindow("old", true);
    f.desk.clearLog();

    f.common.showFinderHideOthers();

    auto log = f.desk.log();
    ASSERT_GE(log.size(), 7u);
    EXPECT_EQ(
        Log(log.end() - 7, log.end()),
        (Log{"hide P", "scripting com.apple.finder", "new object Finder window", "FinderWindows",
             "addObject", "newWindowTarget", "setTarget file:///srv/projects/"}));
    auto windows = f.desk.fileManagerWindows();
    ASSERT_EQ(windows.size(), 2u);
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

// ---------------------------------------------------------------- show-all and activation

TEST(TWCommonShowAll, UnhidesEveryRegularApplicationAndReactivatesTheRecordedOne) {
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
    Log log = f.desk.log();
    std::erase(log, "runningApplications");
    EXPECT_EQ(log, (Log{"unhide Finder", "unhide Tidewell", "unhide P", "activate P 2"}));
    EXPECT_FALSE(f.hidden(p));
    EXPECT_TRUE(f.desk.application(p)->active);
}

TEST(TWCommonShowAll, NothingRecordedOrRecordedApplicationGoneActivatesNothing) {
    Fixture f;
    f.launch(kFinder, "Finder");
    auto p = f.launch("com.example.p", "P");
    auto activations = [&] {
        const Log log = f.desk.log();
        return std::count_if(log.begin(), log.end(),
                             [](const std::string& line) { return line.starts_with("activate"); });
    };
    f.common.showAll();
    EXPECT_EQ(activations(), 0);

    f.desk.makeActive(p);
    f.desk.quitApplication(p);
    f.desk.clearLog();
    f.common.showAll();
    EXPECT_EQ(activations(), 0);
}

TEST(TWCommonActivation, FrontSwitchesAreRecordedThroughTheHandler) {
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

    EXPECT_EQ(f.desk.log(),
              (Log{"runningApplications", "hide Editor", "runningApplications", "activate Editor 2",
                   "runningApplications", // the switch to Editor
                   "runningApplications"}));
    EXPECT_EQ(f.desk.flushCount(), 2);
}

TEST(TWCommonActivation, RunningTestIgnoresActivationPolicy) {
    Fixture f;
    f.launch(TWHelperBundleIdentifier, "Tidewell Menu", TWActivationPolicyAccessory);
    EXPECT_TRUE(f.common.isApplicationRunning(TWHelperBundleIdentifier));
    EXPECT_FALSE(f.common.isApplicationRunning(TWOwnBundleIdentifier));
}

TEST(TWCommonActivation, AppleEventsAreBuiltExactlyAndSent) {
    TWAppleEvent reopen = TWCommon::reopenEventForCreator(TWFourCharCode("MACS"));
    EXPECT_EQ(reopen.eventClass, 0x61657674u);
    EXPECT_EQ(reopen.eventID, 0x72617070u);
    EXPECT_EQ(reopen.targetDescriptorType, 0x7369676Eu);
    EXPECT_EQ(reopen.targetData, (std::array<std::uint8_t, 4>{'M', 'A', 'C', 'S'}));
    EXPECT_EQ(reopen.returnID, -1);
    EXPECT_EQ(reopen.transactionID, 0);
    EXPECT_EQ(reopen.sendMode, 1);
    EXPECT_EQ(reopen.priority, 0);
    EXPECT_EQ(reopen.timeout, -1);

    TWAppleEvent activate = TWCommon::activateEventForCreator(0x01020304);
    EXPECT_EQ(activate.eventClass, 0x6D697363u);
    EXPECT_EQ(activate.eventID, 0x61637476u);
    EXPECT_EQ(activate.targetData, (std::array<std::uint8_t, 4>{1, 2, 3, 4}));
    EXPECT_EQ(activate.targetDescriptorType, reopen.targetDescriptorType);

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

// ---------------------------------------------------------------- the menu

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
    ASSERT_EQ(items.size(), 11u);
    struct Expected {
        const char* title;
        const char* action;
        const void* target;
    };
    const Expected fixed[] = {{"Preferences...", "showPreferences", &f.common},
                              {"", "", nullptr},
                              {"Hide All", "showFinderHideOthers", &f.common},
                              {"Show All", "showAll", &f.common},
                              {"", "", nullptr},
                              {"Toggle Visibility", "", nullptr}};
    for (std::size_t i = 0; i < 6; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(items[i]->isSeparatorItem(), i == 1 || i == 4);
        EXPECT_EQ(items[i]->title(), fixed[i].title);
        EXPECT_EQ(items[i]->action(), fixed[i].action);
        EXPECT_EQ(items[i]->target(), fixed[i].target);
        EXPECT_EQ(items[i]->keyEquivalent(), "");
        EXPECT_EQ(items[i]->state(), 0);
        EXPECT_FALSE(items[i]->representedObject());
    }
    const char* titles[] = {"   Books", "   calendar", "   Finder", "   \u00e9bauche",
                            "   \u00c9diteur"};
    for (std::size_t i = 6; i < 11; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(items[i]->title(), titles[i - 6]);
        EXPECT_EQ(items[i]->action(), "toggleAppVisibility");
        EXPECT_EQ(items[i]->target(), items[i].get());
        EXPECT_NE(dynamic_cast<TWDockMenuItem*>(items[i].get()), nullptr);
    }
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

TEST(TWCommonMenu, SameNameGivesTwoItemsBothForTheLastOneMet) {
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
}

TEST(TWCommonMenu, ItemsPerformTheirActions) {
    Fixture f;
    f.launch(kFinder, "Finder");
    f.launch(TWOwnBundleIdentifier, "Tidewell");
    auto p = f.launch("com.example.p", "P");
    f.shared.setBool(false, TWMinimizeKey);
    auto menu = f.common.buildAppMenu();
    const auto& items = menu->items();
    f.desk.clearLog();

    items[5]->perform(); // Toggle Visibility: a caption
    EXPECT_TRUE(f.desk.log().empty());

    items[0]->perform();
    EXPECT_EQ(f.desk.log(), (Log{"openURL x-tidewell-action://preferences"}));

    items[2]->perform();
    EXPECT_TRUE(f.hidden(p));
    items[3]->perform();
    EXPECT_FALSE(f.hidden(p));

    items.back()->perform(); // P, visible: hidden
    EXPECT_TRUE(f.hidden(p));
    items.back()->perform(); // P, hidden: activated
    EXPECT_FALSE(f.hidden(p));
    EXPECT_TRUE(f.desk.application(p)->active);
}

TEST(TWCommonMenu, TitlesGoThroughTheStringTable) {
    Fixture f;
    f.launch("com.example.p", "P");
    TWSetLocalizer([](std::string_view key) -> std::string {
        if (key == "Hide All")
            return "Alles ausblenden";
        if (key == "P")
            return "translated P"; // application names are already localized: never looked up
        return "";
    });
    auto menu = f.common.buildAppMenu();
    TWSetLocalizer({});
    EXPECT_EQ(menu->items()[2]->title(), "Alles ausblenden");
    EXPECT_EQ(menu->items()[3]->title(), "Show All");
    EXPECT_EQ(menu->items()[6]->title(), "   P");
}

// ---------------------------------------------------------------- the shared instance

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
