// SPDX-License-Identifier: MIT
// The entry point of tidewell: a later start hands its request over at once (TWFastHandOver);
// only a start that has more to do loads the application (Qt and the desktop backends, in the
// tidewell-app module beside the program's libraries) and runs it.
#include "TWFastHandOver.h"

#include <cstdio>
#include <dlfcn.h>
#include <filesystem>
#include <string>

int main(int argc, char** argv) {
    if (const std::optional<int> status = TWFastHandOver::run(argc, argv))
        return *status;
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::string module =
        (self.parent_path() / TIDEWELL_MODULE_FROM_PROGRAM).lexically_normal().string();
    void* handle = dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
    using Entry = int (*)(int, char**);
    auto entry = handle ? reinterpret_cast<Entry>(dlsym(handle, "tidewell_main")) : nullptr;
    if (!entry) {
        std::fprintf(stderr, "tidewell: cannot load the application: %s\n", dlerror());
        return 1;
    }
    return entry(argc, argv);
}
