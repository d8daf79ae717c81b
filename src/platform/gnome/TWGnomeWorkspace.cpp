// SPDX-License-Identifier: MIT
// The extension's window service as the compositor workspace sees it.
#include "TWGnomeWorkspace.h"

#include "TWLog.h"
#include "TWMimeApps.h"

#include <cstdlib>

namespace {

std::string text(std::uint64_t id) {
    return id ? std::to_string(id) : std::string();
}

std::uint64_t number(const std::string& id) {
    return std::strtoull(id.c_str(), nullptr, 10);
}

TWCompositorSnapshot convert(const TWGnomeSnapshot& snapshot) {
    TWCompositorSnapshot out;
    out.active = text(snapshot.focused);
    out.complete = snapshot.complete;
    out.windows.reserve(snapshot.windows.size());
    for (const auto& w : snapshot.windows) {
        TWCompositorWindow c;
        c.id = text(w.id);
        c.pid = w.pid;
        c.parent = text(w.transientFor);
        c.minimized = w.minimized;
        c.active = w.focused;
        c.skipTaskbar = w.skipTaskbar;
        c.stackingIndex = w.stackingIndex;
        // The tracker's match (or the sandbox's ID) names a desktop entry when there is one.
        TWIdentityHints hints;
        hints.kdeDesktopFile = !w.appId.empty() ? w.appId : w.sandboxedAppId;
        hints.gtkApplicationID = w.gtkApplicationId;
        hints.wmClass = w.wmClass;
        hints.wmInstance = w.wmInstance;
        c.hints = hints;
        c.fallbackName = !w.wmClass.empty() ? w.wmClass : w.title;
        out.windows.push_back(std::move(c));
    }
    return out;
}

class TWGnomeWindowList : public TWCompositorWindowList {
  public:
    explicit TWGnomeWindowList(TWGnomeConnection& connection) : connection_(connection) {}
    TWCompositorSnapshot list() override { return convert(connection_.snapshot()); }
    TWCompositorSnapshot current() override { return convert(connection_.current()); }
    void setMinimized(const std::string& id, bool minimized) override {
        connection_.setMinimized(number(id), minimized);
    }
    void activate(const std::string& id) override { connection_.activate(number(id)); }
    void close(const std::string& id) override { connection_.close(number(id)); }
    void flush() override { connection_.flush(); }
    // Waits for the shell's answers: a request to a service that went away is lost.
    bool deliver() override { return connection_.sync(); }
    bool waitFor(const std::function<bool()>& condition,
                 std::chrono::milliseconds timeout) override {
        return connection_.waitFor(condition, timeout);
    }
    std::vector<std::string> takeRestoredOrGone() override {
        return connection_.takeRestoredOrGone();
    }
    std::string unavailable() const override {
        return connection_.available() ? std::string()
                                       : "Tidewell's GNOME Shell extension is not running";
    }
    std::string name() const override { return "GNOME Shell"; }

  private:
    TWGnomeConnection& connection_;
};

} // namespace

TWGnomeWorkspace::TWGnomeWorkspace(TWGnomeConnection& connection)
    : TWCompositorWorkspace(std::make_unique<TWGnomeWindowList>(connection),
                            "gnome-hidden-" + connection.sessionName(), "TWGnomeWorkspace") {}

std::string TWGnomeWorkspace::fileManagerBundleIdentifier() {
    if (fileManagerID_)
        return *fileManagerID_;
    TWMimeApps mimeApps;
    const auto& index = desktopEntries();
    const auto handler = mimeApps.defaultApplication("inode/directory", index);
    if (!handler) {
        TWLog(LOG_WARNING, logClass_, "no default file manager is set for inode/directory");
        fileManagerID_ = "";
        return {};
    }
    // A folder handler of its own that starts the file manager's program stands for it.
    const TWDesktopEntry* entry = index.entryForID(*handler);
    const TWDesktopEntry* main =
        entry ? index.mainEntryForProgram(TWDesktopEntryIndex::programOf(entry->exec)) : nullptr;
    fileManagerID_ = main ? main->id : *handler;
    return *fileManagerID_;
}
