// SPDX-License-Identifier: MIT
// Reading /proc/<pid>/cmdline and /proc/<pid>/stat.
#include "TWProcessTable.h"

#include <fstream>
#include <sstream>

std::string TWProcessTable::programName(int pid) {
    if (pid <= 0)
        return {};
    std::ifstream in("/proc/" + std::to_string(pid) + "/cmdline");
    std::string argv0;
    if (!in || !std::getline(in, argv0, '\0'))
        return {};
    auto slash = argv0.rfind('/');
    return slash == std::string::npos ? argv0 : argv0.substr(slash + 1);
}

std::string TWProcessTable::statField(int pid, int field) {
    if (pid <= 0 || field < 3)
        return {};
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string stat;
    if (!in || !std::getline(in, stat))
        return {};
    // The command name (field 2) may hold spaces and parentheses: field 3 follows the last ')'.
    auto close = stat.rfind(')');
    if (close == std::string::npos)
        return {};
    std::istringstream fields(stat.substr(close + 1));
    std::string value;
    for (int i = 3; fields >> value; ++i)
        if (i == field)
            return value;
    return {};
}
