// SPDX-License-Identifier: MIT
// A session bus and a headless KWin per test program, with teardown that leaves nothing running.
#include "TWKWinTestDesktop.h"

#include "TWTestDesktop.h"
#include "TWTestPaths.h"

#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

std::string selfExecutable() {
    std::error_code ec;
    return std::filesystem::canonical("/proc/self/exe", ec).string();
}

} // namespace

std::string TWKWinTestDesktop::kwinExecutable(const std::string& scratchDirectory) {
    const std::string installed = "/usr/bin/kwin_wayland";
    if (getxattr(installed.c_str(), "security.capability", nullptr, 0) < 0)
        return installed;
    // KWin names itself after its executable, so the copy keeps the name.
    std::string copy = scratchDirectory + "/kwin_wayland";
    std::error_code ec;
    std::filesystem::copy_file(installed, copy, std::filesystem::copy_options::overwrite_existing,
                               ec);
    if (ec)
        return installed;
    chmod(copy.c_str(), 0755);
    return copy;
}

TWKWinTestDesktop::TWKWinTestDesktop(const std::vector<std::string>& permitted) {
    root_ = TWTestDesktop::makeSession("tidewell-kwin-test", "thunar");
    if (root_.empty()) {
        error_ = "cannot create a temporary directory";
        return;
    }
    home_ = root_ + "/home";
    runtime_ = root_ + "/runtime";
    socket_ = "tidewell-kwin-" + std::to_string(getpid());
    std::filesystem::create_directories(root_ + "/bin");
    setenv("XDG_CURRENT_DESKTOP", "KDE", 1);
    setenv("XDG_SESSION_TYPE", "wayland", 1);
    setenv("WAYLAND_DISPLAY", socket_.c_str(), 1);
    setenv("GDK_BACKEND", "wayland", 1);
    setenv("QT_QPA_PLATFORM", "wayland", 1);
    unsetenv("DISPLAY");
    if (!startBus() || !startKWin(permitted))
        return;
}

TWKWinTestDesktop::~TWKWinTestDesktop() {
    for (auto it = children_.rbegin(); it != children_.rend(); ++it)
        TWTestDesktop::endGroup(*it);
    killStrays();
    if (kwin_ > 0)
        TWTestDesktop::endGroup(kwin_);
    if (bus_ > 0)
        TWTestDesktop::endGroup(bus_);
    killStrays();
    if (!root_.empty()) {
        std::error_code ec;
        std::filesystem::remove_all(root_, ec);
    }
}

void TWKWinTestDesktop::killStrays() {
    // Programs started detached (a file manager, services the bus activated) carry this
    // session's runtime directory in their environment and belong to no group of ours.
    if (!runtime_.empty())
        TWTestDesktop::killProcessesWith("XDG_RUNTIME_DIR=" + runtime_, {kwin_, bus_});
}

bool TWKWinTestDesktop::startBus() {
    std::string socket = runtime_ + "/bus";
    bus_ =
        TWTestDesktop::startProcess({"dbus-daemon", "--config-file=/usr/share/dbus-1/session.conf",
                                     "--address=unix:path=" + socket, "--nofork", "--nopidfile"},
                                    home_);
    if (!TWTestDesktop::waitFor([&] { return std::filesystem::exists(socket); })) {
        error_ = "dbus-daemon did not start";
        return false;
    }
    setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + socket).c_str(), 1);
    return true;
}

bool TWKWinTestDesktop::startKWin(const std::vector<std::string>& permitted) {
    // KWin offers its window management only to a client whose executable (/proc/PID/exe) is
    // the program that an installed desktop entry with the interface key starts. The entries
    // must be in place before KWin first reads them.
    std::vector<std::string> programs = permitted;
    programs.push_back(selfExecutable());
    for (std::size_t i = 0; i < programs.size(); ++i)
        writeDesktopEntry("tidewell-kwin-test-permitted-" + std::to_string(i),
                          "[Desktop Entry]\nType=Application\nName=Permitted " + std::to_string(i) +
                              "\nExec=" + programs[i] +
                              "\nNoDisplay=true\nX-KDE-Wayland-Interfaces="
                              "org_kde_plasma_window_management\n");
    kwin_ = TWTestDesktop::startProcess(
        {kwinExecutable(root_ + "/bin"), "--virtual", "--width", "1280", "--height", "800",
         "--socket", socket_, "--no-lockscreen", "--no-global-shortcuts", "--no-kactivities"},
        home_, root_ + "/kwin.log", true);
    std::string path = runtime_ + "/" + socket_;
    bool up = TWTestDesktop::waitFor(
        [&] {
            int status;
            if (waitpid(kwin_, &status, WNOHANG) == kwin_) {
                kwin_ = -1;
                return true;
            }
            // KWin answers on D-Bus once its workspace is up.
            return std::filesystem::exists(path) &&
                   TWTestDesktop::run({"dbus-send", "--session", "--print-reply",
                                       "--dest=org.kde.KWin", "/KWin",
                                       "org.kde.KWin.currentDesktop"})
                           .find("int32") != std::string::npos;
        },
        std::chrono::seconds(60));
    if (!up || kwin_ < 0) {
        error_ = "kwin_wayland did not start: " + TWReadFile(root_ + "/kwin.log").substr(0, 2000);
        return false;
    }
    return true;
}

pid_t TWKWinTestDesktop::spawn(const std::vector<std::string>& argv) {
    pid_t pid = TWTestDesktop::startProcess(argv, home_);
    if (pid > 0)
        children_.push_back(pid);
    return pid;
}

void TWKWinTestDesktop::terminate(pid_t pid, int signal) {
    TWTestDesktop::endGroup(pid, signal);
    std::erase(children_, pid);
}

void TWKWinTestDesktop::writeDesktopEntry(const std::string& id,
                                          const std::string& contents) const {
    std::ofstream out(home_ + "/.local/share/applications/" + id + ".desktop");
    out << contents;
}

std::optional<bool> TWKWinTestDesktop::isMinimized(const std::string& uuid) const {
    std::string reply =
        TWTestDesktop::run({"dbus-send", "--session", "--print-reply", "--dest=org.kde.KWin",
                            "/KWin", "org.kde.KWin.getWindowInfo", "string:" + uuid});
    auto key = reply.find("\"minimized\"");
    if (key == std::string::npos)
        return std::nullopt;
    auto value = reply.find("boolean ", key);
    if (value == std::string::npos)
        return std::nullopt;
    return reply.compare(value + 8, 4, "true") == 0;
}
