// A settings store kept in one XML property-list file that several processes share.
#include "TWPlistFileStore.h"

#include "TWLog.h"
#include "TWStorePaths.h"
#include "TWUserDefaults.h"

#include <plist/plist.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

// Deeper nesting than any settings value needs; a file beyond it is treated as damaged rather
// than risking the stack on hostile input.
constexpr int kMaxDepth = 256;

// Files larger than this are not settings; libplist also takes 32-bit lengths.
constexpr off_t kMaxFileSize = off_t(64) << 20;

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
    case PLIST_STRING:
    case PLIST_KEY: {
        char* s = nullptr;
        if (plist_get_node_type(node) == PLIST_STRING)
            plist_get_string_val(node, &s);
        else
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

void appendEscaped(std::string& out, std::string_view text) {
    for (char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '\0':
            break; // cannot appear in the file; readers stop strings there anyway
        default:
            out += c;
        }
    }
}

void appendBase64(std::string& out, const TWPlistData& data) {
    static constexpr char alphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::size_t i = 0;
    for (; i + 2 < data.size(); i += 3) {
        std::uint32_t n = (data[i] << 16) | (data[i + 1] << 8) | data[i + 2];
        out += alphabet[(n >> 18) & 63];
        out += alphabet[(n >> 12) & 63];
        out += alphabet[(n >> 6) & 63];
        out += alphabet[n & 63];
    }
    if (i + 1 == data.size()) {
        std::uint32_t n = data[i] << 16;
        out += alphabet[(n >> 18) & 63];
        out += alphabet[(n >> 12) & 63];
        out += "==";
    } else if (i + 2 == data.size()) {
        std::uint32_t n = (data[i] << 16) | (data[i + 1] << 8);
        out += alphabet[(n >> 18) & 63];
        out += alphabet[(n >> 12) & 63];
        out += alphabet[(n >> 6) & 63];
        out += '=';
    }
}

// Writes `value` as XML property-list elements, normalising dates in place. A writer of our own
// rather than libplist's: it is linear in the size of the store, where building libplist nodes
// is quadratic in the number of keys.
void appendXML(std::string& out, TWPlistValue& value, int depth) {
    out.append(static_cast<std::size_t>(depth), '\t');
    char buf[64];
    switch (value.type()) {
    case TWPlistValue::Type::Boolean:
        out += *value.get<bool>() ? "<true/>" : "<false/>";
        break;
    case TWPlistValue::Type::Integer:
        std::snprintf(buf, sizeof buf, "<integer>%lld</integer>",
                      static_cast<long long>(*value.get<std::int64_t>()));
        out += buf;
        break;
    case TWPlistValue::Type::Real: {
        double d = *value.get<double>();
        if (std::isnan(d))
            std::snprintf(buf, sizeof buf, "<real>nan</real>");
        else if (std::isinf(d))
            std::snprintf(buf, sizeof buf, "<real>%sinfinity</real>", d > 0 ? "+" : "-");
        else
            std::snprintf(buf, sizeof buf, "<real>%.17g</real>", d);
        out += buf;
        break;
    }
    case TWPlistValue::Type::String:
        out += "<string>";
        appendEscaped(out, *value.get<std::string>());
        out += "</string>";
        break;
    case TWPlistValue::Type::Data:
        out += "<data>";
        appendBase64(out, *value.get<TWPlistData>());
        out += "</data>";
        break;
    case TWPlistValue::Type::Date: {
        TWPlistDate& date = *value.get<TWPlistDate>();
        date.secondsSinceReferenceDate = normalisedDate(date.secondsSinceReferenceDate);
        // 978307200: seconds from the Unix epoch to 2001-01-01.
        std::time_t t = static_cast<std::time_t>(date.secondsSinceReferenceDate) + 978307200;
        std::tm utc{};
        gmtime_r(&t, &utc);
        std::strftime(buf, sizeof buf, "<date>%Y-%m-%dT%H:%M:%SZ</date>", &utc);
        out += buf;
        break;
    }
    case TWPlistValue::Type::Array: {
        TWPlistArray& array = *value.get<TWPlistArray>();
        if (array.empty()) {
            out += "<array/>";
            break;
        }
        out += "<array>\n";
        for (TWPlistValue& element : array) {
            appendXML(out, element, depth + 1);
            out += '\n';
        }
        out.append(static_cast<std::size_t>(depth), '\t');
        out += "</array>";
        break;
    }
    case TWPlistValue::Type::Dictionary: {
        TWPlistDictionary& dict = *value.get<TWPlistDictionary>();
        if (dict.empty()) {
            out += "<dict/>";
            break;
        }
        out += "<dict>\n";
        for (auto& [key, element] : dict) {
            out.append(static_cast<std::size_t>(depth + 1), '\t');
            out += "<key>";
            appendEscaped(out, key);
            out += "</key>\n";
            appendXML(out, element, depth + 1);
            out += '\n';
        }
        out.append(static_cast<std::size_t>(depth), '\t');
        out += "</dict>";
        break;
    }
    }
}

std::string encodeXML(TWPlistValue& root) {
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                      "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                      "<plist version=\"1.0\">\n";
    appendXML(out, root, 0);
    out += "\n</plist>\n";
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

int lockExclusively(const std::string& lockPath, std::string& why) {
    Fd fd(::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (fd.get() < 0) {
        why = "cannot open the lock file " + lockPath + ": " + errnoText(errno);
        return -1;
    }
    while (::flock(fd.get(), LOCK_EX) != 0) {
        if (errno != EINTR) {
            why = "cannot lock " + lockPath + ": " + errnoText(errno);
            return -1;
        }
    }
    return fd.release();
}

} // namespace

TWPlistFileStore::TWPlistFileStore(std::string path)
    : path_(std::move(path)), lockPath_(path_ + ".lock"), tempPath_(path_ + ".tmp") {}

TWPlistFileStore::~TWPlistFileStore() {
    forgetCache();
}

void TWPlistFileStore::forgetCache() {
    if (cachedFd_ >= 0)
        ::close(cachedFd_);
    cachedFd_ = -1;
    cachedValues_.clear();
}

bool TWPlistFileStore::cacheIsCurrent(const struct stat& st) const {
    return cachedFd_ >= 0 && st.st_dev == cachedDev_ && st.st_ino == cachedIno_ &&
           st.st_size == cachedSize_ && mtimeNs(st) == cachedMtimeNs_;
}

TWPlistFileStore::ReadOutcome TWPlistFileStore::readFile(TWPlistDictionary& out, std::string& why,
                                                         struct stat& st, bool keepInCache) {
    Fd fd(::open(path_.c_str(), O_RDONLY | O_CLOEXEC));
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
    // An empty file holds nothing worth keeping aside; it reads as an empty store.
    if (!bytes.empty()) {
        plist_t raw = nullptr;
        plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &raw);
        PlistPtr root(raw);
        if (!root) {
            why = "not a property list";
            return ReadOutcome::Corrupt;
        }
        if (plist_get_node_type(root.get()) != PLIST_DICT) {
            why = "the top level is not a dictionary";
            return ReadOutcome::Corrupt;
        }
        if (!dictFromPlist(root.get(), out, 0)) {
            why = "it holds values that cannot be read";
            out.clear();
            return ReadOutcome::Corrupt;
        }
    }
    if (keepInCache) {
        forgetCache();
        cachedFd_ = fd.release();
        cachedDev_ = st.st_dev;
        cachedIno_ = st.st_ino;
        cachedSize_ = st.st_size;
        cachedMtimeNs_ = mtimeNs(st);
        cachedValues_ = out;
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
        TWLog("TWPlistFileStore: " + path_ + " cannot be read (" + why +
              ") and could not be kept aside as " + aside + ": " + errnoText(err));
        return false;
    }
    TWLog("TWPlistFileStore: " + path_ + " cannot be read (" + why + "); kept aside as " + aside +
          ", the store starts empty");
    forgetCache();
    return true;
}

TWPlistDictionary TWPlistFileStore::load() {
    std::lock_guard guard(mutex_);
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
            TWLog("TWPlistFileStore: " + why + "; reading the store as empty");
            return {};
        case ReadOutcome::Corrupt: {
            std::string lockWhy;
            Fd lock(lockExclusively(lockPath_, lockWhy));
            if (lock.get() < 0) {
                TWLog("TWPlistFileStore: " + path_ + " cannot be read (" + why +
                      ") and stays where it is: " + lockWhy);
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
    std::string why;
    if (!makeDirectories(directoryOf(path_), why)) {
        TWLog("TWPlistFileStore: " + path_ + " was not written: " + why);
        return false;
    }
    Fd lock(lockExclusively(lockPath_, why));
    if (lock.get() < 0) {
        TWLog("TWPlistFileStore: " + path_ + " was not written: " + why);
        return false;
    }

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
        TWLog("TWPlistFileStore: " + path_ + " was not written: " + why);
        return false;
    case ReadOutcome::Corrupt:
        if (!moveCorruptFileAside(st, why))
            return false;
        values.clear();
        break;
    }

    change(values);
    return writeFile(std::move(values));
}

bool TWPlistFileStore::writeFile(TWPlistDictionary values) {
    TWPlistValue root(std::move(values));
    const std::string xml = encodeXML(root);
    TWPlistDictionary written = std::move(*root.get<TWPlistDictionary>());

    auto fail = [&](const std::string& what, int err) {
        ::unlink(tempPath_.c_str());
        TWLog("TWPlistFileStore: " + path_ + " was not written (" + what + " " + tempPath_ + ": " +
              errnoText(err) + "); the previous file is unchanged");
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
        forgetCache();
        cachedFd_ = fd.release();
        cachedDev_ = st.st_dev;
        cachedIno_ = st.st_ino;
        cachedSize_ = st.st_size;
        cachedMtimeNs_ = mtimeNs(st);
        cachedValues_ = std::move(written);
    } else {
        forgetCache();
    }
    return true;
}

void TWPlistFileStore::installStandardStores() {
    TWUserDefaults::setStandardUserDefaults(std::make_shared<TWUserDefaults>(
        std::make_shared<TWPlistFileStore>(TWStorePaths::ownStorePath())));
    TWUserDefaults::setSharedUserDefaults(std::make_shared<TWUserDefaults>(
        std::make_shared<TWPlistFileStore>(TWStorePaths::sharedStorePath())));
}
