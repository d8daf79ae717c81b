// SPDX-License-Identifier: MIT
// The desktop actions on a headless KWin with real Wayland clients, checked through KWin's own
// D-Bus description of each window: listing and identity, hide-others and show-all with the
// file manager, an exclusion and a window the user minimized, front switches, the menu toggle,
// a client killed mid-action, and what the backend factory says on each compositor.
#include "TWKWinDesktop.h"
#include "TWCommon.h"
#include "TWInterruptedDesktop.h"
#include "TWKWinTestDesktop.h"
#include "TWLog.h"
#include "TWPlatformFactory.h"
#include "TWProcessRegistry.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWTestDesktop.h"
#include "TWTestPaths.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <poll.h>

namespace {

const std::string kTerminal = "org.freedesktop.weston.wayland-terminal";
const std::string kFlower = "org.freedesktop.weston.flower";
const std::string kFileManager = "thunar";

// Absolute: KWin compares the desktop entry's Exec with the client's executable path.
std::string tool() {
    return TWTestProgramPath("tidewell-x11");
}

class TWKWinDesktopTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { session_ = new TWKWinTestDesktop({tool()}); }
    static void TearDownTestSuite() {
        delete session_;
        session_ = nullptr;
    }
    void SetUp() override {
        ASSERT_TRUE(session_->ok()) << session_->error();
        std::string why;
        kwin_ = TWKWinDesktop::open("", &why);
        ASSERT_NE(kwin_, nullptr) << why;
        // "The user": a second client of the window management, as a taskbar would be.
        user_ = TWKWinDesktop::open("", &why);
        ASSERT_NE(user_, nullptr) << why;
        shared_ = std::make_unique<TWUserDefaults>(std::make_shared<TWSimDefaultsStore>());
        standard_ = std::make_unique<TWUserDefaults>(std::make_shared<TWSimDefaultsStore>());
        TWRegisterDefaults(*standard_, *shared_);
        TWProcessRegistry::registerCurrentProcess(TWOwnBundleIdentifier, TWOwnName, 0);
    }
    void TearDown() override {
        TWProcessRegistry::unregisterCurrentProcess();
        common_.reset();
        kwin_.reset();
        user_.reset();
        for (pid_t pid : clients_)
            session_->terminate(pid);
        // A file manager the actions started runs on its own.
        session_->killStrays();
    }
    TWCommon& common(TWDesktop* desktop = nullptr) {
        if (!common_)
            common_ = std::make_unique<TWCommon>(desktop ? *desktop : *kwin_, *shared_);
        return *common_;
    }

    // Starts a client and waits until KWin describes `windows` windows of it.
    pid_t client(const std::vector<std::string>& argv, std::size_t windows = 1) {
        pid_t pid = session_->spawn(argv);
        clients_.push_back(pid);
        EXPECT_TRUE(TWTestDesktop::waitFor([&] { return windowsOf(pid).size() >= windows; }))
            << argv[0] << " showed no window";
        return pid;
    }
    std::vector<TWKWinWindow> windowsOf(pid_t pid) {
        std::vector<TWKWinWindow> out;
        for (const auto& w : user_->connection().snapshot().windows)
            if (w.pid == pid)
                out.push_back(w);
        return out;
    }
    std::string window(pid_t pid) {
        auto list = windowsOf(pid);
        return list.empty() ? std::string() : list.front().uuid;
    }
    // What KWin itself says, once it settles on `minimized`.
    bool becomes(const std::string& uuid, bool minimized) {
        return TWTestDesktop::waitFor([&] { return session_->isMinimized(uuid) == minimized; });
    }
    bool isActive(const std::string& uuid) {
        return TWTestDesktop::waitFor([&] {
            auto snapshot = user_->connection().snapshot();
            return snapshot.activeWindow == uuid;
        });
    }
    void userActivates(const std::string& uuid) {
        user_->connection().activate(uuid);
        user_->connection().sync();
    }
    void userMinimizes(const std::string& uuid, bool minimized) {
        user_->connection().setMinimized(uuid, minimized);
        user_->connection().sync();
        ASSERT_TRUE(becomes(uuid, minimized));
    }
    TWKWinHiddenMarks marks() { return kwin_->kwinWorkspace().record().read(); }
    void pumpUntil(const std::function<bool()>& condition) {
        EXPECT_TRUE(TWTestDesktop::waitFor([&] {
            pollfd pfd{kwin_->eventFileDescriptor(), POLLIN, 0};
            poll(&pfd, 1, 20);
            kwin_->dispatchPendingEvents();
            return condition();
        }));
    }
    pid_t fileManager() { return client({"thunar", session_->home()}); }

    static inline TWKWinTestDesktop* session_ = nullptr;
    std::unique_ptr<TWKWinDesktop> kwin_, user_;
    std::unique_ptr<TWUserDefaults> shared_, standard_;
    std::unique_ptr<TWCommon> common_;
    std::vector<pid_t> clients_;
};

TEST_F(TWKWinDesktopTest, ApplicationsAreListedByProcessWithTheirDesktopEntryIdentity) {
    session_->writeDesktopEntry(kFlower, "[Desktop Entry]\nType=Application\nName=Test Flower\n"
                                         "Exec=weston-flower\n");
    pid_t terminal = client({"weston-terminal"});
    pid_t flowerA = client({"weston-flower"});
    pid_t flowerB = client({"weston-flower"});

    auto apps = kwin_->workspace().runningApplications();
    auto find = [&](pid_t pid) -> const TWRunningApplication* {
        for (const auto& a : apps)
            if (a.processIdentifier == pid)
                return &a;
        return nullptr;
    };
    for (pid_t pid : {terminal, flowerA, flowerB})
        ASSERT_NE(find(pid), nullptr) << pid;
    EXPECT_EQ(find(terminal)->bundleIdentifier, kTerminal);
    EXPECT_EQ(find(terminal)->activationPolicy, TWActivationPolicyRegular);
    // Two copies of one application: two entries, one identity, the desktop entry's name.
    EXPECT_EQ(find(flowerA)->bundleIdentifier, kFlower);
    EXPECT_EQ(find(flowerB)->bundleIdentifier, kFlower);
    EXPECT_NE(find(flowerA)->handle, find(flowerB)->handle);
    EXPECT_EQ(find(flowerA)->localizedName, "Test Flower");
    // Tidewell itself is listed through its registration, as on X11.
    EXPECT_TRUE(std::any_of(apps.begin(), apps.end(), [](const TWRunningApplication& a) {
        return a.bundleIdentifier == TWOwnBundleIdentifier && a.processIdentifier == getpid();
    }));
    // The command-line tool sees the same desktop.
    std::string listing = TWTestDesktop::run({tool(), "list"});
    EXPECT_NE(listing.find(kTerminal), std::string::npos) << listing;
}

TEST_F(TWKWinDesktopTest, HideOthersThenShowAllRestoresOnlyWhatItHid) {
    pid_t fm = fileManager();
    pid_t terminal = client({"weston-terminal"});
    pid_t flower = client({"weston-flower"});
    pid_t minimizedByUser = client({"weston-flower"});
    std::string fmWindow = window(fm), terminalWindow = window(terminal),
                flowerWindow = window(flower), userWindow = window(minimizedByUser);
    userMinimizes(userWindow, true);
    TWPlistDictionary excluded{{TWExcludedBundleIDField, kTerminal}};
    shared_->setObject(TWPlistArray{excluded}, TWExcludedAppsKey);

    common().showFinderHideOthers();
    EXPECT_TRUE(becomes(flowerWindow, true));
    EXPECT_TRUE(becomes(fmWindow, true)); // collapsed: the file manager's windows
    EXPECT_EQ(session_->isMinimized(terminalWindow), false);
    // Only what Tidewell minimized is on record, where every Tidewell process reads it.
    auto record = marks();
    EXPECT_EQ(record.size(), 1u);
    EXPECT_TRUE(record.count(flowerWindow));
    auto apps = user_->workspace().runningApplications();
    for (const auto& a : apps) {
        if (a.processIdentifier == flower) {
            EXPECT_TRUE(a.hidden);
        }
    }

    common().showAll();
    EXPECT_TRUE(becomes(flowerWindow, false));
    EXPECT_EQ(session_->isMinimized(userWindow), true);
    EXPECT_EQ(session_->isMinimized(fmWindow), true);
    EXPECT_TRUE(marks().empty());
    EXPECT_FALSE(std::filesystem::exists(kwin_->kwinWorkspace().record().path()));

    // Hidden again, brought back and minimized again by the user: show-all leaves it so.
    common().showFinderHideOthers();
    ASSERT_TRUE(becomes(flowerWindow, true));
    userMinimizes(flowerWindow, false);
    userMinimizes(flowerWindow, true);
    common().showAll();
    // Nothing to wait for: give KWin the time of a full answer, then look.
    kwin_->connection().sync();
    EXPECT_EQ(session_->isMinimized(flowerWindow), true);
    EXPECT_TRUE(marks().empty());
}

TEST_F(TWKWinDesktopTest, TheFrontApplicationIsRecordedAndActivatedAgainByShowAllOrTheMenuToggle) {
    pid_t terminal = client({"weston-terminal"});
    pid_t flower = client({"weston-flower"});
    std::string terminalWindow = window(terminal), flowerWindow = window(flower);
    common();
    userActivates(terminalWindow);
    pumpUntil([&] { return common().currentActiveBundleID() == kTerminal; });
    userActivates(flowerWindow);
    pumpUntil([&] { return common().currentActiveBundleID() == kFlower; });
    userActivates(terminalWindow);
    pumpUntil([&] { return common().currentActiveBundleID() == kTerminal; });

    common().showFinderHideOthers();
    ASSERT_TRUE(becomes(terminalWindow, true));
    common().showAll();
    EXPECT_TRUE(becomes(terminalWindow, false));
    EXPECT_TRUE(isActive(terminalWindow));

    // The menu toggle hides a shown application and brings a hidden one forward.
    common().activateApplicationWithBundleID(kTerminal, true);
    EXPECT_TRUE(becomes(terminalWindow, true));
    EXPECT_EQ(marks().count(terminalWindow), 1u);
    common().activateApplicationWithBundleID(kTerminal, true);
    EXPECT_TRUE(becomes(terminalWindow, false));
    EXPECT_TRUE(isActive(terminalWindow));
    EXPECT_TRUE(marks().empty());
}

TEST_F(TWKWinDesktopTest, AClientKilledMidActionLeavesTheRestHiddenAndRestorable) {
    pid_t terminal = client({"weston-terminal"});
    pid_t flower = client({"weston-flower"});
    std::string terminalWindow = window(terminal), flowerWindow = window(flower);
    TWInterruptedDesktop<TWKWinDesktop> interrupted(*kwin_);
    interrupted.afterListing = [&] {
        session_->terminate(flower, SIGKILL);
        std::erase(clients_, flower);
    };
    common(&interrupted).showFinderHideOthers();
    EXPECT_TRUE(becomes(terminalWindow, true));
    EXPECT_EQ(session_->isMinimized(flowerWindow), std::nullopt);
    common().showAll();
    EXPECT_TRUE(becomes(terminalWindow, false));
    // The dead window's mark, if it got one, went with the window.
    kwin_->workspace().runningApplications();
    EXPECT_TRUE(marks().empty());
}

TEST_F(TWKWinDesktopTest, TheFactoryChoosesKWinAndSaysWhatIsMissingElsewhere) {
    EXPECT_NE(dynamic_cast<TWKWinDesktop*>(TWMakeDesktop(TWDesktopKind::Session).get()), nullptr);
    // A program KWin was not told about gets no window management.
    std::string denied =
        TWTestDesktop::run({"sh", "-c",
                            "cp '" + tool() + "' '" + session_->home() + "/other' && '" +
                                session_->home() + "/other' list 2>&1; echo status=$?"});
    EXPECT_NE(denied.find("X-KDE-Wayland-Interfaces=org_kde_plasma_window_management"),
              std::string::npos)
        << denied;
    EXPECT_NE(denied.find("status=1"), std::string::npos) << denied;

    // weston offers no such protocol, as GNOME does not.
    std::string socket = session_->socket() + "-weston";
    pid_t weston = session_->spawn(
        {"weston", "--backend=headless-backend.so", "--socket=" + socket, "--idle-time=0"});
    std::string runtime = std::getenv("XDG_RUNTIME_DIR");
    ASSERT_TRUE(
        TWTestDesktop::waitFor([&] { return std::filesystem::exists(runtime + "/" + socket); }));
    std::string saved = std::getenv("WAYLAND_DISPLAY");
    setenv("WAYLAND_DISPLAY", socket.c_str(), 1);
    std::string why;
    std::unique_ptr<TWDesktop> desktop;
    TWTestDesktop::waitFor([&] {
        desktop = TWMakeDesktop(TWDesktopKind::Session, &why);
        return why.rfind("cannot connect", 0) != 0;
    });
    setenv("WAYLAND_DISPLAY", saved.c_str(), 1);
    session_->terminate(weston);
    EXPECT_EQ(desktop, nullptr);
    EXPECT_EQ(why, "this desktop does not let other programs hide windows");
}

} // namespace
