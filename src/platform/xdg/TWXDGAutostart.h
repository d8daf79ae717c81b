// SPDX-License-Identifier: MIT
// XDG autostart entries ($XDG_CONFIG_HOME/autostart/*.desktop): the session's login items.
#pragma once

#include "TWLoginItemList.h"

#include <string>
#include <vector>

class TWXDGAutostart : public TWLoginItemList {
  public:
    // `directory` empty = the user's autostart folder ($XDG_CONFIG_HOME/autostart).
    explicit TWXDGAutostart(std::string directory = {});

    // The entries of the folder, oldest first (by modification time, then file name): a newly
    // written entry comes last. An entry with Hidden=true or X-GNOME-Autostart-enabled=false is
    // one the user turned off. An entry's resolved path is its program (Exec's first word after
    // an "env VAR=value" prefix, looked up on PATH).
    std::vector<TWLoginItemEntry> snapshot() override;
    // Deletes the entry's file.
    bool remove(const TWLoginItemEntry& entry) override;
    // Writes a new entry file named after `displayName` (never replacing another entry).
    bool append(const std::string& displayName, const std::string& path) override;
    // Drops the entry's Hidden and X-GNOME-Autostart-enabled keys and turns it on, keeping the
    // rest of the file as it is.
    bool enable(const TWLoginItemEntry& entry) override;

    // Writes (or replaces) the entry file `fileName` starting `program`, atomically; `extra` are
    // further "Key=value" lines. False (with a log line) when it could not be written, or when
    // `program` cannot be written as a desktop entry's command line (not UTF-8).
    bool writeEntry(const std::string& fileName, const std::string& name,
                    const std::string& program, const std::vector<std::string>& extra = {});
    // Removes the entry file `fileName`; true when it is gone.
    bool removeEntry(const std::string& fileName);

    const std::string& directory() const { return directory_; }
    // The user's autostart folder: <TWBaseDirectories::configHome>/autostart.
    static std::string defaultDirectory();
    // The full path of `program` as the session would run it: itself when it holds a "/",
    // else the first executable of that name on PATH; none when there is no such program.
    static std::optional<std::string> resolveProgram(const std::string& program);

  private:
    std::string directory_;
};
