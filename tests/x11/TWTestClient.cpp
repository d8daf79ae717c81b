// SPDX-License-Identifier: MIT
// A tiny X client for the desktop tests and the benchmark: shows windows with exactly the
// properties a case needs (class, pid, taskbar hints, window type) and closes them
// when the window manager asks. SIGUSR1 withdraws every window (ICCCM: unmap plus a synthetic
// UnmapNotify, which reaches the window manager even for a minimized window), SIGUSR2 maps them
// again.
#include "TWXcbAtom.h"
#include <xcb/xcb.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <set>
#include <string>
#include <sys/signalfd.h>
#include <unistd.h>
#include <vector>

int main(int argc, char** argv) {
    std::string instance = "twclient", cls = "TWClient", title = "tidewell test client";
    std::string type, gtkID;
    bool setClass = true, skipTaskbar = false, setPid = true;
    int count = 1;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        auto next = [&]() -> std::string { return i + 1 < argc ? argv[++i] : ""; };
        if (a == "--class") {
            std::string v = next();
            auto comma = v.find(',');
            instance = v.substr(0, comma);
            cls = comma == std::string::npos ? v : v.substr(comma + 1);
        } else if (a == "--no-class") {
            setClass = false;
        } else if (a == "--title") {
            title = next();
        } else if (a == "--windows") {
            count = std::max(1, std::atoi(next().c_str()));
        } else if (a == "--skip-taskbar") {
            skipTaskbar = true;
        } else if (a == "--type") {
            type = next();
        } else if (a == "--no-pid") {
            setPid = false;
        } else if (a == "--gtk-id") {
            gtkID = next();
        } else {
            const char usage[] =
                "usage: tidewell-test-client [--class INSTANCE,CLASS | --no-class] "
                "[--title T] [--windows N] [--skip-taskbar] [--type TYPE] "
                "[--no-pid] [--gtk-id ID]\n";
            return write(2, usage, sizeof usage - 1) < 0 ? 2 : 2;
        }
    }
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c))
        return 1;
    xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    xcb_atom_t protocols = TWInternAtom(c, "WM_PROTOCOLS"),
               deleteWindow = TWInternAtom(c, "WM_DELETE_WINDOW");
    xcb_atom_t netPid = TWInternAtom(c, "_NET_WM_PID"), netState = TWInternAtom(c, "_NET_WM_STATE");
    xcb_atom_t skip = TWInternAtom(c, "_NET_WM_STATE_SKIP_TASKBAR"),
               netType = TWInternAtom(c, "_NET_WM_WINDOW_TYPE");
    xcb_atom_t netName = TWInternAtom(c, "_NET_WM_NAME"), utf8 = TWInternAtom(c, "UTF8_STRING");
    xcb_atom_t gtk = TWInternAtom(c, "_GTK_APPLICATION_ID");
    xcb_atom_t typeAtom = XCB_NONE;
    if (!type.empty()) {
        std::string name = "_NET_WM_WINDOW_TYPE_" + type;
        for (auto& ch : name)
            ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
        typeAtom = TWInternAtom(c, name.c_str());
    }
    std::set<xcb_window_t> open;
    uint32_t pid = static_cast<uint32_t>(getpid());
    for (int i = 0; i < count; ++i) {
        xcb_window_t w = xcb_generate_id(c);
        uint32_t values[] = {screen->white_pixel, XCB_EVENT_MASK_STRUCTURE_NOTIFY};
        xcb_create_window(c, XCB_COPY_FROM_PARENT, w, screen->root, 20 + 10 * i, 20 + 10 * i, 200,
                          120, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
        std::string t = count > 1 ? title + " " + std::to_string(i + 1) : title;
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8,
                            static_cast<uint32_t>(t.size()), t.data());
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, netName, utf8, 8,
                            static_cast<uint32_t>(t.size()), t.data());
        if (setClass) {
            std::string value = instance + '\0' + cls + '\0';
            xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                                static_cast<uint32_t>(value.size()), value.data());
        }
        if (setPid)
            xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, netPid, XCB_ATOM_CARDINAL, 32, 1,
                                &pid);
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, protocols, XCB_ATOM_ATOM, 32, 1,
                            &deleteWindow);
        if (skipTaskbar)
            xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, netState, XCB_ATOM_ATOM, 32, 1, &skip);
        if (typeAtom != XCB_NONE)
            xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, netType, XCB_ATOM_ATOM, 32, 1,
                                &typeAtom);
        if (!gtkID.empty())
            xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, gtk, utf8, 8,
                                static_cast<uint32_t>(gtkID.size()), gtkID.data());
        xcb_map_window(c, w);
        open.insert(w);
    }
    xcb_flush(c);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    sigaddset(&signals, SIGUSR2);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    const int signalFd = signalfd(-1, &signals, SFD_CLOEXEC);
    while (!open.empty() && !xcb_connection_has_error(c)) {
        pollfd fds[2] = {{xcb_get_file_descriptor(c), POLLIN, 0}, {signalFd, POLLIN, 0}};
        if (poll(fds, 2, -1) < 0)
            continue;
        if (fds[1].revents & POLLIN) {
            signalfd_siginfo info{};
            if (read(signalFd, &info, sizeof info) == sizeof info) {
                for (xcb_window_t w : open) {
                    if (info.ssi_signo == SIGUSR2) {
                        xcb_map_window(c, w);
                        continue;
                    }
                    xcb_unmap_window(c, w);
                    xcb_unmap_notify_event_t unmap{};
                    unmap.response_type = XCB_UNMAP_NOTIFY;
                    unmap.event = screen->root;
                    unmap.window = w;
                    xcb_send_event(c, 0, screen->root,
                                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT |
                                       XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                                   reinterpret_cast<const char*>(&unmap));
                }
                xcb_flush(c);
            }
        }
        while (xcb_generic_event_t* e = xcb_poll_for_event(c)) {
            uint8_t t = e->response_type & 0x7f;
            if (t == XCB_CLIENT_MESSAGE) {
                auto* m = reinterpret_cast<xcb_client_message_event_t*>(e);
                if (m->type == protocols && m->data.data32[0] == deleteWindow) {
                    xcb_destroy_window(c, m->window);
                    open.erase(m->window);
                    xcb_flush(c);
                }
            }
            std::free(e);
        }
    }
    xcb_disconnect(c);
    return 0;
}
