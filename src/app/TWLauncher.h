// SPDX-License-Identifier: MIT
// Start-up of the tidewell program: hands the request to a running instance, or becomes the
// instance (desktop, settings, delegate, tray, instance channel) and runs the event loop.
#pragma once

#include <QByteArray>
#include <QStringList>

#include <optional>
#include <string>
#include <vector>

class TWLauncherTestHooks;

class TWLauncher {
  public:
    // What one start of the program asks for.
    struct Request {
        // Sent to the running instance: "reopen", "url <url>", "hide-all", "show-all", "status"
        // (and what the test hooks know).
        QByteArray message = "reopen";
        // The test hooks' simulated desktop rather than the session's (--desktop=sim).
        bool simulated = false;
        bool help = false;
        bool version = false;
    };

    // Exit statuses: done; a failure at run time (no desktop, the running instance did not
    // answer); a command line that makes no sense; --status with no instance running.
    static constexpr int exitSuccess = 0;
    static constexpr int exitFailure = 1;
    static constexpr int exitUsage = 2;
    static constexpr int exitNotRunning = 3;

    // The request for the command line (`arguments` starts with the program name), or the
    // reason it makes no sense in `error`. `testHooks`: the options of a test build are known.
    static std::optional<Request> parseArguments(const QStringList& arguments,
                                                 QString* error = nullptr, bool testHooks = false);
    // The --help text.
    static QString helpText(bool testHooks = false);
    // The --version text: "tidewell 1.0.0".
    static QString versionText();

    // The whole program: returns its exit status. `testHooks`: none in the shipped program.
    static int run(int argc, char** argv, TWLauncherTestHooks* testHooks = nullptr);
};
