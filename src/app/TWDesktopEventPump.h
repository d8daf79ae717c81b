// SPDX-License-Identifier: MIT
// Hands the desktop backend's events to it from the Qt event loop.
#pragma once

#include <functional>

class QObject;
class TWDesktop;

// Dispatches `desktop`'s events whenever its connection becomes readable and each time the event
// loop is about to wait. The second matters: a backend that waits for a reply reads the events
// that arrived meanwhile into its own queue, where no readable descriptor announces them.
// `owner` keeps the watchers; `desktop` must outlive it. `afterEvents`, when given, runs after
// each batch the desktop's connection announced (something out there changed).
void TWPumpDesktopEvents(TWDesktop& desktop, QObject* owner,
                         std::function<void()> afterEvents = {});
