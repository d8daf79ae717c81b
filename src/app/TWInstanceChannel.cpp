// SPDX-License-Identifier: MIT
// One Tidewell per user session: the private local socket between instances.
#include "TWInstanceChannel.h"

#include "TWBaseDirectories.h"
#include "TWInstanceFrame.h"
#include "TWInstanceProtocol.h"
#include "TWLog.h"

#include <QDir>
#include <QLocalSocket>
#include <QSocketNotifier>
#include <QTimer>

#include <algorithm>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace {
constexpr const char* socketName = TWInstanceProtocol::socketName;
constexpr const char* lockName = "instance.lock";
constexpr const char* bufferProperty = "tw_buffer";

constexpr const char* kLogClass = "TWInstanceChannel";

void logLine(int priority, const QString& text) {
    TWLog(priority, kLogClass, text.toStdString());
}

// The directory must be ours alone (see TWBaseDirectories::privateDirectoryProblem). Returns
// why it cannot be used.
QString unusableDirectory(const QString& directory) {
    const std::string problem =
        TWBaseDirectories::privateDirectoryProblem(QFile::encodeName(directory).toStdString());
    return QString::fromLocal8Bit(problem.c_str());
}

using Clock = std::chrono::steady_clock;

int remainingMs(Clock::time_point deadline) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    return left.count() > 0 ? int(left.count()) : 0;
}

bool writeAll(int fd, const QByteArray& bytes, Clock::time_point deadline) {
    qsizetype done = 0;
    while (done < bytes.size()) {
        pollfd p{fd, POLLOUT, 0};
        if (poll(&p, 1, remainingMs(deadline)) <= 0)
            return false;
        ssize_t n = ::send(fd, bytes.constData() + done, size_t(bytes.size() - done), MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += n;
    }
    return true;
}

bool readExactly(int fd, char* buffer, size_t size, Clock::time_point deadline) {
    size_t done = 0;
    while (done < size) {
        pollfd p{fd, POLLIN, 0};
        if (poll(&p, 1, remainingMs(deadline)) <= 0)
            return false;
        ssize_t n = ::recv(fd, buffer + done, size - done, 0);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += size_t(n);
    }
    return true;
}
bool addressFor(const QString& directory, sockaddr_un& address) {
    const QByteArray path = QFile::encodeName(directory + "/" + socketName);
    address = sockaddr_un{};
    address.sun_family = AF_UNIX;
    if (size_t(path.size()) >= sizeof address.sun_path)
        return false;
    std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
    return true;
}

// A connection to the instance's socket, or -1 when nobody listens there.
int connectOnce(const sockaddr_un& address) {
    int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

// Sends one framed message on `fd` and reads the framed reply; closes `fd`.
std::optional<QByteArray> exchange(int fd, const QByteArray& message, Clock::time_point deadline);

} // namespace

TWInstanceChannel::TWInstanceChannel(QString directory, QObject* parent)
    : QObject(parent), directory_(std::move(directory)) {}

TWInstanceChannel::~TWInstanceChannel() {
    if (listenFd_ >= 0) {
        delete notifier_;
        ::close(listenFd_);
        ::unlink(QFile::encodeName(socketPath()).constData());
    }
    if (lockFd_ >= 0)
        ::close(lockFd_);
}

QString TWInstanceChannel::defaultDirectory() {
    return QFile::decodeName(QByteArray::fromStdString(TWBaseDirectories::runtimeDirectory()));
}

QString TWInstanceChannel::socketPath() const {
    return directory_ + "/" + socketName;
}

QByteArray TWInstanceChannel::frame(const QByteArray& payload) {
    return TWInstanceFrame::frame(payload);
}

bool TWInstanceChannel::acquireInstanceLock() {
    if (lockFd_ >= 0)
        return true;
    error_ = unusableDirectory(directory_);
    if (!error_.isEmpty())
        return false;
    const QByteArray path = QFile::encodeName(directory_ + "/" + lockName);
    int fd = ::open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
    if (fd < 0) {
        error_ = "cannot open the instance lock: " + QString::fromLocal8Bit(strerror(errno));
        return false;
    }
    // The kernel drops the lock when its holder dies, so a crashed instance never blocks the
    // next start; only the holder touches the socket file.
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK)
            error_ = "cannot lock the instance lock: " + QString::fromLocal8Bit(strerror(errno));
        ::close(fd);
        return false;
    }
    lockFd_ = fd;
    return true;
}

TWInstanceChannel::Start TWInstanceChannel::acquireOrHandOver(const QByteArray& message,
                                                              int timeoutMs, QByteArray& reply) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    sockaddr_un address{};
    if (message.isEmpty() || message.size() > maximumMessageSize ||
        !addressFor(directory_, address)) {
        error_ = QStringLiteral("cannot reach the instance channel in ") + directory_;
        return Start::NoAnswer;
    }
    for (;;) {
        if (acquireInstanceLock())
            return Start::Acquired;
        if (!error_.isEmpty())
            return Start::NoAnswer;
        // Someone holds the lock: the instance (which answers once it listens), or a process
        // about to let go of it (which never will).
        const int fd = connectOnce(address);
        if (fd >= 0) {
            std::optional<QByteArray> answer = exchange(fd, message, deadline);
            if (!answer)
                return Start::NoAnswer;
            reply = *answer;
            return Start::HandedOver;
        }
        if (remainingMs(deadline) == 0)
            return Start::NoAnswer;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

bool TWInstanceChannel::listen(Handler handler) {
    if (lockFd_ < 0 && !acquireInstanceLock())
        return false;
    handler_ = std::move(handler);
    sockaddr_un address{};
    if (!addressFor(directory_, address)) {
        logLine(LOG_ERR, "cannot listen on " + socketPath() + ": the path is too long");
        return false;
    }
    // Holding the lock means any socket file here is a leftover of a crashed instance. Anything
    // else in its place (a folder, a file) is not ours to delete: it is moved aside, said so.
    struct stat st {};
    if (::lstat(address.sun_path, &st) == 0 && !S_ISSOCK(st.st_mode)) {
        const QString aside = socketPath() + ".aside-" + QString::number(::time(nullptr));
        if (::rename(address.sun_path, QFile::encodeName(aside).constData()) != 0) {
            logLine(LOG_ERR, "cannot listen on " + socketPath() +
                                 ": something that is not a socket is in its place and cannot "
                                 "be moved aside (" +
                                 QString::fromLocal8Bit(strerror(errno)) + ")");
            return false;
        }
        logLine(LOG_WARNING, socketPath() + " was not a socket; it was moved to " + aside);
    }
    ::unlink(address.sun_path);
    int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::chmod(address.sun_path, 0600) != 0 || ::listen(fd, SOMAXCONN) != 0) {
        logLine(LOG_ERR, "cannot listen on " + socketPath() + ": " +
                             QString::fromLocal8Bit(strerror(errno)));
        if (fd >= 0)
            ::close(fd);
        return false;
    }
    listenFd_ = fd;
    notifier_ = new QSocketNotifier(qintptr(fd), QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, &TWInstanceChannel::acceptConnection);
    return true;
}

void TWInstanceChannel::acceptConnection() {
    for (;;) {
        const int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd >= 0) {
            acceptRetryMs_ = 0;
            serve(fd);
            continue;
        }
        if (errno == EINTR || errno == ECONNABORTED)
            continue;
        if (errno == EAGAIN || errno == EWOULDBLOCK)
            return;
        // Out of descriptors or memory: the socket keeps listening and the connection waits
        // in its queue. Said once (a flood would repeat it endlessly), then retried later
        // rather than in a busy loop.
        if (!saidCannotAccept_)
            logLine(LOG_WARNING, "cannot accept connections for now (" +
                                     QString::fromLocal8Bit(strerror(errno)) + "); retrying");
        saidCannotAccept_ = true;
        acceptRetryMs_ = std::min(acceptRetryMs_ == 0 ? 50 : acceptRetryMs_ * 2, 1000);
        notifier_->setEnabled(false);
        QTimer::singleShot(acceptRetryMs_, this, [this] {
            notifier_->setEnabled(true);
            acceptConnection();
        });
        return;
    }
}

void TWInstanceChannel::serve(int fd) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || peer.uid != geteuid()) {
        logLine(LOG_WARNING, QStringLiteral("connection from another user refused"));
        ::close(fd);
        return;
    }
    auto* socket = new QLocalSocket(this);
    if (!socket->setSocketDescriptor(qintptr(fd))) {
        ::close(fd);
        delete socket;
        return;
    }
    auto* timer = new QTimer(socket);
    timer->setSingleShot(true);
    connect(timer, &QTimer::timeout, socket,
            [this, socket] { drop(socket, QStringLiteral("message not received in time")); });
    timer->start(messageTimeoutMs);
    connect(socket, &QLocalSocket::readyRead, this, [this, socket] { readFrom(socket); });
    connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    if (socket->bytesAvailable() > 0)
        readFrom(socket);
}

void TWInstanceChannel::readFrom(QLocalSocket* socket) {
    QByteArray buffer = socket->property(bufferProperty).toByteArray();
    // Never read more than one frame's worth: an endless sender cannot grow our memory.
    buffer += socket->read(4 + maximumMessageSize - buffer.size());
    QByteArray message;
    switch (TWInstanceFrame::read(buffer, message)) {
    case TWInstanceFrame::Status::Invalid:
        drop(socket, QStringLiteral("message of %1 bytes dropped")
                         .arg(TWInstanceFrame::announcedLength(buffer.constData())));
        return;
    case TWInstanceFrame::Status::Complete: {
        socket->setProperty(bufferProperty, QVariant());
        for (QTimer* timer : socket->findChildren<QTimer*>())
            timer->stop();
        // A sender that has closed its end gave up waiting (this instance was stopped, or
        // busy) and told its user the request failed: it is not carried out behind their back.
        pollfd peer{int(socket->socketDescriptor()), POLLRDHUP, 0};
        if (socket->state() != QLocalSocket::ConnectedState ||
            (::poll(&peer, 1, 0) > 0 && (peer.revents & (POLLRDHUP | POLLHUP | POLLERR)))) {
            drop(socket, QStringLiteral("request dropped: its sender gave up waiting"));
            return;
        }
        QByteArray reply = handler_ ? handler_(message) : QByteArray();
        if (reply.size() > maximumMessageSize)
            reply.truncate(maximumMessageSize);
        socket->write(frame(reply));
        socket->disconnectFromServer();
        return;
    }
    case TWInstanceFrame::Status::Incomplete:
        break;
    }
    socket->setProperty(bufferProperty, buffer);
}

void TWInstanceChannel::drop(QLocalSocket* socket, const QString& why) {
    logLine(LOG_WARNING, why);
    socket->disconnect(this);
    socket->abort();
    socket->deleteLater();
}

std::optional<QByteArray> TWInstanceChannel::sendMessage(const QString& directory,
                                                         const QByteArray& message, int timeoutMs) {
    if (message.isEmpty() || message.size() > maximumMessageSize)
        return std::nullopt;
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    sockaddr_un address{};
    if (!addressFor(directory, address))
        return std::nullopt;
    // The lock holder may not be listening yet (it is still starting): retry until the deadline.
    for (;;) {
        const int fd = connectOnce(address);
        if (fd >= 0)
            return exchange(fd, message, deadline);
        if (remainingMs(deadline) == 0)
            return std::nullopt;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

namespace {
std::optional<QByteArray> exchange(int fd, const QByteArray& message, Clock::time_point deadline) {
    std::optional<QByteArray> reply;
    char header[4];
    if (writeAll(fd, TWInstanceChannel::frame(message), deadline) &&
        readExactly(fd, header, 4, deadline)) {
        const quint32 length = TWInstanceFrame::announcedLength(header);
        if (length <= quint32(TWInstanceChannel::maximumMessageSize)) {
            QByteArray body(int(length), '\0');
            if (length == 0 || readExactly(fd, body.data(), length, deadline))
                reply = body;
        }
    }
    ::close(fd);
    return reply;
}
} // namespace
