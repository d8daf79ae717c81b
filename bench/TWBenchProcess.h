// SPDX-License-Identifier: MIT
// What the benchmarks read about a running process.
#pragma once

#include <fstream>
#include <string>
#include <sys/types.h>

// Resident memory of process `pid` in KiB (VmRSS), 0 when it cannot be read.
inline long TWResidentKiB(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    std::string key;
    long kilobytes = 0;
    while (status >> key)
        if (key == "VmRSS:") {
            status >> kilobytes;
            break;
        }
    return kilobytes;
}
