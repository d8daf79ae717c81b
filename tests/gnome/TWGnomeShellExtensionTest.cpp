// SPDX-License-Identifier: MIT
// The start-up alert about Tidewell's GNOME Shell extension on a headless GNOME Shell, case by
// case (not installed, installed after the shell started, turned off, user extensions off), as
// its presenter receives it, and what each answer turns on in the shell.
#include "TWGnomeShellExtension.h"
#include "TWAlert.h"
#include "TWGnomeTestDesktop.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace {

// Keeps each alert and answers it with the button titled `answer` (else the last one).
class TWRecordingPresenter : public TWAlertPresenter {
  public:
    long runModal(const TWAlert& alert) override {
        shown.push_back(alert);
        const auto& buttons = alert.buttons();
        const auto chosen = std::find(buttons.begin(), buttons.end(), answer);
        return TWAlertFirstButtonReturn +
               long(chosen == buttons.end() ? buttons.size() - 1 : chosen - buttons.begin());
    }
    std::string answer = "Quit";
    std::vector<TWAlert> shown;
};

using Buttons = std::vector<std::string>;

class TWGnomeShellExtensionTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        session_ = new TWGnomeTestDesktop();
        static int argc = 1;
        static char name[] = "TWGnomeShellExtensionTest";
        static char* argv[] = {name, nullptr};
        application_ = new QCoreApplication(argc, argv);
    }
    static void TearDownTestSuite() {
        delete std::exchange(application_, nullptr);
        delete std::exchange(session_, nullptr);
    }
    void SetUp() override { ASSERT_TRUE(session_->ok()) << session_->error(); }

    // The alert shown for `extension` (answered with `answer`), and whether offerToEnable said
    // the extension is on.
    static TWAlert alertFor(TWGnomeShellExtension& extension, bool& enabled,
                            const std::string& answer = "Quit") {
        TWRecordingPresenter presenter;
        presenter.answer = answer;
        enabled = extension.offerToEnable("the desktop's own words", presenter);
        EXPECT_EQ(presenter.shown.size(), 1u);
        return presenter.shown.empty() ? TWAlert() : presenter.shown.front();
    }
    static inline TWGnomeTestDesktop* session_ = nullptr;
    static inline QCoreApplication* application_ = nullptr;
};

TEST_F(TWGnomeShellExtensionTest, NotInstalledItSaysHowToInstallAndInstalledLateTheNextLogin) {
    const std::string extensions = session_->dataHome() + "/gnome-shell/extensions";
    bool enabled = true;
    TWGnomeShellExtension absent(QDBusConnection::sessionBus(), nullptr, "absent@quillfen.net");
    TWAlert alert = alertFor(absent, enabled);
    EXPECT_FALSE(enabled);
    EXPECT_EQ(alert.messageText(), "Tidewell's GNOME Shell extension is not installed.");
    const std::string how = alert.informativeText().value_or("");
    // The package, the build's folder for this shell's module format, where a user's go, and
    // when the shell loads it; no command that cannot work yet.
    for (const std::string& part :
         {std::string("Debian package tidewell"), std::string("“cmake --install”"),
          "gnome-shell/imports/absent@quillfen.net into " + extensions, std::string("next login")})
        EXPECT_NE(how.find(part), std::string::npos) << part << " in: " << how;
    EXPECT_EQ(how.find("gnome-extensions enable"), std::string::npos) << how;
    EXPECT_EQ(alert.buttons(), Buttons{"Quit"});

    // Installed while the shell runs: found where the shell looks, and loaded at the next login.
    std::filesystem::copy(extensions + "/" + TWGnomeTestDesktop::kExtension,
                          extensions + "/late@quillfen.net",
                          std::filesystem::copy_options::recursive);
    TWGnomeShellExtension late(QDBusConnection::sessionBus(), nullptr, "late@quillfen.net");
    alert = alertFor(late, enabled);
    EXPECT_EQ(alert.messageText(), "GNOME Shell has not loaded Tidewell's extension yet.");
    EXPECT_NE(alert.informativeText().value_or("").find("(in " + extensions +
                                                        "/late@quillfen.net), but GNOME Shell "
                                                        "loads a newly installed extension only "
                                                        "at the next login"),
              std::string::npos)
        << alert.informativeText().value_or("");
    EXPECT_EQ(alert.buttons(), Buttons{"Quit"});
}

TEST_F(TWGnomeShellExtensionTest, TurnedOffItIsEnabledAndUserExtensionsAreTurnedOnOnlyWhenAsked) {
    TWGnomeShellExtension extension;
    bool enabled = false;
    ASSERT_TRUE(session_->setExtensionEnabled(false));
    TWAlert alert = alertFor(extension, enabled, "Enable the Extension");
    EXPECT_EQ(alert.messageText(), "Tidewell's GNOME Shell extension is turned off.");
    EXPECT_EQ(alert.buttons(), (Buttons{"Enable the Extension", "Quit"}));
    EXPECT_TRUE(enabled);
    EXPECT_EQ(extension.state(), TWGnomeShellExtension::State::Enabled);

    // Every user extension off: said so, and turned on (with every other one) only when chosen.
    TWTestSession::run({"gdbus", "call", "--session", "--dest", "org.gnome.Shell", "--object-path",
                        "/org/gnome/Shell", "--method", "org.freedesktop.DBus.Properties.Set",
                        "org.gnome.Shell.Extensions", "UserExtensionsEnabled", "<false>"});
    ASSERT_TRUE(TWTestSession::waitFor(
        [&] { return extension.state() == TWGnomeShellExtension::State::UserExtensionsOff; }));
    alert = alertFor(extension, enabled);
    EXPECT_EQ(alert.messageText(), "GNOME Shell has all extensions you installed turned off.");
    EXPECT_NE(alert.informativeText().value_or("").find("turns on every other extension"),
              std::string::npos);
    EXPECT_EQ(alert.buttons(), (Buttons{"Turn On Extensions", "Quit"}));
    EXPECT_FALSE(enabled);
    EXPECT_EQ(extension.state(), TWGnomeShellExtension::State::UserExtensionsOff);
    alert = alertFor(extension, enabled, "Turn On Extensions");
    EXPECT_TRUE(enabled);
    EXPECT_EQ(extension.state(), TWGnomeShellExtension::State::Enabled);
}

} // namespace
