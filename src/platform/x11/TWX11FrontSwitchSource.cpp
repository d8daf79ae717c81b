// SPDX-License-Identifier: MIT
// Front-application switch detection from root PropertyNotify events.
#include "TWX11FrontSwitchSource.h"

TWX11FrontSwitchSource::TWX11FrontSwitchSource(TWX11Workspace& workspace) : workspace_(workspace) {
    workspace_.connection().setActiveWindowChangeHandler([this] { activeWindowChanged(); });
}

void TWX11FrontSwitchSource::installFrontSwitchHandler(std::function<void()> handler) {
    // The application in front when the first handler arrives is the baseline: only a change
    // from it is a switch.
    if (!lastKey_)
        lastKey_ = workspace_.activeApplicationKey();
    handlers_.push_back(std::move(handler));
}

void TWX11FrontSwitchSource::activeWindowChanged() {
    if (handlers_.empty())
        return;
    std::string key = workspace_.activeApplicationKey();
    // Focus passing through no window at all (between two applications) is not a switch.
    if (key.empty() || key == lastKey_)
        return;
    lastKey_ = key;
    // Copy: a handler may install another handler.
    auto handlers = handlers_;
    for (auto& h : handlers)
        h();
}
