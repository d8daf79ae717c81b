// SPDX-License-Identifier: MIT
// The two ways of presenting an update-check result: silent unless an update exists (at
// launch), or always answering (when the user asked).
#pragma once

#include "TWAlertPresenter.h"
#include "TWError.h"
#include "TWWorkspace.h"

// Shows the update alert only when the result carries a download link; "Download" opens it.
void TWLaunchUpdateHandler(const TWError& error, TWAlertPresenter& presenter,
                           TWWorkspace& workspace);
// Shows the result's alert for every outcome; "Download" opens the link when there is one.
void TWManualUpdateHandler(const TWError& error, TWAlertPresenter& presenter,
                           TWWorkspace& workspace);
