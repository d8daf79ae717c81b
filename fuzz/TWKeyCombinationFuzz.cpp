// SPDX-License-Identifier: MIT
// Key combinations' portable text (the shortcut settings, edited by hand and synced between
// machines): any text parses or is refused without a crash; a parsed combination has one key,
// and its own text parses back to the same combination.
#include "TWKeyCombination.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto combination = TWKeyCombination::parse(text);
    if (!combination)
        return 0;
    if (combination->key.empty())
        std::abort();
    const std::string normal = combination->text();
    const auto again = TWKeyCombination::parse(normal);
    if (!again || *again != *combination || again->text() != normal)
        std::abort();
    (void)combination->isGlobalShortcut();
    (void)combination->keySymbolName();
    return 0;
}
