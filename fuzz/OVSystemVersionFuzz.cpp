// SPDX-License-Identifier: MIT
// Version strings: any text parses; the canonical text parses back to an equal version, and
// the order is consistent between two versions.
#include "OVSystemVersion.h"
#include "TWLog.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = (TWSetLogSink([](const std::string&) {}), true);
    (void)quiet;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto split = text.find('\n');
    const OVSystemVersion a(text.substr(0, split));
    const OVSystemVersion b(split == std::string_view::npos ? std::string_view("10.6")
                                                            : text.substr(split + 1));
    if (!(OVSystemVersion(a.string()) == a))
        std::abort();
    const OVComparisonResult ab = a.compare(b);
    const OVComparisonResult ba = b.compare(a);
    if (static_cast<int>(ab) != -static_cast<int>(ba))
        std::abort();
    if (a.isGreaterThanOrEqualToSystemVersion(b) != (static_cast<int>(ab) >= 0))
        std::abort();
    (void)a.description();
    (void)a.hash();
    return 0;
}
