// SPDX-License-Identifier: MIT
// Assembly of the KWin backend around one connection.
#include "TWKWinDesktop.h"

#include "TWCompositorFileManagerWindows.h"
#include "TWLog.h"

#include <string>
#include <sys/epoll.h>
#include <unistd.h>

constexpr const char* kSoundLogClass = "TWKWinSystemSound";

void TWKWinSystemSound::beep() {
    TWLog(LOG_INFO, kSoundLogClass, "no bell on this desktop; beep dropped");
}

std::unique_ptr<TWKWinDesktop> TWKWinDesktop::open(const std::string& socket, std::string* whyNot,
                                                   bool* absent) {
    auto connection = TWKWinConnection::open(socket, whyNot, absent);
    if (!connection)
        return nullptr;
    return std::unique_ptr<TWKWinDesktop>(new TWKWinDesktop(std::move(connection)));
}

TWKWinDesktop::TWKWinDesktop(std::unique_ptr<TWKWinConnection> connection)
    : connection_(std::move(connection)),
      workspace_(std::make_unique<TWKWinWorkspace>(*connection_)),
      scriptingBridge_(std::make_unique<TWScriptingAdapter>(
          [&workspace = *workspace_, closing = std::make_shared<TWCompositorCloseRequests>()](
              const std::string& bundleIdentifier) {
              return std::make_unique<TWCompositorFileManagerWindows>(workspace, bundleIdentifier,
                                                                      closing);
          })),
      frontSwitchSource_(std::make_unique<TWKeyedFrontSwitchSource>(
          [&workspace = *workspace_, &connection = *connection_](bool fresh) {
              return workspace.keyOfWindow(fresh ? connection.snapshot().activeWindow
                                                 : connection.current().activeWindow);
          })),
      events_(epoll_create1(EPOLL_CLOEXEC)),
      globalShortcuts_(std::make_unique<TWKWinGlobalShortcuts>([this](int fd, bool watched) {
          epoll_event event{EPOLLIN, {.fd = fd}};
          if (events_ >= 0)
              epoll_ctl(events_, watched ? EPOLL_CTL_ADD : EPOLL_CTL_DEL, fd, &event);
      })) {
    epoll_event event{EPOLLIN, {.fd = connection_->fileDescriptor()}};
    if (events_ < 0 || epoll_ctl(events_, EPOLL_CTL_ADD, event.data.fd, &event) < 0) {
        TWLog(LOG_WARNING, "TWKWinDesktop",
              "no epoll descriptor: global shortcuts are handled with the compositor's events");
        if (events_ >= 0)
            close(events_);
        events_ = -1;
    }
    connection_->setActiveWindowChangeHandler(
        [source = frontSwitchSource_.get()] { source->activeWindowChanged(); });
}

TWKWinDesktop::~TWKWinDesktop() {
    // Whatever was requested last still reaches the compositor.
    workspace_->flush();
    connection_->setActiveWindowChangeHandler(nullptr);
    globalShortcuts_.reset();
    if (events_ >= 0)
        close(events_);
}

int TWKWinDesktop::eventFileDescriptor() {
    // A broken connection stays readable for ever; telling the owner to stop watching it keeps
    // the event loop from spinning.
    if (connection_->fileDescriptor() < 0)
        return -1;
    return events_ >= 0 ? events_ : connection_->fileDescriptor();
}

void TWKWinDesktop::dispatchPendingEvents() {
    connection_->dispatchEvents();
    globalShortcuts_->dispatchEvents();
    // A hidden window the user brought back, or one that closed, is no longer Tidewell's.
    workspace_->forgetMarks(connection_->takeRestoredOrGone());
}
