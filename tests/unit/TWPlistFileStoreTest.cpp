// SPDX-License-Identifier: MIT
// The property-list file store: durability, other writers' changes, damaged and hostile files.
#include "TWPlistFileStore.h"
#include "TWLogCapture.h"
#include "TWTestPaths.h"
#include "TWUserDefaults.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <filesystem>
#include <future>
#include <limits>
#include <random>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

// Runs `body` in a child process; the exit code it returned (128 + the signal that ended the
// child otherwise).
template <class F> int inChild(F body) {
    const pid_t pid = fork();
    if (pid == 0)
        _exit(body());
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::vector<fs::path> corruptCopies(const fs::path& file) {
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(file.parent_path()))
        if (entry.path().filename().string().rfind(file.filename().string() + ".corrupt-", 0) == 0)
            found.push_back(entry.path());
    return found;
}

class TWPlistFileStoreTest : public ::testing::Test {
  protected:
    // In memory where possible: every write syncs, thousands of times here.
    TWTempDir temp{"twplistfilestore", true};
    fs::path root = temp.path, dir = root / "config" / "tidewell", file = dir / "shared.plist";
};

TEST_F(TWPlistFileStoreTest, EveryValueTypeRoundTripsAndEveryReadSeesTheLatestWrite) {
    // clang-format off
    const TWPlistDictionary values{
        {"yes", true}, {"no", false}, {"tenth", 0.1}, {"whole real", 3.0}, {"", ""},
        {"smallest", static_cast<long long>(std::numeric_limits<std::int64_t>::min())},
        {"largest", static_cast<long long>(std::numeric_limits<std::int64_t>::max())},
        {"text", "<Tidewell> & \"friends\" \xC3\xA9\xE2\x9C\x93"}, {"no bytes", TWPlistData{}},
        {"bytes", TWPlistData{0x00, 0xFF, 0x10, 0x00, 0x7F}}, {"empty dict", TWPlistDictionary{}},
        {"early date", TWPlistDate{-86400.0 * 365}},
        {"nested", TWPlistArray{TWPlistDictionary{{"BundleID", "x"}}, TWPlistArray{1, TWPlistArray{}}}}};
    // clang-format on
    TWPlistFileStore writer(file.string()), reader(file.string());
    ASSERT_TRUE(writer.update([&](TWPlistDictionary& d) { d = values; }));
    EXPECT_EQ(reader.load(), values);

    // Private to the user, in a private directory.
    for (const auto& [path, mode] :
         {std::pair{file, 0600u}, {dir, 0700u}, {dir.parent_path(), 0700u}}) {
        struct stat st {};
        EXPECT_EQ(stat(path.c_str(), &st) == 0 ? st.st_mode & 0777 : 0, mode) << path;
    }

    // Same-sized values written back to back: new files reuse freed inode numbers and share
    // modification times, which must not make the reader serve an old value.
    for (int i = 1000; i < 1300; ++i) {
        ASSERT_TRUE(writer.update([&](TWPlistDictionary& d) { d["key"] = i; }));
        ASSERT_EQ(reader.load().at("key"), TWPlistValue(i)) << "after write " << i;
    }
    // Someone deleting the file empties the store.
    fs::remove(file);
    EXPECT_TRUE(reader.load().empty());
}

TEST_F(TWPlistFileStoreTest, MissingFilesReadEmptyAndBinaryPropertyListsAreRead) {
    TWPlistFileStore store(file.string());
    EXPECT_TRUE(store.load().empty());
    EXPECT_FALSE(fs::exists(dir)) << "reading creates nothing";

    // {"k": 7, "s": "hi", "r": 1.5, "a": [true, <00ff>]} as a binary property list.
    const std::string binary(
        "bplist00"
        "\xd4\x01\x02\x03\x04\x05\x08\x09\x0a\x51\x61\x51\x6b\x51\x72\x51\x73\xa2\x06\x07"
        "\x09\x42\x00\xff\x10\x07\x23\x3f\xf8\x00\x00\x00\x00\x00\x00\x52\x68\x69\x08\x11"
        "\x13\x15\x17\x19\x1c\x1d\x20\x22\x2b\x00\x00\x00\x00\x00\x00\x01\x01\x00\x00\x00"
        "\x00\x00\x00\x00\x0b\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"
        "\x2e",
        89);
    fs::create_directories(dir);
    TWWriteFile(file, binary);
    const TWPlistDictionary expected{
        {"k", 7}, {"s", "hi"}, {"r", 1.5}, {"a", TWPlistArray{true, TWPlistData{0x00, 0xff}}}};
    EXPECT_EQ(store.load(), expected);
}

// The application and its helper (more writers here) changing the file at once, one of them
// killed again and again as a crash would: no change a writer was told is stored is lost, and
// the file is never judged damaged.
TEST_F(TWPlistFileStoreTest, WritersInSeveralProcessesOneKilledAtRandomLoseNoStoredChange) {
    constexpr int kWriters = 4, kEach = 50;
    // How many changes the writer that is killed has been told are stored.
    auto* stored = new (mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                             MAP_SHARED | MAP_ANONYMOUS, -1, 0)) std::atomic<int>(0);
    auto writer = [&](int id) {
        if (const pid_t pid = fork(); pid != 0)
            return pid;
        TWPlistFileStore store(file.string());
        for (int i = id == 0 ? stored->load() : 0; id == 0 || i < kEach; ++i) {
            const bool ok = store.update(
                [&](TWPlistDictionary& d) { d[std::to_string(id) + "." + std::to_string(i)] = i; });
            if (id == 0 && ok && store.finishWrites(TWPlistFileStore::kQuitWait))
                *stored = i + 1;
        }
        _exit(store.finishWrites(TWPlistFileStore::kQuitWait) ? 0 : 1);
    };
    std::vector<pid_t> writers;
    for (int id = 1; id < kWriters; ++id)
        writers.push_back(writer(id));
    std::mt19937 random(20261126);
    for (int kill = 0; kill <= 20; ++kill) {
        const pid_t victim = writer(0);
        std::this_thread::sleep_for(std::chrono::microseconds(500 + random() % 5'000));
        // The last one is killed only once a change of its own is stored, however slow the
        // build (under a sanitizer none may have been), so the check below is never empty.
        for (int before = stored->load(), tries = kill == 20 ? 60'000 : 0;
             stored->load() == before && tries-- > 0;)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ::kill(victim, SIGKILL);
        waitpid(victim, nullptr, 0);
    }
    for (pid_t pid : writers) {
        int status = 0;
        waitpid(pid, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    }
    const TWPlistDictionary values = TWPlistFileStore(file.string()).load();
    for (int id = 0; id < kWriters; ++id)
        for (int i = 0; i < (id == 0 ? stored->load() : kEach); ++i)
            EXPECT_TRUE(values.count(std::to_string(id) + "." + std::to_string(i)))
                << id << "." << i;
    EXPECT_GT(stored->load(), 0);
    EXPECT_TRUE(corruptCopies(file).empty());
    munmap(stored, sizeof(std::atomic<int>));
}

// Another process keeps the lock (a helper stopped mid-write): a write returns without waiting
// for it, is read back at once, and lands on disk, after earlier ones and before later ones,
// when the lock frees; a program that quits meanwhile waits for it.
TEST_F(TWPlistFileStoreTest, AWriteWhileAnotherProcessHoldsTheLockLandsWhenItFrees) {
    auto store = std::make_unique<TWPlistFileStore>(file.string());
    ASSERT_TRUE(store->update([](TWPlistDictionary& d) { d["a"] = 1; }));
    const int held = ::open((file.string() + ".lock").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(::flock(held, LOCK_EX), 0);
    auto writes = std::async(std::launch::async, [&] {
        return store->update([](TWPlistDictionary& d) { d["b"] = 2; }) &&
               store->update([](TWPlistDictionary& d) { d["b"] = 3; });
    });
    ASSERT_EQ(writes.wait_for(std::chrono::seconds(60)), std::future_status::ready)
        << "a write waited for the lock";
    EXPECT_TRUE(writes.get());
    EXPECT_EQ(store->load().at("b"), TWPlistValue(3));
    EXPECT_EQ(TWPlistFileStore(file.string()).load().count("b"), 0u) << "written under the lock";
    // A program that quits waits for them, within a bound.
    EXPECT_FALSE(store->finishWrites(std::chrono::milliseconds(50)));
    ::close(held);
    EXPECT_TRUE(store->finishWrites(TWPlistFileStore::kQuitWait));
    const TWPlistDictionary onDisk = TWPlistFileStore(file.string()).load();
    EXPECT_EQ(onDisk.at("a"), TWPlistValue(1));
    EXPECT_EQ(onDisk.at("b"), TWPlistValue(3));
}

TEST_F(TWPlistFileStoreTest, ADamagedFileIsKeptAsideAndTheDefaultsApply) {
    fs::create_directories(dir);
    const std::string garbage = "<?xml version=\"1.0\"?><plist><dict><key>ShowFinder</key>";
    TWWriteFile(file, garbage);
    auto store = std::make_shared<TWPlistFileStore>(file.string());
    TWUserDefaults defaults(store);
    defaults.registerDefaults({{"ShowFinder", true}});
    TWLogCapture log;
    EXPECT_TRUE(defaults.boolForKey("ShowFinder"));
    EXPECT_FALSE(fs::exists(file));
    auto kept = corruptCopies(file);
    ASSERT_EQ(kept.size(), 1u);
    EXPECT_EQ(TWReadFile(kept[0]), garbage) << "nothing the user stored is deleted";
    EXPECT_EQ(log.lines.size(), 1u);

    // Writing works again, and a second damaged file (here: a list at the top, within the same
    // second) never replaces the first one kept aside.
    EXPECT_TRUE(defaults.setBool(false, "ShowFinder"));
    const std::string head = "<?xml version=\"1.0\"?><plist version=\"1.0\">";
    TWWriteFile(file, head + "<array><true/></array></plist>");
    EXPECT_TRUE(defaults.setBool(false, "Minimize")) << "an update starts afresh as well";
    kept = corruptCopies(file);
    ASSERT_EQ(kept.size(), 2u);
    EXPECT_NE(TWReadFile(kept[0]), TWReadFile(kept[1]));
    EXPECT_EQ(store->load(), (TWPlistDictionary{{"Minimize", false}}));

    // Replaced by another writer while the reader (may) wait for the lock to move it aside:
    // the replacement is read, never moved aside.
    TWWriteFile(file, garbage);
    const int lock = ::open((file.string() + ".lock").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(::flock(lock, LOCK_EX), 0);
    TWPlistDictionary seen;
    std::thread reader([&] { seen = TWPlistFileStore(file.string()).load(); });
    // The reader opens the lock file once it has found the file damaged: then it waits.
    const auto lockOpeners = [&] {
        int count = 0;
        std::error_code ec;
        for (const auto& fd : fs::directory_iterator("/proc/self/fd", ec))
            count += fs::read_symlink(fd.path(), ec) == file.string() + ".lock";
        return count;
    };
    for (int i = 0; i < 1000 && lockOpeners() < 2; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(lockOpeners(), 2);
    TWWriteFile(file.string() + ".new", head + "<dict><key>k</key><true/></dict></plist>");
    fs::rename(file.string() + ".new", file);
    ::close(lock);
    reader.join();
    EXPECT_EQ(seen, (TWPlistDictionary{{"k", true}}));
    EXPECT_EQ(corruptCopies(file).size(), 2u);
}

TEST_F(TWPlistFileStoreTest, AFailedWriteReturnsFalseAndKeepsTheOldFile) {
    TWPlistFileStore store(file.string());
    ASSERT_TRUE(store.update([](TWPlistDictionary& d) { d["kept"] = "yes"; }));
    const std::string before = TWReadFile(file);
    // A child tries to add a value with a file-size limit the new file exceeds (a full disk).
    const auto child = [&] {
        const rlimit limit{512, 512};
        signal(SIGXFSZ, SIG_IGN);
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
            return 3;
        TWLogCapture log;
        TWPlistFileStore other(file.string());
        if (other.update([](auto& d) { d["big"] = std::string(4096, 'z'); }))
            return 5;
        if (log.lines.empty() || log.lines.back().find(file.string()) == std::string::npos)
            return 6;
        return other.load() == TWPlistDictionary{{"kept", "yes"}} ? 0 : 7;
    };
    EXPECT_EQ(inChild(child), 0);
    EXPECT_EQ(TWReadFile(file), before);
    EXPECT_FALSE(fs::exists(file.string() + ".tmp")) << "no half-written file is left behind";
}

// A binary property list of `count` arrays, object i holding `fanOut` references to object i+1
// (the last one empty): nesting `count` deep, expanding to fanOut^count values.
std::string nestedBinaryArrays(std::uint32_t count, unsigned fanOut) {
    auto be = [](std::string& out, std::uint64_t v, unsigned size) {
        for (unsigned k = size; k-- > 0;)
            out += static_cast<char>((v >> (8 * k)) & 0xff);
    };
    std::string out = "bplist00";
    std::vector<std::uint64_t> offsets;
    for (std::uint32_t i = 0; i < count; ++i) {
        offsets.push_back(out.size());
        const bool last = i + 1 == count;
        out += static_cast<char>(0xA0 | (last ? 0 : fanOut));
        for (unsigned k = 0; !last && k < fanOut; ++k)
            be(out, i + 1, 4);
    }
    const std::uint64_t table = out.size();
    for (std::uint64_t o : offsets)
        be(out, o, 4);
    out += std::string(6, '\0') + char(4) + char(4);
    be(out, count, 8);
    be(out, 0, 8);
    be(out, table, 8);
    return out;
}

TEST_F(TWPlistFileStoreTest, HostileFilesAreRefusedWithoutCrashingOrHanging) {
    std::string deepXML = "<?xml version=\"1.0\"?><plist version=\"1.0\">";
    for (int i = 0; i < 200000; ++i)
        deepXML += "<array>";
    const std::string files[] = {deepXML, nestedBinaryArrays(100000, 1),
                                 nestedBinaryArrays(64, 2)}; // the last expands to 2^64 values
    fs::create_directories(dir);
    for (const std::string& bytes : files) {
        SCOPED_TRACE(bytes.substr(0, 80));
        TWWriteFile(file, bytes);
        // In a child process: a crash or a hang fails this case rather than the whole program.
        const auto child = [&] {
            alarm(20);
            TWLogCapture log;
            return TWPlistFileStore(file.string()).load().empty() && log.lines.size() == 1 ? 0 : 1;
        };
        EXPECT_EQ(inChild(child), 0);
    }

    // A FIFO (or a link to one) at the path: nothing ever writes to it, the reader must not wait.
    ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
    fs::create_symlink(dir / "fifo", file);
    const auto child = [&] {
        alarm(20);
        TWPlistFileStore store(file.string());
        return store.load().empty() && store.update([](auto& d) { d["k"] = 1; }) ? 0 : 1;
    };
    EXPECT_EQ(inChild(child), 0);
    EXPECT_EQ(TWPlistFileStore(file.string()).load(), (TWPlistDictionary{{"k", 1}}));
    EXPECT_TRUE(fs::is_fifo(dir / "fifo"));
}

} // namespace
