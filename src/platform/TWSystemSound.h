// SPDX-License-Identifier: MIT
// The system alert sound.
#pragma once

class TWSystemSound {
  public:
    virtual ~TWSystemSound() = default;
    // Plays the alert sound (the beep).
    virtual void beep() = 0;
};
