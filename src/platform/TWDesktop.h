// SPDX-License-Identifier: MIT
// One desktop backend: every desktop service the actions need, from one place.
#pragma once

#include "TWAppleEventSender.h"
#include "TWFrontRecord.h"
#include "TWFrontSwitchSource.h"
#include "TWGlobalShortcuts.h"
#include "TWKeyboard.h"
#include "TWScriptingBridge.h"
#include "TWSystemSound.h"
#include "TWWorkspace.h"

class TWDesktop {
  public:
    virtual ~TWDesktop() = default;

    virtual TWWorkspace& workspace() = 0;
    virtual TWScriptingBridge& scriptingBridge() = 0;
    virtual TWFrontSwitchSource& frontSwitchSource() = 0;
    virtual TWKeyboard& keyboard() = 0;
    virtual TWAppleEventSender& appleEventSender() = 0;
    virtual TWSystemSound& systemSound() = 0;
    // Where the application in front when the others were hidden is kept for every Tidewell
    // process of the session.
    virtual TWFrontRecord& frontRecord() = 0;
    // The desktop's global shortcuts; a desktop that offers none refuses every binding.
    virtual TWGlobalShortcuts& globalShortcuts() {
        static Unsupported unsupported;
        return unsupported;
    }

    // Event-loop integration: a descriptor that becomes readable when the desktop has events
    // for us (-1 when the backend needs none, or once it can deliver no more: stop watching
    // then), and the call that handles them.
    virtual int eventFileDescriptor() { return -1; }
    virtual void dispatchPendingEvents() {}
    // Whether the desktop's own pause (GNOME Shell's lock screen turning its extensions off)
    // is why the window service last stopped or came back: nothing to tell the user.
    virtual bool serviceWasPausedByDesktop() { return false; }

  private:
    class Unsupported : public TWGlobalShortcuts {
      public:
        std::optional<std::string> bind(TWShortcutAction, const std::string& keys) override {
            if (keys.empty())
                return std::nullopt;
            return "This desktop offers no global shortcuts to other programs.";
        }
        void setActivationHandler(std::function<void(TWShortcutAction)>) override {}
    };
};
