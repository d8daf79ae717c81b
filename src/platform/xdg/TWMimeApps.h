// SPDX-License-Identifier: MIT
// The user's default applications under the XDG MIME-applications rules, read from the
// mimeapps.list files in-process and read again when one of them changes.
// See also TWDesktopEntryIndex (which entries are installed).
#pragma once

#include "TWDesktopEntryIndex.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

class TWMimeApps {
  public:
    // The desktop-entry ID of the default application for `mimeType`: the first installed entry
    // of [Default Applications] in the most important file that names one, else the most
    // preferred installed association ([Added Associations], then the entries that declare the
    // type), never one a more important file removed; none when nothing handles the type.
    std::optional<std::string> defaultApplication(const std::string& mimeType,
                                                  const TWDesktopEntryIndex& installed);
    // The files the rules read, most important first: $desktop-mimeapps.list and mimeapps.list
    // in $XDG_CONFIG_HOME, $XDG_CONFIG_DIRS, $XDG_DATA_HOME/applications and
    // $XDG_DATA_DIRS/applications, for each desktop of $XDG_CURRENT_DESKTOP.
    static std::vector<std::string> listFiles();
    // The desktop-entry ID of the user's file manager: the default application for folders, or,
    // when that is an entry of its own that starts a file manager's program (a folder handler),
    // the entry that stands for that program; none when nothing handles folders.
    std::optional<std::string> defaultFileManager(const TWDesktopEntryIndex& installed);

  private:
    struct Lists {
        std::map<std::string, std::vector<std::string>> defaults, added, removed;
    };
    // What the files said, and what they looked like then (path -> modification and size).
    std::vector<std::string> files_;
    std::map<std::string, std::string> fingerprint_;
    std::vector<Lists> lists_;  // per file of files_
    std::vector<Lists> caches_; // mimeinfo.cache per applications folder ("added" only)
    std::map<std::string, std::optional<std::string>> answers_;
    void reloadIfChanged();
};
