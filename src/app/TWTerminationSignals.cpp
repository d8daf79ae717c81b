// SPDX-License-Identifier: MIT
// SIGTERM and SIGINT as a normal end of the Qt event loop.
#include "TWTerminationSignals.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

// The handler may only do async-signal-safe work: it writes one byte to a pipe the event loop
// watches, and the loop does the rest.
int signalPipe[2] = {-1, -1};
bool terminationRequested = false;

void onTerminationSignal(int) {
    const char byte = 1;
    [[maybe_unused]] ssize_t written = ::write(signalPipe[1], &byte, 1);
}

} // namespace

void TWQuitEventLoopOnTerminationSignals(QObject* owner) {
    if (signalPipe[0] < 0 && pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, owner);
    QObject::connect(notifier, &QSocketNotifier::activated, owner, [] {
        char bytes[16];
        while (::read(signalPipe[0], bytes, sizeof bytes) > 0) {
        }
        terminationRequested = true;
        // Not quit(): that does nothing before the main loop runs, and is refused while an alert
        // without an escape button is open. exit() ends every loop, nested ones included.
        QCoreApplication::exit(0);
    });
    struct sigaction action {};
    action.sa_handler = onTerminationSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

bool TWTerminationRequested() {
    return terminationRequested;
}
