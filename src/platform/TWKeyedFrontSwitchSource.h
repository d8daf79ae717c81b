// SPDX-License-Identifier: MIT
// Front-application switches as the X11 and KWin backends tell them: an active-window change
// counts when the application owning the active window is not the one seen last.
#pragma once

#include "TWFrontSwitchSource.h"

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class TWKeyedFrontSwitchSource : public TWFrontSwitchSource {
  public:
    // `frontKey(fresh)`: the grouping key of the application owning the active window (empty:
    // none), asking the desktop when `fresh`, else by what its events told so far.
    explicit TWKeyedFrontSwitchSource(std::function<std::string(bool fresh)> frontKey)
        : frontKey_(std::move(frontKey)) {}

    void installFrontSwitchHandler(std::function<void()> handler) override {
        // The application in front when the first handler arrives is the baseline: only a
        // change from it is a switch.
        if (!lastKey_)
            lastKey_ = frontKey_(true);
        handlers_.push_back(std::move(handler));
    }

    // Runs the handlers when the application owning the active window is not the one seen last.
    void activeWindowChanged() {
        if (handlers_.empty())
            return;
        std::string key = frontKey_(false);
        // Focus passing through no window at all (between two applications) is not a switch.
        if (key.empty() || key == lastKey_)
            return;
        lastKey_ = key;
        // Copy: a handler may install another handler.
        auto handlers = handlers_;
        for (auto& h : handlers)
            h();
    }

  private:
    std::function<std::string(bool)> frontKey_;
    std::vector<std::function<void()>> handlers_;
    std::optional<std::string> lastKey_;
};
