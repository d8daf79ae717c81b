// SPDX-License-Identifier: MIT
// TWXDGServiceManagement: starting programs reports the ones that cannot start.
#include "TWXDGServiceManagement.h"
#include "TWLogCapture.h"
#include "TWTestPaths.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>

namespace fs = std::filesystem;

namespace {

void writeProgram(const fs::path& path, const std::string& text) {
    TWWriteFile(path, text);
    fs::permissions(path, fs::perms::owner_all);
}

bool appears(const fs::path& path) {
    for (int i = 0; i < 500 && !fs::exists(path); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return fs::exists(path);
}

} // namespace

TEST(TWXDGServiceManagement, AProgramThatCannotStartIsReportedAndMayBeTriedAgainAtOnce) {
    const TWTempDir temp("tw-launch");
    const fs::path dir = temp.path;
    TWLogCapture log;
    TWXDGServiceManagement services({}, (dir / "autostart").string());

    // Executable, but its interpreter does not exist: only the exec itself fails.
    const fs::path program = dir / "helper";
    writeProgram(program, "#!/nonexistent/interpreter\n");
    EXPECT_FALSE(services.launchApplication(program.string(), 0));
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_EQ(log.lines[0].rfind("TWProcessLauncher: cannot start " + program.string(), 0), 0u)
        << log.lines[0];

    // Repaired, it starts at once: the failed start is not taken for one still under way.
    writeProgram(program, "#!/bin/sh\ntouch '" + (dir / "ran").string() + "'\n");
    EXPECT_TRUE(services.launchApplication(program.string(), 0));
    EXPECT_TRUE(appears(dir / "ran"));
}
