// SPDX-License-Identifier: MIT
// Settings-file reader: any bytes (XML or binary property list) read as a dictionary or are
// refused with a reason, never crash or hang.
#include "TWLog.h"
#include "TWPlistFileStore.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = (TWSetLogSink([](const std::string&) {}), true);
    (void)quiet;
    TWPlistDictionary values;
    std::string why;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (!TWPlistFileStore::parseDictionary(bytes, values, why) && why.empty())
        std::abort(); // a refusal always says why
    return 0;
}
