// SPDX-License-Identifier: MIT
// XDG autostart entries: listing in a stable order, resolving their programs, writing them.
#include "TWXDGAutostart.h"

#include "TWBaseDirectories.h"
#include "TWDesktopEntryIndex.h"
#include "TWKeyFile.h"
#include "TWLog.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

constexpr const char* kLogClass = "TWXDGAutostart";

namespace fs = std::filesystem;

namespace {

// What an autostart entry says about itself.
struct AutostartEntry {
    bool application = false;
    bool enabled = true;
    std::string exec;
};

// Reads the keys of the main group that decide whether and what an entry starts. The session
// skips an entry with Hidden=true, and GNOME's with X-GNOME-Autostart-enabled=false: both are
// entries the user turned off.
std::optional<AutostartEntry> readEntry(const std::string& file) {
    AutostartEntry entry;
    bool inMainGroup = false;
    if (!TWKeyFile::read(
            file, [&](const std::string& group) { inMainGroup = group == "Desktop Entry"; },
            [&](const std::string& key, const std::string& value) {
                if (!inMainGroup)
                    return;
                if (key == "Type")
                    entry.application = value == "Application";
                else if (key == "Exec")
                    entry.exec = value;
                else if ((key == "Hidden" && value == "true") ||
                         (key == "X-GNOME-Autostart-enabled" && value == "false"))
                    entry.enabled = false;
            }))
        return std::nullopt;
    return entry;
}

// Replaces `entry` with `contents`, written aside and renamed so that a session starting now
// never reads half an entry.
bool installFile(const std::string& entry, const std::string& contents) {
    const std::string temporary = entry + ".tmp";
    std::error_code ec;
    {
        std::ofstream out(temporary, std::ios::trunc);
        out << contents;
        if (!out.flush()) {
            TWLog(LOG_ERR, kLogClass, "cannot write " + temporary);
            out.close();
            fs::remove(temporary, ec);
            return false;
        }
    }
    fs::rename(temporary, entry, ec);
    if (ec) {
        TWLog(LOG_ERR, kLogClass, "cannot install " + entry + ": " + ec.message());
        fs::remove(temporary, ec);
        return false;
    }
    return true;
}

// A file name for an entry, from a display name: letters, digits, '.', '-' and '_' only.
std::string fileStem(const std::string& displayName) {
    std::string stem;
    for (char c : displayName)
        stem += (std::isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '-' || c == '_')
                    ? c
                    : '-';
    return stem.empty() ? std::string("login-item") : stem;
}

bool isExecutableFile(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(path.c_str(), X_OK) == 0;
}

} // namespace

TWXDGAutostart::TWXDGAutostart(std::string directory)
    : directory_(directory.empty() ? defaultDirectory() : std::move(directory)) {}

std::string TWXDGAutostart::defaultDirectory() {
    return TWBaseDirectories::configHome() + "/autostart";
}

std::optional<std::string> TWXDGAutostart::resolveProgram(const std::string& program) {
    if (program.empty())
        return std::nullopt;
    if (program.find('/') != std::string::npos)
        return isExecutableFile(program) ? std::optional<std::string>(program) : std::nullopt;
    const char* path = std::getenv("PATH");
    std::string list = path && *path ? path : "/usr/local/bin:/usr/bin:/bin";
    size_t start = 0;
    while (start <= list.size()) {
        const size_t colon = list.find(':', start);
        std::string dir = list.substr(start, colon == std::string::npos ? colon : colon - start);
        if (!dir.empty() && isExecutableFile(dir + "/" + program))
            return dir + "/" + program;
        if (colon == std::string::npos)
            break;
        start = colon + 1;
    }
    return std::nullopt;
}

std::vector<TWLoginItemEntry> TWXDGAutostart::snapshot() {
    struct Found {
        std::tuple<long long, long long, std::string> order;
        TWLoginItemEntry entry;
    };
    std::vector<Found> found;
    DIR* dir = directory_.empty() ? nullptr : opendir(directory_.c_str());
    if (!dir)
        return {};
    while (dirent* e = readdir(dir)) {
        const std::string name = e->d_name;
        if (name.size() <= 8 || name.compare(name.size() - 8, 8, ".desktop") != 0)
            continue;
        const std::string file = directory_ + "/" + name;
        struct stat st {};
        if (stat(file.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
            continue;
        const std::optional<AutostartEntry> parsed = readEntry(file);
        if (!parsed || !parsed->application)
            continue; // not an application, or unreadable: not a login item
        // The program after an "env VAR=value" prefix is the one the entry starts.
        TWLoginItemEntry entry{file,
                               resolveProgram(TWDesktopEntryIndex::programPathOf(parsed->exec)),
                               parsed->enabled};
        found.push_back({{st.st_mtim.tv_sec, st.st_mtim.tv_nsec, name}, std::move(entry)});
    }
    closedir(dir);
    std::sort(found.begin(), found.end(),
              [](const Found& a, const Found& b) { return a.order < b.order; });
    std::vector<TWLoginItemEntry> entries;
    entries.reserve(found.size());
    for (Found& f : found)
        entries.push_back(std::move(f.entry));
    return entries;
}

bool TWXDGAutostart::remove(const TWLoginItemEntry& entry) {
    if (entry.reference.rfind(directory_ + "/", 0) != 0)
        return false; // only entries of this folder are ours to delete
    return unlink(entry.reference.c_str()) == 0;
}

bool TWXDGAutostart::append(const std::string& displayName, const std::string& path) {
    if (directory_.empty())
        return false;
    const std::string stem = fileStem(displayName);
    std::string fileName = stem + ".desktop";
    for (int n = 2; fs::exists(directory_ + "/" + fileName) && n < 1000; ++n)
        fileName = stem + "-" + std::to_string(n) + ".desktop";
    // The list is ordered by modification time, which the file system keeps only to a clock
    // tick: the new entry is dated after every other so that it comes last.
    timespec latest{0, 0};
    for (const TWLoginItemEntry& entry : snapshot()) {
        struct stat st {};
        if (stat(entry.reference.c_str(), &st) == 0 &&
            std::tie(st.st_mtim.tv_sec, st.st_mtim.tv_nsec) >
                std::tie(latest.tv_sec, latest.tv_nsec))
            latest = st.st_mtim;
    }
    if (!writeEntry(fileName, displayName, path))
        return false;
    const std::string file = directory_ + "/" + fileName;
    struct stat st {};
    if (stat(file.c_str(), &st) == 0 && std::tie(st.st_mtim.tv_sec, st.st_mtim.tv_nsec) <=
                                            std::tie(latest.tv_sec, latest.tv_nsec)) {
        timespec later = latest;
        if (++later.tv_nsec == 1000000000) {
            later.tv_nsec = 0;
            ++later.tv_sec;
        }
        const timespec times[2] = {{0, UTIME_OMIT}, later};
        utimensat(AT_FDCWD, file.c_str(), times, 0);
    }
    return true;
}

bool TWXDGAutostart::enable(const TWLoginItemEntry& entry) {
    if (entry.reference.rfind(directory_ + "/", 0) != 0)
        return false;
    // Edited in place, line by line: whatever else the user wrote into the entry stays.
    std::string contents, line;
    bool inMainGroup = false, edited = false;
    {
        std::ifstream in(entry.reference);
        if (!in)
            return false;
        auto addSwitch = [&] {
            if (inMainGroup && !edited) {
                contents += "X-GNOME-Autostart-enabled=true\n";
                edited = true;
            }
        };
        while (std::getline(in, line)) {
            if (!line.empty() && line[0] == '[') {
                addSwitch();
                inMainGroup = line.rfind("[Desktop Entry]", 0) == 0;
            } else if (inMainGroup && line.find('=') != std::string::npos) {
                std::string key = line.substr(0, line.find('='));
                while (!key.empty() && key.back() == ' ')
                    key.pop_back();
                if (key == "Hidden" || key == "X-GNOME-Autostart-enabled")
                    continue;
            }
            contents += line + "\n";
        }
        addSwitch();
    }
    if (!edited || !installFile(entry.reference, contents))
        return false;
    const auto again = readEntry(entry.reference);
    return again && again->enabled;
}

bool TWXDGAutostart::writeEntry(const std::string& fileName, const std::string& name,
                                const std::string& program, const std::vector<std::string>& extra) {
    if (directory_.empty() || fileName.empty() || fileName.find('/') != std::string::npos) {
        TWLog(LOG_WARNING, kLogClass, "no autostart location for \"" + fileName + "\"");
        return false;
    }
    std::string whyNot;
    auto exec = TWDesktopEntryIndex::execFromCommandLine({program}, &whyNot);
    // Written as "%%" the entry is right, but GLib (and so GNOME's session) looks for the
    // program before it undoes that quoting, finds none, and starts nothing.
    if (program.find('%') != std::string::npos) {
        exec.reset();
        whyNot = "sessions built on GLib cannot start a program whose path holds '%'";
    }
    if (!exec) {
        TWLog(LOG_ERR, kLogClass, "cannot write an autostart entry for " + program + ": " + whyNot);
        return false;
    }
    std::error_code ec;
    fs::create_directories(directory_, ec);
    // The name is a string value: only its escapes apply (the quoting is the Exec line's).
    std::string escapedName;
    for (char c : name)
        escapedName += c == '\\'   ? "\\\\"
                       : c == '\n' ? "\\n"
                       : c == '\r' ? "\\r"
                                   : std::string(1, c);
    std::string contents =
        "[Desktop Entry]\nType=Application\nName=" + escapedName + "\nExec=" + *exec + "\n";
    for (const std::string& line : extra)
        contents += line + "\n";
    contents += "X-GNOME-Autostart-enabled=true\n";
    return installFile(directory_ + "/" + fileName, contents);
}

bool TWXDGAutostart::removeEntry(const std::string& fileName) {
    if (directory_.empty() || fileName.find('/') != std::string::npos)
        return false;
    std::error_code ec;
    fs::remove(directory_ + "/" + fileName, ec);
    return !ec;
}
