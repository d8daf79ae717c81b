// SPDX-License-Identifier: MIT
// Tidewell's own processes (which own no windows) announce themselves here for the workspace.
#pragma once

#include <string>
#include <vector>

// One registered process.
struct TWRegisteredProcess {
    int pid = -1;
    std::string bundleIdentifier;
    std::string name;
    int activationPolicy = 0;
};

class TWProcessRegistry {
  public:
    // Registers (or re-registers) the calling process under its identifier, name and policy.
    static void registerCurrentProcess(const std::string& bundleID, const std::string& name,
                                       int activationPolicy);
    // Removes the calling process's registration, if any.
    static void unregisterCurrentProcess();
    // Every live registered process, oldest registration first; entries of processes that have
    // ended are dropped and their files removed.
    static std::vector<TWRegisteredProcess> registeredProcesses();
    // The directory holding the registrations (TWBaseDirectories::runtimeDirectory), created
    // owner-only when missing; empty (with a log line) when it cannot be made private.
    static std::string registryDirectory();
};
