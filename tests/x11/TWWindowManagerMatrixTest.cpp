// SPDX-License-Identifier: MIT
// One scenario on every window manager Tidewell supports, each on its own Xvfb: three
// applications (one window minimized by the user beforehand), the file manager with two windows
// and an excluded application; hide-others with the default settings and with "Minimize" off,
// show-all, then hide-others immediately followed by show-all, round after round. An independent
// observer (wmctrl, xprop) checks every round: nothing lost, the user's minimized window stays
// minimized, no mark left behind. A window manager that cannot minimize is detected and said so.
#include "TWCommon.h"
#include "TWLog.h"
#include "TWProcessRegistry.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWTestDesktop.h"
#include "TWX11Desktop.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sys/wait.h>

namespace {

constexpr int kRounds = 20;
constexpr auto hex = &TWTestDesktop::hex;

struct Observed {
    bool iconic = false;
    bool marked = false;
};

class TWWindowManagerMatrixTest : public ::testing::TestWithParam<std::string> {
  protected:
    void SetUp() override {
        desktop_ = std::make_unique<TWTestDesktop>(GetParam());
        ASSERT_TRUE(desktop_->ok()) << desktop_->error();
        x11_ = TWX11Desktop::open();
        ASSERT_NE(x11_, nullptr);
        shared_ = std::make_unique<TWUserDefaults>(std::make_shared<TWSimDefaultsStore>());
        standard_ = std::make_unique<TWUserDefaults>(std::make_shared<TWSimDefaultsStore>());
        TWRegisterDefaults(*standard_, *shared_);
        TWPlistDictionary record;
        record[TWExcludedBundleIDField] = std::string("Kept");
        shared_->setObject(TWPlistArray{TWPlistValue(record)}, TWExcludedAppsKey);
        TWProcessRegistry::registerCurrentProcess(TWOwnBundleIdentifier, TWOwnName, 0);
        TWSetLogSink([this](const std::string& line) { log_.push_back(line); });
        common_ = std::make_unique<TWCommon>(*x11_, *shared_);
    }
    void TearDown() override {
        TWSetLogSink({});
        TWProcessRegistry::unregisterCurrentProcess();
        common_.reset();
        x11_.reset();
        desktop_.reset();
    }

    // The application windows of the scenario, started in launch order.
    void startApplications() {
        fileManager_ = desktop_->spawn({"pcmanfm", desktop_->home()});
        ASSERT_TRUE(TWTestDesktop::waitFor(
            [&] { return desktop_->windowsOfPid(fileManager_).size() == 1; }, kStartBound));
        TWTestDesktop::run({"pcmanfm", "-n", desktop_->home()});
        ASSERT_TRUE(TWTestDesktop::waitFor(
            [&] { return desktop_->windowsOfPid(fileManager_).size() == 2; }, kStartBound));
        for (const char* cls : {"Alpha", "Beta", "Gamma", "Kept"}) {
            const int windows = std::string(cls) == "Alpha" ? 2 : 1;
            pid_t pid =
                desktop_->spawnTestClient({"--class", std::string(cls) + "," + cls}, windows);
            auto ids = desktop_->windowsOfPid(pid);
            ASSERT_EQ(static_cast<int>(ids.size()), windows) << cls;
            auto& into = std::string(cls) == "Kept" ? kept_ : hidable_;
            into.insert(into.end(), ids.begin(), ids.end());
        }
        // The user minimized Alpha's second window before anything else happens.
        userMinimized_ = hidable_.at(1);
        hidable_.erase(hidable_.begin() + 1);
        TWTestDesktop::run({"xdotool", "windowminimize", hex(userMinimized_)});
        ASSERT_TRUE(TWTestDesktop::waitFor([&] { return observe(userMinimized_).iconic; }));
    }

    static Observed observe(unsigned long w) {
        const std::string out =
            TWTestDesktop::run({"xprop", "-id", hex(w), "WM_STATE", "_TIDEWELL_HIDDEN"});
        return {out.find("Iconic") != std::string::npos,
                out.find("_TIDEWELL_HIDDEN(CARDINAL) = ") != std::string::npos};
    }
    std::vector<unsigned long> fileManagerWindows() const {
        return desktop_->windowsOfPid(fileManager_);
    }
    // Follows the window manager's answers as the application's event loop would.
    bool settle() { return x11_->x11Workspace().settle(std::chrono::seconds(30)); }

    // Everything shown again: the hidden windows back, the user's minimized window still
    // minimized, `collapsedFileManager` windows still minimized, and no window marked.
    void expectAllShown(const std::string& when, bool collapsedFileManager) {
        for (auto w : hidable_)
            EXPECT_TRUE(TWTestDesktop::waitFor([&] { return !observe(w).iconic; }))
                << when << ": window " << hex(w) << " was lost";
        for (auto w : fileManagerWindows())
            EXPECT_EQ(observe(w).iconic, collapsedFileManager) << when << ": file manager";
        EXPECT_TRUE(observe(userMinimized_).iconic) << when << ": the user's minimized window";
        for (const auto& w : desktop_->windows())
            EXPECT_FALSE(observe(w.id).marked) << when << ": mark left on " << w.title;
    }

    static constexpr std::chrono::milliseconds kStartBound{30000};
    std::unique_ptr<TWTestDesktop> desktop_;
    std::unique_ptr<TWX11Desktop> x11_;
    std::unique_ptr<TWUserDefaults> shared_, standard_;
    std::unique_ptr<TWCommon> common_;
    std::vector<std::string> log_;
    pid_t fileManager_ = -1;
    std::vector<unsigned long> hidable_, kept_;
    unsigned long userMinimized_ = 0;
};

TEST_P(TWWindowManagerMatrixTest, NothingLostNothingLeftMarked) {
    ASSERT_NO_FATAL_FAILURE(startApplications());

    // Default settings: the others hidden and marked, the file manager's windows collapsed.
    common_->showFinderHideOthers();
    ASSERT_TRUE(settle());
    for (auto w : hidable_) {
        EXPECT_TRUE(TWTestDesktop::waitFor([&] { return observe(w).iconic; })) << hex(w);
        EXPECT_TRUE(observe(w).marked) << hex(w);
    }
    for (auto w : fileManagerWindows()) {
        EXPECT_TRUE(TWTestDesktop::waitFor([&] { return observe(w).iconic; })) << "collapsed";
        EXPECT_FALSE(observe(w).marked);
    }
    for (auto w : kept_)
        EXPECT_FALSE(observe(w).iconic) << "excluded";
    EXPECT_FALSE(observe(userMinimized_).marked) << "the user's minimized window is not ours";
    common_->showAll();
    ASSERT_TRUE(settle());
    expectAllShown("default settings", true);

    // "Minimize" off: the file manager comes forward; its collapsed windows stay as they are.
    for (auto w : fileManagerWindows())
        TWTestDesktop::run({"wmctrl", "-i", "-a", hex(w)});
    ASSERT_TRUE(TWTestDesktop::waitFor([&] {
        for (auto w : fileManagerWindows())
            if (observe(w).iconic)
                return false;
        return true;
    }));
    shared_->setBool(false, TWMinimizeKey);
    common_->showFinderHideOthers();
    ASSERT_TRUE(settle());
    for (auto w : hidable_)
        EXPECT_TRUE(TWTestDesktop::waitFor([&] { return observe(w).iconic; })) << hex(w);
    for (auto w : fileManagerWindows())
        EXPECT_FALSE(observe(w).iconic);
    common_->showAll();
    ASSERT_TRUE(settle());
    expectAllShown("Minimize off", false);

    // Show-all right behind hide-others, before the window manager has done anything.
    for (int round = 0; round < kRounds; ++round) {
        common_->showFinderHideOthers();
        common_->showAll();
        ASSERT_TRUE(settle()) << "round " << round;
        expectAllShown("round " + std::to_string(round), false);
        if (HasFailure())
            break;
    }
    EXPECT_EQ(x11_->x11Workspace().minimizeSupport(), TWX11MinimizeSupport::Yes);
}

INSTANTIATE_TEST_SUITE_P(Minimizing, TWWindowManagerMatrixTest,
                         ::testing::Values("openbox", "xfwm4", "kwin_x11", "mutter", "metacity",
                                           "marco", "icewm", "fluxbox"),
                         [](const auto& param) { return param.param; });

// i3 ignores minimize requests: nothing is hidden, nothing stays marked, and it is said once.
class TWNonMinimizingWindowManagerTest : public TWWindowManagerMatrixTest {};

TEST_P(TWNonMinimizingWindowManagerTest, CannotHideAndSaysSo) {
    pid_t a = desktop_->spawnTestClient({"--class", "Alpha,Alpha"}, 2);
    desktop_->spawnTestClient({"--class", "Beta,Beta"});
    ASSERT_EQ(desktop_->windowsOfPid(a).size(), 2u);

    common_->showFinderHideOthers();
    settle();
    EXPECT_EQ(x11_->x11Workspace().minimizeSupport(), TWX11MinimizeSupport::No);
    for (const auto& w : desktop_->windows()) {
        EXPECT_FALSE(observe(w.id).iconic) << w.title;
        EXPECT_FALSE(observe(w.id).marked) << w.title;
    }
    ASSERT_EQ(log_.size(), 1u);
    EXPECT_NE(log_[0].find("does not minimize"), std::string::npos) << log_[0];

    // The command-line tool says so too, and exits with its own status.
    const char* bin = std::getenv("TIDEWELL_BINARY_DIR");
    const std::string command =
        std::string(bin ? bin : ".") + "/bin/tidewell-x11 hide-others 2>/dev/null";
    const int status = std::system(command.c_str());
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 3);
    for (const auto& w : desktop_->windows())
        EXPECT_FALSE(observe(w.id).marked) << w.title;
}

INSTANTIATE_TEST_SUITE_P(NotMinimizing, TWNonMinimizingWindowManagerTest, ::testing::Values("i3"),
                         [](const auto& param) { return param.param; });

} // namespace
