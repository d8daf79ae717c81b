// SPDX-License-Identifier: MIT
// The line grammar of freedesktop key files: desktop entries, mimeapps.list, mimeinfo.cache.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

class TWKeyFile {
  public:
    // The most of a key file that is read: far above any real desktop entry or list.
    static constexpr size_t kMaxFileSize = 1024 * 1024;
    // Calls `group` with the name of each [group] header and `entry` with each key=value line
    // (spaces around '=' dropped, values left escaped), in file order; comments and blank lines
    // are skipped. False when `path` cannot be read, is not a regular file (it is never waited
    // for) or is larger than kMaxFileSize.
    static bool
    read(const std::string& path, const std::function<void(const std::string&)>& group,
         const std::function<void(const std::string& key, const std::string& value)>& entry);
};
