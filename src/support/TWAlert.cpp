// SPDX-License-Identifier: MIT
// The alert model: building alerts from texts and button titles, or from an error.
#include "TWAlert.h"

#include "TWLocalizedString.h"

std::shared_ptr<TWAlert> TWAlert::ov_alertWithMessageTextArguments(
    const std::optional<std::string>& messageText, const std::optional<std::string>& defaultButton,
    const std::optional<std::string>& alternateButton,
    const std::optional<std::string>& otherButton, const std::optional<std::string>& format,
    const std::vector<TWFormatArg>& args) {
    auto alert = std::make_shared<TWAlert>();
    if (messageText)
        alert->setMessageText(*messageText);
    if (format && !format->empty())
        alert->setInformativeText(TWFormatArgs(*format, args));
    // The order of addition, not the argument a title came in, decides its return code.
    for (const auto* title : {&defaultButton, &alternateButton, &otherButton}) {
        if (*title && !(*title)->empty())
            alert->addButtonWithTitle(**title);
    }
    return alert;
}

std::shared_ptr<TWAlert> TWAlert::alertWithError(const TWError& error) {
    auto alert = std::make_shared<TWAlert>();
    if (auto description = error.stringForKey(TWLocalizedDescriptionKey)) {
        alert->setMessageText(*description);
    } else {
        // An error without a description still says which error it is.
        alert->setMessageText(
            TWFormat(TWLocalizedString("The operation couldn\u2019t be completed. (%@ error %ld.)"),
                     error.domain, error.code));
    }
    if (auto suggestion = error.stringForKey(TWLocalizedRecoverySuggestionErrorKey))
        alert->setInformativeText(*suggestion);
    if (const TWPlistValue* options =
            TWPlistLookup(error.userInfo, TWLocalizedRecoveryOptionsErrorKey)) {
        if (const auto* titles = options->get<TWPlistArray>()) {
            for (const TWPlistValue& title : *titles) {
                if (const auto* text = title.get<std::string>())
                    alert->addButtonWithTitle(*text);
            }
        }
    }
    return alert;
}
