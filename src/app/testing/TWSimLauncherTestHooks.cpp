// SPDX-License-Identifier: MIT
// The test hooks of tidewell-testing: the simulated desktop, in-memory services and the
// "menu <title>" request.
#include "TWSimLauncherTestHooks.h"

#include "TWHTTPTransport.h"
#include "TWLog.h"
#include "TWMenu.h"
#include "TWSimDefaultsStore.h"
#include "TWSimDesktop.h"
#include "TWSimLoginItemList.h"
#include "TWSimServiceManagement.h"
#include "TWUserDefaults.h"

#include <QObject>
#include <QTimer>

#include <thread>

constexpr const char* kLogClass = "TWSimLauncherTestHooks";

namespace {

// Fails every request as if offline, answering on a thread of its own as a real transport does.
class TWOfflineTransport : public TWHTTPTransport {
  public:
    void post(const std::string&, std::string,
              std::function<void(std::optional<std::string>)> completion) override {
        std::thread([completion = std::move(completion)] { completion(std::nullopt); }).detach();
    }
};

} // namespace

std::unique_ptr<TWDesktop> TWSimLauncherTestHooks::makeDesktop() {
    // A file manager and two applications, the last one in front, and an empty request log.
    auto desktop = std::make_unique<TWSimDesktop>();
    desktop->setFileManagerBundleIdentifier("org.example.Files");
    desktop->launchApplication(std::string("org.example.Files"), "Files");
    desktop->launchApplication(std::string("org.example.Terminal"), "Terminal");
    const auto editor = desktop->launchApplication(std::string("org.example.Editor"), "Editor");
    desktop->makeActive(editor);
    desktop->clearLog();
    desktop_ = desktop.get();
    return desktop;
}

void TWSimLauncherTestHooks::installStores() {
    TWUserDefaults::setStandardUserDefaults(
        std::make_shared<TWUserDefaults>(std::make_shared<TWSimDefaultsStore>()));
    TWUserDefaults::setSharedUserDefaults(
        std::make_shared<TWUserDefaults>(std::make_shared<TWSimDefaultsStore>()));
}

std::unique_ptr<TWServiceManagement> TWSimLauncherTestHooks::makeServiceManagement() {
    return std::make_unique<TWSimServiceManagement>();
}

std::unique_ptr<TWLoginItemList> TWSimLauncherTestHooks::makeLoginItems() {
    return std::make_unique<TWSimLoginItemList>();
}

std::shared_ptr<TWHTTPTransport> TWSimLauncherTestHooks::makeTransport() {
    return std::make_shared<TWOfflineTransport>();
}

std::optional<QByteArray>
TWSimLauncherTestHooks::handle(const QByteArray& message,
                               const std::function<std::shared_ptr<TWMenu>()>& trayMenu,
                               QObject* context) {
    if (!message.startsWith("menu "))
        return std::nullopt;
    // Chooses the enabled item with this title as a click on it does, queued so that the reply
    // goes out before the item's work starts.
    const std::string title = message.mid(5).toStdString();
    for (const std::shared_ptr<TWMenuItem>& item : trayMenu()->items()) {
        if (!item->isSeparatorItem() && !item->action().empty() && item->title() == title) {
            QTimer::singleShot(0, context, [item] { item->perform(); });
            return QByteArrayLiteral("ok");
        }
    }
    TWLog(LOG_WARNING, kLogClass, "no menu item \"" + title + "\"");
    return std::nullopt;
}

QStringList TWSimLauncherTestHooks::statusLines() const {
    QStringList lines;
    if (desktop_)
        for (const std::string& line : desktop_->log())
            lines << "desktop: " + QString::fromStdString(line);
    return lines;
}
