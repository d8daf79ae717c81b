// SPDX-License-Identifier: MIT
// The desktop actions on a headless KWin with real Wayland clients, checked through KWin's own
// D-Bus description of each window: listing and identity, hide-others and show-all with the
// file manager, an exclusion and a window the user minimized, front switches, the menu toggle,
// a client killed mid-action, what the backend factory says on each compositor, and global
// shortcuts as KDE's global-shortcut service (in KWin) holds them.
#include "TWKWinDesktop.h"
#include "TWCommon.h"
#include "TWKWinGlobalShortcuts.h"
#include "TWKWinTestDesktop.h"
#include "TWPlatformFactory.h"
#include "TWProcessRegistry.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWTestPaths.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <linux/input-event-codes.h>
#include <map>
#include <poll.h>
#include <set>
#include <thread>

namespace {

const std::string kTerminal = "org.freedesktop.weston.wayland-terminal";
const std::string kFlower = "org.freedesktop.weston.flower";

// Absolute: KWin compares the desktop entry's Exec with the client's executable path.
const std::string kTool = TWTestProgramPath("tidewellctl");

class TWKWinDesktopTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { session_ = new TWKWinTestDesktop({kTool}); }
    static void TearDownTestSuite() { delete std::exchange(session_, nullptr); }
    void SetUp() override {
        ASSERT_TRUE(session_->ok()) << session_->error();
        std::string why;
        kwin_ = TWKWinDesktop::open("", &why);
        ASSERT_NE(kwin_, nullptr) << why;
        // "The user": a second client of the window management, as a taskbar would be.
        user_ = TWKWinDesktop::open("", &why);
        ASSERT_NE(user_, nullptr) << why;
        TWRegisterDefaults(standard_, shared_);
        TWProcessRegistry::registerCurrentProcess(TWOwnBundleIdentifier, TWOwnName, 0);
    }
    void TearDown() override {
        TWProcessRegistry::unregisterCurrentProcess();
        common_.reset();
        kwin_.reset();
        user_.reset();
        for (pid_t pid : clients_)
            session_->terminate(pid);
        session_->killStrays(); // a file manager the actions started runs on its own
    }
    TWCommon& common() {
        if (!common_)
            common_ = std::make_unique<TWCommon>(*kwin_, shared_);
        return *common_;
    }
    // Starts a client and waits until KWin describes a window of it; that window's ID.
    std::string client(const std::vector<std::string>& argv, pid_t* pid = nullptr) {
        clients_.push_back(session_->spawn(argv));
        std::string uuid;
        EXPECT_TRUE(waitFor([&] {
            for (const auto& w : user_->connection().snapshot().windows)
                if (w.pid == clients_.back())
                    uuid = w.uuid;
            return !uuid.empty();
        })) << argv[0]
            << " showed no window";
        if (pid)
            *pid = clients_.back();
        return uuid;
    }
    // What KWin itself says, once it settles on `minimized`.
    bool becomes(const std::string& uuid, bool minimized) {
        return waitFor([&] { return session_->isMinimized(uuid) == minimized; });
    }
    bool isActive(const std::string& uuid) {
        return waitFor([&] { return user_->connection().snapshot().activeWindow == uuid; });
    }
    void userMinimizes(const std::string& uuid, bool minimized) {
        user_->connection().setMinimized(uuid, minimized);
        user_->connection().sync();
        ASSERT_TRUE(becomes(uuid, minimized));
    }
    TWHiddenMarks marks() { return kwin_->kwinWorkspace().record().read(); }

    static inline TWKWinTestDesktop* session_ = nullptr;
    std::unique_ptr<TWKWinDesktop> kwin_, user_;
    TWUserDefaults shared_{std::make_shared<TWSimDefaultsStore>()},
        standard_{std::make_shared<TWSimDefaultsStore>()};
    std::unique_ptr<TWCommon> common_;
    std::vector<pid_t> clients_;
};

TEST_F(TWKWinDesktopTest, ListedByProcessWithIdentityAndHideOthersThenShowAllRestoresOnlyItsOwn) {
    session_->writeDesktopEntry(kFlower, "[Desktop Entry]\nType=Application\nName=Test Flower\n"
                                         "Exec=weston-flower\n");
    pid_t fm, terminal, flower, minimizedByUser;
    const std::string fmWindow = client({"thunar", session_->home()}, &fm),
                      terminalWindow = client({"weston-terminal"}, &terminal),
                      flowerWindow = client({"weston-flower"}, &flower),
                      userWindow = client({"weston-flower"}, &minimizedByUser);

    std::map<pid_t, TWRunningApplication> apps;
    for (const auto& a : kwin_->workspace().runningApplications())
        apps[a.processIdentifier] = a;
    for (pid_t pid : {fm, terminal, flower, minimizedByUser})
        ASSERT_TRUE(apps.count(pid)) << pid;
    EXPECT_EQ(apps[terminal].bundleIdentifier, kTerminal);
    EXPECT_EQ(apps[terminal].activationPolicy, TWActivationPolicyRegular);
    // Two copies of one application: two entries, one identity, the desktop entry's name.
    EXPECT_EQ(apps[flower].bundleIdentifier, kFlower);
    EXPECT_EQ(apps[minimizedByUser].bundleIdentifier, kFlower);
    EXPECT_NE(apps[flower].handle, apps[minimizedByUser].handle);
    EXPECT_EQ(apps[flower].localizedName, "Test Flower");
    // Tidewell itself is listed through its registration, as on X11.
    EXPECT_EQ(apps[getpid()].bundleIdentifier, TWOwnBundleIdentifier);
    // The command-line tool sees the same desktop.
    std::string listing = run({kTool, "list"});
    EXPECT_NE(listing.find(kTerminal), std::string::npos) << listing;

    userMinimizes(userWindow, true);
    shared_.setObject(TWPlistArray{TWPlistDictionary{{TWExcludedBundleIDField, kTerminal}}},
                      TWExcludedAppsKey);
    common().showFinderHideOthers();
    EXPECT_TRUE(becomes(flowerWindow, true));
    EXPECT_TRUE(becomes(fmWindow, true)); // collapsed: the file manager's windows
    EXPECT_EQ(session_->isMinimized(terminalWindow), false);
    // Only what Tidewell minimized is on record, where every Tidewell process reads it.
    EXPECT_EQ(marks().size(), 1u);
    EXPECT_TRUE(marks().count(flowerWindow));
    for (const auto& a : user_->workspace().runningApplications())
        EXPECT_TRUE(a.hidden || a.processIdentifier != flower);

    common().showAll();
    EXPECT_TRUE(becomes(flowerWindow, false));
    EXPECT_EQ(session_->isMinimized(userWindow), true);
    EXPECT_EQ(session_->isMinimized(fmWindow), true);
    EXPECT_TRUE(marks().empty());
    EXPECT_FALSE(std::filesystem::exists(kwin_->kwinWorkspace().record().path()));

    // Hidden again, brought back and minimized again by the user: show-all leaves it so.
    common().showFinderHideOthers();
    ASSERT_TRUE(becomes(flowerWindow, true));
    userMinimizes(flowerWindow, false);
    userMinimizes(flowerWindow, true);
    common().showAll();
    // Nothing to wait for: give KWin the time of a full answer, then look.
    kwin_->connection().sync();
    EXPECT_EQ(session_->isMinimized(flowerWindow), true);
    EXPECT_TRUE(marks().empty());
}

TEST_F(TWKWinDesktopTest, TheFrontApplicationIsRecordedAndActivatedAgainAClientKilledLosesNoOther) {
    pid_t flower;
    const std::string terminalWindow = client({"weston-terminal"}),
                      flowerWindow = client({"weston-flower"}, &flower);
    // KWin activates a new window once it is described: that is the baseline.
    ASSERT_TRUE(isActive(flowerWindow));
    common();
    for (auto [window, identifier] : {std::pair{terminalWindow, kTerminal},
                                      {flowerWindow, kFlower},
                                      {terminalWindow, kTerminal}}) {
        user_->connection().activate(window);
        user_->connection().sync();
        EXPECT_TRUE(waitFor([&] {
            pollfd pfd{kwin_->eventFileDescriptor(), POLLIN, 0};
            poll(&pfd, 1, 20);
            kwin_->dispatchPendingEvents();
            return common().currentActiveBundleID() == identifier;
        }));
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
    const auto apps = kwin_->workspace().runningApplications();
    session_->terminate(flower, SIGKILL);
    std::erase(clients_, flower);
    for (const auto& app : apps)
        if (app.processIdentifier != getpid())
            kwin_->workspace().hide(app);
    kwin_->workspace().flush();
    EXPECT_TRUE(becomes(terminalWindow, true));
    EXPECT_EQ(session_->isMinimized(flowerWindow), std::nullopt);
    common().showAll();
    EXPECT_TRUE(becomes(terminalWindow, false));
    kwin_->workspace().runningApplications();
    EXPECT_TRUE(marks().empty());
}

TEST_F(TWKWinDesktopTest, ShowAllWhileTheFocusChangesEvery20msRestoresEveryWindow) {
    // Another client passes the focus between two excluded applications while three others are
    // hidden and shown again at once: each switch lists the applications anew in the middle of
    // show-all, and every restore counts once KWin shows the window restored.
    shared_.setObject(TWPlistArray{TWPlistDictionary{{TWExcludedBundleIDField, kTerminal}}},
                      TWExcludedAppsKey);
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
    std::atomic<bool> stop = false;
    std::thread churn([&] {
        auto other = TWKWinConnection::open("", nullptr);
        for (std::size_t n = 0; other && !stop; ++n) {
            other->activate(terminals[n % 2]);
            other->flush();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    struct Join {
        std::atomic<bool>& stop;
        std::thread& thread;
        ~Join() {
            stop = true;
            thread.join();
        }
    } join{stop, churn};
    for (int cycle = 0; cycle < 12; ++cycle) {
        for (const auto& app : kwin_->workspace().runningApplications())
            if (hiddenPids.count(app.processIdentifier))
                kwin_->workspace().hide(app);
        kwin_->workspace().flush();
        // Show-all follows at once, as a second run of the tool would: the windows' states
        // may not have come back yet.
        common().showAll();
        kwin_->dispatchPendingEvents();
        for (const auto& id : hidden)
            ASSERT_TRUE(becomes(id, false)) << cycle;
        ASSERT_TRUE(marks().empty()) << cycle;
    }

    // KWin minimizing a window again each time it is restored (a script of its own, standing
    // for whatever refuses), three times: show-all's restores are not confirmed and the window
    // keeps its mark; then it refuses no more, and the next show-all brings it back.
    const std::string script = session_->home() + "/refuse.js";
    // Running once the window is kept above.
    TWWriteFile(script, "let left = 3; for (const c of workspace.clientList()) if "
                        "(String(c.internalId) === '" +
                            hidden[0] +
                            "') { c.keepAbove = true; c.minimizedChanged.connect(() => { if "
                            "(!c.minimized && left-- > 0) c.minimized = true; }); }");
    for (const auto& app : kwin_->workspace().runningApplications())
        if (hiddenPids.count(app.processIdentifier))
            kwin_->workspace().hide(app);
    kwin_->workspace().flush();
    ASSERT_TRUE(becomes(hidden[0], true));
    for (const auto& call :
         {"org.kde.kwin.Scripting.loadScript string:" + script + " string:tidewell-refuse",
          std::string("org.kde.kwin.Scripting.start")})
        run({"sh", "-c",
             "dbus-send --session --print-reply --dest=org.kde.KWin /Scripting " + call});
    ASSERT_TRUE(waitFor([&] {
        const std::string info =
            run({"dbus-send", "--session", "--print-reply", "--dest=org.kde.KWin", "/KWin",
                 "org.kde.KWin.getWindowInfo", "string:" + hidden[0]});
        const auto key = info.find("\"keepAbove\"");
        const auto value = key == std::string::npos ? key : info.find("boolean ", key);
        return value != std::string::npos && info.compare(value + 8, 4, "true") == 0;
    }));
    common().showAll();
    EXPECT_TRUE(becomes(hidden[1], false));
    EXPECT_EQ(session_->isMinimized(hidden[0]), true);
    EXPECT_TRUE(marks().count(hidden[0]));
    common().showAll();
    EXPECT_TRUE(becomes(hidden[0], false));
    EXPECT_TRUE(marks().empty());
}

TEST_F(TWKWinDesktopTest, TheFactoryChoosesKWinAndSaysWhatIsMissingElsewhere) {
    EXPECT_NE(dynamic_cast<TWKWinDesktop*>(TWMakeDesktop(TWDesktopKind::Session).get()), nullptr);
    // A program KWin was not told about gets no window management.
    const std::string other = session_->home() + "/other";
    std::string denied = run(
        {"sh", "-c", "cp '" + kTool + "' '" + other + "' && '" + other + "' list 2>&1; echo $?"});
    EXPECT_NE(denied.find("X-KDE-Wayland-Interfaces=org_kde_plasma_window_management"),
              std::string::npos)
        << denied;
    EXPECT_EQ(denied.substr(denied.size() - 2), "1\n") << denied;

    // weston offers no such protocol, as GNOME does not.
    const std::string socket = session_->socket() + "-weston", saved = session_->socket();
    pid_t weston = session_->spawn(
        {"weston", "--backend=headless-backend.so", "--socket=" + socket, "--idle-time=0"});
    ASSERT_TRUE(waitFor([&] {
        return std::filesystem::exists(std::string(getenv("XDG_RUNTIME_DIR")) + "/" + socket);
    }));
    setenv("WAYLAND_DISPLAY", socket.c_str(), 1);
    std::string why;
    std::unique_ptr<TWDesktop> desktop;
    waitFor([&] {
        desktop = TWMakeDesktop(TWDesktopKind::Session, &why);
        return why.rfind("cannot connect", 0) != 0;
    });
    setenv("WAYLAND_DISPLAY", saved.c_str(), 1);
    session_->terminate(weston);
    EXPECT_EQ(desktop, nullptr);
    EXPECT_EQ(why, "this desktop does not let other programs hide windows");
}

// KDE's global-shortcut service, asked with gdbus.
std::string kglobalaccel(const std::string& method, const std::vector<std::string>& args,
                         const std::string& path = "/kglobalaccel",
                         const std::string& interface = "org.kde.KGlobalAccel") {
    std::vector<std::string> argv{"gdbus",
                                  "call",
                                  "--session",
                                  "--dest",
                                  "org.kde.kglobalaccel",
                                  "--object-path",
                                  path,
                                  "--method",
                                  interface + "." + method};
    argv.insert(argv.end(), args.begin(), args.end());
    return run(argv);
}

std::string actionId(const std::string& action) {
    return "[\"net.quillfen.Tidewell\", \"" + action + "\", \"\", \"\"]";
}

TEST_F(TWKWinDesktopTest, ShortcutsAreHeldByKDEsServiceClashesAreRefusedAndAPressIsHandled) {
    auto& shortcuts = kwin_->globalShortcuts();
    std::vector<TWShortcutAction> pressed;
    shortcuts.setActivationHandler([&](TWShortcutAction action) { pressed.push_back(action); });
    EXPECT_EQ(shortcuts.bind(TWShortcutAction::HideOthers, "Ctrl+Alt+H"), std::nullopt);
    EXPECT_EQ(shortcuts.bind(TWShortcutAction::ShowAll, "meta+f12"), std::nullopt);
    // Qt's codes: Ctrl 0x04000000 | Alt 0x08000000 | 'H'; Meta 0x10000000 | F12 0x0100003b.
    EXPECT_EQ(kglobalaccel("shortcut", {actionId("hide-others")}), "([201326664],)\n");
    EXPECT_EQ(kglobalaccel("shortcut", {actionId("show-all")}), "([285212731],)\n");

    // KWin's own Alt+Tab stays KWin's, and Show All keeps what it had.
    auto refused = shortcuts.bind(TWShortcutAction::ShowAll, "Alt+Tab");
    ASSERT_TRUE(refused.has_value());
    EXPECT_NE(refused->find("Walk Through Windows"), std::string::npos) << *refused;
    EXPECT_EQ(kglobalaccel("shortcut", {actionId("show-all")}), "([285212731],)\n");
    EXPECT_TRUE(shortcuts.bind(TWShortcutAction::ShowAll, "Ctrl+Alt+H").has_value());

    // Pressed on KWin's input: the service tells, through the desktop's one descriptor.
    ASSERT_TRUE(session_->pressKeys({KEY_LEFTCTRL, KEY_LEFTALT, KEY_H}));
    EXPECT_TRUE(waitFor([&] {
        pollfd pfd{kwin_->eventFileDescriptor(), POLLIN, 0};
        if (poll(&pfd, 1, 100) > 0)
            kwin_->dispatchPendingEvents();
        return !pressed.empty();
    }));
    EXPECT_EQ(pressed, std::vector<TWShortcutAction>{TWShortcutAction::HideOthers});

    // Changed in KDE's system settings (which set other components' keys so): Tidewell is told.
    std::vector<std::string> changed;
    shortcuts.setChangeHandler([&](TWShortcutAction action, const std::string& keys) {
        changed.push_back(TWKWinGlobalShortcuts::actionName(action) + (" " + keys));
    });
    kglobalaccel("setForeignShortcut", {actionId("hide-others"), "[201326666]"});
    EXPECT_TRUE(waitFor([&] {
        pollfd pfd{kwin_->eventFileDescriptor(), POLLIN, 0};
        if (poll(&pfd, 1, 100) > 0)
            kwin_->dispatchPendingEvents();
        return !changed.empty();
    }));
    EXPECT_EQ(changed, std::vector<std::string>{"hide-others Ctrl+Alt+J"});
    shortcuts.setChangeHandler(nullptr);

    // Cleared: the keys are free again.
    EXPECT_EQ(shortcuts.bind(TWShortcutAction::HideOthers, ""), std::nullopt);
    EXPECT_EQ(kglobalaccel("shortcut", {actionId("hide-others")}), "(@ai [],)\n");
    EXPECT_EQ(kglobalaccel("action", {"201326664"}), "(@as [],)\n");
}

} // namespace
