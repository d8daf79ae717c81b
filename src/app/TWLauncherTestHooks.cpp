// SPDX-License-Identifier: MIT
// What the tidewell program offers for testing: the simulated desktop, the request journal and
// the "menu <title>" request.
#include "TWLauncherTestHooks.h"

#include "ExcludeController.h"
#include "TWAlert.h"
#include "TWCommon.h"
#include "TWHTTPTransport.h"
#include "TWLog.h"
#include "TWMenu.h"
#include "TWSimDefaultsStore.h"
#include "TWSimDesktop.h"
#include "TWSimLoginItemList.h"
#include "TWSimServiceManagement.h"
#include "TWUserDefaults.h"

#include <QObject>
#include <QStringList>
#include <QTimer>

#include <thread>

constexpr const char* kLogClass = "TWLauncherTestHooks";

namespace {

class TWOfflineTransport : public TWHTTPTransport {
  public:
    void post(const std::string&, std::string,
              std::function<void(std::optional<std::string>)> completion) override {
        std::thread([completion = std::move(completion)] { completion(std::nullopt); }).detach();
    }
};

} // namespace

class TWLauncherTestHooks::JournalingAlertPresenter : public TWAlertPresenter {
  public:
    JournalingAlertPresenter(TWAlertPresenter& shown, TWRequestJournal& journal)
        : shown_(shown), journal_(journal) {}
    long runModal(const TWAlert& alert) override {
        journal_ << "alert " + QString::fromStdString(alert.messageText().value_or(std::string()));
        return shown_.runModal(alert);
    }

  private:
    TWAlertPresenter& shown_;
    TWRequestJournal& journal_;
};

std::unique_ptr<TWSimDesktop> TWLauncherTestHooks::makeSimulatedDesktop() {
    auto desktop = std::make_unique<TWSimDesktop>();
    desktop->setFileManagerBundleIdentifier("org.example.Files");
    desktop->launchApplication(std::string("org.example.Files"), "Files");
    desktop->launchApplication(std::string("org.example.Terminal"), "Terminal");
    const auto editor = desktop->launchApplication(std::string("org.example.Editor"), "Editor");
    desktop->makeActive(editor);
    desktop->clearLog();
    return desktop;
}

void TWLauncherTestHooks::installInMemoryStores() {
    TWUserDefaults::setStandardUserDefaults(
        std::make_shared<TWUserDefaults>(std::make_shared<TWSimDefaultsStore>()));
    TWUserDefaults::setSharedUserDefaults(
        std::make_shared<TWUserDefaults>(std::make_shared<TWSimDefaultsStore>()));
}

std::unique_ptr<TWServiceManagement> TWLauncherTestHooks::makeInMemoryServiceManagement() {
    return std::make_unique<TWSimServiceManagement>();
}

std::unique_ptr<TWLoginItemList> TWLauncherTestHooks::makeInMemoryLoginItems() {
    return std::make_unique<TWSimLoginItemList>();
}

std::shared_ptr<TWHTTPTransport> TWLauncherTestHooks::makeOfflineTransport() {
    return std::make_shared<TWOfflineTransport>();
}

TWLauncherTestHooks::TWLauncherTestHooks(TWAlertPresenter& shown, const TWSimDesktop* simDesktop)
    : alertPresenter_(std::make_unique<JournalingAlertPresenter>(shown, journal_)),
      simDesktop_(simDesktop) {}

TWLauncherTestHooks::~TWLauncherTestHooks() = default;

TWAlertPresenter& TWLauncherTestHooks::alertPresenter() {
    return *alertPresenter_;
}

void TWLauncherTestHooks::note(const QString& entry) {
    journal_ << entry;
}

void TWLauncherTestHooks::forgetLast() {
    journal_.removeLast();
}

QByteArray TWLauncherTestHooks::chooseMenuItem(const TWMenu& menu, const std::string& title,
                                               QObject* context) {
    for (const std::shared_ptr<TWMenuItem>& item : menu.items()) {
        if (!item->isSeparatorItem() && !item->action().empty() && item->title() == title) {
            QTimer::singleShot(0, context, [item] { item->perform(); });
            return QByteArrayLiteral("ok");
        }
    }
    TWLog(LOG_WARNING, kLogClass, "no menu item \"" + title + "\"");
    forgetLast();
    return QByteArrayLiteral("unknown");
}

QByteArray TWLauncherTestHooks::statusAnswer(int maximumBytes) const {
    QStringList status;
    // The application show-all brings to the front, as recorded so far.
    if (auto front = TWCommon::sharedInstance().currentActiveBundleID())
        status << "front: " + QString::fromStdString(*front);
    // The exclusion list, made at launch and filled from the store in the background.
    if (const ExcludeController* exclusions = ExcludeController::existingInstance())
        status << "exclusion list: " + QString::number(exclusions->rowCount());
    if (simDesktop_)
        for (const std::string& line : simDesktop_->log())
            status << "desktop: " + QString::fromStdString(line);
    return journal_.answer(status, maximumBytes);
}
