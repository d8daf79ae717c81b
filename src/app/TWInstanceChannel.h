// SPDX-License-Identifier: MIT
// One Tidewell per user session: the running instance listens on a private local socket and
// later starts hand it their request (a reopen, a URL) instead of running a second copy.
#pragma once

#include "TWInstanceFrame.h"

#include <QByteArray>
#include <QObject>
#include <QString>

#include <functional>
#include <optional>
#include <string>

class QLocalSocket;
class QSocketNotifier;

class TWInstanceChannel : public QObject {
    Q_OBJECT

  public:
    // Largest message (and reply) accepted, in bytes; longer frames are dropped.
    static constexpr int maximumMessageSize = TWInstanceFrame::maximumPayloadSize;
    // A connection that has not delivered its message within this time is dropped.
    static constexpr int messageTimeoutMs = 2000;

    // Handles one message and returns the reply sent back to the other process.
    using Handler = std::function<QByteArray(const QByteArray& message)>;

    // `directory` holds the socket and the instance lock; it is created owner-only.
    explicit TWInstanceChannel(QString directory, QObject* parent = nullptr);
    ~TWInstanceChannel() override;

    // Tidewell's runtime directory (TWBaseDirectories::runtimeDirectory).
    static QString defaultDirectory();
    // The directory this channel uses.
    const QString& directory() const { return directory_; }

    // Takes the per-session instance lock. False when another process holds it (it is the
    // running instance, or about to be) or the directory is unsafe to use (then error() says
    // why).
    bool acquireInstanceLock();
    // Why the directory or the lock could not be used; empty when the lock is merely held.
    const QString& error() const { return error_; }

    // What a start does: it becomes the instance (the lock is taken), or another instance
    // answered its message, or neither happened in time (or error() says what is wrong).
    enum class Start { Acquired, HandedOver, NoAnswer };
    // Takes the lock when it is free, else sends `message` to the instance holding it, whose
    // reply goes to `reply`. A process that holds the lock only for a moment (a status query,
    // another start handing over) is outlasted: the lock is tried again whenever nobody
    // listens, until `timeoutMs` has passed.
    Start acquireOrHandOver(const QByteArray& message, int timeoutMs, QByteArray& reply);

    // Starts listening (replacing a socket left behind by a crashed instance). Requires the lock.
    bool listen(Handler handler);

    QString socketPath() const;

    // Sends one message to the instance listening in `directory` and waits for its reply. No
    // event loop needed: this runs before the second process builds its application object.
    // Retries the connection until `timeoutMs` passes (the instance may still be starting).
    static std::optional<QByteArray> sendMessage(const QString& directory,
                                                 const QByteArray& message, int timeoutMs);

    // The frame of one message: four bytes of length (big-endian), then the payload.
    static QByteArray frame(const QByteArray& payload);

  private:
    void acceptConnection();
    void serve(int fd);
    void readFrom(QLocalSocket* socket);
    void drop(QLocalSocket* socket, const QString& why);

    QString directory_;
    QString error_;
    int lockFd_ = -1;
    int listenFd_ = -1;
    QSocketNotifier* notifier_ = nullptr;
    // Out of descriptors (or memory): connections wait in the queue until one is free again,
    // retried after a delay that grows up to a second.
    int acceptRetryMs_ = 0;
    bool saidCannotAccept_ = false;
    Handler handler_;
};
