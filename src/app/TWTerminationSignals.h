// SPDX-License-Identifier: MIT
// SIGTERM and SIGINT as a normal end of the Qt event loop, for Tidewell's long-running programs.
#pragma once

class QObject;

// After this, SIGTERM and SIGINT make the running event loop quit, so the program leaves through
// its usual shutdown (unregistering itself, removing its socket). `owner` keeps the watcher.
void TWQuitEventLoopOnTerminationSignals(QObject* owner);
