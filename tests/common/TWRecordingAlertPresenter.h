// SPDX-License-Identifier: MIT
// Answers every alert with a chosen button and remembers what it was shown.
#pragma once

#include "TWAlert.h"
#include "TWAlertPresenter.h"

#include <functional>
#include <vector>

class TWRecordingAlertPresenter : public TWAlertPresenter {
  public:
    long runModal(const TWAlert& alert) override {
        shown.push_back(alert);
        if (onShow)
            onShow();
        return answer;
    }
    std::vector<TWAlert> shown;
    std::function<void()> onShow;
    long answer = TWAlertFirstButtonReturn;
};
