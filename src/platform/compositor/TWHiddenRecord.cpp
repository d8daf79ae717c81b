// SPDX-License-Identifier: MIT
// The hidden-window record file: one "window position since confirmed" line per mark.
#include "TWHiddenRecord.h"

#include "TWBaseDirectories.h"
#include "TWLog.h"

#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
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

// What holds the lock on `fd`'s file, as /proc/locks names it: "program (pid N)", or empty.
std::string lockHolder(int fd) {
    struct stat st {};
    if (::fstat(fd, &st) != 0)
        return {};
    std::ifstream locks("/proc/locks");
    std::string line;
    while (std::getline(locks, line)) {
        // "1: FLOCK  ADVISORY  WRITE 1234 08:01:5678 0 EOF"
        std::istringstream fields(line);
        std::string number, kind, mode, access, device;
        long pid = 0;
        if (!(fields >> number >> kind >> mode >> access >> pid >> device) || kind != "FLOCK")
            continue;
        auto last = device.rfind(':');
        if (last == std::string::npos ||
            std::strtoull(device.c_str() + last + 1, nullptr, 10) != st.st_ino)
            continue;
        std::ifstream comm("/proc/" + std::to_string(pid) + "/comm");
        std::string name;
        std::getline(comm, name);
        return (name.empty() ? "process" : name) + " (pid " + std::to_string(pid) + ")";
    }
    return {};
}

// Holds an exclusive lock on the record's lock file for as long as it lives, waiting at most
// `wait` for another holder; `why` says why not when it could not.
class Lock {
  public:
    Lock(const std::string& path, std::chrono::milliseconds wait, std::string& why) {
        const std::string lockPath = path + ".lock";
        fd_ = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (fd_ < 0) {
            why = "cannot open " + lockPath + ": " + std::strerror(errno);
            return;
        }
        const auto end = std::chrono::steady_clock::now() + wait;
        while (flock(fd_, LOCK_EX | LOCK_NB) != 0) {
            if (errno == EINTR)
                continue;
            if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() >= end) {
                if (errno == EWOULDBLOCK) {
                    const std::string holder = lockHolder(fd_);
                    why = lockPath + " is held by " +
                          (holder.empty() ? std::string("another process") : holder);
                } else {
                    why = "cannot lock " + lockPath + ": " + std::strerror(errno);
                }
                ::close(fd_);
                fd_ = -1;
                return;
            }
            // Tidewell's processes hold it for a read and a write of a small file.
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
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
    // Once a wait ran out, the lock is tried without waiting for a while: an action changing
    // the record several times is kept waiting once.
    const auto now = std::chrono::steady_clock::now();
    std::string why;
    Lock lock(path_, now < busyUntil_ ? std::chrono::milliseconds(0) : kLockWait, why);
    if (!lock.held()) {
        busyUntil_ = now + kBusyPause;
        TWLog(LOG_ERR, kLogClass, "the record of hidden windows is left as it is: " + why);
        return false;
    }
    busyUntil_ = {};
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
