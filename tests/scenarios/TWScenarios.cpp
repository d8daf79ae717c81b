// SPDX-License-Identifier: MIT
// The desktop scenarios: hide-others and show-all with the file manager, an exclusion and a
// window the user minimized, closing the file manager instead, front switches given back, the
// menu toggle and two runs of the tool, a client killed mid-action, the focus changing during
// show-all, and a restore the desktop does not carry out.
#include "TWScenarios.h"

#include "TWPlatformFactory.h"
#include "TWTestPaths.h"

#include <map>

namespace {

// Absolute: KWin compares the desktop entry's Exec with the client's executable path.
const std::string kTool = TWTestProgramPath("tidewellctl");

} // namespace

TEST_P(TWScenarioTest, ListedByProcessWithIdentityAndHideOthersThenShowAllRestoresOnlyItsOwn) {
    const std::string terminalId = driver().terminal().identifier,
                      flowerId = driver().flower().identifier;
    const bool processes = driver().lacks(TWDriverFeature::OtherProcesses).empty();
    pid_t fm, terminal, flower, minimizedByUser;
    const std::string fmWindow = client(driver().fileManager(), &fm),
                      terminalWindow = client(driver().terminal(), &terminal),
                      flowerWindow = client(driver().flower(), &flower),
                      userWindow = client(driver().flower(), &minimizedByUser);

    auto& workspace = driver().desktop().workspace();
    std::map<pid_t, TWRunningApplication> apps;
    for (const auto& a : workspace.runningApplications())
        apps[a.processIdentifier] = a;
    for (pid_t pid : {fm, terminal, flower, minimizedByUser})
        ASSERT_TRUE(apps.count(pid)) << pid;
    EXPECT_EQ(workspace.fileManagerBundleIdentifier(), driver().fileManager().identifier);
    EXPECT_EQ(apps[fm].bundleIdentifier, driver().fileManager().identifier);
    EXPECT_EQ(apps[terminal].bundleIdentifier, terminalId);
    EXPECT_EQ(apps[terminal].activationPolicy, TWActivationPolicyRegular);
    // Two copies of one application: two entries, one identity, the desktop entry's name.
    EXPECT_EQ(apps[flower].bundleIdentifier, flowerId);
    EXPECT_EQ(apps[minimizedByUser].bundleIdentifier, flowerId);
    EXPECT_NE(apps[flower].handle, apps[minimizedByUser].handle);
    EXPECT_EQ(apps[flower].localizedName, kFlowerName);
    // Tidewell itself is listed through its registration, as on X11.
    EXPECT_EQ(apps[getpid()].bundleIdentifier, TWOwnBundleIdentifier);
    // The command-line tool, a process of its own, sees the same desktop.
    if (processes) {
        std::string listing = run({kTool, "list"});
        EXPECT_NE(listing.find(terminalId), std::string::npos) << listing;
    }

    userMinimizes(userWindow, true);
    exclude(terminalId);
    hideOthers();
    EXPECT_TRUE(becomes(flowerWindow, true));
    EXPECT_TRUE(becomes(fmWindow, true)); // collapsed: the file manager's windows
    EXPECT_EQ(driver().isMinimized(terminalWindow), false);
    // Only what Tidewell minimized is on record, where every Tidewell process reads it.
    EXPECT_EQ(marks().size(), 1u);
    EXPECT_TRUE(marks().count(flowerWindow));
    if (processes) {
        const auto another = TWMakeDesktop(TWDesktopKind::Session); // another process's
        ASSERT_NE(another, nullptr);
        for (const auto& a : another->workspace().runningApplications())
            EXPECT_TRUE(a.hidden || a.processIdentifier != flower);
    }

    showAll();
    EXPECT_TRUE(becomes(flowerWindow, false));
    EXPECT_EQ(driver().isMinimized(userWindow), true);
    EXPECT_EQ(driver().isMinimized(fmWindow), true);
    EXPECT_TRUE(marks().empty());

    // Hidden again, brought back and minimized again by the user: show-all leaves it so.
    hideOthers();
    ASSERT_TRUE(becomes(flowerWindow, true));
    userMinimizes(flowerWindow, false);
    userMinimizes(flowerWindow, true);
    showAll();
    // Nothing to wait for: give the compositor the time of a full answer, then look.
    driver().sync();
    EXPECT_EQ(driver().isMinimized(flowerWindow), true);
    EXPECT_TRUE(marks().empty());
}

TEST_P(TWScenarioTest, ClosingTheFileManagerInsteadBringsOneNewWindowInFront) {
    const std::string fmWindow = client(driver().fileManager()),
                      terminalWindow = client(driver().terminal());
    shared_.setBool(true, TWCloseAllFinderKey);
    shared_.setBool(true, TWShowWindowKey);
    hideOthers();
    EXPECT_TRUE(waitFor([&] {
        const std::string active = driver().activeWindow();
        return !driver().isMinimized(fmWindow) && !active.empty() && active != fmWindow &&
               active != terminalWindow;
    }));
}

TEST_P(TWScenarioTest, TheFrontApplicationIsRecordedAndActivatedAgainAClientKilledLosesNoOther) {
    const std::string terminalId = driver().terminal().identifier,
                      flowerId = driver().flower().identifier;
    pid_t flower;
    const std::string terminalWindow = client(driver().terminal()),
                      flowerWindow = client(driver().flower(), &flower);
    // The compositor activates a new window once it shows it: that is the baseline.
    ASSERT_TRUE(isActive(flowerWindow));
    common();
    for (auto [window, identifier] : {std::pair{terminalWindow, terminalId},
                                      {flowerWindow, flowerId},
                                      {terminalWindow, terminalId}}) {
        driver().activateByHand(window);
        EXPECT_TRUE(dispatchUntil([&, id = identifier] {
            return common().currentActiveBundleID() == id;
        })) << identifier;
    }
    hideOthers();
    ASSERT_TRUE(becomes(terminalWindow, true));
    showAll();
    EXPECT_TRUE(becomes(terminalWindow, false));
    EXPECT_TRUE(isActive(terminalWindow));

    // The menu toggle hides a shown application and brings a hidden one forward.
    common().activateApplicationWithBundleID(terminalId, true);
    EXPECT_TRUE(becomes(terminalWindow, true));
    EXPECT_EQ(marks().count(terminalWindow), 1u);
    common().activateApplicationWithBundleID(terminalId, true);
    EXPECT_TRUE(becomes(terminalWindow, false));
    EXPECT_TRUE(isActive(terminalWindow));
    EXPECT_TRUE(marks().empty());
    // The same from two runs of the tool: the show-all run, a process that saw no front switch,
    // gives the focus back too.
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
    EXPECT_TRUE(becomes(terminalWindow, true));
    EXPECT_EQ(driver().isMinimized(flowerWindow), std::nullopt);
    showAll();
    EXPECT_TRUE(becomes(terminalWindow, false));
    workspace.runningApplications();
    EXPECT_TRUE(marks().empty());
}

TEST_P(TWScenarioTest, ShowAllWhileTheFocusChangesEvery20msRestoresEveryWindow) {
    // The focus passes between two excluded applications while three others are hidden and
    // shown again: each switch lists the applications anew in the middle of show-all, and
    // every restore counts once the compositor shows the window restored.
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
        hideProcesses(hiddenPids);
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

TEST_P(TWScenarioTest, ARestoreTheCompositorDoesNotCarryOutKeepsItsMarkUntilAShowAllDoes) {
    pid_t pid, otherPid;
    const std::string window = client(driver().flower(), &pid),
                      other = client(driver().flower(), &otherPid);
    // Refused once: show-all asks again.
    hideProcesses({pid});
    ASSERT_TRUE(becomes(window, true));
    driver().refuseRestores(window, 1);
    showAll();
    EXPECT_TRUE(becomes(window, false));
    EXPECT_TRUE(marks().empty());
    // Refused every time: the window stays hidden and on record for the next show-all, and
    // the other window comes back all the same.
    hideProcesses({pid, otherPid});
    ASSERT_TRUE(becomes(window, true));
    ASSERT_TRUE(becomes(other, true));
    driver().refuseRestores(window, 100);
    showAll();
    EXPECT_TRUE(becomes(other, false));
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
    const std::string window = client(driver().flower());
    if (!driver().markAsAnotherProcess(window))
        GTEST_SKIP() << "this desktop's driver cannot write another process's mark";
    showAll();
    driver().sync();
    EXPECT_TRUE(marks().count(window));
    userMinimizes(window, true); // the other process's minimize lands
    showAll();
    EXPECT_TRUE(becomes(window, false));
    EXPECT_TRUE(marks().empty());
}

TEST_P(TWScenarioTest, TwoMonitorsEachWindowHiddenAndBackOnItsOwnOutputFocusGivenBack) {
    if (const std::string why = driver().lacks(TWDriverFeature::Outputs); !why.empty())
        GTEST_SKIP() << why;
    const std::string left = client(driver().flower()), right = client(driver().flower()),
                      terminal = client(driver().terminal());
    driver().moveToOutput(right, 1);
    driver().moveToOutput(terminal, 1);
    const std::map<std::string, int> outputs = {{left, 0}, {right, 1}, {terminal, 1}};
    ASSERT_EQ(driver().outputOf(left), 0);
    // The application in front is the one on the second output.
    common();
    for (const auto& [window, program] :
         {std::pair{left, driver().flower()}, {terminal, driver().terminal()}}) {
        driver().activateByHand(window);
        ASSERT_TRUE(dispatchUntil([&, id = program.identifier] {
            return common().currentActiveBundleID() == id;
        })) << program.identifier;
    }
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
