// SPDX-License-Identifier: MIT
// SIGTERM and SIGINT as a normal end of the Qt event loop, for Tidewell's long-running programs.
#pragma once

class QObject;

// After this, SIGTERM and SIGINT end every running event loop, the main one and those of modal
// alerts alike (start-up alerts run before the main loop), so the program leaves through its
// usual shutdown (unregistering itself, removing its socket). `owner` keeps the watcher.
void TWQuitEventLoopOnTerminationSignals(QObject* owner);
// True once SIGTERM or SIGINT arrived: start-up that an alert held up must not go on.
bool TWTerminationRequested();
