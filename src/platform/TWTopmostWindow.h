// SPDX-License-Identifier: MIT
// The window an activation brings forward, as every backend chooses it.
#pragma once

#include <vector>

// The topmost (highest `stackingIndex`) of `windows` that `eligible` accepts; nullptr when it
// accepts none.
template <class Window, class Eligible>
const Window* TWTopmostWindow(const std::vector<Window>& windows, Eligible&& eligible) {
    const Window* top = nullptr;
    for (const auto& w : windows)
        if (eligible(w) && (!top || w.stackingIndex > top->stackingIndex))
            top = &w;
    return top;
}
