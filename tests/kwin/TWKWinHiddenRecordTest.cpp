// SPDX-License-Identifier: MIT
// The record of hidden windows on its own (no compositor): how long a mark lives, and two
// processes changing the record at once.
#include "TWKWinHiddenRecord.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

namespace {

TWKWinSnapshot windows(std::initializer_list<std::pair<const char*, bool>> list) {
    TWKWinSnapshot s;
    for (auto [uuid, minimized] : list) {
        TWKWinWindow w;
        w.uuid = uuid;
        w.state = minimized ? TWKWinStateMinimized : 0;
        s.windows.push_back(w);
    }
    s.complete = true;
    return s;
}

TEST(TWKWinHiddenRecordTest, AMarkLivesAsLongAsTheHiddenStateItRecords) {
    const long long t = 1000;
    TWKWinHiddenMarks marks{{"gone", {0, t, true}},
                            {"hidden", {1, t, false}},
                            {"restored", {2, t, true}},
                            {"not-yet-minimized", {3, t, false}}};
    TWKWinHiddenRecord::prune(
        marks, windows({{"hidden", true}, {"restored", false}, {"not-yet-minimized", false}}),
        t + 1);
    ASSERT_EQ(marks.size(), 2u);
    EXPECT_TRUE(marks.at("hidden").confirmed);
    // A minimize request still on its way: the mark waits for it, but not for ever.
    EXPECT_FALSE(marks.at("not-yet-minimized").confirmed);
    TWKWinHiddenRecord::prune(marks, windows({{"hidden", true}, {"not-yet-minimized", false}}),
                              t + TWKWinHiddenRecord::kConfirmationGrace + 1);
    EXPECT_EQ(marks.size(), 1u);
    EXPECT_TRUE(marks.count("hidden"));
}

TEST(TWKWinHiddenRecordTest, ConcurrentWritersLoseNoMarkAndAnEmptyRecordLeavesNoFile) {
    auto dir = std::filesystem::temp_directory_path() /
               ("tidewell-record-test-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    auto record = TWKWinHiddenRecord::atPath((dir / "record").string());
    constexpr int kWriters = 4, kMarksEach = 25;
    std::vector<pid_t> children;
    for (int writer = 0; writer < kWriters; ++writer) {
        pid_t pid = fork();
        if (pid == 0) {
            for (int i = 0; i < kMarksEach; ++i)
                record.update([&](TWKWinHiddenMarks& marks) {
                    marks["w" + std::to_string(writer) + "-" + std::to_string(i)] = {i, 1, false};
                });
            _exit(0);
        }
        children.push_back(pid);
    }
    for (pid_t pid : children)
        waitpid(pid, nullptr, 0);
    EXPECT_EQ(record.read().size(), static_cast<std::size_t>(kWriters * kMarksEach));
    record.update([](TWKWinHiddenMarks& marks) { marks.clear(); });
    EXPECT_FALSE(std::filesystem::exists(record.path()));
    std::filesystem::remove_all(dir);
}

} // namespace
