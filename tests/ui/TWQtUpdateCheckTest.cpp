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
#include <QEventLoop>
#include <QFile>
#include <QMessageBox>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <fstream>

using namespace std::chrono_literals;

namespace {

// The outcomes of one check run from the main thread (a moment past the first, to see a second):
// each the description, "(link)" when one is offered, "(off the main thread)" if it ran elsewhere.
std::vector<std::string> runCheck(const QString& trustedCertificate, std::string endpoint) {
    auto transport = std::make_shared<TWQtHTTPTransport>(4000ms);
    EXPECT_TRUE(trustedCertificate.isEmpty() ||
                transport->addTrustedCertificates(trustedCertificate));
    auto system = [] { return std::optional<std::string>("Debian 12 (bookworm)"); };
    std::vector<std::string> outcomes;
    QEventLoop loop;
    auto updater = std::make_shared<QFSimpleUpdater>(
        [&](const TWError& error) {
            outcomes.push_back(
                error.stringForKey(TWLocalizedDescriptionKey).value_or("") +
                (error.stringForKey(TWURLErrorKey) ? " (link)" : "") +
                (QThread::currentThread() == qApp->thread() ? "" : " (off the main thread)"));
            QTimer::singleShot(100ms, &loop, &QEventLoop::quit);
        },
        TWUpdaterServices{transport, std::make_shared<TWQtMainQueue>(), "Tide well", "1.0", system,
                          std::move(endpoint)});
    updater->start();
    updater.reset();
    QTimer::singleShot(30s, &loop, &QEventLoop::quit);
    loop.exec();
    return outcomes;
}

// The local server (tw_update_server.py): answers from "response", records in "record".
class TWQtUpdateCheck : public ::testing::Test {
  protected:
    struct Answer {
        std::string statusAndMode, body, expected;
        bool trusted = true;
    };
    void SetUp() override {
        TWTestApplication();
        server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        server.start(
            "python3",
            {QString::fromStdString(TWTestSourcePath("tests/ui/tw_update_server.py")), dir.path()});
        QByteArray line;
        while (!line.contains('\n') && server.waitForReadyRead(60000))
            line += server.readAll();
        ASSERT_TRUE(line.startsWith("PORT ")) << "the local HTTPS server did not start";
        origin = "https://localhost:" + line.mid(5).trimmed().toStdString();
        link = origin + "/download/Tidewell-2.0-x86_64.tar.gz";
    }
    void TearDown() override {
        server.kill();
        server.waitForFinished();
    }
    void expectOutcomes(const std::vector<Answer>& answers) {
        for (const auto& c : answers) {
            SCOPED_TRACE(c.statusAndMode + " " + c.body);
            std::ofstream(dir.filePath("response").toStdString()) << c.statusAndMode << "\n"
                                                                  << c.body;
            QFile record(dir.filePath("record"));
            record.remove();
            const std::vector<std::string> outcomes =
                runCheck(c.trusted ? dir.filePath("cert.pem") : QString(),
                         origin + "/updates/simpleupdate.php");
            EXPECT_EQ(outcomes, std::vector<std::string>{c.expected});
            // What reached the server: nothing past an untrusted handshake.
            const QByteArray sent = "/updates/simpleupdate.php\n"
                                    "app=Tide_well&version=1.0&os_version=Debian_12_(bookworm)";
            EXPECT_EQ(record.open(QIODevice::ReadOnly) ? record.readAll() : QByteArray(),
                      c.trusted ? sent : QByteArray());
        }
    }

    QTemporaryDir dir;
    QProcess server;
    std::string origin, link;
    const std::string failed = "An error occurred while checking for an update.";
};

TEST_F(TWQtUpdateCheck, EachAnswerOfTheServerGivesOneOutcomeOnTheMainThreadWithinTheTimeLimit) {
    expectOutcomes({
        {"200", link, "There is an update to Tide well available online. (link)"},
        {"500", "Internal Server Error", // an error page with a body is read as text
         "You have the current version of Tide well."},
        {"200", link, failed, false}, // a certificate nobody trusts
    });
}

// Apart, as the thread sanitizer makes a 100 MB answer too slow to read in time.
TEST_F(TWQtUpdateCheck, AnOversizedOrTricklingAnswerFailsWithinTheTimeLimit) {
    expectOutcomes({
        // 100 MB with no length announced: given up after the first 64 KiB.
        {"200 flood 100000000", "", failed},
        // A byte every 0.2 s: each restarts the transfer time-out, but the whole check is bounded.
        {"200 trickle", link, failed},
    });
}

TEST(TWQtAlertPresenter, ShowsTheAlertAndReturnsTheCodeOfTheButtonClicked) {
    TWTestApplication();
    auto remove = TWAlert::ov_alertWithMessageText("Remove?", "Remove", "Keep", "Later",
                                                   "Remove %@ from the list?", "xterm");
    remove->setAlertStyle(TWAlertStyleCritical);
    auto done = TWAlert::ov_alertWithMessageText("Done", std::nullopt, std::nullopt, std::nullopt,
                                                 std::nullopt);
    auto update = TWAlert::ov_alertWithMessageText("Update", "Download", "Cancel", std::nullopt,
                                                   std::nullopt);
    update->setAlertStyle(TWAlertStyleInformational);
    // The alert, the button clicked (none such: the box is dismissed), the code returned, the
    // icon, and the box's title, texts and buttons from left to right.
    const struct {
        TWAlert* alert;
        QString click;
        long code;
        QMessageBox::Icon icon;
        QStringList seen;
    } cases[] = {
        // clang-format off
        {remove.get(), "Later", 1002, QMessageBox::Critical,
         {"Tidewell", "Remove?", "Remove xterm from the list?", "Remove", "Keep", "Later"}},
        {done.get(), "OK", 1000, QMessageBox::Warning, {"Tidewell", "Done", "", "OK"}},
        {update.get(), "", 1001, QMessageBox::Information,
         {"Tidewell", "Update", "", "Download", "Cancel"}},
        // clang-format on
    };
    TWQtAlertPresenter presenter;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.click.toStdString());
        QStringList seen;
        QMessageBox::Icon icon = QMessageBox::NoIcon;
        QTimer timer; // answers the box once it is up
        QObject::connect(&timer, &QTimer::timeout, [&] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box || !box->isVisible() || !seen.isEmpty())
                return;
            icon = box->icon();
            seen << box->windowTitle() << box->text() << box->informativeText();
            QList<QAbstractButton*> buttons = box->buttons();
            std::ranges::sort(buttons, {}, [](auto* b) { return b->mapToGlobal(QPoint()).x(); });
            QAbstractButton* target = nullptr;
            for (QAbstractButton* button : buttons) {
                seen << button->text();
                target = button->text() == c.click ? button : target;
            }
            target ? target->click() : box->reject();
        });
        timer.start(20);
        EXPECT_EQ(c.alert->runModal(presenter), c.code);
        EXPECT_EQ(icon, c.icon);
        EXPECT_EQ(seen, c.seen);
    }
}

} // namespace
