// SPDX-License-Identifier: MIT
// The user's XDG base directories (configuration, runtime) and the check that makes a directory
// ours alone. Every path below them is built from these functions; see also TWStorePaths,
// TWXDGAutostart, TWMimeApps, TWProcessRegistry and TWInstanceChannel.
#pragma once

#include <string>

class TWBaseDirectories {
  public:
    // $XDG_CONFIG_HOME when it is an absolute path, else $HOME/.config (the password
    // database's home when HOME is unset or empty).
    static std::string configHome();
    // The same rule applied to explicit values (null or empty means unset).
    static std::string configHome(const char* xdgConfigHome, const char* home);

    // Tidewell's per-user runtime directory: $XDG_RUNTIME_DIR/tidewell when XDG_RUNTIME_DIR
    // is an absolute path, else /tmp/tidewell-<uid>. Not created here.
    static std::string runtimeDirectory();
    // The same rule applied to an explicit value (null or empty means unset).
    static std::string runtimeDirectory(const char* xdgRuntimeDir);

    // Creates `path` (mode 0700) when it is missing and makes sure it is ours alone: a real
    // directory (not a symlink), owned by our user, closed to everyone else (group and other
    // bits are removed). Returns why it cannot be used, empty when it can.
    static std::string privateDirectoryProblem(const std::string& path);
    // runtimeDirectory() made ours alone (privateDirectoryProblem): the path, or empty with the
    // reason in `problem`.
    static std::string privateRuntimeDirectory(std::string* problem = nullptr);
};
