// SPDX-License-Identifier: MIT
// The update check: the request body and what each answer of the server means (the check
// over the network, its threads and lifetime: TWQtUpdateCheckTest).
#include "QFSimpleUpdater.h"
#include "TWLocalizedString.h"

#include <gtest/gtest.h>

namespace {

const std::string kEndpoint = "https://updates.quillfen.net/updates/simpleupdate.php";

std::string text(const TWError& error, const char* key) {
    return error.stringForKey(key).value_or("<absent>");
}

} // namespace

TEST(QFSimpleUpdaterRequest, BodyEscapesOnlySpacesAndAMissingValueEndsTheList) {
    auto args = QFSimpleUpdater::argumentsWithValues("Tide well & Co=1+2", "2.0 beta 3",
                                                     "Debian GNU/Linux 12 (bookworm) ü");
    EXPECT_EQ(QFSimpleUpdater::requestBody(args),
              "app=Tide_well_&_Co=1+2&version=2.0_beta_3&os_version=Debian_GNU/"
              "Linux_12_(bookworm)_ü");
    // Everything after a missing value is left out, and prints as "(null)".
    EXPECT_EQ(QFSimpleUpdater::requestBody(
                  QFSimpleUpdater::argumentsWithValues("Tidewell", std::nullopt, "12")),
              "app=Tidewell&version=(null)&os_version=(null)");
    EXPECT_TRUE(QFSimpleUpdater::argumentsWithValues(std::nullopt, "1.0", "12").empty());
}

TEST(QFSimpleUpdaterResult, EachAnswerGivesItsOutcomeInTheUsersLanguage) {
    const std::string available = "There is an update to Tide well available online.|",
                      current = "You have the current version of Tide well.|No updates are "
                                "available.",
                      failed = "An error occurred while checking for an update.|Please check "
                               "your internet connection and try again.";
    const std::pair<std::optional<std::string>, const std::string&> cases[] = {
        {"https://updates.quillfen.net/download/Tidewell-2.0.zip", available},
        {"HTTPS://me@updates.quillfen.net:8080/x?y=1#z", available}, // same host, port, user
        {"http://updates.quillfen.net/x.zip", current},
        {"https://updates.quillfen.net.example.org/x", current},
        {"Kein Update \xc3\xbc", current},
        {std::nullopt, failed},
        {"https://updates.quillfen.net/\xff\xfe", failed}, // not UTF-8
    };
    for (const auto& [answer, texts] : cases) {
        SCOPED_TRACE(answer.value_or("(no data)"));
        const TWError error = QFSimpleUpdater::resultForResponse(answer, "Tide well", kEndpoint);
        EXPECT_EQ(text(error, TWLocalizedDescriptionKey) + "|" +
                      text(error, TWLocalizedRecoverySuggestionErrorKey),
                  texts);
        if (&texts == &available) {
            EXPECT_EQ(*TWPlistLookup(error.userInfo, TWLocalizedRecoveryOptionsErrorKey),
                      TWPlistValue(TWPlistArray{"Download", "Cancel"}));
            EXPECT_EQ(text(error, TWURLErrorKey), *answer);
        }
        EXPECT_EQ(error.userInfo.size(), &texts == &available ? 4u : 2u);
    }
    // Two missing hosts are not equal hosts.
    EXPECT_EQ(QFSimpleUpdater::resultForResponse("https:x", "Tidewell", "not an endpoint")
                  .userInfo.size(),
              2u);
    // Texts are looked up before the name is filled in.
    TWSetLocalizer([](std::string_view key) -> std::string {
        if (key == "There is an update to %@ available online.")
            return "Für %@ gibt es ein Update.";
        return key == "Download" ? "Laden" : "";
    });
    TWError error =
        QFSimpleUpdater::resultForResponse("https://updates.quillfen.net/x", "Tidewell", kEndpoint);
    TWSetLocalizer({});
    EXPECT_EQ(text(error, TWLocalizedDescriptionKey), "Für Tidewell gibt es ein Update.");
    EXPECT_EQ(*TWPlistLookup(error.userInfo, TWLocalizedRecoveryOptionsErrorKey),
              TWPlistValue(TWPlistArray{"Laden", "Cancel"}));
}
