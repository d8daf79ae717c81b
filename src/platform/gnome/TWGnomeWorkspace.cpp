// SPDX-License-Identifier: MIT
// The extension's window service as the compositor workspace sees it.
#include "TWGnomeWorkspace.h"

#include "TWLog.h"
#include "TWMimeApps.h"

#include <cstdlib>
#include <set>
#include <vector>

namespace {

std::string text(std::uint64_t id) {
    return id ? std::to_string(id) : std::string();
}

struct TWGnomeBackend {
    using Connection = TWGnomeConnection;
    static std::uint64_t native(const std::string& id) {
        return std::strtoull(id.c_str(), nullptr, 10);
    }
    static TWCompositorSnapshot convert(const TWGnomeSnapshot& snapshot);
    static std::vector<std::uint64_t> natives(const std::vector<std::string>& ids) {
        std::vector<std::uint64_t> out;
        for (const auto& id : ids)
            out.push_back(native(id));
        return out;
    }
    // One request for all the windows.
    static void setMinimized(TWGnomeConnection& connection, const std::vector<std::string>& ids,
                             bool minimized) {
        connection.setMinimized(natives(ids), minimized);
    }
    // The extension answers for each window once the shell restored it (or did not).
    static std::set<std::string> restore(TWGnomeConnection& connection,
                                         const std::vector<std::string>& ids) {
        std::set<std::string> out;
        for (auto id : connection.restore(natives(ids)))
            out.insert(text(id));
        return out;
    }
    static std::string unavailable(const TWGnomeConnection& connection) {
        return connection.available() ? std::string()
                                      : "Tidewell's GNOME Shell extension is not running";
    }
    static constexpr const char* name = "GNOME Shell";
};

TWCompositorSnapshot TWGnomeBackend::convert(const TWGnomeSnapshot& snapshot) {
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

} // namespace

TWGnomeWorkspace::TWGnomeWorkspace(TWGnomeConnection& connection)
    : TWCompositorWorkspace(std::make_unique<TWConnectionWindowList<TWGnomeBackend>>(connection),
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
