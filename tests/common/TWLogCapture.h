// SPDX-License-Identifier: MIT
// Collects every line logged while it is alive, for tests that check what the system reported.
#pragma once

#include "TWLog.h"

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

class TWLogCapture {
  public:
    TWLogCapture() {
        previous_ = TWSetLogSink([this](const std::string& line) { lines.push_back(line); });
    }
    ~TWLogCapture() { TWSetLogSink(previous_); }
    TWLogCapture(const TWLogCapture&) = delete;
    TWLogCapture& operator=(const TWLogCapture&) = delete;

    // Number of lines that begin with `prefix`.
    long countStartingWith(const std::string& prefix) const {
        return std::count_if(lines.begin(), lines.end(),
                             [&](const std::string& l) { return l.rfind(prefix, 0) == 0; });
    }

    std::vector<std::string> lines;

  private:
    std::function<void(const std::string&)> previous_;
};
