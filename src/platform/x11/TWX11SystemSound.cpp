// SPDX-License-Identifier: MIT
// The X bell as the alert sound.
#include "TWX11SystemSound.h"

TWX11SystemSound::TWX11SystemSound(TWX11Connection& connection) : connection_(connection) {}

void TWX11SystemSound::beep() {
    if (connection_.broken())
        return;
    xcb_bell(connection_.connection(), 0);
    connection_.flush();
}
