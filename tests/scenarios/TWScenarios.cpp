// SPDX-License-Identifier: MIT
// The desktop scenarios, each a behaviour the user sees on every desktop.
#include "TWScenarios.h"

#include <map>

TEST_P(TWScenarioTest, ListedByProcessWithIdentityAndHideOthersThenShowAllRestoresOnlyItsOwn) {
    const std::string flowerId = driver().flower().identifier;
    const std::string byHand = driver().lacks(TWDriverFeature::MinimizedByHand);
    pid_t fm, terminal, flower, minimizedByUser;
    client(driver().fileManager(), &fm);
    client(driver().terminal(), &terminal);
    const std::string flowerWindow = client(driver().flower(), &flower),
                      userWindow = client(driver().flower(), &minimizedByUser);

    auto& workspace = driver().desktop().workspace();
    std::map<pid_t, TWRunningApplication> apps;
    for (const auto& a : workspace.runningApplications())
        apps[a.processIdentifier] = a;
    for (pid_t pid : {fm, terminal, flower, minimizedByUser})
        ASSERT_TRUE(apps.count(pid)) << pid;
    // Two copies of one application: two entries, one identity, the desktop entry's name.
    EXPECT_EQ(apps[flower].bundleIdentifier, flowerId);
    EXPECT_EQ(apps[minimizedByUser].bundleIdentifier, flowerId);
    EXPECT_NE(apps[flower].handle, apps[minimizedByUser].handle);
    EXPECT_EQ(apps[flower].localizedName, kFlowerName);
    // Tidewell itself is listed through its registration.
    EXPECT_EQ(apps[getpid()].bundleIdentifier, TWOwnBundleIdentifier);

    // Hide-others as set by default: only what Tidewell minimized is on record.
    if (byHand.empty())
        userMinimizes(userWindow, true);
    exclude(driver().terminal().identifier);
    hideOthers();
    EXPECT_TRUE(becomes(flowerWindow, true));
    EXPECT_EQ(marks().size(), byHand.empty() ? 1u : 2u);
    EXPECT_TRUE(marks().count(flowerWindow));

    showAll();
    EXPECT_TRUE(becomes(flowerWindow, false));
    EXPECT_TRUE(marks().empty());
    if (!byHand.empty())
        GTEST_SKIP() << byHand;
    EXPECT_EQ(driver().isMinimized(userWindow), true);

    // Hidden again, brought back and minimized again by the user: show-all leaves it so.
    hideOthers();
    ASSERT_TRUE(becomes(flowerWindow, true));
    userMinimizes(flowerWindow, false);
    // A running Tidewell follows the user's restore: the window is no longer its to bring back.
    ASSERT_TRUE(dispatchUntil([&] {
        driver().desktop().workspace().runningApplications();
        return !marks().count(flowerWindow);
    }));
    userMinimizes(flowerWindow, true);
    showAll();
    // Nothing to wait for: give the compositor the time of a full answer, then look.
    driver().sync();
    EXPECT_EQ(driver().isMinimized(flowerWindow), true);
    EXPECT_TRUE(marks().empty());
}

// Every process of the file manager's entry is the file manager: its windows as each setting
// says, the others hidden and back, the excluded left alone, no mark left.
TEST_P(TWScenarioTest, EveryFileManagerOptionInOneProcessAndInTwo) {
    std::vector<std::string> fmWindows = {client(driver().fileManager())};
    const std::string kept = client(driver().terminal()), other = client(driver().flower());
    exclude(driver().terminal().identifier);
    // The file manager's windows: hidden by hide-others, marked (-1: either), minimized after
    // show-all.
    const struct {
        bool showFinder, minimize, hidden;
        int marked;
        bool minimizedAfter;
    } settings[] = {
        {true, false, false, 0, false}, // brought forward, left as they are
        {false, false, true, 1, false}, // hidden as the others
        {true, true, true, 0, true},    // collapsed: minimized without a mark
        {false, true, true, -1, true},  // hidden, then collapsed: collapsing wins
    };
    for (int processes = 1; processes <= 2; ++processes) {
        if (processes == 2)
            fmWindows.push_back(client(driver().secondFileManager()));
        for (const auto& s : settings) {
            SCOPED_TRACE(::testing::Message() << processes << " process(es), ShowFinder "
                                              << s.showFinder << ", Minimize " << s.minimize);
            shared_.setBool(s.showFinder, TWShowFinderKey);
            shared_.setBool(s.minimize, TWMinimizeKey);
            hideOthers();
            EXPECT_TRUE(becomes(other, true));
            for (const auto& w : fmWindows) {
                EXPECT_TRUE(becomes(w, s.hidden)) << w;
                EXPECT_TRUE(s.marked < 0 || marks().count(w) == unsigned(s.marked)) << w;
            }
            EXPECT_EQ(driver().isMinimized(kept), false);
            showAll();
            EXPECT_TRUE(becomes(other, false));
            for (const auto& w : fmWindows)
                EXPECT_TRUE(becomes(w, s.minimizedAfter)) << w;
            EXPECT_TRUE(marks().empty());
            for (const auto& w : fmWindows)
                if (s.minimizedAfter)
                    userMinimizes(w, false);
        }
    }
}

TEST_P(TWScenarioTest, ClosingTheFileManagerInsteadBringsOneNewWindowInFront) {
    const std::string fmWindow = client(driver().fileManager()),
                      terminalWindow = client(driver().terminal());
    shared_.setBool(true, TWCloseAllFinderKey);
    shared_.setBool(true, TWShowWindowKey);
    hideOthers();
    // One new window in front (on X11 it may reuse the closed one's ID).
    EXPECT_TRUE(waitFor([&] {
        const std::string active = driver().activeWindow();
        return !active.empty() && active != terminalWindow &&
               driver().isMinimized(active) == false && driver().isMinimized(fmWindow) != true;
    })) << driver().activeWindow()
        << " " << fmWindow << " " << terminalWindow;
}

TEST_P(TWScenarioTest, TheFrontApplicationIsRecordedAndActivatedAgainAClientKilledLosesNoOther) {
    pid_t flower;
    const std::string terminalWindow = client(driver().terminal()),
                      flowerWindow = client(driver().flower(), &flower);
    // The newest window in front, whether or not the compositor gave it the focus by itself.
    driver().activateByHand(flowerWindow);
    ASSERT_TRUE(isActive(flowerWindow));
    userActivates(terminalWindow, driver().terminal());
    userActivates(flowerWindow, driver().flower());
    userActivates(terminalWindow, driver().terminal());
    hideOthers();
    ASSERT_TRUE(becomes(terminalWindow, true));
    showAll();
    EXPECT_TRUE(becomes(terminalWindow, false));
    EXPECT_TRUE(isActive(terminalWindow));

    // The menu toggle hides the application, then brings it forward: no mark left, with no
    // listing of the windows in between to tidy the record.
    for (const bool hidden : {true, false}) {
        common().activateApplicationWithBundleID(driver().terminal().identifier, true);
        driver().settle();
        EXPECT_TRUE(becomes(terminalWindow, hidden));
    }
    EXPECT_TRUE(marks().empty());

    // Two runs of the tool: the show-all run, a process that saw no front switch, gives the
    // focus back too.
    if (driver().lacks(TWDriverFeature::OtherProcesses).empty()) {
        run({kTool, "hide-others"});
        EXPECT_TRUE(becomes(terminalWindow, true));
        run({kTool, "show-all"});
        EXPECT_TRUE(becomes(terminalWindow, false));
        EXPECT_TRUE(isActive(terminalWindow));
    }

    // A client listed, then killed before its hide, as hide-others can meet it: the rest is
    // hidden and shown again, and the dead window's mark, if it got one, goes with the window.
    auto& workspace = driver().desktop().workspace();
    const auto apps = workspace.runningApplications();
    crash(flower);
    for (const auto& app : apps)
        if (app.processIdentifier != getpid())
            workspace.hide(app);
    workspace.flush();
    driver().settle();
    EXPECT_TRUE(becomes(terminalWindow, true));
    EXPECT_TRUE(waitFor([&] { return !driver().isMinimized(flowerWindow); }));
    showAll();
    EXPECT_TRUE(becomes(terminalWindow, false));
    workspace.runningApplications();
    EXPECT_TRUE(marks().empty());
}

TEST_P(TWScenarioTest, ShowAllWhileTheFocusChangesEvery20msRestoresEveryWindow) {
    // Each focus switch lists the applications anew in the middle of show-all.
    if (const auto why = driver().lacks(TWDriverFeature::FocusChurn); !why.empty())
        GTEST_SKIP() << why;
    exclude(driver().terminal().identifier);
    const std::vector<std::string> terminals = {client(driver().terminal()),
                                                client(driver().terminal())};
    std::vector<std::string> hidden;
    std::set<pid_t> hiddenPids;
    for (int i = 0; i < 3; ++i) {
        pid_t pid;
        hidden.push_back(client(driver().flower(), &pid));
        hiddenPids.insert(pid);
    }
    common();
    const auto churn = driver().churnFocus(terminals);
    for (int cycle = 0; cycle < 12; ++cycle) {
        hideProcesses(hiddenPids, false);
        // Every other cycle show-all follows at once, as a second run of the tool would: the
        // windows' states may not have come back yet.
        for (const auto& id : hidden)
            ASSERT_TRUE(cycle % 2 == 0 || becomes(id, true)) << cycle;
        showAll();
        driver().desktop().dispatchPendingEvents();
        for (const auto& id : hidden)
            ASSERT_TRUE(becomes(id, false)) << cycle;
        ASSERT_TRUE(marks().empty()) << cycle;
    }
}

TEST_P(TWScenarioTest, ARestoreTheDesktopDoesNotCarryOutKeepsItsMarkUntilAShowAllDoes) {
    if (const auto why = driver().lacks(TWDriverFeature::RefusedRestores); !why.empty())
        GTEST_SKIP() << why;
    const bool perWindow = driver().lacks(TWDriverFeature::RefusedPerWindow).empty();
    pid_t pid, otherPid;
    const std::string window = client(driver().flower(), &pid),
                      other = client(driver().flower(), &otherPid);
    if (perWindow) {
        // Refused once: show-all asks again.
        hideProcesses({pid});
        ASSERT_TRUE(becomes(window, true));
        driver().refuseRestores(window, 1);
        showAll();
        EXPECT_TRUE(becomes(window, false));
        EXPECT_TRUE(marks().empty());
    }
    // Refused every time: the window stays hidden and on record for the next show-all, and
    // the other window, where only this one's restores are refused, comes back all the same.
    hideProcesses(perWindow ? std::set<pid_t>{pid, otherPid} : std::set<pid_t>{pid});
    ASSERT_TRUE(becomes(window, true));
    driver().refuseRestores(window, 100);
    newProcess(); // as the tool, which has not seen the desktop answer, gives up sooner
    showAll();
    EXPECT_TRUE(!perWindow || becomes(other, false));
    driver().sync();
    EXPECT_EQ(driver().isMinimized(window), true);
    EXPECT_TRUE(marks().count(window));
    driver().desktop().workspace().runningApplications();
    EXPECT_TRUE(marks().count(window));
    driver().refuseRestores(window, 0);
    showAll();
    EXPECT_TRUE(becomes(window, false));
    EXPECT_TRUE(marks().empty());
    EXPECT_TRUE(waitFor([&] { return driver().leftovers().empty(); })) << driver().leftovers();
}

TEST_P(TWScenarioTest, AnotherProcesssHideOnItsWayIsNotUndoneByAShowAll) {
    // Another Tidewell process has marked the window and its minimize is still on its way when
    // this process shows all: the restore finds the window shown, and the mark must outlive it,
    // or the minimize that lands next leaves a window no show-all brings back.
    if (const auto why = driver().lacks(TWDriverFeature::LateMinimize); !why.empty())
        GTEST_SKIP() << why;
    const std::string window = client(driver().flower());
    driver().markAsAnotherProcess(window);
    showAll();
    driver().sync();
    EXPECT_TRUE(marks().count(window));
    userMinimizes(window, true); // the other process's minimize lands
    showAll();
    EXPECT_TRUE(becomes(window, false));
    EXPECT_TRUE(marks().empty());
}

// While hidden, an application quits and another opens a window: show-all brings back what is
// left and leaves the newcomer as it is; the next hide-others hides the newcomer too.
TEST_P(TWScenarioTest, AWindowOpenedAndAnApplicationQuitWhileHiddenLoseNothing) {
    pid_t quitting;
    const std::string window = client(driver().flower()),
                      gone = client(driver().flower(), &quitting);
    hideOthers();
    ASSERT_TRUE(becomes(window, true));
    ASSERT_TRUE(becomes(gone, true));
    crash(quitting);
    // Looked at before any client starts: X11 gives a new client's window a gone one's ID.
    EXPECT_TRUE(waitFor([&] { return !driver().isMinimized(gone); }));
    const std::string late = client(driver().terminal());
    showAll();
    EXPECT_TRUE(becomes(window, false));
    EXPECT_EQ(driver().isMinimized(late), false);
    driver().desktop().workspace().runningApplications();
    EXPECT_TRUE(marks().empty());
    hideOthers();
    EXPECT_TRUE(becomes(late, true));
    showAll();
    EXPECT_TRUE(becomes(late, false));
}

// Meanwhile each window is back or still on record (on X11, where Tidewell maps windows itself
// when no window manager runs, back).
TEST_P(TWScenarioTest, TheWindowManagerGoneAndBackLosesNothing) {
    if (const auto why = driver().lacks(TWDriverFeature::ServiceGone); !why.empty())
        GTEST_SKIP() << why;
    const std::string window = client(driver().flower());
    hideOthers();
    ASSERT_TRUE(becomes(window, true));
    driver().setServiceGone(true);
    showAll();
    if (driver().lacks(TWDriverFeature::ShowsWithoutService).empty())
        EXPECT_TRUE(becomes(window, false) && waitFor([&] { return marks().empty(); }));
    else
        EXPECT_TRUE(driver().isMinimized(window) == false || marks().count(window));
    driver().setServiceGone(false);
    showAll();
    EXPECT_TRUE(becomes(window, false));
    EXPECT_TRUE(waitFor([&] { return marks().empty(); }));
}

TEST_P(TWScenarioTest, TwoWorkspacesEachWindowBackOnItsOwnTheUserStays) {
    if (const auto why = driver().lacks(TWDriverFeature::Workspaces); !why.empty())
        GTEST_SKIP() << why;
    const std::string here = client(driver().flower()), there = client(driver().flower());
    driver().moveToWorkspace(there, 1);
    ASSERT_EQ(driver().workspaceOf(here), 0);
    for (int from : {0, 1}) {
        SCOPED_TRACE(::testing::Message() << "from workspace " << from);
        // Each action a run of the tool. The front window quits before the show-all: no
        // application gets the focus back (which would take the user to it).
        driver().switchToWorkspace(from);
        pid_t frontPid;
        const std::string front = client(driver().terminal(), &frontPid);
        driver().activateByHand(front);
        ASSERT_TRUE(isActive(front));
        newProcess();
        hideOthers();
        for (const auto& w : {here, there})
            EXPECT_TRUE(becomes(w, true) && marks().count(w)) << w;
        crash(frontPid);
        newProcess();
        showAll();
        for (const auto& w : {here, there})
            EXPECT_TRUE(becomes(w, false)) << w;
        EXPECT_TRUE(waitFor([&] { return marks().empty(); }));
        EXPECT_EQ(driver().workspaceOf(here), 0);
        EXPECT_EQ(driver().workspaceOf(there), 1);
        EXPECT_EQ(driver().currentWorkspace(), from) << "the user was moved";
    }
}

TEST_P(TWScenarioTest, TwoMonitorsEachWindowHiddenAndBackOnItsOwnOutputFocusGivenBack) {
    if (const std::string why = driver().lacks(TWDriverFeature::Outputs); !why.empty())
        GTEST_SKIP() << why;
    const std::string left = client(driver().flower()), right = client(driver().flower()),
                      terminal = client(driver().terminal());
    const std::map<std::string, int> outputs = {{left, 0}, {right, 1}, {terminal, 1}};
    for (const auto& [window, output] : outputs)
        driver().moveToOutput(window, output);
    // The application in front is the one on the second output.
    userActivates(left, driver().flower());
    userActivates(terminal, driver().terminal());
    hideOthers();
    for (const auto& [window, output] : outputs)
        EXPECT_TRUE(becomes(window, true)) << output;
    showAll();
    for (const auto& [window, output] : outputs) {
        EXPECT_TRUE(becomes(window, false)) << output;
        EXPECT_EQ(driver().outputOf(window), output);
    }
    EXPECT_TRUE(isActive(terminal));
    EXPECT_TRUE(marks().empty());
}
