// SPDX-License-Identifier: MIT
// Asks again, a few times over the following minute, for global shortcuts the desktop refused:
// keys held by a program that has just ended are free once the desktop has noticed (a crashed
// Tidewell's, taken over by the menu-bar helper at once). See also TWShortcutBinder.
#pragma once

#include <QObject>
#include <QTimer>

class TWShortcutBinder;

class TWShortcutRetry : public QObject {
  public:
    TWShortcutRetry(TWShortcutBinder& binder, QObject* parent);

    // After a binding made elsewhere (taking the shortcuts over, a settings change): starts the
    // retries over when the desktop refused something, else stops them.
    void afterBinding();

    // Seconds before the first retry; each later one waits twice as long.
    static constexpr int kFirstDelayMs = 1000;
    static constexpr int kRetries = 6;

  private:
    void retry();

    TWShortcutBinder& binder_;
    QTimer timer_;
    int retries_ = 0;
};
