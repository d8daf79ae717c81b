// SPDX-License-Identifier: MIT
// Desktop entries: any file parses as an entry or is refused; any Exec value splits into a
// command line without field codes.
#include "TWDesktopEntryIndex.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string path = [] {
        std::string p = (access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") +
                        std::string("/tw-desktop-entry-fuzz-") + std::to_string(getpid()) +
                        ".desktop";
        return p;
    }();
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (FILE* f = std::fopen(path.c_str(), "wb")) {
        std::fwrite(text.data(), 1, text.size(), f);
        std::fclose(f);
        if (auto entry = TWDesktopEntryIndex::parseFile(path, "fuzz")) {
            (void)TWDesktopEntryIndex::commandLineFromExec(entry->exec);
            (void)TWDesktopEntryIndex::localizedName(*entry, "de_AT.UTF-8@euro");
        }
    }
    for (const std::string& argument : TWDesktopEntryIndex::commandLineFromExec(text))
        if (argument.size() > text.size())
            std::abort();
    return 0;
}
