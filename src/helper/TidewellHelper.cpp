// SPDX-License-Identifier: MIT
// The menu-bar helper's menu and its one-per-session lock.
#include "TidewellHelper.h"

#include "TWCommon.h"
#include "TWLocalizedString.h"
#include "TWLog.h"
#include "TWProduct.h"
#include "TWWorkspace.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

constexpr const char* kLogClass = "TidewellHelper";

namespace {} // namespace

TidewellHelper::TidewellHelper(TWCommon& common, TWWorkspace& workspace, std::function<void()> quit)
    : common_(common), workspace_(workspace), quit_(std::move(quit)) {}

std::shared_ptr<TWMenu> TidewellHelper::buildMenu() {
    auto menu = std::make_shared<TWMenu>("TidewellMenu");
    menu->addItem(std::make_shared<TWMenuItem>(TWLocalizedString("Hide All"),
                                               "showFinderHideOthers", this,
                                               [this] { common_.showFinderHideOthers(); }));
    menu->addItem(std::make_shared<TWMenuItem>(TWLocalizedString("Show All"), "showAll", this,
                                               [this] { common_.showAll(); }));
    menu->addItem(TWMenuItem::separatorItem());
    // The running applications, each toggled by choosing it, as in Tidewell's own menu.
    common_.appendApplicationItems(*menu);
    menu->addItem(TWMenuItem::separatorItem());
    menu->addItem(std::make_shared<TWMenuItem>(TWLocalizedString("Preferences..."),
                                               "showPreferences", this,
                                               [this] { showPreferences(); }));
    menu->addItem(TWMenuItem::separatorItem());
    menu->addItem(std::make_shared<TWMenuItem>(TWLocalizedString("Quit"), "terminate", this,
                                               [this] { quit_(); }));
    return menu;
}

void TidewellHelper::showPreferences() {
    if (!workspace_.openURL(TWPreferencesURL))
        TWLog(LOG_ERR, kLogClass, std::string("nothing could open ") + TWPreferencesURL);
}

int TidewellHelper::acquireSessionLock(const std::string& directory) {
    if (directory.empty())
        return -1;
    const std::string path = directory + "/" + TWHelperLockName;
    // Close-on-exec: the programs the helper starts (xdg-open, the main application) must not
    // carry the lock away with them.
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        TWLog(LOG_ERR, kLogClass, "cannot open " + path + ": " + std::strerror(errno));
        return -1;
    }
    // Released by the kernel when the holder exits, however it exits.
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}
