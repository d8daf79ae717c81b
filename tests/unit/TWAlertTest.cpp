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
    EXPECT_EQ(TWFormat("%@ and %@", "one"), "one and (null)");
    EXPECT_EQ(TWFormat("%@", nullptr), "(null)");
    EXPECT_EQ(TWFormat("100%% %@", "sure"), "100% sure");
    EXPECT_EQ(TWFormat("%2$@ %1$@", "world", "hello"), "hello world");
    EXPECT_EQ(TWFormat("%d/%ld/%lld", -1, 2L, 3LL), "-1/2/3");
    EXPECT_EQ(TWFormat("[%5d|%-4s|%03u]", 42, "ab", 7u), "[   42|ab  |007]");
    EXPECT_EQ(TWFormat("%.2f|%x", 3.14159, 255), "3.14|ff");
    // Malformed formats never fail.
    EXPECT_EQ(TWFormat("50%"), "50%");
    EXPECT_EQ(TWFormat("%q", 1), "%q");
    EXPECT_EQ(TWFormat("%d"), "0");
    EXPECT_EQ(TWFormat("%d", "text"), "0");
}

// Buttons in the order they are added, which gives each its return code; empty titles left out.
TEST(TWAlertBuilder, ButtonsInOrderEmptyTitlesLeftOut) {
    using Title = std::optional<std::string>;
    const std::tuple<Title, Title, Title, Strings> cases[] = {
        {"Quit", "Keep", "Later", {"Quit", "Keep", "Later"}},
        {"", "Alternate", "Other", {"Alternate", "Other"}},
        {std::nullopt, "", std::nullopt, {}},
    };
    for (const auto& [defaultButton, alternate, other, buttons] : cases) {
        auto alert = TWAlert::ov_alertWithMessageText("m", defaultButton, alternate, other, "");
        EXPECT_EQ(alert->buttons(), buttons);
    }
}

// An update is offered however the check was started (whether other outcomes show is the
// delegate's test); its first button opens the link.
TEST(TWUpdateHandlers, AnUpdateIsOfferedAndItsFirstButtonOpensTheLink) {
    const std::string link = "https://updates.quillfen.net/download/Tidewell-2.0.zip";
    const TWError error = QFSimpleUpdater::resultForResponse(
        link, "Tidewell", "https://updates.quillfen.net/updates/simpleupdate.php");
    for (long choice : {TWAlertFirstButtonReturn, TWAlertSecondButtonReturn})
        for (auto handler : {&TWLaunchUpdateHandler, &TWManualUpdateHandler}) {
            TWRecordingAlertPresenter presenter;
            presenter.answer = choice;
            TWRecordingWorkspace workspace;
            handler(error, presenter, workspace);
            ASSERT_EQ(presenter.shown.size(), 1u);
            EXPECT_EQ(presenter.shown[0].buttons(), (Strings{"Download", "Cancel"}));
            EXPECT_EQ(presenter.shown[0].alertStyle(), TWAlertStyleInformational);
            EXPECT_EQ(workspace.opened,
                      choice == TWAlertFirstButtonReturn ? Strings{link} : Strings{});
        }
}
