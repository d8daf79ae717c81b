// SPDX-License-Identifier: MIT
// Tidewell's GNOME Shell extension as the application sees it through the shell's
// org.gnome.Shell.Extensions service: whether it is installed and enabled, turning it on, and
// noticing when it is turned off or on while Tidewell runs. See also TWDBusService.
#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <string>

class TWAlert;
class TWAlertPresenter;

class TWGnomeShellExtension : public QObject {
    Q_OBJECT

  public:
    static constexpr const char* uuid = TIDEWELL_GNOME_UUID;

    enum class State {
        NoShell,           // no GNOME Shell answers on the session bus
        NotInstalled,      // the shell does not know the extension, and it is nowhere on disk
        NotLoaded,         // installed since the shell started: loaded at the next login
        Disabled,          // installed, turned off
        UserExtensionsOff, // installed, but the shell runs no user extensions at all
        Enabled,
        Failed, // installed, but the shell could not load it (error or out of date)
    };

    // The extension `extensionUuid` (Tidewell's unless a test names another).
    explicit TWGnomeShellExtension(QDBusConnection bus = QDBusConnection::sessionBus(),
                                   QObject* parent = nullptr,
                                   QString extensionUuid = QString::fromLatin1(uuid));

    // Asks the shell now.
    State state() const;
    // The shell's own words for a failed extension (its error text), empty otherwise.
    QString failure() const;
    // Turns the extension on (and user extensions with it when they are off as a whole); false
    // when the shell refused or did not answer.
    bool enable();
    // Waits (running the event loop) until the shell reports the extension enabled, at most
    // `ms`; true once it is.
    bool waitUntilEnabled(int ms);

    // Calls `changed(enabled)` each time the shell reports the extension turned on or off.
    void watch(std::function<void(bool enabled)> changed);

    // True in a GNOME session (XDG_CURRENT_DESKTOP names GNOME).
    static bool isGnomeSession();
    // Tells the user in one alert what keeps the extension from running and what to do about it
    // (`reason`, the desktop's own words, where none of the known cases fits); when it is only
    // turned off, or user extensions are, the alert offers to turn it on. True once the user
    // chose that and the shell reports the extension enabled.
    bool offerToEnable(const std::string& reason, TWAlertPresenter& presenter);
    // Says, in a desktop notification and the log, that the extension was turned off (Tidewell
    // waits for it) or is back.
    static void announce(bool enabled);

  private slots:
    void stateChanged(const QString& uuid, const QVariantMap& info);

  private:
    QVariantMap info() const;
    static bool isEnabledIn(const QVariantMap& info);
    bool userExtensionsEnabled() const;
    // The extension's folder where GNOME Shell looks for extensions, empty when there is none.
    QString installedFolder() const;
    // The running shell's major version (0 when it does not say).
    int shellVersion() const;
    TWAlert alertFor(State state, const std::string& reason) const;

    QDBusConnection bus_;
    QString uuid_;
    std::function<void(bool)> changed_;
    bool subscribed_ = false;
    bool lastEnabled_ = false;
};
