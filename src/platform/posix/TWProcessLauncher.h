// SPDX-License-Identifier: MIT
// Starting other programs detached from us: no waiting, no zombies, no shared session.
#pragma once

#include <string>
#include <vector>

class TWProcessLauncher {
  public:
    // Starts argv[0] (looked up in PATH) with `argv` in `workingDirectory` (empty: ours), in a
    // session of its own. True when the program was started; false (with a log line) when it
    // could not be.
    static bool spawnDetached(const std::vector<std::string>& argv,
                              const std::string& workingDirectory = "");
    // Whether a process is still running (not ended, not a zombie waiting for its parent).
    static bool isRunning(int pid);
    // Runs a command and returns its standard output (at most `limit` bytes); none when it
    // could not be run or did not exit successfully.
    static bool captureOutput(const std::vector<std::string>& argv, std::string& output,
                              std::size_t limit = 65536);
};
