// SPDX-License-Identifier: MIT
// Login items and launches recorded in memory, for tests.
#include "TWSimServiceManagement.h"

#include <cstdio>

bool TWSimServiceManagement::setLoginItemEnabled(const std::string& identifier, bool enabled) {
    requests_.push_back("setLoginItemEnabled " + identifier + (enabled ? " YES" : " NO"));
    return true;
}

bool TWSimServiceManagement::launchApplication(const std::string& path, unsigned options) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%x", options);
    requests_.push_back("launchApplication " + path + " " + hex);
    return true;
}
