// SPDX-License-Identifier: MIT
// The application in front at the last hide, on the compositors (KWin, GNOME Shell): a file
// beside the record of hidden windows.
#pragma once

#include "TWFrontRecord.h"

#include <optional>
#include <string>

// Kept in a small file of Tidewell's runtime directory, written aside and renamed, so that a
// reader never sees half of it.
class TWFileFrontRecord : public TWFrontRecord {
  public:
    // The record named `name` (a backend's prefix and the session's display).
    explicit TWFileFrontRecord(const std::string& name);
    std::optional<std::string> read() override;
    void write(const std::string& bundleID) override;
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};
