// SPDX-License-Identifier: MIT
// Reopen and activate events to an application named by its four-character creator code.
#pragma once

#include <array>
#include <cstdint>

constexpr std::uint32_t TWFourCharCode(const char (&s)[5]) {
    return (std::uint32_t(std::uint8_t(s[0])) << 24) | (std::uint32_t(std::uint8_t(s[1])) << 16) |
           (std::uint32_t(std::uint8_t(s[2])) << 8) | std::uint32_t(std::uint8_t(s[3]));
}

// A fully built event: class, ID, target address and send options.
struct TWAppleEvent {
    std::uint32_t eventClass = 0;
    std::uint32_t eventID = 0;
    std::uint32_t targetDescriptorType = TWFourCharCode("null");
    std::array<std::uint8_t, 4> targetData{}; // the creator code, most significant byte first
    std::int16_t returnID = -1;               // generated automatically
    std::int32_t transactionID = 0;           // any transaction
    std::int32_t sendMode = 1;                // no reply
    std::int16_t priority = 0;                // normal
    std::int32_t timeout = -1;                // the default
    bool operator==(const TWAppleEvent&) const = default;
};

class TWAppleEventSender {
  public:
    virtual ~TWAppleEventSender() = default;
    // Sends the event without waiting for an answer; an event nobody can receive is dropped.
    virtual void send(const TWAppleEvent& event) = 0;
};
