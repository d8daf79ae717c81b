// SPDX-License-Identifier: MIT
// Two buses and a headless GNOME Shell per test program, with teardown that leaves nothing
// running.
#include "TWGnomeTestDesktop.h"

#include "TWTestPaths.h"

#include <systemd/sd-bus.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr const char* kObserver = "tidewell-test-observer@quillfen.net";
constexpr int kStartAttempts = 3;

// The windows the tests look at, one "id pid minimized focused" group each.
constexpr const char* kListWindows =
    "global.get_window_actors().map(a => a.meta_window).filter(w => !w.is_override_redirect())"
    ".map(w => [w.get_id(), w.get_pid(), w.minimized ? 1 : 0,"
    " w === global.display.focus_window ? 1 : 0].join(' ')).join(';')";

std::string stripQuotes(const std::string& json) {
    return json.size() >= 2 && json.front() == '"' ? json.substr(1, json.size() - 2) : json;
}

} // namespace

TWGnomeTestDesktop::TWGnomeTestDesktop(int outputs)
    : TWTestSession("tidewell-gnome-test", "org.gnome.Nautilus", outputs),
      runtime_(root_ + "/runtime"), socket_("tidewell-gnome-" + std::to_string(getpid())) {
    useWayland("GNOME", socket_);
    // Settings in a key file of the private home: no dconf service to start, and the shell and
    // the clients read what the harness wrote before the start.
    setenv("GSETTINGS_BACKEND", "keyfile", 1);
    setenv("NO_AT_BRIDGE", "1", 1);
    if (ok())
        error_ = start();
}

std::string TWGnomeTestDesktop::start() {
    const std::string systemBus = runtime_ + "/system_bus", bus = runtime_ + "/bus";
    // The shell asks the system bus for logind, accounts and more; a private one answers none
    // of it, quickly.
    if (!startBus(systemBus, systemBus_) || !startBus(bus, bus_))
        return "dbus-daemon did not start";
    const std::string busAddress = "unix:path=" + bus;
    setenv("DBUS_SESSION_BUS_ADDRESS", busAddress.c_str(), 1);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + systemBus).c_str(), 1);

    std::error_code ec;
    const std::string extensions = dataHome() + "/gnome-shell/extensions/",
                      built = TWTestProgramPath("../gnome-shell/imports/") + kExtension;
    std::filesystem::create_directories(extensions, ec);
    std::filesystem::copy(built, extensions + kExtension, std::filesystem::copy_options::recursive,
                          ec);
    if (ec)
        return "cannot install the extension from " + built + ": " + ec.message();
    std::filesystem::copy(TWTestSourcePath("tests/gnome/observer"), extensions + kObserver,
                          std::filesystem::copy_options::recursive, ec);
    std::filesystem::create_directories(home_ + "/.config/glib-2.0/settings", ec);
    TWWriteFile(home_ + "/.config/glib-2.0/settings/keyfile",
                std::string("[org/gnome/shell]\nenabled-extensions=['") + kExtension + "', '" +
                    kObserver +
                    "']\ndisable-user-extensions=false\nwelcome-dialog-last-shown-version='99'\n"
                    "[org/gnome/desktop/interface]\nenable-animations=false\n");

    if (sd_bus_new(&connection_) < 0 || sd_bus_set_address(connection_, busAddress.c_str()) < 0 ||
        sd_bus_set_bus_client(connection_, 1) < 0 || sd_bus_start(connection_) < 0)
        return "cannot connect to the test's session bus";

    std::string log;
    for (int attempt = 0; attempt < kStartAttempts; ++attempt) {
        log = root_ + "/shell-" + std::to_string(attempt) + ".log";
        // Not nested in the session's compositor.
        std::vector<std::string> argv{
            "env",        "-u",        "WAYLAND_DISPLAY", "gnome-shell",
            "--headless", "--wayland", "--no-x11",        "--wayland-display=" + socket_};
        for (int i = 0; i < outputs_; ++i)
            argv.insert(argv.end(), {"--virtual-monitor", std::to_string(kOutputWidth) + "x800"});
        shell_ = startProcess(argv, home_, log);
        // Up once the observer opened Eval, Tidewell's extension is enabled and the start is
        // complete (key bindings work from then on). Now and then the shell hangs at start (in
        // the input-method setup): it is started again.
        const bool up = waitFor(
            [&] {
                if (waitpid(shell_, nullptr, WNOHANG) == shell_)
                    return true;
                return eval(std::string("imports.ui.main.extensionManager.lookup('") + kExtension +
                            "')?.state === 1 && !imports.ui.main.layoutManager._startingUp") ==
                       "true";
            },
            std::chrono::seconds(30));
        if (up && kill(shell_, 0) == 0)
            return {};
        endGroup(shell_);
        shell_ = -1;
    }
    return "gnome-shell did not start with the extensions enabled: " +
           TWReadFile(log).substr(0, 3000);
}

TWGnomeTestDesktop::~TWGnomeTestDesktop() {
    if (connection_)
        sd_bus_flush_close_unref(connection_);
    endSession();
}

std::optional<std::string> TWGnomeTestDesktop::eval(const std::string& code) const {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    std::optional<std::string> out;
    int success = 0;
    const char* result = nullptr;
    if (connection_ &&
        sd_bus_call_method(connection_, "org.gnome.Shell", "/org/gnome/Shell", "org.gnome.Shell",
                           "Eval", &error, &reply, "s", code.c_str()) >= 0 &&
        sd_bus_message_read(reply, "bs", &success, &result) >= 0 && success)
        out = result;
    sd_bus_message_unref(reply);
    sd_bus_error_free(&error);
    return out;
}

std::vector<TWGnomeObservedWindow> TWGnomeTestDesktop::windows() const {
    std::vector<TWGnomeObservedWindow> out;
    std::istringstream groups(stripQuotes(eval(kListWindows).value_or("")));
    for (std::string group; std::getline(groups, group, ';');) {
        std::istringstream fields(group);
        TWGnomeObservedWindow w;
        if (fields >> w.id >> w.pid >> w.minimized >> w.focused)
            out.push_back(w);
    }
    return out;
}

std::uint64_t TWGnomeTestDesktop::focusedWindow() const {
    for (const auto& w : windows())
        if (w.focused)
            return w.id;
    return 0;
}

std::vector<std::uint64_t> TWGnomeTestDesktop::windowsOf(int pid, std::size_t count) const {
    std::vector<std::uint64_t> ids;
    waitFor([&] {
        ids.clear();
        for (const auto& w : windows())
            if (w.pid == pid)
                ids.push_back(w.id);
        return ids.size() >= count;
    });
    return ids.size() >= count ? ids : std::vector<std::uint64_t>{};
}

std::optional<std::string> TWGnomeTestDesktop::onWindow(std::uint64_t id,
                                                        const std::string& call) const {
    return eval("global.get_window_actors().map(a => a.meta_window).find(w => w.get_id() == " +
                std::to_string(id) + ")" + call);
}

bool TWGnomeTestDesktop::setExtensionEnabled(bool enabled) const {
    run({"gnome-extensions", enabled ? "enable" : "disable", kExtension});
    return waitFor([&] {
        return eval(std::string("imports.ui.main.extensionManager.lookup('") + kExtension +
                    "')?.state") == (enabled ? "1" : "2");
    });
}
