// SPDX-License-Identifier: MIT
// Splitting a key file into group headers and entries.
#include "TWKeyFile.h"

#include <fstream>

bool TWKeyFile::read(
    const std::string& path, const std::function<void(const std::string&)>& group,
    const std::function<void(const std::string& key, const std::string& value)>& entry) {
    std::ifstream in(path);
    if (!in)
        return false;
    std::string line;
    while (std::getline(in, line)) {
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
