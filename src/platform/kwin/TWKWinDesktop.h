// SPDX-License-Identifier: MIT
// The KDE Plasma desktop on Wayland: every platform service through KWin's window management.
#pragma once

#include "TWDesktop.h"
#include "TWDroppingAppleEventSender.h"
#include "TWFileFrontRecord.h"
#include "TWKWinConnection.h"
#include "TWKWinGlobalShortcuts.h"
#include "TWKWinWorkspace.h"
#include "TWKeyedFrontSwitchSource.h"
#include "TWScriptingAdapter.h"

#include <memory>
#include <string>

// Wayland tells no other program which keys are held: no modifiers are ever reported.
class TWKWinKeyboard : public TWKeyboard {
  public:
    std::uint32_t currentKeyModifiers() override { return 0; }
};

// A Wayland client has no bell of the compositor to ring: the request is logged.
class TWKWinSystemSound : public TWSystemSound {
  public:
    void beep() override;
};

class TWKWinDesktop : public TWDesktop {
  public:
    // Connects to the Wayland display `socket` (empty: $WAYLAND_DISPLAY); null when KWin's
    // window management is not offered there, with the reason in `whyNot` and in `absent`
    // whether no compositor answered at all.
    static std::unique_ptr<TWKWinDesktop>
    open(const std::string& socket = "", std::string* whyNot = nullptr, bool* absent = nullptr);
    ~TWKWinDesktop() override;

    TWWorkspace& workspace() override { return *workspace_; }
    TWScriptingBridge& scriptingBridge() override { return *scriptingBridge_; }
    TWFrontSwitchSource& frontSwitchSource() override { return *frontSwitchSource_; }
    TWKeyboard& keyboard() override { return keyboard_; }
    TWAppleEventSender& appleEventSender() override { return appleEventSender_; }
    TWSystemSound& systemSound() override { return systemSound_; }
    TWFrontRecord& frontRecord() override { return frontRecord_; }
    TWGlobalShortcuts& globalShortcuts() override { return *globalShortcuts_; }
    // One descriptor for the compositor's events and, once shortcuts are bound, the session
    // bus's.
    int eventFileDescriptor() override;
    void dispatchPendingEvents() override;

    // The backend's own view, for tools and tests that need more than the interfaces.
    TWKWinWorkspace& kwinWorkspace() { return *workspace_; }
    TWKWinConnection& connection() { return *connection_; }

  private:
    explicit TWKWinDesktop(std::unique_ptr<TWKWinConnection> connection);
    std::unique_ptr<TWKWinConnection> connection_;
    std::unique_ptr<TWKWinWorkspace> workspace_;
    std::unique_ptr<TWScriptingAdapter> scriptingBridge_;
    std::unique_ptr<TWKeyedFrontSwitchSource> frontSwitchSource_;
    int events_ = -1; // epoll over the connections' descriptors
    std::unique_ptr<TWKWinGlobalShortcuts> globalShortcuts_;
    TWKWinKeyboard keyboard_;
    TWKWinSystemSound systemSound_;
    TWDroppingAppleEventSender appleEventSender_;
    // Beside the record of the hidden windows, per Wayland display.
    TWFileFrontRecord frontRecord_{"kwin-front-" + connection_->displayName()};
};
