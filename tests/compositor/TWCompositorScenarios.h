// SPDX-License-Identifier: MIT
// The desktop scenarios every compositor backend (KWin, GNOME Shell) must pass, written once
// against a small driver: start a client, focus or minimize it by hand, kill it, and read each
// window's state through the compositor's own observer, never through Tidewell.
#pragma once

#include "TWCommon.h"
#include "TWCompositorWorkspace.h"
#include "TWDesktop.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWTestDesktop.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

// One compositor with a Tidewell backend connected to it. Window IDs are the ones Tidewell's
// marks use.
class TWCompositorDriver {
  public:
    virtual ~TWCompositorDriver() = default;
    virtual TWTestSession& session() = 0;
    // Why the compositor or Tidewell's backend is not there; empty when both are.
    virtual std::string error() const = 0;
    virtual TWDesktop& desktop() = 0;
    virtual TWCompositorWorkspace& workspace() = 0;
    // Returns once the compositor has answered every request of Tidewell's sent so far.
    virtual void sync() = 0;
    // Kills what the code under test started detached (a file manager), leaving the compositor.
    virtual void killStrays() = 0;
    // The file manager with one window in the home, and the identity it is listed with.
    virtual std::vector<std::string> fileManager() const = 0;
    virtual std::string fileManagerIdentifier() const = 0;

    // The observer: the process's first window once the compositor shows it (empty when it
    // does not in time); every window; a window's state (none: gone); the focused window.
    virtual std::string windowOf(pid_t pid) = 0;
    virtual std::vector<std::string> windows() = 0;
    virtual std::optional<bool> isMinimized(const std::string& window) = 0;
    virtual std::string activeWindow() = 0;
    // What the user does through the compositor.
    virtual void minimizeByHand(const std::string& window, bool minimized) = 0;
    virtual void activateByHand(const std::string& window) = 0;
    // Another client passes the focus between `windows` every 20 ms until the object goes.
    virtual std::shared_ptr<void> churnFocus(const std::vector<std::string>& windows) = 0;
    // Something in the compositor undoes or fails the next `times` restores of the window.
    virtual void refuseRestores(const std::string& window, int times) = 0;
    // What Tidewell left pending in the compositor after its requests; empty when nothing.
    virtual std::string leftovers() { return {}; }
};

using TWCompositorDriverFactory = std::unique_ptr<TWCompositorDriver> (*)();

// A test on one compositor: the driver, Tidewell's actions on it, the clients it started.
class TWCompositorTest : public ::testing::Test {
  protected:
    explicit TWCompositorTest(TWCompositorDriverFactory factory) : factory_(factory) {}
    void SetUp() override;
    void TearDown() override;
    TWCompositorDriver& driver() { return *driver_; }
    TWTestSession& session() { return driver_->session(); }
    TWCommon& common();
    // Starts a client; its first window, and its process in `pid`.
    std::string client(const std::vector<std::string>& argv, pid_t* pid = nullptr);
    void kill(pid_t pid); // SIGKILL, as a crash would
    // The observer settling on a state within the deadline.
    bool becomes(const std::string& window, bool minimized);
    bool isActive(const std::string& window);
    void userMinimizes(const std::string& window, bool minimized);
    // Handles the backend's events until `condition` holds.
    bool dispatchUntil(const std::function<bool()>& condition);
    void exclude(const std::string& identifier);
    // Hides every application of `pids` as hide-others does, without the rest of the action.
    void hideProcesses(const std::set<pid_t>& pids);
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
