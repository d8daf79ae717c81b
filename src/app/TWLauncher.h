// Start-up of the tidewell program: hands the request to a running instance, or becomes the
// instance (desktop, settings, delegate, tray, instance channel) and runs the event loop.
#pragma once

#include <QByteArray>

#include <optional>
#include <string>
#include <vector>

class TWLauncher {
  public:
    // What one start of the program asks for.
    struct Request {
        // Sent to the running instance: "reopen", "url <url>", "hide-all", "show-all", "status".
        // The instance also takes "menu <title>" (for tests): it chooses the tray menu's item
        // with that title.
        QByteArray message = "reopen";
        // "auto" (the session's desktop), "x11" or "sim" (an in-memory desktop, for testing).
        std::string desktop = "auto";
        bool help = false;
    };

    // The request for the command-line arguments (without the program name); nothing when they
    // make no sense.
    static std::optional<Request> parseArguments(const std::vector<std::string>& arguments);
    // The usage text.
    static const char* usage();

    // The whole program: returns its exit status.
    static int run(int argc, char** argv);
};
