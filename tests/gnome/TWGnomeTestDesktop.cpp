// SPDX-License-Identifier: MIT
// Two buses and a headless GNOME Shell per test program, ended with the object.
#include "TWGnomeTestDesktop.h"

#include "TWTestPaths.h"

#include <systemd/sd-bus.h>

#include <cstdlib>
#include <filesystem>

namespace {

constexpr const char* kObserver = "tidewell-test-observer@quillfen.net";
constexpr int kStartAttempts = 3;

// A window ID the shell's JavaScript gives (empty for none: 0).
std::string idOf(const std::optional<std::string>& answer) {
    return answer && *answer != "0" ? *answer : std::string();
}

} // namespace

TWGnomeTestDesktop::TWGnomeTestDesktop(int outputs)
    : TWTestSession("tidewell-gnome-test", "org.gnome.Nautilus", outputs) {
    useWayland("GNOME");
    // Settings in a key file of the private home: no dconf service to start, and the shell and
    // the clients read what the harness wrote before the start.
    setenv("GSETTINGS_BACKEND", "keyfile", 1);
    setenv("NO_AT_BRIDGE", "1", 1);
    if (ok())
        error_ = start();
}

std::string TWGnomeTestDesktop::start() {
    // The shell asks the system bus for logind, accounts and more; a private one answers none
    // of it, quickly.
    if (!startBus("system_bus", "DBUS_SYSTEM_BUS_ADDRESS", systemBus_) ||
        !startBus("bus", "DBUS_SESSION_BUS_ADDRESS", bus_))
        return "dbus-daemon did not start";

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

    if (sd_bus_new(&connection_) < 0 ||
        sd_bus_set_address(connection_, getenv("DBUS_SESSION_BUS_ADDRESS")) < 0 ||
        sd_bus_set_bus_client(connection_, 1) < 0 || sd_bus_start(connection_) < 0)
        return "cannot connect to the test's session bus";

    std::string log;
    for (int attempt = 0; attempt < kStartAttempts; ++attempt) {
        log = root_ + "/shell-" + std::to_string(attempt) + ".log";
        std::vector<std::string> argv{"gnome-shell", "--headless", "--wayland", "--no-x11",
                                      "--wayland-display=" + socket_};
        for (int i = 0; i < outputs_; ++i)
            argv.insert(argv.end(), {"--virtual-monitor", std::to_string(kOutputWidth) + "x800"});
        // Up once the observer opened Eval, Tidewell's extension is enabled and the start is
        // complete (key bindings work from then on). Now and then the shell hangs at start (in
        // the input-method setup): it is started again.
        if (startService(
                argv, log, shell_,
                [&] {
                    return extensionState() == "1" &&
                           eval("!imports.ui.main.layoutManager._startingUp") == "true";
                },
                std::chrono::seconds(30)))
            return {};
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

std::string TWGnomeTestDesktop::focusedWindow() const {
    return idOf(eval("global.display.focus_window?.get_id() ?? 0"));
}

std::string TWGnomeTestDesktop::windowOf(int pid) const {
    std::string id;
    waitFor([&] {
        return !(id = idOf(eval("global.get_window_actors().map(a => a.meta_window).find(w => "
                                "!w.is_override_redirect() && w.get_pid() === " +
                                std::to_string(pid) + ")?.get_id() ?? 0")))
                    .empty();
    });
    return id;
}

std::optional<std::string> TWGnomeTestDesktop::onWindow(const std::string& id,
                                                        const std::string& call) const {
    return eval("global.get_window_actors().map(a => a.meta_window).find(w => w.get_id() == " + id +
                ")" + call);
}

std::string TWGnomeTestDesktop::extensionState() const {
    return eval(std::string("imports.ui.main.extensionManager.lookup('") + kExtension + "')?.state")
        .value_or("");
}

bool TWGnomeTestDesktop::setExtensionEnabled(bool enabled) const {
    run({"gnome-extensions", enabled ? "enable" : "disable", kExtension});
    return waitFor([&] { return extensionState() == (enabled ? "1" : "2"); });
}
