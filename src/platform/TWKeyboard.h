// SPDX-License-Identifier: MIT
// The keyboard modifiers held at this moment.
#pragma once

#include <cstdint>

// Modifier bits as reported by currentKeyModifiers().
inline constexpr std::uint32_t TWCommandKey = 1u << 8;
inline constexpr std::uint32_t TWShiftKey = 1u << 9;
inline constexpr std::uint32_t TWAlphaLock = 1u << 10;
inline constexpr std::uint32_t TWOptionKey = 1u << 11;
inline constexpr std::uint32_t TWControlKey = 1u << 12;

class TWKeyboard {
  public:
    virtual ~TWKeyboard() = default;
    // The modifier keys held now, as the bits above.
    virtual std::uint32_t currentKeyModifiers() = 0;
};
