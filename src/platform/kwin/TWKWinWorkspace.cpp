// SPDX-License-Identifier: MIT
// The Plasma window management as the compositor workspace sees it.
#include "TWKWinWorkspace.h"

#include "TWLog.h"
#include "TWMimeApps.h"

namespace {

struct TWKWinBackend {
    using Connection = TWKWinConnection;
    static const std::string& native(const std::string& uuid) { return uuid; }
    static TWCompositorSnapshot convert(const TWKWinSnapshot& snapshot);
    // Wayland requests sent in order are carried out in order: sending is enough.
    static bool deliver(TWKWinConnection& connection) {
        connection.flush();
        return true;
    }
    static std::string unavailable(const TWKWinConnection&) { return {}; }
    static constexpr const char* name = "KWin";
};

TWCompositorSnapshot TWKWinBackend::convert(const TWKWinSnapshot& snapshot) {
    TWCompositorSnapshot out;
    out.active = snapshot.activeWindow;
    out.complete = snapshot.complete;
    out.windows.reserve(snapshot.windows.size());
    for (const auto& w : snapshot.windows) {
        TWCompositorWindow c;
        c.id = w.uuid;
        c.pid = w.pid;
        c.parent = w.parent;
        c.minimized = w.minimized();
        c.active = w.active();
        c.skipTaskbar = (w.state & TWKWinStateSkipTaskbar) != 0;
        c.stackingIndex = w.stackingIndex;
        if (!w.appId.empty() || !w.resourceName.empty()) {
            // KWin gives an app id that names a desktop entry when it knows one; for other
            // windows it is the client's own class-like name.
            TWIdentityHints hints;
            hints.kdeDesktopFile = w.appId;
            hints.wmClass = w.appId;
            hints.wmInstance = w.resourceName;
            c.hints = hints;
        }
        c.fallbackName = !w.appId.empty() ? w.appId : w.title;
        out.windows.push_back(std::move(c));
    }
    return out;
}

} // namespace

TWKWinWorkspace::TWKWinWorkspace(TWKWinConnection& connection)
    : TWCompositorWorkspace(std::make_unique<TWConnectionWindowList<TWKWinBackend>>(connection),
                            "kwin-hidden-" + connection.displayName(), "TWKWinWorkspace") {}

std::string TWKWinWorkspace::fileManagerBundleIdentifier() {
    if (fileManagerID_)
        return *fileManagerID_;
    // Read in-process: xdg-mime is a shell script that, on Plasma, runs KDE's own tools, a
    // tenth of a second or more at every start of the command-line tool.
    TWMimeApps mimeApps;
    const auto id = mimeApps.defaultFileManager(desktopEntries());
    if (!id)
        TWLog(LOG_WARNING, logClass_, "no default file manager is set for inode/directory");
    fileManagerID_ = id.value_or("");
    return *fileManagerID_;
}
