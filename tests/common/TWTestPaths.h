// SPDX-License-Identifier: MIT
// Where test and benchmark programs find the project's programs and files (CTest's or build/bin).
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

// The absolute path of one of the project's programs (tidewell, tidewellctl, ...).
inline std::string TWTestProgramPath(const std::string& name) {
    if (const char* bin = std::getenv("TIDEWELL_BINARY_DIR"); bin && *bin)
        return std::filesystem::absolute(std::filesystem::path(bin) / "bin" / name);
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    return std::filesystem::absolute((error ? std::filesystem::path(".") : self.parent_path()) /
                                     name);
}

// The whole contents of a file, empty when it cannot be read.
inline std::string TWReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Replaces a file's contents with `bytes`.
inline void TWWriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

// A private temporary directory, removed with the object; `memory`: in /dev/shm where there is
// one, for tests that sync thousands of times.
struct TWTempDir {
    std::filesystem::path path;
    explicit TWTempDir(const std::string& name, bool memory = false) {
        std::string pattern =
            (memory && std::filesystem::is_directory("/dev/shm") ? "/dev/shm/" : "/tmp/") + name +
            "-XXXXXX";
        path = mkdtemp(pattern.data()) ? pattern : "";
    }
    ~TWTempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

// A file of the source tree, by its path from the tree's root.
inline std::string TWTestSourcePath(const std::string& relative) {
    if (const char* source = std::getenv("TIDEWELL_SOURCE_DIR"); source && *source)
        return std::string(source) + "/" + relative;
#ifdef TIDEWELL_TEST_SOURCE_DIR
    return std::string(TIDEWELL_TEST_SOURCE_DIR) + "/" + relative;
#else
    return relative;
#endif
}
