// SPDX-License-Identifier: MIT
// The desktop scenarios every compositor backend (KWin, GNOME Shell) must pass, written once
// against a driver: start a client, focus or minimize it by hand, and read each window's state
// through the compositor's own observer, never through Tidewell.
#pragma once

#include "TWCommon.h"
#include "TWCompositorWorkspace.h"
#include "TWProcessRegistry.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWTestDesktop.h"

#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <optional>
#include <poll.h>
#include <set>

// One compositor with a Tidewell backend connected to it. Window IDs are those of Tidewell's
// marks.
class TWCompositorDriver {
  public:
    virtual ~TWCompositorDriver() = default;
    virtual TWTestSession& session() = 0;
    virtual std::string error() const = 0; // why the compositor or the backend is not there
    virtual TWDesktop& desktop() = 0;
    virtual TWCompositorWorkspace& workspace() = 0;
    virtual void sync() = 0;       // until the compositor answered every request of Tidewell's
    virtual void killStrays() = 0; // what the code under test started detached
    // The file manager with one window in the home, and the identity it is listed with.
    virtual std::vector<std::string> fileManager() const = 0;
    virtual std::string fileManagerIdentifier() const = 0;
    // The observer: the process's first window once shown (empty when it is not in time), a
    // window's state (none: gone), the focused window (empty: none).
    virtual std::string windowOf(pid_t pid) = 0;
    virtual std::optional<bool> isMinimized(const std::string& window) = 0;
    virtual std::string activeWindow() = 0;
    // The user's hand.
    virtual void minimizeByHand(const std::string& window, bool minimized) = 0;
    virtual void activateByHand(const std::string& window) = 0;
    // Another client passes the focus between `windows` every 20 ms until the object goes.
    virtual std::shared_ptr<void> churnFocus(const std::vector<std::string>& windows) = 0;
    // Outputs side by side: how many, the one holding a window (-1: gone), and the user moving
    // a window to another (true once it is there).
    virtual int outputCount() = 0;
    virtual int outputOf(const std::string& window) = 0;
    virtual bool moveToOutput(const std::string& window, int output) = 0;
    // Something in the compositor undoes or fails the window's next `times` restores.
    virtual void refuseRestores(const std::string& window, int times) = 0;
    // What Tidewell left wrong or pending in the compositor; empty when nothing.
    virtual std::string leftovers() { return {}; }
};

using TWCompositorDriverFactory = std::unique_ptr<TWCompositorDriver> (*)();

// A test on one compositor: its driver, Tidewell's actions on it, the clients started.
class TWCompositorTest : public ::testing::Test {
  protected:
    explicit TWCompositorTest(TWCompositorDriverFactory factory) : factory_(factory) {}
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
            driver_->session().terminate(pid);
        driver_->killStrays();
        driver_.reset();
    }
    TWCompositorDriver& driver() { return *driver_; }
    TWTestSession& session() { return driver_->session(); }
    TWCommon& common() {
        if (!common_)
            common_ = std::make_unique<TWCommon>(driver_->desktop(), shared_);
        return *common_;
    }
    // Starts a client; its first window, and its process in `pid`.
    std::string client(const std::vector<std::string>& argv, pid_t* pid = nullptr) {
        clients_.push_back(session().spawn(argv));
        const std::string window = driver_->windowOf(clients_.back());
        EXPECT_FALSE(window.empty()) << argv[0] << " showed no window";
        if (pid)
            *pid = clients_.back();
        return window;
    }
    void crash(pid_t pid) {
        session().terminate(pid, SIGKILL);
        std::erase(clients_, pid);
    }
    bool becomes(const std::string& window, bool minimized) {
        return waitFor([&] { return driver_->isMinimized(window) == minimized; });
    }
    bool isActive(const std::string& window) {
        return waitFor([&] { return driver_->activeWindow() == window; });
    }
    void userMinimizes(const std::string& window, bool minimized) {
        driver_->minimizeByHand(window, minimized);
        ASSERT_TRUE(becomes(window, minimized));
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
    void exclude(const std::string& identifier) {
        shared_.setObject(TWPlistArray{TWPlistDictionary{{TWExcludedBundleIDField, identifier}}},
                          TWExcludedAppsKey);
    }
    // Hides every application of `pids` as hide-others does, without the rest of the action.
    void hideProcesses(const std::set<pid_t>& pids) {
        for (const auto& app : driver_->workspace().runningApplications())
            if (pids.count(app.processIdentifier))
                driver_->workspace().hide(app);
        driver_->workspace().flush();
    }
    TWHiddenMarks marks() { return driver_->workspace().record().read(); }

    TWUserDefaults shared_{std::make_shared<TWSimDefaultsStore>()},
        standard_{std::make_shared<TWSimDefaultsStore>()};

  private:
    TWCompositorDriverFactory factory_;
    std::unique_ptr<TWCompositorDriver> driver_;
    std::unique_ptr<TWCommon> common_;
    std::vector<pid_t> clients_;
};

// The shared scenarios; each compositor's test program instantiates them with its driver.
class TWCompositorScenarioTest : public TWCompositorTest,
                                 public ::testing::WithParamInterface<TWCompositorDriverFactory> {
  protected:
    TWCompositorScenarioTest() : TWCompositorTest(GetParam()) {}
};
