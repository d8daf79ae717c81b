// SPDX-License-Identifier: MIT
// Keyboard modifiers through xcb_query_pointer, translated into the modifier bit layout.
#include "TWX11Keyboard.h"

#include <cstdlib>

TWX11Keyboard::TWX11Keyboard(TWX11Connection& connection) : connection_(connection) {}

std::uint32_t TWX11Keyboard::modifiersFromXMask(std::uint16_t mask) {
    std::uint32_t bits = 0;
    if (mask & XCB_MOD_MASK_SHIFT)
        bits |= TWShiftKey;
    if (mask & XCB_MOD_MASK_LOCK)
        bits |= TWAlphaLock;
    if (mask & XCB_MOD_MASK_CONTROL)
        bits |= TWControlKey;
    if (mask & XCB_MOD_MASK_1)
        bits |= TWOptionKey;
    if (mask & XCB_MOD_MASK_4)
        bits |= TWCommandKey;
    return bits;
}

std::uint32_t TWX11Keyboard::currentKeyModifiers() {
    if (connection_.broken())
        return 0;
    auto* c = connection_.connection();
    auto* reply = xcb_query_pointer_reply(c, xcb_query_pointer(c, connection_.root()), nullptr);
    if (!reply)
        return 0;
    std::uint32_t bits = modifiersFromXMask(reply->mask);
    std::free(reply);
    return bits;
}
