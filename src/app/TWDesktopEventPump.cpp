// The desktop backend's events, dispatched from the Qt event loop.
#include "TWDesktopEventPump.h"

#include "TWDesktop.h"

#include <QAbstractEventDispatcher>
#include <QSocketNotifier>

void TWPumpDesktopEvents(TWDesktop& desktop, QObject* owner) {
    const int fd = desktop.eventFileDescriptor();
    if (fd < 0)
        return;
    TWDesktop* events = &desktop;
    auto* notifier = new QSocketNotifier(fd, QSocketNotifier::Read, owner);
    QObject::connect(notifier, &QSocketNotifier::activated, owner,
                     [events] { events->dispatchPendingEvents(); });
    if (QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance()) {
        // Twice: the handlers of the first pass (a front switch looks up the running
        // applications) make round trips of their own, which can queue further events.
        QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, owner, [events] {
            events->dispatchPendingEvents();
            events->dispatchPendingEvents();
        });
    }
}
