// SPDX-License-Identifier: MIT
// The tidewell program as the session sees it, on the simulated desktop with a runtime and a
// config directory of its own: one instance, to which later starts hand over, and its D-Bus
// service as a script meets it (on a bus of its own, called with gdbus).
#include "TWInstanceChannel.h"
#include "TWTestApplication.h"
#include "TWTestPaths.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLocalSocket>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

// The program with its test hooks; the shipped one has none.
const QString kTestingProgram = QString::fromStdString(TWTestProgramPath("tidewell-testing"));

const QString shipped = QString::fromStdString(TWTestProgramPath("tidewell"));

class LauncherTest : public ::testing::Test {
  protected:
    LauncherTest() {
        QFile::setPermissions(runtime.path(), QFile::Permissions(0x7000)); // owner only
        environment.insert("XDG_RUNTIME_DIR", runtime.path());
        environment.insert("XDG_CONFIG_HOME", runtime.path() + "/config");
        environment.insert("QT_QPA_PLATFORM", "offscreen");
        environment.remove("DISPLAY");
    }
    ~LauncherTest() override {
        instance.kill();
        instance.waitForFinished(5000);
    }

    void startInstance(const QString& path = kTestingProgram) {
        instance.setProcessEnvironment(environment);
        instance.start(path, {"--desktop=sim"});
        ASSERT_TRUE(instance.waitForStarted(5000));
        ASSERT_FALSE(statusUntil().isEmpty()) << instance.readAllStandardError().data();
    }
    // The instance's status once it holds `line` (any), asked every `tryMs` for at most `ms`.
    QStringList statusUntil(const QString& line = {}, int ms = 10000, int tryMs = 200) {
        QStringList seen;
        QElapsedTimer waited;
        waited.start();
        while (waited.elapsed() < ms &&
               (seen.isEmpty() || !(line.isEmpty() || seen.contains(line)))) {
            if (auto reply = TWInstanceChannel::sendMessage(channel(), "status", tryMs))
                seen = QString::fromUtf8(*reply).split('\n', Qt::SkipEmptyParts);
            QThread::msleep(20);
        }
        return seen;
    }
    QString channel() const { return runtime.path() + "/tidewell"; }
    // Runs tidewell (or `path`) with `arguments` to its end: the exit code and what it wrote.
    std::pair<int, QString> run(const QStringList& arguments, const QProcessEnvironment* env = {},
                                const QString& path = kTestingProgram) {
        QProcess p;
        p.setProcessChannelMode(QProcess::MergedChannels);
        p.setProcessEnvironment(env ? *env : environment);
        p.start(path, arguments);
        const bool ended = p.waitForFinished(10000) && p.exitStatus() == QProcess::NormalExit;
        return {ended ? p.exitCode() : -1, QString::fromUtf8(p.readAll())};
    }
    // A connection to the instance's socket sending `bytes`, for messages no tidewell would send.
    std::unique_ptr<QLocalSocket> connectRaw(const QByteArray& bytes = {}) {
        auto socket = std::make_unique<QLocalSocket>();
        socket->connectToServer(channel() + "/instance.sock");
        EXPECT_TRUE(socket->waitForConnected(2000));
        socket->write(bytes);
        socket->waitForBytesWritten(2000);
        return socket;
    }
    static bool closedByPeer(const std::unique_ptr<QLocalSocket>& socket, int ms) {
        return socket->state() == QLocalSocket::UnconnectedState || socket->waitForDisconnected(ms);
    }

    QTemporaryDir runtime;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    QProcess instance;
};

TEST_F(LauncherTest, AStartBecomesTheInstanceOthersHandItTheirRequestACrashedOneIsReplaced) {
    // The first start outlasts a process briefly holding the instance lock, as a status query does.
    ASSERT_TRUE(QDir().mkpath(channel()));
    int lock =
        ::open(QFile::encodeName(channel() + "/instance.lock"), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(::flock(lock, LOCK_EX), 0);
    instance.setProcessEnvironment(environment);
    instance.start(kTestingProgram, {"--desktop=sim"});
    ASSERT_TRUE(instance.waitForStarted(5000));
    QThread::msleep(300);
    ::close(lock);
    // Asked briefly, as a longer holder would keep the start from ever taking the lock.
    ASSERT_FALSE(statusUntil({}, 10000, 20).isEmpty()) << instance.readAllStandardError().data();
    // The launch made the exclusion list (the simulated store holds no exclusions).
    EXPECT_TRUE(statusUntil().contains("exclusion list: 0"));

    // No argument: a click on the icon, which hides the others.
    for (const char* request : {"", "x-tidewell-action://preferences", "--show-all"})
        EXPECT_EQ(run(*request ? QStringList{request} : QStringList{}).first, 0) << request;
    const QStringList seen = statusUntil();
    const auto at = [&](const char* line) { return seen.indexOf(line); };
    EXPECT_LT(at("reopen"), at("desktop: hide Terminal")) << seen.join('\n').toStdString();
    EXPECT_EQ(at("url x-tidewell-action://preferences") + 1, at("preferences shown"));
    EXPECT_LT(at("desktop: hide Terminal"), at("desktop: unhide Terminal"));
    EXPECT_GE(at("reopen"), 0);
    // The shipped program hands a later start over on its own short path (its speed: the bench).
    EXPECT_EQ(run({"--hide-all"}, nullptr, shipped).first, 0);
    EXPECT_EQ(statusUntil().count("hide-all"), 1);
    // tidewellctl hands its hide-others to the instance too (it needs no desktop of its own
    // then); one with settings of its own does not.
    const QString tool = QString::fromStdString(TWTestProgramPath("tidewellctl"));
    EXPECT_EQ(run({"hide-others"}, nullptr, tool).first, 0);
    EXPECT_EQ(statusUntil().count("hide-all"), 2);
    EXPECT_EQ(run({"--set", "Minimize=NO", "hide-others"}, nullptr, tool).first, 1);

    // A crashed instance leaves its socket behind; the next start replaces it.
    ::kill(pid_t(instance.processId()), SIGKILL);
    instance.waitForFinished(5000);
    ASSERT_TRUE(QFile::exists(channel() + "/instance.sock"));
    startInstance();
    EXPECT_EQ(run({"--show-all"}).first, 0);
    EXPECT_TRUE(statusUntil().contains("show-all"));

    // A later start that gave up on a stopped instance (and said it failed): its request is not
    // carried out once the instance goes on.
    ::kill(pid_t(instance.processId()), SIGSTOP);
    const auto [code, said] = run({"--hide-all"});
    ::kill(pid_t(instance.processId()), SIGCONT);
    EXPECT_EQ(code, 1) << said.toStdString();
    EXPECT_FALSE(statusUntil().contains("hide-all"));
}

TEST_F(LauncherTest, BadArgumentsNoInstanceAndAnUnusableRuntimeDirectoryOrDisplayAreSaidPlainly) {
    const std::pair<QStringList, int> usage[] = {{{"--bogus"}, 2},
                                                 {{"--hide-all", "--show-all"}, 2},
                                                 {{"--desktop=mars"}, 2},
                                                 {{"x-tidewell-action://bogus"}, 2},
                                                 {{"--status"}, 3}}; // nothing running to ask
    for (const auto& [arguments, code] : usage)
        EXPECT_EQ(run(arguments).first, code) << arguments.join(' ').toStdString();
    // Help and version answer without an instance, and start none.
    EXPECT_EQ(run({"--version"}).second, "tidewell 1.0.0\n");
    EXPECT_FALSE(QFile::exists(channel() + "/instance.sock"));
    // The shipped program knows no test options, and its help lists none.
    EXPECT_EQ(run({"--desktop=sim"}, nullptr, shipped),
              std::pair(2, QString("tidewell: unknown option --desktop\n"
                                   "Try 'tidewell --help' for more information.\n")));
    EXPECT_TRUE(run({"x-tidewell-action://bogus"})
                    .second.contains("x-tidewell-action://bogus is no request Tidewell knows"));
    EXPECT_FALSE(run({"--help"}, nullptr, shipped).second.contains("--desktop"));

    auto failure = [this](const QProcessEnvironment& env, const QStringList& arguments) {
        const auto [code, output] = run(arguments, &env);
        EXPECT_EQ(code, 1) << output.toStdString();
        return output;
    };
    QProcessEnvironment env = environment;
    env.insert("XDG_RUNTIME_DIR", runtime.path() + "/missing");
    EXPECT_TRUE(failure(env, {"--desktop=sim"})
                    .contains("XDG_RUNTIME_DIR names a directory that does not exist"));
    // Another user's directory (as root, it can be made so).
    ASSERT_TRUE(QDir().mkpath(channel()));
    if (geteuid() == 0 && ::chown(QFile::encodeName(channel()).constData(), 65534, 65534) == 0) {
        EXPECT_TRUE(failure(environment, {"--desktop=sim"}).contains("belongs to another user"));
    }
    ASSERT_TRUE(QDir(channel()).removeRecursively());
    // No display at all, and no platform chosen.
    env = environment;
    env.remove("QT_QPA_PLATFORM");
    env.remove("WAYLAND_DISPLAY");
    EXPECT_TRUE(failure(env, {}).contains("neither WAYLAND_DISPLAY nor DISPLAY is set"));
    env.insert("DISPLAY", ":97");
    EXPECT_TRUE(failure(env, {"--desktop=sim"}).contains("cannot open the display :97"));
}

// A copy run from a translocated folder shows its alert and quits once it is answered; while the
// alert is up it takes no request: a later start is told, nothing is done.
TEST_F(LauncherTest, ATranslocatedInstanceRefusesRequestsWhileItsAlertIsUp) {
    const QString translocated = runtime.path() + "/AppTranslocation/Tidewell/tidewell";
    ASSERT_TRUE(QDir().mkpath(runtime.path() + "/AppTranslocation/Tidewell"));
    ASSERT_TRUE(QFile::copy(kTestingProgram, translocated));
    startInstance(translocated);
    const QString alert = "alert Cannot run Tidewell from this location.";
    EXPECT_TRUE(statusUntil(alert, 20000).contains(alert));
    const auto [code, said] = run({"--show-all"});
    EXPECT_EQ(code, 1);
    EXPECT_TRUE(said.contains("Tidewell is ending and takes no requests")) << said.toStdString();
    for (const QString& line : statusUntil())
        EXPECT_FALSE((line.startsWith("desktop:") && line != "desktop: beep") ||
                     line.contains("preferences") || line.contains("-all"))
            << line.toStdString();
}

// Bad messages and more requests than one answer holds: the channel answers on, and SIGTERM
// ends the program normally.
TEST_F(LauncherTest, TheChannelOutlastsRunningOutOfDescriptorsBadMessagesAndALongStatus) {
#ifndef TIDEWELL_TEST_SANITIZED // out of descriptors, the sanitizers' own checks fail
    // Allowed 64 descriptors and sent 200 idle connections: it runs out, then answers again.
    instance.setChildProcessModifier([] {
        const rlimit limit{64, 64};
        setrlimit(RLIMIT_NOFILE, &limit);
    });
#endif
    startInstance();
    std::vector<std::unique_ptr<QLocalSocket>> idle;
    for (int i = 0; i < 200; ++i)
        idle.push_back(connectRaw());
    idle.clear();
    EXPECT_EQ(run({"--status"}).first, 0);
    EXPECT_TRUE(closedByPeer(connectRaw({"\xff\xff\xff\xffxy", 6}), 3000)); // oversized
    // Half a frame, then silence: dropped once the time for a message has passed.
    EXPECT_TRUE(closedByPeer(connectRaw(TWInstanceChannel::frame("reopen").left(6)), 5000));
    // A whole frame of nonsense gets a refusal, not an action.
    EXPECT_EQ(TWInstanceChannel::sendMessage(channel(), "\x01\x02 launch missiles", 2000),
              QByteArray("unknown"));
    EXPECT_FALSE(statusUntil().contains("reopen"));

    // 300 requests of 700 bytes each: far more than one answer holds.
    for (int i = 1000; i < 1300; ++i) {
        const QByteArray url = "x-tidewell-action://nothing/" + QByteArray::number(i) + "/";
        ASSERT_TRUE(
            TWInstanceChannel::sendMessage(channel(), "url " + url + QByteArray(660, 'x'), 5000));
    }
    std::optional<QByteArray> answer = TWInstanceChannel::sendMessage(channel(), "status", 5000);
    ASSERT_TRUE(answer && answer->endsWith('\n'));
    EXPECT_LE(answer->size(), TWInstanceChannel::maximumMessageSize);
    EXPECT_TRUE(answer->contains("/1299/")) << "the newest request is kept";
    // Ends normally on SIGTERM, its socket gone.
    instance.terminate();
    ASSERT_TRUE(instance.waitForFinished(5000));
    EXPECT_EQ(instance.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(instance.exitCode(), 0);
    EXPECT_FALSE(QFile::exists(channel() + "/instance.sock"));
}

const QString service = "net.quillfen.Tidewell";
const QString path = "/net/quillfen/Tidewell";
const QString interface = "net.quillfen.Tidewell1";

// Receives Changed.
class ChangedCounter : public QObject {
    Q_OBJECT
  signals:
    void changed();
};

class DBusServiceTest : public LauncherTest {
  protected:
    DBusServiceTest() {
        TWTestApplication();
        // A session bus of the test's own.
        bus.start("dbus-daemon", {"--session", "--nofork", "--print-address"});
        if (bus.waitForReadyRead(5000))
            address = QString::fromUtf8(bus.readLine()).trimmed();
        environment.insert("DBUS_SESSION_BUS_ADDRESS", address);
    }
    ~DBusServiceTest() override {
        QDBusConnection::disconnectFromBus("test");
        bus.kill();
        bus.waitForFinished(5000);
    }

    // `gdbus call` of one method of the interface (or another, when `method` names it): its
    // output, or the error it printed prefixed "error: ".
    QString call(const QString& method, const QStringList& arguments = {}) {
        const auto [code, output] =
            run(QStringList{"call", "--session", "--dest", service, "--object-path", path,
                            "--method", method.contains('.') ? method : interface + "." + method} +
                    arguments,
                nullptr, "gdbus");
        return (code == 0 ? "" : "error: ") + output.trimmed();
    }

    QProcess bus;
    QString address;
};

// In the user's language (here German, with no generated system locale): the menu is the tray
// menu, the calls act and each change is heard, bad calls are refused.
TEST_F(DBusServiceTest, AScriptListsHidesTogglesShowsReadsTheMenuAndBadCallsAreRefused) {
    for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES"})
        environment.remove(name);
    environment.insert("LANG", "de_DE.UTF-8");
    ASSERT_FALSE(address.isEmpty()) << "dbus-daemon did not start";
    QDBusConnection connection = QDBusConnection::connectToBus(address, "test");
    startInstance();
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return connection.interface()->isServiceRegistered(service).value(); }, 20000));
    ChangedCounter counter;
    ASSERT_TRUE(
        connection.connect(service, path, interface, "Changed", &counter, SIGNAL(changed())));
    QSignalSpy changes(&counter, &ChangedCounter::changed);

    // The menu's applications, by name, Tidewell itself left out.
    EXPECT_EQ(call("RunningApplications"),
              "([('org.example.Editor', 'Editor', false), ('org.example.Files', 'Files', false), "
              "('org.example.Terminal', 'Terminal', false)],)");
    EXPECT_EQ(call("HideOthers"), "()");
    ASSERT_TRUE(changes.wait(10000));
    EXPECT_EQ(call("RunningApplications"),
              "([('org.example.Editor', 'Editor', true), ('org.example.Files', 'Files', false), "
              "('org.example.Terminal', 'Terminal', true)],)");
    // The tray menu in the user's language (all of it, the hidden marked: the GNOME test).
    const QString menu = call("Menu");
    EXPECT_TRUE(menu.startsWith("([('OpenPreferences', 'Einstellungen...', '', false), "))
        << menu.toStdString();
    // One not running is refused (a hidden one brought forward: the GNOME test).
    EXPECT_EQ(call("Toggle", {"org.example.Nowhere"}), "(false,)");
    changes.clear();
    EXPECT_EQ(call("ShowAll"), "()");
    ASSERT_TRUE(changes.wait(10000));
    EXPECT_FALSE(call("RunningApplications").contains("true"));

    // The properties, read as GIO reads them: the icon is a picture the shell can load.
    EXPECT_EQ(call("org.freedesktop.DBus.Properties.Get", {interface, "IconStyle"}),
              "(<'AppIcon'>,)");
    const QString icon =
        call("org.freedesktop.DBus.Properties.Get", {interface, "IconName"}).section('\'', 1, 1);
    EXPECT_TRUE(TWReadFile(icon.toStdString()).find("<svg") != std::string::npos)
        << icon.toStdString();

    // Wrong arguments and writes get errors; the service answers on. (gdbus
    // reads the methods' arguments from the introspection data, so the calls check it too.)
    EXPECT_TRUE(call("Toggle", {"'a'", "'b'"}).contains("InvalidArgs"));
    EXPECT_TRUE(call("org.freedesktop.DBus.Properties.Set", {interface, "IconStyle", "<'Dark'>"})
                    .contains("PropertyReadOnly"));
    // Quit ends the program, and its name goes with it.
    EXPECT_EQ(call("Quit"), "()");
    EXPECT_TRUE(instance.waitForFinished(10000));
    EXPECT_EQ(instance.exitCode(), 0);
    EXPECT_FALSE(connection.interface()->isServiceRegistered(service).value());
}

} // namespace

#include "TWLauncherTest.moc"
