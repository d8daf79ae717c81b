// SPDX-License-Identifier: MIT
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
#include <map>
#include <poll.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

bool waitExited(pid_t pid, std::chrono::milliseconds deadline) {
    return TWTestDesktop::waitFor(
        [pid] {
            int status;
            pid_t r = waitpid(pid, &status, WNOHANG);
            return r == pid || (r < 0 && errno == ECHILD);
        },
        deadline);
}

} // namespace

void TWTestDesktop::endGroup(pid_t pid, int signal) {
    kill(-pid, signal);
    kill(pid, signal);
    if (!waitExited(pid, std::chrono::seconds(3))) {
        kill(-pid, SIGKILL);
        kill(pid, SIGKILL);
        waitExited(pid, std::chrono::seconds(3));
    }
    // Members of the group that outlived its leader.
    kill(-pid, SIGKILL);
}

std::string TWTestDesktop::makeSession(const std::string& prefix, const std::string& fileManager) {
    std::string pattern = "/tmp/" + prefix + "-XXXXXX";
    if (!mkdtemp(pattern.data()))
        return {};
    const std::string home = pattern + "/home";
    for (const char* dir : {"/.config", "/.local/share/applications", "/.cache"})
        std::filesystem::create_directories(home + dir);
    std::filesystem::create_directories(pattern + "/runtime");
    chmod((pattern + "/runtime").c_str(), 0700);
    std::ofstream(home + "/.config/mimeapps.list")
        << "[Default Applications]\ninode/directory=" << fileManager << ".desktop\n";
    setenv("HOME", home.c_str(), 1);
    setenv("XDG_CONFIG_HOME", (home + "/.config").c_str(), 1);
    setenv("XDG_DATA_HOME", (home + "/.local/share").c_str(), 1);
    setenv("XDG_CACHE_HOME", (home + "/.cache").c_str(), 1);
    setenv("XDG_RUNTIME_DIR", (pattern + "/runtime").c_str(), 1);
    setenv("XDG_DATA_DIRS", "/usr/local/share:/usr/share", 1);
    setenv("LANG", "C", 1);
    unsetenv("LC_ALL");
    unsetenv("LC_MESSAGES");
    return pattern;
}

pid_t TWTestDesktop::startProcess(const std::vector<std::string>& argv, const std::string& dir,
                                  const std::string& output, bool compositor) {
    std::vector<char*> args;
    for (const auto& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
        setpgid(0, 0);
        // Nothing of the session outlives a test program that is killed.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        int devnull = open("/dev/null", O_RDWR);
        int out = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        dup2(devnull, STDIN_FILENO);
        dup2(out >= 0 ? out : devnull, STDOUT_FILENO);
        dup2(out >= 0 ? out : devnull, STDERR_FILENO);
        if (chdir(dir.c_str()) != 0)
            _exit(126);
        if (compositor)
            unsetenv("WAYLAND_DISPLAY");
        execvp(args[0], args.data());
        _exit(127);
    }
    if (pid > 0)
        setpgid(pid, pid);
    return pid;
}

std::vector<pid_t> TWTestDesktop::processesWith(const std::string& variable,
                                                const std::string& program) {
    std::vector<pid_t> found;
    DIR* d = opendir("/proc");
    if (!d)
        return found;
    while (dirent* e = readdir(d)) {
        pid_t pid = std::atoi(e->d_name);
        std::string name;
        if (pid <= 0 || pid == getpid() ||
            (!program.empty() &&
             !(std::getline(std::ifstream("/proc/" + std::to_string(pid) + "/comm"), name) &&
               name == program)))
            continue;
        std::ifstream env("/proc/" + std::to_string(pid) + "/environ");
        for (std::string var; std::getline(env, var, '\0');)
            if (var == variable) {
                found.push_back(pid);
                break;
            }
    }
    closedir(d);
    return found;
}

void TWTestDesktop::killProcessesWith(const std::string& variable,
                                      const std::vector<pid_t>& spared) {
    for (pid_t pid : processesWith(variable))
        if (std::find(spared.begin(), spared.end(), pid) == spared.end())
            kill(pid, SIGKILL);
}

TWTestDesktop::TWTestDesktop(const std::string& windowManager) {
    root_ = makeSession("tidewell-x11-test", "pcmanfm");
    if (root_.empty()) {
        error_ = "cannot create a temporary directory";
        return;
    }
    home_ = root_ + "/home";
    setenv("XDG_CURRENT_DESKTOP", "X-Generic", 1);
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    // The session's desktop is this X display, even when the tests run inside a Wayland session.
    unsetenv("WAYLAND_DISPLAY");
    if (!startServer() || !startWindowManager(windowManager))
        return;
}

TWTestDesktop::~TWTestDesktop() {
    for (auto it = children_.rbegin(); it != children_.rend(); ++it)
        endGroup(*it);
    // Programs the code under test started detached (a file manager, xdg-open) carry our
    // display in their environment and belong to no group of ours.
    if (!display_.empty())
        killProcessesWith("DISPLAY=" + display_, {server_});
    if (server_ > 0)
        endGroup(server_);
    if (!root_.empty()) {
        std::error_code ec;
        std::filesystem::remove_all(root_, ec);
    }
}

bool TWTestDesktop::startServer() {
    int fds[2];
    if (pipe(fds) != 0) {
        error_ = "pipe failed";
        return false;
    }
    // The server must not outlive a test program that is killed.
    server_ = startProcess({"Xvfb", "-displayfd", std::to_string(fds[1]), "-screen", "0",
                            "1280x1024x24", "-nolisten", "tcp", "-noreset"},
                           "/");
    close(fds[1]);
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
    static const std::map<std::string, std::vector<std::string>> commands = {
        {"openbox", {"openbox", "--sm-disable"}},
        {"xfwm4", {"xfwm4", "--compositor=off", "--sm-client-disable"}},
        {"kwin_x11", {"kwin_x11", "--replace"}},
        {"mutter", {"mutter", "--x11", "--replace", "--sm-disable"}},
        {"metacity", {"metacity", "--replace", "--sm-disable"}},
        {"marco", {"marco", "--replace", "--no-composite", "--sm-disable"}},
        {"icewm", {"icewm"}},
        {"fluxbox", {"fluxbox"}},
        // Without a configuration i3 starts its configuration wizard instead.
        {"i3", {"i3", "-c", root_ + "/i3.config"}},
    };
    if (name == "i3")
        std::ofstream(root_ + "/i3.config")
            << "font pango:monospace 8\nfocus_on_window_activation focus\n";
    auto command = commands.find(name);
    if (command == commands.end()) {
        error_ = "unknown window manager " + name;
        return false;
    }
    windowManagerName_ = name;
    windowManager_ = spawn(command->second);
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
                   const std::string tree = run({"xwininfo", "-tree", "-id", hex(w.id)});
                   const auto parent = tree.find("Parent window id:");
                   return parent != std::string::npos &&
                          tree.substr(parent, tree.find('\n', parent) - parent)
                                  .find("(the root window)") != std::string::npos;
               });
           });
}

pid_t TWTestDesktop::spawn(const std::vector<std::string>& argv) {
    pid_t pid = startProcess(argv, home_);
    if (pid > 0)
        children_.push_back(pid);
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

std::string TWTestDesktop::hex(unsigned long window) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "0x%lx", window);
    return buffer;
}

bool TWTestDesktop::isIconic(unsigned long window) const {
    return run({"xprop", "-id", hex(window), "WM_STATE"}).find("Iconic") != std::string::npos;
}

bool TWTestDesktop::isMinimized(unsigned long window) const {
    std::string out = run({"xprop", "-id", hex(window), "WM_STATE", "_NET_WM_STATE"});
    return out.find("Iconic") != std::string::npos ||
           out.find("_NET_WM_STATE_HIDDEN") != std::string::npos;
}

bool TWTestDesktop::hasHiddenMark(unsigned long window) const {
    return run({"xprop", "-id", hex(window), "_TIDEWELL_HIDDEN"}).find(" = ") != std::string::npos;
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
