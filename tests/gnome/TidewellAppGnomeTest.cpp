// SPDX-License-Identifier: MIT
// Tidewell on a headless GNOME Shell: its top-bar button and its start-up alert.
#include "TWGnomeShellExtension.h"
#include "TWGnomeTestDesktop.h"
#include "TWRecordingAlertPresenter.h"
#include "TWTestApplication.h"
#include "TWTestPaths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <sys/wait.h>

namespace {

const std::string tidewell = TWTestProgramPath("tidewell");
// The same program with its test hooks: the simulated desktop.
const std::string tidewellTesting = TWTestProgramPath("tidewell-testing");
const std::string button = "imports.ui.main.panel.statusArea.tidewell";

// Real input through the shell's seat: a virtual pointer and keyboard, kept for the session.
const std::string input =
    "const C = imports.gi.Clutter; const seat = C.get_default_backend().get_default_seat();"
    "global._twPointer = global._twPointer || "
    "seat.create_virtual_device(C.InputDeviceType.POINTER_DEVICE);"
    "global._twKeys = global._twKeys || "
    "seat.create_virtual_device(C.InputDeviceType.KEYBOARD_DEVICE);"
    "const now = () => imports.gi.GLib.get_monotonic_time();"
    "const moveTo = actor => { const [x, y] = actor.get_transformed_position();"
    "  const [w, h] = actor.get_transformed_size();"
    "  global._twPointer.notify_absolute_motion(now(), x + w / 2, y + h / 2); };"
    "const click = b => { global._twPointer.notify_button(now(), b, C.ButtonState.PRESSED);"
    "  global._twPointer.notify_button(now(), b, C.ButtonState.RELEASED); };"
    "const shift = s => global._twKeys.notify_keyval(now(), C.KEY_Shift_L,"
    "  s ? C.KeyState.PRESSED : C.KeyState.RELEASED);";

using Buttons = std::vector<std::string>;

class TidewellAppGnomeTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        TWTestApplication(); // on Qt's offscreen platform, before the session names its own
        session_ = new TWGnomeTestDesktop();
    }
    static void TearDownTestSuite() { delete std::exchange(session_, nullptr); }
    void SetUp() override {
        ASSERT_TRUE(session_->ok()) << session_->error();
        // Tidewell on its simulated desktop (a file manager, an editor and a terminal), without
        // a window of its own; the button is what the shell shows for it.
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
        // The shell takes a new virtual device's events once it has seen the device: the pointer
        // is moved until the shell reports it moved.
        ASSERT_TRUE(waitFor([] {
            return eval(input + "global._twPointer.notify_absolute_motion(now(), 640, 400);"
                                "global.get_pointer().slice(0, 2).join(' ')") == "\"640 400\"";
        }));
    }

    static std::string eval(const std::string& code) {
        return session_->eval(code).value_or("(refused)");
    }
    static bool buttonShown() { return eval(button + " ? 1 : 0") == "1"; }
    // Shown, and laid out in the top bar (where a click lands on it).
    static bool buttonReady() {
        return eval(button + "?.is_mapped() && " + button + ".get_transformed_size()[0] > 0") ==
               "true";
    }
    // The running Tidewell's journal, once it holds `line`.
    static std::string statusWith(const std::string& line) {
        std::string status;
        waitFor([&] {
            status = run({tidewell, "--status"});
            return status.find(line + "\n") != std::string::npos;
        });
        return status;
    }
    // A click of pointer button `which` (C.BUTTON_PRIMARY, ...) on `actor`, Shift held when
    // `withShift`: the pointer is moved there, and clicks once the actor has seen it come in.
    static void clickOn(const std::string& actor, const std::string& which,
                        bool withShift = false) {
        // Moved again until it is seen: a menu just opened may still be placing its items.
        ASSERT_TRUE(waitFor([&] {
            eval(input + "moveTo(" + actor + ")");
            return eval(actor + ".hover") == "true";
        })) << actor;
        eval(input + (withShift ? "shift(true); click(" + which + "); shift(false)"
                                : "click(" + which + ")"));
    }
    // The menu as the button shows it: titles, "-" for separators, hidden applications marked,
    // and any ornament the shell draws beside an item (a check mark) as " *".
    static std::string menu() {
        return eval(button + ".menu._getMenuItems().map(i => (i.label.text || '-') + "
                             "(i.tidewellHidden ? ' (hidden)' : '') + (i._ornament ? ' *' : ''))"
                             ".join('|')");
    }

    // The alert shown for `extension`, answered with the button titled `answer`, and whether
    // offerToEnable said the extension is on.
    static TWAlert alertFor(TWGnomeShellExtension& extension, bool& enabled,
                            const std::string& answer = "Quit") {
        TWRecordingAlertPresenter presenter;
        presenter.onShow = [&] {
            const auto& buttons = presenter.shown.back().buttons();
            presenter.answer =
                TWAlertFirstButtonReturn +
                (std::find(buttons.begin(), buttons.end(), answer) - buttons.begin());
        };
        enabled = extension.offerToEnable("the desktop's own words", presenter);
        EXPECT_EQ(presenter.shown.size(), 1u);
        return presenter.shown.empty() ? TWAlert() : presenter.shown.front();
    }
    // The alert says `message`, its text holds each of `parts`, and it offers `buttons`.
    static void expectAlert(const TWAlert& alert, const std::string& message,
                            const Buttons& buttons, const std::vector<std::string>& parts = {}) {
        EXPECT_EQ(alert.messageText(), message);
        const std::string text = alert.informativeText().value_or("");
        for (const auto& part : parts)
            EXPECT_NE(text.find(part), std::string::npos) << part << " in: " << text;
        EXPECT_EQ(alert.buttons(), buttons);
    }
    static inline TWGnomeTestDesktop* session_ = nullptr;
};

TEST_F(TidewellAppGnomeTest, ClickShiftClickTheMenuAndTheExtensionOffAndOnReachTidewell) {
    const pid_t instance = session_->spawn({tidewellTesting, "--desktop=sim"});
    ASSERT_TRUE(waitFor(buttonReady)) << "no button for the running Tidewell";
    // The symbolic icon the extension ships, drawn in the top bar's colour as the shell's own.
    EXPECT_EQ(eval(button + "._icon.gicon.get_file().get_basename()"),
              "\"net.quillfen.Tidewell-symbolic.svg\"");
    EXPECT_EQ(eval(button + "._icon.gicon.get_file().query_exists(null)"), "true");

    // A click hides the others.
    clickOn(button, "C.BUTTON_PRIMARY");
    std::string status = statusWith("desktop: hide Terminal");
    EXPECT_LT(status.find("dbus HideOthers"), status.find("desktop: hide Editor")) << status;

    // The menu opens with what Tidewell sends: its items as the tray menu shows them (no check
    // marks), the hidden applications marked here.
    clickOn(button, "C.BUTTON_SECONDARY");
    ASSERT_TRUE(waitFor([] { return eval(button + ".menu.isOpen") == "true"; }));
    EXPECT_EQ(menu(), "\"Preferences...|-|Hide All|Show All|-|Toggle Visibility|   Editor "
                      "(hidden)|   Files|   Terminal (hidden)|-|Check for Updates...|Product "
                      "Page|Send Feedback...|-|Quit\"");
    // Choosing a hidden application brings it forward.
    clickOn(button + ".menu._getMenuItems().find(i => i.label.text === '   Terminal')",
            "C.BUTTON_PRIMARY");
    status = statusWith("desktop: activate Terminal 2");
    EXPECT_NE(status.find("dbus Toggle org.example.Terminal"), std::string::npos) << status;
    EXPECT_EQ(eval(button + ".menu.isOpen"), "false");

    // A Shift-click shows all.
    clickOn(button, "C.BUTTON_PRIMARY", true);
    status = statusWith("desktop: unhide Editor");
    EXPECT_NE(status.find("dbus ShowAll"), std::string::npos) << status;

    // The extension turned off while Tidewell runs: the button goes. On again, Tidewell carries
    // on: the button's click reaches it.
    ASSERT_TRUE(session_->setExtensionEnabled(false));
    EXPECT_TRUE(waitFor([] { return !buttonShown(); }));
    statusWith("gnome extension disabled");
    ASSERT_TRUE(session_->setExtensionEnabled(true));
    ASSERT_TRUE(waitFor(buttonReady));
    clickOn(button, "C.BUTTON_PRIMARY");
    EXPECT_TRUE(waitFor([&] {
        status = run({tidewell, "--status"});
        const auto enabled = status.rfind("gnome extension enabled");
        return enabled != std::string::npos &&
               status.find("dbus HideOthers", enabled) != std::string::npos;
    })) << status;

    // Tidewell gone, the button goes with it.
    session_->terminate(instance);
    EXPECT_TRUE(waitFor([] { return !buttonShown(); }));
}

TEST_F(TidewellAppGnomeTest, EachAlertWithoutTheExtensionAndWhatItsAnswerTurnsOn) {
    const std::string extensions = session_->dataHome() + "/gnome-shell/extensions";
    bool enabled = true;
    // Not installed: the package, and the build's folder for this shell's module format.
    TWGnomeShellExtension absent(QDBusConnection::sessionBus(), nullptr, "absent@quillfen.net");
    expectAlert(
        alertFor(absent, enabled), "Tidewell's GNOME Shell extension is not installed.", {"Quit"},
        {"Debian package tidewell", "gnome-shell/imports/absent@quillfen.net into " + extensions});
    EXPECT_FALSE(enabled);

    // Turned off: the real program's alert, below. Every user extension off: said so, and
    // turned on (with every other one) only when chosen.
    TWGnomeShellExtension extension;
    busCall("org.gnome.Shell", "/org/gnome/Shell", "org.freedesktop.DBus.Properties.Set",
            {"org.gnome.Shell.Extensions", "UserExtensionsEnabled", "<false>"});
    ASSERT_TRUE(waitFor(
        [&] { return extension.state() == TWGnomeShellExtension::State::UserExtensionsOff; }));
    for (const std::string answer : {"Quit", "Turn On Extensions"}) {
        expectAlert(alertFor(extension, enabled, answer),
                    "GNOME Shell has all extensions you installed turned off.",
                    {"Turn On Extensions", "Quit"}, {"turns on every other extension"});
        EXPECT_EQ(enabled, answer != "Quit");
        EXPECT_EQ(extension.state(), enabled ? TWGnomeShellExtension::State::Enabled
                                             : TWGnomeShellExtension::State::UserExtensionsOff);
    }
}

TEST_F(TidewellAppGnomeTest,
       WithoutTheExtensionTheAlertEndsOnSigtermOrEnablesItAndTidewellCarriesOn) {
    ASSERT_TRUE(session_->setExtensionEnabled(false));
    // Tidewell on the session's own desktop, its alert a window of the shell's.
    setenv("QT_QPA_PLATFORM", "wayland", 1);
    // SIGTERM (a logout, `timeout`) ends it while the alert waits for an answer.
    const pid_t ended = session_->spawn({tidewell});
    ASSERT_NE(session_->windowOf(ended), "") << "no alert";
    kill(ended, SIGTERM);
    int status = -1;
    EXPECT_TRUE(waitFor([&] { return waitpid(ended, &status, WNOHANG) == ended; },
                        std::chrono::seconds(15)));
    EXPECT_TRUE(WIFEXITED(status)) << status;
    session_->terminate(ended);

    const pid_t instance = session_->spawn({tidewell});
    const std::string alert = session_->windowOf(instance);
    ASSERT_NE(alert, "") << "no alert";
    // Return chooses the default button, "Enable the Extension".
    session_->userActivate(alert);
    ASSERT_TRUE(waitFor([&] { return session_->focusedWindow() == alert; }));
    eval(input + "global._twKeys.notify_keyval(now(), C.KEY_Return, C.KeyState.PRESSED);"
                 "global._twKeys.notify_keyval(now(), C.KEY_Return, C.KeyState.RELEASED)");
    EXPECT_TRUE(waitFor([] { return session_->extensionState() == "1"; }));
    // Tidewell goes on with the desktop the extension serves, and shows its button.
    statusWith("icon AppIcon");
    EXPECT_TRUE(waitFor(buttonReady));
    session_->terminate(instance);
}

} // namespace
