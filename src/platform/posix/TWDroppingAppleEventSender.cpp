// SPDX-License-Identifier: MIT
// Dropping Apple events with a log line that says what was dropped.
#include "TWDroppingAppleEventSender.h"

#include "TWLog.h"

#include <string>

constexpr const char* kLogClass = "TWDroppingAppleEventSender";

namespace {
std::string fourCC(std::uint32_t code) {
    std::string s;
    for (int shift = 24; shift >= 0; shift -= 8) {
        char c = static_cast<char>((code >> shift) & 0xff);
        s += (c >= 0x20 && c < 0x7f) ? c : '?';
    }
    return s;
}
} // namespace

void TWDroppingAppleEventSender::send(const TWAppleEvent& event) {
    std::string target(event.targetData.begin(), event.targetData.end());
    for (auto& c : target)
        if (c < 0x20 || c >= 0x7f)
            c = '?';
    TWLog(LOG_INFO, kLogClass,
          "no receiver for the event '" + fourCC(event.eventClass) + "'/'" + fourCC(event.eventID) +
              "' to '" + target + "' on this desktop; dropped");
}
