// SPDX-License-Identifier: MIT
// A later start's hand-over to the running instance, on the C library alone: it runs before the
// program loads Qt, the window system or anything else, so that a second start costs little
// more than its request. See also TWInstanceChannel (the instance's side) and TWLauncher.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace TWFastHandOver {

// The message a command line sends the instance ("reopen", "hide-all", "show-all", "status",
// "url <url>"), or none when it asks for more than a hand-over (help, version, bad usage):
// those are the full program's.
std::optional<std::string> messageFor(const std::vector<std::string>& arguments);

// Hands the command line's request to the instance listening in Tidewell's runtime directory:
// the exit status once it answered (or did not answer in time), or none when no instance
// listens there or anything is unusual (the directory, the peer): the full program then starts
// and sorts it out, becoming the instance or saying what is wrong.
std::optional<int> run(int argc, char** argv);

// The instance's reply to `message` (one of the messages above), or none when no instance
// listens or it did not answer in time.
std::optional<std::string> request(const std::string& message);

} // namespace TWFastHandOver
