// SPDX-License-Identifier: MIT
// The desktop actions' ordering and counting rules, read from the simulated desktop's request
// log (their outcomes on every desktop: the scenarios).
#include "TWCommon.h"
#include "TWLogCapture.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWSimDesktop.h"

#include <gtest/gtest.h>

#include <algorithm>

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

// Hide-others, then show-all: every regular application back, then the one in front before
// activated, if it is still there.
TEST(TWCommonHideOthers, FinderForwardItsWindowsCollapsedAndClosedTheRestHiddenLastFirstAndBack) {
    Fixture<> f;
    auto finder = f.launch(kFinder, "Finder");
    auto self = f.launch(TWOwnBundleIdentifier, "Tidewell");
    auto p = f.launch("com.example.p", "P");
    f.launch("com.example.r", "R");
    auto meter = f.launch("com.example.meter", "Meter", TWActivationPolicyAccessory);
    f.launch(nullptr, "xclock");
    f.desk.setHidden(finder, true);
    f.desk.makeActive(self);                          // the dock click
    f.desk.addFileManagerWindow("unsaved", false, 2); // refuses to close twice
    f.desk.addFileManagerWindow("docs");
    f.desk.setNewWindowTarget("file:///srv/projects/");
    f.shared.setBool(true, TWCloseAllFinderKey);
    f.shared.setBool(true, TWShowWindowKey);
    f.shared.setObject(TWPlistArray{"not a record"}, TWExcludedAppsKey); // skipped
    f.desk.clearLog();

    f.common.showFinderHideOthers();

    // Finder forward, its windows collapsed and closed (asking again until each goes), the
    // most recently launched hidden first, then one new window at the file manager's location.
    EXPECT_EQ(f.effects(), (Log{"unhide Finder", "activate Finder 2", "collapse unsaved",
                                "collapse docs", "close unsaved", "close unsaved", "close unsaved",
                                "close docs", "hide xclock", "hide R", "hide P",
                                "new object Finder window", "setTarget file:///srv/projects/"}));
    EXPECT_EQ(f.desk.fileManagerWindows().size(), 1u);

    f.desk.makeActive(p); // the user went back to P, then hid it again
    f.desk.setHidden(p, true);
    f.desk.setHidden(meter, true);
    f.desk.clearLog();
    f.common.showAll();
    EXPECT_EQ(f.effects(), (Log{"unhide Finder", "unhide Tidewell", "unhide P", "unhide R",
                                "unhide xclock", "activate P 2"}));
    f.desk.quitApplication(p);
    f.desk.clearLog();
    f.common.showAll();
    EXPECT_EQ(f.effects(), (Log{"unhide Finder", "unhide Tidewell", "unhide R", "unhide xclock"}));
}

TEST(TWCommonHideOthers, ShowFinderOffHidesTheFileManagerFirstUnlessOurOwnApplicationIsAbsent) {
    for (bool ownRunning : {true, false}) {
        SCOPED_TRACE(ownRunning);
        Fixture<> f; // with another file manager: whichever the desktop names
        f.desk.setFileManagerBundleIdentifier("org.gnome.Nautilus");
        f.launch(kFinder, "Old Finder");
        f.launch("org.gnome.Nautilus", "Files");
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
        EXPECT_EQ(f.effects(), ownRunning
                                   ? (Log{"hide Files", "collapse window 1", "close window 1",
                                          "hide Old Finder"})
                                   : (Log{"unhide Files", "activate Files 2", "collapse window 1",
                                          "close window 1", "hide Old Finder"}));
        // The new-window step, last, asks for "ShowWindow" first, then "ShowFinder".
        const Log reads = f.sharedBacking->readKeys();
        const auto step = std::find(reads.rbegin(), reads.rend(), TWCloseAllFinderKey).base();
        EXPECT_EQ(Log(step, reads.end()), (Log{TWShowWindowKey, TWShowFinderKey}));
    }
}

TEST(TWCommonFinderWindows, MinimizeCollapsesTheFirstWindowOfAFreshFetchOncePerLiveCount) {
    Fixture<> f;
    f.desk.addFileManagerWindows(2);
    f.desk.addFileManagerWindow("already down", true);
    f.desk.clearLog();

    f.common.minimizeFinderWindows(nullptr);

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

    EXPECT_EQ(captured.lines.size(), 2u);
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
    for (const char* name : {"\u00c9diteur", "\u00e9bauche", "\u042f\u0431", "\u0431\u0443"})
        f.launch("com.example.intl", name);

    auto menu = f.common.buildAppMenu();

    // Six fixed items (two separators), then the applications that show in the menu.
    Log titles;
    for (const auto& item : menu->items())
        titles.push_back(item->title());
    Log expected{"Preferences...", "", "Hide All", "Show All", "", "Toggle Visibility"};
    for (const char* name : {"Books", "calendar", "Finder", "\u00e9bauche", "\u00c9diteur",
                             "\u0431\u0443", "\u042f\u0431"})
        expected.push_back(std::string("   ") + name);
    EXPECT_EQ(titles, expected);
    EXPECT_EQ(
        *menu->items()[6]->representedObject(),
        (TWPlistDictionary{{"pid", 4242}, {"name", "Books"}, {"bundleID", "com.example.books"}}));
}
