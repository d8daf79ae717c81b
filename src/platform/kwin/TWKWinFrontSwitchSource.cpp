// SPDX-License-Identifier: MIT
// Front-application switch detection from the windows' active state.
#include "TWKWinFrontSwitchSource.h"

TWKWinFrontSwitchSource::TWKWinFrontSwitchSource(TWKWinWorkspace& workspace)
    : workspace_(workspace) {
    workspace_.connection().setActiveWindowChangeHandler([this] { activeWindowChanged(); });
}

TWKWinFrontSwitchSource::~TWKWinFrontSwitchSource() {
    workspace_.connection().setActiveWindowChangeHandler(nullptr);
}

void TWKWinFrontSwitchSource::installFrontSwitchHandler(std::function<void()> handler) {
    // The application in front when the first handler arrives is the baseline: only a change
    // from it is a switch.
    if (!lastKey_)
        lastKey_ = workspace_.keyOfWindow(workspace_.connection().snapshot().activeWindow);
    handlers_.push_back(std::move(handler));
}

void TWKWinFrontSwitchSource::activeWindowChanged() {
    if (handlers_.empty())
        return;
    std::string key = workspace_.keyOfWindow(workspace_.connection().current().activeWindow);
    // Focus passing through no window at all (between two applications) is not a switch.
    if (key.empty() || key == lastKey_)
        return;
    lastKey_ = key;
    // Copy: a handler may install another handler.
    auto handlers = handlers_;
    for (auto& h : handlers)
        h();
}
