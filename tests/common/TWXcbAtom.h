// SPDX-License-Identifier: MIT
// Interning an atom on an xcb connection, for the test programs and benchmarks that talk X.
#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>

// The atom named `name`, XCB_NONE when the server gave no answer.
inline xcb_atom_t TWInternAtom(xcb_connection_t* c, const char* name) {
    auto* r = xcb_intern_atom_reply(
        c, xcb_intern_atom(c, 0, static_cast<uint16_t>(std::strlen(name)), name), nullptr);
    xcb_atom_t a = r ? r->atom : XCB_NONE;
    std::free(r);
    return a;
}
