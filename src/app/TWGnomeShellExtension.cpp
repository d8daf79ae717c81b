// SPDX-License-Identifier: MIT
// Tidewell's GNOME Shell extension through org.gnome.Shell.Extensions: its state, enabling it,
// and its being turned off and on while Tidewell runs.
#include "TWGnomeShellExtension.h"

#include "TWAlert.h"
#include "TWLocalizedString.h"
#include "TWLog.h"

#include <QDBusInterface>
#include <QDBusReply>
#include <QDBusVariant>
#include <QEventLoop>
#include <QStandardPaths>
#include <QTimer>

#include <cstdlib>

constexpr const char* kLogClass = "TWGnomeShellExtension";

namespace {

const QString shellService = QStringLiteral("org.gnome.Shell");
const QString extensionsPath = QStringLiteral("/org/gnome/Shell");
const QString extensionsInterface = QStringLiteral("org.gnome.Shell.Extensions");

// The shell's numbers for an extension's state.
constexpr int shellEnabled = 1;
constexpr int shellError = 3;
constexpr int shellOutOfDate = 4;

// A call with a short limit: a shell that hangs must not hang Tidewell's start.
constexpr int callTimeoutMs = 3000;

} // namespace

TWGnomeShellExtension::TWGnomeShellExtension(QDBusConnection bus, QObject* parent,
                                             QString extensionUuid)
    : QObject(parent), bus_(std::move(bus)), uuid_(std::move(extensionUuid)) {}

QVariantMap TWGnomeShellExtension::info() const {
    QDBusMessage call = QDBusMessage::createMethodCall(
        shellService, extensionsPath, extensionsInterface, QStringLiteral("GetExtensionInfo"));
    call << uuid_;
    const QDBusReply<QVariantMap> reply = bus_.call(call, QDBus::Block, callTimeoutMs);
    return reply.isValid() ? reply.value() : QVariantMap{{QStringLiteral("noshell"), true}};
}

bool TWGnomeShellExtension::userExtensionsEnabled() const {
    QDBusMessage call = QDBusMessage::createMethodCall(
        shellService, extensionsPath, QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("Get"));
    call << extensionsInterface << QStringLiteral("UserExtensionsEnabled");
    const QDBusReply<QDBusVariant> reply = bus_.call(call, QDBus::Block, callTimeoutMs);
    return !reply.isValid() || reply.value().variant().toBool();
}

int TWGnomeShellExtension::shellVersion() const {
    QDBusMessage call = QDBusMessage::createMethodCall(
        shellService, extensionsPath, QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("Get"));
    call << shellService << QStringLiteral("ShellVersion");
    const QDBusReply<QDBusVariant> reply = bus_.call(call, QDBus::Block, callTimeoutMs);
    return reply.isValid()
               ? reply.value().variant().toString().section(QLatin1Char('.'), 0, 0).toInt()
               : 0;
}

QString TWGnomeShellExtension::installedFolder() const {
    // Where the shell looks: the user's data folder, then the system's ($XDG_DATA_DIRS).
    const QString metadata = QStandardPaths::locate(QStandardPaths::GenericDataLocation,
                                                    QStringLiteral("gnome-shell/extensions/") +
                                                        uuid_ + QStringLiteral("/metadata.json"));
    return metadata.isEmpty() ? QString() : metadata.section(QLatin1Char('/'), 0, -2);
}

bool TWGnomeShellExtension::isEnabledIn(const QVariantMap& info) {
    return int(info.value(QStringLiteral("state")).toDouble()) == shellEnabled;
}

TWGnomeShellExtension::State TWGnomeShellExtension::state() const {
    const QVariantMap now = info();
    if (now.contains(QStringLiteral("noshell")))
        return State::NoShell;
    if (!now.contains(QStringLiteral("state")))
        return installedFolder().isEmpty() ? State::NotInstalled : State::NotLoaded;
    const int state = int(now.value(QStringLiteral("state")).toDouble());
    if (state == shellError || state == shellOutOfDate)
        return State::Failed;
    if (!userExtensionsEnabled())
        return State::UserExtensionsOff;
    return isEnabledIn(now) ? State::Enabled : State::Disabled;
}

QString TWGnomeShellExtension::failure() const {
    const QVariantMap now = info();
    const int state = int(now.value(QStringLiteral("state"), 0).toDouble());
    return state == shellError || state == shellOutOfDate
               ? now.value(QStringLiteral("error")).toString()
               : QString();
}

bool TWGnomeShellExtension::enable() {
    if (!userExtensionsEnabled()) {
        QDBusMessage call = QDBusMessage::createMethodCall(
            shellService, extensionsPath, QStringLiteral("org.freedesktop.DBus.Properties"),
            QStringLiteral("Set"));
        call << extensionsInterface << QStringLiteral("UserExtensionsEnabled")
             << QVariant::fromValue(QDBusVariant(true));
        bus_.call(call, QDBus::Block, callTimeoutMs);
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        shellService, extensionsPath, extensionsInterface, QStringLiteral("EnableExtension"));
    call << uuid_;
    const QDBusReply<bool> reply = bus_.call(call, QDBus::Block, callTimeoutMs);
    if (!reply.isValid() || !reply.value()) {
        TWLog(
            LOG_WARNING, kLogClass,
            "GNOME Shell did not enable the extension: " +
                (reply.isValid() ? std::string("refused") : reply.error().message().toStdString()));
        return false;
    }
    return true;
}

bool TWGnomeShellExtension::waitUntilEnabled(int ms) {
    QEventLoop loop;
    QTimer limit;
    limit.setSingleShot(true);
    connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    const std::function<void(bool)> previous = changed_;
    bool enabled = state() == State::Enabled;
    if (!enabled) {
        watch([&](bool on) {
            if (previous)
                previous(on);
            if (on) {
                enabled = true;
                loop.quit();
            }
        });
        // Enabled between the first look and the subscription: seen by looking again.
        enabled = state() == State::Enabled;
        if (!enabled) {
            limit.start(ms);
            loop.exec();
        }
        changed_ = previous;
    }
    return enabled;
}

void TWGnomeShellExtension::watch(std::function<void(bool enabled)> changed) {
    if (!subscribed_)
        subscribed_ = bus_.connect(shellService, extensionsPath, extensionsInterface,
                                   QStringLiteral("ExtensionStateChanged"), this,
                                   SLOT(stateChanged(QString, QVariantMap)));
    changed_ = std::move(changed);
    lastEnabled_ = state() == State::Enabled;
}

void TWGnomeShellExtension::stateChanged(const QString& changedUuid, const QVariantMap& info) {
    if (changedUuid != uuid_ || !changed_)
        return;
    const bool enabled = isEnabledIn(info);
    // The shell reports every step (enabling, enabled); only a change of on/off is news.
    if (enabled == lastEnabled_)
        return;
    lastEnabled_ = enabled;
    changed_(enabled);
}

bool TWGnomeShellExtension::isGnomeSession() {
    const char* desktops = std::getenv("XDG_CURRENT_DESKTOP");
    return desktops && QString::fromLocal8Bit(desktops)
                           .split(QLatin1Char(':'))
                           .contains(QStringLiteral("GNOME"), Qt::CaseInsensitive);
}

TWAlert TWGnomeShellExtension::alertFor(State state, const std::string& reason) const {
    TWAlert alert;
    const std::string folder = installedFolder().toStdString();
    switch (state) {
    case State::NotInstalled: {
        // The build's folder of the module format this shell loads (see resources/gnome-shell).
        const std::string built = "gnome-shell/" +
                                  std::string(shellVersion() >= 45 ? "esm" : "imports") + "/" +
                                  uuid_.toStdString();
        const std::string userFolder =
            QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation).toStdString() +
            "/gnome-shell/extensions";
        alert.setMessageText(
            TWLocalizedString("Tidewell's GNOME Shell extension is not installed."));
        alert.setInformativeText(
            TWFormat(TWLocalizedString(
                         "GNOME Shell lets Tidewell hide and show windows only through it. The "
                         "Debian package tidewell installs it for all users; from a build, "
                         "“cmake --install” installs it, or copy the build's folder %@ into "
                         "%@. GNOME Shell loads a newly installed extension at the next "
                         "login: log out, log in again and start Tidewell."),
                     built, userFolder));
        break;
    }
    case State::NotLoaded:
        alert.setMessageText(
            TWLocalizedString("GNOME Shell has not loaded Tidewell's extension yet."));
        alert.setInformativeText(TWFormat(
            TWLocalizedString("It is installed (in %@), but GNOME Shell loads a newly installed "
                              "extension only at the next login: log out, log in again and start "
                              "Tidewell."),
            folder));
        break;
    case State::Disabled:
        alert.setMessageText(TWLocalizedString("Tidewell's GNOME Shell extension is turned off."));
        alert.setInformativeText(TWLocalizedString(
            "GNOME Shell lets Tidewell hide and show windows only through it. "
            "Enable it to go on; the Extensions application turns it off again."));
        alert.addButtonWithTitle(TWLocalizedString("Enable the Extension"));
        break;
    case State::UserExtensionsOff:
        alert.setMessageText(
            TWLocalizedString("GNOME Shell has all extensions you installed turned off."));
        alert.setInformativeText(
            TWLocalizedString("Tidewell hides and shows windows through its GNOME Shell extension, "
                              "which cannot run while extensions are off as a whole (the main "
                              "switch of the Extensions application). Turning them on turns on "
                              "every other extension you enabled as well."));
        alert.addButtonWithTitle(TWLocalizedString("Turn On Extensions"));
        break;
    case State::Failed:
        alert.setMessageText(
            TWLocalizedString("GNOME Shell could not start Tidewell's extension."));
        if (!failure().isEmpty())
            alert.setInformativeText(
                TWFormat(TWLocalizedString("GNOME Shell says: %@"), failure().toStdString()));
        break;
    case State::NoShell:
    case State::Enabled:
        alert.setMessageText(reason);
        break;
    }
    alert.addButtonWithTitle(TWLocalizedString("Quit"));
    return alert;
}

bool TWGnomeShellExtension::offerToEnable(const std::string& reason, TWAlertPresenter& presenter) {
    const State now = state();
    if (now == State::NoShell)
        return false;
    const TWAlert alert = alertFor(now, reason);
    const long choice = alert.runModal(presenter);
    // Only an alert that offers to turn something on has a button before "Quit".
    if (alert.buttons().size() < 2 || choice != TWAlertFirstButtonReturn)
        return false;
    if (!enable())
        return false;
    if (!waitUntilEnabled(10000)) {
        TWLog(LOG_WARNING, kLogClass, "GNOME Shell did not report the extension enabled");
        return false;
    }
    TWLog(LOG_NOTICE, kLogClass, "the GNOME Shell extension is enabled");
    return true;
}

void TWGnomeShellExtension::announce(bool enabled) {
    const std::string summary =
        enabled ? TWLocalizedString("Tidewell's GNOME Shell extension is back")
                : TWLocalizedString("Tidewell's GNOME Shell extension was turned off");
    const std::string body =
        enabled ? TWLocalizedString("Hide All and Show All work again.")
                : TWLocalizedString("Tidewell cannot hide or show windows until it is turned on "
                                    "again. Nothing Tidewell hid is forgotten.");
    TWLog(enabled ? LOG_NOTICE : LOG_WARNING, kLogClass, summary + ". " + body);
    QDBusMessage notify = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.Notifications"),
        QStringLiteral("/org/freedesktop/Notifications"),
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
    notify << QStringLiteral("Tidewell") << 0u << QStringLiteral("net.quillfen.Tidewell")
           << QString::fromStdString(summary) << QString::fromStdString(body) << QStringList()
           << QVariantMap{{QStringLiteral("desktop-entry"),
                           QStringLiteral("net.quillfen.Tidewell")}}
           << -1;
    // Not waited for: a desktop without notifications leaves the log line.
    QDBusConnection::sessionBus().send(notify);
}
