// SPDX-License-Identifier: MIT
// The main (user-interface) thread's queue, reachable from any other thread.
#pragma once

#include <functional>

class TWMainQueue {
  public:
    virtual ~TWMainQueue() = default;

    // Runs `work` on the main thread and returns once it has finished; runs it at once when
    // called on the main thread.
    virtual void dispatchSync(std::function<void()> work) = 0;
    // True when the calling thread is the main thread.
    virtual bool isMainThread() const = 0;
};
