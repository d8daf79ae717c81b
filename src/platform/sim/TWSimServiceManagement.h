// SPDX-License-Identifier: MIT
// Login items and launches recorded in memory, for tests.
#pragma once

#include "TWServiceManagement.h"

#include <string>
#include <vector>

class TWSimServiceManagement : public TWServiceManagement {
  public:
    // Records "setLoginItemEnabled <id> YES|NO".
    bool setLoginItemEnabled(const std::string& identifier, bool enabled) override;
    // Records "launchApplication <path> <options in hex>".
    bool launchApplication(const std::string& path, unsigned options) override;

    // Every request so far, in order.
    const std::vector<std::string>& requests() const { return requests_; }

  private:
    std::vector<std::string> requests_;
};
