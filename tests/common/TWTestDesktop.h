// SPDX-License-Identifier: MIT
// A private X11 desktop for one test program: Xvfb on its own display, a window manager (openbox
// unless told otherwise), a temporary home
// with XDG directories (pcmanfm as the default file manager), spawned clients, and observers
// (xprop, wmctrl) that report what the window manager did. Everything ends with the object.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

// A window as wmctrl reports it.
struct TWObservedWindow {
    unsigned long id = 0;
    int pid = -1;
    std::string title;
};

class TWTestDesktop {
  public:
    // Starts the server and the window manager and points DISPLAY, HOME and the XDG variables of
    // this process at them. ok() tells whether that worked; error() says why not.
    // `windowManager`: openbox, xfwm4, kwin_x11, mutter, metacity, marco, icewm, fluxbox or i3.
    explicit TWTestDesktop(const std::string& windowManager = "openbox");
    ~TWTestDesktop();
    TWTestDesktop(const TWTestDesktop&) = delete;
    TWTestDesktop& operator=(const TWTestDesktop&) = delete;

    bool ok() const { return error_.empty(); }
    const std::string& error() const { return error_; }
    const std::string& display() const { return display_; }
    const std::string& home() const { return home_; }
    std::string dataHome() const { return home_ + "/.local/share"; }

    // Starts a program in its own process group; it is killed at teardown at the latest.
    pid_t spawn(const std::vector<std::string>& argv);
    // Ends a spawned program (its whole group) and waits for it.
    void terminate(pid_t pid);
    // Kills the X server at once (SIGKILL), as a crash would; the display is gone afterwards.
    void killServer();
    // Kills the window manager (SIGKILL, as a crash would) and starts it again; true once the
    // new one runs.
    bool restartWindowManager();
    // The test client program built next to the tests.
    static std::string testClientPath();
    // Starts the test client with these options and `windows` windows, and waits until the window
    // manager lists them all.
    pid_t spawnTestClient(const std::vector<std::string>& options, int windows = 1);

    // Polls `condition` until it holds or the deadline passes; returns the last answer.
    static bool waitFor(const std::function<bool()>& condition,
                        std::chrono::milliseconds deadline = std::chrono::seconds(15));
    // Runs an observer command and returns its standard output.
    static std::string run(const std::vector<std::string>& argv);

    // Observers.
    std::vector<TWObservedWindow> windows() const; // wmctrl -l -p
    std::vector<unsigned long> windowsOfPid(int pid) const;
    // Windows of every process running `program` (its /proc/<pid>/comm).
    std::vector<unsigned long> windowsOfProgram(const std::string& program) const;
    static std::string hex(unsigned long window); // as xprop -id takes it
    bool isIconic(unsigned long window) const;    // WM_STATE Iconic
    bool isMinimized(unsigned long window) const; // Iconic or _NET_WM_STATE_HIDDEN
    bool hasHiddenMark(unsigned long window) const;
    unsigned long activeWindow() const;
    // Writes an applications/<id>.desktop file in the temporary XDG_DATA_HOME.
    void writeDesktopEntry(const std::string& id, const std::string& contents) const;

    // Shared with the KWin desktop. A temporary session root with a home whose XDG directories
    // (and the variables naming them) are set, `fileManager` its default file manager; empty
    // when no directory could be made.
    static std::string makeSession(const std::string& prefix, const std::string& fileManager);
    // Starts `argv` in its own process group, output to `output`, dying with this process;
    // `compositor`: without WAYLAND_DISPLAY, so it does not run nested.
    static pid_t startProcess(const std::vector<std::string>& argv, const std::string& dir,
                              const std::string& output = "/dev/null", bool compositor = false);
    // Ends a process group with `signal`, with SIGKILL when it lingers, and reaps its leader.
    static void endGroup(pid_t pid, int signal = 15);
    // The processes but ours whose environment holds `variable` (and that run `program`, when
    // one is named); killProcessesWith kills them, but for `spared`.
    static std::vector<pid_t> processesWith(const std::string& variable,
                                            const std::string& program = {});
    static void killProcessesWith(const std::string& variable, const std::vector<pid_t>& spared);

  private:
    bool startServer();
    bool startWindowManager(const std::string& name);
    std::string error_;
    std::string display_;
    std::string root_;
    std::string home_;
    pid_t server_ = -1;
    pid_t windowManager_ = -1;
    std::string windowManagerName_;
    std::vector<pid_t> children_;
};
