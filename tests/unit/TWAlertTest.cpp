// SPDX-License-Identifier: MIT
// The alert model and the update handlers: button order and codes, texts, what gets opened.
#include "TWAlert.h"
#include "QFSimpleUpdater.h"
#include "TWRecordingWorkspace.h"
#include "TWUpdateHandlers.h"

#include <gtest/gtest.h>

namespace {

// Answers every alert by choosing the button with a given title, the way a user would, and
// keeps a copy of each alert shown.
class ChoosingPresenter : public TWAlertPresenter {
  public:
    explicit ChoosingPresenter(std::string choice = "OK") : choice_(std::move(choice)) {}

    long runModal(const TWAlert& alert) override {
        shown.push_back(alert);
        std::vector<std::string> titles = alert.buttons();
        if (titles.empty())
            titles.push_back("OK");
        for (std::size_t i = 0; i < titles.size(); ++i) {
            if (titles[i] == choice_)
                return TWAlertFirstButtonReturn + static_cast<long>(i);
        }
        ADD_FAILURE() << "no button titled " << choice_;
        return -1;
    }

    std::vector<TWAlert> shown;

  private:
    std::string choice_;
};

long choose(const TWAlert& alert, const std::string& title) {
    ChoosingPresenter presenter(title);
    return alert.runModal(presenter);
}

} // namespace

TEST(TWAlertBuilder, ButtonsAreAddedInOrderAndCodedByPosition) {
    auto all = TWAlert::ov_alertWithMessageText("Quit?", "Quit", "Keep", "Later", std::nullopt);
    EXPECT_EQ(all->buttons(), (std::vector<std::string>{"Quit", "Keep", "Later"}));
    EXPECT_EQ(choose(*all, "Quit"), 1000);
    EXPECT_EQ(choose(*all, "Keep"), 1001);
    EXPECT_EQ(choose(*all, "Later"), 1002);

    auto defaultAndOther = TWAlert::ov_alertWithMessageText("m", "Yes", std::nullopt, "Other", "");
    EXPECT_EQ(defaultAndOther->buttons(), (std::vector<std::string>{"Yes", "Other"}));
    EXPECT_EQ(choose(*defaultAndOther, "Other"), 1001);

    auto noDefault = TWAlert::ov_alertWithMessageText("m", "", "Alternate", "Other", "");
    EXPECT_EQ(noDefault->buttons(), (std::vector<std::string>{"Alternate", "Other"}));
    EXPECT_EQ(choose(*noDefault, "Alternate"), 1000);

    auto none = TWAlert::ov_alertWithMessageText("m", std::nullopt, "", std::nullopt, "");
    EXPECT_TRUE(none->buttons().empty());
    EXPECT_EQ(choose(*none, "OK"), 1000);
}

TEST(TWAlertBuilder, InformativeTextIsFormattedOnlyFromANonEmptyFormatMessageKeptIfGiven) {
    auto one = TWAlert::ov_alertWithMessageText("m", "OK", std::nullopt, std::nullopt,
                                                "Remove %@ from the list?", "Firefox");
    EXPECT_EQ(one->informativeText(), "Remove Firefox from the list?");

    auto mixed = TWAlert::ov_alertWithMessageText(std::nullopt, "OK", std::nullopt, std::nullopt,
                                                  "%d of %@", 3, std::string("five"));
    EXPECT_EQ(mixed->informativeText(), "3 of five");
    EXPECT_FALSE(mixed->messageText());

    auto empty =
        TWAlert::ov_alertWithMessageText("m", "OK", std::nullopt, std::nullopt, "", "ignored");
    EXPECT_FALSE(empty->informativeText());
    auto missing = TWAlert::ov_alertWithMessageText("m", "OK", std::nullopt, std::nullopt,
                                                    std::nullopt, "ignored");
    EXPECT_FALSE(missing->informativeText());
    // The message is set when given, even if empty.
    EXPECT_EQ(TWAlert::ov_alertWithMessageText("", "OK", "", "", "")->messageText(), "");
    EXPECT_EQ(empty->alertStyle(), TWAlertStyleWarning);
}

TEST(TWAlertFromError, TextsAndButtonsComeFromTheUserInformation) {
    TWError error{"net.quillfen.updater", -1, {}};
    error.userInfo[TWLocalizedDescriptionKey] = "Something happened.";
    error.userInfo[TWLocalizedRecoverySuggestionErrorKey] = "Try again.";
    error.userInfo[TWLocalizedRecoveryOptionsErrorKey] = TWPlistArray{"Retry", 7, "Give Up"};
    auto alert = TWAlert::alertWithError(error);
    EXPECT_EQ(alert->messageText(), "Something happened.");
    EXPECT_EQ(alert->informativeText(), "Try again.");
    // A title that is not a string cannot be shown and is left out.
    EXPECT_EQ(alert->buttons(), (std::vector<std::string>{"Retry", "Give Up"}));
}

TEST(TWAlertFromError, AnErrorWithoutTextsStillNamesItself) {
    auto alert = TWAlert::alertWithError(TWError{"net.example", 42, {}});
    ASSERT_TRUE(alert->messageText());
    EXPECT_NE(alert->messageText()->find("net.example"), std::string::npos);
    EXPECT_NE(alert->messageText()->find("42"), std::string::npos);
    EXPECT_FALSE(alert->informativeText());
    EXPECT_TRUE(alert->buttons().empty());
}

namespace {
const std::string kEndpoint = "https://updates.quillfen.net/updates/simpleupdate.php";
const std::string kLink = "https://updates.quillfen.net/download/Tidewell-2.0.zip";

TWError available() {
    return QFSimpleUpdater::resultForResponse(kLink, "Tidewell", kEndpoint);
}
TWError current() {
    return QFSimpleUpdater::resultForResponse("no", "Tidewell", kEndpoint);
}
TWError failed() {
    return QFSimpleUpdater::resultForResponse(std::nullopt, "Tidewell", kEndpoint);
}
} // namespace

TEST(TWUpdateHandlers, AnUpdateIsOfferedAlwaysAndDownloadOpensTheLink) {
    for (auto handler : {&TWLaunchUpdateHandler, &TWManualUpdateHandler}) {
        for (const char* choice : {"Download", "Cancel"}) {
            ChoosingPresenter presenter(choice);
            TWRecordingWorkspace workspace;
            handler(available(), presenter, workspace);

            ASSERT_EQ(presenter.shown.size(), 1u);
            const TWAlert& alert = presenter.shown[0];
            EXPECT_EQ(alert.messageText(), "There is an update to Tidewell available online.");
            EXPECT_EQ(alert.informativeText(), "");
            EXPECT_EQ(alert.buttons(), (std::vector<std::string>{"Download", "Cancel"}));
            EXPECT_EQ(alert.alertStyle(), TWAlertStyleInformational);
            EXPECT_EQ(workspace.opened, std::string(choice) == "Download"
                                            ? std::vector<std::string>{kLink}
                                            : std::vector<std::string>{});
        }
    }
}

TEST(TWUpdateHandlers, OtherOutcomesAreAnsweredOnRequestOnlyAndOpenNothing) {
    const std::pair<TWError, std::string> cases[] = {
        {current(), "You have the current version of Tidewell.|No updates are available."},
        {failed(), "An error occurred while checking for an update.|Please check your internet "
                   "connection and try again."},
    };
    for (const auto& [error, texts] : cases) {
        ChoosingPresenter presenter("OK");
        TWRecordingWorkspace workspace;
        TWLaunchUpdateHandler(error, presenter, workspace);
        EXPECT_TRUE(presenter.shown.empty());
        TWManualUpdateHandler(error, presenter, workspace);
        ASSERT_EQ(presenter.shown.size(), 1u);
        const TWAlert& alert = presenter.shown[0];
        EXPECT_EQ(*alert.messageText() + "|" + *alert.informativeText(), texts);
        EXPECT_TRUE(alert.buttons().empty()); // the presenter's own "OK", code 1000
        EXPECT_EQ(alert.alertStyle(), TWAlertStyleInformational);
        EXPECT_TRUE(workspace.opened.empty());
    }
}
