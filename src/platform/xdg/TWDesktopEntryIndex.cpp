// SPDX-License-Identifier: MIT
// Desktop-entry parsing and the dock-style lookup from window hints to an application identity.
#include "TWDesktopEntryIndex.h"

#include "TWKeyFile.h"
#include "TWLog.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <ctime>
#include <dirent.h>
#include <set>
#include <sys/stat.h>

constexpr const char* kLogClass = "TWDesktopEntryIndex";

namespace {

std::string lower(std::string s) {
    for (auto& c : s)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

std::string basename(const std::string& path) {
    auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string stripDesktopSuffix(std::string s) {
    const std::string suffix = ".desktop";
    if (s.size() > suffix.size() && s.compare(s.size() - suffix.size(), suffix.size(), suffix) == 0)
        s.resize(s.size() - suffix.size());
    return s;
}

// The escapes of the format's string values: \s, \n, \t, \r and \\.
std::string unescapeValue(const std::string& value) {
    std::string text;
    text.reserve(value.size());
    for (size_t i = 0; i < value.size(); ++i) {
        if (value[i] == '\\' && i + 1 < value.size()) {
            const char n = value[++i];
            text += n == 's' ? ' ' : n == 'n' ? '\n' : n == 't' ? '\t' : n == 'r' ? '\r' : n;
            continue;
        }
        text += value[i];
    }
    return text;
}

bool isUTF8(const std::string& text) {
    for (size_t i = 0; i < text.size();) {
        const auto c = static_cast<unsigned char>(text[i]);
        const size_t length = c < 0x80           ? 1
                              : (c >> 5) == 0x6  ? 2
                              : (c >> 4) == 0xE  ? 3
                              : (c >> 3) == 0x1E ? 4
                                                 : 0;
        if (length == 0 || i + length > text.size() || (length == 2 && c < 0xC2))
            return false;
        for (size_t k = 1; k < length; ++k)
            if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80)
                return false;
        i += length;
    }
    return true;
}

bool isDirectory(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

} // namespace

std::vector<std::string> TWDesktopEntryIndex::dataDirectories() {
    std::vector<std::string> dirs;
    const char* home = std::getenv("XDG_DATA_HOME");
    if (home && *home)
        dirs.emplace_back(home);
    else if (const char* h = std::getenv("HOME"); h && *h)
        dirs.push_back(std::string(h) + "/.local/share");
    const char* data = std::getenv("XDG_DATA_DIRS");
    std::string list = (data && *data) ? data : "/usr/local/share:/usr/share";
    size_t start = 0;
    while (start <= list.size()) {
        size_t colon = list.find(':', start);
        std::string dir =
            list.substr(start, colon == std::string::npos ? std::string::npos : colon - start);
        if (!dir.empty() && std::find(dirs.begin(), dirs.end(), dir) == dirs.end())
            dirs.push_back(dir);
        if (colon == std::string::npos)
            break;
        start = colon + 1;
    }
    return dirs;
}

TWDesktopEntryIndex::TWDesktopEntryIndex() : TWDesktopEntryIndex(dataDirectories()) {}

TWDesktopEntryIndex::TWDesktopEntryIndex(const std::vector<std::string>& dataDirectories) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    scannedAt_ = static_cast<long long>(now.tv_sec) * 1000000000LL + now.tv_nsec;
    std::set<std::pair<dev_t, ino_t>> visited;
    for (const auto& dir : dataDirectories)
        scan(dir + "/applications", "", visited);
    buildLookups();
}

std::string TWDesktopEntryIndex::programPathOf(const std::string& exec) {
    auto argv = commandLineFromExec(exec);
    // Skip an "env VAR=value" prefix: the program is the first word after it.
    size_t i = 0;
    if (i < argv.size() && basename(argv[i]) == "env") {
        ++i;
        while (i < argv.size() && argv[i].find('=') != std::string::npos)
            ++i;
    }
    return i < argv.size() ? argv[i] : std::string();
}

std::string TWDesktopEntryIndex::programOf(const std::string& exec) {
    return basename(programPathOf(exec));
}

std::optional<std::string>
TWDesktopEntryIndex::execFromCommandLine(const std::vector<std::string>& argv,
                                         std::string* whyNot) {
    auto refuse = [&](const std::string& why) {
        if (whyNot)
            *whyNot = why;
        return std::nullopt;
    };
    std::string exec;
    for (const std::string& arg : argv) {
        if (arg.empty() || !isUTF8(arg))
            return refuse(arg.empty() ? "an empty argument"
                                      : "\"" + arg + "\" is not valid UTF-8 text");
        if (arg.find('\0') != std::string::npos)
            return refuse("an argument holds a NUL byte");
        // First level, the quoting of the command line: every argument in double quotes, with
        // '"', '`', '$' and '\\' escaped and '%' doubled (it would start a field code).
        std::string quoted = "\"";
        for (char c : arg) {
            if (c == '"' || c == '`' || c == '$' || c == '\\')
                quoted += '\\';
            quoted += c;
            if (c == '%')
                quoted += '%';
        }
        quoted += '"';
        // Second level, the escapes of a string value: a backslash and the line breaks that
        // would otherwise end the line (and make what follows a key of its own).
        if (!exec.empty())
            exec += ' ';
        for (char c : quoted) {
            if (c == '\\')
                exec += "\\\\";
            else if (c == '\n')
                exec += "\\n";
            else if (c == '\r')
                exec += "\\r";
            else if (c == '\t')
                exec += "\\t";
            else
                exec += c;
        }
    }
    if (commandLineFromExec(exec) != argv)
        return refuse("the command line does not survive the desktop-entry quoting");
    return exec;
}

void TWDesktopEntryIndex::buildLookups() {
    // How well an entry stands for its program: named after it first, then fewest arguments.
    auto rank = [](const TWDesktopEntry& entry, const std::string& program) {
        const std::string id = lower(entry.id);
        const auto dot = id.rfind('.');
        const bool named = id == lower(program) ||
                           (dot != std::string::npos && id.substr(dot + 1) == lower(program));
        return std::make_pair(named ? 0 : 1, commandLineFromExec(entry.exec).size());
    };
    for (const auto& id : order_) {
        auto it = entries_.find(id);
        if (it == entries_.end())
            continue;
        if (!it->second.startupWMClass.empty())
            byStartupWMClass_.emplace(it->second.startupWMClass, id);
        const std::string program = programOf(it->second.exec);
        if (program.empty())
            continue;
        auto [slot, added] = byProgram_.emplace(program, id);
        // Discovery order breaks ties: the earlier entry stays.
        if (!added && rank(it->second, program) < rank(entries_.at(slot->second), program))
            slot->second = id;
    }
}

const TWDesktopEntry* TWDesktopEntryIndex::mainEntryForProgram(const std::string& program) const {
    auto it = byProgram_.find(program);
    return it == byProgram_.end() ? nullptr : entryForID(it->second);
}

namespace {
constexpr long long kCoarseStepNs = 50'000'000;
long long folderStamp(const std::string& path) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0)
        return -1;
    return static_cast<long long>(st.st_mtim.tv_sec) * 1000000000LL + st.st_mtim.tv_nsec;
}
} // namespace

bool TWDesktopEntryIndex::isCurrent() const {
    for (const auto& [path, stamp] : folderStamps_) {
        // Modification times advance in coarse steps: a folder changed in the step of the scan
        // may have changed after it with the same time, so it is read once more.
        if (folderStamp(path) != stamp || stamp >= scannedAt_ - kCoarseStepNs)
            return false;
    }
    return true;
}

void TWDesktopEntryIndex::scan(const std::string& applicationsDir, const std::string& prefix,
                               std::set<std::pair<dev_t, ino_t>>& visited) {
    // Taken before reading, so that a change made while the folder is read is seen next time.
    folderStamps_.emplace_back(applicationsDir, folderStamp(applicationsDir));
    DIR* d = opendir(applicationsDir.c_str());
    if (!d)
        return;
    // Each folder is read once, however many links lead to it: a link to a folder above it
    // would otherwise be followed until the kernel's link limit, along every branch.
    struct stat self {};
    if (fstat(dirfd(d), &self) != 0 || !visited.emplace(self.st_dev, self.st_ino).second) {
        closedir(d);
        return;
    }
    std::vector<std::string> names;
    while (dirent* e = readdir(d)) {
        std::string name = e->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    closedir(d);
    std::sort(names.begin(), names.end());
    for (const auto& name : names) {
        std::string path = applicationsDir + "/" + name;
        if (isDirectory(path)) {
            // Subdirectories contribute "<dir>-<file>" IDs.
            scan(path, prefix + name + "-", visited);
            continue;
        }
        std::string id = stripDesktopSuffix(name);
        if (id == name)
            continue;
        id = prefix + id;
        // The first directory that holds an ID decides it, even when that entry is hidden.
        if (entries_.count(id) || std::find(order_.begin(), order_.end(), id) != order_.end())
            continue;
        order_.push_back(id);
        if (auto entry = parseFile(path, id))
            entries_.emplace(id, std::move(*entry));
    }
}

std::optional<TWDesktopEntry> TWDesktopEntryIndex::parseFile(const std::string& path,
                                                             const std::string& id) {
    TWDesktopEntry entry;
    entry.id = id;
    entry.path = path;
    bool inMainGroup = false;
    bool application = false;
    bool hidden = false;
    const bool readable = TWKeyFile::read(
        path, [&](const std::string& group) { inMainGroup = group == "Desktop Entry"; },
        [&](const std::string& key, const std::string& value) {
            if (!inMainGroup)
                return;
            if (key == "Type")
                application = value == "Application";
            else if (key == "Hidden")
                hidden = value == "true";
            else if (key == "Exec")
                entry.exec = value;
            else if (key == "TryExec")
                entry.tryExec = value;
            else if (key == "StartupWMClass")
                entry.startupWMClass = value;
            else if (key == "Icon")
                entry.icon = unescapeValue(value);
            else if (key == "Name")
                entry.name[""] = unescapeValue(value);
            else if (key.rfind("Name[", 0) == 0 && key.back() == ']')
                entry.name[key.substr(5, key.size() - 6)] = unescapeValue(value);
        });
    if (!readable)
        return std::nullopt;
    if (!application || hidden || !entry.name.count(""))
        return std::nullopt;
    return entry;
}

std::string TWDesktopEntryIndex::idForPath(const std::string& path,
                                           const std::vector<std::string>& dataDirectories) {
    for (const std::string& dir : dataDirectories) {
        const std::string applications = dir + "/applications/";
        if (path.size() > applications.size() &&
            path.compare(0, applications.size(), applications) == 0) {
            std::string id = stripDesktopSuffix(path.substr(applications.size()));
            std::replace(id.begin(), id.end(), '/', '-');
            return id;
        }
    }
    return stripDesktopSuffix(basename(path));
}

const TWDesktopEntry* TWDesktopEntryIndex::entryForID(const std::string& id) const {
    auto it = entries_.find(id);
    return it == entries_.end() ? nullptr : &it->second;
}

std::vector<std::string> TWDesktopEntryIndex::commandLineForID(const std::string& id) const {
    const TWDesktopEntry* entry = entryForID(id);
    return entry ? commandLineFromExec(entry->exec) : std::vector<std::string>();
}

std::optional<std::string> TWDesktopEntryIndex::resolveIdentity(const TWIdentityHints& h) const {
    if (auto own = ownIdentity(h))
        return own;
    return guessedIdentity(h);
}

std::optional<std::string> TWDesktopEntryIndex::ownIdentity(const TWIdentityHints& h) const {
    // A hint counts only when it names an installed entry: toolkits derive it from the
    // application's own ID, which need not be the name its entry is installed under.
    if (!h.kdeDesktopFile.empty()) {
        std::string id = stripDesktopSuffix(basename(h.kdeDesktopFile));
        if (entries_.count(id))
            return id;
    }
    if (!h.gtkApplicationID.empty() && entries_.count(h.gtkApplicationID))
        return h.gtkApplicationID;
    for (const std::string* wm : {&h.wmInstance, &h.wmClass}) {
        if (wm->empty())
            continue;
        if (auto it = byStartupWMClass_.find(*wm); it != byStartupWMClass_.end())
            return it->second;
    }
    for (const std::string& id : {h.wmClass, lower(h.wmClass)})
        if (!id.empty() && entries_.count(id))
            return id;
    return std::nullopt;
}

std::optional<std::string> TWDesktopEntryIndex::guessedIdentity(const TWIdentityHints& h) const {
    if (!h.commandName.empty())
        if (const auto* entry = mainEntryForProgram(h.commandName))
            return entry->id;
    if (!h.wmClass.empty())
        return h.wmClass;
    return std::nullopt;
}

std::string TWDesktopEntryIndex::localizedName(const TWDesktopEntry& entry) {
    // The user's languages as GLib (and with it the desktop) orders them: LANGUAGE's list
    // first, else the first of LC_ALL, LC_MESSAGES and LANG that is set.
    std::vector<std::string> locales;
    if (const char* list = std::getenv("LANGUAGE"); list && *list) {
        std::string rest = list;
        for (size_t colon; !rest.empty();
             rest.erase(0, colon == std::string::npos ? colon : colon + 1)) {
            colon = rest.find(':');
            if (colon != 0)
                locales.push_back(rest.substr(0, colon));
        }
    } else {
        for (const char* var : {"LC_ALL", "LC_MESSAGES", "LANG"})
            if (const char* value = std::getenv(var); value && *value) {
                locales.emplace_back(value);
                break;
            }
    }
    for (const auto& locale : locales)
        for (const auto& key : localeKeys(locale)) {
            auto it = entry.name.find(key);
            if (it != entry.name.end() && !it->second.empty())
                return it->second;
        }
    return localizedName(entry, "");
}

std::vector<std::string> TWDesktopEntryIndex::localeKeys(const std::string& locale) {
    // lang_COUNTRY.ENCODING@MODIFIER: the encoding never takes part in the match.
    std::string lang = locale, country, modifier;
    if (auto at = lang.find('@'); at != std::string::npos) {
        modifier = lang.substr(at + 1);
        lang.resize(at);
    }
    if (auto dot = lang.find('.'); dot != std::string::npos)
        lang.resize(dot);
    if (auto underscore = lang.find('_'); underscore != std::string::npos) {
        country = lang.substr(underscore + 1);
        lang.resize(underscore);
    }
    std::vector<std::string> keys;
    if (!lang.empty() && lang != "C" && lang != "POSIX") {
        if (!country.empty() && !modifier.empty())
            keys.push_back(lang + "_" + country + "@" + modifier);
        if (!country.empty())
            keys.push_back(lang + "_" + country);
        if (!modifier.empty())
            keys.push_back(lang + "@" + modifier);
        keys.push_back(lang);
    }
    return keys;
}

std::string TWDesktopEntryIndex::localizedName(const TWDesktopEntry& entry,
                                               const std::string& locale) {
    std::vector<std::string> keys = localeKeys(locale);
    keys.emplace_back("");
    for (const auto& key : keys) {
        auto it = entry.name.find(key);
        if (it != entry.name.end() && !it->second.empty())
            return it->second;
    }
    return {};
}

std::vector<std::string> TWDesktopEntryIndex::commandLineFromExec(const std::string& exec) {
    // The string-level escapes (\s, \n, \t, \r, \\) apply before the quoting rules; any
    // other backslash is left to them.
    std::string text;
    for (size_t i = 0; i < exec.size(); ++i) {
        if (exec[i] == '\\' && i + 1 < exec.size()) {
            char n = exec[i + 1];
            if (n == 's' || n == 'n' || n == 't' || n == 'r' || n == '\\') {
                text += n == 's' ? ' ' : n == 'n' ? '\n' : n == 't' ? '\t' : n == 'r' ? '\r' : '\\';
                ++i;
                continue;
            }
        }
        text += exec[i];
    }
    std::vector<std::string> args;
    std::string current;
    bool inWord = false, quoted = false, dropWord = false;
    auto finishWord = [&] {
        if (inWord && !dropWord)
            args.push_back(current);
        current.clear();
        inWord = false;
        dropWord = false;
    };
    for (size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (quoted) {
            if (c == '"')
                quoted = false;
            else if (c == '\\' && i + 1 < text.size())
                current += text[++i];
            else if (c == '%' && i + 1 < text.size() && text[i + 1] == '%')
                current += text[++i]; // "%%" is a literal '%' inside quotes too
            else
                current += c;
            continue;
        }
        if (c == ' ' || c == '\t' || c == '\n') {
            finishWord();
            continue;
        }
        inWord = true;
        if (c == '"') {
            quoted = true;
        } else if (c == '%' && i + 1 < text.size()) {
            char code = text[++i];
            if (code == '%')
                current += '%';
            else if (current.empty() && (i + 1 == text.size() || text[i + 1] == ' '))
                dropWord = true; // a field code standing alone as an argument
            // otherwise a field code inside a word expands to nothing
        } else {
            current += c;
        }
    }
    if (quoted)
        TWLog(LOG_WARNING, kLogClass, "unterminated quote in Exec line: " + exec);
    finishWord();
    return args;
}
