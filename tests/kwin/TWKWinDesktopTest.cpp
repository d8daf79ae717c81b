// SPDX-License-Identifier: MIT
// The desktop scenarios on a headless KWin, and what only KWin's backend has.
#include "TWKWinDesktop.h"
#include "TWCompositorDriver.h"
#include "TWKWinGlobalShortcuts.h"
#include "TWKWinTestDesktop.h"
#include "TWPlatformFactory.h"

#include <gtest/gtest.h>

namespace {

// One KWin for the whole program.
TWKWinTestDesktop* session_ = nullptr;
class Session : public ::testing::Environment {
    void SetUp() override { session_ = new TWKWinTestDesktop({kTool}, 2); }
    void TearDown() override { delete std::exchange(session_, nullptr); }
};
const auto* const kSession = ::testing::AddGlobalTestEnvironment(new Session);

class TWKWinDriver : public TWCompositorDriver<TWKWinDesktop> {
  public:
    TWKWinDriver() : TWCompositorDriver(*session_) {
        if (error_.empty() && (desktop_ = TWKWinDesktop::open("", &error_)))
            user_ = TWKWinDesktop::open("", &error_); // a taskbar: the user's hand
    }
    ~TWKWinDriver() override { session_->runScript("tidewell-refuse", ""); }
    std::string error() const override { return user_ ? std::string() : error_; }
    TWKWinDesktop& kwin() { return *desktop_; }
    TWDriverProgram fileManager() const override {
        return {{"thunar", session_->home()}, "thunar"};
    }
    std::string lacks(TWDriverFeature feature) const override {
        if (feature == TWDriverFeature::Workspaces)
            return {};
        return feature == TWDriverFeature::ServiceGone
                   ? "KWin is the Wayland session: its clients end with it"
                   : TWCompositorDriver::lacks(feature);
    }

    std::string windowOf(pid_t pid) override {
        std::string uuid;
        waitFor([&] {
            for (const auto& w : user_->connection().snapshot().windows)
                if (w.pid == pid)
                    uuid = w.uuid;
            return !uuid.empty();
        });
        return uuid;
    }
    std::optional<bool> isMinimized(const std::string& window) override {
        return session_->flag(window);
    }
    std::string activeWindow() override { return session_->activeWindow(); }
    void minimizeByHand(const std::string& window, bool minimized) override {
        user_->connection().setMinimized(window, minimized);
        user_->connection().sync();
    }
    void activateByHand(const std::string& window) override {
        user_->connection().activate(window);
        user_->connection().sync();
    }
    std::shared_ptr<void> churnFocus(const std::vector<std::string>& windows) override {
        return TWEvery20ms(
            [windows, other = std::shared_ptr<TWKWinConnection>()](std::size_t n) mutable {
                if (!other)
                    other = TWKWinConnection::open("", nullptr);
                if (other) {
                    other->activate(windows[n % windows.size()]);
                    other->flush();
                }
            });
    }
    // Workspaces are KWin's virtual desktops (two once the first move asks for them), numbered
    // from 1 there.
    int currentWorkspace() override {
        return std::atoi(session_->evaluate("workspace.currentDesktop").c_str()) - 1;
    }
    int workspaceOf(const std::string& window) override {
        return std::atoi(session_->evaluate(client(window) + ".desktop").c_str()) - 1;
    }
    void moveToWorkspace(const std::string& window, int n) override {
        session_->evaluate("workspace.desktops = 2, " + client(window) +
                           ".desktop = " + std::to_string(n + 1));
        ASSERT_TRUE(waitFor([&] { return workspaceOf(window) == n; }));
    }
    void switchToWorkspace(int n) override {
        session_->evaluate("workspace.desktops = 2, workspace.currentDesktop = " +
                           std::to_string(n + 1));
        ASSERT_TRUE(waitFor([&] { return currentWorkspace() == n; }));
    }
    // The output holding the window's centre as KWin places it; sent there as the user's
    // shortcut would.
    int outputOf(const std::string& window) override {
        const std::string x = session_->info(window, "x"), width = session_->info(window, "width");
        return width.empty()
                   ? -1
                   : static_cast<int>(std::atof(x.c_str()) + std::atof(width.c_str()) / 2) /
                         TWTestSession::kOutputWidth;
    }
    void moveToOutput(const std::string& window, int output) override {
        session_->runScript("tidewell-move", "workspace.sendClientToScreen(" + client(window) +
                                                 ", " + std::to_string(output) + ");");
        EXPECT_TRUE(waitFor([&] { return outputOf(window) == output; }))
            << window << " did not reach " << output;
    }
    // A script of KWin's own minimizing the window again each time it is restored, standing
    // for whatever refuses. Each load flips the window's keep-above state, which KWin reports
    // once the script runs.
    void refuseRestores(const std::string& window, int times) override {
        const bool above = !session_->flag(window, "keepAbove").value_or(false);
        session_->runScript(
            "tidewell-refuse",
            "let left = " + std::to_string(times) +
                "; for (const c of workspace.clientList()) if (String(c.internalId) === '" +
                window + "') { c.keepAbove = " + (above ? "true" : "false") +
                "; c.minimizedChanged.connect(() => { if (!c.minimized && left-- > 0) "
                "c.minimized = true; }); }");
        ASSERT_TRUE(waitFor([&] { return session_->flag(window, "keepAbove") == above; }));
    }

  private:
    static std::string client(const std::string& window) {
        return "workspace.clientList().find(c => String(c.internalId) === '" + window + "')";
    }
    std::unique_ptr<TWKWinDesktop> user_;
};

INSTANTIATE_TEST_SUITE_P(KWin, TWScenarioTest,
                         ::testing::Values(TWMakeDriver<TWKWinDriver>("kwin")), TWDriverName);

class TWKWinDesktopTest : public TWDesktopTest {
  protected:
    TWKWinDesktopTest() : TWDesktopTest(TWMakeDriver<TWKWinDriver>("kwin").make) {}
    TWKWinDesktop& kwin() { return static_cast<TWKWinDriver&>(driver()).kwin(); }
};

// KDE's global-shortcut service, asked with gdbus.
std::string kglobalaccel(const std::string& method, const std::vector<std::string>& args) {
    return busCall("org.kde.kglobalaccel", "/kglobalaccel", "org.kde.KGlobalAccel." + method, args);
}

std::string actionId(const std::string& action) {
    return "[\"net.quillfen.Tidewell\", \"" + action + "\", \"\", \"\"]";
}

TEST_F(TWKWinDesktopTest, TheFactorySaysWhatIsMissingShortcutsAreHeldByKDEsService) {
    EXPECT_NE(dynamic_cast<TWKWinDesktop*>(TWMakeDesktop(TWDesktopKind::Session).get()), nullptr);
    // A program KWin was not told about gets no window management.
    const std::string other = session_->home() + "/other";
    std::string denied = run(
        {"sh", "-c", "cp '" + kTool + "' '" + other + "' && '" + other + "' list 2>&1; echo $?"});
    EXPECT_NE(denied.find("X-KDE-Wayland-Interfaces=org_kde_plasma_window_management"),
              std::string::npos)
        << denied;
    EXPECT_EQ(denied.substr(denied.size() - 2), "1\n") << denied;

    auto& shortcuts = kwin().globalShortcuts();
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

    // Pressed (as KWin's input hands the keys to the service): the service tells, through the
    // desktop's one descriptor.
    run({"dbus-send", "--session", "--print-reply", "--dest=org.kde.kglobalaccel",
         "/component/net_quillfen_Tidewell", "org.kde.kglobalaccel.Component.invokeShortcut",
         "string:hide-others"});
    EXPECT_TRUE(dispatchUntil([&] { return !pressed.empty(); }));
    EXPECT_EQ(pressed, std::vector<TWShortcutAction>{TWShortcutAction::HideOthers});

    // Changed in KDE's system settings (which set other components' keys so): Tidewell is told.
    std::vector<std::string> changed;
    shortcuts.setChangeHandler([&](TWShortcutAction action, const std::string& keys) {
        changed.push_back(TWKWinGlobalShortcuts::actionName(action) + (" " + keys));
    });
    kglobalaccel("setForeignShortcut", {actionId("hide-others"), "[201326666]"});
    EXPECT_TRUE(dispatchUntil([&] { return !changed.empty(); }));
    EXPECT_EQ(changed, std::vector<std::string>{"hide-others Ctrl+Alt+J"});
    shortcuts.setChangeHandler(nullptr);

    // Cleared: the keys are free again.
    EXPECT_EQ(shortcuts.bind(TWShortcutAction::HideOthers, ""), std::nullopt);
    EXPECT_EQ(kglobalaccel("action", {"201326664"}), "(@as [],)\n");
}

} // namespace
