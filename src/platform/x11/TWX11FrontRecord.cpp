// SPDX-License-Identifier: MIT
// The front-application record as a root-window property.
#include "TWX11FrontRecord.h"

#include <cstdlib>
#include <cstring>

namespace {
// The longest identifier kept: desktop-entry IDs are file names.
constexpr uint32_t kLongest = 1024;
} // namespace

bool TWX11FrontRecord::internAtoms() {
    if (property_ != XCB_NONE)
        return true;
    xcb_connection_t* c = connection_.connection();
    if (!c || connection_.broken())
        return false;
    static const char* const names[] = {"_TIDEWELL_FRONT_APPLICATION", "UTF8_STRING"};
    xcb_intern_atom_cookie_t cookies[2];
    for (int i = 0; i < 2; ++i)
        cookies[i] = xcb_intern_atom(c, 0, static_cast<uint16_t>(std::strlen(names[i])), names[i]);
    xcb_atom_t* atoms[] = {&property_, &utf8_};
    for (int i = 0; i < 2; ++i)
        if (auto* reply = xcb_intern_atom_reply(c, cookies[i], nullptr)) {
            *atoms[i] = reply->atom;
            std::free(reply);
        }
    if (property_ == XCB_NONE || utf8_ == XCB_NONE) {
        property_ = XCB_NONE;
        return false;
    }
    return true;
}

std::optional<std::string> TWX11FrontRecord::read() {
    if (!internAtoms())
        return std::nullopt;
    xcb_connection_t* c = connection_.connection();
    auto* reply = xcb_get_property_reply(
        c, xcb_get_property(c, 0, connection_.root(), property_, utf8_, 0, kLongest / 4), nullptr);
    std::optional<std::string> id;
    if (reply && reply->format == 8 && xcb_get_property_value_length(reply) > 0)
        id.emplace(static_cast<const char*>(xcb_get_property_value(reply)),
                   static_cast<size_t>(xcb_get_property_value_length(reply)));
    std::free(reply);
    return id;
}

void TWX11FrontRecord::write(const std::string& bundleID) {
    if (bundleID.empty() || bundleID.size() > kLongest || !internAtoms())
        return;
    xcb_change_property(connection_.connection(), XCB_PROP_MODE_REPLACE, connection_.root(),
                        property_, utf8_, 8, static_cast<uint32_t>(bundleID.size()),
                        bundleID.data());
}
