// SPDX-License-Identifier: MIT
// Running applications on KWin: the compositor workspace over the Plasma window management, with
// the record of what Tidewell hid kept per Wayland display.
#pragma once

#include "TWCompositorWorkspace.h"
#include "TWKWinConnection.h"

#include <string>

class TWKWinWorkspace : public TWCompositorWorkspace {
  public:
    explicit TWKWinWorkspace(TWKWinConnection& connection);

    std::string fileManagerBundleIdentifier() override;
    // The grouping key of the application owning `uuid` by what events told so far (empty:
    // none), without asking the compositor.
    std::string keyOfWindow(const std::string& uuid) {
        return TWCompositorWorkspace::keyOfWindow(uuid, false);
    }
};
