// SPDX-License-Identifier: MIT
// The application that was in front when Tidewell last hid the others, kept where every Tidewell
// process of the session reads it (the application, the helper, the command-line tool): show-all
// from any of them gives focus back to it. What is kept and when is TWCommon's; the backends only
// store it (an X11 root-window property, a file beside the Wayland hidden-window record:
// TWFileFrontRecord).
#pragma once

#include <optional>
#include <string>

class TWFrontRecord {
  public:
    virtual ~TWFrontRecord() = default;
    // The identifier kept last; none when nothing is kept or it cannot be read.
    virtual std::optional<std::string> read() = 0;
    // Keeps `bundleID` in place of what was kept.
    virtual void write(const std::string& bundleID) = 0;
};

// Kept in this process alone: the simulated desktop's, and a backend's that has nowhere else.
class TWProcessFrontRecord : public TWFrontRecord {
  public:
    std::optional<std::string> read() override { return kept_; }
    void write(const std::string& bundleID) override { kept_ = bundleID; }

  private:
    std::optional<std::string> kept_;
};
