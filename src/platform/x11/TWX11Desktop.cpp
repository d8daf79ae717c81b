// SPDX-License-Identifier: MIT
// Assembly of the X11 backend around one connection.
#include "TWX11Desktop.h"

#include "TWX11FileManagerWindows.h"

std::unique_ptr<TWX11Desktop> TWX11Desktop::open(const std::string& display) {
    auto connection = TWX11Connection::open(display);
    if (!connection)
        return nullptr;
    return std::unique_ptr<TWX11Desktop>(new TWX11Desktop(std::move(connection)));
}

TWX11Desktop::TWX11Desktop(std::unique_ptr<TWX11Connection> connection)
    : connection_(std::move(connection)),
      workspace_(std::make_unique<TWX11Workspace>(*connection_)),
      scriptingBridge_(std::make_unique<TWScriptingAdapter>(
          [&workspace = *workspace_,
           closing = std::make_shared<TWX11CloseRequests>()](const std::string& bundleIdentifier) {
              return std::make_unique<TWX11FileManagerWindows>(workspace, bundleIdentifier,
                                                               closing);
          })),
      frontSwitchSource_(std::make_unique<TWKeyedFrontSwitchSource>(
          [&workspace = *workspace_](bool) { return workspace.activeApplicationKey(); })),
      keyboard_(std::make_unique<TWX11Keyboard>(*connection_)),
      systemSound_(std::make_unique<TWX11SystemSound>(*connection_)),
      globalShortcuts_(std::make_unique<TWX11GlobalShortcuts>(*connection_)),
      frontRecord_(std::make_unique<TWX11FrontRecord>(*connection_)) {
    connection_->setActiveWindowChangeHandler(
        [source = frontSwitchSource_.get()] { source->activeWindowChanged(); });
    connection_->setKeyEventHandler(
        [shortcuts = globalShortcuts_.get()](const xcb_generic_event_t& event) {
            shortcuts->handleEvent(event);
        });
}

TWX11Desktop::~TWX11Desktop() {
    // Whatever was requested last still reaches the server.
    workspace_->flush();
    connection_->setActiveWindowChangeHandler(nullptr);
    connection_->setKeyEventHandler(nullptr);
}

int TWX11Desktop::eventFileDescriptor() {
    // A broken connection stays readable for ever; telling the owner to stop watching it keeps
    // the event loop from spinning.
    if (connection_->broken())
        return -1;
    return connection_->fileDescriptor();
}

void TWX11Desktop::dispatchPendingEvents() {
    connection_->dispatchEvents();
}

void TWX11Desktop::sync() {
    connection_->sync();
}
