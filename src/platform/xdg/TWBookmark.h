// SPDX-License-Identifier: MIT
// Bookmarks of desktop entries: a small record that finds an application's entry again after it
// moved or was replaced (its path, its desktop-entry ID and its file identity).
#pragma once

#include "TWDesktopEntryIndex.h"
#include "TWPropertyList.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct TWBookmarkRecord {
    std::string path;
    std::string id;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    bool operator==(const TWBookmarkRecord&) const = default;
};

class TWBookmark {
  public:
    // Bookmark data for the file at `path`, whose desktop-entry ID is `id`; none when the file
    // is not there.
    static std::optional<TWPlistData> create(const std::string& path, const std::string& id);
    // The record held by `data`; none when it is not bookmark data (or larger than any
    // bookmark).
    static std::optional<TWBookmarkRecord> parse(const TWPlistData& data);
    static TWPlistData serialize(const TWBookmarkRecord& record);
};

// Turns bookmarks back into paths: the same file when it is still where it was, else the
// application entry with the same ID on the data path, else nothing.
class TWBookmarkResolver {
  public:
    explicit TWBookmarkResolver(std::vector<std::string> dataDirectories);
    ~TWBookmarkResolver();
    std::optional<std::string> resolve(const TWPlistData& data);

  private:
    std::vector<std::string> dataDirectories_;
    // Built on the first bookmark whose entry moved into a subfolder, then reused.
    std::unique_ptr<TWDesktopEntryIndex> index_;
};
