// Where the two settings stores live: files under the user's XDG configuration directory.
#include "TWStorePaths.h"

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

std::string TWStorePaths::configHome() {
    return configHome(std::getenv("XDG_CONFIG_HOME"), std::getenv("HOME"));
}

std::string TWStorePaths::configHome(const char* xdgConfigHome, const char* home) {
    // XDG base directories: a relative value is invalid and is ignored.
    if (xdgConfigHome && xdgConfigHome[0] == '/')
        return xdgConfigHome;
    std::string homeDir = home ? home : "";
    if (homeDir.empty()) {
        if (const passwd* pw = getpwuid(getuid()); pw && pw->pw_dir)
            homeDir = pw->pw_dir;
    }
    if (homeDir.empty())
        homeDir = "/";
    if (homeDir.size() > 1 && homeDir.back() == '/')
        homeDir.pop_back();
    return (homeDir == "/" ? std::string() : homeDir) + "/.config";
}

std::string TWStorePaths::storeDirectory() {
    return configHome() + "/tidewell";
}

std::string TWStorePaths::ownStorePath() {
    return storeDirectory() + "/net.quillfen.Tidewell.plist";
}

std::string TWStorePaths::sharedStorePath() {
    return storeDirectory() + "/shared.plist";
}
