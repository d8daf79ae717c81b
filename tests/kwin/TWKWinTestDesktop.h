// SPDX-License-Identifier: MIT
// A private KDE Plasma compositor for one test program: a session bus and a headless KWin on
// its own Wayland socket, a temporary home with XDG directories (thunar as the default file
// manager), desktop entries that permit the named programs to use KWin's window management,
// spawned Wayland clients, and KWin's own D-Bus answers as the observer. Everything ends with
// the object. See TWTestDesktop for the X11 counterpart.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

class TWKWinTestDesktop {
  public:
    // Starts the bus and KWin and points WAYLAND_DISPLAY, DBUS_SESSION_BUS_ADDRESS, HOME and
    // the XDG variables of this process at them. `permitted` lists programs (absolute paths)
    // that get a desktop entry asking for the window management; this test program always does.
    explicit TWKWinTestDesktop(const std::vector<std::string>& permitted = {});
    ~TWKWinTestDesktop();
    TWKWinTestDesktop(const TWKWinTestDesktop&) = delete;
    TWKWinTestDesktop& operator=(const TWKWinTestDesktop&) = delete;

    bool ok() const { return error_.empty(); }
    const std::string& error() const { return error_; }
    const std::string& socket() const { return socket_; }
    const std::string& home() const { return home_; }

    // Starts a Wayland client in its own process group; it is killed at teardown at the latest.
    pid_t spawn(const std::vector<std::string>& argv);
    // Ends a spawned program (its whole group) and waits for it; `signal` SIGKILL is a crash.
    void terminate(pid_t pid, int signal = 15);
    // Kills the programs of this session that no group of ours holds (started detached by the
    // code under test, or by the bus), leaving KWin and the bus running.
    void killStrays();
    // Writes an applications/<id>.desktop file in the temporary XDG_DATA_HOME.
    void writeDesktopEntry(const std::string& id, const std::string& contents) const;

    // The observer: KWin's own description of the window (org.kde.KWin getWindowInfo), none
    // when KWin does not know the window.
    std::optional<bool> isMinimized(const std::string& uuid) const;

    // A KWin executable that this user can start: the installed one, or a copy without the
    // file capability (cap_sys_resource) it carries, which an unprivileged user, or root in a
    // container without that capability, cannot exec.
    static std::string kwinExecutable(const std::string& scratchDirectory);

  private:
    bool startBus();
    bool startKWin(const std::vector<std::string>& permitted);
    std::string error_;
    std::string root_;
    std::string home_;
    std::string runtime_;
    std::string socket_;
    pid_t bus_ = -1;
    pid_t kwin_ = -1;
    std::vector<pid_t> children_;
};
