// Login items as XDG autostart entries, programs started as detached processes.
#include "TWXDGServiceManagement.h"

#include "TWLog.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {
std::string defaultAutostartDirectory() {
    if (const char* config = std::getenv("XDG_CONFIG_HOME"); config && *config == '/')
        return std::string(config) + "/autostart";
    if (const char* home = std::getenv("HOME"); home && *home)
        return std::string(home) + "/.config/autostart";
    return {};
}

// Exec= quoting of the desktop entry format: reserved characters inside double quotes.
std::string quoteExec(const std::string& path) {
    std::string quoted = "\"";
    for (char c : path) {
        if (c == '"' || c == '`' || c == '$' || c == '\\')
            quoted += '\\';
        quoted += c;
    }
    return quoted + "\"";
}
} // namespace

TWXDGServiceManagement::TWXDGServiceManagement(std::map<std::string, std::string> programs,
                                               std::string autostartDirectory)
    : programs_(std::move(programs)),
      autostartDirectory_(autostartDirectory.empty() ? defaultAutostartDirectory()
                                                     : std::move(autostartDirectory)) {}

std::string TWXDGServiceManagement::autostartEntryPath(const std::string& identifier) const {
    return autostartDirectory_ + "/" + identifier + ".desktop";
}

bool TWXDGServiceManagement::setLoginItemEnabled(const std::string& identifier, bool enabled) {
    if (autostartDirectory_.empty() || identifier.empty() ||
        identifier.find('/') != std::string::npos) {
        TWLog("TWXDGServiceManagement: no autostart location for \"" + identifier + "\"");
        return false;
    }
    const std::string entry = autostartEntryPath(identifier);
    std::error_code ec;
    if (!enabled) {
        fs::remove(entry, ec);
        return !ec;
    }
    auto program = programs_.find(identifier);
    if (program == programs_.end()) {
        TWLog("TWXDGServiceManagement: unknown login item \"" + identifier + "\"");
        return false;
    }
    fs::create_directories(autostartDirectory_, ec);
    // Written aside and renamed so a session starting now never reads half an entry.
    const std::string temporary = entry + ".tmp";
    {
        std::ofstream out(temporary, std::ios::trunc);
        out << "[Desktop Entry]\n"
            << "Type=Application\n"
            << "Name=Tidewell Menu\n"
            << "Comment=Tidewell in the menu bar\n"
            << "Exec=" << quoteExec(program->second) << "\n"
            << "Icon=net.quillfen.Tidewell\n"
            << "NoDisplay=true\n"
            << "X-GNOME-Autostart-enabled=true\n";
        if (!out) {
            TWLog("TWXDGServiceManagement: cannot write " + temporary);
            return false;
        }
    }
    fs::rename(temporary, entry, ec);
    if (ec) {
        TWLog("TWXDGServiceManagement: cannot install " + entry + ": " + ec.message());
        fs::remove(temporary, ec);
        return false;
    }
    return true;
}

bool TWXDGServiceManagement::launchApplication(const std::string& path, unsigned options) {
    (void)options; // X11 gives focus by the window manager's policy; nothing to ask here
    if (access(path.c_str(), X_OK) != 0) {
        TWLog("TWXDGServiceManagement: cannot launch " + path + ": " + std::strerror(errno));
        return false;
    }
    // Double fork: the intermediate child exits at once, so the program is adopted by init and
    // outlives us without ever being left as our zombie.
    pid_t child = fork();
    if (child < 0)
        return false;
    if (child == 0) {
        if (fork() == 0) {
            setsid();
            execl(path.c_str(), path.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
        _exit(0);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
