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

TWGnomeShellExtension::TWGnomeShellExtension(QDBusConnection bus, QObject* parent)
    : QObject(parent), bus_(std::move(bus)) {}

QVariantMap TWGnomeShellExtension::info() const {
    QDBusMessage call = QDBusMessage::createMethodCall(
        shellService, extensionsPath, extensionsInterface, QStringLiteral("GetExtensionInfo"));
    call << QString::fromLatin1(uuid);
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

TWGnomeShellExtension::State TWGnomeShellExtension::stateOf(const QVariantMap& info,
                                                            bool userExtensionsEnabled) {
    if (info.contains(QStringLiteral("noshell")))
        return State::NoShell;
    if (!info.contains(QStringLiteral("state")))
        return State::NotInstalled;
    const int state = int(info.value(QStringLiteral("state")).toDouble());
    if (state == shellError || state == shellOutOfDate)
        return State::Failed;
    if (state == shellEnabled && userExtensionsEnabled)
        return State::Enabled;
    return State::Disabled;
}

TWGnomeShellExtension::State TWGnomeShellExtension::state() const {
    const QVariantMap now = info();
    return stateOf(now, stateOf(now, true) == State::Disabled ? userExtensionsEnabled() : true);
}

QString TWGnomeShellExtension::failure() const {
    const QVariantMap now = info();
    return stateOf(now, true) == State::Failed ? now.value(QStringLiteral("error")).toString()
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
    call << QString::fromLatin1(uuid);
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
    if (changedUuid != QLatin1String(uuid) || !changed_)
        return;
    const bool enabled = stateOf(info, true) == State::Enabled;
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

bool TWGnomeShellExtension::offerToEnable(const std::string& reason, TWAlertPresenter& presenter) {
    const State now = state();
    if (now == State::NoShell)
        return false;
    TWAlert alert;
    alert.setMessageText(reason);
    if (now == State::Failed && !failure().isEmpty())
        alert.setInformativeText(
            TWFormat(TWLocalizedString("GNOME Shell says: %@"), failure().toStdString()));
    if (now == State::Disabled)
        alert.addButtonWithTitle(TWLocalizedString("Enable the Extension"));
    alert.addButtonWithTitle(TWLocalizedString("Quit"));
    if (alert.runModal(presenter) != TWAlertFirstButtonReturn || now != State::Disabled)
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
