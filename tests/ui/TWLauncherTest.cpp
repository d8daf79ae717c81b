// SPDX-License-Identifier: MIT
// The tidewell program as the session sees it: one instance, later starts hand over their
// request through the private socket, which survives bad messages and a crashed instance.
#include "TWInstanceChannel.h"
#include "TWTestPaths.h"

#include <QByteArray>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace {

QString programPath() {
    return QString::fromStdString(TWTestProgramPath("tidewell"));
}

class LauncherTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(runtime.isValid());
        QFile::setPermissions(runtime.path(),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        environment = QProcessEnvironment::systemEnvironment();
        environment.insert("XDG_RUNTIME_DIR", runtime.path());
        environment.insert("XDG_CONFIG_HOME", runtime.path() + "/config");
        environment.insert("QT_QPA_PLATFORM", "offscreen");
        environment.remove("DISPLAY");
    }
    void TearDown() override {
        if (instance.state() != QProcess::NotRunning) {
            instance.terminate();
            instance.waitForFinished(5000);
        }
    }

    QString channelDirectory() const { return runtime.path() + "/tidewell"; }

    void startInstance(const QString& program = programPath(),
                       const QStringList& arguments = {"--desktop=sim"}) {
        instance.setProcessEnvironment(environment);
        instance.start(program, arguments);
        ASSERT_TRUE(instance.waitForStarted(5000));
        // Ready once it answers a status query.
        QElapsedTimer waited;
        waited.start();
        while (waited.elapsed() < 10000) {
            if (TWInstanceChannel::sendMessage(channelDirectory(), "status", 200))
                return;
            QThread::msleep(20);
        }
        FAIL() << "the instance never answered";
    }

    // Runs a second tidewell with `arguments`; returns its exit code and output.
    std::pair<int, QString> runAgain(const QStringList& arguments) {
        QProcess second;
        second.setProcessEnvironment(environment);
        second.start(programPath(), arguments);
        if (!second.waitForFinished(10000)) {
            second.kill();
            return {-1, {}};
        }
        return {second.exitCode(), QString::fromUtf8(second.readAllStandardOutput())};
    }

    QStringList status() {
        auto [code, output] = runAgain({"--status"});
        EXPECT_EQ(code, 0);
        return output.split('\n', Qt::SkipEmptyParts);
    }

    // A raw connection to the instance's socket, for messages no tidewell would send.
    int connectRaw(int flags = 0) {
        int fd = ::socket(AF_UNIX, SOCK_STREAM | flags, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const QByteArray path = QFile::encodeName(channelDirectory() + "/instance.sock");
        std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
        if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            ::close(fd);
            return -1;
        }
        return fd;
    }

    // Waits until the instance closes `fd`; false when it is still open after `ms`.
    static bool closedByPeer(int fd, int ms) {
        timeval timeout{ms / 1000, (ms % 1000) * 1000};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
        char buffer[64];
        for (;;) {
            ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
            if (n == 0 || (n < 0 && errno == ECONNRESET))
                return true;
            if (n < 0)
                return false;
        }
    }

    QTemporaryDir runtime;
    QProcessEnvironment environment;
    QProcess instance;
};

TEST_F(LauncherTest, ASecondStartHandsItsRequestToTheRunningInstanceOrReplacesACrashedOne) {
    startInstance();
    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(channelDirectory()).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u);
    // The launch made the exclusion list (the simulated store holds no exclusions).
    EXPECT_TRUE(status().contains("exclusion list: 0"));

    // No argument: a click on the icon, which hides the others.
    EXPECT_EQ(runAgain({}).first, 0);
    QStringList seen = status();
    EXPECT_TRUE(seen.contains("reopen")) << seen.join('\n').toStdString();
    EXPECT_TRUE(seen.contains("desktop: hide Terminal")) << seen.join('\n').toStdString();

    EXPECT_EQ(runAgain({"x-tidewell-action://preferences"}).first, 0);
    EXPECT_EQ(runAgain({"X-Tidewell-Action://preferences"}).first, 0);
    seen = status();
    const qsizetype url = seen.indexOf("url x-tidewell-action://preferences");
    ASSERT_GE(url, 0);
    EXPECT_EQ(seen.value(url + 1), "preferences shown");
    EXPECT_EQ(seen.count("preferences shown"), 1); // the case-differing scheme did nothing

    EXPECT_EQ(runAgain({"--show-all"}).first, 0);
    EXPECT_TRUE(status().contains("desktop: unhide Terminal"));

    // Still one instance: the second starts all exited, the first runs on.
    EXPECT_EQ(instance.state(), QProcess::Running);

    // A crashed instance leaves its socket behind; the next start replaces it.
    ::kill(pid_t(instance.processId()), SIGKILL);
    instance.waitForFinished(5000);
    ASSERT_TRUE(QFile::exists(channelDirectory() + "/instance.sock"));
    startInstance();
    EXPECT_EQ(runAgain({"--hide-all"}).first, 0);
    EXPECT_TRUE(status().contains("hide-all"));
}

TEST_F(LauncherTest, BadArgumentsAndNoInstanceAreReported) {
    EXPECT_EQ(runAgain({"--bogus"}).first, 2);
    EXPECT_EQ(runAgain({"--hide-all", "--show-all"}).first, 2);
    EXPECT_EQ(runAgain({"--desktop=mars"}).first, 2);
    EXPECT_EQ(runAgain({"--status"}).first, 3); // nothing running to ask
    // Help and version answer without an instance, and start none.
    EXPECT_EQ(runAgain({"--version"}), std::make_pair(0, QString("tidewell 1.0.0\n")));
    const auto [code, help] = runAgain({"--help"});
    EXPECT_EQ(code, 0);
    EXPECT_TRUE(help.startsWith("Usage: tidewell [options] [URL]")) << help.toStdString();
    EXPECT_FALSE(QFile::exists(channelDirectory() + "/instance.sock"));
}

// In German, the tray menu and the alerts speak German; the translations need no generated
// system locale, only LANG.
TEST_F(LauncherTest, UnderAGermanLocaleTheMenuAndTheAlertsAreInGerman) {
    environment.remove("LANGUAGE");
    environment.remove("LC_ALL");
    environment.remove("LC_MESSAGES");
    environment.insert("LANG", "de_DE.UTF-8");
    // A copy run from a translocated folder shows its alert and quits once it is answered.
    const QString translocated = runtime.path() + "/AppTranslocation/Tidewell";
    ASSERT_TRUE(QDir().mkpath(translocated));
    ASSERT_TRUE(QFile::copy(programPath(), translocated + "/tidewell"));
    instance.setProcessEnvironment(environment);
    instance.start(translocated + "/tidewell", {"--desktop=sim"});
    ASSERT_TRUE(instance.waitForStarted(5000));
    QStringList seen;
    QElapsedTimer waited;
    waited.start();
    while (waited.elapsed() < 20000 && !seen.join('\n').contains("alert ")) {
        if (auto reply = TWInstanceChannel::sendMessage(channelDirectory(), "status", 500))
            seen = QString::fromUtf8(*reply).split('\n', Qt::SkipEmptyParts);
        QThread::msleep(20);
    }
    EXPECT_TRUE(seen.contains("alert Tidewell kann nicht von diesem Ort aus gestartet werden."))
        << seen.join('\n').toStdString();
    instance.kill();
    instance.waitForFinished(5000);

    startInstance();
    EXPECT_EQ(TWInstanceChannel::sendMessage(channelDirectory(), "menu Hide All", 2000),
              QByteArray("unknown"));
    EXPECT_EQ(TWInstanceChannel::sendMessage(channelDirectory(), "menu Alle ausblenden", 2000),
              QByteArray("ok"));
    EXPECT_EQ(TWInstanceChannel::sendMessage(channelDirectory(), "menu Einstellungen...", 2000),
              QByteArray("ok"));
    // The items chosen run their actions (queued after the reply).
    const QString preferences = "desktop: openURL x-tidewell-action://preferences";
    seen.clear();
    waited.restart();
    while (waited.elapsed() < 10000 && !seen.contains(preferences))
        seen = status();
    EXPECT_TRUE(seen.contains("desktop: hide Terminal")) << seen.join('\n').toStdString();
    EXPECT_TRUE(seen.contains(preferences)) << seen.join('\n').toStdString();
}

TEST_F(LauncherTest, MalformedOversizedAndSlowMessagesAreDroppedAndTheInstanceRunsOn) {
    startInstance();

    int oversized = connectRaw();
    ASSERT_GE(oversized, 0);
    const char huge[] = {'\xff', '\xff', '\xff', '\xff', 'x', 'y'};
    ASSERT_EQ(::send(oversized, huge, sizeof huge, MSG_NOSIGNAL), ssize_t(sizeof huge));
    EXPECT_TRUE(closedByPeer(oversized, 3000));
    ::close(oversized);

    int empty = connectRaw();
    const char zero[] = {0, 0, 0, 0};
    ::send(empty, zero, sizeof zero, MSG_NOSIGNAL);
    EXPECT_TRUE(closedByPeer(empty, 3000));
    ::close(empty);

    // Half a frame, then silence: dropped once the time for a message has passed.
    int slow = connectRaw();
    const QByteArray half = TWInstanceChannel::frame("reopen").left(6);
    ::send(slow, half.constData(), size_t(half.size()), MSG_NOSIGNAL);
    QElapsedTimer waited;
    waited.start();
    EXPECT_TRUE(closedByPeer(slow, 5000));
    EXPECT_GE(waited.elapsed(), TWInstanceChannel::messageTimeoutMs - 200);
    ::close(slow);

    // A whole frame of nonsense gets a refusal, not an action.
    EXPECT_EQ(TWInstanceChannel::sendMessage(channelDirectory(), "\x01\x02 launch missiles", 2000),
              QByteArray("unknown"));
    // A peer that connects and leaves at once.
    ::close(connectRaw());

    const QStringList seen = status();
    EXPECT_FALSE(seen.contains("reopen"));
    EXPECT_EQ(instance.state(), QProcess::Running);
    // Ends normally on SIGTERM; then everything it logged can be read.
    instance.terminate();
    ASSERT_TRUE(instance.waitForFinished(5000));
    EXPECT_EQ(instance.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(instance.exitCode(), 0);
    EXPECT_FALSE(QFile::exists(channelDirectory() + "/instance.sock"));
    const QString log = QString::fromUtf8(instance.readAllStandardError());
    EXPECT_TRUE(log.contains("TWInstanceChannel: message of 4294967295 bytes dropped"))
        << log.toStdString();
    EXPECT_TRUE(log.contains("TWInstanceChannel: message not received in time"));
}

TEST_F(LauncherTest, AStartOutlastsAProcessBrieflyHoldingTheInstanceLock) {
    // As a status query or another start handing over does: it holds the lock for a moment
    // and never listens.
    ASSERT_TRUE(QDir().mkpath(channelDirectory()));
    const QByteArray lockPath = QFile::encodeName(channelDirectory() + "/instance.lock");
    int lock = ::open(lockPath.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(lock, 0);
    ASSERT_EQ(::flock(lock, LOCK_EX), 0);
    instance.setProcessEnvironment(environment);
    instance.start(programPath(), {"--desktop=sim"});
    ASSERT_TRUE(instance.waitForStarted(5000));
    QThread::msleep(300);
    ::close(lock);

    // The start became the instance: it answers, and runs on.
    std::optional<QByteArray> answer;
    for (int i = 0; i < 500 && !answer && instance.state() == QProcess::Running; ++i)
        answer = TWInstanceChannel::sendMessage(channelDirectory(), "status", 20);
    EXPECT_TRUE(answer) << instance.readAllStandardError().toStdString();
    EXPECT_EQ(instance.state(), QProcess::Running);
}

TEST_F(LauncherTest, RunningOutOfDescriptorsLeavesTheChannelListening) {
#ifdef TIDEWELL_TEST_SANITIZED
    // The sanitizers check memory through a pipe of their own, which they cannot open once the
    // process is out of descriptors: they would report a fault that is theirs.
    GTEST_SKIP() << "out of descriptors, the sanitizers' own checks fail";
#endif
    // An instance allowed 64 descriptors, sent 200 idle connections: it runs out, says so once,
    // drops the idle connections after their time-out and answers again.
    startInstance("sh", {"-c", "ulimit -n 64 && exec \"$0\" --desktop=sim", programPath()});

    std::vector<int> idle;
    for (int i = 0; i < 200; ++i)
        if (int fd = connectRaw(SOCK_NONBLOCK); fd >= 0)
            idle.push_back(fd);
    EXPECT_GT(idle.size(), 64u);
    // The instance drops every idle connection it accepted after two seconds; these are done
    // once each has been closed by the instance.
    for (int fd : idle) {
        closedByPeer(fd, 20000);
        ::close(fd);
    }
    auto [code, output] = runAgain({"--status"});
    EXPECT_EQ(code, 0) << output.toStdString();
    EXPECT_TRUE(QFile::exists(channelDirectory() + "/instance.sock"));
    instance.terminate();
    instance.waitForFinished(5000);
    const QString log = QString::fromLocal8Bit(instance.readAllStandardError());
    EXPECT_EQ(log.count("cannot accept connections for now"), 1) << log.toStdString();
}

TEST_F(LauncherTest, StatusHoldsTheNewestWholeLinesWithinOneMessage) {
    startInstance();
    // 300 requests of 700 bytes each: far more than one answer holds.
    for (int i = 0; i < 300; ++i) {
        const QByteArray url = "x-tidewell-action://nothing/" +
                               QByteArray::number(i).rightJustified(4, '0') + "/" +
                               QByteArray(660, 'x');
        ASSERT_TRUE(TWInstanceChannel::sendMessage(channelDirectory(), "url " + url, 5000));
    }
    std::optional<QByteArray> answer =
        TWInstanceChannel::sendMessage(channelDirectory(), "status", 5000);
    ASSERT_TRUE(answer);
    EXPECT_LE(answer->size(), TWInstanceChannel::maximumMessageSize);
    ASSERT_TRUE(answer->endsWith('\n'));
    const QList<QByteArray> lines = answer->chopped(1).split('\n');
    ASSERT_GE(lines.size(), 2);
    for (const QByteArray& line : lines)
        EXPECT_TRUE((line.startsWith("url x-tidewell-action://nothing/") && line.endsWith('x')) ||
                    line.startsWith("front: ") || line.startsWith("exclusion list: "))
            << line.left(60).toStdString();
    EXPECT_TRUE(answer->contains("/0299/")) << "the newest request is kept";
}

TEST_F(LauncherTest, AnUnusableRuntimeDirectoryOrNoDisplayIsSaidPlainly) {
    auto run = [this](const QProcessEnvironment& env, const QStringList& arguments) {
        QProcess p;
        p.setProcessEnvironment(env);
        p.start(programPath(), arguments);
        EXPECT_TRUE(p.waitForFinished(10000));
        EXPECT_EQ(p.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(p.exitCode(), 1);
        return QString::fromLocal8Bit(p.readAllStandardError());
    };
    QProcessEnvironment env = environment;
    env.insert("XDG_RUNTIME_DIR", runtime.path() + "/missing");
    EXPECT_TRUE(run(env, {"--desktop=sim"})
                    .contains("XDG_RUNTIME_DIR names a directory that does not exist"));

    // Another user's directory (as root, it can be made so), or something not a directory.
    ASSERT_TRUE(QDir().mkpath(channelDirectory()));
    if (geteuid() == 0 &&
        ::chown(QFile::encodeName(channelDirectory()).constData(), 65534, 65534) == 0) {
        EXPECT_TRUE(run(environment, {"--desktop=sim"}).contains("belongs to another user"));
    }
    ASSERT_TRUE(QDir().rmdir(channelDirectory()));
    QFile plain(channelDirectory());
    ASSERT_TRUE(plain.open(QIODevice::WriteOnly));
    plain.close();
    EXPECT_TRUE(run(environment, {"--show-all"}).contains("is not a directory"));
    ASSERT_TRUE(plain.remove());

    // No display at all, and no platform chosen.
    env = environment;
    env.remove("QT_QPA_PLATFORM");
    env.remove("WAYLAND_DISPLAY");
    EXPECT_TRUE(run(env, {}).contains("neither WAYLAND_DISPLAY nor DISPLAY is set"));
    env.insert("DISPLAY", ":97");
    EXPECT_TRUE(run(env, {"--desktop=sim"}).contains("cannot open the display :97"));
}

} // namespace
