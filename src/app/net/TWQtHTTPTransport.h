// SPDX-License-Identifier: MIT
// HTTPS requests through Qt's network access, on a network thread of their own.
#pragma once

#include "TWHTTPTransport.h"

#include <QList>
#include <QSslCertificate>
#include <QString>
#include <QThread>
#include <QtGlobal>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>

class TWQtHTTPSession;

class TWQtHTTPTransport : public TWHTTPTransport {
  public:
    // A request that has not finished after this long, from the moment it is sent, fails like
    // any other transport failure.
    static constexpr std::chrono::milliseconds defaultTimeout{30000};
    // A larger answer fails as well: the update server answers with a link of a few hundred
    // bytes.
    static constexpr qint64 maximumBodySize = 64 * 1024;

    explicit TWQtHTTPTransport(std::chrono::milliseconds timeout = defaultTimeout);
    // Stops the network thread; answers still outstanding are dropped. Must not run on the main
    // thread while a completion is waiting for the main thread.
    ~TWQtHTTPTransport() override;

    TWQtHTTPTransport(const TWQtHTTPTransport&) = delete;
    TWQtHTTPTransport& operator=(const TWQtHTTPTransport&) = delete;

    // Trusts `certificate` as a certificate authority, besides the system's.
    void addTrustedCertificate(const QSslCertificate& certificate);
    // Trusts every certificate in the PEM file at `path`; false when it holds none.
    bool addTrustedCertificates(const QString& pemPath);

    void post(const std::string& url, std::string body,
              std::function<void(std::optional<std::string> data)> completion) override;

    // The thread on which completions run.
    QThread* sessionThread() { return thread_; }

  private:
    QThread* thread_;
    TWQtHTTPSession* session_ = nullptr; // lives on thread_
    std::chrono::milliseconds timeout_;
    std::shared_ptr<std::atomic<bool>> closing_ = std::make_shared<std::atomic<bool>>(false);
    std::mutex certificatesMutex_;
    QList<QSslCertificate> extraCertificates_;
};
