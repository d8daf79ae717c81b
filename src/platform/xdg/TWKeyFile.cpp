// SPDX-License-Identifier: MIT
// Splitting a key file into group headers and entries.
#include "TWKeyFile.h"

#include "TWLog.h"

#include <cerrno>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

constexpr const char* kLogClass = "TWKeyFile";

namespace {

// The whole file, when it is a regular file no larger than the limit. Opened without blocking
// (a FIFO named like an entry would otherwise stop the reader for good) and read no further than
// the limit (a link to /dev/zero or a huge file costs at most that much).
bool readBounded(const std::string& path, std::string& text) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0)
        return false;
    struct stat st {};
    bool ok = fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
    if (!ok)
        TWLog(LOG_NOTICE, kLogClass, "skipped " + path + ": not a regular file");
    char buffer[16384];
    while (ok) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            ok = n == 0;
            break;
        }
        if (text.size() + static_cast<size_t>(n) > TWKeyFile::kMaxFileSize) {
            TWLog(LOG_NOTICE, kLogClass,
                  "skipped " + path + ": larger than " + std::to_string(TWKeyFile::kMaxFileSize) +
                      " bytes");
            ok = false;
            break;
        }
        text.append(buffer, static_cast<size_t>(n));
    }
    ::close(fd);
    return ok;
}

} // namespace

bool TWKeyFile::read(
    const std::string& path, const std::function<void(const std::string&)>& group,
    const std::function<void(const std::string& key, const std::string& value)>& entry) {
    std::string text;
    if (!readBounded(path, text))
        return false;
    std::string_view rest = text;
    while (!rest.empty()) {
        const size_t end = rest.find('\n');
        std::string line(rest.substr(0, end));
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (line.empty() || line[0] == '#')
            continue;
        if (line[0] == '[') {
            const auto close = line.find(']');
            group(line.substr(1, close == std::string::npos ? std::string::npos : close - 1));
            continue;
        }
        const auto eq = line.find('=');
        if (eq == std::string::npos)
            continue;
        std::string key = line.substr(0, eq);
        while (!key.empty() && key.back() == ' ')
            key.pop_back();
        const auto start = line.find_first_not_of(' ', eq + 1);
        entry(key, start == std::string::npos ? std::string() : line.substr(start));
    }
    return true;
}
