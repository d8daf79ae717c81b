// SPDX-License-Identifier: MIT
// What both sides of the instance channel agree on, on the standard library alone: the socket's
// name in the runtime directory, the largest payload of a frame, and the time an instance has to
// answer a start. See also TWInstanceChannel (Qt) and TWFastHandOver (the C library alone).
#pragma once

namespace TWInstanceProtocol {

// The instance's socket, in Tidewell's runtime directory.
inline constexpr const char* socketName = "instance.sock";
// Largest message (and reply) accepted, in bytes; longer frames are dropped.
inline constexpr int maximumPayloadSize = 4096;
// How long a start waits for the instance to answer its request.
inline constexpr int handOverTimeoutMs = 5000;

} // namespace TWInstanceProtocol
