// SPDX-License-Identifier: MIT
// Login items as XDG autostart entries, programs started as detached processes.
#include "TWXDGServiceManagement.h"

#include "TWLog.h"
#include "TWProcessLauncher.h"
#include "TWProcessRegistry.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

constexpr const char* kLogClass = "TWXDGServiceManagement";

namespace {
bool isRegistered(const std::string& identifier) {
    for (const TWRegisteredProcess& process : TWProcessRegistry::registeredProcesses())
        if (process.bundleIdentifier == identifier)
            return true;
    return false;
}
} // namespace

TWXDGServiceManagement::TWXDGServiceManagement(std::map<std::string, std::string> programs,
                                               std::string autostartDirectory)
    : programs_(std::move(programs)), autostart_(std::move(autostartDirectory)) {}

std::string TWXDGServiceManagement::autostartEntryPath(const std::string& identifier) const {
    return autostart_.directory() + "/" + identifier + ".desktop";
}

bool TWXDGServiceManagement::setLoginItemEnabled(const std::string& identifier, bool enabled) {
    if (identifier.empty() || identifier.find('/') != std::string::npos)
        return false;
    if (!enabled) {
        const bool removed = autostart_.removeEntry(identifier + ".desktop");
        // The program stops with its login item, as it started with it.
        for (const TWRegisteredProcess& process : TWProcessRegistry::registeredProcesses())
            if (process.bundleIdentifier == identifier && process.pid != getpid())
                kill(process.pid, SIGTERM);
        return removed;
    }
    auto program = programs_.find(identifier);
    if (program == programs_.end()) {
        TWLog(LOG_ERR, kLogClass, "unknown login item \"" + identifier + "\"");
        return false;
    }
    if (!autostart_.writeEntry(
            identifier + ".desktop", "Tidewell Menu", program->second,
            {"Comment=Tidewell in the menu bar", "Icon=net.quillfen.Tidewell", "NoDisplay=true"}))
        return false;
    if (!isRegistered(identifier))
        launchApplication(program->second, TWLaunchWithoutActivation);
    return true;
}

bool TWXDGServiceManagement::launchApplication(const std::string& path, unsigned options) {
    (void)options; // X11 gives focus by the window manager's policy; nothing to ask here
    // A program started moments ago (by enabling its login item) is still starting: a second
    // start would only find it running and leave.
    const auto now = std::chrono::steady_clock::now();
    if (auto last = recentLaunches_.find(path);
        last != recentLaunches_.end() && now - last->second < std::chrono::seconds(5))
        return true;
    recentLaunches_[path] = now;
    if (access(path.c_str(), X_OK) != 0) {
        TWLog(LOG_ERR, kLogClass, "cannot launch " + path + ": " + std::strerror(errno));
        return false;
    }
    // A program that cannot be started (not a valid executable) is reported, not remembered.
    if (!TWProcessLauncher::spawnDetached({path})) {
        recentLaunches_.erase(path);
        return false;
    }
    return true;
}
