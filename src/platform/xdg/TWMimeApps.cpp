// SPDX-License-Identifier: MIT
// mimeapps.list reading: default applications without running xdg-mime.
#include "TWMimeApps.h"

#include "TWBaseDirectories.h"
#include "TWKeyFile.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <set>
#include <sys/stat.h>

namespace {

std::vector<std::string> splitList(const std::string& value, char separator) {
    std::vector<std::string> out;
    size_t start = 0;
    while (start <= value.size()) {
        size_t end = value.find(separator, start);
        std::string item =
            value.substr(start, end == std::string::npos ? std::string::npos : end - start);
        while (!item.empty() && std::isspace(static_cast<unsigned char>(item.back())))
            item.pop_back();
        while (!item.empty() && std::isspace(static_cast<unsigned char>(item.front())))
            item.erase(item.begin());
        if (!item.empty())
            out.push_back(item);
        if (end == std::string::npos)
            break;
        start = end + 1;
    }
    return out;
}

std::string env(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::string withoutDesktopSuffix(std::string id) {
    const std::string suffix = ".desktop";
    if (id.size() > suffix.size() &&
        id.compare(id.size() - suffix.size(), suffix.size(), suffix) == 0)
        id.resize(id.size() - suffix.size());
    return id;
}

std::string fingerprintOf(const std::string& path) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0)
        return "-";
    return std::to_string(st.st_mtim.tv_sec) + "." + std::to_string(st.st_mtim.tv_nsec) + "/" +
           std::to_string(st.st_size) + "/" + std::to_string(st.st_ino);
}

// Reads the groups we need; `cacheFile` reads a mimeinfo.cache ([MIME Cache] as associations).
template <typename Lists> Lists readLists(const std::string& path, bool cacheFile) {
    Lists lists;
    std::map<std::string, std::vector<std::string>>* group = nullptr;
    TWKeyFile::read(
        path,
        [&](const std::string& name) {
            if (cacheFile)
                group = name == "MIME Cache" ? &lists.added : nullptr;
            else if (name == "Default Applications")
                group = &lists.defaults;
            else if (name == "Added Associations")
                group = &lists.added;
            else if (name == "Removed Associations")
                group = &lists.removed;
            else
                group = nullptr;
        },
        [&](const std::string& key, const std::string& value) {
            if (!group)
                return;
            auto& ids = (*group)[key];
            for (auto& id : splitList(value, ';'))
                ids.push_back(withoutDesktopSuffix(id));
        });
    return lists;
}

} // namespace

std::vector<std::string> TWMimeApps::listFiles() {
    std::vector<std::string> desktops;
    for (auto& d : splitList(env("XDG_CURRENT_DESKTOP"), ':')) {
        for (auto& c : d)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        desktops.push_back(d);
    }
    std::vector<std::string> configDirs;
    configDirs.push_back(TWBaseDirectories::configHome());
    const std::string dirs = env("XDG_CONFIG_DIRS");
    for (auto& d : splitList(dirs.empty() ? "/etc/xdg" : dirs, ':'))
        configDirs.push_back(d);
    std::vector<std::string> searched = configDirs;
    for (const auto& d : TWDesktopEntryIndex::dataDirectories())
        searched.push_back(d + "/applications");
    std::vector<std::string> files;
    for (const auto& dir : searched) {
        for (const auto& desktop : desktops)
            files.push_back(dir + "/" + desktop + "-mimeapps.list");
        files.push_back(dir + "/mimeapps.list");
    }
    return files;
}

void TWMimeApps::reloadIfChanged() {
    std::vector<std::string> files = listFiles();
    std::vector<std::string> caches;
    for (const auto& d : TWDesktopEntryIndex::dataDirectories())
        caches.push_back(d + "/applications/mimeinfo.cache");
    std::map<std::string, std::string> fingerprint;
    for (const auto* list : {&files, &caches})
        for (const auto& path : *list)
            fingerprint[path] = fingerprintOf(path);
    if (files == files_ && fingerprint == fingerprint_)
        return;
    files_ = std::move(files);
    fingerprint_ = std::move(fingerprint);
    lists_.clear();
    caches_.clear();
    for (const auto& path : files_)
        lists_.push_back(fingerprint_[path] == "-" ? Lists{} : readLists<Lists>(path, false));
    for (const auto& path : caches)
        caches_.push_back(fingerprint_[path] == "-" ? Lists{} : readLists<Lists>(path, true));
    answers_.clear();
}

std::optional<std::string> TWMimeApps::defaultApplication(const std::string& mimeType,
                                                          const TWDesktopEntryIndex& installed) {
    reloadIfChanged();
    if (auto it = answers_.find(mimeType); it != answers_.end())
        return it->second;
    std::optional<std::string> answer;
    auto isInstalled = [&](const std::string& id) { return installed.entryForID(id) != nullptr; };
    for (const auto& lists : lists_) {
        auto it = lists.defaults.find(mimeType);
        if (it == lists.defaults.end())
            continue;
        for (const auto& id : it->second)
            if (isInstalled(id)) {
                answer = id;
                break;
            }
        if (answer)
            break;
    }
    // Associations, most important file first; a removal applies to the files after it.
    std::set<std::string> removed;
    auto pick = [&](const Lists& lists) {
        if (auto it = lists.added.find(mimeType); it != lists.added.end())
            for (const auto& id : it->second)
                if (!removed.count(id) && isInstalled(id))
                    return std::optional<std::string>(id);
        if (auto it = lists.removed.find(mimeType); it != lists.removed.end())
            removed.insert(it->second.begin(), it->second.end());
        return std::optional<std::string>();
    };
    for (size_t i = 0; !answer && i < lists_.size(); ++i)
        answer = pick(lists_[i]);
    for (size_t i = 0; !answer && i < caches_.size(); ++i)
        answer = pick(caches_[i]);
    answers_[mimeType] = answer;
    return answer;
}

std::optional<std::string> TWMimeApps::defaultFileManager(const TWDesktopEntryIndex& installed) {
    const auto handler = defaultApplication("inode/directory", installed);
    if (!handler)
        return std::nullopt;
    const TWDesktopEntry* entry = installed.entryForID(*handler);
    const TWDesktopEntry* main =
        entry ? installed.mainEntryForProgram(TWDesktopEntryIndex::programOf(entry->exec))
              : nullptr;
    return main ? main->id : *handler;
}
