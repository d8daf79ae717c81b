// SPDX-License-Identifier: MIT
// Test desktops: a private session, and the X11 one (Xvfb, a window manager, xprop/wmctrl).
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

// A temporary home with XDG directories and the programs started in it, all ended with it.
class TWTestSession {
  public:
    TWTestSession(const TWTestSession&) = delete;
    TWTestSession& operator=(const TWTestSession&) = delete;
    bool ok() const { return error_.empty(); }
    const std::string& error() const { return error_; }
    const std::string& home() const { return home_; }
    std::string dataHome() const { return home_ + "/.local/share"; }
    // Starts a program in its own process group, ended at teardown at the latest.
    pid_t spawn(const std::vector<std::string>& argv);
    // Ends a spawned program (its whole group) and waits for it; `signal` SIGKILL is a crash.
    void terminate(pid_t pid, int signal = 15);
    void writeDesktopEntry(const std::string& id, const std::string& contents) const;
    // Kills what the code under test or a bus started detached in this session.
    void killStrays() { killStraysBut(services()); }

    // Polls `condition` until it holds or the deadline passes; returns the last answer.
    static bool waitFor(const std::function<bool()>& condition,
                        std::chrono::milliseconds deadline = std::chrono::seconds(15));
    // Runs an observer command and returns its standard output.
    static std::string run(const std::vector<std::string>& argv);
    // Starts `argv` in its own process group, dying with this process.
    static pid_t startProcess(const std::vector<std::string>& argv, const std::string& dir,
                              const std::string& output = "/dev/null");
    // Ends a process group with `signal`, with SIGKILL when it lingers, and reaps its leader.
    static void endGroup(pid_t pid, int signal = 15);
    // The processes but ours whose environment holds `variable` (and that run `program`).
    static std::vector<pid_t> processesWith(const std::string& variable,
                                            const std::string& program = {});
    // Every test desktop's outputs (monitors) are this wide and side by side.
    static constexpr int kOutputWidth = 1280;
    int outputs() const { return outputs_; }

  protected:
    TWTestSession(const std::string& prefix, const std::string& fileManager, int outputs);
    virtual ~TWTestSession(); // removes the session's files
    // The display server, the window manager or compositor, the buses.
    virtual std::vector<pid_t> services() const = 0;
    // Points the toolkits at this session's Wayland display, of a `desktop` session.
    void useWayland(const std::string& desktop);
    std::string runtime() const { return root_ + "/runtime"; }
    // Starts a dbus-daemon on `name` in the runtime directory, `variable` pointing at it.
    bool startBus(const std::string& name, const char* variable, pid_t& pid);
    // Starts a display server or compositor; true once `up` holds, else false and `pid` -1.
    bool startService(std::vector<std::string> argv, const std::string& log, pid_t& pid,
                      const std::function<bool()>& up, std::chrono::seconds deadline);
    void killStraysBut(const std::vector<pid_t>& keep);
    // Ends the programs started, then the session's services, and whatever they left behind.
    void endSession();
    std::string error_, root_, home_, socket_;
    std::vector<pid_t> children_;
    int outputs_;
};

class TWTestDesktop : public TWTestSession {
  public:
    // Xvfb split into `outputs` monitors and one of the window managers startWindowManager knows.
    explicit TWTestDesktop(const std::string& windowManager = "openbox", int outputs = 1);
    ~TWTestDesktop();

    const std::string& display() const { return display_; }

    void killServer(); // SIGKILL, as a crash would
    // Starts the window manager again; true once it has framed every window again.
    bool restartWindowManager();
    // Kills the window manager (as a crash would) and leaves the desktop without one.
    void killWindowManager();
    pid_t windowManagerPid() const { return windowManager_; }
    static std::string testClientPath();
    // Starts the test client with `windows` windows and waits until the window manager lists them.
    pid_t spawnTestClient(const std::vector<std::string>& options, int windows = 1);

    std::vector<TWObservedWindow> windows() const; // wmctrl -l -p
    std::vector<unsigned long> windowsOfPid(int pid) const;
    bool isIconic(unsigned long window) const;    // WM_STATE Iconic
    bool isMinimized(unsigned long window) const; // Iconic or _NET_WM_STATE_HIDDEN
    bool hasHiddenMark(unsigned long window) const;
    unsigned long activeWindow() const;

  private:
    std::vector<pid_t> services() const override;
    bool startServer();
    bool startWindowManager();
    std::string display_, windowManagerName_;
    std::vector<TWObservedWindow> managed_; // when the window manager was killed
    pid_t server_ = -1;
    pid_t windowManager_ = -1;
};

// The session's polling and observer commands by their short names, for the test programs.
inline bool waitFor(const std::function<bool()>& condition,
                    std::chrono::milliseconds deadline = std::chrono::seconds(15)) {
    return TWTestSession::waitFor(condition, deadline);
}
inline std::string run(const std::vector<std::string>& argv) {
    return TWTestSession::run(argv);
}
// A method of `destination`'s object `path` on the session bus, called with gdbus: its answer,
// its errors after it.
inline std::string busCall(const std::string& destination, const std::string& path,
                           const std::string& method, const std::vector<std::string>& arguments) {
    std::vector<std::string> argv{
        "sh",     "-c",        "\"$0\" \"$@\" 2>&1", "gdbus", "call",     "--session",
        "--dest", destination, "--object-path",      path,    "--method", method};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    return run(argv);
}
