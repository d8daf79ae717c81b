// SPDX-License-Identifier: MIT
// The update check end to end over real HTTPS to a local server, and the Qt alert presenter.
#include "QFSimpleUpdater.h"
#include "TWQtAlertPresenter.h"
#include "TWQtHTTPTransport.h"
#include "TWQtMainQueue.h"
#include "TWTestApplication.h"
#include "TWTestPaths.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <memory>

using namespace std::chrono_literals;

namespace {

// The local update server: a python HTTPS server with a certificate made for this run.
class UpdateServer {
  public:
    bool start() {
        if (!dir_.isValid())
            return false;
        QProcess openssl;
        openssl.setStandardOutputFile(QProcess::nullDevice());
        openssl.setStandardErrorFile(QProcess::nullDevice());
        openssl.start("openssl",
                      {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1", "-subj",
                       "/CN=localhost", "-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1",
                       "-keyout", path("key.pem"), "-out", path("cert.pem")});
        bool made = openssl.waitForFinished(60000) &&
                    openssl.exitStatus() == QProcess::NormalExit && openssl.exitCode() == 0;
        if (!made)
            return false;
        respond(200, "");
        QString script = QString::fromStdString(TWTestSourcePath("tests/ui/tw_update_server.py"));
        process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process_.start("python3", {script, path("cert.pem"), path("key.pem"), path("response"),
                                   path("record")});
        QByteArray line;
        while (!line.contains('\n') && process_.waitForReadyRead(20000))
            line += process_.readAll();
        if (!line.startsWith("PORT "))
            return false;
        port_ = line.mid(5).trimmed().toInt();
        return port_ > 0;
    }
    void stop() {
        process_.kill();
        process_.waitForFinished();
    }

    // The next answers: HTTP `status` with `body` (status 0: hang up without answering).
    // `mode` as tw_update_server.py takes it ("trickle", "flood N").
    void respond(int status, const QByteArray& body, const QByteArray& mode = {}) {
        QFile file(path("response"));
        file.open(QIODevice::WriteOnly | QIODevice::Truncate);
        file.write(QByteArray::number(status) + " " + mode + "\n" + body);
        QFile::remove(path("record"));
    }
    // The path and body of the last request, or nothing when none came.
    std::optional<std::pair<std::string, std::string>> received() {
        QFile file(path("record"));
        if (!file.open(QIODevice::ReadOnly))
            return std::nullopt;
        QByteArray all = file.readAll();
        qsizetype newline = all.indexOf('\n');
        return std::pair{all.left(newline).toStdString(), all.mid(newline + 1).toStdString()};
    }

    QString path(const QString& name) const { return dir_.filePath(name); }
    std::string url(const char* path) const {
        return "https://localhost:" + std::to_string(port_) + path;
    }
    int port() const { return port_; }

  private:
    QTemporaryDir dir_;
    QProcess process_;
    int port_ = 0;
};

struct CheckResult {
    std::optional<TWError> error;
    int calls = 0;
    bool onMainThread = false;
};

// Answers the next message box by clicking the button titled `title`, and notes what it showed.
struct BoxAnswer {
    QString text, informative, windowTitle;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    QStringList buttonsLeftToRight;
    bool answered = false;
};

void answerNextMessageBox(const QString& title, BoxAnswer* answer) {
    auto* timer = new QTimer;
    timer->setInterval(20);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, title, answer] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box || !box->isVisible())
            return;
        timer->stop();
        timer->deleteLater();
        answer->text = box->text();
        answer->informative = box->informativeText();
        answer->windowTitle = box->windowTitle();
        answer->icon = box->icon();
        QList<QAbstractButton*> buttons = box->buttons();
        std::sort(buttons.begin(), buttons.end(), [](QAbstractButton* a, QAbstractButton* b) {
            return a->mapToGlobal(QPoint()).x() < b->mapToGlobal(QPoint()).x();
        });
        QAbstractButton* target = nullptr;
        for (QAbstractButton* button : buttons) {
            answer->buttonsLeftToRight << button->text();
            if (button->text() == title)
                target = button;
        }
        answer->answered = true;
        if (target)
            target->click();
        else
            box->reject();
    });
    timer->start();
}

class TWQtUpdateCheck : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        server_ = new UpdateServer;
        serverStarted_ = server_->start();
    }
    static void TearDownTestSuite() {
        server_->stop();
        delete server_;
        server_ = nullptr;
    }
    void SetUp() override { ASSERT_TRUE(serverStarted_) << "the local HTTPS server did not start"; }

    std::shared_ptr<TWQtHTTPTransport> trustingTransport() {
        auto transport = std::make_shared<TWQtHTTPTransport>(10000ms);
        EXPECT_TRUE(transport->addTrustedCertificates(server_->path("cert.pem")));
        return transport;
    }

    TWUpdaterServices services(std::shared_ptr<TWHTTPTransport> transport,
                               std::string endpoint = {}) {
        TWUpdaterServices s;
        s.transport = std::move(transport);
        s.mainQueue = mainQueue_;
        s.bundleName = "Tidewell";
        s.shortVersion = "1.0";
        s.systemVersionString = [] { return std::optional<std::string>("12"); };
        s.endpoint = endpoint.empty() ? server_->url("/updates/simpleupdate.php") : endpoint;
        return s;
    }

    // Starts a check from the main thread and runs the event loop until its handler returns.
    CheckResult runCheck(TWUpdaterServices s) {
        CheckResult result;
        QEventLoop loop;
        auto updater = std::make_shared<QFSimpleUpdater>(
            [&](const TWError& error) {
                ++result.calls;
                result.error = error;
                result.onMainThread = QThread::currentThread() == qApp->thread();
                loop.quit();
            },
            std::move(s));
        updater->start();
        updater.reset();
        QTimer::singleShot(30s, &loop, &QEventLoop::quit);
        loop.exec();
        // Let a second (wrong) call show itself.
        QEventLoop settle;
        QTimer::singleShot(100ms, &settle, &QEventLoop::quit);
        settle.exec();
        return result;
    }

    static std::string description(const CheckResult& r) {
        return r.error ? r.error->stringForKey(TWLocalizedDescriptionKey).value_or("<none>")
                       : "<no result>";
    }

    static UpdateServer* server_;
    static bool serverStarted_;
    std::shared_ptr<TWQtMainQueue> mainQueue_ = std::make_shared<TWQtMainQueue>();
};

UpdateServer* TWQtUpdateCheck::server_ = nullptr;
bool TWQtUpdateCheck::serverStarted_ = false;

} // namespace

TEST_F(TWQtUpdateCheck, EachAnswerOfTheServerGivesItsOutcomeOnTheMainThreadOverTrustedTLS) {
    const std::string link = server_->url("/download/x.zip");
    const std::string current = "You have the current version of Tide well.";
    const std::string failed = "An error occurred while checking for an update.";
    const struct {
        int status;
        std::string body, expected;
    } cases[] = {
        {200, link, "There is an update to Tide well available online."},
        {200, "https://example.org/download/x.zip", current},
        {200, "", current},
        {500, "Internal Server Error", current}, // an error page with a body is read as text
        {0, "", failed},                         // the server hangs up
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.body);
        server_->respond(c.status, QByteArray::fromStdString(c.body));
        auto s = services(trustingTransport());
        s.bundleName = "Tide well";
        s.systemVersionString = [] { return std::optional<std::string>("Debian 12 (bookworm)"); };
        CheckResult r = runCheck(std::move(s));
        ASSERT_EQ(r.calls, 1);
        EXPECT_TRUE(r.onMainThread);
        EXPECT_EQ(description(r), c.expected);
        EXPECT_EQ(r.error->stringForKey(TWURLErrorKey).has_value(), c.body == link);
        auto received = server_->received();
        ASSERT_TRUE(received);
        EXPECT_EQ(received->first, "/updates/simpleupdate.php");
        EXPECT_EQ(received->second, "app=Tide_well&version=1.0&os_version=Debian_12_(bookworm)");
    }

    // A port nobody listens on.
    QTcpServer probe;
    ASSERT_TRUE(probe.listen(QHostAddress::LocalHost));
    quint16 closedPort = probe.serverPort();
    probe.close();
    CheckResult refused =
        runCheck(services(trustingTransport(), "https://localhost:" + std::to_string(closedPort) +
                                                   "/updates/simpleupdate.php"));
    ASSERT_EQ(refused.calls, 1);
    EXPECT_EQ(description(refused), failed);

    // A certificate nobody trusts: the request never gets past the handshake.
    server_->respond(200, QByteArray::fromStdString(link));
    CheckResult untrusted = runCheck(services(std::make_shared<TWQtHTTPTransport>(10000ms)));
    ASSERT_EQ(untrusted.calls, 1);
    EXPECT_EQ(description(untrusted), failed);
    EXPECT_FALSE(server_->received());
}

TEST_F(TWQtUpdateCheck, AnOversizedOrTricklingAnswerFailsWithinTheTimeLimit) {
    // 100 MB with no length announced: given up after the first 64 KiB.
    server_->respond(200, "", "flood 100000000");
    CheckResult flood = runCheck(services(trustingTransport()));
    ASSERT_EQ(flood.calls, 1);
    EXPECT_EQ(description(flood), "An error occurred while checking for an update.");

    // A link sent one byte every 0.2 s (over 12 s in all): each byte restarts a transfer
    // time-out, but the check as a whole is bounded.
    const std::string link = server_->url("/download/Tidewell-2.0-x86_64.tar.gz");
    server_->respond(200, QByteArray::fromStdString(link), "trickle");
    auto transport = std::make_shared<TWQtHTTPTransport>(2000ms);
    ASSERT_TRUE(transport->addTrustedCertificates(server_->path("cert.pem")));
    QElapsedTimer clock;
    clock.start();
    CheckResult trickle = runCheck(services(transport));
    ASSERT_EQ(trickle.calls, 1);
    EXPECT_EQ(description(trickle), "An error occurred while checking for an update.");
    EXPECT_LT(clock.elapsed(), 8000);
}

TEST(TWQtAlertPresenter, ReturnsTheCodeOfTheClickedButton) {
    auto alert = TWAlert::ov_alertWithMessageText("Remove?", "Remove", "Keep", "Later",
                                                  "Remove %@ from the list?", "xterm");
    alert->setAlertStyle(TWAlertStyleCritical);
    TWQtAlertPresenter presenter;

    const std::pair<QString, long> clicks[] = {{"Remove", 1000}, {"Keep", 1001}, {"Later", 1002}};
    for (const auto& [title, code] : clicks) {
        BoxAnswer answer;
        answerNextMessageBox(title, &answer);
        EXPECT_EQ(alert->runModal(presenter), code) << title.toStdString();
        ASSERT_TRUE(answer.answered);
        EXPECT_EQ(answer.text, "Remove?");
        EXPECT_EQ(answer.informative, "Remove xterm from the list?");
        EXPECT_EQ(answer.icon, QMessageBox::Critical);
        EXPECT_EQ(answer.buttonsLeftToRight, (QStringList{"Remove", "Keep", "Later"}));
    }
}

TEST(TWQtAlertPresenter, AnAlertWithoutButtonsGetsOKAndClosingWithoutAButtonMeansCancel) {
    TWQtAlertPresenter presenter;
    auto done = TWAlert::ov_alertWithMessageText("Done", std::nullopt, std::nullopt, std::nullopt,
                                                 std::nullopt);
    BoxAnswer answer;
    answerNextMessageBox("OK", &answer);
    EXPECT_EQ(done->runModal(presenter), 1000);
    EXPECT_EQ(answer.buttonsLeftToRight, QStringList{"OK"});
    EXPECT_EQ(answer.icon, QMessageBox::Warning);

    auto update = TWAlert::ov_alertWithMessageText("Update", "Download", "Cancel", std::nullopt,
                                                   std::nullopt);
    update->setAlertStyle(TWAlertStyleInformational);
    answerNextMessageBox("(none: the box is dismissed)", &answer);
    EXPECT_EQ(update->runModal(presenter), 1001);
    EXPECT_EQ(answer.icon, QMessageBox::Information);
    EXPECT_EQ(answer.windowTitle, "Tidewell");
}

int main(int argc, char** argv) {
    TWTestApplication();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
