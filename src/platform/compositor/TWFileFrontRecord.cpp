// SPDX-License-Identifier: MIT
// The front-application record file: the identifier on one line.
#include "TWFileFrontRecord.h"

#include "TWBaseDirectories.h"
#include "TWLog.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <unistd.h>

constexpr const char* kLogClass = "TWFileFrontRecord";

TWFileFrontRecord::TWFileFrontRecord(const std::string& name) {
    std::string problem;
    const std::string dir = TWBaseDirectories::privateRuntimeDirectory(&problem);
    if (dir.empty()) {
        TWLog(LOG_ERR, kLogClass, "cannot use the runtime directory: " + problem);
        return;
    }
    std::string file;
    for (char c : name)
        file += std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' || c == '.'
                    ? c
                    : '_';
    path_ = dir + "/" + file;
}

std::optional<std::string> TWFileFrontRecord::read() {
    std::ifstream in(path_);
    std::string id;
    if (path_.empty() || !std::getline(in, id) || id.empty())
        return std::nullopt;
    return id;
}

void TWFileFrontRecord::write(const std::string& bundleID) {
    if (path_.empty() || bundleID.find('\n') != std::string::npos)
        return;
    // Each writer its own file aside: two processes writing at once never mix their lines.
    const std::string temp = path_ + "." + std::to_string(::getpid()) + ".tmp";
    {
        std::ofstream out(temp, std::ios::trunc);
        out << bundleID << '\n';
        if (!out) {
            TWLog(LOG_WARNING, kLogClass, "cannot write " + temp);
            std::remove(temp.c_str());
            return;
        }
    }
    if (std::rename(temp.c_str(), path_.c_str()) != 0) {
        TWLog(LOG_WARNING, kLogClass, "cannot write " + path_ + ": " + std::strerror(errno));
        std::remove(temp.c_str());
    }
}
