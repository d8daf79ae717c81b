// SPDX-License-Identifier: MIT
// The hidden-window record file: one "window position since confirmed" line per mark.
#include "TWHiddenRecord.h"

#include "TWBaseDirectories.h"
#include "TWLog.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/file.h>
#include <unistd.h>

constexpr const char* kLogClass = "TWHiddenRecord";

namespace {

std::string safeName(const std::string& name) {
    std::string out;
    for (char c : name)
        out += (std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' || c == '.')
                   ? c
                   : '_';
    return out.empty() ? "wayland" : out;
}

TWHiddenMarks parseLines(std::istream& in) {
    TWHiddenMarks marks;
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string uuid;
        TWHiddenMark mark;
        int confirmed = 0;
        if (fields >> uuid >> mark.position >> mark.since >> confirmed) {
            mark.confirmed = confirmed != 0;
            marks[uuid] = mark;
        }
    }
    return marks;
}

// Holds an exclusive lock on the record's lock file for as long as it lives.
class Lock {
  public:
    explicit Lock(const std::string& path) {
        fd_ = ::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (fd_ >= 0 && flock(fd_, LOCK_EX) != 0) {
            ::close(fd_);
            fd_ = -1;
        }
    }
    ~Lock() {
        if (fd_ >= 0)
            ::close(fd_);
    }
    bool held() const { return fd_ >= 0; }

  private:
    int fd_ = -1;
};

} // namespace

TWHiddenRecord::TWHiddenRecord(const std::string& name) {
    // Beside the process registrations, in the runtime directory, not through them.
    std::string problem;
    std::string dir = TWBaseDirectories::privateRuntimeDirectory(&problem);
    if (dir.empty())
        TWLog(LOG_ERR, kLogClass, "cannot use the runtime directory: " + problem);
    else
        path_ = dir + "/" + safeName(name);
}

TWHiddenRecord TWHiddenRecord::atPath(const std::string& path) {
    TWHiddenRecord record;
    record.path_ = path;
    return record;
}

TWHiddenMarks TWHiddenRecord::parse(std::string_view text) {
    std::istringstream in{std::string(text)};
    return parseLines(in);
}

long long TWHiddenRecord::now() {
    return static_cast<long long>(std::time(nullptr));
}

TWHiddenMarks TWHiddenRecord::read() const {
    if (path_.empty())
        return {};
    std::ifstream in(path_);
    return parseLines(in);
}

bool TWHiddenRecord::update(const std::function<void(TWHiddenMarks&)>& change) const {
    if (path_.empty())
        return false;
    Lock lock(path_);
    if (!lock.held()) {
        TWLog(LOG_ERR, kLogClass, "cannot lock " + path_ + ": " + std::strerror(errno));
        return false;
    }
    TWHiddenMarks before = read();
    TWHiddenMarks after = before;
    change(after);
    if (after == before)
        return true;
    if (after.empty()) {
        std::remove(path_.c_str());
        return true;
    }
    // Written aside and renamed: a reader without the lock never sees half a record.
    std::string temp = path_ + ".tmp";
    {
        std::ofstream out(temp, std::ios::trunc);
        for (const auto& [uuid, mark] : after)
            out << uuid << ' ' << mark.position << ' ' << mark.since << ' '
                << (mark.confirmed ? 1 : 0) << '\n';
        if (!out) {
            TWLog(LOG_ERR, kLogClass, "cannot write " + temp);
            std::remove(temp.c_str());
            return false;
        }
    }
    if (std::rename(temp.c_str(), path_.c_str()) != 0) {
        TWLog(LOG_ERR, kLogClass, "cannot write " + path_ + ": " + std::strerror(errno));
        std::remove(temp.c_str());
        return false;
    }
    return true;
}

void TWHiddenRecord::prune(TWHiddenMarks& marks,
                           const std::function<std::optional<bool>(const std::string&)>& minimized,
                           long long now, long long grace) {
    for (auto it = marks.begin(); it != marks.end();) {
        const std::optional<bool> w = minimized(it->first);
        bool drop = false;
        if (!w)
            drop = true;
        else if (*w)
            it->second.confirmed = true;
        else
            drop = it->second.confirmed || now - it->second.since > grace;
        it = drop ? marks.erase(it) : std::next(it);
    }
}
