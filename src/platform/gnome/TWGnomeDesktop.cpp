// SPDX-License-Identifier: MIT
// Assembly of the GNOME backend around one connection.
#include "TWGnomeDesktop.h"

#include "TWCompositorFileManagerWindows.h"
#include "TWLog.h"

constexpr const char* kSoundLogClass = "TWGnomeSystemSound";

void TWGnomeSystemSound::beep() {
    TWLog(LOG_INFO, kSoundLogClass, "no bell on this desktop; beep dropped");
}

std::unique_ptr<TWGnomeDesktop> TWGnomeDesktop::open(std::string* whyNot, bool* absent) {
    auto connection = TWGnomeConnection::open(whyNot, absent);
    if (!connection)
        return nullptr;
    return std::unique_ptr<TWGnomeDesktop>(new TWGnomeDesktop(std::move(connection)));
}

TWGnomeDesktop::TWGnomeDesktop(std::unique_ptr<TWGnomeConnection> connection)
    : connection_(std::move(connection)),
      workspace_(std::make_unique<TWGnomeWorkspace>(*connection_)),
      scriptingBridge_(std::make_unique<TWScriptingAdapter>(
          [&workspace = *workspace_, closing = std::make_shared<TWCompositorCloseRequests>()](
              const std::string& bundleIdentifier) {
              return std::make_unique<TWCompositorFileManagerWindows>(workspace, bundleIdentifier,
                                                                      closing);
          })),
      frontSwitchSource_(std::make_unique<TWKeyedFrontSwitchSource>(
          [&workspace = *workspace_, &connection = *connection_](bool fresh) {
              return workspace.keyOfWindow(fresh ? connection.snapshot().focused
                                                 : connection.current().focused);
          })),
      globalShortcuts_(std::make_unique<TWGnomeGlobalShortcuts>(*connection_)) {
    connection_->setActiveWindowChangeHandler(
        [source = frontSwitchSource_.get()] { source->activeWindowChanged(); });
}

TWGnomeDesktop::~TWGnomeDesktop() {
    // The handlers' owners may be gone already: nothing is reported while the last requests
    // still reach the shell.
    connection_->setActiveWindowChangeHandler(nullptr);
    workspace_->flush();
    connection_->sync();
}

int TWGnomeDesktop::eventFileDescriptor() {
    return connection_->fileDescriptor();
}

void TWGnomeDesktop::dispatchPendingEvents() {
    connection_->dispatchEvents();
    // A hidden window the user brought back, or one that closed, is no longer Tidewell's.
    workspace_->forgetMarks(connection_->takeRestoredOrGone());
}

bool TWGnomeDesktop::serviceWasPausedByDesktop() {
    // The extension says why it stops before the shell reports it off: read what arrived.
    dispatchPendingEvents();
    return connection_->stoppedForLockScreen();
}
