// SPDX-License-Identifier: MIT
// Notice of changes to the settings stores made by another process (the preferences, the
// command-line tool, an editor): the stores are replaced by renaming, so their directory is
// watched.
#pragma once

#include <functional>

class QObject;

// Calls `changed` on the event loop after any file of the stores' directory changed. The watch
// lives as long as `owner`.
void TWWatchStoreDirectory(QObject* owner, std::function<void()> changed);
