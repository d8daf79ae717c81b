// SPDX-License-Identifier: MIT
// A workspace with no applications that records the URLs it is asked to open.
#pragma once

#include "TWWorkspace.h"

#include <string>
#include <vector>

class TWRecordingWorkspace : public TWWorkspace {
  public:
    std::vector<TWRunningApplication> runningApplications() override { return {}; }
    void hide(const TWRunningApplication&) override {}
    void unhide(const TWRunningApplication&) override {}
    void activateWithOptions(const TWRunningApplication&, unsigned) override {}
    bool openURL(const std::string& url) override {
        opened.push_back(url);
        return true;
    }
    std::string fileManagerBundleIdentifier() override { return "pcmanfm"; }

    std::vector<std::string> opened;
};
