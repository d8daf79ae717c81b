// SPDX-License-Identifier: MIT
// Apple events on Linux, for every desktop backend: no application can receive them, so each is
// dropped and logged.
#pragma once

#include "TWAppleEventSender.h"

class TWDroppingAppleEventSender : public TWAppleEventSender {
  public:
    void send(const TWAppleEvent& event) override;
};
