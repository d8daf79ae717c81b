// SPDX-License-Identifier: MIT
// The record of hidden windows on its own (no compositor): how long a mark lives, and two
// processes changing the record at once.
#include "TWHiddenRecord.h"

#include <gtest/gtest.h>

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
    auto dir = std::filesystem::temp_directory_path() /
               ("tidewell-record-test-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    auto record = TWHiddenRecord::atPath((dir / "record").string());
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
    std::filesystem::remove_all(dir);
}

} // namespace
