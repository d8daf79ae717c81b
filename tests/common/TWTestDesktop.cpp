// SPDX-License-Identifier: MIT
// Xvfb + a window manager per test program, with teardown that leaves nothing running.
#include "TWTestDesktop.h"
#include "TWTestPaths.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

bool waitExited(pid_t pid) {
    return TWTestSession::waitFor(
        [pid] {
            pid_t r = waitpid(pid, nullptr, WNOHANG);
            return r == pid || (r < 0 && errno == ECHILD);
        },
        std::chrono::seconds(3));
}

std::string comm(int pid) {
    std::string name;
    std::getline(std::ifstream("/proc/" + std::to_string(pid) + "/comm"), name);
    return name;
}

} // namespace

void TWTestSession::endGroup(pid_t pid, int signal) {
    kill(-pid, signal);
    kill(pid, signal);
    if (!waitExited(pid)) {
        kill(pid, SIGKILL);
        waitExited(pid);
    }
    kill(-pid, SIGKILL); // members of the group that outlived its leader
}

TWTestSession::TWTestSession(const std::string& prefix, const std::string& fileManager, int outputs)
    : root_("/tmp/" + prefix + "-XXXXXX"), outputs_(outputs) {
    if (!mkdtemp(root_.data())) {
        root_.clear();
        error_ = "cannot create a temporary directory";
        return;
    }
    home_ = root_ + "/home";
    for (const char* dir : {"/.config", "/.local/share/applications", "/.cache"})
        std::filesystem::create_directories(home_ + dir);
    mkdir(runtime().c_str(), 0700);
    TWWriteFile(home_ + "/.config/mimeapps.list",
                "[Default Applications]\ninode/directory=" + fileManager + ".desktop\n");
    for (auto [name, value] : {std::pair{"HOME", home_},
                               {"XDG_CONFIG_HOME", home_ + "/.config"},
                               {"XDG_DATA_HOME", dataHome()},
                               {"XDG_CACHE_HOME", home_ + "/.cache"},
                               {"XDG_RUNTIME_DIR", runtime()},
                               {"XDG_DATA_DIRS", "/usr/local/share:/usr/share"},
                               {"LANG", "C"}})
        setenv(name, value.c_str(), 1);
    unsetenv("LC_ALL");
    unsetenv("LC_MESSAGES");
}

TWTestSession::~TWTestSession() {
    std::error_code ec;
    if (!root_.empty())
        std::filesystem::remove_all(root_, ec);
}

void TWTestSession::useWayland(const std::string& desktop) {
    socket_ = "tidewell-" + std::to_string(getpid());
    for (auto [name, value] : {std::pair{"XDG_CURRENT_DESKTOP", desktop},
                               {"XDG_SESSION_TYPE", std::string("wayland")},
                               {"WAYLAND_DISPLAY", socket_},
                               {"GDK_BACKEND", std::string("wayland")},
                               {"QT_QPA_PLATFORM", std::string("wayland")}})
        setenv(name, value.c_str(), 1);
    unsetenv("DISPLAY");
}

bool TWTestSession::startBus(const std::string& name, const char* variable, pid_t& pid) {
    const std::string path = runtime() + "/" + name;
    pid = startProcess({"dbus-daemon", "--config-file=/usr/share/dbus-1/session.conf",
                        "--address=unix:path=" + path, "--nofork", "--nopidfile"},
                       home_);
    setenv(variable, ("unix:path=" + path).c_str(), 1);
    return waitFor([&] { return std::filesystem::exists(path); });
}

bool TWTestSession::startService(std::vector<std::string> argv, const std::string& log, pid_t& pid,
                                 const std::function<bool()>& up, std::chrono::seconds deadline) {
    argv.insert(argv.begin(), {"env", "-u", "WAYLAND_DISPLAY"});
    pid = startProcess(argv, home_, log);
    if (waitFor([&] { return waitpid(pid, nullptr, WNOHANG) == pid || up(); }, deadline) &&
        kill(pid, 0) == 0)
        return true;
    endGroup(pid);
    pid = -1;
    return false;
}

void TWTestSession::killStraysBut(const std::vector<pid_t>& keep) {
    if (root_.empty())
        return;
    // A service's own children (in its process group) are the service's.
    for (pid_t pid : processesWith("XDG_RUNTIME_DIR=" + runtime()))
        if (std::find(keep.begin(), keep.end(), pid) == keep.end() &&
            std::find(keep.begin(), keep.end(), getpgid(pid)) == keep.end())
            kill(pid, SIGKILL);
}

void TWTestSession::endSession() {
    for (auto it = children_.rbegin(); it != children_.rend(); ++it)
        endGroup(*it);
    children_.clear();
    const std::vector<pid_t> services = this->services();
    killStraysBut(services);
    for (pid_t pid : services)
        if (pid > 0)
            endGroup(pid);
    killStraysBut({});
}

pid_t TWTestSession::spawn(const std::vector<std::string>& argv) {
    pid_t pid = startProcess(argv, home_);
    if (pid > 0)
        children_.push_back(pid);
    return pid;
}

void TWTestSession::terminate(pid_t pid, int signal) {
    endGroup(pid, signal);
    std::erase(children_, pid);
}

void TWTestSession::writeDesktopEntry(const std::string& id, const std::string& contents) const {
    TWWriteFile(dataHome() + "/applications/" + id + ".desktop", contents);
}

pid_t TWTestSession::startProcess(const std::vector<std::string>& argv, const std::string& dir,
                                  const std::string& output) {
    std::vector<char*> args;
    for (const auto& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
        setpgid(0, 0);
        prctl(PR_SET_PDEATHSIG, SIGKILL); // nothing outlives a test program that is killed
        int devnull = open("/dev/null", O_RDWR);
        int out = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        dup2(devnull, STDIN_FILENO);
        dup2(out >= 0 ? out : devnull, STDOUT_FILENO);
        dup2(out >= 0 ? out : devnull, STDERR_FILENO);
        if (chdir(dir.c_str()) == 0)
            execvp(args[0], args.data());
        _exit(127);
    }
    if (pid > 0)
        setpgid(pid, pid);
    return pid;
}

std::vector<pid_t> TWTestSession::processesWith(const std::string& variable,
                                                const std::string& program) {
    std::vector<pid_t> found;
    DIR* d = opendir("/proc");
    while (dirent* e = d ? readdir(d) : nullptr) {
        pid_t pid = std::atoi(e->d_name);
        if (pid <= 0 || pid == getpid() || (!program.empty() && comm(pid) != program))
            continue;
        std::ifstream env("/proc/" + std::to_string(pid) + "/environ");
        std::string var;
        while (std::getline(env, var, '\0') && var != variable) {
        }
        if (var == variable)
            found.push_back(pid);
    }
    if (d)
        closedir(d);
    return found;
}

TWTestDesktop::TWTestDesktop(const std::string& windowManager, int outputs)
    : TWTestSession("tidewell-x11-test", "pcmanfm", outputs), windowManagerName_(windowManager) {
    setenv("XDG_CURRENT_DESKTOP", "X-Generic", 1);
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    // The session's desktop is this display, even when the tests run inside a Wayland session.
    unsetenv("WAYLAND_DISPLAY");
    if (ok() && startServer())
        startWindowManager();
}

TWTestDesktop::~TWTestDesktop() {
    endSession();
}

std::vector<pid_t> TWTestDesktop::services() const {
    // With the session bus a window manager autolaunched, and the settings service on it: some
    // window managers (mutter, xfwm4) end when their bus goes.
    std::vector<pid_t> kept{server_, windowManager_};
    for (const char* program : {"dbus-launch", "dbus-daemon", "dconf-service"})
        for (pid_t pid : processesWith("XDG_RUNTIME_DIR=" + runtime(), program))
            kept.push_back(pid);
    return kept;
}

bool TWTestDesktop::startServer() {
    int fds[2];
    if (pipe(fds) != 0) {
        error_ = "pipe failed";
        return false;
    }
    // Without the display of a server before it, whose number it may take.
    server_ = startProcess({"env", "-u", "DISPLAY", "Xvfb", "-displayfd", std::to_string(fds[1]),
                            "-screen", "0", std::to_string(kOutputWidth * outputs_) + "x1024x24",
                            "-nolisten", "tcp", "-noreset"},
                           "/");
    close(fds[1]);
    // The display number and a line break once the server accepts clients; the end of the pipe
    // when it died.
    std::string number;
    for (char c; read(fds[0], &c, 1) == 1 && c != '\n';)
        number += c;
    close(fds[0]);
    if (number.empty()) {
        error_ = "Xvfb did not report a display";
        return false;
    }
    display_ = ":" + number;
    setenv("DISPLAY", display_.c_str(), 1);
    // RandR monitors on the one screen, as two monitors on one graphics card are; the window
    // manager reads them (through Xinerama too) when it starts.
    for (int i = 0; outputs_ > 1 && i < outputs_; ++i)
        run({"xrandr", "--setmonitor", "tidewell-" + std::to_string(i),
             std::to_string(kOutputWidth) + "/338x1024/270+" + std::to_string(kOutputWidth * i) +
                 "+0",
             i == 0 ? "screen" : "none"});
    if (outputs_ > 1 &&
        run({"xrandr", "--listmonitors"}).find("Monitors: " + std::to_string(outputs_)) ==
            std::string::npos) {
        error_ = "Xvfb did not take " + std::to_string(outputs_) + " monitors";
        return false;
    }
    return true;
}

bool TWTestDesktop::startWindowManager() {
    const std::map<std::string, std::vector<std::string>> commands = {
        {"openbox", {"openbox", "--sm-disable"}},
        {"xfwm4", {"xfwm4", "--compositor=off", "--sm-client-disable"}},
        {"kwin_x11", {"kwin_x11", "--replace"}},
        {"mutter", {"mutter", "--x11", "--replace", "--sm-disable"}},
        {"muffin", {"muffin", "--x11", "--replace", "--sm-disable"}},
        {"metacity", {"metacity", "--replace", "--sm-disable"}},
        {"marco", {"marco", "--replace", "--no-composite", "--sm-disable"}},
        {"icewm", {"icewm"}},
        {"fluxbox", {"fluxbox"}},
        // Without a configuration i3 starts its configuration wizard instead.
        {"i3", {"i3", "-c", root_ + "/i3.config"}},
    };
    std::ofstream(root_ + "/i3.config") << "font pango:monospace 8\n"
                                           "focus_on_window_activation focus\n";
    auto command = commands.find(windowManagerName_);
    if (command == commands.end()) {
        error_ = "unknown window manager " + windowManagerName_;
        return false;
    }
    windowManager_ = spawn(command->second);
    // Started once its check window exists and it has set the client list (or, until the first
    // client, the active window: xfwm4); a window mapped before that may never be managed. A
    // check window that died leaves its ID on the root window.
    const std::string marker = "_NET_SUPPORTING_WM_CHECK(WINDOW): window id # ";
    bool up = waitFor(
        [&] {
            std::string out = run({"xprop", "-root", "_NET_SUPPORTING_WM_CHECK", "_NET_CLIENT_LIST",
                                   "_NET_ACTIVE_WINDOW"});
            const auto at = out.find(marker);
            if (at == std::string::npos)
                return false;
            const auto id = at + marker.size();
            return run({"xprop", "-id", out.substr(id, out.find('\n', at) - id),
                        "_NET_SUPPORTING_WM_CHECK"})
                           .find(marker) != std::string::npos &&
                   (out.find("_NET_CLIENT_LIST(WINDOW)") != std::string::npos ||
                    out.find("_NET_ACTIVE_WINDOW(WINDOW)") != std::string::npos);
        },
        std::chrono::seconds(60));
    if (!up)
        error_ = windowManagerName_ + " did not start";
    return up;
}

void TWTestDesktop::killWindowManager() {
    managed_ = windows();
    if (windowManager_ > 0)
        terminate(windowManager_, SIGKILL);
    windowManager_ = -1;
}

bool TWTestDesktop::restartWindowManager() {
    if (windowManager_ > 0)
        killWindowManager();
    return startWindowManager() && waitFor([&] {
               return std::none_of(managed_.begin(), managed_.end(), [](const TWObservedWindow& w) {
                   const std::string tree = run({"xwininfo", "-tree", "-id", std::to_string(w.id)});
                   const auto parent = tree.find("Parent window id:");
                   return parent != std::string::npos &&
                          tree.substr(parent, tree.find('\n', parent) - parent)
                                  .find("(the root window)") != std::string::npos;
               });
           });
}

void TWTestDesktop::killServer() {
    kill(server_, SIGKILL);
    waitExited(server_);
    server_ = -1;
}

std::string TWTestDesktop::testClientPath() {
    return TWTestProgramPath("tidewell-test-client");
}

pid_t TWTestDesktop::spawnTestClient(const std::vector<std::string>& options, int windows) {
    std::vector<std::string> argv{testClientPath(), "--windows", std::to_string(windows)};
    argv.insert(argv.end(), options.begin(), options.end());
    pid_t pid = spawn(argv);
    waitFor([&] { return static_cast<int>(windowsOfPid(pid).size()) >= windows; });
    return pid;
}

bool TWTestSession::waitFor(const std::function<bool()>& condition,
                            std::chrono::milliseconds deadline) {
    for (auto end = std::chrono::steady_clock::now() + deadline; !condition();
         std::this_thread::sleep_for(std::chrono::milliseconds(30)))
        if (std::chrono::steady_clock::now() >= end)
            return false;
    return true;
}

std::string TWTestSession::run(const std::vector<std::string>& argv) {
    std::string command, out;
    for (const auto& a : argv) {
        command += '\'';
        for (char c : a)
            command += c == '\'' ? std::string("'\\''") : std::string(1, c);
        command += "' ";
    }
    if (FILE* p = popen((command + "2>/dev/null").c_str(), "r")) {
        char buffer[4096];
        for (size_t n; (n = fread(buffer, 1, sizeof buffer, p)) > 0;)
            out.append(buffer, n);
        pclose(p);
    }
    return out;
}

std::vector<TWObservedWindow> TWTestDesktop::windows() const {
    std::vector<TWObservedWindow> out;
    std::istringstream lines(run({"wmctrl", "-l", "-p"}));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string id, desktop, host;
        TWObservedWindow w;
        if (!(fields >> id >> desktop >> w.pid >> host))
            continue;
        w.id = std::stoul(id, nullptr, 16);
        std::getline(fields >> std::ws, w.title);
        out.push_back(w);
    }
    return out;
}

std::vector<unsigned long> TWTestDesktop::windowsOfPid(int pid) const {
    std::vector<unsigned long> out;
    for (const auto& w : windows())
        if (w.pid == pid)
            out.push_back(w.id);
    return out;
}

bool TWTestDesktop::isIconic(unsigned long window) const {
    return run({"xprop", "-id", std::to_string(window), "WM_STATE"}).find("Iconic") !=
           std::string::npos;
}

bool TWTestDesktop::isMinimized(unsigned long window) const {
    std::string out = run({"xprop", "-id", std::to_string(window), "WM_STATE", "_NET_WM_STATE"});
    return out.find("Iconic") != std::string::npos ||
           out.find("_NET_WM_STATE_HIDDEN") != std::string::npos;
}

bool TWTestDesktop::hasHiddenMark(unsigned long window) const {
    return run({"xprop", "-id", std::to_string(window), "_TIDEWELL_HIDDEN"}).find(" = ") !=
           std::string::npos;
}

unsigned long TWTestDesktop::activeWindow() const {
    std::string out = run({"xprop", "-root", "_NET_ACTIVE_WINDOW"});
    auto hash = out.find("# ");
    return hash == std::string::npos ? 0 : std::strtoul(out.c_str() + hash + 2, nullptr, 16);
}
