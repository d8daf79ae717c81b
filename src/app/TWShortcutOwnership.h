// SPDX-License-Identifier: MIT
// Which of Tidewell's two programs registers the global shortcuts: the application while it runs,
// the menu-bar helper while it does not. Two lock files in the runtime directory decide it, so a
// crash hands over as surely as a quit:
//   shortcuts.lock        held (exclusively) by the program that registers;
//   shortcuts-app.lock    held (exclusively) by the application for its whole run; it writes its
//                         pid there once it holds it, which tells a registering helper to let go.
// The helper waits for the application's lock to be free, then takes the shortcuts' lock; the
// application waits for the shortcuts' lock, which the helper gives up when told. Waiting for a
// lock happens on a thread of its own; the result comes back to the event loop.
#pragma once

#include <QObject>
#include <QString>

#include <functional>

class QFileSystemWatcher;
class QSocketNotifier;

class TWShortcutOwnership : public QObject {
    Q_OBJECT

  public:
    enum class Role { Application, Helper };

    // `ownerChanged(true)` when this program is to register the shortcuts, `(false)` when it is
    // to release them; `directory` holds the locks.
    TWShortcutOwnership(Role role, QString directory, std::function<void(bool)> ownerChanged,
                        QObject* parent = nullptr);
    ~TWShortcutOwnership() override;

    // Starts taking part; the first answer comes through ownerChanged.
    void start();
    bool isOwner() const { return shortcutsLock_ >= 0; }

  private:
    enum class Waiting { Nothing, ApplicationGone, ShortcutsLock, ApplicationLock };
    // Waits, on a thread, for the lock on `file` (exclusive or shared); the open descriptor
    // holding it comes back to lockTaken.
    void waitForLock(const char* file, bool exclusive, Waiting what);
    void lockTaken(int fd);
    void dropResultNotifier();
    // Whether the application holds its lock now.
    bool applicationRuns() const;
    void applicationLockChanged();
    void becomeOwner(int fd);
    void giveUp();

    Role role_;
    QString directory_;
    std::function<void(bool)> ownerChanged_;
    Waiting waiting_ = Waiting::Nothing;
    int shortcutsLock_ = -1;
    int applicationLock_ = -1;
    int resultSocket_ = -1; // our end of the waiting thread's socket pair
    QSocketNotifier* resultNotifier_ = nullptr;
    QFileSystemWatcher* watcher_ = nullptr;
};
