// SPDX-License-Identifier: MIT
// Retries of refused global shortcuts, spaced out.
#include "TWShortcutRetry.h"

#include "TWShortcutBinder.h"

#include <array>

TWShortcutRetry::TWShortcutRetry(TWShortcutBinder& binder, QObject* parent)
    : QObject(parent), binder_(binder) {
    timer_.setSingleShot(true);
    connect(&timer_, &QTimer::timeout, this, [this] { retry(); });
}

void TWShortcutRetry::afterBinding() {
    retries_ = 0;
    if (binder_.refusedByDesktop())
        timer_.start(kFirstDelayMs);
    else
        timer_.stop();
}

void TWShortcutRetry::retry() {
    const std::array before{binder_.problem(TWShortcutAction::HideOthers),
                            binder_.problem(TWShortcutAction::ShowAll)};
    binder_.refresh();
    const std::array after{binder_.problem(TWShortcutAction::HideOthers),
                           binder_.problem(TWShortcutAction::ShowAll)};
    if (taken_ && before != after)
        taken_();
    if (binder_.refusedByDesktop() && ++retries_ < kRetries)
        timer_.start(kFirstDelayMs << retries_);
}
