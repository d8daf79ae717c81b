// SPDX-License-Identifier: MIT
// Watching the settings stores' directory.
#include "TWStoreWatcher.h"

#include "TWLog.h"
#include "TWStorePaths.h"

#include <QDir>
#include <QFileSystemWatcher>

constexpr const char* kLogClass = "TWStoreWatcher";

void TWWatchStoreDirectory(QObject* owner, std::function<void()> changed) {
    const QString directory = QString::fromStdString(TWStorePaths::storeDirectory());
    // Made now if missing, or the first store written would go unnoticed.
    if (directory.isEmpty() || !QDir().mkpath(directory)) {
        TWLog(LOG_WARNING, kLogClass,
              "cannot watch the settings directory " + directory.toStdString());
        return;
    }
    auto* watcher = new QFileSystemWatcher({directory}, owner);
    QObject::connect(watcher, &QFileSystemWatcher::directoryChanged, owner,
                     [changed = std::move(changed)] { changed(); });
}
