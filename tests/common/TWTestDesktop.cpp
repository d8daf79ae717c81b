// Xvfb + a window manager per test program, with teardown that leaves nothing running.
#include "TWTestDesktop.h"
#include "TWTestPaths.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

std::string hexID(unsigned long window) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "0x%lx", window);
    return buffer;
}

bool waitExited(pid_t pid, std::chrono::milliseconds deadline) {
    auto end = std::chrono::steady_clock::now() + deadline;
    while (std::chrono::steady_clock::now() < end) {
        int status;
        pid_t r = waitpid(pid, &status, WNOHANG);
        if (r == pid || (r < 0 && errno == ECHILD))
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

void endGroup(pid_t pid) {
    kill(-pid, SIGTERM);
    kill(pid, SIGTERM);
    if (!waitExited(pid, std::chrono::seconds(3))) {
        kill(-pid, SIGKILL);
        kill(pid, SIGKILL);
        waitExited(pid, std::chrono::seconds(3));
    }
    // Members of the group that outlived its leader.
    kill(-pid, SIGKILL);
}

} // namespace

TWTestDesktop::TWTestDesktop(const std::string& windowManager) {
    char pattern[] = "/tmp/tidewell-x11-test-XXXXXX";
    if (!mkdtemp(pattern)) {
        error_ = "cannot create a temporary directory";
        return;
    }
    root_ = pattern;
    home_ = root_ + "/home";
    std::filesystem::create_directories(home_ + "/.config");
    std::filesystem::create_directories(home_ + "/.local/share/applications");
    std::filesystem::create_directories(home_ + "/.cache");
    std::filesystem::create_directories(root_ + "/runtime");
    chmod((root_ + "/runtime").c_str(), 0700);
    {
        std::ofstream mime(home_ + "/.config/mimeapps.list");
        mime << "[Default Applications]\ninode/directory=pcmanfm.desktop\n";
    }
    setenv("HOME", home_.c_str(), 1);
    setenv("XDG_CONFIG_HOME", (home_ + "/.config").c_str(), 1);
    setenv("XDG_DATA_HOME", (home_ + "/.local/share").c_str(), 1);
    setenv("XDG_CACHE_HOME", (home_ + "/.cache").c_str(), 1);
    setenv("XDG_RUNTIME_DIR", (root_ + "/runtime").c_str(), 1);
    setenv("XDG_DATA_DIRS", "/usr/local/share:/usr/share", 1);
    setenv("XDG_CURRENT_DESKTOP", "X-Generic", 1);
    setenv("LANG", "C", 1);
    unsetenv("LC_ALL");
    unsetenv("LC_MESSAGES");
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    // The session's desktop is this X display, even when the tests run inside a Wayland session.
    unsetenv("WAYLAND_DISPLAY");
    if (!startServer() || !startWindowManager(windowManager))
        return;
}

TWTestDesktop::~TWTestDesktop() {
    for (auto it = children_.rbegin(); it != children_.rend(); ++it)
        endGroup(*it);
    killStrays();
    if (server_ > 0)
        endGroup(server_);
    if (!root_.empty()) {
        std::error_code ec;
        std::filesystem::remove_all(root_, ec);
    }
}

void TWTestDesktop::killStrays() {
    // Programs the code under test started detached (a file manager, xdg-open) carry our
    // display in their environment and belong to no group of ours.
    if (display_.empty())
        return;
    std::string marker = "DISPLAY=" + display_;
    DIR* d = opendir("/proc");
    if (!d)
        return;
    std::vector<pid_t> strays;
    while (dirent* e = readdir(d)) {
        pid_t pid = std::atoi(e->d_name);
        if (pid <= 0 || pid == getpid() || pid == server_)
            continue;
        std::ifstream env("/proc/" + std::to_string(pid) + "/environ");
        std::string var;
        while (std::getline(env, var, '\0')) {
            if (var == marker) {
                strays.push_back(pid);
                break;
            }
        }
    }
    closedir(d);
    for (pid_t pid : strays)
        kill(pid, SIGKILL);
}

bool TWTestDesktop::startServer() {
    int fds[2];
    if (pipe(fds) != 0) {
        error_ = "pipe failed";
        return false;
    }
    pid_t pid = fork();
    if (pid == 0) {
        setpgid(0, 0);
        // The server must not outlive a test program that is killed.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(fds[0]);
        int devnull = open("/dev/null", O_RDWR);
        dup2(devnull, STDIN_FILENO);
        dup2(devnull, STDOUT_FILENO);
        dup2(devnull, STDERR_FILENO);
        std::string fd = std::to_string(fds[1]);
        execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "1280x1024x24",
               "-nolisten", "tcp", "-noreset", static_cast<char*>(nullptr));
        _exit(127);
    }
    close(fds[1]);
    server_ = pid;
    std::string number;
    auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::chrono::steady_clock::now() < end) {
        pollfd pfd{fds[0], POLLIN, 0};
        if (poll(&pfd, 1, 100) <= 0)
            continue;
        char c;
        ssize_t n = read(fds[0], &c, 1);
        if (n <= 0 || c == '\n')
            break;
        number += c;
    }
    close(fds[0]);
    if (number.empty()) {
        error_ = "Xvfb did not report a display";
        return false;
    }
    display_ = ":" + number;
    setenv("DISPLAY", display_.c_str(), 1);
    return true;
}

bool TWTestDesktop::startWindowManager(const std::string& name) {
    std::vector<std::string> argv;
    if (name == "openbox") {
        argv = {"openbox", "--sm-disable"};
    } else if (name == "xfwm4") {
        argv = {"xfwm4", "--compositor=off", "--sm-client-disable"};
    } else if (name == "kwin_x11") {
        argv = {"kwin_x11", "--replace"};
    } else if (name == "mutter") {
        argv = {"mutter", "--x11", "--replace", "--sm-disable"};
    } else if (name == "metacity") {
        argv = {"metacity", "--replace", "--sm-disable"};
    } else if (name == "marco") {
        argv = {"marco", "--replace", "--no-composite", "--sm-disable"};
    } else if (name == "icewm") {
        argv = {"icewm"};
    } else if (name == "fluxbox") {
        argv = {"fluxbox"};
    } else if (name == "i3") {
        // Without a configuration i3 starts its configuration wizard instead.
        const std::string config = root_ + "/i3.config";
        std::ofstream(config) << "font pango:monospace 8\nfocus_on_window_activation focus\n";
        argv = {"i3", "-c", config};
    } else {
        error_ = "unknown window manager " + name;
        return false;
    }
    windowManagerName_ = name;
    windowManager_ = spawn(argv);
    bool up = waitFor(
        [] {
            // The client list (or, until the first client, the active window: xfwm4) appears
            // once the window manager has finished starting; a window mapped before that may
            // never be managed. The check window must exist too: one that died leaves its ID
            // on the root window.
            std::string out = run({"xprop", "-root", "_NET_SUPPORTING_WM_CHECK", "_NET_CLIENT_LIST",
                                   "_NET_ACTIVE_WINDOW"});
            const std::string marker = "_NET_SUPPORTING_WM_CHECK(WINDOW): window id # ";
            const auto at = out.find(marker);
            if (at == std::string::npos)
                return false;
            const std::string check =
                out.substr(at + marker.size(), out.find('\n', at) - at - marker.size());
            return run({"xprop", "-id", check, "_NET_SUPPORTING_WM_CHECK"}).find(marker) !=
                       std::string::npos &&
                   (out.find("_NET_CLIENT_LIST(WINDOW)") != std::string::npos ||
                    out.find("_NET_ACTIVE_WINDOW(WINDOW)") != std::string::npos);
        },
        std::chrono::seconds(60));
    if (!up)
        error_ = name + " did not start";
    return up;
}

bool TWTestDesktop::restartWindowManager() {
    if (windowManager_ <= 0)
        return false;
    const std::vector<TWObservedWindow> managed = windows();
    ::kill(-windowManager_, SIGKILL);
    ::waitpid(windowManager_, nullptr, 0);
    std::erase(children_, windowManager_);
    // Up once it has taken every window of the old one into a frame of its own.
    return startWindowManager(windowManagerName_) && waitFor([&] {
               return std::none_of(managed.begin(), managed.end(), [](const TWObservedWindow& w) {
                   const std::string tree = run({"xwininfo", "-tree", "-id", hexID(w.id)});
                   const auto parent = tree.find("Parent window id:");
                   return parent != std::string::npos &&
                          tree.substr(parent, tree.find('\n', parent) - parent)
                                  .find("(the root window)") != std::string::npos;
               });
           });
}

pid_t TWTestDesktop::spawn(const std::vector<std::string>& argv) {
    std::vector<char*> args;
    for (const auto& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    std::string dir = home_;
    pid_t pid = fork();
    if (pid == 0) {
        setpgid(0, 0);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        int devnull = open("/dev/null", O_RDWR);
        dup2(devnull, STDIN_FILENO);
        dup2(devnull, STDOUT_FILENO);
        dup2(devnull, STDERR_FILENO);
        if (chdir(dir.c_str()) != 0)
            _exit(126);
        execvp(args[0], args.data());
        _exit(127);
    }
    if (pid > 0) {
        setpgid(pid, pid);
        children_.push_back(pid);
    }
    return pid;
}

void TWTestDesktop::terminate(pid_t pid) {
    endGroup(pid);
    std::erase(children_, pid);
}

void TWTestDesktop::killServer() {
    if (server_ <= 0)
        return;
    kill(server_, SIGKILL);
    waitExited(server_, std::chrono::seconds(5));
    server_ = -1;
}

std::string TWTestDesktop::testClientPath() {
    return TWTestProgramPath("tidewell-test-client");
}

pid_t TWTestDesktop::spawnTestClient(const std::vector<std::string>& options, int windows) {
    std::vector<std::string> argv{testClientPath()};
    argv.insert(argv.end(), options.begin(), options.end());
    if (windows > 1) {
        argv.push_back("--windows");
        argv.push_back(std::to_string(windows));
    }
    pid_t pid = spawn(argv);
    waitFor([&] { return static_cast<int>(windowsOfPid(pid).size()) >= windows; });
    return pid;
}

bool TWTestDesktop::waitFor(const std::function<bool()>& condition,
                            std::chrono::milliseconds deadline) {
    auto end = std::chrono::steady_clock::now() + deadline;
    while (true) {
        if (condition())
            return true;
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    }
}

std::string TWTestDesktop::run(const std::vector<std::string>& argv) {
    std::string command;
    for (const auto& a : argv)
        command += "'" + a + "' ";
    command += "2>/dev/null";
    std::string out;
    if (FILE* p = popen(command.c_str(), "r")) {
        char buffer[4096];
        size_t n;
        while ((n = fread(buffer, 1, sizeof buffer, p)) > 0)
            out.append(buffer, n);
        pclose(p);
    }
    return out;
}

std::vector<TWObservedWindow> TWTestDesktop::windows() const {
    std::vector<TWObservedWindow> out;
    std::istringstream lines(run({"wmctrl", "-l", "-p"}));
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream fields(line);
        std::string id, desktop, host;
        TWObservedWindow w;
        if (!(fields >> id >> desktop >> w.pid >> host))
            continue;
        w.id = std::stoul(id, nullptr, 16);
        std::getline(fields, w.title);
        if (!w.title.empty() && w.title[0] == ' ')
            w.title.erase(0, 1);
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

std::vector<unsigned long> TWTestDesktop::windowsOfProgram(const std::string& program) const {
    std::vector<unsigned long> out;
    for (const auto& w : windows()) {
        std::ifstream comm("/proc/" + std::to_string(w.pid) + "/comm");
        std::string name;
        if (std::getline(comm, name) && name == program)
            out.push_back(w.id);
    }
    return out;
}

bool TWTestDesktop::isIconic(unsigned long window) const {
    return run({"xprop", "-id", hexID(window), "WM_STATE"}).find("Iconic") != std::string::npos;
}

bool TWTestDesktop::isMinimized(unsigned long window) const {
    std::string out = run({"xprop", "-id", hexID(window), "WM_STATE", "_NET_WM_STATE"});
    return out.find("Iconic") != std::string::npos ||
           out.find("_NET_WM_STATE_HIDDEN") != std::string::npos;
}

bool TWTestDesktop::hasHiddenMark(unsigned long window) const {
    return run({"xprop", "-id", hexID(window), "_TIDEWELL_HIDDEN"}).find(" = ") !=
           std::string::npos;
}

unsigned long TWTestDesktop::activeWindow() const {
    std::string out = run({"xprop", "-root", "_NET_ACTIVE_WINDOW"});
    auto hash = out.find("# ");
    if (hash == std::string::npos)
        return 0;
    return std::strtoul(out.c_str() + hash + 2, nullptr, 16);
}

void TWTestDesktop::writeDesktopEntry(const std::string& id, const std::string& contents) const {
    std::ofstream out(dataHome() + "/applications/" + id + ".desktop");
    out << contents;
}
