// SPDX-License-Identifier: MIT
// The real Linux desktop: every platform service on an X11 display with an EWMH window manager.
#pragma once

#include "TWDesktop.h"
#include "TWDroppingAppleEventSender.h"
#include "TWKeyedFrontSwitchSource.h"
#include "TWScriptingAdapter.h"
#include "TWX11Connection.h"
#include "TWX11FrontRecord.h"
#include "TWX11GlobalShortcuts.h"
#include "TWX11Keyboard.h"
#include "TWX11SystemSound.h"
#include "TWX11Workspace.h"

#include <memory>
#include <string>

class TWX11Desktop : public TWDesktop {
  public:
    // Connects to `display` (empty: $DISPLAY); null, with a log line, when it cannot be opened.
    static std::unique_ptr<TWX11Desktop> open(const std::string& display = "");
    ~TWX11Desktop() override;

    TWWorkspace& workspace() override { return *workspace_; }
    TWScriptingBridge& scriptingBridge() override { return *scriptingBridge_; }
    TWFrontSwitchSource& frontSwitchSource() override { return *frontSwitchSource_; }
    TWKeyboard& keyboard() override { return *keyboard_; }
    TWAppleEventSender& appleEventSender() override { return appleEventSender_; }
    TWSystemSound& systemSound() override { return *systemSound_; }
    TWFrontRecord& frontRecord() override { return *frontRecord_; }
    TWGlobalShortcuts& globalShortcuts() override { return *globalShortcuts_; }
    int eventFileDescriptor() override;
    void dispatchPendingEvents() override;

    // The backend's own view, for tools and tests that need more than the interfaces.
    TWX11Workspace& x11Workspace() { return *workspace_; }
    TWX11Connection& connection() { return *connection_; }
    // Waits until the server has handled every request sent so far, then dispatches events.
    void sync();

  private:
    explicit TWX11Desktop(std::unique_ptr<TWX11Connection> connection);
    std::unique_ptr<TWX11Connection> connection_;
    std::unique_ptr<TWX11Workspace> workspace_;
    std::unique_ptr<TWScriptingAdapter> scriptingBridge_;
    std::unique_ptr<TWKeyedFrontSwitchSource> frontSwitchSource_;
    std::unique_ptr<TWX11Keyboard> keyboard_;
    std::unique_ptr<TWX11SystemSound> systemSound_;
    std::unique_ptr<TWX11GlobalShortcuts> globalShortcuts_;
    std::unique_ptr<TWX11FrontRecord> frontRecord_;
    TWDroppingAppleEventSender appleEventSender_;
};
