// SPDX-License-Identifier: MIT
// The desktop scenarios' driver interface and fixture, one driver per desktop.
#pragma once

#include "TWCommon.h"
#include "TWDesktop.h"
#include "TWProcessRegistry.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWTestDesktop.h"
#include "TWTestPaths.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <functional>
#include <memory>
#include <optional>
#include <poll.h>
#include <set>
#include <thread>

inline constexpr const char* kFlowerName = "Test Flower";
// Absolute: KWin compares the desktop entry's Exec with the client's executable path.
inline const std::string kTool = TWTestProgramPath("tidewellctl");

// A program the scenarios start, and the identity Tidewell lists it with.
struct TWDriverProgram {
    std::vector<std::string> argv;
    std::string identifier;
};

// What only some drivers can do; a scenario (or the part of one) needing it skips, with the
// driver's reason, on the others.
enum class TWDriverFeature {
    Workspaces,
    Outputs,
    OtherProcesses,      // Tidewell's command-line tool and a second backend see the same desktop
    MinimizedByHand,     // a window the user minimized is not taken for one Tidewell hid
    FocusChurn,          // another client changes the focus while Tidewell acts
    RefusedRestores,     // something in the desktop refuses Tidewell's restores
    RefusedPerWindow,    // ... one window's only, a given number of times
    ServiceGone,         // the window manager or Tidewell's extension gone and back
    ShowsWithoutService, // ... and a show-all made while it is gone shows every window
    LateMinimize,        // another process's minimize landing after a show-all keeps its mark
};

// One desktop with a Tidewell backend connected to it. Windows are named as Tidewell's marks
// name them.
class TWDesktopDriver {
  public:
    virtual ~TWDesktopDriver() = default;
    virtual std::string error() const = 0; // why the desktop or the backend is not there
    virtual TWDesktop& desktop() = 0;
    virtual void sync() = 0;       // until the desktop answered every request of Tidewell's
    virtual void killStrays() = 0; // what the code under test started detached
    // Starts a program; ends it (`signal` SIGKILL: a crash) and waits for it.
    virtual pid_t start(const std::vector<std::string>& argv) = 0;
    virtual void end(pid_t pid, int signal = SIGTERM) = 0;
    // The file manager (one window) and two applications (the flower listed as kFlowerName).
    virtual TWDriverProgram fileManager() const = 0;
    virtual TWDriverProgram terminal() const = 0;
    virtual TWDriverProgram flower() const = 0;
    // A second process of the file manager with a window of its own.
    virtual TWDriverProgram secondFileManager() const { return fileManager(); }
    // Tidewell's record of hidden windows, as another Tidewell process reads it.
    virtual std::set<std::string> marks() = 0;
    // Another Tidewell process's mark on the window, its minimize still on the way.
    virtual void markAsAnotherProcess(const std::string&) {}
    // The observer: the process's first window once shown (empty when it is not in time), a
    // window's state (none: gone), the focused window (empty: none).
    virtual std::string windowOf(pid_t pid) = 0;
    virtual std::optional<bool> isMinimized(const std::string& window) = 0;
    virtual std::string activeWindow() = 0;
    // The user's hand.
    virtual void minimizeByHand(const std::string& window, bool minimized) = 0;
    virtual void activateByHand(const std::string& window) = 0;
    // Another client passes the focus between `windows` every 20 ms until the object goes.
    virtual std::shared_ptr<void> churnFocus(const std::vector<std::string>&) { return {}; }
    // Something in the desktop undoes or fails the window's next `times` restores.
    virtual void refuseRestores(const std::string&, int) {}
    // What Tidewell left wrong or pending in the desktop; empty when nothing.
    virtual std::string leftovers() { return {}; }
    // Opens the backend anew, as another Tidewell process would.
    virtual void reopen() {}
    // Follows the desktop's answers to Tidewell's requests as the application's event loop would.
    virtual void settle() {}
    // The window manager or Tidewell's extension goes or comes back, as the observer shows.
    virtual void setServiceGone(bool) { ADD_FAILURE() << "no service to take away"; }

    // Why the driver cannot do `feature`; empty when it can.
    virtual std::string lacks(TWDriverFeature feature) const {
        switch (feature) {
        case TWDriverFeature::Workspaces:
            return "this desktop's driver has no second workspace";
        case TWDriverFeature::Outputs:
            return "this desktop's driver has no second output";
        case TWDriverFeature::ServiceGone:
            return "this desktop's driver cannot take its window manager away";
        case TWDriverFeature::ShowsWithoutService:
            return "Tidewell acts on this desktop only through the service";
        case TWDriverFeature::LateMinimize:
            return "this desktop's driver cannot write another process's mark";
        default:
            return {};
        }
    }
    // Workspaces and outputs from 0, as the observer reports them; moves return once done.
    virtual int currentWorkspace() { return 0; }
    virtual int workspaceOf(const std::string&) { return 0; }
    virtual void moveToWorkspace(const std::string&, int) { ADD_FAILURE() << "no workspaces"; }
    virtual void switchToWorkspace(int) { ADD_FAILURE() << "no workspaces"; }
    virtual int outputOf(const std::string&) { return 0; }
    virtual void moveToOutput(const std::string&, int) { ADD_FAILURE() << "no outputs"; }
};

// Calls `step` with 0, 1, 2... every 20 ms on a thread of its own until the object goes.
inline std::shared_ptr<void> TWEvery20ms(std::function<void(std::size_t)> step) {
    struct Loop {
        std::atomic<bool> stop = false;
        std::thread thread;
        ~Loop() {
            stop = true;
            thread.join();
        }
    };
    auto loop = std::make_shared<Loop>();
    loop->thread = std::thread([step = std::move(step), stop = &loop->stop] {
        for (std::size_t n = 0; !*stop; ++n) {
            step(n);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    return loop;
}

// A driver on a test session: the programs it starts are the session's.
class TWSessionDriver : public TWDesktopDriver {
  public:
    explicit TWSessionDriver(TWTestSession& session) : testSession_(session) {}
    void killStrays() override { testSession_.killStrays(); }
    pid_t start(const std::vector<std::string>& argv) override { return testSession_.spawn(argv); }
    void end(pid_t pid, int signal) override { testSession_.terminate(pid, signal); }

  protected:
    TWTestSession& testSession_;
};

using TWDesktopDriverFactory = std::function<std::unique_ptr<TWDesktopDriver>()>;

// A desktop's driver for the scenarios, with the name its runs carry (…/openbox, …/kwin).
struct TWDriverMaker {
    std::string name;
    TWDesktopDriverFactory make;
};
template <class Driver, class... Args> TWDriverMaker TWMakeDriver(std::string name, Args... args) {
    return {std::move(name), [=] { return std::make_unique<Driver>(args...); }};
}
inline std::string TWDriverName(const ::testing::TestParamInfo<TWDriverMaker>& info) {
    return info.param.name;
}

// A test on one desktop: its driver, Tidewell's actions on it, the clients started.
class TWDesktopTest : public ::testing::Test {
  protected:
    explicit TWDesktopTest(TWDesktopDriverFactory factory) : factory_(std::move(factory)) {}
    void SetUp() override {
        driver_ = factory_();
        ASSERT_TRUE(driver_->error().empty()) << driver_->error();
        TWRegisterDefaults(standard_, shared_);
        TWProcessRegistry::registerCurrentProcess(TWOwnBundleIdentifier, TWOwnName, 0);
    }
    void TearDown() override {
        TWProcessRegistry::unregisterCurrentProcess();
        common_.reset();
        for (pid_t pid : clients_)
            driver_->end(pid);
        driver_->killStrays();
        driver_.reset();
    }
    TWDesktopDriver& driver() { return *driver_; }
    TWCommon& common() {
        if (!common_)
            common_ = std::make_unique<TWCommon>(driver_->desktop(), shared_);
        return *common_;
    }
    // Starts a client; its first window, and its process in `pid`.
    std::string client(const TWDriverProgram& program, pid_t* pid = nullptr) {
        clients_.push_back(driver_->start(program.argv));
        const std::string window = driver_->windowOf(clients_.back());
        EXPECT_FALSE(window.empty()) << program.argv[0] << " showed no window";
        if (pid)
            *pid = clients_.back();
        return window;
    }
    void crash(pid_t pid) {
        driver_->end(pid, SIGKILL);
        std::erase(clients_, pid);
    }
    bool becomes(const std::string& window, bool minimized) {
        return waitFor([&] { return driver_->isMinimized(window) == minimized; });
    }
    bool isActive(const std::string& window) {
        return waitFor([&] { return driver_->activeWindow() == window; });
    }
    // The user's minimize or restore, or bringing `window` of `program` to the front, followed by
    // Tidewell's event loop as a running Tidewell follows it.
    void userMinimizes(const std::string& window, bool minimized) {
        driver_->minimizeByHand(window, minimized);
        ASSERT_TRUE(dispatchUntil([&] { return driver_->isMinimized(window) == minimized; }));
    }
    void userActivates(const std::string& window, const TWDriverProgram& program) {
        common(); // running before the switch, to follow it
        driver_->activateByHand(window);
        ASSERT_TRUE(dispatchUntil([&] {
            return common().currentActiveBundleID() == program.identifier;
        })) << program.identifier;
    }
    // Handles the backend's events until `condition` holds.
    bool dispatchUntil(const std::function<bool()>& condition) {
        return waitFor([&] {
            pollfd pfd{driver_->desktop().eventFileDescriptor(), POLLIN, 0};
            poll(&pfd, 1, 20);
            driver_->desktop().dispatchPendingEvents();
            return condition();
        });
    }
    // Tidewell's actions from here on as a process of their own runs them (the command-line
    // tool's): a backend opened anew, no front switch followed.
    void newProcess() {
        common_.reset();
        driver_->reopen();
    }
    // The actions as a user starts them, followed until the desktop has answered.
    void hideOthers() {
        common().showFinderHideOthers();
        driver_->settle();
    }
    void showAll() {
        common().showAll();
        driver_->settle();
    }
    void exclude(const std::string& identifier) {
        shared_.setObject(TWPlistArray{TWPlistDictionary{{TWExcludedBundleIDField, identifier}}},
                          TWExcludedAppsKey);
    }
    // Hides every application of `pids` as hide-others does, without the rest of the action,
    // and follows the desktop's answers unless `settle` is false.
    void hideProcesses(const std::set<pid_t>& pids, bool settle = true) {
        auto& workspace = driver_->desktop().workspace();
        for (const auto& app : workspace.runningApplications())
            if (pids.count(app.processIdentifier))
                workspace.hide(app);
        workspace.flush();
        if (settle)
            driver_->settle();
    }
    std::set<std::string> marks() { return driver_->marks(); }

    TWUserDefaults shared_{std::make_shared<TWSimDefaultsStore>()},
        standard_{std::make_shared<TWSimDefaultsStore>()};

  private:
    TWDesktopDriverFactory factory_;
    std::unique_ptr<TWDesktopDriver> driver_;
    std::unique_ptr<TWCommon> common_;
    std::vector<pid_t> clients_;
};

// The shared scenarios; each desktop's test program instantiates them with its driver.
class TWScenarioTest : public TWDesktopTest, public ::testing::WithParamInterface<TWDriverMaker> {
  protected:
    TWScenarioTest() : TWDesktopTest(GetParam().make) {}
};
