// SPDX-License-Identifier: MIT
// GNOME Shell (on Wayland or X11): every platform service through the window service of
// Tidewell's GNOME Shell extension.
#pragma once

#include "TWDesktop.h"
#include "TWDroppingAppleEventSender.h"
#include "TWFileFrontRecord.h"
#include "TWGnomeConnection.h"
#include "TWGnomeGlobalShortcuts.h"
#include "TWGnomeWorkspace.h"
#include "TWKeyedFrontSwitchSource.h"
#include "TWScriptingAdapter.h"

#include <memory>
#include <string>

// Wayland tells no other program which keys are held: no modifiers are ever reported (the
// extension's top-bar button sees them and asks for the right action itself).
class TWGnomeKeyboard : public TWKeyboard {
  public:
    std::uint32_t currentKeyModifiers() override { return 0; }
};

// No bell of the shell is reachable: the request is logged.
class TWGnomeSystemSound : public TWSystemSound {
  public:
    void beep() override;
};

class TWGnomeDesktop : public TWDesktop {
  public:
    // Connects to the session bus; null when GNOME Shell or Tidewell's extension does not
    // answer there, with the reason (how to enable the extension) in `whyNot` and in `absent`
    // whether GNOME Shell itself is not there.
    static std::unique_ptr<TWGnomeDesktop> open(std::string* whyNot = nullptr,
                                                bool* absent = nullptr);
    ~TWGnomeDesktop() override;

    TWWorkspace& workspace() override { return *workspace_; }
    TWScriptingBridge& scriptingBridge() override { return *scriptingBridge_; }
    TWFrontSwitchSource& frontSwitchSource() override { return *frontSwitchSource_; }
    TWKeyboard& keyboard() override { return keyboard_; }
    TWAppleEventSender& appleEventSender() override { return appleEventSender_; }
    TWSystemSound& systemSound() override { return systemSound_; }
    TWFrontRecord& frontRecord() override { return frontRecord_; }
    TWGlobalShortcuts& globalShortcuts() override { return *globalShortcuts_; }
    int eventFileDescriptor() override;
    void dispatchPendingEvents() override;
    bool serviceWasPausedByDesktop() override;

    // The backend's own view, for tools and tests that need more than the interfaces.
    TWGnomeWorkspace& gnomeWorkspace() { return *workspace_; }
    TWGnomeConnection& connection() { return *connection_; }

  private:
    explicit TWGnomeDesktop(std::unique_ptr<TWGnomeConnection> connection);
    std::unique_ptr<TWGnomeConnection> connection_;
    std::unique_ptr<TWGnomeWorkspace> workspace_;
    std::unique_ptr<TWScriptingAdapter> scriptingBridge_;
    std::unique_ptr<TWKeyedFrontSwitchSource> frontSwitchSource_;
    std::unique_ptr<TWGnomeGlobalShortcuts> globalShortcuts_;
    TWGnomeKeyboard keyboard_;
    TWGnomeSystemSound systemSound_;
    TWDroppingAppleEventSender appleEventSender_;
    // Beside the record of the hidden windows, per session.
    TWFileFrontRecord frontRecord_{"gnome-front-" + connection_->sessionName()};
};
