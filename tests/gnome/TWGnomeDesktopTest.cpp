// SPDX-License-Identifier: MIT
// The desktop scenarios on a headless GNOME Shell, and what only GNOME's backend has.
#include "TWGnomeDesktop.h"
#include "TWCompositorDriver.h"
#include "TWGnomeTestDesktop.h"
#include "TWPlatformFactory.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>
#include <systemd/sd-bus.h>

namespace {

// One shell for the whole program.
TWGnomeTestDesktop* session_ = nullptr;
class Session : public ::testing::Environment {
    void SetUp() override { session_ = new TWGnomeTestDesktop(2); }
    void TearDown() override { delete std::exchange(session_, nullptr); }
};
const auto* const kSession = ::testing::AddGlobalTestEnvironment(new Session);

// A number the shell's JavaScript gives (-1: none).
int number(const std::optional<std::string>& answer) {
    return answer ? std::atoi(answer->c_str()) : -1;
}

class TWGnomeDriver : public TWCompositorDriver<TWGnomeDesktop> {
  public:
    TWGnomeDriver() : TWCompositorDriver(*session_) {
        if (!error_.empty() || !(desktop_ = TWGnomeDesktop::open(&error_)))
            return;
        // The shell's effect is skipped for each window Tidewell minimizes or restores, and
        // used up, so that the user's own next minimize plays it: counted from here.
        session_->eval("(() => { globalThis.twSkipped = 0; if (globalThis.twSkipWrapped) return; "
                       "globalThis.twSkipWrapped = true; const wm = imports.ui.main.wm; const "
                       "skip = wm.skipNextEffect; wm.skipNextEffect = function (actor) { "
                       "++globalThis.twSkipped; skip.call(this, actor); }; })()");
    }
    ~TWGnomeDriver() override { session_->eval("globalThis.twRefuse = 0"); }
    std::string error() const override { return desktop_ ? std::string() : error_; }
    TWGnomeDesktop& gnome() { return *desktop_; }
    // Recognised through the shell's own match.
    TWDriverProgram fileManager() const override {
        return {{"nautilus", "--new-window", session_->home()}, "org.gnome.Nautilus"};
    }
    // Tidewell's extension disabled or enabled again, as `gnome-extensions` would.
    void setServiceGone(bool gone) override {
        ASSERT_TRUE(session_->setExtensionEnabled(!gone));
        ASSERT_TRUE(waitFor([&] {
            desktop_->dispatchPendingEvents();
            return desktop_->connection().available() == !gone;
        }));
    }
    std::string lacks(TWDriverFeature feature) const override {
        const bool can =
            feature == TWDriverFeature::ServiceGone || feature == TWDriverFeature::Workspaces;
        return can ? std::string() : TWCompositorDriver::lacks(feature);
    }

    std::string windowOf(pid_t pid) override { return session_->windowOf(pid); }
    std::optional<bool> isMinimized(const std::string& window) override {
        const auto minimized = session_->onWindow(window, "?.minimized");
        return minimized == "true" || minimized == "false" ? std::optional(minimized == "true")
                                                           : std::nullopt;
    }
    std::string activeWindow() override { return session_->focusedWindow(); }
    void minimizeByHand(const std::string& window, bool minimized) override {
        session_->onWindow(window, minimized ? ".minimize()" : ".unminimize()");
    }
    void activateByHand(const std::string& window) override { session_->userActivate(window); }
    // Inside the shell, on a timer of its own.
    std::shared_ptr<void> churnFocus(const std::vector<std::string>& windows) override {
        std::string ids;
        for (const auto& id : windows)
            ids += (ids.empty() ? "" : ",") + id;
        session_->eval("(() => { let n = 0; const ids = [" + ids +
                       "]; globalThis.twChurn = imports.gi.GLib.timeout_add(0, 20, () => { const "
                       "w = global.get_window_actors().map(a => a.meta_window).find(w => "
                       "w.get_id() === ids[n++ % ids.length]); w?.activate("
                       "global.get_current_time()); return true; }); })()");
        return std::shared_ptr<void>(nullptr, [](void*) {
            session_->eval("imports.gi.GLib.source_remove(globalThis.twChurn)");
        });
    }
    // The shell's own workspaces (dynamic: there is always an empty one after the last used).
    int currentWorkspace() override {
        return number(session_->eval("global.workspace_manager.get_active_workspace_index()"));
    }
    int workspaceOf(const std::string& window) override {
        return number(session_->onWindow(window, "?.get_workspace()?.index() ?? -1"));
    }
    void moveToWorkspace(const std::string& window, int workspace) override {
        session_->onWindow(window,
                           ".change_workspace_by_index(" + std::to_string(workspace) + ", false)");
        EXPECT_TRUE(waitFor([&] { return workspaceOf(window) == workspace; }));
    }
    void switchToWorkspace(int workspace) override {
        session_->eval("global.workspace_manager.get_workspace_by_index(" +
                       std::to_string(workspace) + ").activate(global.get_current_time())");
        EXPECT_TRUE(waitFor([&] { return currentWorkspace() == workspace; }));
    }
    // The monitor the shell puts the window on, moved as the user's shortcut would: asked
    // again until it holds, as the shell's placement of a window it has not shown yet puts it
    // back on the first monitor.
    int outputOf(const std::string& window) override {
        return number(session_->onWindow(window, "?.get_monitor() ?? -1"));
    }
    void moveToOutput(const std::string& window, int output) override {
        EXPECT_TRUE(waitFor([&] {
            if (outputOf(window) == output)
                return true;
            session_->onWindow(window, ".move_to_monitor(" + std::to_string(output) + ")");
            return false;
        })) << window
            << " did not reach " << output;
    }
    // The shell's unminimize throwing for the window.
    void refuseRestores(const std::string& window, int times) override {
        session_->eval("(() => { const Meta = imports.gi.Meta; globalThis.twRefuse = " +
                       std::to_string(times) + "; globalThis.twRefused = " + window +
                       "; if (!globalThis.twUnminimize) { globalThis.twUnminimize = "
                       "Meta.Window.prototype.unminimize; Meta.Window.prototype.unminimize = "
                       "function () { if (this.get_id() === globalThis.twRefused && "
                       "globalThis.twRefuse-- > 0) throw new Error('refused'); return "
                       "globalThis.twUnminimize.call(this); }; } })()");
    }
    std::string leftovers() override {
        const auto state = session_->eval(
            "`${globalThis.twSkipped >= 4} ${imports.ui.main.wm._skippedActors.size}`");
        return state == "\"true 0\"" ? std::string()
                                     : "effects skipped (at least 4) and still pending: " +
                                           state.value_or("no answer");
    }
};

INSTANTIATE_TEST_SUITE_P(Gnome, TWScenarioTest,
                         ::testing::Values(TWMakeDriver<TWGnomeDriver>("gnome")), TWDriverName);

class TWGnomeDesktopTest : public TWDesktopTest {
  protected:
    TWGnomeDesktopTest() : TWDesktopTest(TWMakeDriver<TWGnomeDriver>("gnome").make) {}
    TWGnomeDesktop& gnome() { return static_cast<TWGnomeDriver&>(driver()).gnome(); }
};

TEST_F(TWGnomeDesktopTest,
       OnlyTidewellIsAnsweredTheLockScreenIsSilentShortcutsAndTheExtensionGone) {
    const auto window = client(driver().terminal());
    const std::string refused =
        busCall("org.gnome.Shell", "/net/quillfen/Tidewell/Shell",
                "net.quillfen.Tidewell.Shell1.SetMinimized", {"[" + window + "]", "true"});
    EXPECT_NE(refused.find("org.freedesktop.DBus.Error.AccessDenied"), std::string::npos)
        << refused;
    // Other programs taking and dropping names in Tidewell's namespace meanwhile: every new
    // caller of Tidewell's is answered.
    const pid_t squatter = fork();
    if (squatter == 0) {
        sd_bus* bus = nullptr;
        if (sd_bus_open_user(&bus) < 0)
            _exit(1);
        const auto name = [](unsigned n) {
            return "net.quillfen.Tidewell.Squat.n" + std::to_string(n % 50);
        };
        for (unsigned n = 0;; ++n) {
            sd_bus_request_name(bus, name(n).c_str(), 0);
            if (n >= 25)
                sd_bus_release_name(bus, name(n - 25).c_str());
            usleep(1000);
        }
    }
    for (int i = 0; i < 40; ++i) {
        std::string why;
        EXPECT_NE(TWGnomeDesktop::open(&why), nullptr) << i << ": " << why;
    }
    kill(squatter, SIGKILL);
    waitpid(squatter, nullptr, 0);

    hideOthers();
    ASSERT_TRUE(becomes(window, true));
    // The lock screen turns the extension off and on again: a pause of the desktop, the mark kept.
    session_->eval("imports.ui.main.sessionMode.pushMode('unlock-dialog')");
    EXPECT_TRUE(dispatchUntil([&] { return !gnome().connection().available(); }));
    common().showAll();
    EXPECT_EQ(driver().isMinimized(window), true);
    session_->eval("imports.ui.main.sessionMode.popMode('unlock-dialog')");
    EXPECT_TRUE(dispatchUntil([&] { return gnome().connection().available(); }));
    EXPECT_TRUE(gnome().serviceWasPausedByDesktop());
    EXPECT_TRUE(marks().count(window));

    // Whether the shell holds the accelerator (another grab of it is refused), and how many
    // grabs of other programs it lets work outside its own dialogs, as "held count".
    auto heldInShell = [](const std::string& accelerator) {
        return session_->eval(
            "(() => { const id = global.display.grab_accelerator('" + accelerator +
            "', 0); if (id) global.display.ungrab_accelerator(id); return `${id === 0} ${Object"
            ".entries(imports.ui.main.wm._allowedKeybindings).filter(([name, modes]) => "
            "name.startsWith('external-grab-') && modes !== 0).length}`; })()");
    };
    auto& shortcuts = gnome().globalShortcuts();
    std::vector<TWShortcutAction> pressed;
    shortcuts.setActivationHandler([&](TWShortcutAction action) { pressed.push_back(action); });
    EXPECT_EQ(shortcuts.bind(TWShortcutAction::HideOthers, "Ctrl+Alt+H"), std::nullopt);
    EXPECT_EQ(heldInShell("<Control><Alt>h"), "\"true 1\"");

    EXPECT_EQ(shortcuts.bind(TWShortcutAction::ShowAll, "Meta+F12"), std::nullopt);
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

    // Disabled: not taken for the lock screen, a new start is told how to enable it, the
    // shortcuts are let go, and one changed meanwhile is said to wait for the extension.
    driver().setServiceGone(true);
    EXPECT_FALSE(gnome().serviceWasPausedByDesktop());
    std::string why;
    EXPECT_EQ(TWMakeDesktop(TWDesktopKind::Session, &why), nullptr);
    EXPECT_NE(why.find("gnome-extensions enable tidewell@quillfen.net"), std::string::npos) << why;
    EXPECT_EQ(heldInShell("<Control><Alt>h"), "\"false 0\"");
    auto waiting = shortcuts.bind(TWShortcutAction::ShowAll, "Ctrl+Alt+J");
    EXPECT_NE(waiting.value_or("").find("once it is enabled"), std::string::npos);
    // Enabled again: the shortcuts are bound anew, the changed one as changed.
    driver().setServiceGone(false);
    EXPECT_TRUE(dispatchUntil([&] { return heldInShell("<Control><Alt>j") == "\"true 2\""; }));
    EXPECT_EQ(heldInShell("<Control><Alt>h"), "\"true 2\"");
    EXPECT_EQ(heldInShell("<Super>F12"), "\"false 2\"");

    EXPECT_EQ(shortcuts.bind(TWShortcutAction::HideOthers, ""), std::nullopt);
    EXPECT_EQ(heldInShell("<Control><Alt>h"), "\"false 1\"");
}

} // namespace
