// SPDX-License-Identifier: MIT
// Running applications on GNOME Shell: the compositor workspace over the extension's window
// service, with the record of what Tidewell hid kept per session.
#pragma once

#include "TWCompositorWorkspace.h"
#include "TWGnomeConnection.h"

#include <cstdint>
#include <string>

class TWGnomeWorkspace : public TWCompositorWorkspace {
  public:
    explicit TWGnomeWorkspace(TWGnomeConnection& connection);

    std::string fileManagerBundleIdentifier() override;
    // The grouping key of the application owning window `id` (empty: none), by the last
    // listing, listing again when it does not know the window.
    std::string keyOfWindow(std::uint64_t id) {
        return TWCompositorWorkspace::keyOfWindow(id ? std::to_string(id) : std::string(), true);
    }
};
