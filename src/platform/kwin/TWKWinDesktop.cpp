// SPDX-License-Identifier: MIT
// Assembly of the KWin backend around one connection.
#include "TWKWinDesktop.h"

#include "TWKWinFileManagerWindows.h"
#include "TWLog.h"

#include <string>

// Two small classes live here, each logging under its own name.
constexpr const char* kSoundLogClass = "TWKWinSystemSound";
constexpr const char* kEventLogClass = "TWKWinAppleEventSender";

namespace {
std::string printable(std::uint32_t code) {
    std::string s;
    for (int shift = 24; shift >= 0; shift -= 8) {
        char c = static_cast<char>((code >> shift) & 0xff);
        s += (c >= 0x20 && c < 0x7f) ? c : '?';
    }
    return s;
}
} // namespace

void TWKWinSystemSound::beep() {
    TWLog(LOG_INFO, kSoundLogClass, "no bell on this desktop; beep dropped");
}

void TWKWinAppleEventSender::send(const TWAppleEvent& event) {
    std::string target;
    for (auto byte : event.targetData)
        target += (byte >= 0x20 && byte < 0x7f) ? static_cast<char>(byte) : '?';
    TWLog(LOG_INFO, kEventLogClass,
          "no receiver for the event '" + printable(event.eventClass) + "'/'" +
              printable(event.eventID) + "' to '" + target + "' on this desktop; dropped");
}

std::unique_ptr<TWKWinDesktop> TWKWinDesktop::open(const std::string& socket, std::string* whyNot) {
    auto connection = TWKWinConnection::open(socket, whyNot);
    if (!connection)
        return nullptr;
    return std::unique_ptr<TWKWinDesktop>(new TWKWinDesktop(std::move(connection)));
}

TWKWinDesktop::TWKWinDesktop(std::unique_ptr<TWKWinConnection> connection)
    : connection_(std::move(connection)),
      workspace_(std::make_unique<TWKWinWorkspace>(*connection_)),
      scriptingBridge_(std::make_unique<TWScriptingAdapter>(
          [&workspace = *workspace_, state = std::make_shared<TWKWinFileManagerState>()](
              const std::string& bundleIdentifier) {
              return std::make_unique<TWKWinFileManagerWindows>(workspace, bundleIdentifier, state);
          })),
      frontSwitchSource_(std::make_unique<TWKWinFrontSwitchSource>(*workspace_)) {}

TWKWinDesktop::~TWKWinDesktop() {
    // Whatever was requested last still reaches the compositor.
    workspace_->flush();
}

int TWKWinDesktop::eventFileDescriptor() {
    // A broken connection stays readable for ever; telling the owner to stop watching it keeps
    // the event loop from spinning.
    return connection_->fileDescriptor();
}

void TWKWinDesktop::dispatchPendingEvents() {
    connection_->dispatchEvents();
    // A hidden window the user brought back, or one that closed, is no longer Tidewell's.
    workspace_->forgetMarks(connection_->takeRestoredOrGone());
}
