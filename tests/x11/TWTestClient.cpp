// SPDX-License-Identifier: MIT
// A tiny X client for the desktop tests and the benchmarks: windows with exactly the properties
// a case needs, closed when the window manager asks.
#include "TWXcbAtom.h"
#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <unistd.h>

int main(int argc, char** argv) {
    std::string windowClass = std::string("twclient") + '\0' + "TWClient" + '\0';
    std::string title = "tidewell test client", type, state, gtkID;
    bool setPid = true, minimizable = true;
    uint32_t claimedPid = 0;
    int count = 1;
    std::string grabKey;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i], value = i + 1 < argc ? argv[i + 1] : "";
        if (a == "--class") // INSTANCE,CLASS
            windowClass =
                value.substr(0, value.find(',')) + '\0' + value.substr(value.find(',') + 1) + '\0';
        else if (a == "--title")
            title = value;
        else if (a == "--windows")
            count = std::max(1, std::atoi(value.c_str()));
        else if (a == "--type")
            type = "_NET_WM_WINDOW_TYPE_" + value;
        else if (a == "--state")
            state = "_NET_WM_STATE_" + value;
        else if (a == "--gtk-id")
            gtkID = value;
        else if (a == "--pid") // the pid _NET_WM_PID claims
            claimedPid = static_cast<uint32_t>(std::atol(value.c_str()));
        else if (a == "--grab-key") // KEYCODE,MODIFIERS (numbers): a key grab on the root first
            grabKey = value;
        else if (a == "--no-minimize") // Motif hints that leave out the minimize function
            minimizable = false;
        else if (a == "--nameless") { // neither class nor pid
            windowClass.clear();
            setPid = false;
        } else
            return 2;
        i += a == "--nameless" || a == "--no-minimize" ? 0 : 1;
    }
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c))
        return 1;
    xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const xcb_atom_t protocols = TWInternAtom(c, "WM_PROTOCOLS"),
                     deleteWindow = TWInternAtom(c, "WM_DELETE_WINDOW"),
                     utf8 = TWInternAtom(c, "UTF8_STRING");
    // Grabbed before any window is made: once the window is seen, the grab is in place.
    if (!grabKey.empty())
        xcb_grab_key(c, 1, screen->root,
                     static_cast<uint16_t>(
                         std::strtoul(grabKey.c_str() + grabKey.find(',') + 1, nullptr, 0)),
                     static_cast<xcb_keycode_t>(std::strtoul(grabKey.c_str(), nullptr, 0)),
                     XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    std::set<xcb_window_t> open;
    const uint32_t pid = claimedPid ? claimedPid : static_cast<uint32_t>(getpid());
    for (int i = 0; i < count; ++i) {
        xcb_window_t w = xcb_generate_id(c);
        uint32_t values[] = {screen->white_pixel, XCB_EVENT_MASK_STRUCTURE_NOTIFY};
        xcb_create_window(c, XCB_COPY_FROM_PARENT, w, screen->root, 20 + 10 * i, 20 + 10 * i, 200,
                          120, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
        auto set = [&](xcb_atom_t property, xcb_atom_t kind, int format, const void* data,
                       size_t length) {
            xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, property, kind, uint8_t(format),
                                uint32_t(length), data);
        };
        auto setAtom = [&](const char* property, const std::string& atom) {
            const xcb_atom_t value = TWInternAtom(c, atom.c_str());
            set(TWInternAtom(c, property), XCB_ATOM_ATOM, 32, &value, 1);
        };
        const std::string t = count > 1 ? title + " " + std::to_string(i + 1) : title;
        set(XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, t.data(), t.size());
        set(TWInternAtom(c, "_NET_WM_NAME"), utf8, 8, t.data(), t.size());
        set(protocols, XCB_ATOM_ATOM, 32, &deleteWindow, 1);
        if (!windowClass.empty())
            set(XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8, windowClass.data(), windowClass.size());
        if (setPid)
            set(TWInternAtom(c, "_NET_WM_PID"), XCB_ATOM_CARDINAL, 32, &pid, 1);
        if (!state.empty())
            setAtom("_NET_WM_STATE", state);
        if (!type.empty())
            setAtom("_NET_WM_WINDOW_TYPE", type);
        if (!gtkID.empty())
            set(TWInternAtom(c, "_GTK_APPLICATION_ID"), utf8, 8, gtkID.data(), gtkID.size());
        if (!minimizable) {
            // flags: functions given; functions: resize, move, maximize, close.
            const uint32_t motif[5] = {1, 2 | 4 | 16 | 32, 0, 0, 0};
            const xcb_atom_t hints = TWInternAtom(c, "_MOTIF_WM_HINTS");
            set(hints, hints, 32, motif, 5);
        }
        xcb_map_window(c, w);
        open.insert(w);
    }
    xcb_flush(c);
    while (!open.empty()) {
        xcb_generic_event_t* e = xcb_wait_for_event(c);
        if (!e)
            break; // the connection is gone
        auto* m = reinterpret_cast<xcb_client_message_event_t*>(e);
        if ((e->response_type & 0x7f) == XCB_CLIENT_MESSAGE && m->type == protocols &&
            m->data.data32[0] == deleteWindow) {
            xcb_destroy_window(c, m->window);
            open.erase(m->window);
            xcb_flush(c);
        }
        std::free(e);
    }
    xcb_disconnect(c);
    return 0;
}
