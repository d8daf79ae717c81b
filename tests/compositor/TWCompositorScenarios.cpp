// SPDX-License-Identifier: MIT
// The compositor scenarios: hide-others and show-all with the file manager, an exclusion and a
// window the user minimized, closing the file manager instead, front switches given back, the
// menu toggle and two runs of the tool, a client killed mid-action, the focus changing during
// show-all, and a restore the compositor does not carry out.
#include "TWCompositorScenarios.h"

#include "TWPlatformFactory.h"
#include "TWTestPaths.h"

#include <filesystem>
#include <map>

namespace {

const std::string kTerminal = "org.freedesktop.weston.wayland-terminal";
const std::string kFlower = "org.freedesktop.weston.flower";
// Absolute: KWin compares the desktop entry's Exec with the client's executable path.
const std::string kTool = TWTestProgramPath("tidewellctl");

} // namespace

TEST_P(TWCompositorScenarioTest,
       ListedByProcessWithIdentityAndHideOthersThenShowAllRestoresOnlyItsOwn) {
    session().writeDesktopEntry(kFlower, "[Desktop Entry]\nType=Application\nName=Test Flower\n"
                                         "Exec=weston-flower\n");
    pid_t fm, terminal, flower, minimizedByUser;
    const std::string fmWindow = client(driver().fileManager(), &fm),
                      terminalWindow = client({"weston-terminal"}, &terminal),
                      flowerWindow = client({"weston-flower"}, &flower),
                      userWindow = client({"weston-flower"}, &minimizedByUser);

    auto& workspace = driver().workspace();
    std::map<pid_t, TWRunningApplication> apps;
    for (const auto& a : workspace.runningApplications())
        apps[a.processIdentifier] = a;
    for (pid_t pid : {fm, terminal, flower, minimizedByUser})
        ASSERT_TRUE(apps.count(pid)) << pid;
    EXPECT_EQ(workspace.fileManagerBundleIdentifier(), driver().fileManagerIdentifier());
    EXPECT_EQ(apps[fm].bundleIdentifier, driver().fileManagerIdentifier());
    EXPECT_EQ(apps[terminal].bundleIdentifier, kTerminal);
    EXPECT_EQ(apps[terminal].activationPolicy, TWActivationPolicyRegular);
    // Two copies of one application: two entries, one identity, the desktop entry's name.
    EXPECT_EQ(apps[flower].bundleIdentifier, kFlower);
    EXPECT_EQ(apps[minimizedByUser].bundleIdentifier, kFlower);
    EXPECT_NE(apps[flower].handle, apps[minimizedByUser].handle);
    EXPECT_EQ(apps[flower].localizedName, "Test Flower");
    // Tidewell itself is listed through its registration, as on X11.
    EXPECT_EQ(apps[getpid()].bundleIdentifier, TWOwnBundleIdentifier);
    // The command-line tool, a process of its own, sees the same desktop.
    std::string listing = run({kTool, "list"});
    EXPECT_NE(listing.find(kTerminal), std::string::npos) << listing;

    userMinimizes(userWindow, true);
    exclude(kTerminal);
    common().showFinderHideOthers();
    EXPECT_TRUE(becomes(flowerWindow, true));
    EXPECT_TRUE(becomes(fmWindow, true)); // collapsed: the file manager's windows
    EXPECT_EQ(driver().isMinimized(terminalWindow), false);
    // Only what Tidewell minimized is on record, where every Tidewell process reads it.
    EXPECT_EQ(marks().size(), 1u);
    EXPECT_TRUE(marks().count(flowerWindow));
    const auto another = TWMakeDesktop(TWDesktopKind::Session); // another Tidewell process's
    ASSERT_NE(another, nullptr);
    for (const auto& a : another->workspace().runningApplications())
        EXPECT_TRUE(a.hidden || a.processIdentifier != flower);

    common().showAll();
    EXPECT_TRUE(becomes(flowerWindow, false));
    EXPECT_EQ(driver().isMinimized(userWindow), true);
    EXPECT_EQ(driver().isMinimized(fmWindow), true);
    EXPECT_TRUE(marks().empty());
    EXPECT_FALSE(std::filesystem::exists(workspace.record().path()));

    // Hidden again, brought back and minimized again by the user: show-all leaves it so.
    common().showFinderHideOthers();
    ASSERT_TRUE(becomes(flowerWindow, true));
    userMinimizes(flowerWindow, false);
    userMinimizes(flowerWindow, true);
    common().showAll();
    // Nothing to wait for: give the compositor the time of a full answer, then look.
    driver().sync();
    EXPECT_EQ(driver().isMinimized(flowerWindow), true);
    EXPECT_TRUE(marks().empty());
}

TEST_P(TWCompositorScenarioTest, ClosingTheFileManagerInsteadBringsOneNewWindowInFront) {
    const std::string fmWindow = client(driver().fileManager()),
                      terminalWindow = client({"weston-terminal"});
    shared_.setBool(true, TWCloseAllFinderKey);
    shared_.setBool(true, TWShowWindowKey);
    common().showFinderHideOthers();
    EXPECT_TRUE(waitFor([&] {
        const std::string active = driver().activeWindow();
        return !driver().isMinimized(fmWindow) && !active.empty() && active != fmWindow &&
               active != terminalWindow;
    }));
}

TEST_P(TWCompositorScenarioTest,
       TheFrontApplicationIsRecordedAndActivatedAgainAClientKilledLosesNoOther) {
    pid_t flower;
    const std::string terminalWindow = client({"weston-terminal"}),
                      flowerWindow = client({"weston-flower"}, &flower);
    // The compositor activates a new window once it shows it: that is the baseline.
    ASSERT_TRUE(isActive(flowerWindow));
    common();
    for (auto [window, identifier] : {std::pair{terminalWindow, kTerminal},
                                      {flowerWindow, kFlower},
                                      {terminalWindow, kTerminal}}) {
        driver().activateByHand(window);
        EXPECT_TRUE(dispatchUntil([&, id = identifier] {
            return common().currentActiveBundleID() == id;
        })) << identifier;
    }
    common().showFinderHideOthers();
    ASSERT_TRUE(becomes(terminalWindow, true));
    common().showAll();
    EXPECT_TRUE(becomes(terminalWindow, false));
    EXPECT_TRUE(isActive(terminalWindow));

    // The menu toggle hides a shown application and brings a hidden one forward.
    common().activateApplicationWithBundleID(kTerminal, true);
    EXPECT_TRUE(becomes(terminalWindow, true));
    EXPECT_EQ(marks().count(terminalWindow), 1u);
    common().activateApplicationWithBundleID(kTerminal, true);
    EXPECT_TRUE(becomes(terminalWindow, false));
    EXPECT_TRUE(isActive(terminalWindow));
    EXPECT_TRUE(marks().empty());
    // The same from two runs of the tool: the show-all run, a process that saw no front switch,
    // gives the focus back too.
    run({kTool, "hide-others"});
    EXPECT_TRUE(becomes(terminalWindow, true));
    run({kTool, "show-all"});
    EXPECT_TRUE(becomes(terminalWindow, false));
    EXPECT_TRUE(isActive(terminalWindow));

    // A client listed, then killed before its hide, as hide-others can meet it: the rest is
    // hidden and shown again, and the dead window's mark, if it got one, goes with the window.
    auto& workspace = driver().workspace();
    const auto apps = workspace.runningApplications();
    crash(flower);
    for (const auto& app : apps)
        if (app.processIdentifier != getpid())
            workspace.hide(app);
    workspace.flush();
    EXPECT_TRUE(becomes(terminalWindow, true));
    EXPECT_EQ(driver().isMinimized(flowerWindow), std::nullopt);
    common().showAll();
    EXPECT_TRUE(becomes(terminalWindow, false));
    workspace.runningApplications();
    EXPECT_TRUE(marks().empty());
}

TEST_P(TWCompositorScenarioTest, ShowAllWhileTheFocusChangesEvery20msRestoresEveryWindow) {
    // The focus passes between two excluded applications while three others are hidden and
    // shown again: each switch lists the applications anew in the middle of show-all, and
    // every restore counts once the compositor shows the window restored.
    exclude(kTerminal);
    const std::vector<std::string> terminals = {client({"weston-terminal"}),
                                                client({"weston-terminal"})};
    std::vector<std::string> hidden;
    std::set<pid_t> hiddenPids;
    for (int i = 0; i < 3; ++i) {
        pid_t pid;
        hidden.push_back(client({"weston-flower"}, &pid));
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
        common().showAll();
        driver().desktop().dispatchPendingEvents();
        for (const auto& id : hidden)
            ASSERT_TRUE(becomes(id, false)) << cycle;
        ASSERT_TRUE(marks().empty()) << cycle;
    }
}

TEST_P(TWCompositorScenarioTest,
       ARestoreTheCompositorDoesNotCarryOutKeepsItsMarkUntilAShowAllDoes) {
    pid_t pid, otherPid;
    const std::string window = client({"weston-flower"}, &pid),
                      other = client({"weston-flower"}, &otherPid);
    // Refused once: show-all asks again.
    hideProcesses({pid});
    ASSERT_TRUE(becomes(window, true));
    driver().refuseRestores(window, 1);
    common().showAll();
    EXPECT_TRUE(becomes(window, false));
    EXPECT_TRUE(marks().empty());
    // Refused every time: the window stays hidden and on record for the next show-all, and
    // the other window comes back all the same.
    hideProcesses({pid, otherPid});
    ASSERT_TRUE(becomes(window, true));
    ASSERT_TRUE(becomes(other, true));
    driver().refuseRestores(window, 100);
    common().showAll();
    EXPECT_TRUE(becomes(other, false));
    driver().sync();
    EXPECT_EQ(driver().isMinimized(window), true);
    EXPECT_TRUE(marks().count(window));
    driver().workspace().runningApplications();
    EXPECT_TRUE(marks().count(window));
    driver().refuseRestores(window, 0);
    common().showAll();
    EXPECT_TRUE(becomes(window, false));
    EXPECT_TRUE(marks().empty());
    EXPECT_TRUE(waitFor([&] { return driver().leftovers().empty(); })) << driver().leftovers();
}

TEST_P(TWCompositorScenarioTest, AnotherProcesssHideOnItsWayIsNotUndoneByAShowAll) {
    // Another Tidewell process has marked the window and its minimize is still on its way when
    // this process shows all: the restore finds the window shown, and the mark must outlive it,
    // or the minimize that lands next leaves a window no show-all brings back.
    const std::string window = client({"weston-flower"});
    ASSERT_TRUE(driver().workspace().record().update([&](TWHiddenMarks& marks) {
        marks[window] = TWHiddenMark{0, TWHiddenRecord::now(), false};
    }));
    common().showAll();
    driver().sync();
    EXPECT_TRUE(marks().count(window));
    userMinimizes(window, true); // the other process's minimize lands
    common().showAll();
    EXPECT_TRUE(becomes(window, false));
    EXPECT_TRUE(marks().empty());
}

TEST_P(TWCompositorScenarioTest, TwoMonitorsEachWindowHiddenAndBackOnItsOwnOutputFocusGivenBack) {
    if (driver().outputCount() < 2)
        GTEST_SKIP() << "this desktop runs one output here";
    const std::string left = client({"weston-flower"}), right = client({"weston-flower"}),
                      terminal = client({"weston-terminal"});
    ASSERT_TRUE(driver().moveToOutput(right, 1));
    ASSERT_TRUE(driver().moveToOutput(terminal, 1));
    const std::map<std::string, int> outputs = {{left, 0}, {right, 1}, {terminal, 1}};
    ASSERT_EQ(driver().outputOf(left), 0);
    // The application in front is the one on the second output.
    common();
    for (auto [window, identifier] : {std::pair{left, kFlower}, {terminal, kTerminal}}) {
        driver().activateByHand(window);
        ASSERT_TRUE(dispatchUntil([&, id = identifier] {
            return common().currentActiveBundleID() == id;
        })) << identifier;
    }
    common().showFinderHideOthers();
    for (const auto& [window, output] : outputs)
        EXPECT_TRUE(becomes(window, true)) << output;
    common().showAll();
    for (const auto& [window, output] : outputs) {
        EXPECT_TRUE(becomes(window, false)) << output;
        EXPECT_EQ(driver().outputOf(window), output);
    }
    EXPECT_TRUE(isActive(terminal));
    EXPECT_TRUE(marks().empty());
}
