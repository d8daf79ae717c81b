// SPDX-License-Identifier: MIT
// tidewellctl: runs the desktop actions (hide-others, show-all, toggle, the running list) on the
// session's desktop (GNOME Shell through Tidewell's extension, KWin on Wayland, or X11) from a
// terminal, with the user's settings as the application would; "watch" keeps running, records front
// switches and reads the same commands from standard input.
#include "TWCommandLineLocalizer.h"
#include "TWCommon.h"
#include "TWDesktopEntryIndex.h"
#include "TWFastHandOver.h"
#include "TWFormat.h"
#include "TWGnomeDesktop.h"
#include "TWKWinDesktop.h"
#include "TWKeyCombination.h"
#include "TWLocalizedString.h"
#include "TWLog.h"
#include "TWPlatformFactory.h"
#include "TWPlistFileStore.h"
#include "TWProcessRegistry.h"
#include "TWProductVersion.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWStorePaths.h"
#include "TWUserDefaults.h"
#include "TWX11Desktop.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <sstream>
#include <string>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

volatile std::sig_atomic_t stopRequested = 0;

constexpr const char* kProgram = "tidewellctl";
// The tool's name before it drove more than X11; still installed as a link for one release.
constexpr const char* kFormerName = "tidewell-x11";

constexpr int kExitBadUsage = 2;
constexpr int kExitNoDisplay = 1;
constexpr int kExitCannotHide = 3;
constexpr int kExitNoSuchApplication = 4;
constexpr int kExitSomeStayShown = 5;
// How long a command waits for the window manager to carry out what it asked.
constexpr std::chrono::milliseconds kSettleBound = 2 * TWX11Workspace::kAnswerBound;
// How long a run waits for the follower of marked windows to answer before it replaces it.
constexpr std::chrono::milliseconds kFollowerAnswerBound = TWX11Workspace::kAnswerBound;

// One line on standard error, named for the tool.
void complain(const std::string& what) {
    std::cerr << kProgram << ": " << what << "\n";
}

// `text` broken into lines of at most 79 columns, each after `indent` spaces (the first after
// `first`, when given).
std::string wrapped(const std::string& text, size_t indent, const std::string& first = {}) {
    std::string out = first.empty() ? std::string(indent, ' ') : first, line;
    std::istringstream words(text);
    size_t column = out.size();
    bool lineStart = true;
    for (std::string word; words >> word;) {
        if (!lineStart && column + 1 + word.size() > 79) {
            out += "\n" + std::string(indent, ' ');
            column = indent;
            lineStart = true;
        }
        if (!lineStart) {
            out += ' ';
            ++column;
        }
        out += word;
        // Columns, not bytes: the translations are UTF-8.
        for (unsigned char c : word)
            column += (c & 0xc0) != 0x80;
        lineStart = false;
    }
    return out + "\n";
}

void usage(std::ostream& out) {
    // A term of the help and what it does.
    struct Entry {
        const char* term;
        const char* text;
    };
    static const Entry commands[] = {
        {"hide-others",
         TWLocalizable("hide every application but the file manager and the excluded ones")},
        {"show-all",
         TWLocalizable("show every hidden application and bring back the one in front")},
        {"toggle ID", TWLocalizable("hide the application with desktop-entry ID when it is "
                                    "shown (in front or not); show and activate it when it is "
                                    "hidden")},
        {"list", TWLocalizable("print the running applications")},
        {"watch",
         TWLocalizable("print front switches; read the commands above from standard input")},
    };
    static const Entry options[] = {
        {"-h, --help", TWLocalizable("print this help and exit")},
        {"-v, --version", TWLocalizable("print the version and exit")},
        {"--display D",
         TWLocalizable("work on the X display D (default: the session's desktop: on "
                       "$WAYLAND_DISPLAY GNOME Shell when Tidewell's extension answers, KWin "
                       "when it offers its window management; else $DISPLAY)")},
        {"--set K=V",
         TWLocalizable("use V for setting K in this run: ShowFinder, ShowWindow, Minimize, "
                       "CloseAllFinder, Menubar or CheckForUpdates (YES or NO), IconStyle2 (1, "
                       "2, 4 or 5), HideOthersShortcut or ShowAllShortcut (a key combination such "
                       "as Ctrl+Alt+H, or nothing)")},
        {"--exclude ID",
         TWLocalizable("leave the application ID alone in this run, as if it were excluded")},
    };
    auto list = [&out](const char* heading, const auto& entries) {
        out << "\n" << TWLocalizedString(heading) << "\n";
        for (const Entry& entry : entries) {
            std::string term = std::string("  ") + entry.term;
            term.resize(std::max<size_t>(term.size() + 1, 16), ' ');
            out << wrapped(TWLocalizedString(entry.text), 16, term);
        }
    };
    out << TWFormat(TWLocalizedString(
                        "usage: %@ [--display D] [--set KEY=VALUE]... [--exclude ID]... COMMAND"),
                    kProgram)
        << "\n";
    list(TWLocalizable("commands:"), commands);
    list(TWLocalizable("options:"), options);
    out << "\n"
        << wrapped(TWFormat(TWLocalizedString("Settings are read from the user's files, as the "
                                              "application reads them (%@). With --set or "
                                              "--exclude the files are only read: the changes "
                                              "apply to this run alone."),
                            TWStorePaths::storeDirectory()),
                   0)
        << "\n"
        << wrapped(TWLocalizedString("exit status: 0 done, 1 no desktop to work on, 2 bad usage, "
                                     "3 the window manager does not minimize windows (nothing "
                                     "was hidden), 4 no running application has the ID given "
                                     "to toggle, 5 some windows stay shown because the window "
                                     "manager does not allow minimizing them (the others were "
                                     "hidden)"),
                   0);
}

// A setting a run can be given with --set, and the values it takes.
struct Setting {
    const char* key;
    enum Kind { Boolean, IconStyle, Shortcut } kind;
    bool ownStore; // the application's own store (else the shared one)
};
constexpr Setting kSettings[] = {
    {TWShowFinderKey, Setting::Boolean, false},
    {TWShowWindowKey, Setting::Boolean, false},
    {TWMinimizeKey, Setting::Boolean, false},
    {TWCloseAllFinderKey, Setting::Boolean, false},
    {TWHideOthersShortcutKey, Setting::Shortcut, false},
    {TWShowAllShortcutKey, Setting::Shortcut, false},
    {TWMenubarKey, Setting::Boolean, true},
    {TWIconStyleKey, Setting::IconStyle, true},
    {TWCheckForUpdatesKey, Setting::Boolean, true},
};

const Setting* findSetting(const std::string& key) {
    for (const Setting& setting : kSettings)
        if (key == setting.key)
            return &setting;
    return nullptr;
}

// The value `text` stands for in `setting`; nothing (and why in `why`) when it is none of the
// setting's values.
std::optional<TWPlistValue> parseValue(const Setting& setting, const std::string& text,
                                       std::string& why) {
    switch (setting.kind) {
    case Setting::Boolean:
        if (text == "YES" || text == "true" || text == "1")
            return TWPlistValue(true);
        if (text == "NO" || text == "false" || text == "0")
            return TWPlistValue(false);
        why = TWFormat(TWLocalizedString("%@ takes YES or NO, not '%@'"), setting.key, text);
        return std::nullopt;
    case Setting::IconStyle:
        for (const TWIconStyle& style : TWIconStyles)
            if (text == std::to_string(style.tag))
                return TWPlistValue(static_cast<long long>(style.tag));
        why = TWFormat(TWLocalizedString("%@ takes 1, 2, 4 or 5, not '%@'"), setting.key, text);
        return std::nullopt;
    case Setting::Shortcut:
        if (text.empty())
            return TWPlistValue(text);
        if (auto combination = TWKeyCombination::parse(text);
            combination && combination->isGlobalShortcut())
            return TWPlistValue(combination->text());
        why = TWFormat(TWLocalizedString("%@ takes a key combination with Ctrl, Alt or Meta "
                                         "(such as Ctrl+Alt+H) or nothing, not '%@'"),
                       setting.key, text.substr(0, 80));
        return std::nullopt;
    }
    return std::nullopt;
}

void printList(TWDesktop& desktop) {
    std::printf("%-36s %-6s %-24s %7s %-6s %s\n", "ID", "POLICY", "NAME", "PID", "HIDDEN",
                "ACTIVE");
    for (const auto& app : desktop.workspace().runningApplications()) {
        // This run registers itself for the actions (as Tidewell): it is not one of the running
        // applications, and Tidewell, when it runs, is listed as itself.
        if (app.processIdentifier == ::getpid())
            continue;
        std::printf("%-36s %-6d %-24s %7d %-6s %s\n",
                    app.bundleIdentifier ? app.bundleIdentifier->c_str() : "-",
                    app.activationPolicy, app.localizedName.c_str(), app.processIdentifier,
                    app.hidden ? "yes" : "no", app.active ? "yes" : "no");
    }
    std::fflush(stdout);
}

// Waits until the window manager has carried out the requests (the windows hidden are iconic,
// the ones shown are back), so that the command's effect is complete when it ends and errors
// are reported now.
void settle(TWDesktop& desktop) {
    if (auto* x11 = dynamic_cast<TWX11Desktop*>(&desktop)) {
        x11->x11Workspace().settle(kSettleBound);
        x11->sync();
    } else if (auto* kwin = dynamic_cast<TWKWinDesktop*>(&desktop)) {
        kwin->connection().sync();
    } else if (auto* gnome = dynamic_cast<TWGnomeDesktop*>(&desktop)) {
        gnome->connection().sync();
    } else {
        desktop.dispatchPendingEvents();
    }
}

bool cannotHide(TWDesktop& desktop) {
    auto* x11 = dynamic_cast<TWX11Desktop*>(&desktop);
    return x11 && x11->x11Workspace().minimizeSupport() == TWX11MinimizeSupport::No;
}

// How many windows the run left shown because the window manager does not allow minimizing
// them (each is named in a log line).
size_t unminimizable(TWDesktop& desktop) {
    auto* x11 = dynamic_cast<TWX11Desktop*>(&desktop);
    return x11 ? x11->x11Workspace().unminimizableCount() : 0;
}

bool connectionLost(TWDesktop& desktop) {
    if (auto* kwin = dynamic_cast<TWKWinDesktop*>(&desktop))
        return kwin->connection().broken();
    if (auto* gnome = dynamic_cast<TWGnomeDesktop*>(&desktop))
        return gnome->connection().broken();
    auto* x11 = dynamic_cast<TWX11Desktop*>(&desktop);
    return x11 && x11->connection().hasError();
}

// Runs of the tool act on the desktop one at a time. Runs started together (a shortcut held
// down) would otherwise each find the others' windows half minimized, and the window manager,
// busy with all of them, slow enough to be taken for one that cannot minimize. Held for one
// command; a run still waiting after kRunLockBound goes ahead and says so.
pid_t followerHolding(const std::string& lockPath);
void endFollower(pid_t pid);
void nameHolder(int lockFd);

class RunLock {
  public:
    static constexpr std::chrono::seconds kRunLockBound{120};
    RunLock() {
        const std::string dir = TWProcessRegistry::registryDirectory();
        if (dir.empty())
            return;
        const std::string path = dir + "/command-line.lock";
        fd_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
        const auto start = std::chrono::steady_clock::now();
        bool followerEnded = false;
        while (fd_ >= 0 && ::flock(fd_, LOCK_EX | LOCK_NB) != 0) {
            const auto now = std::chrono::steady_clock::now();
            if ((errno != EWOULDBLOCK && errno != EINTR) || now >= start + kRunLockBound) {
                complain(TWLocalizedString(
                    "another run keeps the desktop busy; going ahead without waiting for it"));
                return;
            }
            // The follower of marked windows holds it only for a look: one that keeps it
            // (stopped, stuck) is ended, as a run ends one that does not answer.
            if (!followerEnded && now >= start + kFollowerAnswerBound) {
                followerEnded = true;
                if (const pid_t follower = followerHolding(path); follower > 0)
                    endFollower(follower);
            }
            usleep(10000);
        }
        nameHolder(fd_);
    }
    ~RunLock() {
        if (fd_ >= 0)
            ::close(fd_);
    }
    RunLock(const RunLock&) = delete;
    RunLock& operator=(const RunLock&) = delete;

  private:
    int fd_ = -1;
};

// The tool's own program, run again as the follower of marked windows (never documented: the
// tool starts it itself).
constexpr const char* kFollowMarksMode = "--follow-marks";

// The follower's files for this display, in the runtime directory (empty: none can be made):
// the lock it holds while it runs, and the socket on which runs of the tool ask it to look.
std::string followerPath(const char* suffix) {
    const std::string dir = TWProcessRegistry::registryDirectory();
    if (dir.empty())
        return {};
    std::string display = std::getenv("DISPLAY") ? std::getenv("DISPLAY") : "";
    std::replace(display.begin(), display.end(), '/', '_');
    return dir + "/mark-follower-" + display + suffix;
}

int openLockFile(const std::string& path) {
    return ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
}

bool socketAddress(const std::string& path, sockaddr_un& address) {
    address = {};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path)
        return false;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    return true;
}

// What became of a request to the follower.
enum class FollowerAnswer { Answered, NoListener, NoAnswer };

// Asks the running follower to look at every mark now, waiting at most `bound` for its answer.
// The connection is made without blocking: a follower that is stopped (or stuck) leaves its
// listen queue to fill, and a blocking connect would then wait for ever.
FollowerAnswer askFollower(const std::string& path, std::chrono::milliseconds bound) {
    sockaddr_un address;
    if (!socketAddress(path, address))
        return FollowerAnswer::NoListener;
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0)
        return FollowerAnswer::NoListener;
    FollowerAnswer result = FollowerAnswer::NoAnswer;
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        // EAGAIN: the queue is full, no one takes the connection.
        if (errno == ENOENT || errno == ECONNREFUSED)
            result = FollowerAnswer::NoListener;
    } else {
        char answer = 0;
        pollfd wait{fd, POLLIN, 0};
        const auto end = std::chrono::steady_clock::now() + bound;
        for (;;) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                end - std::chrono::steady_clock::now());
            const int ready = ::poll(&wait, 1, static_cast<int>(std::max<long>(left.count(), 0)));
            if (ready < 0 && errno == EINTR)
                continue;
            if (ready > 0) {
                const ssize_t n = ::read(fd, &answer, 1);
                // Closed without an answer: the follower ended meanwhile.
                result = n == 1 ? FollowerAnswer::Answered : FollowerAnswer::NoListener;
            }
            break;
        }
    }
    ::close(fd);
    return result;
}

// The follower holding the lock at `lockPath` (its pid is written there), or -1 when none does or
// the pid there is not a follower's.
pid_t followerHolding(const std::string& lockPath) {
    const int fd = openLockFile(lockPath);
    if (fd < 0)
        return -1;
    char text[32] = {};
    const ssize_t n = ::pread(fd, text, sizeof text - 1, 0);
    const bool held = ::flock(fd, LOCK_EX | LOCK_NB) != 0;
    ::close(fd);
    const pid_t pid = n > 0 ? static_cast<pid_t>(std::atol(text)) : 0;
    if (!held || pid <= 0)
        return -1;
    // The pid is checked to run this program's follower mode: a pid left in the file by a
    // follower that ended may name another program by now.
    std::ifstream cmdline("/proc/" + std::to_string(pid) + "/cmdline");
    std::string line((std::istreambuf_iterator<char>(cmdline)), std::istreambuf_iterator<char>());
    return line.find(std::string(kFollowMarksMode) + '\0') != std::string::npos ? pid : -1;
}

// Writes this process's pid into the lock it holds, for a process that waits on it.
void nameHolder(int lockFd) {
    const std::string pid = std::to_string(::getpid()) + "\n";
    if (lockFd < 0 || ::ftruncate(lockFd, 0) != 0 ||
        ::pwrite(lockFd, pid.data(), pid.size(), 0) < 0)
        TWLog(LOG_WARNING, "tidewellctl", "cannot name the holder of a lock");
}

// Ends the follower `pid`, which does not answer. SIGKILL ends a stopped process too. The marks
// are on the windows: the next follower takes them on.
void endFollower(pid_t pid) {
    complain(TWFormat(TWLocalizedString("the follower of hidden windows (process %@) did not "
                                        "answer; a new one takes its place"),
                      std::to_string(pid)));
    ::kill(pid, SIGKILL);
}

// Ends a follower that does not answer, so that a new one can take its place; true once its lock
// is free.
bool replaceFollower(const std::string& lockPath) {
    const pid_t pid = followerHolding(lockPath);
    if (pid <= 0)
        return false;
    endFollower(pid);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    while (std::chrono::steady_clock::now() < end) {
        const int fd = openLockFile(lockPath);
        if (fd < 0)
            return false;
        const bool free = ::flock(fd, LOCK_EX | LOCK_NB) == 0;
        ::close(fd);
        if (free)
            return true;
        usleep(5000);
    }
    return false;
}

// Starts the follower; false (said on standard error) when it cannot be started.
bool startFollower() {
    char self[4096];
    const ssize_t n = ::readlink("/proc/self/exe", self, sizeof self - 1);
    if (n <= 0)
        return false;
    self[n] = '\0';
    // A session of its own, nothing of this run's open (its X connection, its terminal): it
    // outlives the run and must hold up no one waiting for the run's output.
    posix_spawn_file_actions_t files;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&files);
    for (int stdio : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&files, stdio, "/dev/null",
                                         stdio == 0 ? O_RDONLY : O_WRONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    char* const argv[] = {self, const_cast<char*>(kFollowMarksMode), nullptr};
    pid_t pid = -1;
    const int error = posix_spawn(&pid, self, &files, &attributes, argv, environ);
    if (error != 0)
        complain(TWFormat(TWLocalizedString("cannot follow the hidden windows: %@"),
                          std::string(std::strerror(error))));
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
    return error == 0;
}

// After this run hid windows: makes sure the follower of marked windows follows them before the
// run ends (a window restored by hand a moment later is seen then), starting it when none runs.
// Called with the run lock held: the follower decides to end only under that lock, so it cannot
// go away meanwhile. Whether the application runs or not: it follows what it hid and what it
// lists, but lists only when it acts or the front application changes, so a window this run hid
// could come back unseen by it.
void keepMarksFollowed(TWDesktop& desktop) {
    auto* x11 = dynamic_cast<TWX11Desktop*>(&desktop);
    if (!x11 || x11->x11Workspace().followedCount() == 0)
        return;
    const std::string lockPath = followerPath(".lock"), socketPath = followerPath(".socket");
    if (lockPath.empty())
        return;
    // A follower that does not answer in time is replaced, once; the new one gets as long.
    auto end = std::chrono::steady_clock::now() + kFollowerAnswerBound;
    bool started = false, replaced = false;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        const FollowerAnswer answer =
            askFollower(socketPath, std::max(left, std::chrono::milliseconds(1)));
        if (answer == FollowerAnswer::Answered)
            return;
        const bool late = std::chrono::steady_clock::now() >= end;
        if (answer == FollowerAnswer::NoAnswer || late) {
            if (!replaced && replaceFollower(lockPath)) {
                replaced = true;
                started = false;
                end = std::chrono::steady_clock::now() + kFollowerAnswerBound;
            } else if (late) {
                complain(TWLocalizedString("the follower of hidden windows did not answer; a "
                                           "window restored by hand may come back at the next "
                                           "show-all"));
                return;
            }
        }
        if (!started) {
            // None runs when its lock is free (else one is starting and listens soon).
            const int fd = openLockFile(lockPath);
            if (fd < 0)
                return;
            const bool free = ::flock(fd, LOCK_EX | LOCK_NB) == 0;
            ::close(fd);
            if (free && !startFollower())
                return;
            started = free;
        }
        usleep(10000);
    }
}

// Ends the follower when no marked window is left minimized, under the run lock (so that a run
// of the tool finds it either following or gone); false when a run holds the lock, or when a
// look under it found marked windows after all.
bool endWhenNothingHidden(TWX11Desktop& desktop, int listener, const std::string& socketPath) {
    const std::string dir = TWProcessRegistry::registryDirectory();
    const int runLock = dir.empty() ? -1 : openLockFile(dir + "/command-line.lock");
    if (runLock < 0 || ::flock(runLock, LOCK_EX | LOCK_NB) != 0) {
        if (runLock >= 0)
            ::close(runLock);
        return false;
    }
    nameHolder(runLock);
    desktop.x11Workspace().followMarked();
    desktop.dispatchPendingEvents();
    const bool end = desktop.x11Workspace().followedCount() == 0;
    if (end) {
        ::unlink(socketPath.c_str());
        ::close(listener);
    }
    ::close(runLock);
    return end;
}

// The follower of marked windows: follows every window hidden with a mark until none is hidden
// any more, dropping each mark as its window is seen back (restored by the user's hand too,
// which no later run could tell), and ends then or when the display goes. Runs of the tool ask
// it to look again through its socket and wait for its answer. One per display: a second one
// ends at once.
int followMarks() {
    const std::string lockPath = followerPath(".lock"), socketPath = followerPath(".socket");
    const int lock = lockPath.empty() ? -1 : openLockFile(lockPath);
    sockaddr_un address;
    if (lock < 0 || ::flock(lock, LOCK_EX | LOCK_NB) != 0 || !socketAddress(socketPath, address))
        return 0;
    // Named in its lock, so that a run can end it when it stops answering.
    nameHolder(lock);
    auto desktop = TWX11Desktop::open();
    if (!desktop)
        return kExitNoDisplay;
    TWX11Workspace& workspace = desktop->x11Workspace();
    // The run that started this follower holds the run lock and waits for the first answer.
    workspace.followMarked();
    // Events its round trips read wait in the connection's queue, which no readable descriptor
    // announces.
    desktop->dispatchPendingEvents();
    // A socket left by a follower that was killed is this one's now: the lock says so.
    ::unlink(socketPath.c_str());
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (listener < 0 ||
        ::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener, 16) != 0) {
        TWLog(LOG_WARNING, "tidewellctl",
              "cannot follow the hidden windows: no socket " + socketPath);
        return 1;
    }
    while (true) {
        const bool nothingHidden = workspace.followedCount() == 0;
        if (nothingHidden && endWhenNothingHidden(*desktop, listener, socketPath))
            return 0;
        // Waiting to end, for the run that holds the lock: looked at again shortly.
        pollfd fds[2] = {{desktop->eventFileDescriptor(), POLLIN, 0}, {listener, POLLIN, 0}};
        if (::poll(fds, 2, nothingHidden ? 200 : -1) < 0 && errno != EINTR)
            return 1;
        desktop->dispatchPendingEvents();
        if (desktop->connection().broken())
            return 0;
        if (fds[1].revents & POLLIN) {
            std::vector<int> asking;
            for (int fd; (fd = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;)
                asking.push_back(fd);
            workspace.followMarked();
            desktop->dispatchPendingEvents();
            for (int fd : asking) {
                [[maybe_unused]] const ssize_t sent = ::send(fd, "1", 1, MSG_NOSIGNAL);
                ::close(fd);
            }
        }
    }
}

// Whether an application with the identifier `id` runs.
bool isRunning(TWDesktop& desktop, const std::string& id) {
    for (const auto& app : desktop.workspace().runningApplications())
        if (app.bundleIdentifier == id)
            return true;
    return false;
}

// What came of one command.
enum class Outcome { Done, UnknownCommand, NoSuchApplication };

// One command.
Outcome runCommand(const std::vector<std::string>& words, TWCommon& common, TWDesktop& desktop) {
    if (words.empty())
        return Outcome::Done;
    const std::string& command = words[0];
    if (command == "toggle" && words.size() == 2 && !common.isApplicationRunning(words[1])) {
        complain(TWFormat(TWLocalizedString("no running application has the ID %@ (see '%@ list')"),
                          words[1], kProgram));
        return Outcome::NoSuchApplication;
    }
    std::optional<RunLock> lock;
    if (command != "list")
        lock.emplace();
    if (command == "hide-others")
        common.showFinderHideOthers();
    else if (command == "show-all")
        common.showAll();
    else if (command == "toggle" && words.size() == 2)
        common.activateApplicationWithBundleID(words[1], true);
    else if (command == "list")
        printList(desktop);
    else
        return Outcome::UnknownCommand;
    settle(desktop);
    if (command != "list" && command != "show-all")
        keepMarksFollowed(desktop);
    return Outcome::Done;
}

int watch(TWCommon& common, TWDesktop& desktop) {
    std::signal(SIGINT, [](int) { stopRequested = 1; });
    std::signal(SIGTERM, [](int) { stopRequested = 1; });
    desktop.frontSwitchSource().installFrontSwitchHandler([&common] {
        auto id = common.currentActiveBundleID();
        std::printf("front: %s\n", id ? id->c_str() : "-");
        std::fflush(stdout);
    });
    std::string pendingInput;
    bool inputOpen = true;
    while (!stopRequested) {
        pollfd fds[2] = {{desktop.eventFileDescriptor(), POLLIN, 0},
                         {STDIN_FILENO, static_cast<short>(inputOpen ? POLLIN : 0), 0}};
        int ready = poll(fds, 2, 500);
        // The follower of hidden windows this run started, once it has ended.
        while (::waitpid(-1, nullptr, WNOHANG) > 0) {
        }
        if (ready < 0)
            continue;
        desktop.dispatchPendingEvents();
        if (connectionLost(desktop)) {
            complain(TWLocalizedString("lost the desktop's server"));
            return 1;
        }
        if (inputOpen && (fds[1].revents & (POLLIN | POLLHUP))) {
            char buffer[1024];
            ssize_t n = read(STDIN_FILENO, buffer, sizeof buffer);
            if (n <= 0) {
                inputOpen = false;
                continue;
            }
            pendingInput.append(buffer, static_cast<size_t>(n));
            size_t newline;
            while ((newline = pendingInput.find('\n')) != std::string::npos) {
                std::istringstream line(pendingInput.substr(0, newline));
                pendingInput.erase(0, newline + 1);
                std::vector<std::string> words;
                for (std::string w; line >> w;)
                    words.push_back(w);
                if (runCommand(words, common, desktop) == Outcome::UnknownCommand)
                    complain(TWLocalizedString("unknown command"));
                std::printf("done\n");
                std::fflush(stdout);
            }
        }
    }
    return 0;
}

// The settings of this run: the user's files, or, when the command line changes anything, an
// in-memory copy of them with the changes applied (the files are never written then).
void installSettings(const TWPlistDictionary& overrides, const TWPlistArray& excluded) {
    if (overrides.empty() && excluded.empty()) {
        TWPlistFileStore::installStandardStores();
    } else {
        TWPlistDictionary own = TWPlistFileStore(TWStorePaths::ownStorePath()).load();
        TWPlistDictionary shared = TWPlistFileStore(TWStorePaths::sharedStorePath()).load();
        for (const auto& [key, value] : overrides)
            (findSetting(key)->ownStore ? own : shared)[key] = value;
        if (!excluded.empty()) {
            // Added to the user's own exclusions, which stay in force.
            TWPlistArray list;
            if (const TWPlistValue* current = TWPlistLookup(shared, TWExcludedAppsKey))
                if (const auto* array = current->get<TWPlistArray>())
                    list = *array;
            list.insert(list.end(), excluded.begin(), excluded.end());
            shared[TWExcludedAppsKey] = list;
        }
        TWUserDefaults::setStandardUserDefaults(
            std::make_shared<TWUserDefaults>(std::make_shared<TWSimDefaultsStore>(own)));
        TWUserDefaults::setSharedUserDefaults(
            std::make_shared<TWUserDefaults>(std::make_shared<TWSimDefaultsStore>(shared)));
    }
    TWRegisterDefaults(TWUserDefaults::standardUserDefaults(),
                       TWUserDefaults::sharedUserDefaults());
}

} // namespace

int main(int argc, char** argv) {
    TWInstallCommandLineLocalizer();
    if (argc == 2 && std::string(argv[1]) == kFollowMarksMode)
        return followMarks();
    if (argc > 0 && std::filesystem::path(argv[0]).filename() == kFormerName)
        std::cerr << kFormerName << ": "
                  << TWFormat(
                         TWLocalizedString(
                             "this name is deprecated and will go in the next release; use %@"),
                         kProgram)
                  << "\n";
    std::string display;
    std::vector<std::string> words;
    TWPlistDictionary overrides;
    TWPlistArray excluded;
    std::vector<std::string> excludedIDs;
    // A usage error: what is wrong and where the help is, not the whole help.
    auto bad = [](const std::string& why) {
        complain(why);
        std::cerr << TWFormat(TWLocalizedString("Try '%@ --help' for more information."), kProgram)
                  << "\n";
        return kExitBadUsage;
    };
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        bool hasValue = i + 1 < argc;
        if (a == "-h" || a == "--help") {
            usage(std::cout);
            return 0;
        } else if (a == "-v" || a == "--version") {
            std::cout << kProgram << " " << TWShortVersion << "\n";
            return 0;
        } else if (a == "--display" || a == "--set" || a == "--exclude") {
            if (!hasValue)
                return bad(TWFormat(TWLocalizedString("%@ needs a value"), a));
            std::string value = argv[++i];
            if (a == "--display") {
                display = value;
            } else if (a == "--set") {
                auto eq = value.find('=');
                if (eq == std::string::npos || eq == 0)
                    return bad(
                        TWFormat(TWLocalizedString("--set wants KEY=VALUE, not '%@'"), value));
                const std::string key = value.substr(0, eq);
                const Setting* setting = findSetting(key);
                if (!setting)
                    return bad(TWFormat(TWLocalizedString("unknown setting %@"), key));
                std::string why;
                auto parsed = parseValue(*setting, value.substr(eq + 1), why);
                if (!parsed)
                    return bad(why);
                overrides[key] = std::move(*parsed);
            } else {
                if (value.empty())
                    return bad(TWLocalizedString("--exclude wants an application ID"));
                TWPlistDictionary record;
                record[TWExcludedNameField] = value;
                record[TWExcludedBundleIDField] = value;
                record[TWExcludedURLDataField] = TWPlistData{};
                excluded.emplace_back(std::move(record));
                excludedIDs.push_back(value);
            }
        } else if (a.size() > 1 && a[0] == '-') {
            return bad(TWFormat(TWLocalizedString("unknown option %@"), a));
        } else {
            words.push_back(a);
        }
    }
    if (words.empty())
        return bad(TWLocalizedString("no command"));
    const std::string& command = words[0];
    bool known = ((command == "hide-others" || command == "show-all" || command == "list" ||
                   command == "watch") &&
                  words.size() == 1) ||
                 (command == "toggle" && words.size() == 2);
    if (!known)
        return bad(TWFormat(TWLocalizedString("unknown command or wrong arguments: %@"), command));

    // Tidewell running: hide-others and show-all are its to carry out, as a second start of it
    // hands them over (a run of the tool would pay for a connection of its own to the desktop,
    // which KWin takes a quarter of a second to admit). Not a run with settings of its own, nor
    // one for another display; nor when the instance does not answer: the tool acts itself then.
    if ((command == "hide-others" || command == "show-all") && display.empty() &&
        overrides.empty() && excluded.empty()) {
        const auto reply = TWFastHandOver::request(command == "hide-others" ? "hide-all" : command);
        if (reply && *reply == "ok")
            return 0;
    }
    if (!display.empty())
        setenv("DISPLAY", display.c_str(), 1);
    std::string whyNot;
    // (The backends' own lines on why they cannot open go to the system log alone: the reason
    // said here is the user's.)
    auto desktop =
        TWMakeDesktop(display.empty() ? TWDesktopKind::Session : TWDesktopKind::X11, &whyNot);
    if (!desktop) {
        complain(TWFormat(TWLocalizedString("no desktop to work on: %@"), whyNot));
        return kExitNoDisplay;
    }
    // Log lines go to standard error as well as to the system log.
    TWSetLogSink([](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); });
    const std::optional<TWDesktopEntryIndex> installed =
        excludedIDs.empty() ? std::nullopt : std::optional<TWDesktopEntryIndex>(std::in_place);
    for (const std::string& id : excludedIDs) {
        if (!installed->entryForID(id) && !isRunning(*desktop, id))
            complain(TWFormat(TWLocalizedString("warning: --exclude %@ names no installed or "
                                                "running application"),
                              id));
    }
    installSettings(overrides, excluded);
    // Acting for Tidewell: the actions count it as the running main application.
    TWProcessRegistry::registerCurrentProcess(TWOwnBundleIdentifier, TWOwnName,
                                              TWActivationPolicyRegular);
    TWCommon common(*desktop, TWUserDefaults::sharedUserDefaults());
    int status = 0;
    if (command == "watch") {
        status = watch(common, *desktop);
    } else {
        if (runCommand(words, common, *desktop) == Outcome::NoSuchApplication)
            status = kExitNoSuchApplication;
        else if (cannotHide(*desktop)) {
            complain(TWLocalizedString(
                "the window manager does not minimize windows; nothing was hidden"));
            status = kExitCannotHide;
        } else if (size_t shown = unminimizable(*desktop)) {
            complain(TWFormat(TWLocalizedString("%@ window(s) stay shown: the window manager "
                                                "does not allow minimizing them"),
                              std::to_string(shown)));
            status = kExitSomeStayShown;
        }
    }
    TWProcessRegistry::unregisterCurrentProcess();
    return status;
}
