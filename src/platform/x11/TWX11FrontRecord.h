// SPDX-License-Identifier: MIT
// The front-application record on X11: a property of the root window (_TIDEWELL_FRONT_APPLICATION,
// UTF8_STRING), which every Tidewell process on the display reads, as the marks of the hidden
// windows are properties of those windows. It lasts as long as the X server.
#pragma once

#include "TWFrontRecord.h"
#include "TWX11Connection.h"

class TWX11FrontRecord : public TWFrontRecord {
  public:
    explicit TWX11FrontRecord(TWX11Connection& connection) : connection_(connection) {}
    // One round trip.
    std::optional<std::string> read() override;
    // Sent with the next flush.
    void write(const std::string& bundleID) override;

  private:
    bool internAtoms();
    TWX11Connection& connection_;
    xcb_atom_t property_ = XCB_NONE, utf8_ = XCB_NONE;
};
