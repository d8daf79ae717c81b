// SPDX-License-Identifier: MIT
// Global shortcuts on X11: each combination is a passive key grab on the root window, made for
// every state of the lock modifiers (Caps Lock, Num Lock) so that it fires whatever they are.
// Presses arrive through the connection's event dispatch (see TWX11Connection).
#pragma once

#include "TWGlobalShortcuts.h"
#include "TWX11Connection.h"

#include <xcb/xcb.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

class TWX11GlobalShortcuts : public TWGlobalShortcuts {
  public:
    explicit TWX11GlobalShortcuts(TWX11Connection& connection);
    ~TWX11GlobalShortcuts() override;

    std::optional<std::string> bind(TWShortcutAction action, const std::string& keys) override;
    void setActivationHandler(std::function<void(TWShortcutAction)> handler) override;

    // A key press on the root window, or a change of the keyboard mapping.
    void handleEvent(const xcb_generic_event_t& event);

  private:
    struct Grab {
        xcb_keycode_t keycode;
        std::uint16_t modifiers; // without the lock modifiers
        bool operator<(const Grab& o) const {
            return keycode != o.keycode ? keycode < o.keycode : modifiers < o.modifiers;
        }
        bool operator==(const Grab&) const = default;
    };
    struct Binding {
        std::string keys;
        std::vector<Grab> grabs;
    };

    // Reads the keyboard and modifier mappings (a round trip each).
    void readMapping();
    // The grabs that make up `keys`; empty with `why` set when there are none.
    std::vector<Grab> grabsFor(const std::string& keys, std::string& why) const;
    // Grabs every lock variant of `grabs`; on failure releases what it took and says why.
    std::optional<std::string> grab(const std::vector<Grab>& grabs, const std::string& keys);
    void ungrab(const std::vector<Grab>& grabs);
    std::vector<std::uint16_t> lockVariants() const;

    TWX11Connection& connection_;
    std::function<void(TWShortcutAction)> handler_;
    std::map<TWShortcutAction, Binding> bindings_;
    bool mappingRead_ = false;
    xcb_keycode_t minKeycode_ = 0;
    std::uint8_t keysymsPerKeycode_ = 0;
    std::vector<xcb_keysym_t> keysyms_; // keysymsPerKeycode_ per keycode from minKeycode_
    std::uint16_t altMask_ = XCB_MOD_MASK_1, metaMask_ = XCB_MOD_MASK_4,
                  numLockMask_ = XCB_MOD_MASK_2;
};
