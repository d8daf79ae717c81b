// SPDX-License-Identifier: MIT
// The alert sound on X11: the server's bell.
#pragma once

#include "TWSystemSound.h"
#include "TWX11Connection.h"

class TWX11SystemSound : public TWSystemSound {
  public:
    explicit TWX11SystemSound(TWX11Connection& connection);
    void beep() override;

  private:
    TWX11Connection& connection_;
};
