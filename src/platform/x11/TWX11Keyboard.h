// SPDX-License-Identifier: MIT
// Keyboard modifiers held now, from the X server's pointer query.
#pragma once

#include "TWKeyboard.h"
#include "TWX11Connection.h"

class TWX11Keyboard : public TWKeyboard {
  public:
    explicit TWX11Keyboard(TWX11Connection& connection);
    std::uint32_t currentKeyModifiers() override;
    // The modifier bits for an X modifier mask (Shift, Lock, Control, Mod1 = Option,
    // Mod4 = Command).
    static std::uint32_t modifiersFromXMask(std::uint16_t mask);

  private:
    TWX11Connection& connection_;
};
