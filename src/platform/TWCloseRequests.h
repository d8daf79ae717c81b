// SPDX-License-Identifier: MIT
// Windows a backend asked to close, each with its process, remembered for a while.
#pragma once

#include <chrono>
#include <map>
#include <utility>

// A listing leaves these windows out while they are remembered, so that a close-until-none
// loop ends instead of waiting on the file manager (a window that refuses to close is listed
// again after that); a new window waits for them to go, since a file manager that quits with its
// last window would take the request with it.
template <typename Window> class TWCloseRequests {
  public:
    static constexpr std::chrono::seconds kRemembered{2};
    // How long a process left without windows by the close requests may take to quit before a
    // new window is started anyway.
    static constexpr std::chrono::milliseconds kQuitGrace{500};

    void add(const Window& window, int pid) {
        requests_[window] = {pid, std::chrono::steady_clock::now()};
    }
    // Whether `window` was asked to close less than kRemembered ago.
    bool isClosing(const Window& window) const {
        auto it = requests_.find(window);
        return it != requests_.end() &&
               std::chrono::steady_clock::now() - it->second.second < kRemembered;
    }
    bool empty() const { return requests_.empty(); }
    // Every window asked to close since the last take, with its process; forgets them.
    std::map<Window, int> take() {
        std::map<Window, int> taken;
        for (const auto& [window, request] : requests_)
            taken.emplace(window, request.first);
        requests_.clear();
        return taken;
    }

  private:
    std::map<Window, std::pair<int, std::chrono::steady_clock::time_point>> requests_;
};
