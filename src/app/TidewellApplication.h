// SPDX-License-Identifier: MIT
// The application object: Qt's application with one platform event watched on the way through.
#pragma once

#include <QApplication>

#include <functional>
#include <optional>

// A platform event in the raw numbering the application watches (type, subtype).
struct TWEvent {
    int type = 0;
    int subtype = 0;
};

// Type 21, subtype 2: another application came to the front and this one was deactivated.
inline constexpr int TWEventTypeApplicationDefined = 21;
inline constexpr int TWEventSubtypeApplicationDeactivated = 2;

class TidewellApplication : public QApplication {
    Q_OBJECT

  public:
    TidewellApplication(int& argc, char** argv);

    // Runs for the raw event (21, 2) before the event is dispatched: records which
    // application is active now (the desktop actions' setCurrentProcess).
    void setDeactivationHandler(std::function<void()> handler);

    // The raw event for a Qt event, when it is one the application watches.
    static std::optional<TWEvent> platformEvent(QObject* receiver, QEvent* event);
    // Handles a raw event; every event is still dispatched by notify().
    void sendEvent(const TWEvent& event);

    bool notify(QObject* receiver, QEvent* event) override;

  private:
    std::function<void()> deactivationHandler_;
};
