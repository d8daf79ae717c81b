// SPDX-License-Identifier: MIT
// The application object: Qt's application with one platform event watched on the way through.
#include "TidewellApplication.h"

#include <QGuiApplication>

TidewellApplication::TidewellApplication(int& argc, char** argv) : QApplication(argc, argv) {}

void TidewellApplication::setDeactivationHandler(std::function<void()> handler) {
    deactivationHandler_ = std::move(handler);
}

std::optional<TWEvent> TidewellApplication::platformEvent(QObject* receiver, QEvent* event) {
    // The state change is delivered to the application object only; the same event sent to
    // any other receiver is not the application's own deactivation.
    if (event->type() == QEvent::ApplicationStateChange &&
        receiver == QCoreApplication::instance()) {
        // The state is updated before the change event is sent, so it names the new state.
        if (QGuiApplication::applicationState() == Qt::ApplicationInactive)
            return TWEvent{TWEventTypeApplicationDefined, TWEventSubtypeApplicationDeactivated};
    }
    return std::nullopt;
}

void TidewellApplication::sendEvent(const TWEvent& event) {
    if (event.type == 21 && event.subtype == 2 && deactivationHandler_)
        deactivationHandler_();
}

bool TidewellApplication::notify(QObject* receiver, QEvent* event) {
    if (std::optional<TWEvent> raw = platformEvent(receiver, event))
        sendEvent(*raw);
    return QApplication::notify(receiver, event);
}
