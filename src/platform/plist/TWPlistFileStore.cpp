// SPDX-License-Identifier: MIT
// A settings store kept in one XML property-list file that several processes share.
#include "TWPlistFileStore.h"

#include "TWLog.h"
#include "TWStorePaths.h"
#include "TWUserDefaults.h"

#include <plist/plist.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

constexpr const char* kLogClass = "TWPlistFileStore";

namespace {

// Deeper nesting than any settings value needs; a file beyond it is treated as damaged rather
// than risking the stack on hostile input.
constexpr int kMaxDepth = 256;

// Files larger than this are not settings; libplist also takes 32-bit lengths.
constexpr off_t kMaxFileSize = off_t(64) << 20;

// Nodes a file may expand to once every reference of a binary file is followed; settings hold
// a few hundred. Shared references could otherwise make a small file expand exponentially.
constexpr std::uint64_t kMaxNodes = std::uint64_t(1) << 20;

// The property-list library recurses once per nesting level (its own depth check comes too
// late for a file nested a hundred thousand levels) and asserts on a NUL inside an XML string.
// The structure is therefore checked here, in bounded time and constant stack, before the
// library sees the bytes.

// XML: no NUL byte (XML has no way to carry one) and no element nested deeper than the values
// may be (the <plist> element and a leaf sit around kMaxDepth containers).
bool xmlShapeIsSafe(std::string_view xml, std::string& why) {
    if (xml.find('\0') != std::string_view::npos) {
        why = "it holds a NUL byte";
        return false;
    }
    auto skipPast = [&](size_t from, std::string_view end) {
        size_t at = xml.find(end, from);
        return at == std::string_view::npos ? xml.size() : at + end.size();
    };
    int depth = 0;
    size_t i = 0;
    while ((i = xml.find('<', i)) != std::string_view::npos) {
        std::string_view rest = xml.substr(i);
        if (rest.starts_with("<!--")) {
            i = skipPast(i + 4, "-->");
        } else if (rest.starts_with("<![CDATA[")) {
            i = skipPast(i + 9, "]]>");
        } else if (rest.starts_with("<?")) {
            i = skipPast(i + 2, "?>");
        } else if (rest.starts_with("</")) {
            --depth;
            i = skipPast(i + 2, ">");
        } else {
            // Finds the end of the tag, stepping over quoted attribute values.
            char quote = 0;
            size_t j = i + 1;
            for (; j < xml.size(); ++j) {
                char c = xml[j];
                if (quote) {
                    if (c == quote)
                        quote = 0;
                } else if (c == '"' || c == '\'') {
                    quote = c;
                } else if (c == '>') {
                    break;
                }
            }
            bool selfClosing = j < xml.size() && xml[j - 1] == '/';
            if (!selfClosing && !rest.starts_with("<!") && ++depth > kMaxDepth + 2) {
                why = "it is nested deeper than " + std::to_string(kMaxDepth) + " levels";
                return false;
            }
            i = j < xml.size() ? j + 1 : xml.size();
        }
    }
    return true;
}

std::uint64_t bigEndian(const unsigned char* p, unsigned size) {
    std::uint64_t v = 0;
    for (unsigned k = 0; k < size; ++k)
        v = (v << 8) | p[k];
    return v;
}

// Binary: a trailer, an offset table and references that stay inside the file, no cycle, no
// container nested deeper than kMaxDepth, and no more than kMaxNodes once references are
// followed. Anything the check cannot make sense of is left to the library's own checks only
// when it cannot hurt: a malformed container is refused here.
bool binaryShapeIsSafe(std::string_view file, std::string& why) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(file.data());
    const std::uint64_t size = file.size();
    auto damaged = [&](const char* what) {
        why = std::string("damaged binary property list (") + what + ")";
        return false;
    };
    if (size < 8 + 32)
        return damaged("too short");
    const unsigned char* trailer = bytes + size - 32;
    const unsigned offsetSize = trailer[6];
    const unsigned refSize = trailer[7];
    const std::uint64_t count = bigEndian(trailer + 8, 8);
    const std::uint64_t top = bigEndian(trailer + 16, 8);
    const std::uint64_t tableAt = bigEndian(trailer + 24, 8);
    const std::uint64_t end = size - 32;
    if (offsetSize < 1 || offsetSize > 8 || refSize < 1 || refSize > 8)
        return damaged("field sizes");
    if (count == 0 || top >= count || tableAt < 8 || tableAt > end ||
        count > (end - tableAt) / offsetSize)
        return damaged("offset table");

    // Where object `index` keeps its references, and how many it has; false when malformed.
    auto references = [&](std::uint64_t index, std::uint64_t& first, std::uint64_t& n) {
        const std::uint64_t at = bigEndian(bytes + tableAt + index * offsetSize, offsetSize);
        if (at < 8 || at >= tableAt)
            return false;
        const unsigned marker = bytes[at];
        const unsigned type = marker >> 4;
        const bool text = type == 0x5 || type == 0x6 || type == 0x7;
        n = 0;
        if (!text && type != 0xA && type != 0xB && type != 0xC && type != 0xD)
            return true; // neither a text nor a container
        std::uint64_t pos = at + 1;
        n = marker & 0xF;
        if (n == 0xF) {
            if (pos >= tableAt || (bytes[pos] >> 4) != 0x1 || (bytes[pos] & 0xF) > 3)
                return false;
            const unsigned width = 1u << (bytes[pos] & 0xF);
            if (pos + 1 + width > tableAt)
                return false;
            n = bigEndian(bytes + pos + 1, width);
            pos += 1 + width;
        }
        if (text) {
            // The library asserts on a NUL inside a text (a key above all), as it does in XML:
            // such a file is refused, and so is a text that runs past the objects.
            const std::uint64_t unit = type == 0x6 ? 2 : 1;
            if (n > (tableAt - pos) / unit)
                return false;
            for (std::uint64_t k = 0; k < n; ++k) {
                const unsigned char* c = bytes + pos + k * unit;
                if (c[0] == 0 && (unit == 1 || c[1] == 0))
                    return false;
            }
            n = 0;
            return true;
        }
        if (type == 0xD)
            n *= 2; // keys, then values
        if (n > (tableAt - pos) / refSize)
            return false;
        first = pos;
        return true;
    };

    // Depth-first from the top object with an explicit stack; every object is examined once and
    // remembers its depth and the number of nodes it expands to.
    struct Seen {
        std::uint8_t state = 0; // 0 new, 1 on the stack, 2 done
        std::uint32_t depth = 0;
        std::uint64_t nodes = 0;
    };
    if (count > kMaxNodes)
        return damaged("too many objects");
    std::vector<Seen> seen(static_cast<size_t>(count));
    struct Frame {
        std::uint64_t index, first, n, next;
    };
    std::vector<Frame> stack;
    auto push = [&](std::uint64_t index) {
        Frame f{index, 0, 0, 0};
        if (!references(index, f.first, f.n))
            return false;
        seen[index].state = 1;
        seen[index].nodes = 1;
        stack.push_back(f);
        return true;
    };
    if (!push(top))
        return damaged("malformed object");
    auto tooMany = [&] {
        why = "it expands to more than " + std::to_string(kMaxNodes) + " values";
        return false;
    };
    while (!stack.empty()) {
        Frame& f = stack.back();
        const std::uint64_t parent = f.index;
        if (f.next == f.n) {
            seen[parent].state = 2;
            stack.pop_back();
            if (!stack.empty()) {
                Seen& up = seen[stack.back().index];
                up.depth = std::max(up.depth, seen[parent].depth + 1);
                up.nodes += seen[parent].nodes;
                if (up.nodes > kMaxNodes)
                    return tooMany();
            }
            continue;
        }
        const std::uint64_t child = bigEndian(bytes + f.first + f.next * refSize, refSize);
        ++f.next;
        if (child >= count)
            return damaged("reference out of range");
        const Seen& c = seen[child];
        if (c.state == 1)
            return damaged("circular reference");
        if (c.state == 2) {
            Seen& up = seen[parent];
            up.depth = std::max(up.depth, c.depth + 1);
            up.nodes += c.nodes;
            if (up.nodes > kMaxNodes)
                return tooMany();
        } else if (stack.size() > static_cast<size_t>(kMaxDepth)) {
            why = "it is nested deeper than " + std::to_string(kMaxDepth) + " levels";
            return false;
        } else if (!push(child)) {
            return damaged("malformed object");
        }
    }
    if (seen[top].depth > static_cast<std::uint32_t>(kMaxDepth)) {
        why = "it is nested deeper than " + std::to_string(kMaxDepth) + " levels";
        return false;
    }
    return true;
}

struct PlistDeleter {
    void operator()(void* p) const { plist_free(p); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

class Fd {
  public:
    explicit Fd(int fd = -1) : fd_(fd) {}
    ~Fd() { reset(); }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }
    void reset(int fd = -1) {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = fd;
    }

  private:
    int fd_;
};

std::string errnoText(int err) {
    return std::strerror(err);
}

long long mtimeNs(const struct stat& st) {
    return static_cast<long long>(st.st_mtim.tv_sec) * 1000000000LL + st.st_mtim.tv_nsec;
}

std::string directoryOf(const std::string& path) {
    auto slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    if (slash == 0)
        return "/";
    return path.substr(0, slash);
}

bool fromPlist(plist_t node, TWPlistValue& out, int depth);

bool dictFromPlist(plist_t node, TWPlistDictionary& out, int depth) {
    plist_dict_iter it = nullptr;
    plist_dict_new_iter(node, &it);
    if (!it)
        return true;
    bool ok = true;
    for (;;) {
        char* key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(node, it, &key, &value);
        if (!value) {
            std::free(key);
            break;
        }
        TWPlistValue converted;
        if (key && fromPlist(value, converted, depth + 1))
            out.insert_or_assign(out.end(), key, std::move(converted)); // keys usually come sorted
        else
            ok = false;
        std::free(key);
        if (!ok)
            break;
    }
    std::free(it);
    return ok;
}

bool fromPlist(plist_t node, TWPlistValue& out, int depth) {
    if (depth > kMaxDepth)
        return false;
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        uint8_t b = 0;
        plist_get_bool_val(node, &b);
        out = TWPlistValue(b != 0);
        return true;
    }
    case PLIST_UINT: {
        // Integers are stored as 64-bit patterns; settings use them signed.
        uint64_t u = 0;
        plist_get_uint_val(node, &u);
        out = TWPlistValue(static_cast<long long>(static_cast<std::int64_t>(u)));
        return true;
    }
    case PLIST_UID: {
        uint64_t u = 0;
        plist_get_uid_val(node, &u);
        out = TWPlistValue(static_cast<long long>(static_cast<std::int64_t>(u)));
        return true;
    }
    case PLIST_REAL: {
        double d = 0;
        plist_get_real_val(node, &d);
        out = TWPlistValue(d);
        return true;
    }
    case PLIST_STRING: {
        // By pointer and length: the copying accessor asserts on a string holding a NUL, which
        // a binary file may carry.
        uint64_t length = 0;
        const char* s = plist_get_string_ptr(node, &length);
        out = TWPlistValue(s ? std::string(s, static_cast<size_t>(length)) : std::string());
        return true;
    }
    case PLIST_KEY: {
        char* s = nullptr;
        plist_get_key_val(node, &s);
        out = TWPlistValue(std::string(s ? s : ""));
        std::free(s);
        return true;
    }
    case PLIST_DATA: {
        char* bytes = nullptr;
        uint64_t length = 0;
        plist_get_data_val(node, &bytes, &length);
        TWPlistData data(bytes, bytes + (bytes ? length : 0));
        std::free(bytes);
        out = TWPlistValue(std::move(data));
        return true;
    }
    case PLIST_DATE: {
        int32_t sec = 0;
        int32_t usec = 0;
        plist_get_date_val(node, &sec, &usec);
        out = TWPlistValue(TWPlistDate{static_cast<double>(sec) + usec / 1e6});
        return true;
    }
    case PLIST_ARRAY: {
        TWPlistArray array;
        uint32_t n = plist_array_get_size(node);
        array.reserve(n);
        for (uint32_t i = 0; i < n; ++i) {
            TWPlistValue element;
            if (!fromPlist(plist_array_get_item(node, i), element, depth + 1))
                return false;
            array.push_back(std::move(element));
        }
        out = TWPlistValue(std::move(array));
        return true;
    }
    case PLIST_DICT: {
        TWPlistDictionary dict;
        if (!dictFromPlist(node, dict, depth))
            return false;
        out = TWPlistValue(std::move(dict));
        return true;
    }
    default:
        return false;
    }
}

// The file format keeps dates as whole seconds in a signed 32-bit count; values are brought to
// that before they are written so that the writer's cache matches what others read back.
double normalisedDate(double seconds) {
    seconds = std::floor(seconds);
    if (std::isnan(seconds))
        return 0;
    return std::clamp(seconds, double(std::numeric_limits<int32_t>::min()),
                      double(std::numeric_limits<int32_t>::max()));
}

// Text without NUL bytes: the file has no way to carry one.
void dropNULs(std::string& text) {
    text.erase(std::remove(text.begin(), text.end(), '\0'), text.end());
}

// The library's node for `value`, which is first brought to what the file can hold (dates in
// whole seconds of the file's range, no NUL in a text), so that what the writer keeps as its
// cache is what every reader reads back.
plist_t toPlist(TWPlistValue& value) {
    switch (value.type()) {
    case TWPlistValue::Type::Boolean:
        return plist_new_bool(*value.get<bool>() ? 1 : 0);
    case TWPlistValue::Type::Integer:
        return plist_new_uint(static_cast<uint64_t>(*value.get<std::int64_t>()));
    case TWPlistValue::Type::Real:
        return plist_new_real(*value.get<double>());
    case TWPlistValue::Type::String: {
        std::string& text = *value.get<std::string>();
        dropNULs(text);
        return plist_new_string(text.c_str());
    }
    case TWPlistValue::Type::Data: {
        const TWPlistData& data = *value.get<TWPlistData>();
        return plist_new_data(reinterpret_cast<const char*>(data.data()), data.size());
    }
    case TWPlistValue::Type::Date: {
        TWPlistDate& date = *value.get<TWPlistDate>();
        date.secondsSinceReferenceDate = normalisedDate(date.secondsSinceReferenceDate);
        return plist_new_date(static_cast<int32_t>(date.secondsSinceReferenceDate), 0);
    }
    case TWPlistValue::Type::Array: {
        plist_t array = plist_new_array();
        for (TWPlistValue& element : *value.get<TWPlistArray>())
            plist_array_append_item(array, toPlist(element));
        return array;
    }
    case TWPlistValue::Type::Dictionary: {
        TWPlistDictionary& dict = *value.get<TWPlistDictionary>();
        // A key with a NUL is stored under its name without it (a later one of the same name
        // wins, as in the file).
        for (auto it = dict.begin(); it != dict.end();) {
            if (it->first.find('\0') == std::string::npos) {
                ++it;
                continue;
            }
            std::string key = it->first;
            dropNULs(key);
            TWPlistValue moved = std::move(it->second);
            it = dict.erase(it);
            dict.insert_or_assign(std::move(key), std::move(moved));
        }
        plist_t node = plist_new_dict();
        for (auto& [key, element] : dict)
            plist_dict_set_item(node, key.c_str(), toPlist(element));
        return node;
    }
    }
    return plist_new_bool(0);
}

// The store in the file's XML form, written by the same library that reads it back, so that
// both directions agree on every escape and encoding. A typical store is updated in about
// 70 us, 32,000 keys in about 50 ms (bench/TWPlistFileStoreBench): settings are far smaller.
std::string encodeXML(TWPlistValue& root) {
    PlistPtr node(toPlist(root));
    char* xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(node.get(), &xml, &length);
    std::string out(xml ? xml : "", xml ? length : 0);
    std::free(xml);
    return out;
}

bool writeAll(int fd, const char* bytes, size_t length) {
    while (length > 0) {
        ssize_t n = ::write(fd, bytes, length);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        bytes += n;
        length -= static_cast<size_t>(n);
    }
    return true;
}

// Creates `dir` and any missing parents with mode 0700, as the XDG base directory rules ask.
bool makeDirectories(const std::string& dir, std::string& why) {
    struct stat st {};
    if (::stat(dir.c_str(), &st) == 0) {
        if (S_ISDIR(st.st_mode))
            return true;
        why = dir + " is not a directory";
        return false;
    }
    std::string parent = directoryOf(dir);
    if (parent != dir && !makeDirectories(parent, why))
        return false;
    if (::mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST) {
        why = "cannot create " + dir + ": " + errnoText(errno);
        return false;
    }
    return true;
}

// Takes the lock, waiting for another holder at most `wait`; -1 with `busy` set when it was
// still held then.
int lockExclusively(const std::string& lockPath, std::string& why, std::chrono::milliseconds wait,
                    bool& busy) {
    Fd fd(::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0600));
    if (fd.get() < 0) {
        why = "cannot open the lock file " + lockPath + ": " + errnoText(errno);
        return -1;
    }
    struct stat st {};
    if (::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode)) {
        why = "the lock file " + lockPath + " is not a regular file";
        return -1;
    }
    busy = false;
    const auto end = std::chrono::steady_clock::now() + wait;
    while (::flock(fd.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EINTR && errno != EWOULDBLOCK) {
            why = "cannot lock " + lockPath + ": " + errnoText(errno);
            return -1;
        }
        if (errno == EWOULDBLOCK && std::chrono::steady_clock::now() >= end) {
            why = lockPath + " is held by another process";
            busy = true;
            return -1;
        }
        // Writers hold the lock for a read and a write of a small file: a few milliseconds.
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return fd.release();
}

} // namespace

bool TWPlistFileStore::parseDictionary(std::string_view bytes, TWPlistDictionary& out,
                                       std::string& why) {
    out.clear();
    // An empty file holds nothing worth keeping aside; it reads as an empty store.
    if (bytes.empty())
        return true;
    if (bytes.size() > static_cast<size_t>(kMaxFileSize)) {
        why = "larger than " + std::to_string(kMaxFileSize) + " bytes";
        return false;
    }
    const bool binary = plist_is_binary(bytes.data(), static_cast<uint32_t>(bytes.size())) != 0;
    if (binary ? !binaryShapeIsSafe(bytes, why) : !xmlShapeIsSafe(bytes, why))
        return false;
    plist_t raw = nullptr;
    plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &raw);
    PlistPtr root(raw);
    if (!root) {
        why = "not a property list";
        return false;
    }
    if (plist_get_node_type(root.get()) != PLIST_DICT) {
        why = "the top level is not a dictionary";
        return false;
    }
    if (!dictFromPlist(root.get(), out, 0)) {
        why = "it holds values that cannot be read";
        out.clear();
        return false;
    }
    return true;
}

TWPlistFileStore::TWPlistFileStore(std::string path)
    : path_(std::move(path)), lockPath_(path_ + ".lock"), tempPath_(path_ + ".tmp") {}

TWPlistFileStore::~TWPlistFileStore() {
    stopping_ = true;
    if (writer_.joinable())
        writer_.join();
    if (!pending_.empty())
        reportUnwritten("another process held the lock until the end");
    forgetCache();
}

void TWPlistFileStore::reportUnwritten(const std::string& why) {
    const TWPlistDictionary before = loadFromDisk();
    TWPlistDictionary after = before;
    for (const auto& change : pending_)
        change(after);
    std::string keys;
    auto note = [&keys](const std::string& key) { keys += (keys.empty() ? "" : ", ") + key; };
    for (const auto& [key, value] : after)
        if (auto it = before.find(key); it == before.end() || !(it->second == value))
            note(key);
    for (const auto& [key, value] : before)
        if (!after.count(key))
            note(key);
    TWLog(LOG_ERR, kLogClass,
          path_ + ": " + std::to_string(pending_.size()) + " change(s) were not written (" +
              (keys.empty() ? "no value changed" : keys) + "): " + why);
}

bool TWPlistFileStore::finishWrites(std::chrono::milliseconds bound) {
    std::unique_lock guard(mutex_);
    if (written_.wait_for(guard, bound, [this] { return pending_.empty(); }))
        return true;
    reportUnwritten("another process held the lock for longer than " +
                    std::to_string(bound.count()) + " ms");
    return false;
}

void TWPlistFileStore::forgetCache() {
    if (cachedFd_ >= 0)
        ::close(cachedFd_);
    cachedFd_ = -1;
    cachedValues_.clear();
}

void TWPlistFileStore::keepCached(int fd, const struct stat& st, TWPlistDictionary values) {
    forgetCache();
    cachedFd_ = fd;
    cachedDev_ = st.st_dev;
    cachedIno_ = st.st_ino;
    cachedSize_ = st.st_size;
    cachedMtimeNs_ = mtimeNs(st);
    cachedValues_ = std::move(values);
}

bool TWPlistFileStore::cacheIsCurrent(const struct stat& st) const {
    return cachedFd_ >= 0 && st.st_dev == cachedDev_ && st.st_ino == cachedIno_ &&
           st.st_size == cachedSize_ && mtimeNs(st) == cachedMtimeNs_;
}

TWPlistFileStore::ReadOutcome TWPlistFileStore::readFile(TWPlistDictionary& out, std::string& why,
                                                         struct stat& st, bool keepInCache) {
    // Not blocking: a FIFO (or a device) at the path must not hang the reader; it is refused
    // below as not a regular file.
    Fd fd(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (fd.get() < 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            return ReadOutcome::Missing;
        why = "cannot open " + path_ + ": " + errnoText(errno);
        return ReadOutcome::Failed;
    }
    if (::fstat(fd.get(), &st) != 0) {
        why = "cannot examine " + path_ + ": " + errnoText(errno);
        return ReadOutcome::Failed;
    }
    if (cacheIsCurrent(st)) {
        out = cachedValues_;
        return ReadOutcome::Ok;
    }
    if (!S_ISREG(st.st_mode)) {
        why = "not a regular file";
        return ReadOutcome::Corrupt;
    }
    if (st.st_size > kMaxFileSize) {
        why = "larger than " + std::to_string(kMaxFileSize) + " bytes";
        return ReadOutcome::Corrupt;
    }
    std::string bytes;
    bytes.resize(static_cast<size_t>(st.st_size));
    size_t got = 0;
    // Read to the end even if the size changed meanwhile; files are replaced, never rewritten,
    // so this only guards against someone editing the file in place.
    for (;;) {
        if (got == bytes.size())
            bytes.resize(bytes.size() + 4096);
        ssize_t n = ::read(fd.get(), bytes.data() + got, bytes.size() - got);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            why = "cannot read " + path_ + ": " + errnoText(errno);
            return ReadOutcome::Failed;
        }
        if (n == 0)
            break;
        got += static_cast<size_t>(n);
        if (static_cast<off_t>(got) > kMaxFileSize) {
            why = "larger than " + std::to_string(kMaxFileSize) + " bytes";
            return ReadOutcome::Corrupt;
        }
    }
    bytes.resize(got);

    out.clear();
    if (!parseDictionary(bytes, out, why))
        return ReadOutcome::Corrupt;
    if (keepInCache) {
        keepCached(fd.release(), st, out);
    }
    return ReadOutcome::Ok;
}

bool TWPlistFileStore::moveCorruptFileAside(const struct stat& corrupt, const std::string& why) {
    // Another process may have replaced the file since it was read: only the damaged file
    // itself is moved, never its replacement.
    struct stat now {};
    if (::stat(path_.c_str(), &now) != 0 || now.st_dev != corrupt.st_dev ||
        now.st_ino != corrupt.st_ino)
        return true;

    char stamp[32];
    std::time_t t = std::time(nullptr);
    std::tm local{};
    localtime_r(&t, &local);
    std::strftime(stamp, sizeof stamp, "%Y%m%d-%H%M%S", &local);
    std::string base = path_ + ".corrupt-" + stamp;
    std::string aside;
    int err = 0;
    for (int n = 0; n < 1000; ++n) {
        aside = n == 0 ? base : base + "-" + std::to_string(n);
        if (::renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, aside.c_str(), RENAME_NOREPLACE) == 0) {
            err = 0;
            break;
        }
        err = errno;
        if (err == EINVAL || err == ENOSYS) {
            // No atomic no-replace rename on this file system: a hard link refuses to
            // overwrite as well.
            if (::link(path_.c_str(), aside.c_str()) == 0) {
                ::unlink(path_.c_str());
                err = 0;
                break;
            }
            err = errno;
        }
        if (err != EEXIST)
            break;
    }
    if (err != 0) {
        TWLog(LOG_ERR, kLogClass,
              path_ + " cannot be read (" + why + ") and could not be kept aside as " + aside +
                  ": " + errnoText(err));
        return false;
    }
    TWLog(LOG_WARNING, kLogClass,
          path_ + " cannot be read (" + why + "); kept aside as " + aside +
              ", the store starts empty");
    forgetCache();
    return true;
}

TWPlistDictionary TWPlistFileStore::load() {
    std::lock_guard guard(mutex_);
    TWPlistDictionary values = loadFromDisk();
    // Changes still waiting for another process's lock are the latest values.
    for (const auto& change : pending_)
        change(values);
    return values;
}

TWPlistDictionary TWPlistFileStore::loadFromDisk() {
    for (int attempt = 0; attempt < 3; ++attempt) {
        struct stat st {};
        if (::stat(path_.c_str(), &st) != 0) {
            forgetCache();
            return {};
        }
        if (cacheIsCurrent(st))
            return cachedValues_;

        TWPlistDictionary values;
        std::string why;
        switch (readFile(values, why, st, true)) {
        case ReadOutcome::Ok:
            return values;
        case ReadOutcome::Missing:
            forgetCache();
            return {};
        case ReadOutcome::Failed:
            TWLog(LOG_WARNING, kLogClass, why + "; reading the store as empty");
            return {};
        case ReadOutcome::Corrupt: {
            std::string lockWhy;
            bool busy = false;
            Fd lock(lockExclusively(lockPath_, lockWhy, kLockWait, busy));
            if (lock.get() < 0 && busy && attempt < 2)
                continue; // another writer may be replacing it: read it again
            if (lock.get() < 0) {
                TWLog(LOG_ERR, kLogClass,
                      path_ + " cannot be read (" + why + ") and stays where it is: " + lockWhy);
                return {};
            }
            if (!moveCorruptFileAside(st, why))
                return {};
            // Read again: either the file is gone now, or another writer replaced it.
            break;
        }
        }
    }
    return {};
}

bool TWPlistFileStore::update(const std::function<void(TWPlistDictionary&)>& change) {
    std::lock_guard guard(mutex_);
    // Behind changes that still wait for the lock, in their order.
    if (!pending_.empty()) {
        pending_.push_back(change);
        return true;
    }
    std::string why;
    if (!makeDirectories(directoryOf(path_), why)) {
        TWLog(LOG_ERR, kLogClass, path_ + " was not written: " + why);
        return false;
    }
    bool busy = false;
    Fd lock(lockExclusively(lockPath_, why, kLockWait, busy));
    if (lock.get() < 0 && busy) {
        // Another process keeps the lock (stopped mid-write, say): the caller, often the main
        // thread, does not wait for it. The change is written once the lock frees.
        TWLog(LOG_WARNING, kLogClass, why + "; the change is written once it is released");
        pending_.push_back(change);
        if (writer_.joinable())
            writer_.join(); // an earlier writer, done with its changes
        writer_ = std::thread([this] { writeWhenFree(); });
        return true;
    }
    if (lock.get() < 0) {
        TWLog(LOG_ERR, kLogClass, path_ + " was not written: " + why);
        return false;
    }
    return writeLocked({change});
}

void TWPlistFileStore::writeWhenFree() {
    std::string why;
    bool busy = true;
    Fd lock;
    while (busy && !stopping_)
        lock.reset(lockExclusively(lockPath_, why, kLockWait, busy));
    std::lock_guard guard(mutex_);
    if (lock.get() < 0) {
        if (!busy) {
            TWLog(LOG_ERR, kLogClass, path_ + " was not written: " + why);
            pending_.clear();
            written_.notify_all();
        }
        return;
    }
    std::vector<std::function<void(TWPlistDictionary&)>> changes;
    changes.swap(pending_);
    writeLocked(changes);
    written_.notify_all();
}

bool TWPlistFileStore::writeLocked(
    const std::vector<std::function<void(TWPlistDictionary&)>>& changes) {
    std::string why;
    // No need to cache what is read here: the file written next replaces it in the cache.
    TWPlistDictionary values;
    struct stat st {};
    switch (readFile(values, why, st, false)) {
    case ReadOutcome::Ok:
        break;
    case ReadOutcome::Missing:
        forgetCache();
        values.clear();
        break;
    case ReadOutcome::Failed:
        // Writing now would drop whatever the unreadable file holds.
        TWLog(LOG_ERR, kLogClass, path_ + " was not written: " + why);
        return false;
    case ReadOutcome::Corrupt:
        if (!moveCorruptFileAside(st, why))
            return false;
        values.clear();
        break;
    }

    for (const auto& change : changes)
        change(values);
    return writeFile(std::move(values));
}

bool TWPlistFileStore::writeFile(TWPlistDictionary values) {
    TWPlistValue root(std::move(values));
    const std::string xml = encodeXML(root);
    TWPlistDictionary written = std::move(*root.get<TWPlistDictionary>());

    auto fail = [&](const std::string& what, int err) {
        ::unlink(tempPath_.c_str());
        TWLog(LOG_ERR, kLogClass,
              path_ + " was not written (" + what + " " + tempPath_ + ": " + errnoText(err) +
                  "); the previous file is unchanged");
        return false;
    };

    // The temporary name is fixed: writers are serialised by the lock, and a file left behind
    // by a writer that died is simply replaced.
    ::unlink(tempPath_.c_str());
    Fd fd(::open(tempPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    if (fd.get() < 0)
        return fail("cannot create", errno);
    if (::fchmod(fd.get(), 0600) != 0)
        return fail("cannot set the mode of", errno);
    if (!writeAll(fd.get(), xml.data(), xml.size()))
        return fail("cannot write", errno);
    if (::fsync(fd.get()) != 0)
        return fail("cannot sync", errno);
    if (::rename(tempPath_.c_str(), path_.c_str()) != 0)
        return fail("cannot rename", errno);

    // The rename is durable only once the directory entry is.
    Fd dir(::open(directoryOf(path_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (dir.get() >= 0)
        ::fsync(dir.get());

    // The file just written is the one at the path now; cache it so the next load is a stat.
    struct stat st {};
    if (::fstat(fd.get(), &st) == 0) {
        keepCached(fd.release(), st, std::move(written));
    } else {
        forgetCache();
    }
    return true;
}

namespace {
std::mutex standardStoresMutex;
std::vector<std::weak_ptr<TWPlistFileStore>> standardStores;
} // namespace

void TWPlistFileStore::installStandardStores() {
    auto own = std::make_shared<TWPlistFileStore>(TWStorePaths::ownStorePath());
    auto shared = std::make_shared<TWPlistFileStore>(TWStorePaths::sharedStorePath());
    {
        std::lock_guard guard(standardStoresMutex);
        standardStores = {own, shared};
    }
    TWUserDefaults::setStandardUserDefaults(std::make_shared<TWUserDefaults>(own));
    TWUserDefaults::setSharedUserDefaults(std::make_shared<TWUserDefaults>(shared));
}

bool TWPlistFileStore::finishStandardStoreWrites(std::chrono::milliseconds bound) {
    std::vector<std::shared_ptr<TWPlistFileStore>> stores;
    {
        std::lock_guard guard(standardStoresMutex);
        for (const auto& store : standardStores)
            if (auto alive = store.lock())
                stores.push_back(std::move(alive));
    }
    const auto end = std::chrono::steady_clock::now() + bound;
    bool all = true;
    for (const auto& store : stores) {
        const auto left = std::max(std::chrono::milliseconds(0),
                                   std::chrono::duration_cast<std::chrono::milliseconds>(
                                       end - std::chrono::steady_clock::now()));
        all = store->finishWrites(left) && all;
    }
    return all;
}
