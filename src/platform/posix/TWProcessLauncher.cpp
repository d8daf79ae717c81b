// SPDX-License-Identifier: MIT
// Detached program starts by double fork (exec failures reported through a close-on-exec
// pipe), and small command captures.
#include "TWProcessLauncher.h"

#include "TWLog.h"
#include "TWProcessTable.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

constexpr const char* kLogClass = "TWProcessLauncher";

namespace {

std::vector<char*> cArgv(const std::vector<std::string>& argv) {
    std::vector<char*> out;
    for (const auto& a : argv)
        out.push_back(const_cast<char*>(a.c_str()));
    out.push_back(nullptr);
    return out;
}

} // namespace

bool TWProcessLauncher::isRunning(int pid) {
    const std::string state = TWProcessTable::statField(pid, 3);
    return !state.empty() && state != "Z" && state != "X";
}

bool TWProcessLauncher::spawnDetached(const std::vector<std::string>& argv,
                                      const std::string& workingDirectory) {
    if (argv.empty() || argv[0].empty()) {
        TWLog(LOG_ERR, kLogClass, "nothing to start");
        return false;
    }
    // Everything the children touch is prepared before fork: they only call async-signal-safe
    // functions (and exec).
    std::vector<char*> args = cArgv(argv);
    const char* dir = workingDirectory.empty() ? nullptr : workingDirectory.c_str();
    int status[2];
    if (pipe2(status, O_CLOEXEC) != 0) {
        TWLog(LOG_ERR, kLogClass,
              std::string("cannot start ") + argv[0] + ": " + std::strerror(errno));
        return false;
    }
    pid_t child = fork();
    if (child < 0) {
        close(status[0]);
        close(status[1]);
        TWLog(LOG_ERR, kLogClass,
              std::string("cannot start ") + argv[0] + ": " + std::strerror(errno));
        return false;
    }
    if (child == 0) {
        // The intermediate child leaves at once, so the program is reparented to init and
        // nobody has to wait for it.
        close(status[0]);
        setsid();
        pid_t grandchild = fork();
        if (grandchild != 0)
            _exit(grandchild < 0 ? 127 : 0);
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        if (dir && chdir(dir) != 0) {
            // Start anyway from wherever we are.
        }
        execvp(args[0], args.data());
        int err = errno;
        ssize_t ignored = write(status[1], &err, sizeof err);
        (void)ignored;
        _exit(127);
    }
    close(status[1]);
    int waitStatus = 0;
    while (waitpid(child, &waitStatus, 0) < 0 && errno == EINTR) {
    }
    // The pipe closes on a successful exec (close-on-exec) or carries the exec error.
    int err = 0;
    ssize_t n;
    do {
        n = read(status[0], &err, sizeof err);
    } while (n < 0 && errno == EINTR);
    close(status[0]);
    bool forked = WIFEXITED(waitStatus) && WEXITSTATUS(waitStatus) == 0;
    if (!forked || n == static_cast<ssize_t>(sizeof err)) {
        TWLog(LOG_ERR, kLogClass,
              std::string("cannot start ") + argv[0] + ": " + std::strerror(forked ? err : EAGAIN));
        return false;
    }
    return true;
}

bool TWProcessLauncher::captureOutput(const std::vector<std::string>& argv, std::string& output,
                                      std::size_t limit) {
    output.clear();
    if (argv.empty())
        return false;
    std::vector<char*> args = cArgv(argv);
    int out[2];
    if (pipe2(out, O_CLOEXEC) != 0)
        return false;
    pid_t child = fork();
    if (child < 0) {
        close(out[0]);
        close(out[1]);
        return false;
    }
    if (child == 0) {
        dup2(out[1], STDOUT_FILENO);
        int devnull = open("/dev/null", O_RDWR);
        if (devnull >= 0) {
            dup2(devnull, STDIN_FILENO);
            dup2(devnull, STDERR_FILENO);
        }
        execvp(args[0], args.data());
        _exit(127);
    }
    close(out[1]);
    char buffer[4096];
    // A helper that stops answering must not stall us: give it ten seconds in all.
    int remainingMs = 10000;
    bool timedOut = false;
    while (true) {
        pollfd pfd{out[0], POLLIN, 0};
        int ready = poll(&pfd, 1, 100);
        if (ready == 0) {
            remainingMs -= 100;
            if (remainingMs <= 0) {
                timedOut = true;
                break;
            }
            continue;
        }
        if (ready < 0 && errno == EINTR)
            continue;
        ssize_t n = read(out[0], buffer, sizeof buffer);
        if (n <= 0)
            break;
        if (output.size() < limit)
            output.append(buffer, static_cast<std::size_t>(n));
    }
    close(out[0]);
    if (timedOut) {
        kill(child, SIGKILL);
        TWLog(LOG_WARNING, kLogClass, std::string("") + argv[0] + " did not finish; stopped it");
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return !timedOut && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
