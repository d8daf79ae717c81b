// SPDX-License-Identifier: MIT
// A session bus and a headless KWin per test program, with teardown that leaves nothing running.
#include "TWKWinTestDesktop.h"

#include "TWTestPaths.h"

#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace {

// A KWin executable this user can start: the installed one, or a copy without the file
// capability (cap_sys_resource) it carries, which an unprivileged user, or root in a container
// without that capability, cannot exec. KWin names itself after its executable: same name.
std::string kwinExecutable(const std::string& scratchDirectory) {
    const std::string installed = "/usr/bin/kwin_wayland",
                      copy = scratchDirectory + "/kwin_wayland";
    std::error_code ec;
    if (getxattr(installed.c_str(), "security.capability", nullptr, 0) < 0 ||
        !std::filesystem::create_directories(scratchDirectory, ec) ||
        !std::filesystem::copy_file(installed, copy, ec))
        return installed;
    chmod(copy.c_str(), 0755);
    return copy;
}

// A method of KWin's object `path`; gdbus's answer.
std::string kwin(const std::string& path, const std::string& method,
                 const std::vector<std::string>& arguments = {}) {
    return busCall("org.kde.KWin", path, method, arguments);
}

// What follows the last `line` printed to KWin's log up to a space, quote or line end; none
// when it was not printed.
std::optional<std::string> lastValue(const std::string& log, const std::string& line) {
    const auto at = log.rfind(line);
    if (at == std::string::npos)
        return std::nullopt;
    const auto start = at + line.size();
    return log.substr(start, log.find_first_of("\" \n", start) - start);
}

} // namespace

TWKWinTestDesktop::TWKWinTestDesktop(const std::vector<std::string>& permitted, int outputs)
    : TWTestSession("tidewell-kwin-test", "thunar", outputs) {
    useWayland("KDE");
    if (ok())
        error_ = start(permitted);
}

std::string TWKWinTestDesktop::start(const std::vector<std::string>& permitted) {
    if (!startBus("bus", "DBUS_SESSION_BUS_ADDRESS", bus_))
        return "dbus-daemon did not start";
    // KWin offers its window management only to a client whose executable (/proc/PID/exe) is
    // the program that an installed desktop entry with the interface key starts. The entries
    // must be in place before KWin first reads them.
    std::vector<std::string> programs = permitted;
    programs.push_back(std::filesystem::canonical("/proc/self/exe").string());
    for (std::size_t i = 0; i < programs.size(); ++i)
        writeDesktopEntry("tidewell-kwin-test-permitted-" + std::to_string(i),
                          "[Desktop Entry]\nType=Application\nName=Permitted\nExec=" + programs[i] +
                              "\nNoDisplay=true\nX-KDE-Wayland-Interfaces="
                              "org_kde_plasma_window_management\n");
    // KWin hosts KDE's global-shortcut service. Up once it answers on D-Bus with its workspace.
    if (startService(
            {kwinExecutable(root_ + "/bin"), "--virtual", "--width", std::to_string(kOutputWidth),
             "--height", "800", "--output-count", std::to_string(outputs_), "--socket", socket_,
             "--no-lockscreen", "--no-kactivities"},
            root_ + "/kwin.log", kwin_,
            [&] {
                return std::filesystem::exists(runtime() + "/" + socket_) &&
                       kwin("/KWin", "org.kde.KWin.currentDesktop").starts_with("(");
            },
            std::chrono::seconds(60)))
        return {};
    return "kwin_wayland did not start: " + TWReadFile(root_ + "/kwin.log").substr(0, 2000);
}

TWKWinTestDesktop::~TWKWinTestDesktop() {
    endSession();
}

std::string TWKWinTestDesktop::info(const std::string& uuid, const std::string& key) const {
    const std::string reply = kwin("/KWin", "org.kde.KWin.getWindowInfo", {uuid});
    const auto at = reply.find("'" + key + "': <"), start = at + key.size() + 5;
    return at == std::string::npos ? std::string()
                                   : reply.substr(start, reply.find('>', start) - start);
}

std::optional<bool> TWKWinTestDesktop::flag(const std::string& uuid,
                                            const std::string& name) const {
    const std::string value = info(uuid, name);
    return value.empty() ? std::nullopt : std::optional<bool>(value == "true");
}

void TWKWinTestDesktop::runScript(const std::string& name, const std::string& code) const {
    const std::string file = root_ + "/" + name + ".js";
    kwin("/Scripting", "org.kde.kwin.Scripting.unloadScript", {name});
    if (code.empty())
        return;
    TWWriteFile(file, code);
    kwin("/Scripting", "org.kde.kwin.Scripting.loadScript", {file, name});
    kwin("/Scripting", "org.kde.kwin.Scripting.start");
}

std::string TWKWinTestDesktop::evaluate(const std::string& expression) const {
    static int calls = 0;
    const std::string line = "tidewell-value " + std::to_string(++calls) + " ";
    runScript("tidewell-evaluate", "print('" + line + "' + (" + expression + "));");
    std::optional<std::string> value;
    waitFor([&] { return (value = lastValue(TWReadFile(root_ + "/kwin.log"), line)).has_value(); });
    return value.value_or("");
}

std::string TWKWinTestDesktop::activeWindow() const {
    static const std::string kLine = "tidewell-observer active ";
    if (!observing_) {
        runScript(
            "tidewell-observer",
            "const report = c => print('" + kLine +
                "' + (c ? String(c.internalId) : ''));\n"
                "workspace.clientActivated.connect(report);\nreport(workspace.activeClient);\n");
        observing_ = true;
    }
    return lastValue(TWReadFile(root_ + "/kwin.log"), kLine).value_or("");
}
