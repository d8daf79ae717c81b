// SPDX-License-Identifier: MIT
// Instance-channel frames: any bytes read as incomplete, invalid or one frame whose payload is
// exactly what the header announces and which frames back to the same bytes.
#include "TWInstanceFrame.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray buffer(reinterpret_cast<const char*>(data), qsizetype(size));
    for (bool allowEmpty : {false, true}) {
        QByteArray payload;
        switch (TWInstanceFrame::read(buffer, payload, allowEmpty)) {
        case TWInstanceFrame::Status::Complete:
            if (payload.size() > TWInstanceFrame::maximumPayloadSize ||
                (payload.isEmpty() && !allowEmpty) ||
                !buffer.startsWith(TWInstanceFrame::frame(payload)))
                std::abort();
            break;
        case TWInstanceFrame::Status::Incomplete:
            if (buffer.size() >= 4 + TWInstanceFrame::maximumPayloadSize)
                std::abort(); // a full frame's worth is never "incomplete"
            break;
        case TWInstanceFrame::Status::Invalid:
            break;
        }
    }
    return 0;
}
