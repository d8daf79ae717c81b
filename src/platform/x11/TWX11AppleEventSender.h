// SPDX-License-Identifier: MIT
// Apple events on Linux: no application can receive them, so each is dropped and logged.
#pragma once

#include "TWAppleEventSender.h"

class TWX11AppleEventSender : public TWAppleEventSender {
  public:
    void send(const TWAppleEvent& event) override;
};
