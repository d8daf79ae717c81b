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

TEST(TWXDGServiceManagement, AProgramThatCannotStartIsReportedAndMayBeTriedAgainAtOnce) {
    const TWTempDir temp("tw-launch");
    const fs::path dir = temp.path;
    TWLogCapture log;
    TWXDGServiceManagement services({}, (dir / "autostart").string());

    // Executable, but its interpreter does not exist: only the exec itself fails.
    const fs::path program = dir / "helper";
    TWWriteFile(program, "#!/nonexistent/interpreter\n");
    fs::permissions(program, fs::perms::owner_all);
    EXPECT_FALSE(services.launchApplication(program.string(), 0));
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_EQ(log.lines[0].rfind("TWProcessLauncher: cannot start " + program.string(), 0), 0u)
        << log.lines[0];

    // Repaired, it starts at once: the failed start is not taken for one still under way.
    TWWriteFile(program, "#!/bin/sh\ntouch '" + (dir / "ran").string() + "'\n");
    EXPECT_TRUE(services.launchApplication(program.string(), 0));
    for (int i = 0; i < 500 && !fs::exists(dir / "ran"); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_TRUE(fs::exists(dir / "ran"));
}
