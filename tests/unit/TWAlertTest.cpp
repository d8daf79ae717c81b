// SPDX-License-Identifier: MIT
// The system's messages: the formatting of their texts (objects, numbers, missing arguments),
// the alert model, and the update handlers (button order, texts, what gets opened).
#include "TWAlert.h"
#include "QFSimpleUpdater.h"
#include "TWFormat.h"
#include "TWRecordingAlertPresenter.h"
#include "TWRecordingWorkspace.h"
#include "TWUpdateHandlers.h"

#include <gtest/gtest.h>

#include <tuple>

using Strings = std::vector<std::string>;

TEST(TWFormat, ObjectsNumbersMissingArgumentsAndMalformedFormats) {
    EXPECT_EQ(TWFormat("There is an update to %@ available online.", "Tidewell"),
              "There is an update to Tidewell available online.");
    EXPECT_EQ(TWFormat("app=%@&version=%@&os_version=%@", "A", std::optional<std::string>{}, "12"),
              "app=A&version=(null)&os_version=12");
    EXPECT_EQ(TWFormat("%@ and %@", "one"), "one and (null)");
    EXPECT_EQ(TWFormat("%@", nullptr), "(null)");
    EXPECT_EQ(TWFormat("100%% %@", "sure"), "100% sure");
    EXPECT_EQ(TWFormat("%2$@ %1$@", "world", "hello"), "hello world");
    EXPECT_EQ(TWFormat("b%lu", 2u), "b2");
    EXPECT_EQ(TWFormat("%d/%ld/%lld", -1, 2L, 3LL), "-1/2/3");
    EXPECT_EQ(TWFormat("[%5d|%-4s|%03u]", 42, "ab", 7u), "[   42|ab  |007]");
    EXPECT_EQ(TWFormat("%.2f|%x", 3.14159, 255), "3.14|ff");
    int x = 0;
    EXPECT_EQ(TWFormat("%p", static_cast<const void*>(&x)).rfind("0x", 0), 0u);
    // Malformed formats never fail.
    EXPECT_EQ(TWFormat("50%"), "50%");
    EXPECT_EQ(TWFormat("%q", 1), "%q");
    EXPECT_EQ(TWFormat("%d"), "0");
    EXPECT_EQ(TWFormat("%d", "text"), "0");
}

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

    // The informative text is formatted from its arguments.
    auto mixed = TWAlert::ov_alertWithMessageText(std::nullopt, "OK", std::nullopt, std::nullopt,
                                                  "%d of %@", 3, std::string("five"));
    EXPECT_EQ(mixed->informativeText(), "3 of five");
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
