// SPDX-License-Identifier: MIT
// The frames of the instance channel.
#include "TWInstanceFrame.h"

namespace TWInstanceFrame {

QByteArray frame(const QByteArray& payload) {
    const auto size = quint32(payload.size());
    QByteArray bytes(4, '\0');
    bytes[0] = char(size >> 24);
    bytes[1] = char(size >> 16);
    bytes[2] = char(size >> 8);
    bytes[3] = char(size);
    return bytes + payload;
}

quint32 announcedLength(const char* header) {
    const auto* p = reinterpret_cast<const unsigned char*>(header);
    return (quint32(p[0]) << 24) | (quint32(p[1]) << 16) | (quint32(p[2]) << 8) | quint32(p[3]);
}

Status read(const QByteArray& buffer, QByteArray& payload, bool allowEmpty) {
    if (buffer.size() < 4)
        return Status::Incomplete;
    const quint32 length = announcedLength(buffer.constData());
    if ((length == 0 && !allowEmpty) || length > quint32(maximumPayloadSize))
        return Status::Invalid;
    if (quint32(buffer.size()) < 4 + length)
        return Status::Incomplete;
    payload = buffer.mid(4, qsizetype(length));
    return Status::Complete;
}

} // namespace TWInstanceFrame
