// SPDX-License-Identifier: MIT
// The desktop backend's events, dispatched from the Qt event loop.
#include "TWDesktopEventPump.h"

#include "TWDesktop.h"

#include <QAbstractEventDispatcher>
#include <QPointer>
#include <QSocketNotifier>

void TWPumpDesktopEvents(TWDesktop& desktop, QObject* owner, std::function<void()> afterEvents) {
    const int fd = desktop.eventFileDescriptor();
    if (fd < 0)
        return;
    TWDesktop* events = &desktop;
    auto* notifier = new QSocketNotifier(fd, QSocketNotifier::Read, owner);
    QPointer<QSocketNotifier> watcher(notifier);
    QMetaObject::Connection* idle = new QMetaObject::Connection;
    auto dispatch = [events, watcher, idle] {
        events->dispatchPendingEvents();
        // A desktop that can deliver nothing more (its connection is gone) withdraws its
        // descriptor: a closed socket would otherwise read as ready forever.
        if (events->eventFileDescriptor() < 0 && watcher) {
            watcher->setEnabled(false);
            watcher->deleteLater();
            QObject::disconnect(*idle);
        }
    };
    QObject::connect(notifier, &QSocketNotifier::activated, owner,
                     [dispatch, afterEvents = std::move(afterEvents)] {
                         dispatch();
                         if (afterEvents)
                             afterEvents();
                     });
    if (QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance()) {
        // Twice: the handlers of the first pass (a front switch looks up the running
        // applications) make round trips of their own, which can queue further events.
        *idle = QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, owner,
                                 [dispatch, watcher] {
                                     if (!watcher)
                                         return;
                                     dispatch();
                                     if (watcher)
                                         dispatch();
                                 });
    }
    // The connection handle lives as long as the watcher that may need to cut it.
    QObject::connect(notifier, &QObject::destroyed, [idle] { delete idle; });
}
