// SPDX-License-Identifier: MIT
// Registrations of Tidewell's own processes: one small file per process in a per-user directory.
#include "TWProcessRegistry.h"

#include "TWBaseDirectories.h"
#include "TWLog.h"
#include "TWProcessTable.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

constexpr const char* kLogClass = "TWProcessRegistry";

namespace {

// The kernel's start time of `pid`, empty when the process is gone. Stored with each
// registration so that a reused pid is not mistaken for ours.
std::string processStartTime(int pid) {
    return TWProcessTable::statField(pid, 22);
}

std::string entryPath(const std::string& dir, int pid) {
    return dir + "/" + std::to_string(pid) + ".process";
}

struct ParsedEntry {
    TWRegisteredProcess process;
    std::string startTime;
    long long sequence = 0;
};

bool parseEntry(const std::string& path, ParsedEntry& out) {
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        auto eq = line.find('=');
        if (eq == std::string::npos)
            continue;
        std::string key = line.substr(0, eq), value = line.substr(eq + 1);
        if (key == "pid")
            out.process.pid = std::atoi(value.c_str());
        else if (key == "bundleID")
            out.process.bundleIdentifier = value;
        else if (key == "name")
            out.process.name = value;
        else if (key == "policy")
            out.process.activationPolicy = std::atoi(value.c_str());
        else if (key == "start")
            out.startTime = value;
        else if (key == "sequence")
            out.sequence = std::atoll(value.c_str());
    }
    return out.process.pid > 0 && !out.process.bundleIdentifier.empty();
}

// Names and identifiers are single lines; anything else would corrupt the record.
std::string oneLine(std::string s) {
    std::replace(s.begin(), s.end(), '\n', ' ');
    std::replace(s.begin(), s.end(), '\r', ' ');
    return s;
}

} // namespace

std::string TWProcessRegistry::registryDirectory() {
    std::string problem;
    std::string dir = TWBaseDirectories::privateRuntimeDirectory(&problem);
    if (dir.empty())
        TWLog(LOG_ERR, kLogClass, "cannot use the runtime directory: " + problem);
    return dir;
}

void TWProcessRegistry::registerCurrentProcess(const std::string& bundleID, const std::string& name,
                                               int activationPolicy) {
    std::string dir = registryDirectory();
    if (dir.empty())
        return;
    int pid = getpid();
    struct timespec now {};
    clock_gettime(CLOCK_REALTIME, &now);
    long long sequence = static_cast<long long>(now.tv_sec) * 1000000000LL + now.tv_nsec;
    std::string path = entryPath(dir, pid);
    std::string temp = path + ".tmp";
    {
        std::ofstream out(temp, std::ios::trunc);
        out << "pid=" << pid << "\nbundleID=" << oneLine(bundleID) << "\nname=" << oneLine(name)
            << "\npolicy=" << activationPolicy << "\nstart=" << processStartTime(pid)
            << "\nsequence=" << sequence << "\n";
        if (!out) {
            TWLog(LOG_ERR, kLogClass, "cannot write " + temp);
            std::remove(temp.c_str());
            return;
        }
    }
    // Readers never see a half-written record.
    if (std::rename(temp.c_str(), path.c_str()) != 0) {
        TWLog(LOG_ERR, kLogClass, "cannot write " + path + ": " + std::strerror(errno));
        std::remove(temp.c_str());
    }
}

void TWProcessRegistry::unregisterCurrentProcess() {
    std::string dir = registryDirectory();
    if (!dir.empty())
        std::remove(entryPath(dir, getpid()).c_str());
}

std::vector<TWRegisteredProcess> TWProcessRegistry::registeredProcesses() {
    std::vector<ParsedEntry> entries;
    std::string dir = registryDirectory();
    if (dir.empty())
        return {};
    DIR* d = opendir(dir.c_str());
    if (!d)
        return {};
    while (dirent* e = readdir(d)) {
        std::string file = e->d_name;
        const std::string suffix = ".process";
        if (file.size() <= suffix.size() ||
            file.compare(file.size() - suffix.size(), suffix.size(), suffix) != 0)
            continue;
        std::string path = dir + "/" + file;
        ParsedEntry entry;
        if (!parseEntry(path, entry)) {
            TWLog(LOG_WARNING, kLogClass, "ignoring the unreadable registration " + path);
            continue;
        }
        std::string start = processStartTime(entry.process.pid);
        if (start.empty() || (!entry.startTime.empty() && start != entry.startTime)) {
            std::remove(path.c_str());
            continue;
        }
        entries.push_back(std::move(entry));
    }
    closedir(d);
    std::sort(entries.begin(), entries.end(), [](const ParsedEntry& a, const ParsedEntry& b) {
        return a.sequence != b.sequence ? a.sequence < b.sequence : a.process.pid < b.process.pid;
    });
    std::vector<TWRegisteredProcess> result;
    for (auto& e : entries)
        result.push_back(std::move(e.process));
    return result;
}
