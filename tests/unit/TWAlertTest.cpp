// SPDX-License-Identifier: MIT
// The alert model and the update handlers: button order, texts, what gets opened.
#include "TWAlert.h"
#include "QFSimpleUpdater.h"
#include "TWRecordingAlertPresenter.h"
#include "TWRecordingWorkspace.h"
#include "TWUpdateHandlers.h"

#include <gtest/gtest.h>

#include <tuple>

using Strings = std::vector<std::string>;

// Buttons in the order they are added, which gives each its return code; empty titles left out.
TEST(TWAlertBuilder, ButtonsInOrderAndTheTexts) {
    using Title = std::optional<std::string>;
    const std::tuple<Title, Title, Title, Strings> cases[] = {
        {"Quit", "Keep", "Later", {"Quit", "Keep", "Later"}},
        {"Yes", std::nullopt, "Other", {"Yes", "Other"}},
        {"", "Alternate", "Other", {"Alternate", "Other"}},
        {std::nullopt, "", std::nullopt, {}},
    };
    for (const auto& [defaultButton, alternate, other, buttons] : cases) {
        auto alert = TWAlert::ov_alertWithMessageText("m", defaultButton, alternate, other, "");
        EXPECT_EQ(alert->buttons(), buttons);
    }

    // The informative text is formatted only from a non-empty format; a message is kept if
    // given, even empty.
    auto mixed = TWAlert::ov_alertWithMessageText(std::nullopt, "OK", std::nullopt, std::nullopt,
                                                  "%d of %@", 3, std::string("five"));
    EXPECT_EQ(mixed->informativeText(), "3 of five");
    EXPECT_FALSE(mixed->messageText());
    auto empty = TWAlert::ov_alertWithMessageText("", "OK", "", "", "", "ignored");
    EXPECT_FALSE(empty->informativeText());
    EXPECT_EQ(empty->messageText(), "");
    EXPECT_FALSE(TWAlert::ov_alertWithMessageText("m", "OK", "", "", std::nullopt, "ignored")
                     ->informativeText());
}

TEST(TWUpdateHandlers, AnUpdateIsOfferedAlwaysOtherOutcomesOnRequestOnly) {
    const std::string endpoint = "https://updates.quillfen.net/updates/simpleupdate.php";
    const std::string link = "https://updates.quillfen.net/download/Tidewell-2.0.zip";
    // The answer, the button chosen (the only one without a link: "OK"), whether the check at
    // launch shows it, what gets opened.
    const std::tuple<std::optional<std::string>, long, bool, Strings> cases[] = {
        {link, TWAlertFirstButtonReturn, true, {link}},
        {link, TWAlertSecondButtonReturn, true, {}},
        {std::nullopt, TWAlertFirstButtonReturn, false, {}},
    };
    for (const auto& [answer, choice, atLaunch, opened] : cases) {
        const TWError error = QFSimpleUpdater::resultForResponse(answer, "Tidewell", endpoint);
        for (auto handler : {&TWLaunchUpdateHandler, &TWManualUpdateHandler}) {
            SCOPED_TRACE(answer.value_or("(none)") + " " + std::to_string(choice));
            TWRecordingAlertPresenter presenter;
            presenter.answer = choice;
            TWRecordingWorkspace workspace;
            handler(error, presenter, workspace);
            if (handler == &TWLaunchUpdateHandler && !atLaunch) {
                EXPECT_TRUE(presenter.shown.empty());
                continue;
            }
            ASSERT_EQ(presenter.shown.size(), 1u);
            const TWAlert& alert = presenter.shown[0];
            EXPECT_EQ(alert.messageText(), error.stringForKey(TWLocalizedDescriptionKey));
            EXPECT_EQ(alert.buttons(), (atLaunch ? Strings{"Download", "Cancel"} : Strings{}));
            EXPECT_EQ(alert.alertStyle(), TWAlertStyleInformational);
            EXPECT_EQ(workspace.opened, opened);
        }
    }
}
