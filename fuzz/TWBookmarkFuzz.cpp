// SPDX-License-Identifier: MIT
// Exclusion-list bookmark records: any bytes parse as a record or are refused; a record that
// parses serialises back to bytes that parse to the same record, and resolving it never fails
// in another way than "not found".
#include "TWBookmark.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const TWPlistData bytes(data, data + size);
    const std::optional<TWBookmarkRecord> record = TWBookmark::parse(bytes);
    if (!record)
        return 0;
    if (TWBookmark::parse(TWBookmark::serialize(*record)) != record)
        std::abort();
    // Resolved against a data path without applications: only the recorded file can answer.
    static TWBookmarkResolver resolver({"/nonexistent-tidewell-fuzz"});
    (void)resolver.resolve(bytes);
    return 0;
}
