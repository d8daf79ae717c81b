// SPDX-License-Identifier: MIT
// Tidewell on a test desktop: session files, the real program, its journal.
#include "TWTestTidewell.h"
#include "TWTestPaths.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Written aside and renamed, as Tidewell's own stores do: a reader never sees half a file.
void writePropertyList(const std::string& path, const TWTestSettings& values) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC "
                       "\"-//Apple//DTD PLIST 1.0//EN\" "
                       "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                       "<plist version=\"1.0\">\n<dict>\n";
    for (const auto& [key, value] : values) {
        text += "  <key>" + key + "</key>";
        if (const bool* on = std::get_if<bool>(&value))
            text += *on ? "<true/>" : "<false/>";
        else
            text += "<string>" + std::get<std::string>(value) + "</string>";
        text += "\n";
    }
    TWWriteFile(path + ".new", text + "</dict>\n</plist>\n");
    std::filesystem::rename(path + ".new", path);
}

// Receives all `size` bytes; false when the peer ends or the wait times out before.
bool receive(int fd, void* buffer, size_t size) {
    return ::recv(fd, buffer, size, MSG_WAITALL) == ssize_t(size);
}

} // namespace

TWTestTidewell::TWTestTidewell(TWTestSession& desktop) : desktop_(desktop) {
    TWWriteFile(desktop_.home() + "/.config/mimeapps.list",
                "[Default Applications]\ninode/directory=pcmanfm.desktop\n"
                "x-scheme-handler/x-tidewell-action=net.quillfen.Tidewell.desktop\n");
    desktop_.writeDesktopEntry(
        "net.quillfen.Tidewell",
        "[Desktop Entry]\nType=Application\nName=Tidewell\nExec=" + programPath() +
            " %u\nMimeType=x-scheme-handler/x-tidewell-action;\n"
            "NoDisplay=true\n"
            // As the installed entry: on KDE Plasma, the window management for this program.
            "X-KDE-Wayland-Interfaces=org_kde_plasma_window_management\n");
    // No update check against the real server from a test.
    writeSettings({{"CheckForUpdates", false}});
}

std::string TWTestTidewell::programPath() {
    return TWTestProgramPath("tidewell-testing");
}

void TWTestTidewell::writeSettings(const TWTestSettings& values) const {
    writePropertyList(desktop_.home() + "/.config/tidewell/net.quillfen.Tidewell.plist", values);
}

void TWTestTidewell::writeSharedSettings(const TWTestSettings& values) const {
    writePropertyList(desktop_.home() + "/.config/tidewell/shared.plist", values);
}

pid_t TWTestTidewell::start() {
    // Through a shell only to keep the program's diagnostics for the test to read.
    pid_t pid = desktop_.spawn({"/bin/sh", "-c", "exec \"$0\" 2>>\"$1\"", programPath(),
                                desktop_.home() + "/tidewell.log"});
    return TWTestDesktop::waitFor([] { return !request("status").empty(); }) ? pid : -1;
}

int TWTestTidewell::runAgain(const std::vector<std::string>& arguments) const {
    std::vector<std::string> argv{programPath()};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    const pid_t pid = TWTestDesktop::startProcess(argv, desktop_.home());
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) != pid)
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::vector<std::string> TWTestTidewell::status() const {
    std::vector<std::string> lines;
    std::istringstream reply(request("status"));
    for (std::string line; std::getline(reply, line);)
        if (!line.empty())
            lines.push_back(line);
    return lines;
}

std::string TWTestTidewell::request(const std::string& message) {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    const std::string path = std::string(runtime ? runtime : "/tmp") + "/tidewell/instance.sock";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return {};
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    // Generous: an instance built with the sanitizers, busy with hundreds of windows, can take
    // seconds; how fast it answers is measured by the benchmarks.
    timeval timeout{30, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    // One frame: four bytes of length, big-endian, then the bytes; the reply the same way.
    uint32_t length = htonl(uint32_t(message.size()));
    const std::string frame = std::string(reinterpret_cast<const char*>(&length), 4) + message;
    std::string reply;
    if (fd >= 0 && ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        ::send(fd, frame.data(), frame.size(), MSG_NOSIGNAL) == ssize_t(frame.size()) &&
        receive(fd, &length, 4)) {
        reply.resize(ntohl(length));
        if (!receive(fd, reply.data(), reply.size()))
            reply.clear();
    }
    if (fd >= 0)
        ::close(fd);
    return reply;
}

std::string TWTestTidewell::log() const {
    return TWReadFile(desktop_.home() + "/tidewell.log");
}
