// SPDX-License-Identifier: MIT
// The desktop actions on a headless GNOME Shell with Tidewell's extension and real Wayland
// clients, checked through the shell's own Eval (a test-only extension opens it): listing and
// identity, hide-others and show-all with nautilus, an exclusion and a window the user
// minimized, front switches, a client killed mid-action, a caller that is not Tidewell, the
// extension disabled and enabled again under a running backend, and global shortcuts.
#include "TWGnomeDesktop.h"
#include "TWCommon.h"
#include "TWGnomeTestDesktop.h"
#include "TWLogCapture.h"
#include "TWPlatformFactory.h"
#include "TWProcessRegistry.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWTestPaths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <map>
#include <poll.h>
#include <set>
#include <sys/wait.h>
#include <systemd/sd-bus.h>

namespace {

const std::string kTerminal = "org.freedesktop.weston.wayland-terminal";
const std::string kFlower = "org.freedesktop.weston.flower";
const std::string kNautilus = "org.gnome.Nautilus";
const std::string kTool = TWTestProgramPath("tidewellctl");

class TWGnomeDesktopTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { session_ = new TWGnomeTestDesktop(); }
    static void TearDownTestSuite() { delete std::exchange(session_, nullptr); }
    void SetUp() override {
        ASSERT_TRUE(session_->ok()) << session_->error();
        std::string why;
        gnome_ = TWGnomeDesktop::open(&why);
        ASSERT_NE(gnome_, nullptr) << why;
        TWRegisterDefaults(standard_, shared_);
        TWProcessRegistry::registerCurrentProcess(TWOwnBundleIdentifier, TWOwnName, 0);
    }
    void TearDown() override {
        TWProcessRegistry::unregisterCurrentProcess();
        common_.reset();
        gnome_.reset();
        for (pid_t pid : clients_)
            session_->terminate(pid);
        session_->killStrays(); // nautilus, and what the bus started
    }
    TWCommon& common() {
        if (!common_)
            common_ = std::make_unique<TWCommon>(*gnome_, shared_);
        return *common_;
    }
    // Starts a client and waits until the shell shows a window of it; that window's ID.
    std::uint64_t client(const std::vector<std::string>& argv, pid_t* pid = nullptr) {
        clients_.push_back(session_->spawn(argv));
        auto ids = session_->windowsOf(clients_.back());
        EXPECT_FALSE(ids.empty()) << argv[0] << " showed no window";
        if (pid)
            *pid = clients_.back();
        return ids.empty() ? 0 : ids.front();
    }
    // What the shell itself says, once it settles on `minimized`.
    bool becomes(std::uint64_t id, bool minimized) {
        return waitFor([&] { return session_->isMinimized(id) == minimized; });
    }
    bool isFocused(std::uint64_t id) {
        return waitFor([&] { return session_->focusedWindow() == id; });
    }
    void userMinimizes(std::uint64_t id, bool minimized) {
        session_->userMinimize(id, minimized);
        ASSERT_TRUE(becomes(id, minimized));
    }
    // Handles the backend's signals until `condition` holds.
    bool dispatchUntil(const std::function<bool()>& condition) {
        return waitFor([&] {
            pollfd pfd{gnome_->eventFileDescriptor(), POLLIN, 0};
            poll(&pfd, 1, 20);
            gnome_->dispatchPendingEvents();
            return condition();
        });
    }
    TWHiddenMarks marks() { return gnome_->gnomeWorkspace().record().read(); }

    static inline TWGnomeTestDesktop* session_ = nullptr;
    std::unique_ptr<TWGnomeDesktop> gnome_;
    TWUserDefaults shared_{std::make_shared<TWSimDefaultsStore>()},
        standard_{std::make_shared<TWSimDefaultsStore>()};
    std::unique_ptr<TWCommon> common_;
    std::vector<pid_t> clients_;
};

TEST_F(TWGnomeDesktopTest, ListedByProcessWithIdentityAndHideOthersThenShowAllRestoresOnlyItsOwn) {
    session_->writeDesktopEntry(kFlower, "[Desktop Entry]\nType=Application\nName=Test Flower\n"
                                         "Exec=weston-flower\n");
    pid_t fm, terminal, flower, minimizedByUser;
    const auto fmWindow = client({"nautilus", "--new-window", session_->home()}, &fm),
               terminalWindow = client({"weston-terminal"}, &terminal),
               flowerWindow = client({"weston-flower"}, &flower),
               userWindow = client({"weston-flower"}, &minimizedByUser);

    std::map<pid_t, TWRunningApplication> apps;
    for (const auto& a : gnome_->workspace().runningApplications())
        apps[a.processIdentifier] = a;
    for (pid_t pid : {fm, terminal, flower, minimizedByUser})
        ASSERT_TRUE(apps.count(pid)) << pid;
    // nautilus is recognised as the file manager through the shell's own match.
    EXPECT_EQ(gnome_->workspace().fileManagerBundleIdentifier(), kNautilus);
    EXPECT_EQ(apps[fm].bundleIdentifier, kNautilus);
    EXPECT_EQ(apps[terminal].bundleIdentifier, kTerminal);
    EXPECT_EQ(apps[terminal].activationPolicy, TWActivationPolicyRegular);
    // Two copies of one application: two entries, one identity, the desktop entry's name.
    EXPECT_EQ(apps[flower].bundleIdentifier, kFlower);
    EXPECT_EQ(apps[minimizedByUser].bundleIdentifier, kFlower);
    EXPECT_NE(apps[flower].handle, apps[minimizedByUser].handle);
    EXPECT_EQ(apps[flower].localizedName, "Test Flower");
    EXPECT_EQ(apps[getpid()].bundleIdentifier, TWOwnBundleIdentifier);
    // The command-line tool, a process of its own, is let in too.
    std::string listing = run({kTool, "list"});
    EXPECT_NE(listing.find(kTerminal), std::string::npos) << listing;

    userMinimizes(userWindow, true);
    shared_.setObject(TWPlistArray{TWPlistDictionary{{TWExcludedBundleIDField, kTerminal}}},
                      TWExcludedAppsKey);
    common().showFinderHideOthers();
    EXPECT_TRUE(becomes(flowerWindow, true));
    EXPECT_TRUE(becomes(fmWindow, true)); // collapsed: the file manager's windows
    EXPECT_EQ(session_->isMinimized(terminalWindow), false);
    EXPECT_EQ(marks().size(), 1u);
    EXPECT_TRUE(marks().count(std::to_string(flowerWindow)));

    common().showAll();
    EXPECT_TRUE(becomes(flowerWindow, false));
    EXPECT_EQ(session_->isMinimized(userWindow), true);
    EXPECT_EQ(session_->isMinimized(fmWindow), true);
    EXPECT_TRUE(marks().empty());

    // Hidden again, brought back and minimized again by the user: show-all leaves it so.
    common().showFinderHideOthers();
    ASSERT_TRUE(becomes(flowerWindow, true));
    userMinimizes(flowerWindow, false);
    userMinimizes(flowerWindow, true);
    common().showAll();
    gnome_->connection().sync();
    EXPECT_EQ(session_->isMinimized(flowerWindow), true);
    EXPECT_TRUE(marks().empty());

    // Closing instead: nautilus's window goes, and one new window comes in front.
    shared_.setBool(true, TWCloseAllFinderKey);
    shared_.setBool(true, TWShowWindowKey);
    std::set<std::uint64_t> before;
    for (const auto& w : session_->windows())
        before.insert(w.id);
    common().showFinderHideOthers();
    EXPECT_TRUE(waitFor([&] {
        const auto now = session_->windows();
        return std::none_of(now.begin(), now.end(),
                            [&](const auto& w) { return w.id == fmWindow; }) &&
               std::any_of(now.begin(), now.end(),
                           [&](const auto& w) { return !before.count(w.id) && w.focused; });
    }));
}

TEST_F(TWGnomeDesktopTest,
       TheFrontApplicationIsRecordedAndActivatedAgainAClientKilledLosesNoOther) {
    pid_t flower;
    const auto terminalWindow = client({"weston-terminal"}),
               flowerWindow = client({"weston-flower"}, &flower);
    // The shell focuses a new window once it is shown: that is the baseline.
    ASSERT_TRUE(isFocused(flowerWindow));
    common();
    for (auto [window, identifier] : {std::pair{terminalWindow, kTerminal},
                                      {flowerWindow, kFlower},
                                      {terminalWindow, kTerminal}}) {
        session_->userActivate(window);
        EXPECT_TRUE(dispatchUntil([&, id = identifier] {
            return common().currentActiveBundleID() == id;
        })) << identifier;
    }
    common().showFinderHideOthers();
    ASSERT_TRUE(becomes(terminalWindow, true));
    common().showAll();
    EXPECT_TRUE(becomes(terminalWindow, false));
    EXPECT_TRUE(isFocused(terminalWindow));

    // A client listed, then killed before its hide, as hide-others can meet it: the rest is
    // hidden and shown again, and the dead window's mark, if it got one, goes with the window.
    const auto apps = gnome_->workspace().runningApplications();
    session_->terminate(flower, SIGKILL);
    std::erase(clients_, flower);
    for (const auto& app : apps)
        if (app.processIdentifier != getpid())
            gnome_->workspace().hide(app);
    gnome_->workspace().flush();
    EXPECT_TRUE(becomes(terminalWindow, true));
    EXPECT_EQ(session_->isMinimized(flowerWindow), std::nullopt);
    common().showAll();
    EXPECT_TRUE(becomes(terminalWindow, false));
    gnome_->workspace().runningApplications();
    EXPECT_TRUE(marks().empty());
}

// Another client passing the focus between `windows` every 20 ms, inside the shell, until
// the object goes.
class FocusChurn {
  public:
    FocusChurn(TWGnomeTestDesktop& session, const std::vector<std::uint64_t>& windows)
        : session_(session) {
        std::string ids;
        for (auto id : windows)
            ids += (ids.empty() ? "" : ",") + std::to_string(id);
        session_.eval("(() => { let n = 0; const ids = [" + ids +
                      "]; globalThis.twChurn = imports.gi.GLib.timeout_add(0, 20, () => { const "
                      "w = global.get_window_actors().map(a => a.meta_window).find(w => "
                      "w.get_id() === ids[n++ % ids.length]); w?.activate("
                      "global.get_current_time()); return true; }); })()");
    }
    ~FocusChurn() { session_.eval("imports.gi.GLib.source_remove(globalThis.twChurn)"); }

  private:
    TWGnomeTestDesktop& session_;
};

TEST_F(TWGnomeDesktopTest, ShowAllWhileTheFocusChangesEvery20msRestoresEveryWindow) {
    // The focus passes between two excluded applications while three others are hidden and
    // shown again: each switch lists the applications anew in the middle of show-all.
    shared_.setObject(TWPlistArray{TWPlistDictionary{{TWExcludedBundleIDField, kTerminal}}},
                      TWExcludedAppsKey);
    const std::vector<std::uint64_t> terminals = {client({"weston-terminal"}),
                                                  client({"weston-terminal"})};
    std::vector<std::uint64_t> hidden;
    std::set<pid_t> hiddenPids;
    for (int i = 0; i < 3; ++i) {
        pid_t pid;
        hidden.push_back(client({"weston-flower"}, &pid));
        hiddenPids.insert(pid);
    }
    common();
    FocusChurn churn(*session_, terminals);
    for (int cycle = 0; cycle < 12; ++cycle) {
        for (const auto& app : gnome_->workspace().runningApplications())
            if (hiddenPids.count(app.processIdentifier))
                gnome_->workspace().hide(app);
        gnome_->workspace().flush();
        for (auto id : hidden)
            ASSERT_TRUE(becomes(id, true)) << cycle;
        common().showAll();
        gnome_->dispatchPendingEvents();
        for (auto id : hidden)
            ASSERT_TRUE(becomes(id, false)) << cycle;
        ASSERT_TRUE(marks().empty()) << cycle;
    }
}

TEST_F(TWGnomeDesktopTest, ARestoreTheShellDoesNotConfirmKeepsItsMarkUntilAShowAllDoesIt) {
    pid_t pid;
    const auto window = client({"weston-flower"}, &pid);
    // Something in the shell makes this window's restore fail `times` times.
    auto refuse = [&](int times) {
        session_->eval("(() => { const Meta = imports.gi.Meta; globalThis.twRefuse = " +
                       std::to_string(times) +
                       "; if (!globalThis.twUnminimize) { globalThis.twUnminimize = "
                       "Meta.Window.prototype.unminimize; Meta.Window.prototype.unminimize = "
                       "function () { if (this.get_id() === " +
                       std::to_string(window) +
                       " && globalThis.twRefuse-- > 0) throw new Error('refused'); return "
                       "globalThis.twUnminimize.call(this); }; } })()");
    };
    auto hide = [&] {
        for (const auto& app : gnome_->workspace().runningApplications())
            if (app.processIdentifier == pid)
                gnome_->workspace().hide(app);
        gnome_->workspace().flush();
        ASSERT_TRUE(becomes(window, true));
    };
    // The shell's effect is skipped for each window Tidewell minimizes or restores, and used
    // up, so that the user's own next minimize plays it.
    session_->eval("(() => { const wm = imports.ui.main.wm; globalThis.twSkipped = 0; const "
                   "skip = wm.skipNextEffect; wm.skipNextEffect = function (actor) { "
                   "++globalThis.twSkipped; skip.call(this, actor); }; })()");
    // Refused once: show-all asks again.
    hide();
    refuse(1);
    common().showAll();
    EXPECT_TRUE(becomes(window, false));
    EXPECT_TRUE(marks().empty());
    // Refused every time: the window stays hidden and on record, for the next show-all.
    hide();
    refuse(100);
    common().showAll();
    gnome_->connection().sync();
    EXPECT_EQ(session_->isMinimized(window), true);
    EXPECT_TRUE(marks().count(std::to_string(window)));
    gnome_->workspace().runningApplications();
    EXPECT_TRUE(marks().count(std::to_string(window)));
    refuse(0);
    common().showAll();
    EXPECT_TRUE(becomes(window, false));
    EXPECT_TRUE(marks().empty());
    EXPECT_TRUE(waitFor([&] {
        return session_->eval("`${globalThis.twSkipped >= 4} ${imports.ui.main.wm._skippedActors"
                              ".size}`") == "\"true 0\"";
    }));
}

TEST_F(TWGnomeDesktopTest, OnlyTidewellIsAnsweredAndTheExtensionGoingAndComingBackLosesNothing) {
    const auto terminalWindow = client({"weston-terminal"});
    std::string refused = run({"sh", "-c",
                               "gdbus call --session --dest org.gnome.Shell --object-path "
                               "/net/quillfen/Tidewell/Shell --method "
                               "net.quillfen.Tidewell.Shell1.SetMinimized [" +
                                   std::to_string(terminalWindow) + "] true 2>&1"});
    EXPECT_NE(refused.find("org.freedesktop.DBus.Error.AccessDenied"), std::string::npos)
        << refused;
    EXPECT_EQ(session_->isMinimized(terminalWindow), false);

    // Other programs taking and dropping names in Tidewell's namespace meanwhile: every new
    // caller of Tidewell's is answered.
    pid_t squatter = fork();
    if (squatter == 0) {
        sd_bus* bus = nullptr;
        if (sd_bus_open_user(&bus) < 0)
            _exit(1);
        for (unsigned n = 0;; ++n) {
            std::string name = "net.quillfen.Tidewell.Squat.n" + std::to_string(n % 50);
            sd_bus_request_name(bus, name.c_str(), 0);
            if (n >= 25)
                sd_bus_release_name(
                    bus, ("net.quillfen.Tidewell.Squat.n" + std::to_string((n - 25) % 50)).c_str());
            usleep(1000);
        }
    }
    for (int i = 0; i < 40; ++i) {
        std::string why;
        EXPECT_NE(TWGnomeDesktop::open(&why), nullptr) << i << ": " << why;
    }
    kill(squatter, SIGKILL);
    waitpid(squatter, nullptr, 0);
    // The shortcut rule holds in the shell too.
    EXPECT_TRUE(gnome_->connection().bindShortcut("hide-others", "a").has_value());
    EXPECT_TRUE(gnome_->connection().bindShortcut("hide-others", "Return").has_value());

    common().showFinderHideOthers();
    ASSERT_TRUE(becomes(terminalWindow, true));
    // The lock screen turns the extension off and on again: nothing to say, nothing lost.
    {
        TWLogCapture quiet;
        session_->eval("imports.ui.main.sessionMode.pushMode('unlock-dialog')");
        EXPECT_TRUE(dispatchUntil([&] { return !gnome_->connection().available(); }));
        EXPECT_TRUE(gnome_->serviceWasPausedByDesktop());
        common().showAll();
        EXPECT_EQ(session_->isMinimized(terminalWindow), true);
        session_->eval("imports.ui.main.sessionMode.popMode('unlock-dialog')");
        EXPECT_TRUE(dispatchUntil([&] { return gnome_->connection().available(); }));
        EXPECT_TRUE(gnome_->serviceWasPausedByDesktop());
        EXPECT_EQ(quiet.countStartingWith("TWGnomeConnection: Tidewell's GNOME Shell extension "
                                          "stopped"),
                  0);
        EXPECT_TRUE(marks().count(std::to_string(terminalWindow)));
        common().showAll();
        EXPECT_TRUE(becomes(terminalWindow, false));
        common().showFinderHideOthers();
        ASSERT_TRUE(becomes(terminalWindow, true));
    }
    TWLogCapture log;
    ASSERT_TRUE(session_->setExtensionEnabled(false));
    EXPECT_TRUE(dispatchUntil([&] { return !gnome_->connection().available(); }));
    EXPECT_EQ(log.countStartingWith("TWGnomeConnection: Tidewell's GNOME Shell extension stopped"),
              1);
    EXPECT_FALSE(gnome_->serviceWasPausedByDesktop());
    // Nothing can be shown meanwhile, and nothing is forgotten.
    common().showAll();
    EXPECT_EQ(session_->isMinimized(terminalWindow), true);
    EXPECT_TRUE(marks().count(std::to_string(terminalWindow)));
    // A new start is told how to enable the extension.
    std::string why;
    EXPECT_EQ(TWMakeDesktop(TWDesktopKind::Session, &why), nullptr);
    EXPECT_NE(why.find("gnome-extensions enable tidewell@quillfen.net"), std::string::npos) << why;
    EXPECT_NE(why.find("next login"), std::string::npos) << why;

    ASSERT_TRUE(session_->setExtensionEnabled(true));
    EXPECT_TRUE(dispatchUntil([&] { return gnome_->connection().available(); }));
    EXPECT_EQ(log.countStartingWith("TWGnomeConnection: Tidewell's GNOME Shell extension answers"),
              1);
    common().showAll();
    EXPECT_TRUE(becomes(terminalWindow, false));
    EXPECT_TRUE(marks().empty());
    EXPECT_NE(dynamic_cast<TWGnomeDesktop*>(TWMakeDesktop(TWDesktopKind::Session).get()), nullptr);
}

TEST_F(TWGnomeDesktopTest, ShortcutsAreGrabbedInTheShellRefusedWhenTakenAndBoundAgainOnReturn) {
    // Whether the shell holds the accelerator (another grab of it is refused), and how many
    // grabs of other programs it lets work outside its own dialogs, as "held count".
    auto heldInShell = [](const std::string& accelerator) {
        return session_->eval(
            "(() => { const id = global.display.grab_accelerator('" + accelerator +
            "', 0); if (id) global.display.ungrab_accelerator(id); return `${id === 0} ${Object"
            ".entries(imports.ui.main.wm._allowedKeybindings).filter(([name, modes]) => "
            "name.startsWith('external-grab-') && modes !== 0).length}`; })()");
    };
    auto& shortcuts = gnome_->globalShortcuts();
    std::vector<TWShortcutAction> pressed;
    shortcuts.setActivationHandler([&](TWShortcutAction action) { pressed.push_back(action); });
    EXPECT_EQ(heldInShell("<Control><Alt>h"), "\"false 0\"");
    EXPECT_EQ(shortcuts.bind(TWShortcutAction::HideOthers, "Ctrl+Alt+H"), std::nullopt);
    EXPECT_EQ(heldInShell("<Control><Alt>h"), "\"true 1\"");

    // Taken by another grab first: refused, and Show All keeps what it had.
    EXPECT_EQ(shortcuts.bind(TWShortcutAction::ShowAll, "Meta+F12"), std::nullopt);
    const std::string other =
        session_->eval("global.display.grab_accelerator('<Control><Alt>s', 0)").value_or("0");
    ASSERT_NE(other, "0");
    auto refused = shortcuts.bind(TWShortcutAction::ShowAll, "Ctrl+Alt+S");
    session_->eval("global.display.ungrab_accelerator(" + other + ")");
    ASSERT_TRUE(refused.has_value());
    EXPECT_NE(refused->find("already uses Ctrl+Alt+S"), std::string::npos) << *refused;
    EXPECT_EQ(heldInShell("<Super>F12"), "\"true 2\"");

    // Pressed on a virtual keyboard of the shell's (kept: one dropped at once may lose what
    // it was sent).
    session_->eval(
        "(() => { const {Clutter, GLib} = imports.gi; const keyboard = "
        "globalThis.tidewellTestKeyboard = globalThis.tidewellTestKeyboard || "
        "Clutter.get_default_backend().get_default_seat()"
        ".create_virtual_device(Clutter.InputDeviceType.KEYBOARD_DEVICE); let t = "
        "GLib.get_monotonic_time(); const keys = [Clutter.KEY_Control_L, Clutter.KEY_Alt_L, "
        "Clutter.KEY_h]; keys.forEach(k => keyboard.notify_keyval(++t, k, "
        "Clutter.KeyState.PRESSED)); keys.reverse().forEach(k => keyboard.notify_keyval(++t, k, "
        "Clutter.KeyState.RELEASED)); })()");
    EXPECT_TRUE(dispatchUntil([&] { return !pressed.empty(); }));
    EXPECT_EQ(pressed, std::vector<TWShortcutAction>{TWShortcutAction::HideOthers});

    // The extension lets go when disabled and gets the shortcuts back when enabled again.
    ASSERT_TRUE(session_->setExtensionEnabled(false));
    EXPECT_EQ(heldInShell("<Control><Alt>h"), "\"false 0\"");
    // Changed meanwhile: said to wait for the extension, and bound on its return.
    auto waiting = shortcuts.bind(TWShortcutAction::ShowAll, "Ctrl+Alt+J");
    EXPECT_NE(waiting.value_or("").find("once it is enabled"), std::string::npos);
    ASSERT_TRUE(session_->setExtensionEnabled(true));
    EXPECT_TRUE(dispatchUntil([&] { return heldInShell("<Control><Alt>j") == "\"true 2\""; }));
    EXPECT_EQ(heldInShell("<Control><Alt>h"), "\"true 2\"");
    EXPECT_EQ(heldInShell("<Super>F12"), "\"false 2\"");

    EXPECT_EQ(shortcuts.bind(TWShortcutAction::HideOthers, ""), std::nullopt);
    EXPECT_EQ(heldInShell("<Control><Alt>h"), "\"false 1\"");
}

} // namespace
