// SPDX-License-Identifier: MIT
// The update server's answer: any body gives one of the three outcomes, and a download link is
// offered only for an https URL on the update host.
#include "QFSimpleUpdater.h"
#include "TWLog.h"

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = (TWSetLogSink([](const std::string&) {}), true);
    (void)quiet;
    const std::string body(reinterpret_cast<const char*>(data), size);
    const TWError result = QFSimpleUpdater::resultForResponse(
        body, std::string("Tidewell"), "https://updates.quillfen.net/updates/simpleupdate.php");
    if (!result.stringForKey(TWLocalizedDescriptionKey))
        std::abort();
    if (const auto link = result.stringForKey(TWURLErrorKey)) {
        std::string lower = link->substr(0, 30);
        for (char& c : lower)
            c = char(std::tolower(static_cast<unsigned char>(c)));
        if (*link != body || lower.rfind("https://", 0) != 0)
            std::abort();
    }
    return 0;
}
