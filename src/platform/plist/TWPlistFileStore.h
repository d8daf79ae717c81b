// SPDX-License-Identifier: MIT
// A settings store kept in one XML property-list file that several processes share.
#pragma once

#include "TWDefaultsStore.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <thread>
#include <vector>

struct stat;

class TWPlistFileStore : public TWDefaultsStore {
  public:
    // A store on the file at `path` (absolute). Nothing is touched on disk until first use.
    explicit TWPlistFileStore(std::string path);
    ~TWPlistFileStore() override;

    TWPlistFileStore(const TWPlistFileStore&) = delete;
    TWPlistFileStore& operator=(const TWPlistFileStore&) = delete;

    // The file's dictionary as it is on disk now (XML or binary); empty when the file or its
    // directory is missing. A file that cannot be read as a dictionary is moved aside to
    // "<path>.corrupt-YYYYMMDD-HHMMSS[-N]", logged, and read as empty.
    TWPlistDictionary load() override;

    // Read-modify-write under an exclusive lock on "<path>.lock"; the result is written to a
    // temporary file in the same directory, synced and renamed over the old file. Returns false
    // (and logs) when the new file could not be written; the old file is then untouched. When
    // another process keeps the lock beyond kLockWait, the change is written by a thread of the
    // store as soon as the lock frees (reads see it meanwhile) and the call returns true.
    bool update(const std::function<void(TWPlistDictionary&)>& change) override;

    // How long a caller waits for another process's lock.
    static constexpr std::chrono::milliseconds kLockWait{200};

    // Waits (at most `bound`) until the changes that wait for another process's lock are
    // written; false, with a log line naming the keys left unwritten, when some still wait.
    bool finishWrites(std::chrono::milliseconds bound);
    // The same for the stores installStandardStores made, within one `bound` for both: for a
    // program that quits, which would otherwise drop them with its store.
    static bool finishStandardStoreWrites(std::chrono::milliseconds bound);
    // How long a program that quits waits for its deferred writes.
    static constexpr std::chrono::seconds kQuitWait{10};

    // Reads `bytes` (an XML or binary property list) as a dictionary; false, with the reason in
    // `why`, for anything else. Empty bytes are an empty dictionary.
    static bool parseDictionary(std::string_view bytes, TWPlistDictionary& out, std::string& why);

    // The file this store keeps its values in.
    const std::string& path() const { return path_; }

    // Builds the application's own store and the shared store on their files (TWStorePaths) and
    // installs them as TWUserDefaults::standardUserDefaults and sharedUserDefaults.
    static void installStandardStores();

  private:
    enum class ReadOutcome { Ok, Missing, Corrupt, Failed };

    ReadOutcome readFile(TWPlistDictionary& out, std::string& why, struct stat& st,
                         bool keepInCache);
    bool cacheIsCurrent(const struct stat& st) const;
    void forgetCache();
    // Caches `values` as the content of the file open as `fd` (which the cache now owns).
    void keepCached(int fd, const struct stat& st, TWPlistDictionary values);
    bool moveCorruptFileAside(const struct stat& corrupt, const std::string& why);
    bool writeFile(TWPlistDictionary values);
    TWPlistDictionary loadFromDisk();
    // Reads the file, applies `changes` in order and writes it; the lock is held by the caller.
    bool writeLocked(const std::vector<std::function<void(TWPlistDictionary&)>>& changes);
    // The deferred writer's thread: waits for the lock, then writes every pending change.
    void writeWhenFree();
    // Logs that the pending changes were not written, naming the keys they change (under mutex_).
    void reportUnwritten(const std::string& why);

    std::string path_;
    std::string lockPath_;
    std::string tempPath_;

    // The last file read, held open so that its inode number cannot be reused by a later file
    // while it is cached: together with size and modification time it identifies the content.
    std::mutex mutex_;
    int cachedFd_ = -1;
    dev_t cachedDev_ = 0;
    ino_t cachedIno_ = 0;
    off_t cachedSize_ = 0;
    long long cachedMtimeNs_ = 0;
    TWPlistDictionary cachedValues_;

    // Changes that wait for another process's lock, in order (under mutex_), and their writer.
    std::vector<std::function<void(TWPlistDictionary&)>> pending_;
    std::thread writer_;
    std::condition_variable written_; // the pending changes were handled
    std::atomic<bool> stopping_{false};
};
