// SPDX-License-Identifier: MIT
// The user's XDG base directories and the private-directory check.
#include "TWBaseDirectories.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

std::string TWBaseDirectories::configHome() {
    return configHome(std::getenv("XDG_CONFIG_HOME"), std::getenv("HOME"));
}

std::string TWBaseDirectories::configHome(const char* xdgConfigHome, const char* home) {
    // XDG base directories: a relative value is invalid and is ignored.
    if (xdgConfigHome && xdgConfigHome[0] == '/')
        return xdgConfigHome;
    std::string homeDir = home ? home : "";
    if (homeDir.empty()) {
        if (const passwd* pw = getpwuid(geteuid()); pw && pw->pw_dir)
            homeDir = pw->pw_dir;
    }
    if (homeDir.empty())
        homeDir = "/";
    if (homeDir.size() > 1 && homeDir.back() == '/')
        homeDir.pop_back();
    return (homeDir == "/" ? std::string() : homeDir) + "/.config";
}

std::string TWBaseDirectories::runtimeDirectory() {
    return runtimeDirectory(std::getenv("XDG_RUNTIME_DIR"));
}

std::string TWBaseDirectories::runtimeDirectory(const char* xdgRuntimeDir) {
    // A relative value is invalid and ignored, as for every XDG base directory. The fallback
    // is named by the effective user: the one that owns what we create there, and the one the
    // ownership check and the socket's peer check compare with.
    if (xdgRuntimeDir && xdgRuntimeDir[0] == '/')
        return std::string(xdgRuntimeDir) + "/tidewell";
    return "/tmp/tidewell-" + std::to_string(geteuid());
}

std::string TWBaseDirectories::privateRuntimeDirectory(std::string* problem) {
    std::string directory = runtimeDirectory();
    std::string why = privateDirectoryProblem(directory);
    if (problem)
        *problem = why;
    return why.empty() ? directory : std::string();
}

std::string TWBaseDirectories::privateDirectoryProblem(const std::string& path) {
    // Another user could otherwise pre-create the directory (or a symlink in its place) and
    // read our files or listen in our place.
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        const int err = errno;
        std::string why = "cannot create " + path + ": " + std::strerror(err);
        if (err == ENOENT) {
            const char* runtime = std::getenv("XDG_RUNTIME_DIR");
            const bool underRuntime = runtime && *runtime && path.rfind('/') != std::string::npos &&
                                      path.substr(0, path.rfind('/')) == runtime;
            why += underRuntime ? " (XDG_RUNTIME_DIR names a directory that does not exist)"
                                : " (its parent directory does not exist)";
        }
        return why;
    }
    struct stat info {};
    if (lstat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
        return path + " is not a directory";
    if (info.st_uid != geteuid())
        return path + " belongs to another user";
    if ((info.st_mode & 077) != 0 && chmod(path.c_str(), 0700) != 0)
        return "cannot make " + path + " private";
    return {};
}
