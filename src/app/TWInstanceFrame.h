// SPDX-License-Identifier: MIT
// The frames of the instance channel: four bytes of length (big-endian), then the payload.
// See also TWInstanceChannel, which sends and receives them.
#pragma once

#include "TWInstanceProtocol.h"

#include <QByteArray>

namespace TWInstanceFrame {

// Largest payload accepted, in bytes.
inline constexpr int maximumPayloadSize = TWInstanceProtocol::maximumPayloadSize;

// The frame carrying `payload`.
QByteArray frame(const QByteArray& payload);

enum class Status {
    Incomplete, // more bytes are needed
    Complete,   // `payload` holds the first frame's payload
    Invalid,    // an empty or oversized frame: the connection is to be dropped
};
// Reads the first frame at the start of `buffer`. `allowEmpty`: a reply may be empty, a request
// may not.
Status read(const QByteArray& buffer, QByteArray& payload, bool allowEmpty = false);
// The length a frame header announces (the first four bytes of `header`).
quint32 announcedLength(const char* header);

} // namespace TWInstanceFrame
