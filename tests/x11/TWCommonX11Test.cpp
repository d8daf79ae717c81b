// The desktop actions on the real X11 backend, checked by an independent observer (xprop,
// wmctrl): hide-others, show-all, the file manager's settings, the menu toggle, front switches.
#include "TWCommon.h"
#include "TWLog.h"
#include "TWProcessRegistry.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWTestDesktopSuite.h"
#include "TWX11Desktop.h"

#include <gtest/gtest.h>

#include <csignal>
#include <poll.h>

namespace {

// The X11 desktop with one hook: something that happens right after the running list is taken.
class TWInterruptedDesktop : public TWDesktop, public TWWorkspace {
  public:
    explicit TWInterruptedDesktop(TWX11Desktop& real) : real_(real) {}
    std::function<void()> afterListing;
    TWWorkspace& workspace() override { return *this; }
    TWScriptingBridge& scriptingBridge() override { return real_.scriptingBridge(); }
    TWFrontSwitchSource& frontSwitchSource() override { return real_.frontSwitchSource(); }
    TWKeyboard& keyboard() override { return real_.keyboard(); }
    TWAppleEventSender& appleEventSender() override { return real_.appleEventSender(); }
    TWSystemSound& systemSound() override { return real_.systemSound(); }
    std::vector<TWRunningApplication> runningApplications() override {
        auto list = real_.workspace().runningApplications();
        if (afterListing)
            std::exchange(afterListing, nullptr)();
        return list;
    }
    void hide(const TWRunningApplication& a) override { real_.workspace().hide(a); }
    void unhide(const TWRunningApplication& a) override { real_.workspace().unhide(a); }
    void activateWithOptions(const TWRunningApplication& a, unsigned o) override {
        real_.workspace().activateWithOptions(a, o);
    }
    void flush() override { real_.workspace().flush(); }
    bool openURL(const std::string& url) override { return real_.workspace().openURL(url); }
    std::string fileManagerBundleIdentifier() override {
        return real_.workspace().fileManagerBundleIdentifier();
    }

  private:
    TWX11Desktop& real_;
};

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
        EXPECT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->windowsOfPid(fm).size() == 1; }));
        for (int i = 1; i < windows; ++i) {
            TWTestDesktop::run({"pcmanfm", "-n", desktop_->home()});
            EXPECT_TRUE(TWTestDesktop::waitFor(
                [&] { return static_cast<int>(desktop_->windowsOfPid(fm).size()) == i + 1; }));
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
    void settle() { EXPECT_TRUE(x11_->x11Workspace().settle(std::chrono::seconds(15))); }
    void pumpUntil(const std::function<bool()>& condition) {
        EXPECT_TRUE(TWTestDesktop::waitFor([&] {
            pollfd pfd{x11_->eventFileDescriptor(), POLLIN, 0};
            poll(&pfd, 1, 20);
            x11_->dispatchPendingEvents();
            return condition();
        }));
    }

    std::unique_ptr<TWX11Desktop> x11_;
    std::shared_ptr<TWSimDefaultsStore> store_;
    std::unique_ptr<TWUserDefaults> standard_, shared_;
    std::unique_ptr<TWCommon> common_;
    std::vector<pid_t> clients_;
    std::vector<std::string> log_;
};

TEST_F(TWCommonX11Test, HideOthersThenShowAllRestoresWhatItHidAndTheAppInFront) {
    set(TWMinimizeKey, false);
    TWPlistDictionary record;
    record[TWExcludedBundleIDField] = std::string("Kept");
    shared_->setObject(TWPlistArray{TWPlistValue(record)}, TWExcludedAppsKey);
    pid_t fm = fileManager(1);
    pid_t a = client("Alpha", 2);
    pid_t b = client("Beta");
    pid_t kept = client("Kept");
    pid_t tray = client("Tray", 1, {"--skip-taskbar"});
    // The user minimized one window of Alpha before.
    TWTestDesktop::run({"xdotool", "windowminimize", std::to_string(win(a, 1))});
    ASSERT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->isIconic(win(a, 1)); }));
    TWCommon& tw = common();
    TWTestDesktop::run({"wmctrl", "-i", "-a", std::to_string(win(b))});
    pumpUntil([&] { return tw.currentActiveBundleID() == std::optional<std::string>("Beta"); });

    tw.showFinderHideOthers();

    settle();
    EXPECT_TRUE(becomesIconic(a));
    EXPECT_TRUE(becomesIconic(b));
    EXPECT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->activeWindow() == win(fm); }));
    EXPECT_TRUE(visible(win(fm)));
    EXPECT_TRUE(visible(win(kept)));
    EXPECT_TRUE(visible(win(tray)));

    // The file manager brought forward is a front switch like any other: it is what show-all
    // brings back (the event may come in during the settling above or only now).
    pumpUntil([&] { return tw.currentActiveBundleID() == std::optional<std::string>("pcmanfm"); });
    TWTestDesktop::run({"wmctrl", "-i", "-a", std::to_string(win(kept))});
    pumpUntil([&] { return tw.currentActiveBundleID() == std::optional<std::string>("Kept"); });

    tw.showAll();

    settle();
    EXPECT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->activeWindow() == win(kept); }));
    EXPECT_TRUE(TWTestDesktop::waitFor([&] { return visible(win(a, 0)); }));
    x11_->sync();
    EXPECT_TRUE(desktop_->isIconic(win(a, 1))) << "the user's minimized window stays minimized";
    EXPECT_TRUE(visible(win(b)));
    EXPECT_TRUE(log_.empty()) << log_.front();
}

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
    TWInterruptedDesktop interrupted(*x11_);
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
