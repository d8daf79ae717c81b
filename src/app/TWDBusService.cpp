// SPDX-License-Identifier: MIT
// Tidewell's own session-bus service: its calls, properties and Changed signal, answered from
// the raw messages so that what goes over the bus is exactly what its XML describes.
#include "TWDBusService.h"

#include "TWCommon.h"
#include "TWInstanceChannel.h"
#include "TWLog.h"
#include "TWWorkspace.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDir>
#include <QFile>

#include <map>

constexpr const char* kLogClass = "TWDBusService";

// One running application as RunningApplications sends it: (ssb).
struct TWDBusApplication {
    QString id;
    QString name;
    bool hidden = false;
};
// One menu entry as Menu sends it: (sssb).
struct TWDBusMenuEntry {
    QString method;
    QString title;
    QString argument;
    bool hidden = false;
};
Q_DECLARE_METATYPE(TWDBusApplication)
Q_DECLARE_METATYPE(TWDBusMenuEntry)

QDBusArgument& operator<<(QDBusArgument& out, const TWDBusApplication& application) {
    out.beginStructure();
    out << application.id << application.name << application.hidden;
    out.endStructure();
    return out;
}
const QDBusArgument& operator>>(const QDBusArgument& in, TWDBusApplication& application) {
    in.beginStructure();
    in >> application.id >> application.name >> application.hidden;
    in.endStructure();
    return in;
}
QDBusArgument& operator<<(QDBusArgument& out, const TWDBusMenuEntry& entry) {
    out.beginStructure();
    out << entry.method << entry.title << entry.argument << entry.hidden;
    out.endStructure();
    return out;
}
const QDBusArgument& operator>>(const QDBusArgument& in, TWDBusMenuEntry& entry) {
    in.beginStructure();
    in >> entry.method >> entry.title >> entry.argument >> entry.hidden;
    in.endStructure();
    return in;
}

namespace {

// The menu's actions and the methods that carry them out.
const std::map<std::string, QString>& methodForAction() {
    static const std::map<std::string, QString> methods{
        {"showPreferences", QStringLiteral("OpenPreferences")},
        {"showFinderHideOthers", QStringLiteral("HideOthers")},
        {"showAll", QStringLiteral("ShowAll")},
        {"toggleAppVisibility", QStringLiteral("Toggle")},
        {"checkForUpdate", QStringLiteral("CheckForUpdates")},
        {"productPage", QStringLiteral("OpenProductPage")},
        {"sendFeedback", QStringLiteral("SendFeedback")},
        {"terminate", QStringLiteral("Quit")},
    };
    return methods;
}

std::string stringField(const TWMenuItem& item, const std::string& key) {
    const auto& info = item.representedObject();
    const TWPlistValue* field = info ? TWPlistLookup(*info, key) : nullptr;
    const auto* text = field ? field->get<std::string>() : nullptr;
    return text ? *text : std::string();
}

std::int64_t integerField(const TWMenuItem& item, const std::string& key) {
    const auto& info = item.representedObject();
    const TWPlistValue* field = info ? TWPlistLookup(*info, key) : nullptr;
    const auto* number = field ? field->get<std::int64_t>() : nullptr;
    return number ? *number : -1;
}

// The interface's part of resources/dbus/net.quillfen.Tidewell1.xml (compiled in), for
// introspection.
QString interfaceXml() {
    static const QString xml = [] {
        QFile file(QStringLiteral(":/dbus/net.quillfen.Tidewell1.xml"));
        if (!file.open(QIODevice::ReadOnly))
            return QString();
        const QString text = QString::fromUtf8(file.readAll());
        const qsizetype begin = text.indexOf(QStringLiteral("<interface "));
        const qsizetype end = text.lastIndexOf(QStringLiteral("</interface>"));
        if (begin < 0 || end < begin)
            return QString();
        return text.mid(begin, end - begin) + QStringLiteral("</interface>\n");
    }();
    return xml;
}

// The standard interfaces the object answers besides its own.
QString standardInterfacesXml() {
    return QStringLiteral(
        "  <interface name=\"org.freedesktop.DBus.Introspectable\">\n"
        "    <method name=\"Introspect\"><arg name=\"xml\" type=\"s\" direction=\"out\"/>"
        "</method>\n  </interface>\n"
        "  <interface name=\"org.freedesktop.DBus.Properties\">\n"
        "    <method name=\"Get\"><arg name=\"interface\" type=\"s\" direction=\"in\"/>"
        "<arg name=\"name\" type=\"s\" direction=\"in\"/>"
        "<arg name=\"value\" type=\"v\" direction=\"out\"/></method>\n"
        "    <method name=\"GetAll\"><arg name=\"interface\" type=\"s\" direction=\"in\"/>"
        "<arg name=\"values\" type=\"a{sv}\" direction=\"out\"/></method>\n"
        "    <method name=\"Set\"><arg name=\"interface\" type=\"s\" direction=\"in\"/>"
        "<arg name=\"name\" type=\"s\" direction=\"in\"/>"
        "<arg name=\"value\" type=\"v\" direction=\"in\"/></method>\n  </interface>\n");
}

} // namespace

TWDBusService::TWDBusService(TWDBusServiceActions actions, QObject* parent)
    : QDBusVirtualObject(parent), actions_(std::move(actions)) {
    qDBusRegisterMetaType<TWDBusApplication>();
    qDBusRegisterMetaType<QList<TWDBusApplication>>();
    qDBusRegisterMetaType<TWDBusMenuEntry>();
    qDBusRegisterMetaType<QList<TWDBusMenuEntry>>();
    recheck_.setSingleShot(true);
    // A burst of desktop events (a hide of ten windows) is compared once.
    recheck_.setInterval(100);
    connect(&recheck_, &QTimer::timeout, this, [this] {
        if (!started_)
            return;
        const std::shared_ptr<TWMenu> menu = actions_.menu();
        QList<Application> now = menu ? runningApplications(*menu) : QList<Application>();
        if (now != lastApplications_) {
            lastApplications_ = std::move(now);
            emitChanged();
        }
    });
}

TWDBusService::~TWDBusService() {
    if (started_) {
        QDBusConnection bus = QDBusConnection::sessionBus();
        bus.unregisterObject(QString::fromLatin1(objectPath));
        bus.unregisterService(QString::fromLatin1(serviceName));
    }
}

bool TWDBusService::start() {
    // Without an address the bus library would start a bus of its own for the X display
    // (autolaunch), which outlives Tidewell: only a session's bus is used.
    const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS") &&
        (runtime.isEmpty() || !QFile::exists(QFile::decodeName(runtime) + "/bus"))) {
        TWLog(LOG_INFO, kLogClass, "no session bus: Tidewell's D-Bus service is not offered");
        return false;
    }
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        TWLog(LOG_WARNING, kLogClass,
              "cannot connect to the session bus: Tidewell's D-Bus service (and the GNOME Shell "
              "button) are unavailable");
        return false;
    }
    if (!bus.registerVirtualObject(QString::fromLatin1(objectPath), this)) {
        TWLog(LOG_WARNING, kLogClass, "cannot export " + std::string(objectPath));
        return false;
    }
    // Another session's Tidewell on this bus keeps its name; this one runs without the service.
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply =
        bus.interface()->registerService(QString::fromLatin1(serviceName),
                                         QDBusConnectionInterface::DontQueueService,
                                         QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid() || reply.value() != QDBusConnectionInterface::ServiceRegistered) {
        TWLog(LOG_WARNING, kLogClass,
              std::string("the bus name ") + serviceName + " is held by another process");
        bus.unregisterObject(QString::fromLatin1(objectPath));
        return false;
    }
    started_ = true;
    noteDesktopMayHaveChanged();
    return true;
}

void TWDBusService::setIconStyle(const QString& imageName) {
    if (imageName == iconStyle_)
        return;
    iconStyle_ = imageName;
    emitChanged();
}

void TWDBusService::setTrayIconShown(bool shown) {
    if (shown == trayIconShown_)
        return;
    trayIconShown_ = shown;
    emitChanged();
}

QString TWDBusService::iconName() const {
    // The picture compiled into Tidewell, written where the shell can read it: the same
    // picture the tray shows, installed or not.
    const QString directory = TWInstanceChannel::defaultDirectory() + QStringLiteral("/icons");
    const QString path = directory + "/" + iconStyle_ + QStringLiteral(".svg");
    if (QFile::exists(path))
        return path;
    QFile picture(":/icons/" + iconStyle_ + ".svg");
    if (!QDir().mkpath(directory) || !picture.open(QIODevice::ReadOnly))
        return QStringLiteral("net.quillfen.Tidewell");
    QFile copy(path + QStringLiteral(".new"));
    if (!copy.open(QIODevice::WriteOnly) || copy.write(picture.readAll()) < 0 || !copy.flush() ||
        !copy.rename(path)) {
        copy.remove();
        return QStringLiteral("net.quillfen.Tidewell");
    }
    return path;
}

void TWDBusService::noteDesktopMayHaveChanged() {
    if (started_ && !recheck_.isActive())
        recheck_.start();
}

void TWDBusService::emitChanged() {
    if (!started_)
        return;
    QDBusConnection::sessionBus().send(
        QDBusMessage::createSignal(QString::fromLatin1(objectPath),
                                   QString::fromLatin1(interfaceName), QStringLiteral("Changed")));
}

QList<TWDBusService::Application> TWDBusService::runningApplications(const TWMenu& menu) {
    const std::vector<TWRunningApplication> running = actions_.workspace().runningApplications();
    QList<Application> applications;
    for (const std::shared_ptr<TWMenuItem>& item : menu.items()) {
        if (item->action() != "toggleAppVisibility")
            continue;
        Application application;
        application.id = QString::fromStdString(stringField(*item, "bundleID"));
        application.name = QString::fromStdString(stringField(*item, "name"));
        const std::int64_t pid = integerField(*item, "pid");
        for (const TWRunningApplication& app : running)
            if (app.processIdentifier == pid &&
                app.bundleIdentifier == application.id.toStdString())
                application.hidden = app.hidden;
        applications.append(application);
    }
    return applications;
}

QString TWDBusService::introspect(const QString& path) const {
    return path == QLatin1String(objectPath) ? interfaceXml() : QString();
}

bool TWDBusService::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    if (message.type() != QDBusMessage::MethodCallMessage)
        return false;
    QDBusMessage reply;
    if (message.interface() == QLatin1String("org.freedesktop.DBus.Properties"))
        reply = properties(message);
    else if (message.interface() == QLatin1String("org.freedesktop.DBus.Introspectable") &&
             message.member() == QLatin1String("Introspect"))
        reply = message.createReply(
            QStringLiteral("<!DOCTYPE node PUBLIC \"-//freedesktop//DTD D-BUS Object Introspection "
                           "1.0//EN\" \"http://www.freedesktop.org/standards/dbus/1.0/"
                           "introspect.dtd\">\n<node>\n") +
            introspect(message.path()) + standardInterfacesXml() + QStringLiteral("</node>\n"));
    else if (message.interface().isEmpty() || message.interface() == QLatin1String(interfaceName))
        reply = call(message);
    else
        reply = message.createErrorReply(QDBusError::UnknownInterface,
                                         "no interface " + message.interface());
    connection.send(reply);
    return true;
}

QDBusMessage TWDBusService::call(const QDBusMessage& message) {
    const QString method = message.member();
    const QString signature = message.signature();
    auto simple = [&](const std::function<void()>& work) {
        if (!signature.isEmpty())
            return message.createErrorReply(QDBusError::InvalidArgs,
                                            method + " takes no arguments");
        if (actions_.note)
            actions_.note("dbus " + method);
        if (work)
            work();
        noteDesktopMayHaveChanged();
        return message.createReply();
    };
    if (method == QLatin1String("HideOthers"))
        return simple([this] { actions_.common().showFinderHideOthers(); });
    if (method == QLatin1String("ShowAll"))
        return simple([this] { actions_.common().showAll(); });
    if (method == QLatin1String("OpenPreferences"))
        return simple(actions_.showPreferences);
    if (method == QLatin1String("CheckForUpdates"))
        return simple(actions_.checkForUpdate);
    if (method == QLatin1String("OpenProductPage"))
        return simple(actions_.productPage);
    if (method == QLatin1String("SendFeedback"))
        return simple(actions_.sendFeedback);
    if (method == QLatin1String("Quit")) {
        // Answered first: the event loop ends once this call returns.
        QDBusMessage answer = simple({});
        QTimer::singleShot(0, this, [this] { actions_.quit(); });
        return answer;
    }
    if (method == QLatin1String("Toggle")) {
        if (signature != QLatin1String("s"))
            return message.createErrorReply(QDBusError::InvalidArgs,
                                            QStringLiteral("Toggle takes one string, the ID"));
        const std::string id = message.arguments().at(0).toString().toStdString();
        if (actions_.note)
            actions_.note("dbus Toggle " + QString::fromStdString(id));
        TWCommon& common = actions_.common();
        const bool found = common.isApplicationRunning(id);
        if (found)
            common.activateApplicationWithBundleID(id, true);
        noteDesktopMayHaveChanged();
        return message.createReply(found);
    }
    if (!signature.isEmpty() &&
        (method == QLatin1String("RunningApplications") || method == QLatin1String("Menu")))
        return message.createErrorReply(QDBusError::InvalidArgs, method + " takes no arguments");
    if (method == QLatin1String("RunningApplications")) {
        const std::shared_ptr<TWMenu> menu = actions_.menu();
        QList<TWDBusApplication> applications;
        if (menu)
            for (const Application& application : runningApplications(*menu))
                applications.append({application.id, application.name, application.hidden});
        return message.createReply(QVariant::fromValue(applications));
    }
    if (method == QLatin1String("Menu")) {
        const std::shared_ptr<TWMenu> menu = actions_.menu();
        QList<TWDBusMenuEntry> entries;
        if (menu) {
            const QList<Application> applications = runningApplications(*menu);
            qsizetype nextApplication = 0;
            for (const std::shared_ptr<TWMenuItem>& item : menu->items()) {
                TWDBusMenuEntry entry;
                entry.title = QString::fromStdString(item->title());
                if (item->action() == "toggleAppVisibility" &&
                    nextApplication < applications.size()) {
                    const Application& application = applications.at(nextApplication++);
                    entry.method = QStringLiteral("Toggle");
                    entry.argument = application.id;
                    entry.hidden = application.hidden;
                } else if (!item->action().empty()) {
                    const auto known = methodForAction().find(item->action());
                    // An item this interface cannot carry out is left out, not shown inert.
                    if (known == methodForAction().end())
                        continue;
                    entry.method = known->second;
                }
                entries.append(entry);
            }
        }
        return message.createReply(QVariant::fromValue(entries));
    }
    return message.createErrorReply(QDBusError::UnknownMethod,
                                    "no method " + method + " in " + interfaceName);
}

QDBusMessage TWDBusService::properties(const QDBusMessage& message) {
    const QList<QVariant> arguments = message.arguments();
    const QString method = message.member();
    auto value = [this](const QString& name) -> QVariant {
        if (name == QLatin1String("IconStyle"))
            return iconStyle_;
        if (name == QLatin1String("IconName"))
            return iconName();
        if (name == QLatin1String("TrayIconShown"))
            return trayIconShown_;
        return {};
    };
    if (method == QLatin1String("Get") && message.signature() == QLatin1String("ss") &&
        arguments.at(0).toString() == QLatin1String(interfaceName)) {
        const QVariant property = value(arguments.at(1).toString());
        if (!property.isValid())
            return message.createErrorReply(QDBusError::UnknownProperty,
                                            "no property " + arguments.at(1).toString());
        return message.createReply(QVariant::fromValue(QDBusVariant(property)));
    }
    if (method == QLatin1String("GetAll") && message.signature() == QLatin1String("s")) {
        QVariantMap all;
        if (arguments.at(0).toString() == QLatin1String(interfaceName))
            for (const QString& name : {QStringLiteral("IconStyle"), QStringLiteral("IconName"),
                                        QStringLiteral("TrayIconShown")})
                all.insert(name, value(name));
        return message.createReply(QVariant::fromValue(all));
    }
    if (method == QLatin1String("Set"))
        return message.createErrorReply(QDBusError::PropertyReadOnly,
                                        QStringLiteral("the properties are read-only"));
    return message.createErrorReply(QDBusError::InvalidArgs,
                                    "unknown call " + method + " (" + message.signature() + ")");
}
