// SPDX-License-Identifier: MIT
// The desktop actions on the real X11 backend, checked by an independent observer (xprop,
// wmctrl): the file manager's settings, the menu toggle, a client killed mid-action. (The
// round of hide-others and show-all with an exclusion and a window the user minimized runs on
// every window manager in TWWindowManagerMatrixTest; the front application brought back by
// show-all, through the real program in TidewellAppX11Test.)
#include "TWCommon.h"
#include "TWInterruptedDesktop.h"
#include "TWLog.h"
#include "TWProcessRegistry.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWTestDesktopSuite.h"
#include "TWX11Desktop.h"

#include <gtest/gtest.h>

#include <csignal>

namespace {

class TWCommonX11Test : public TWTestDesktopSuite {
  protected:
    void SetUp() override {
        TWTestDesktopSuite::SetUp();
        if (HasFatalFailure())
            return;
        x11_ = TWX11Desktop::open();
        ASSERT_NE(x11_, nullptr);
        store_ = std::make_shared<TWSimDefaultsStore>();
        standard_ = std::make_unique<TWUserDefaults>(std::make_shared<TWSimDefaultsStore>());
        shared_ = std::make_unique<TWUserDefaults>(store_);
        TWRegisterDefaults(*standard_, *shared_);
        TWProcessRegistry::registerCurrentProcess(TWOwnBundleIdentifier, TWOwnName, 0);
        TWSetLogSink([this](const std::string& line) { log_.push_back(line); });
    }
    void TearDown() override {
        TWSetLogSink({});
        TWProcessRegistry::unregisterCurrentProcess();
        common_.reset();
        x11_.reset();
        for (pid_t pid : clients_)
            desktop_->terminate(pid);
    }
    TWCommon& common(TWDesktop* desktop = nullptr) {
        if (!common_)
            common_ = std::make_unique<TWCommon>(desktop ? *desktop : *x11_, *shared_);
        return *common_;
    }
    pid_t client(const std::string& cls, int windows = 1, std::vector<std::string> more = {}) {
        std::vector<std::string> options{"--class", cls + "," + cls};
        options.insert(options.end(), more.begin(), more.end());
        pid_t pid = desktop_->spawnTestClient(options, windows);
        clients_.push_back(pid);
        return pid;
    }
    pid_t fileManager(int windows) {
        pid_t fm = desktop_->spawn({"pcmanfm", desktop_->home()});
        clients_.push_back(fm);
        // A GTK program's first window takes long on a loaded machine (icon theme, fonts).
        constexpr auto kStart = std::chrono::seconds(45);
        EXPECT_TRUE(
            TWTestDesktop::waitFor([&] { return desktop_->windowsOfPid(fm).size() == 1; }, kStart));
        for (int i = 1; i < windows; ++i) {
            TWTestDesktop::run({"pcmanfm", "-n", desktop_->home()});
            EXPECT_TRUE(TWTestDesktop::waitFor(
                [&] { return static_cast<int>(desktop_->windowsOfPid(fm).size()) == i + 1; },
                kStart));
        }
        return fm;
    }
    unsigned long win(pid_t pid, size_t i = 0) { return desktop_->windowsOfPid(pid).at(i); }
    bool becomesIconic(pid_t pid) {
        return TWTestDesktop::waitFor([&] {
            for (auto w : desktop_->windowsOfPid(pid))
                if (!desktop_->isIconic(w))
                    return false;
            return true;
        });
    }
    bool visible(unsigned long w) { return !desktop_->isIconic(w); }
    void set(const char* key, bool value) { shared_->setBool(value, key); }
    // Follows the window manager's answers as the application's event loop would.
    void settle() {
        EXPECT_TRUE(x11_->x11Workspace().settle(std::chrono::seconds(15)))
            << "logged: " << ::testing::PrintToString(log_);
    }

    std::unique_ptr<TWX11Desktop> x11_;
    std::shared_ptr<TWSimDefaultsStore> store_;
    std::unique_ptr<TWUserDefaults> standard_, shared_;
    std::unique_ptr<TWCommon> common_;
    std::vector<pid_t> clients_;
    std::vector<std::string> log_;
};

TEST_F(TWCommonX11Test, FileManagerHiddenCollapsedOrClosedAsTheSettingsSay) {
    pid_t fm = fileManager(2);
    pid_t a = client("Alpha");
    // "ShowFinder" NO: the file manager is hidden like the others.
    set(TWShowFinderKey, false);
    set(TWMinimizeKey, false);
    common().showFinderHideOthers();
    settle();
    EXPECT_TRUE(becomesIconic(fm));
    EXPECT_TRUE(becomesIconic(a));
    EXPECT_TRUE(desktop_->hasHiddenMark(win(fm, 0)));
    common().showAll();
    settle();
    EXPECT_TRUE(TWTestDesktop::waitFor([&] { return visible(win(fm, 0)) && visible(win(fm, 1)); }));

    // "Minimize": collapsed, without a mark, so show-all leaves them minimized.
    set(TWShowFinderKey, true);
    set(TWMinimizeKey, true);
    common().showFinderHideOthers();
    settle();
    EXPECT_TRUE(becomesIconic(fm));
    EXPECT_FALSE(desktop_->hasHiddenMark(win(fm, 0)));
    EXPECT_FALSE(desktop_->hasHiddenMark(win(fm, 1)));
    common().showAll();
    settle();
    EXPECT_TRUE(TWTestDesktop::waitFor([&] { return visible(win(a)); }));
    x11_->sync();
    EXPECT_TRUE(desktop_->isIconic(win(fm, 0)));
    EXPECT_TRUE(desktop_->isIconic(win(fm, 1)));

    // "ShowFinder" NO with "Minimize": hidden first, then collapsed; collapsing wins, so the
    // windows stay minimized after show-all.
    for (size_t i = 0; i < 2; ++i)
        TWTestDesktop::run({"wmctrl", "-i", "-a", std::to_string(win(fm, i))});
    ASSERT_TRUE(TWTestDesktop::waitFor([&] { return visible(win(fm, 0)) && visible(win(fm, 1)); }));
    set(TWShowFinderKey, false);
    common().showFinderHideOthers();
    settle();
    EXPECT_TRUE(becomesIconic(fm));
    EXPECT_FALSE(desktop_->hasHiddenMark(win(fm, 0)));
    EXPECT_FALSE(desktop_->hasHiddenMark(win(fm, 1)));
    common().showAll();
    settle();
    EXPECT_TRUE(TWTestDesktop::waitFor([&] { return visible(win(a)); }));
    x11_->sync();
    EXPECT_TRUE(desktop_->isIconic(win(fm, 0)));
    EXPECT_TRUE(desktop_->isIconic(win(fm, 1)));
    set(TWShowFinderKey, true);

    // "CloseAllFinder" with "ShowWindow": every window closed, then one new window (from a new
    // file-manager process when the old one ended with its last window).
    set(TWMinimizeKey, false);
    set(TWCloseAllFinderKey, true);
    set(TWShowWindowKey, true);
    common().showFinderHideOthers();
    settle();
    EXPECT_TRUE(TWTestDesktop::waitFor([&] {
        auto now = desktop_->windowsOfProgram("pcmanfm");
        // The closed windows were collapsed; the new one shows (its ID may be reused).
        return now.size() == 1 && visible(now[0]);
    })) << TWTestDesktop::run({"wmctrl", "-l", "-p"})
        << "log: " << (log_.empty() ? "" : log_[0]);
}

TEST_F(TWCommonX11Test, MenuToggleHidesAndShowsAndTwoInstancesAreBothHidden) {
    set(TWMinimizeKey, false);
    pid_t first = client("Twin");
    pid_t second = client("Twin");
    pid_t other = client("Other");
    auto menu = common().buildAppMenu();
    std::shared_ptr<TWMenuItem> twin;
    int twins = 0;
    for (const auto& item : menu->items())
        if (item->title() == "   Twin") {
            twin = item;
            ++twins;
        }
    ASSERT_EQ(twins, 2);
    twin->perform();
    EXPECT_TRUE(becomesIconic(first));
    x11_->sync();
    EXPECT_TRUE(visible(win(second))) << "only the first instance is toggled";
    twin->perform();
    EXPECT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->activeWindow() == win(first); }));

    common().showFinderHideOthers();

    settle();
    EXPECT_TRUE(becomesIconic(first));
    EXPECT_TRUE(becomesIconic(second));
    EXPECT_TRUE(becomesIconic(other));
}

TEST_F(TWCommonX11Test, AClientKilledDuringHideOthersCausesNoError) {
    set(TWMinimizeKey, false);
    pid_t doomed = client("Doomed", 2);
    pid_t stays = client("Stays");
    TWInterruptedDesktop<TWX11Desktop> interrupted(*x11_);
    interrupted.afterListing = [&] {
        kill(doomed, SIGKILL);
        TWTestDesktop::waitFor([&] { return desktop_->windowsOfPid(doomed).empty(); });
    };
    common(&interrupted).showFinderHideOthers();
    x11_->sync();
    EXPECT_TRUE(becomesIconic(stays));
    EXPECT_LE(log_.size(), 1u);
    for (const auto& line : log_)
        EXPECT_NE(line.find("already closed"), std::string::npos) << line;
}

} // namespace
