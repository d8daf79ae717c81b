// SPDX-License-Identifier: MIT
// Handing the global shortcuts between the application and the menu-bar helper with two locks.
#include "TWShortcutOwnership.h"

#include "TWLog.h"

#include <QFile>
#include <QFileSystemWatcher>
#include <QSocketNotifier>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

constexpr const char* kLogClass = "TWShortcutOwnership";

namespace {

constexpr const char* kShortcutsLock = "shortcuts.lock";
constexpr const char* kApplicationLock = "shortcuts-app.lock";

int openLockFile(const QString& path) {
    const int fd = ::open(QFile::encodeName(path).constData(),
                          O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0)
        TWLog(LOG_ERR, kLogClass,
              "cannot open " + path.toStdString() + ": " + std::strerror(errno));
    return fd;
}

} // namespace

TWShortcutOwnership::TWShortcutOwnership(Role role, QString directory,
                                         std::function<void(bool)> ownerChanged, QObject* parent)
    : QObject(parent), role_(role), directory_(std::move(directory)),
      ownerChanged_(std::move(ownerChanged)) {}

TWShortcutOwnership::~TWShortcutOwnership() {
    // A thread still waiting finds our end closed and drops the lock it may yet get.
    if (resultSocket_ >= 0)
        ::close(resultSocket_);
    for (int fd : {shortcutsLock_, applicationLock_})
        if (fd >= 0)
            ::close(fd);
}

void TWShortcutOwnership::start() {
    if (directory_.isEmpty())
        return;
    if (role_ == Role::Application) {
        waitForLock(kApplicationLock, true, Waiting::ApplicationLock);
        return;
    }
    // The application's pid written into its lock file tells a registering helper to let go.
    const QString path = directory_ + "/" + kApplicationLock;
    const int fd = openLockFile(path);
    if (fd < 0)
        return;
    ::close(fd);
    watcher_ = new QFileSystemWatcher({path}, this);
    connect(watcher_, &QFileSystemWatcher::fileChanged, this, [this] { applicationLockChanged(); });
    waitForLock(kApplicationLock, false, Waiting::ApplicationGone);
}

void TWShortcutOwnership::waitForLock(const char* file, bool exclusive, Waiting what) {
    const QString path = directory_ + "/" + file;
    const int fd = openLockFile(path);
    if (fd < 0)
        return;
    int pair[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) {
        ::close(fd);
        TWLog(LOG_ERR, kLogClass, std::string("cannot wait for a lock: ") + std::strerror(errno));
        return;
    }
    if (resultSocket_ >= 0) {
        dropResultNotifier();
        ::close(resultSocket_);
    }
    resultSocket_ = pair[0];
    waiting_ = what;
    resultNotifier_ = new QSocketNotifier(resultSocket_, QSocketNotifier::Read, this);
    connect(resultNotifier_, &QSocketNotifier::activated, this, [this] {
        int held = -1;
        if (::recv(resultSocket_, &held, sizeof held, MSG_DONTWAIT) == sizeof held)
            lockTaken(held);
    });
    // The descriptor travels as a number: both ends are in this process.
    std::thread([fd, exclusive, end = pair[1]] {
        int result;
        while ((result = flock(fd, exclusive ? LOCK_EX : LOCK_SH)) != 0 && errno == EINTR) {
        }
        if (result != 0 || ::send(end, &fd, sizeof fd, MSG_NOSIGNAL) != sizeof fd)
            ::close(fd);
        ::close(end);
    }).detach();
}

void TWShortcutOwnership::dropResultNotifier() {
    // Called from its own signal: deleted once that has returned.
    if (resultNotifier_) {
        resultNotifier_->setEnabled(false);
        resultNotifier_->deleteLater();
        resultNotifier_ = nullptr;
    }
}

void TWShortcutOwnership::lockTaken(int fd) {
    const Waiting what = waiting_;
    waiting_ = Waiting::Nothing;
    dropResultNotifier();
    ::close(resultSocket_);
    resultSocket_ = -1;
    switch (what) {
    case Waiting::ApplicationLock: {
        applicationLock_ = fd;
        // Tells a helper that holds the shortcuts to let go.
        const QByteArray pid = QByteArray::number(static_cast<qint64>(::getpid())) + '\n';
        if (::ftruncate(fd, 0) != 0 || ::pwrite(fd, pid.constData(), pid.size(), 0) < 0)
            TWLog(LOG_ERR, kLogClass,
                  std::string("cannot announce the application: ") + std::strerror(errno));
        waitForLock(kShortcutsLock, true, Waiting::ShortcutsLock);
        return;
    }
    case Waiting::ApplicationGone:
        // Only a look: held, this shared lock would keep the next application waiting.
        ::close(fd);
        waitForLock(kShortcutsLock, true, Waiting::ShortcutsLock);
        return;
    case Waiting::ShortcutsLock:
        // The application may have started while the helper waited.
        if (role_ == Role::Helper && applicationRuns()) {
            ::close(fd);
            waitForLock(kApplicationLock, false, Waiting::ApplicationGone);
            return;
        }
        becomeOwner(fd);
        return;
    case Waiting::Nothing:
        ::close(fd);
        return;
    }
}

bool TWShortcutOwnership::applicationRuns() const {
    const int fd = openLockFile(directory_ + "/" + kApplicationLock);
    if (fd < 0)
        return false;
    const bool held = flock(fd, LOCK_SH | LOCK_NB) != 0;
    ::close(fd);
    return held;
}

void TWShortcutOwnership::applicationLockChanged() {
    // A rewrite replaces nothing, but an editor or a cleaner could: keep watching the path.
    if (watcher_ && watcher_->files().isEmpty())
        watcher_->addPath(directory_ + "/" + kApplicationLock);
    if (isOwner() && applicationRuns()) {
        giveUp();
        waitForLock(kApplicationLock, false, Waiting::ApplicationGone);
    }
}

void TWShortcutOwnership::becomeOwner(int fd) {
    shortcutsLock_ = fd;
    TWLog(LOG_INFO, kLogClass, "registering the global shortcuts");
    if (ownerChanged_)
        ownerChanged_(true);
}

void TWShortcutOwnership::giveUp() {
    TWLog(LOG_INFO, kLogClass, "handing the global shortcuts to Tidewell");
    // Released at the desktop before the lock is, so the application finds the keys free.
    if (ownerChanged_)
        ownerChanged_(false);
    ::close(shortcutsLock_);
    shortcutsLock_ = -1;
}
