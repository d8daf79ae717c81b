// SPDX-License-Identifier: MIT
// The hidden-window record's text (a file every Tidewell process of the session rewrites): any
// text parses without a crash, and the marks read back from their own lines are the same marks.
#include "TWHiddenRecord.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const TWHiddenMarks marks =
        TWHiddenRecord::parse(std::string_view(reinterpret_cast<const char*>(data), size));
    std::string lines;
    for (const auto& [window, mark] : marks) {
        if (window.empty() || window.find_first_of(" \t\n\v\f\r") != std::string::npos)
            std::abort();
        lines += window + " " + std::to_string(mark.position) + " " + std::to_string(mark.since) +
                 " " + (mark.confirmed ? "1" : "0") + "\n";
    }
    if (TWHiddenRecord::parse(lines) != marks)
        std::abort();
    return 0;
}
