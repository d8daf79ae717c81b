// SPDX-License-Identifier: MIT
// The two ways of presenting an update-check result.
#include "TWUpdateHandlers.h"

#include "TWAlert.h"

void TWLaunchUpdateHandler(const TWError& error, TWAlertPresenter& presenter,
                           TWWorkspace& workspace) {
    // At launch only an available update is worth interrupting the user for.
    std::optional<std::string> url = error.stringForKey(TWURLErrorKey);
    if (!url)
        return;
    auto alert = TWAlert::alertWithError(error);
    alert->setAlertStyle(TWAlertStyleInformational);
    if (alert->runModal(presenter) == TWAlertFirstButtonReturn)
        workspace.openURL(*url);
}

void TWManualUpdateHandler(const TWError& error, TWAlertPresenter& presenter,
                           TWWorkspace& workspace) {
    // The user asked, so every outcome gets an answer.
    auto alert = TWAlert::alertWithError(error);
    alert->setAlertStyle(TWAlertStyleInformational);
    long response = alert->runModal(presenter);
    std::optional<std::string> url = error.stringForKey(TWURLErrorKey);
    if (response == TWAlertFirstButtonReturn && url)
        workspace.openURL(*url);
}
