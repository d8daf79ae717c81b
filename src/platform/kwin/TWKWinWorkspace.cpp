// SPDX-License-Identifier: MIT
// The Plasma window management as the compositor workspace sees it.
#include "TWKWinWorkspace.h"

#include "TWLog.h"
#include "TWMimeApps.h"

#include <chrono>
#include <set>

namespace {

// How long a restored window's state may follow the compositor's answer.
constexpr std::chrono::milliseconds kStateWait{500};

struct TWKWinBackend {
    using Connection = TWKWinConnection;
    static const std::string& native(const std::string& uuid) { return uuid; }
    static TWCompositorSnapshot convert(const TWKWinSnapshot& snapshot);
    static void setMinimized(TWKWinConnection& connection, const std::vector<std::string>& ids,
                             bool minimized) {
        for (const auto& id : ids)
            connection.setMinimized(id, minimized);
    }
    // KWin answers a state request with no word of its own: a window counts as restored once
    // its state says so after the requests were handled.
    static std::set<std::string> restore(TWKWinConnection& connection,
                                         const std::vector<std::string>& ids);
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

std::set<std::string> TWKWinBackend::restore(TWKWinConnection& connection,
                                             const std::vector<std::string>& ids) {
    setMinimized(connection, ids, false);
    auto restored = [&] {
        std::set<std::string> out;
        const auto now = connection.current();
        for (const auto& id : ids)
            if (const auto* w = now.find(id); w && !w->minimized())
                out.insert(id);
        return out;
    };
    if (!connection.sync())
        return restored();
    // The state events follow the requests' handling closely; a refused one never comes.
    connection.waitFor([&] { return restored().size() == ids.size(); }, kStateWait);
    return restored();
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
