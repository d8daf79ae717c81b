// SPDX-License-Identifier: MIT
// HTTPS requests through Qt's network access, on a network thread of their own.
#include "TWQtHTTPTransport.h"

#include "TWLog.h"

#include <QByteArray>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslConfiguration>
#include <QTimer>
#include <QUrl>

constexpr const char* kLogClass = "TWQtHTTPTransport";

// The network access manager and its replies live on the transport's thread; everything
// reaches them through queued calls.
class TWQtHTTPSession : public QObject {
  public:
    QNetworkAccessManager* manager() {
        // Created on first use so that it belongs to the network thread.
        if (!manager_)
            manager_ = new QNetworkAccessManager(this);
        return manager_;
    }

  private:
    QNetworkAccessManager* manager_ = nullptr;
};

namespace {

// Errors below 200 are failures of the connection itself (refused, DNS, TLS, time-out, proxy);
// the rest are HTTP-level answers that still carry a body.
bool isTransportFailure(QNetworkReply::NetworkError error) {
    return error != QNetworkReply::NoError && static_cast<int>(error) < 200;
}

} // namespace

TWQtHTTPTransport::TWQtHTTPTransport(std::chrono::milliseconds timeout)
    : thread_(new QThread), timeout_(timeout) {
    thread_->setObjectName(QStringLiteral("TWQtHTTPTransport"));
    session_ = new TWQtHTTPSession;
    session_->moveToThread(thread_);
    QObject::connect(thread_, &QThread::finished, session_, &QObject::deleteLater);
    thread_->start();
}

TWQtHTTPTransport::~TWQtHTTPTransport() {
    // Completions that arrive from here on would call into an application that is going away.
    closing_->store(true);
    thread_->quit();
    if (QThread::currentThread() == thread_) {
        // The last owner let go from a completion on the network thread, which cannot wait
        // for itself: the thread ends once this completion returns, and the thread object is
        // freed afterwards by the thread it belongs to.
        QObject::connect(thread_, &QThread::finished, thread_, &QObject::deleteLater);
        return;
    }
    thread_->wait();
    delete thread_;
}

void TWQtHTTPTransport::addTrustedCertificate(const QSslCertificate& certificate) {
    std::lock_guard lock(certificatesMutex_);
    extraCertificates_.append(certificate);
}

bool TWQtHTTPTransport::addTrustedCertificates(const QString& pemPath) {
    QList<QSslCertificate> certificates = QSslCertificate::fromPath(pemPath, QSsl::Pem);
    if (certificates.isEmpty()) {
        TWLog(LOG_ERR, kLogClass, "no certificate in " + pemPath.toStdString());
        return false;
    }
    std::lock_guard lock(certificatesMutex_);
    extraCertificates_.append(certificates);
    return true;
}

void TWQtHTTPTransport::post(const std::string& url, std::string body,
                             std::function<void(std::optional<std::string>)> completion) {
    QList<QSslCertificate> extra;
    {
        std::lock_guard lock(certificatesMutex_);
        extra = extraCertificates_;
    }
    QByteArray payload = QByteArray::fromStdString(body);
    QString address = QString::fromStdString(url);
    int timeoutMs = static_cast<int>(timeout_.count());
    auto closing = closing_;
    TWQtHTTPSession* session = session_;

    bool queued = QMetaObject::invokeMethod(
        session,
        [session, address, payload, extra, timeoutMs, closing,
         completion = std::move(completion)]() mutable {
            QNetworkRequest request{QUrl(address)};
            // The same content type a form POST gets by default, stated so that Qt does not
            // warn about guessing it.
            request.setHeader(QNetworkRequest::ContentTypeHeader,
                              QByteArrayLiteral("application/x-www-form-urlencoded"));
            request.setTransferTimeout(timeoutMs);
            QSslConfiguration ssl = QSslConfiguration::defaultConfiguration();
            if (!extra.isEmpty())
                ssl.addCaCertificates(extra);
            request.setSslConfiguration(ssl);

            QNetworkReply* reply = session->manager()->post(request, payload);
            // Why the request was given up, when it was: the answer is then a failure, not a
            // body cut short.
            auto givenUp = std::make_shared<QString>();
            auto giveUp = [reply, givenUp](const QString& why) {
                if (givenUp->isEmpty() && reply->isRunning()) {
                    *givenUp = why;
                    reply->abort();
                }
            };
            // A bound on the whole request: the transfer time-out restarts with every byte, so
            // a server trickling its answer would otherwise keep it alive for ever.
            auto* deadline = new QTimer(reply);
            deadline->setSingleShot(true);
            QObject::connect(deadline, &QTimer::timeout, reply, [giveUp, timeoutMs] {
                giveUp(QStringLiteral("no complete answer within %1 ms").arg(timeoutMs));
            });
            deadline->start(timeoutMs);
            // Unread data stays in the reply: what is available is all that has arrived.
            auto checkSize = [reply, giveUp] {
                const QVariant announced = reply->header(QNetworkRequest::ContentLengthHeader);
                if (reply->bytesAvailable() > maximumBodySize ||
                    (announced.isValid() && announced.toLongLong() > maximumBodySize))
                    giveUp(QStringLiteral("answer larger than %1 bytes").arg(maximumBodySize));
            };
            QObject::connect(reply, &QNetworkReply::metaDataChanged, reply, checkSize);
            QObject::connect(reply, &QIODevice::readyRead, reply, checkSize);
            QObject::connect(
                reply, &QNetworkReply::finished, session,
                [reply, closing, givenUp, completion = std::move(completion)]() mutable {
                    reply->deleteLater();
                    if (closing->load())
                        return;
                    std::optional<std::string> data;
                    QNetworkReply::NetworkError error = reply->error();
                    bool answered =
                        reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
                    if (!givenUp->isEmpty()) {
                        TWLog(LOG_WARNING, kLogClass,
                              reply->url().toString().toStdString() + ": " +
                                  givenUp->toStdString());
                    } else if (answered && !isTransportFailure(error) &&
                               reply->bytesAvailable() <= maximumBodySize) {
                        data = reply->readAll().toStdString();
                    } else {
                        TWLog(LOG_WARNING, kLogClass,
                              reply->url().toString().toStdString() + ": " +
                                  reply->errorString().toStdString());
                    }
                    completion(std::move(data));
                });
        },
        Qt::QueuedConnection);
    if (!queued)
        TWLog(LOG_ERR, kLogClass, "the network thread is not running; request dropped");
}
