// SPDX-License-Identifier: MIT
// Tidewell's D-Bus service as a script meets it: the running program on a bus of its own,
// called with gdbus, its Changed signal heard with QtDBus.
#include "TWProgramTest.h"
#include "TWTestApplication.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

namespace {

const QString service = "net.quillfen.Tidewell";
const QString path = "/net/quillfen/Tidewell";
const QString interface = "net.quillfen.Tidewell1";

// Receives Changed.
class ChangedCounter : public QObject {
    Q_OBJECT
  signals:
    void changed();
};

class DBusServiceTest : public TWProgramTest {
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

    // Starts tidewell on the simulated desktop and waits until it owns its name.
    void startOnBus() {
        ASSERT_FALSE(address.isEmpty()) << "dbus-daemon did not start";
        connection =
            std::make_unique<QDBusConnection>(QDBusConnection::connectToBus(address, "test"));
        startInstance();
        ASSERT_TRUE(QTest::qWaitFor(
            [&] { return connection->interface()->isServiceRegistered(service).value(); }, 20000));
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
    std::unique_ptr<QDBusConnection> connection;
};

// In the user's language (here German, with no generated system locale): the menu is the tray
// menu, the calls act and each change is heard, bad calls are refused.
TEST_F(DBusServiceTest, AScriptListsHidesTogglesShowsReadsTheMenuAndBadCallsAreRefused) {
    for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES"})
        environment.remove(name);
    environment.insert("LANG", "de_DE.UTF-8");
    startOnBus();
    ChangedCounter counter;
    ASSERT_TRUE(
        connection->connect(service, path, interface, "Changed", &counter, SIGNAL(changed())));
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
    // The tray menu's items in the user's language (the whole menu, the hidden applications
    // marked, as the shell's button shows it: the GNOME test).
    const QString menu = call("Menu");
    EXPECT_TRUE(menu.startsWith("([('OpenPreferences', 'Einstellungen...', '', false), "))
        << menu.toStdString();
    // One not running is refused (a hidden one brought forward: the GNOME test).
    EXPECT_EQ(call("Toggle", {"org.example.Nowhere"}), "(false,)");
    changes.clear();
    EXPECT_EQ(call("ShowAll"), "()");
    ASSERT_TRUE(changes.wait(10000));
    EXPECT_FALSE(call("RunningApplications").contains("true"));

    // The menu's "Preferences..." opens Tidewell's URL, as the menu everywhere does; the window
    // comes up when the URL comes back (the simulated desktop only records it).
    EXPECT_EQ(call("OpenPreferences"), "()");
    const QStringList seen = statusUntil("desktop: openURL x-tidewell-action://preferences");
    EXPECT_TRUE(seen.contains("desktop: openURL x-tidewell-action://preferences"))
        << seen.join('\n').toStdString();
    EXPECT_FALSE(seen.contains("preferences shown"));

    // The properties, read as GIO reads them: the icon is a picture the shell can load.
    EXPECT_EQ(call("org.freedesktop.DBus.Properties.Get", {interface, "IconStyle"}),
              "(<'AppIcon'>,)");
    EXPECT_EQ(call("org.freedesktop.DBus.Properties.Get", {interface, "TrayIconShown"}),
              "(<false>,)");
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
    EXPECT_FALSE(connection->interface()->isServiceRegistered(service).value());
}

} // namespace

#include "TWDBusServiceTest.moc"
