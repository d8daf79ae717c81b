// SPDX-License-Identifier: MIT
// One desktop backend: every desktop service the actions need, from one place.
#pragma once

#include "TWAppleEventSender.h"
#include "TWFrontSwitchSource.h"
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

    // Event-loop integration: a descriptor that becomes readable when the desktop has events
    // for us (-1 when the backend needs none, or once it can deliver no more: stop watching
    // then), and the call that handles them.
    virtual int eventFileDescriptor() { return -1; }
    virtual void dispatchPendingEvents() {}
};
