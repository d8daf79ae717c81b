// SPDX-License-Identifier: MIT
// The installed desktop entries (applications/*.desktop under the XDG data directories), parsed
// once, and the lookups that turn a window's hints into an application identity.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

// One parsed desktop entry of Type=Application.
struct TWDesktopEntry {
    std::string id;                          // the desktop-entry ID, without ".desktop"
    std::string path;                        // the file it came from
    std::map<std::string, std::string> name; // "" -> Name, "de" -> Name[de], ...
    std::string exec;
    std::string startupWMClass;
    std::string tryExec;
    std::string icon; // Icon: a theme icon name or an absolute path
};

// What is known about a window (or process) when its identity is resolved.
struct TWIdentityHints {
    std::string kdeDesktopFile; // _KDE_NET_WM_DESKTOP_FILE
    std::string gtkApplicationID;
    std::string wmInstance;  // WM_CLASS, first string
    std::string wmClass;     // WM_CLASS, second string
    std::string commandName; // basename of the process's program (argv[0]), empty when unknown
};

class TWDesktopEntryIndex {
  public:
    // Reads every entry under $XDG_DATA_HOME and $XDG_DATA_DIRS (earlier directories win).
    TWDesktopEntryIndex();
    // An index over exactly these data directories (each holding an applications/ folder).
    explicit TWDesktopEntryIndex(const std::vector<std::string>& dataDirectories);

    // The identity for a window: ownIdentity, else guessedIdentity.
    std::optional<std::string> resolveIdentity(const TWIdentityHints& hints) const;
    // The identity the hints name themselves, as docks match them: the desktop-file hints when
    // an entry with that ID exists, StartupWMClass against the instance then the class, an entry
    // named by the class (as it is, then lower-cased); none when nothing names an entry.
    std::optional<std::string> ownIdentity(const TWIdentityHints& hints) const;
    // The last resort: the main entry of the window's program, else the class itself.
    std::optional<std::string> guessedIdentity(const TWIdentityHints& hints) const;
    // The entry that stands for a program among those whose Exec starts it: the one named after
    // it, else the one that passes it the fewest arguments (its settings or a helper mode are
    // entries of their own); null when none starts it.
    const TWDesktopEntry* mainEntryForProgram(const std::string& program) const;
    // The program an Exec value starts (the file name of its first word after "env VAR=...").
    static std::string programOf(const std::string& exec);
    // The same word as it is written: a path, or a name looked up on PATH.
    static std::string programPathOf(const std::string& exec);
    // The Exec value that starts `argv` exactly, quoted on both levels of the format (the
    // command line's quoting, then the escapes of a string value); none, with the reason in
    // `whyNot`, when an argument cannot be written (empty, not UTF-8).
    static std::optional<std::string> execFromCommandLine(const std::vector<std::string>& argv,
                                                          std::string* whyNot = nullptr);
    // The entry with this ID, or null.
    const TWDesktopEntry* entryForID(const std::string& id) const;
    // The command line that starts the entry with this ID; empty when there is no such entry or
    // it starts nothing.
    std::vector<std::string> commandLineForID(const std::string& id) const;
    // The entry's Name for the user's locale (LC_ALL, LC_MESSAGES, LANG), falling back to Name.
    static std::string localizedName(const TWDesktopEntry& entry);
    // The entry's Name for `locale` (such as "de_AT.UTF-8@euro").
    static std::string localizedName(const TWDesktopEntry& entry, const std::string& locale);
    // The keys of `locale`'s names, most specific first ("de_AT", "de"); none for C and POSIX.
    static std::vector<std::string> localeKeys(const std::string& locale);
    // The command line of an Exec value: split by the desktop-entry quoting rules, with the field
    // codes (%f, %U, ...) dropped and "%%" kept as "%".
    static std::vector<std::string> commandLineFromExec(const std::string& exec);
    // Parses one desktop entry file; none when it is not a usable application entry.
    static std::optional<TWDesktopEntry> parseFile(const std::string& path, const std::string& id);
    // The desktop-entry ID of the file at `path`: its path below an applications/ folder of the
    // data directories with "/" turned into "-", else its file name; without ".desktop".
    static std::string idForPath(const std::string& path,
                                 const std::vector<std::string>& dataDirectories);
    // The data directories of the XDG base-directory rules, most important first.
    static std::vector<std::string> dataDirectories();
    // Whether the applications folders read (and those that were missing) are as they were: an
    // entry installed, removed or renamed since changes its folder's modification time. A few
    // stat calls, cheap enough for every action.
    bool isCurrent() const;

  private:
    // Reads one applications folder and its subfolders; `visited` holds the folders (device
    // and inode) already read.
    void scan(const std::string& applicationsDir, const std::string& prefix,
              std::set<std::pair<dev_t, ino_t>>& visited);
    // Each folder scanned (or looked for) with its modification time in nanoseconds, -1 missing.
    std::vector<std::pair<std::string, long long>> folderStamps_;
    long long scannedAt_ = 0; // wall-clock time of the scan, in nanoseconds
    void buildLookups();
    std::map<std::string, TWDesktopEntry> entries_;
    std::vector<std::string> order_; // IDs in discovery order, for deterministic matching
    // Built once: a listing resolves every window, and parsing each entry's Exec per window
    // would cost windows x entries.
    std::map<std::string, std::string> byStartupWMClass_; // first entry in discovery order
    std::map<std::string, std::string> byProgram_;        // program name of Exec -> main entry
};
