// SPDX-License-Identifier: MIT
// Asks again, a few times over the following minute, for global shortcuts the desktop refused:
// keys held by a program that has just ended are free once the desktop has noticed (a crashed
// Tidewell's, taken over by the menu-bar helper at once). See also TWShortcutBinder.
#pragma once

#include <QObject>
#include <QTimer>

#include <functional>

class TWShortcutBinder;

class TWShortcutRetry : public QObject {
  public:
    TWShortcutRetry(TWShortcutBinder& binder, QObject* parent);

    // After a binding made elsewhere (taking the shortcuts over, a settings change): starts the
    // retries over when the desktop refused something, else stops them.
    void afterBinding();
    // Called when a retry took keys that were refused before (the preferences' lines change).
    void setTakenHandler(std::function<void()> handler) { taken_ = std::move(handler); }

    // Seconds before the first retry; each later one waits twice as long.
    static constexpr int kFirstDelayMs = 1000;
    static constexpr int kRetries = 6;

  private:
    void retry();

    TWShortcutBinder& binder_;
    QTimer timer_;
    int retries_ = 0;
    std::function<void()> taken_;
};
