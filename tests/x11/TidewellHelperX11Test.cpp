// SPDX-License-Identifier: MIT
// The menu-bar helper started by Tidewell on a real desktop: with "Menubar" set, the launch
// starts tidewell-helper once per session, registers it as a login item, and the workspace lists
// it as a running application; turning the mode off removes the login item and quits the helper.
#include "TWCommon.h"
#include "TWProcessRegistry.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWTestDesktop.h"
#include "TWTestPaths.h"
#include "TWTestTidewell.h"
#include "TWUserDefaults.h"
#include "TWX11Desktop.h"
#include "TWXDGServiceManagement.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace {

// The helpers running on this test's display.
std::vector<pid_t> helperProcesses(const TWTestDesktop& desktop) {
    return TWTestDesktop::processesWith("DISPLAY=" + desktop.display(), "tidewell-helper");
}

std::vector<TWRegisteredProcess> registeredHelpers() {
    std::vector<TWRegisteredProcess> helpers;
    for (const TWRegisteredProcess& process : TWProcessRegistry::registeredProcesses())
        if (process.bundleIdentifier == TWHelperBundleIdentifier)
            helpers.push_back(process);
    return helpers;
}

TEST(TidewellHelperX11Test, MenubarModeStartsOneHelperPerSession) {
    TWTestDesktop desktop;
    ASSERT_TRUE(desktop.ok()) << desktop.error();
    TWTestTidewell tidewell(desktop);
    // Without "Menubar" nothing is started: the launch sequence is over once the instance
    // answers.
    const pid_t without = tidewell.start();
    ASSERT_GT(without, 0) << tidewell.log();
    EXPECT_TRUE(registeredHelpers().empty());
    EXPECT_TRUE(helperProcesses(desktop).empty());
    EXPECT_FALSE(
        std::ifstream(tidewell.autostartDirectory() + "/" + TWHelperBundleIdentifier + ".desktop")
            .good());
    desktop.terminate(without);

    tidewell.writeSettings({{"CheckForUpdates", false}, {"Menubar", true}});
    const pid_t first = tidewell.start();
    ASSERT_GT(first, 0) << tidewell.log();
    ASSERT_TRUE(TWTestDesktop::waitFor([] { return registeredHelpers().size() == 1; }))
        << tidewell.log();
    const TWRegisteredProcess helper = registeredHelpers().front();
    EXPECT_EQ(helper.name, "Tidewell Menu");
    EXPECT_EQ(helper.activationPolicy, 1);
    EXPECT_EQ(helperProcesses(desktop), std::vector<pid_t>{helper.pid});

    // The workspace sees it as a running application, as the launch sequence asks it.
    {
        std::unique_ptr<TWX11Desktop> x11 = TWX11Desktop::open();
        ASSERT_NE(x11, nullptr);
        TWUserDefaults shared(std::make_shared<TWSimDefaultsStore>());
        TWCommon common(*x11, shared);
        EXPECT_TRUE(common.isApplicationRunning(TWHelperBundleIdentifier));
    }

    // Its login item: an autostart entry that starts the helper built next to tidewell.
    const std::string entry =
        TWReadFile(tidewell.autostartDirectory() + "/" + TWHelperBundleIdentifier + ".desktop");
    EXPECT_NE(entry.find("Name=Tidewell Menu\n"), std::string::npos) << entry;
    EXPECT_NE(entry.find("Exec=\"" + TWTestTidewell::helperPath() + "\"\n"), std::string::npos)
        << entry;

    // A second start hands over to the instance; a new instance finds the helper running; a
    // second helper started by hand (the login item, say) gives way. Still one helper.
    EXPECT_EQ(tidewell.runAgain({}), 0);
    desktop.terminate(first);
    ASSERT_GT(tidewell.start(), 0) << tidewell.log();
    EXPECT_EQ(TWTestDesktop::run(
                  {"sh", "-c", "'" + TWTestTidewell::helperPath() + "' 2>&1; echo \"exit $?\""}),
              "TidewellHelper: another Tidewell Menu runs in this session\nexit 0\n");
    std::vector<TWRegisteredProcess> helpers = registeredHelpers();
    ASSERT_EQ(helpers.size(), 1u);
    EXPECT_EQ(helpers.front().pid, helper.pid);
    EXPECT_EQ(helperProcesses(desktop), std::vector<pid_t>{helper.pid});

    // Menu-bar mode turned off, as the preferences do it: the login item goes and the helper
    // quits, taking its registration with it; turned on again, one helper starts.
    TWXDGServiceManagement services({{TWHelperBundleIdentifier, TWTestTidewell::helperPath()}},
                                    tidewell.autostartDirectory());
    EXPECT_TRUE(services.setLoginItemEnabled(TWHelperBundleIdentifier, false));
    EXPECT_TRUE(TWTestDesktop::waitFor(
        [&] { return registeredHelpers().empty() && helperProcesses(desktop).empty(); }));
    EXPECT_FALSE(std::ifstream(services.autostartEntryPath(TWHelperBundleIdentifier)).good());
    EXPECT_TRUE(services.setLoginItemEnabled(TWHelperBundleIdentifier, true));
    EXPECT_TRUE(std::ifstream(services.autostartEntryPath(TWHelperBundleIdentifier)).good());
    EXPECT_TRUE(TWTestDesktop::waitFor([] { return registeredHelpers().size() == 1; }));
    EXPECT_TRUE(services.setLoginItemEnabled(TWHelperBundleIdentifier, false));
    EXPECT_TRUE(TWTestDesktop::waitFor([] { return registeredHelpers().empty(); }));
}

} // namespace
