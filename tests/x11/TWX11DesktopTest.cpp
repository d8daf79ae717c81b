// SPDX-License-Identifier: MIT
// The X11 backend against a real window manager: listing, identity, hide / unhide, front
// switches, vanished windows, the process registry and the file manager's windows. (The file
// manager's windows collapsed, closed and opened through the actions: TWCommonX11Test.)
#include "TWX11Desktop.h"
#include "TWLog.h"
#include "TWProcessRegistry.h"
#include "TWScriptingAdapter.h"
#include "TWTestDesktopSuite.h"
#include "TWX11FileManagerWindows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class TWX11DesktopTest : public TWTestDesktopSuite {
  protected:
    void SetUp() override {
        TWTestDesktopSuite::SetUp();
        if (HasFatalFailure())
            return;
        x11_ = TWX11Desktop::open();
        ASSERT_NE(x11_, nullptr);
        TWSetLogSink([this](const std::string& line) { log_.push_back(line); });
    }
    void TearDown() override {
        TWSetLogSink({});
        x11_.reset();
        for (pid_t pid : clients_)
            desktop_->terminate(pid);
    }
    pid_t client(const std::vector<std::string>& options, int windows = 1) {
        pid_t pid = desktop_->spawnTestClient(options, windows);
        clients_.push_back(pid);
        return pid;
    }
    std::optional<TWRunningApplication> appWithPid(int pid) {
        for (const auto& app : x11_->workspace().runningApplications())
            if (app.processIdentifier == pid)
                return app;
        return std::nullopt;
    }
    std::vector<unsigned long> windowsOf(pid_t pid) { return desktop_->windowsOfPid(pid); }

    std::unique_ptr<TWX11Desktop> x11_;
    std::vector<pid_t> clients_;
    std::vector<std::string> log_;
};

TEST_F(TWX11DesktopTest, ListsApplicationsInLaunchOrderWithIdentityPolicyAndName) {
    desktop_->writeDesktopEntry("org.example.Delta", "[Desktop Entry]\nType=Application\n"
                                                     "Name=Delta Viewer\nExec=delta-viewer %f\n"
                                                     "StartupWMClass=delta\n");
    desktop_->writeDesktopEntry("epsilon", "[Desktop Entry]\nType=Application\nName=Epsilon\n"
                                           "Exec=epsilon\n");
    // A fresh backend: desktop entries are read once per backend.
    x11_ = TWX11Desktop::open();
    pid_t alpha = client({"--class", "alpha,Alpha"});
    pid_t beta = client({"--class", "beta,Beta"}, 2);
    pid_t delta = client({"--class", "delta,DeltaApp"});
    pid_t epsilon = client({"--class", "eps,Epsilon"});
    // A toolkit's application ID counts only when an entry has that ID.
    pid_t gtk = client({"--class", "gtk,Gtk", "--gtk-id", "org.example.GtkApp"});
    pid_t gtkNamed = client({"--class", "gtk2,Gtk2", "--gtk-id", "epsilon"});
    pid_t skipper = client({"--class", "skip,Skip", "--skip-taskbar"});
    pid_t utility = client({"--class", "util,Util", "--type", "utility"});
    pid_t nameless = client({"--no-class", "--no-pid", "--title", "no class at all"});
    pid_t xterm = desktop_->spawn({"xterm"});
    clients_.push_back(xterm);
    ASSERT_TRUE(TWTestDesktop::waitFor([&] { return !windowsOf(xterm).empty(); }));

    auto apps = x11_->workspace().runningApplications();
    auto indexOf = [&](pid_t pid) {
        auto it = std::find_if(apps.begin(), apps.end(),
                               [&](const auto& a) { return a.processIdentifier == pid; });
        return it == apps.end() ? -1 : static_cast<int>(it - apps.begin());
    };
    std::vector<pid_t> launched{alpha,    beta,    delta,   epsilon,  gtk,
                                gtkNamed, skipper, utility, nameless, xterm};
    for (size_t i = 0; i < launched.size(); ++i) {
        ASSERT_GE(indexOf(launched[i]), 0) << "client " << i << " not listed";
        if (i > 0) {
            EXPECT_LT(indexOf(launched[i - 1]), indexOf(launched[i])) << "launch order at " << i;
        }
    }
    auto app = [&](pid_t pid) { return apps[static_cast<size_t>(indexOf(pid))]; };
    // Two windows of one process are one application.
    EXPECT_EQ(std::count_if(apps.begin(), apps.end(),
                            [&](const auto& a) { return a.processIdentifier == beta; }),
              1);
    EXPECT_EQ(app(alpha).bundleIdentifier, "Alpha");
    EXPECT_EQ(app(alpha).localizedName, "Alpha");
    EXPECT_EQ(app(delta).bundleIdentifier, "org.example.Delta");
    EXPECT_EQ(app(delta).localizedName, "Delta Viewer");
    EXPECT_EQ(app(epsilon).bundleIdentifier, "epsilon");
    EXPECT_EQ(app(gtk).bundleIdentifier, "Gtk");
    EXPECT_EQ(app(gtkNamed).bundleIdentifier, "epsilon");
    EXPECT_EQ(app(xterm).bundleIdentifier, "debian-xterm");
    EXPECT_EQ(app(xterm).localizedName, "XTerm");
    EXPECT_FALSE(app(nameless).bundleIdentifier.has_value());
    EXPECT_EQ(app(nameless).localizedName, "no class at all");
    EXPECT_EQ(app(nameless).processIdentifier, nameless) << "pid from the X-Resource extension";
    EXPECT_EQ(app(alpha).activationPolicy, TWActivationPolicyRegular);
    EXPECT_EQ(app(skipper).activationPolicy, TWActivationPolicyAccessory);
    EXPECT_EQ(app(utility).activationPolicy, TWActivationPolicyAccessory);
    // Nothing is hidden yet, and the last window mapped has the focus.
    for (const auto& a : apps)
        EXPECT_FALSE(a.hidden) << a.localizedName;
    EXPECT_EQ(std::count_if(apps.begin(), apps.end(), [](const auto& a) { return a.active; }), 1);
}

TEST_F(TWX11DesktopTest, AnApplicationInstalledOrRemovedWhileRunningChangesItsIdentity) {
    pid_t zeta = client({"--class", "zeta,Zeta"});
    EXPECT_EQ(appWithPid(zeta)->bundleIdentifier, "Zeta");
    desktop_->writeDesktopEntry("org.example.Zeta", "[Desktop Entry]\nType=Application\n"
                                                    "Name=Zeta Editor\nExec=zeta\n"
                                                    "StartupWMClass=Zeta\n");
    EXPECT_EQ(appWithPid(zeta)->bundleIdentifier, "org.example.Zeta");
    EXPECT_EQ(appWithPid(zeta)->localizedName, "Zeta Editor");
    std::remove((desktop_->dataHome() + "/applications/org.example.Zeta.desktop").c_str());
    EXPECT_EQ(appWithPid(zeta)->bundleIdentifier, "Zeta");
}

TEST_F(TWX11DesktopTest, DesktopAndDockWindowsNeverMakeAnApplicationRegular) {
    pid_t desk = desktop_->spawn(
        {TWTestDesktop::testClientPath(), "--class", "desk,Desk", "--type", "desktop"});
    clients_.push_back(desk);
    ASSERT_TRUE(TWTestDesktop::waitFor([&] { return appWithPid(desk).has_value(); }));
    auto app = appWithPid(desk);
    EXPECT_EQ(app->activationPolicy, TWActivationPolicyProhibited);
    // Hiding it touches nothing: the desktop window is not one of its application windows.
    x11_->workspace().hide(*app);
    x11_->sync();
    for (auto w : windowsOf(desk)) {
        EXPECT_FALSE(desktop_->isIconic(w));
        EXPECT_FALSE(desktop_->hasHiddenMark(w));
    }
}

TEST_F(TWX11DesktopTest, HideMarksOnlyWhatItMinimizesAndUnhideRestoresOnlyThat) {
    pid_t pid = client({"--class", "pair,Pair"}, 2);
    auto wins = windowsOf(pid);
    ASSERT_EQ(wins.size(), 2u);
    // The user minimizes one window first.
    TWTestDesktop::run({"xdotool", "windowminimize", std::to_string(wins[1])});
    ASSERT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->isIconic(wins[1]); }));

    auto app = appWithPid(pid);
    ASSERT_TRUE(app);
    EXPECT_FALSE(app->hidden) << "a minimized window alone is not hidden";
    x11_->workspace().hide(*app);
    x11_->workspace().flush();
    ASSERT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->isMinimized(wins[0]); }));
    EXPECT_TRUE(desktop_->hasHiddenMark(wins[0]));
    EXPECT_FALSE(desktop_->hasHiddenMark(wins[1]));
    EXPECT_TRUE(appWithPid(pid)->hidden);

    // A second backend (another Tidewell process) sees the same state and restores it.
    auto other = TWX11Desktop::open();
    ASSERT_NE(other, nullptr);
    std::optional<TWRunningApplication> seen;
    for (const auto& a : other->workspace().runningApplications())
        if (a.processIdentifier == pid)
            seen = a;
    ASSERT_TRUE(seen);
    EXPECT_TRUE(seen->hidden);
    other->workspace().unhide(*seen);
    other->workspace().flush();
    EXPECT_TRUE(desktop_->hasHiddenMark(wins[0])) << "the mark stays until the window is back";
    ASSERT_TRUE(other->x11Workspace().settle(std::chrono::seconds(10)));
    EXPECT_FALSE(desktop_->isIconic(wins[0]));
    EXPECT_FALSE(desktop_->hasHiddenMark(wins[0]));
    other->sync();
    EXPECT_TRUE(desktop_->isIconic(wins[1])) << "the user's minimized window stays minimized";
    EXPECT_FALSE(appWithPid(pid)->hidden);
}

TEST_F(TWX11DesktopTest, AWindowWithdrawnWhileHiddenLeavesNoMarkAndIsHiddenAgainLater) {
    pid_t pid = client({"--class", "away,Away"});
    ASSERT_EQ(windowsOf(pid).size(), 1u);
    const unsigned long w = windowsOf(pid)[0];
    auto& workspace = x11_->x11Workspace();
    auto hideAndSettle = [&](TWX11Desktop& backend) {
        for (const auto& app : backend.workspace().runningApplications())
            if (app.processIdentifier == pid)
                backend.workspace().hide(app);
        ASSERT_TRUE(backend.x11Workspace().settle(std::chrono::seconds(15)));
        ASSERT_TRUE(desktop_->isIconic(w));
        ASSERT_TRUE(desktop_->hasHiddenMark(w));
    };
    auto withdrawAndShowAgain = [&](const std::function<void()>& whileWithdrawn) {
        kill(pid, SIGUSR1);
        ASSERT_TRUE(TWTestDesktop::waitFor([&] { return windowsOf(pid).empty(); }));
        whileWithdrawn();
        kill(pid, SIGUSR2);
        ASSERT_TRUE(TWTestDesktop::waitFor(
            [&] { return windowsOf(pid).size() == 1 && !desktop_->isIconic(w); }));
    };

    // Followed by the running backend: the mark goes with the hidden state, while the window is
    // still withdrawn.
    hideAndSettle(*x11_);
    withdrawAndShowAgain([&] {
        EXPECT_TRUE(TWTestDesktop::waitFor([&] {
            x11_->dispatchPendingEvents();
            return !desktop_->hasHiddenMark(w);
        }));
    });
    x11_->dispatchPendingEvents();
    EXPECT_FALSE(desktop_->hasHiddenMark(w));
    hideAndSettle(*x11_);
    workspace.unhide(*appWithPid(pid));
    ASSERT_TRUE(workspace.settle(std::chrono::seconds(15)));

    // Hidden by a process that has ended: the window comes back marked, and the next hide still
    // hides it, the next show-all clears the mark.
    {
        auto other = TWX11Desktop::open();
        hideAndSettle(*other);
    }
    withdrawAndShowAgain([] {});
    hideAndSettle(*x11_);
    workspace.unhide(*appWithPid(pid));
    ASSERT_TRUE(workspace.settle(std::chrono::seconds(15)));
    EXPECT_FALSE(desktop_->isIconic(w));
    EXPECT_FALSE(desktop_->hasHiddenMark(w));
}

TEST_F(TWX11DesktopTest, FrontSwitchIsReportedWhenTheOwningApplicationChanges) {
    pid_t one = client({"--class", "one,One"}, 2);
    pid_t two = client({"--class", "two,Two"});
    auto oneWins = windowsOf(one);
    auto twoWin = windowsOf(two).at(0);
    ASSERT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->activeWindow() == twoWin; }));
    int switches = 0;
    x11_->frontSwitchSource().installFrontSwitchHandler([&] { ++switches; });
    auto pump = [&] {
        pollfd pfd{x11_->eventFileDescriptor(), POLLIN, 0};
        poll(&pfd, 1, 20);
        x11_->dispatchPendingEvents();
    };
    TWTestDesktop::run({"wmctrl", "-i", "-a", std::to_string(oneWins[0])});
    EXPECT_TRUE(TWTestDesktop::waitFor([&] {
        pump();
        return switches == 1;
    }));
    // Another window of the same application is not a switch.
    TWTestDesktop::run({"wmctrl", "-i", "-a", std::to_string(oneWins[1])});
    ASSERT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->activeWindow() == oneWins[1]; }));
    x11_->sync();
    EXPECT_EQ(switches, 1);
    TWTestDesktop::run({"wmctrl", "-i", "-a", std::to_string(twoWin)});
    EXPECT_TRUE(TWTestDesktop::waitFor([&] {
        pump();
        return switches == 2;
    }));
}

TEST_F(TWX11DesktopTest, AWindowThatVanishesMidActionIsSkippedWithOneLogLine) {
    pid_t doomed = client({"--class", "doomed,Doomed"}, 3);
    pid_t survivor = client({"--class", "survivor,Survivor"});
    auto apps = x11_->workspace().runningApplications();
    desktop_->terminate(doomed);
    std::erase(clients_, doomed);
    ASSERT_TRUE(TWTestDesktop::waitFor([&] { return windowsOf(doomed).empty(); }));
    for (const auto& app : apps)
        if (app.processIdentifier == doomed || app.processIdentifier == survivor)
            x11_->workspace().hide(app);
    x11_->workspace().flush();
    x11_->sync();
    auto lines = std::count_if(log_.begin(), log_.end(), [](const std::string& l) {
        return l.find("already closed") != std::string::npos;
    });
    EXPECT_EQ(lines, 1);
    EXPECT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->isIconic(windowsOf(survivor)[0]); }));
    EXPECT_FALSE(appWithPid(doomed));
}

TEST_F(TWX11DesktopTest, EveryRequestForVanishedWindowsIsSkippedWithAtMostOneLinePerAction) {
    pid_t doomed = client({"--class", "vanishing,Vanishing"}, 2);
    auto wins = windowsOf(doomed);
    ASSERT_EQ(wins.size(), 2u);
    auto app = appWithPid(doomed);
    ASSERT_TRUE(app);
    x11_->workspace().hide(*app);
    x11_->workspace().flush();
    for (auto w : wins)
        ASSERT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->isIconic(w); }));
    // Everything the actions hold on to, fetched while the windows still exist.
    auto hidden = appWithPid(doomed);
    ASSERT_TRUE(hidden && hidden->hidden);
    auto scripted = x11_->scriptingBridge().applicationWithBundleIdentifier("Vanishing");
    auto window = scripted->FinderWindows()->firstObject();
    ASSERT_NE(window, nullptr);
    desktop_->terminate(doomed);
    std::erase(clients_, doomed);
    ASSERT_TRUE(TWTestDesktop::waitFor([&] { return windowsOf(doomed).empty(); }));

    auto& workspace = x11_->workspace();
    std::vector<std::pair<const char*, std::function<void()>>> actions = {
        {"unhide", [&] { workspace.unhide(*hidden); }},
        {"activate",
         [&] { workspace.activateWithOptions(*hidden, TWApplicationActivateIgnoringOtherApps); }},
        {"hide", [&] { workspace.hide(*hidden); }},
        {"collapse", [&] { window->setCollapsed(true); }},
        {"expand", [&] { window->setCollapsed(false); }},
        {"close", [&] { window->close(); }},
        {"list", [&] { EXPECT_FALSE(appWithPid(doomed)); }},
        {"count", [&] { EXPECT_EQ(scripted->FinderWindows()->count(), 0u); }},
    };
    for (auto& [name, action] : actions) {
        log_.clear();
        action();
        workspace.flush();
        x11_->sync();
        EXPECT_LE(log_.size(), 1u) << name;
    }
    EXPECT_FALSE(x11_->connection().hasError());
}

TEST_F(TWX11DesktopTest, RegisteredProcessesAreListedAndStaleOnesDropped) {
    TWProcessRegistry::registerCurrentProcess("net.quillfen.Tidewell", "Tidewell", 0);
    // A registration left behind by a process that has ended.
    pid_t gone = fork();
    if (gone == 0)
        _exit(0);
    waitpid(gone, nullptr, 0);
    std::string stale =
        TWProcessRegistry::registryDirectory() + "/" + std::to_string(gone) + ".process";
    std::ofstream(stale) << "pid=" << gone << "\nbundleID=net.quillfen.TidewellStatus\nname=x\n"
                         << "policy=1\nstart=1\nsequence=1\n";

    auto registered = TWProcessRegistry::registeredProcesses();
    ASSERT_EQ(registered.size(), 1u);
    EXPECT_EQ(registered[0].pid, getpid());
    EXPECT_FALSE(std::ifstream(stale).good()) << "the stale file is removed";

    auto self = appWithPid(getpid());
    ASSERT_TRUE(self);
    EXPECT_EQ(self->bundleIdentifier, "net.quillfen.Tidewell");
    EXPECT_EQ(self->localizedName, "Tidewell");
    EXPECT_EQ(self->activationPolicy, TWActivationPolicyRegular);
    TWProcessRegistry::unregisterCurrentProcess();
    EXPECT_FALSE(appWithPid(getpid()));
}

TEST_F(TWX11DesktopTest, FileManagerWindowListingsFollowStatesAndIdentityWithoutFullSnapshots) {
    desktop_->writeDesktopEntry("fmtest", "[Desktop Entry]\nType=Application\nName=FM Test\n"
                                          "Exec=fmtest\n");
    desktop_->writeDesktopEntry("bystander", "[Desktop Entry]\nType=Application\nName=By\n"
                                             "Exec=bystander\nStartupWMClass=bystander\n");
    x11_ = TWX11Desktop::open();
    pid_t fm = client({"--class", "fmtest,Fmtest"}, 2);
    client({"--class", "bystander,Bystander"});
    auto wins = windowsOf(fm);
    ASSERT_EQ(wins.size(), 2u);
    const auto& counts = x11_->connection().requestCounts();

    auto finder = x11_->scriptingBridge().applicationWithBundleIdentifier("fmtest");
    EXPECT_EQ(finder->newObjectOfScriptingClass("Finder folder"), nullptr);
    const long before = counts.snapshots;
    EXPECT_EQ(finder->FinderWindows()->count(), 2u);
    EXPECT_EQ(counts.snapshots, before + 1);

    // Minimized behind the window manager's back: the next listing puts it last, and still
    // without a full snapshot.
    auto windowOf = [](const std::shared_ptr<TWScriptingWindow>& w) {
        auto* ours = dynamic_cast<TWScriptingAdapterWindow*>(w.get());
        return ours ? static_cast<unsigned long>(ours->window()) : 0ul;
    };
    const unsigned long front = windowOf(finder->FinderWindows()->firstObject());
    ASSERT_TRUE(front == wins[0] || front == wins[1]);
    const unsigned long back = front == wins[0] ? wins[1] : wins[0];
    TWTestDesktop::run({"xdotool", "windowminimize", std::to_string(front)});
    ASSERT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->isIconic(front); }));
    auto next = finder->FinderWindows()->firstObject();
    EXPECT_EQ(windowOf(next), back) << "the window still open comes first";
    next->setCollapsed(true);
    x11_->workspace().flush();
    EXPECT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->isIconic(back); }));
    EXPECT_EQ(finder->FinderWindows()->count(), 2u);
    EXPECT_EQ(counts.snapshots, before + 1);
    EXPECT_GE(counts.partialSnapshots, 3);

    // A known window ID that now describes another application's window is not listed.
    TWTestDesktop::run({"xprop", "-id", std::to_string(front), "-f", "WM_CLASS", "8s", "-set",
                        "WM_CLASS", "bystander"});
    EXPECT_TRUE(TWTestDesktop::waitFor([&] { return finder->FinderWindows()->count() == 1; }));

    // Windows that vanish are left out, quietly.
    desktop_->terminate(fm);
    clients_.erase(std::find(clients_.begin(), clients_.end(), fm));
    EXPECT_TRUE(TWTestDesktop::waitFor([&] { return finder->FinderWindows()->count() == 0; }));
    EXPECT_EQ(finder->FinderWindows()->firstObject(), nullptr);
}

TEST_F(TWX11DesktopTest, KeyboardModifiersFollowTheKeysHeld) {
    EXPECT_EQ(x11_->keyboard().currentKeyModifiers(), 0u);
    TWTestDesktop::run({"xdotool", "keydown", "shift"});
    EXPECT_EQ(x11_->keyboard().currentKeyModifiers(), TWShiftKey);
    TWTestDesktop::run({"xdotool", "keydown", "ctrl"});
    EXPECT_EQ(x11_->keyboard().currentKeyModifiers(), TWShiftKey | TWControlKey);
    TWTestDesktop::run({"xdotool", "keyup", "shift", "keyup", "ctrl"});
    EXPECT_EQ(x11_->keyboard().currentKeyModifiers(), 0u);
    EXPECT_EQ(
        TWX11Keyboard::modifiersFromXMask(XCB_MOD_MASK_1 | XCB_MOD_MASK_4 | XCB_MOD_MASK_LOCK),
        TWOptionKey | TWCommandKey | TWAlphaLock);
}

TEST_F(TWX11DesktopTest, AppleEventsAreDroppedWithOneLine) {
    TWAppleEvent event;
    event.eventClass = TWFourCharCode("aevt");
    event.eventID = TWFourCharCode("rapp");
    event.targetData = {'A', 'B', 'C', 'D'};
    x11_->appleEventSender().send(event);
    ASSERT_EQ(log_.size(), 1u);
    EXPECT_NE(log_[0].find("'aevt'/'rapp' to 'ABCD'"), std::string::npos) << log_[0];
}

TEST(TWDesktopEntryIndexTest, ExecLinesAndLocalizedNames) {
    using V = std::vector<std::string>;
    EXPECT_EQ(TWDesktopEntryIndex::commandLineFromExec("pcmanfm %U"), V{"pcmanfm"});
    EXPECT_EQ(TWDesktopEntryIndex::commandLineFromExec(
                  "\"/opt/my app/bin/run\" --name=\"a \\\"b\\\"\" 100%% %f"),
              (V{"/opt/my app/bin/run", "--name=a \"b\"", "100%"}));
    EXPECT_EQ(TWDesktopEntryIndex::commandLineFromExec("\"unterminated"), V{"unterminated"});
    TWDesktopEntry entry;
    entry.name = {{"", "Files"}, {"de", "Dateien"}, {"de_AT", "Dateien (AT)"}, {"sr@latin", "L"}};
    EXPECT_EQ(TWDesktopEntryIndex::localizedName(entry, "de_AT.UTF-8"), "Dateien (AT)");
    EXPECT_EQ(TWDesktopEntryIndex::localizedName(entry, "de_CH.UTF-8"), "Dateien");
    EXPECT_EQ(TWDesktopEntryIndex::localizedName(entry, "sr_RS@latin"), "L");
    EXPECT_EQ(TWDesktopEntryIndex::localizedName(entry, "fr_FR"), "Files");
    EXPECT_EQ(TWDesktopEntryIndex::localizedName(entry, "C"), "Files");
}

} // namespace
