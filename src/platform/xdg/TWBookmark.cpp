// SPDX-License-Identifier: MIT
// Bookmarks of desktop entries: a versioned text record, and its resolution.
#include "TWBookmark.h"

#include <charconv>
#include <sys/stat.h>

namespace {

constexpr std::string_view magic = "tidewell-bookmark 1\n";
// Far above any real record (two paths' worth); anything larger is not ours.
constexpr size_t maximumSize = 16384;

// Values are one line each: newlines and backslashes are escaped.
std::string escape(const std::string& value) {
    std::string out;
    for (char c : value) {
        if (c == '\\')
            out += "\\\\";
        else if (c == '\n')
            out += "\\n";
        else
            out += c;
    }
    return out;
}

std::optional<std::string> unescape(std::string_view value) {
    std::string out;
    for (size_t i = 0; i < value.size(); ++i) {
        if (value[i] != '\\') {
            out += value[i];
            continue;
        }
        if (++i == value.size())
            return std::nullopt;
        if (value[i] == 'n')
            out += '\n';
        else if (value[i] == '\\')
            out += '\\';
        else
            return std::nullopt;
    }
    return out;
}

bool parseNumber(std::string_view text, std::uint64_t& number) {
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && !text.empty();
}

bool isRegularFile(const std::string& path, struct stat& st) {
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

} // namespace

std::optional<TWPlistData> TWBookmark::create(const std::string& path, const std::string& id) {
    struct stat st {};
    if (path.empty() || path[0] != '/' || !isRegularFile(path, st))
        return std::nullopt;
    return serialize(
        {path, id, static_cast<std::uint64_t>(st.st_dev), static_cast<std::uint64_t>(st.st_ino)});
}

TWPlistData TWBookmark::serialize(const TWBookmarkRecord& record) {
    std::string text(magic);
    text += "path=" + escape(record.path) + "\n";
    text += "id=" + escape(record.id) + "\n";
    text += "file=" + std::to_string(record.device) + ":" + std::to_string(record.inode) + "\n";
    return TWPlistData(text.begin(), text.end());
}

std::optional<TWBookmarkRecord> TWBookmark::parse(const TWPlistData& data) {
    if (data.size() > maximumSize)
        return std::nullopt;
    const std::string_view text(reinterpret_cast<const char*>(data.data()), data.size());
    if (text.substr(0, magic.size()) != magic)
        return std::nullopt;
    TWBookmarkRecord record;
    bool havePath = false, haveID = false, haveFile = false;
    size_t start = magic.size();
    while (start < text.size()) {
        const size_t end = text.find('\n', start);
        if (end == std::string_view::npos)
            return std::nullopt; // every line ends with a newline
        const std::string_view line = text.substr(start, end - start);
        start = end + 1;
        const size_t equals = line.find('=');
        if (equals == std::string_view::npos)
            return std::nullopt;
        const std::string_view key = line.substr(0, equals), value = line.substr(equals + 1);
        if (key == "path" || key == "id") {
            std::optional<std::string> unescaped = unescape(value);
            if (!unescaped)
                return std::nullopt;
            (key == "path" ? record.path : record.id) = std::move(*unescaped);
            (key == "path" ? havePath : haveID) = true;
        } else if (key == "file") {
            const size_t colon = value.find(':');
            if (colon == std::string_view::npos ||
                !parseNumber(value.substr(0, colon), record.device) ||
                !parseNumber(value.substr(colon + 1), record.inode))
                return std::nullopt;
            haveFile = true;
        }
        // Keys of later versions are skipped.
    }
    if (!havePath || !haveID || !haveFile || record.path.empty() || record.path[0] != '/')
        return std::nullopt;
    return record;
}

TWBookmarkResolver::TWBookmarkResolver(std::vector<std::string> dataDirectories)
    : dataDirectories_(std::move(dataDirectories)) {}

TWBookmarkResolver::~TWBookmarkResolver() = default;

std::optional<std::string> TWBookmarkResolver::resolve(const TWPlistData& data) {
    const std::optional<TWBookmarkRecord> record = TWBookmark::parse(data);
    if (!record)
        return std::nullopt;
    struct stat st {};
    if (isRegularFile(record->path, st) && st.st_dev == record->device &&
        st.st_ino == record->inode)
        return record->path;
    if (record->id.empty() || record->id.find('/') != std::string::npos)
        return std::nullopt;
    // The entry with that ID: first where an ID without subfolders lives, then (rarely) through
    // the whole index, which knows the IDs of entries in subfolders.
    for (const std::string& dir : dataDirectories_) {
        const std::string candidate = dir + "/applications/" + record->id + ".desktop";
        if (isRegularFile(candidate, st) && TWDesktopEntryIndex::parseFile(candidate, record->id))
            return candidate;
    }
    if (!index_)
        index_ = std::make_unique<TWDesktopEntryIndex>(dataDirectories_);
    if (const TWDesktopEntry* entry = index_->entryForID(record->id))
        return entry->path;
    return std::nullopt;
}
