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

std::string binaryDirectory() {
    return std::filesystem::path(TWTestProgramPath("tidewell")).parent_path();
}

std::string runtimeDirectory() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    return std::string(runtime ? runtime : "/tmp") + "/tidewell";
}

// Sends or receives all `size` bytes at `buffer`; false when the peer ends before.
bool transfer(int fd, char* buffer, size_t size, bool sending) {
    for (size_t done = 0; done < size;) {
        ssize_t n = sending ? ::send(fd, buffer + done, size - done, MSG_NOSIGNAL)
                            : ::recv(fd, buffer + done, size - done, 0);
        if (n <= 0)
            return false;
        done += size_t(n);
    }
    return true;
}

} // namespace

TWTestTidewell::TWTestTidewell(TWTestDesktop& desktop) : desktop_(desktop) {
    {
        std::ofstream mime(desktop_.home() + "/.config/mimeapps.list", std::ios::trunc);
        mime << "[Default Applications]\n"
             << "inode/directory=pcmanfm.desktop\n"
             << "x-scheme-handler/x-tidewell-action=net.quillfen.Tidewell.desktop\n";
    }
    desktop_.writeDesktopEntry("net.quillfen.Tidewell",
                               "[Desktop Entry]\nType=Application\nName=Tidewell\n"
                               "Exec=" +
                                   programPath() +
                                   " %u\nMimeType=x-scheme-handler/x-tidewell-action;\n"
                                   "NoDisplay=true\n");
    // No update check against the real server from a test.
    writeSettings({{"CheckForUpdates", false}});
}

std::string TWTestTidewell::programPath() {
    return binaryDirectory() + "/tidewell";
}

std::string TWTestTidewell::helperPath() {
    return binaryDirectory() + "/tidewell-helper";
}

std::string TWTestTidewell::settingsPath() const {
    return desktop_.home() + "/.config/tidewell/net.quillfen.Tidewell.plist";
}

std::string TWTestTidewell::autostartDirectory() const {
    return desktop_.home() + "/.config/autostart";
}

std::string TWTestTidewell::logPath() const {
    return desktop_.home() + "/tidewell.log";
}

namespace {
// Written aside and renamed, as Tidewell's own stores do: a reader never sees half a file.
void writePropertyList(const std::string& path, const std::map<std::string, bool>& values) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    {
        std::ofstream out(path + ".new", std::ios::trunc);
        out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            << "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
               "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
            << "<plist version=\"1.0\">\n<dict>\n";
        for (const auto& [key, value] : values)
            out << "  <key>" << key << "</key>" << (value ? "<true/>" : "<false/>") << "\n";
        out << "</dict>\n</plist>\n";
    }
    std::filesystem::rename(path + ".new", path);
}
} // namespace

void TWTestTidewell::writeSettings(const std::map<std::string, bool>& values) const {
    writePropertyList(settingsPath(), values);
}

void TWTestTidewell::writeSharedSettings(const std::map<std::string, bool>& values) const {
    writePropertyList(desktop_.home() + "/.config/tidewell/shared.plist", values);
}

pid_t TWTestTidewell::start() {
    // Through a shell only to keep the program's diagnostics for the test to read.
    pid_t pid =
        desktop_.spawn({"/bin/sh", "-c", "exec \"$0\" 2>>\"$1\"", programPath(), logPath()});
    if (!TWTestDesktop::waitFor([] { return !request("status").empty(); }))
        return -1;
    return pid;
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

namespace {
// A connection to the running instance with `message` sent on it; -1 on failure.
int sendRequest(const std::string& path, const std::string& message) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return -1;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    // Generous: an instance built with the sanitizers, busy with hundreds of windows, can take
    // seconds; how fast it answers is measured by the benchmarks.
    timeval timeout{30, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    // One frame each way: four bytes of length, big-endian, then the bytes.
    const uint32_t length = htonl(uint32_t(message.size()));
    std::string frame = std::string(reinterpret_cast<const char*>(&length), 4) + message;
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        !transfer(fd, frame.data(), frame.size(), true)) {
        ::close(fd);
        return -1;
    }
    return fd;
}

std::string receiveReply(int fd) {
    std::string reply;
    uint32_t replyLength = 0;
    if (fd >= 0 && transfer(fd, reinterpret_cast<char*>(&replyLength), 4, false)) {
        reply.resize(ntohl(replyLength));
        if (!transfer(fd, reply.data(), reply.size(), false))
            reply.clear();
    }
    if (fd >= 0)
        ::close(fd);
    return reply;
}
} // namespace

std::string TWTestTidewell::request(const std::string& message) {
    return receiveReply(sendRequest(runtimeDirectory() + "/instance.sock", message));
}

std::vector<std::string> TWTestTidewell::requestsAtOnce(const std::vector<std::string>& messages) {
    std::vector<int> fds;
    for (const auto& message : messages)
        fds.push_back(sendRequest(runtimeDirectory() + "/instance.sock", message));
    std::vector<std::string> replies;
    for (int fd : fds)
        replies.push_back(receiveReply(fd));
    return replies;
}

std::string TWTestTidewell::log() const {
    return TWReadFile(logPath());
}
