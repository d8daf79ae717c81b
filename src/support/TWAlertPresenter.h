// SPDX-License-Identifier: MIT
// Shows an alert to the user and waits for the answer.
#pragma once

class TWAlert;

class TWAlertPresenter {
  public:
    virtual ~TWAlertPresenter() = default;

    // Shows `alert` modally. Returns 1000 for the first button, 1001 for the second, 1002 for
    // the third; an alert without buttons is shown with one "OK" button that returns 1000.
    virtual long runModal(const TWAlert& alert) = 0;
};
