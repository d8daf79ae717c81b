// SPDX-License-Identifier: MIT
// The record of hidden windows on its own (no compositor): how long a mark lives, processes
// changing the record at once, and a lock another program holds.
#include "TWHiddenRecord.h"
#include "TWLogCapture.h"
#include "TWTestPaths.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// The windows now: each one's minimized state, none for a window that is gone.
std::function<std::optional<bool>(const std::string&)>
windows(std::initializer_list<std::pair<const char*, bool>> list) {
    std::map<std::string, bool> states;
    for (auto [id, minimized] : list)
        states[id] = minimized;
    return [states](const std::string& id) -> std::optional<bool> {
        auto it = states.find(id);
        return it == states.end() ? std::nullopt : std::optional<bool>(it->second);
    };
}

TEST(TWHiddenRecordTest, AMarkLivesAsLongAsTheHiddenStateItRecords) {
    const long long t = 1000;
    TWHiddenMarks marks{{"gone", {0, t, true}},
                        {"hidden", {1, t, false}},
                        {"restored", {2, t, true}},
                        {"not-yet-minimized", {3, t, false}}};
    TWHiddenRecord::prune(
        marks, windows({{"hidden", true}, {"restored", false}, {"not-yet-minimized", false}}),
        t + 1);
    ASSERT_EQ(marks.size(), 2u);
    EXPECT_TRUE(marks.at("hidden").confirmed);
    // A minimize request still on its way: the mark waits for it, but not for ever.
    EXPECT_FALSE(marks.at("not-yet-minimized").confirmed);
    TWHiddenRecord::prune(marks, windows({{"hidden", true}, {"not-yet-minimized", false}}),
                          t + TWHiddenRecord::kConfirmationGrace + 1);
    EXPECT_EQ(marks.size(), 1u);
    EXPECT_TRUE(marks.count("hidden"));
}

TEST(TWHiddenRecordTest, ConcurrentWritersLoseNoMarkAndAnEmptyRecordLeavesNoFile) {
    const TWTempDir dir("tidewell-record");
    auto record = TWHiddenRecord::atPath((dir.path / "record").string());
    constexpr int kWriters = 4, kMarksEach = 25;
    std::vector<pid_t> children;
    for (int writer = 0; writer < kWriters; ++writer) {
        pid_t pid = fork();
        if (pid == 0) {
            for (int i = 0; i < kMarksEach; ++i)
                record.update([&](TWHiddenMarks& marks) {
                    marks["w" + std::to_string(writer) + "-" + std::to_string(i)] = {i, 1, false};
                });
            _exit(0);
        }
        children.push_back(pid);
    }
    for (pid_t pid : children)
        waitpid(pid, nullptr, 0);
    EXPECT_EQ(record.read().size(), static_cast<std::size_t>(kWriters * kMarksEach));
    record.update([](TWHiddenMarks& marks) { marks.clear(); });
    EXPECT_FALSE(std::filesystem::exists(record.path()));

    // A lock held by another program: a change waits a bounded time, says who held it and
    // changes nothing; the marks still read; the next change does not wait again.
    record.update([](TWHiddenMarks& marks) { marks["kept"] = {0, 1, true}; });
    pid_t holder = fork();
    if (holder == 0) {
        setpgid(0, 0);
        execlp("flock", "flock", "-x", (record.path() + ".lock").c_str(), "sleep", "30",
               static_cast<char*>(nullptr));
        _exit(127);
    }
    auto held = [&] { return std::system(("flock -n " + record.path() + ".lock true").c_str()); };
    for (int i = 0; i < 500 && held() == 0; ++i)
        usleep(10'000);
    TWLogCapture log;
    auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(record.update([](TWHiddenMarks& marks) { marks.clear(); }));
    EXPECT_LT(std::chrono::steady_clock::now() - start, TWHiddenRecord::kLockWait * 3);
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_NE(log.lines[0].find("held by flock (pid " + std::to_string(holder) + ")"),
              std::string::npos)
        << log.lines[0];
    EXPECT_EQ(record.read().size(), 1u);
    start = std::chrono::steady_clock::now();
    EXPECT_FALSE(record.update([](TWHiddenMarks& marks) { marks.clear(); }));
    EXPECT_LT(std::chrono::steady_clock::now() - start, TWHiddenRecord::kLockWait / 2);
    kill(-holder, SIGTERM);
    waitpid(holder, nullptr, 0);
    for (int i = 0; i < 500 && held() != 0; ++i) // until `sleep` has let go too
        usleep(10'000);
    EXPECT_TRUE(record.update([](TWHiddenMarks& marks) { marks.clear(); }));
    EXPECT_TRUE(record.read().empty());
}

} // namespace
