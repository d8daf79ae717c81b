// SPDX-License-Identifier: MIT
// The desktop scenarios on the simulated desktop.
#include "TWSimDesktop.h"
#include "TWScenarios.h"

#include <gtest/gtest.h>

#include <map>

namespace {

// Windows are "app <handle>" (an application's, minimized while it is hidden) and "fm <id>" (a
// file-manager window, minimized while collapsed or while its application is hidden); pids are
// made up. The simulated desktop's own state is the observer.
class TWSimDriver : public TWDesktopDriver {
  public:
    // Tidewell is running, as its registration lists it on the other desktops.
    TWSimDriver() {
        sim_.setFileManagerBundleIdentifier(fileManager().identifier);
        sim_.launchApplication(TWOwnBundleIdentifier, TWOwnName, TWActivationPolicyRegular,
                               getpid());
    }
    std::string error() const override { return {}; }
    TWDesktop& desktop() override { return sim_; }
    void sync() override {}
    void killStrays() override {}
    pid_t start(const std::vector<std::string>& argv) override {
        static const std::map<std::string, std::string> names = {
            {"files", "Files"}, {"terminal", "Terminal"}, {"flower", kFlowerName}};
        const pid_t pid = nextPid_++;
        handles_[pid] = sim_.launchApplication("org.example." + argv[0], names.at(argv[0]),
                                               TWActivationPolicyRegular, pid);
        if (argv[0] == "files")
            fileManagerWindows_[pid] = sim_.addFileManagerWindow("home " + std::to_string(pid));
        sim_.makeActive(handles_[pid]);
        return pid;
    }
    void end(pid_t pid, int) override { sim_.quitApplication(handles_.at(pid)); }
    TWDriverProgram fileManager() const override { return {{"files"}, "org.example.files"}; }
    TWDriverProgram terminal() const override { return {{"terminal"}, "org.example.terminal"}; }
    TWDriverProgram flower() const override { return {{"flower"}, "org.example.flower"}; }
    std::set<std::string> marks() override {
        std::set<std::string> marked;
        for (const auto& [pid, handle] : handles_)
            if (auto app = sim_.application(handle); app && app->hidden)
                marked.insert(windowOf(pid));
        return marked;
    }
    std::string windowOf(pid_t pid) override {
        auto fm = fileManagerWindows_.find(pid);
        return fm != fileManagerWindows_.end() ? "fm " + std::to_string(fm->second)
                                               : "app " + std::to_string(handles_.at(pid));
    }
    std::optional<bool> isMinimized(const std::string& window) override {
        const std::uint64_t id = std::stoull(window.substr(window.find(' ') + 1));
        if (window.starts_with("app ")) {
            const auto app = sim_.application(id);
            return app ? std::optional<bool>(app->hidden) : std::nullopt;
        }
        for (const auto& w : sim_.fileManagerWindows())
            if (w.id == id)
                return w.collapsed || isMinimized("app " + std::to_string(ownerOf(id))) == true;
        return std::nullopt;
    }
    // The file manager's front window when it is active.
    std::string activeWindow() override {
        const auto fm = sim_.fileManagerWindows();
        for (const auto& [pid, handle] : handles_)
            if (auto app = sim_.application(handle); app && app->active)
                return fileManagerWindows_.count(pid) && !fm.empty()
                           ? "fm " + std::to_string(fm.front().id)
                           : windowOf(pid);
        return {};
    }
    void minimizeByHand(const std::string& window, bool minimized) override {
        if (window.starts_with("fm "))
            sim_.setWindowCollapsed(std::stoull(window.substr(3)), minimized);
        else
            sim_.setHidden(std::stoull(window.substr(4)), minimized);
    }
    void activateByHand(const std::string& window) override {
        sim_.makeActive(std::stoull(window.substr(4)));
    }
    std::string lacks(TWDriverFeature feature) const override {
        switch (feature) {
        case TWDriverFeature::OtherProcesses:
            return "the simulated desktop lives in this process";
        case TWDriverFeature::MinimizedByHand:
            return "the simulated desktop hides whole applications: show-all shows every one";
        case TWDriverFeature::FocusChurn:
            return "the simulated desktop switches the front application on the caller's thread";
        case TWDriverFeature::RefusedRestores:
        case TWDriverFeature::RefusedPerWindow:
            return "the simulated desktop carries out every request";
        default:
            return TWDesktopDriver::lacks(feature);
        }
    }

  private:
    std::uint64_t ownerOf(std::uint64_t window) const {
        for (const auto& [pid, id] : fileManagerWindows_)
            if (id == window)
                return handles_.at(pid);
        return 0;
    }
    TWSimDesktop sim_;
    pid_t nextPid_ = 100000;
    std::map<pid_t, std::uint64_t> handles_, fileManagerWindows_;
};

INSTANTIATE_TEST_SUITE_P(Sim, TWScenarioTest, ::testing::Values(TWMakeDriver<TWSimDriver>("sim")),
                         TWDriverName);

} // namespace
