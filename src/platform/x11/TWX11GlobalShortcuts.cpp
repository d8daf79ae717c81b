// SPDX-License-Identifier: MIT
// Key grabs on the root window for the global shortcuts: key names to keysyms (xkbcommon's
// names), keysyms to keycodes (the server's keyboard mapping), lock-modifier variants.
#include "TWX11GlobalShortcuts.h"

#include "TWFormat.h"
#include "TWKeyCombination.h"
#include "TWLocalizedString.h"
#include "TWLog.h"

#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <set>
#include <utility>

constexpr const char* kLogClass = "TWX11GlobalShortcuts";

namespace {

constexpr std::uint8_t kBadAccess = 10;

// The code point of `text` when it is exactly one UTF-8 character, else 0.
std::uint32_t singleCodePoint(const std::string& text) {
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t n = text.size();
    if (n == 1 && s[0] < 0x80)
        return s[0];
    std::size_t length = 0;
    std::uint32_t cp = 0;
    if (n >= 2 && (s[0] & 0xe0) == 0xc0)
        length = 2, cp = s[0] & 0x1f;
    else if (n >= 3 && (s[0] & 0xf0) == 0xe0)
        length = 3, cp = s[0] & 0x0f;
    else if (n >= 4 && (s[0] & 0xf8) == 0xf0)
        length = 4, cp = s[0] & 0x07;
    if (length == 0 || length != n)
        return 0;
    for (std::size_t i = 1; i < n; ++i) {
        if ((s[i] & 0xc0) != 0x80)
            return 0;
        cp = (cp << 6) | (s[i] & 0x3f);
    }
    return cp;
}

xkb_keysym_t keysymFor(const TWKeyCombination& combination) {
    if (const auto name = combination.keySymbolName())
        return xkb_keysym_from_name(name->c_str(), XKB_KEYSYM_NO_FLAGS);
    // Any other single character (a letter of another alphabet) by its code point.
    if (const std::uint32_t cp = singleCodePoint(combination.key))
        return xkb_utf32_to_keysym(cp);
    return XKB_KEY_NoSymbol;
}

} // namespace

TWX11GlobalShortcuts::TWX11GlobalShortcuts(TWX11Connection& connection) : connection_(connection) {}

TWX11GlobalShortcuts::~TWX11GlobalShortcuts() {
    for (const auto& [action, binding] : bindings_)
        ungrab(binding.grabs);
    connection_.flush();
}

void TWX11GlobalShortcuts::setActivationHandler(std::function<void(TWShortcutAction)> handler) {
    handler_ = std::move(handler);
}

void TWX11GlobalShortcuts::readMapping() {
    if (connection_.broken())
        return;
    xcb_connection_t* c = connection_.connection();
    const xcb_setup_t* setup = xcb_get_setup(c);
    minKeycode_ = setup->min_keycode;
    const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    auto keyboardCookie = xcb_get_keyboard_mapping(c, setup->min_keycode, count);
    auto modifierCookie = xcb_get_modifier_mapping(c);
    keysyms_.clear();
    keysymsPerKeycode_ = 0;
    if (auto* reply = xcb_get_keyboard_mapping_reply(c, keyboardCookie, nullptr)) {
        const xcb_keysym_t* syms = xcb_get_keyboard_mapping_keysyms(reply);
        keysyms_.assign(syms, syms + xcb_get_keyboard_mapping_keysyms_length(reply));
        keysymsPerKeycode_ = reply->keysyms_per_keycode;
        std::free(reply);
    }
    // Which modifier bit Alt, Meta (the Super key) and Num Lock are on in this server's map.
    if (auto* reply = xcb_get_modifier_mapping_reply(c, modifierCookie, nullptr)) {
        const xcb_keycode_t* codes = xcb_get_modifier_mapping_keycodes(reply);
        const int perModifier = reply->keycodes_per_modifier;
        auto findMask = [&](std::initializer_list<xkb_keysym_t> wanted, std::uint16_t fallback) {
            for (int mod = 3; mod < 8; ++mod) // Mod1 .. Mod5
                for (int i = 0; i < perModifier; ++i) {
                    const xcb_keycode_t code = codes[mod * perModifier + i];
                    if (code < minKeycode_ || keysymsPerKeycode_ == 0)
                        continue;
                    const std::size_t base =
                        static_cast<std::size_t>(code - minKeycode_) * keysymsPerKeycode_;
                    for (std::size_t k = 0; k < keysymsPerKeycode_ && base + k < keysyms_.size();
                         ++k)
                        if (std::find(wanted.begin(), wanted.end(), keysyms_[base + k]) !=
                            wanted.end())
                            return static_cast<std::uint16_t>(1u << mod);
                }
            return fallback;
        };
        altMask_ = findMask({XKB_KEY_Alt_L, XKB_KEY_Alt_R}, XCB_MOD_MASK_1);
        metaMask_ = findMask({XKB_KEY_Super_L, XKB_KEY_Super_R}, XCB_MOD_MASK_4);
        numLockMask_ = findMask({XKB_KEY_Num_Lock}, XCB_MOD_MASK_2);
        std::free(reply);
    }
    mappingRead_ = true;
}

std::vector<TWX11GlobalShortcuts::Grab> TWX11GlobalShortcuts::grabsFor(const std::string& keys,
                                                                       std::string& why) const {
    const auto combination = TWKeyCombination::parse(keys);
    if (!combination) {
        why = TWFormat(TWLocalizedString("\"%@\" is not a key combination."), keys);
        return {};
    }
    const xkb_keysym_t sym = keysymFor(*combination);
    std::uint16_t modifiers = 0;
    if (combination->modifiers & TWKeyCombination::Shift)
        modifiers |= XCB_MOD_MASK_SHIFT;
    if (combination->modifiers & TWKeyCombination::Control)
        modifiers |= XCB_MOD_MASK_CONTROL;
    if (combination->modifiers & TWKeyCombination::Alt)
        modifiers |= altMask_;
    if (combination->modifiers & TWKeyCombination::Meta)
        modifiers |= metaMask_;
    std::set<Grab> grabs;
    if (sym != XKB_KEY_NoSymbol && keysymsPerKeycode_ > 0)
        for (std::size_t i = 0; i < keysyms_.size(); ++i)
            if (keysyms_[i] == sym)
                grabs.insert(
                    {static_cast<xcb_keycode_t>(minKeycode_ + i / keysymsPerKeycode_), modifiers});
    if (grabs.empty())
        why = TWFormat(TWLocalizedString("No key of this keyboard types %@."), combination->key);
    return {grabs.begin(), grabs.end()};
}

std::vector<std::uint16_t> TWX11GlobalShortcuts::lockVariants() const {
    return {0, XCB_MOD_MASK_LOCK, numLockMask_,
            static_cast<std::uint16_t>(XCB_MOD_MASK_LOCK | numLockMask_)};
}

std::optional<std::string> TWX11GlobalShortcuts::grab(const std::vector<Grab>& grabs,
                                                      const std::string& keys) {
    xcb_connection_t* c = connection_.connection();
    std::vector<xcb_void_cookie_t> cookies;
    for (const Grab& g : grabs)
        for (std::uint16_t lock : lockVariants())
            cookies.push_back(xcb_grab_key_checked(
                c, 1, connection_.root(), static_cast<std::uint16_t>(g.modifiers | lock), g.keycode,
                XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    bool taken = false, failed = false;
    for (const auto& cookie : cookies)
        if (xcb_generic_error_t* error = xcb_request_check(c, cookie)) {
            (error->error_code == kBadAccess ? taken : failed) = true;
            std::free(error);
        }
    if (!taken && !failed && !connection_.broken())
        return std::nullopt;
    // None of it stays: the grabs that did succeed are released.
    ungrab(grabs);
    connection_.flush();
    if (taken)
        return TWFormat(TWLocalizedString("Another program already uses %@ as a shortcut."), keys);
    return TWFormat(TWLocalizedString("The X server refused the shortcut %@."), keys);
}

void TWX11GlobalShortcuts::ungrab(const std::vector<Grab>& grabs) {
    if (connection_.broken())
        return;
    for (const Grab& g : grabs)
        for (std::uint16_t lock : lockVariants())
            xcb_ungrab_key(connection_.connection(), g.keycode, connection_.root(),
                           static_cast<std::uint16_t>(g.modifiers | lock));
}

std::optional<std::string> TWX11GlobalShortcuts::bind(TWShortcutAction action,
                                                      const std::string& keys) {
    if (connection_.broken())
        return keys.empty() ? std::nullopt
                            : std::optional<std::string>(
                                  TWLocalizedString("The connection to the X server is lost."));
    if (!mappingRead_)
        readMapping();
    std::vector<Grab> grabs;
    if (!keys.empty()) {
        std::string why;
        grabs = grabsFor(keys, why);
        if (grabs.empty())
            return why;
    }
    Binding old = std::move(bindings_[action]);
    bindings_.erase(action);
    // The old grabs go first, except those the new binding shares (releasing them would
    // release the new ones too): a grab of the same keys by this client is no clash.
    std::vector<Grab> released;
    for (const Grab& g : old.grabs)
        if (std::find(grabs.begin(), grabs.end(), g) == grabs.end())
            released.push_back(g);
    ungrab(released);
    if (grabs.empty()) {
        // Released at the server before this returns: the other Tidewell program may grab the
        // same keys right after.
        if (!released.empty() && !connection_.broken()) {
            xcb_connection_t* c = connection_.connection();
            std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
        }
        return std::nullopt;
    }
    const std::string text = TWKeyCombination::parse(keys)->text();
    if (auto problem = grab(grabs, text))
        return problem;
    bindings_[action] = {text, std::move(grabs)};
    return std::nullopt;
}

void TWX11GlobalShortcuts::handleEvent(const xcb_generic_event_t& event) {
    switch (event.response_type & 0x7f) {
    case XCB_KEY_PRESS: {
        const auto& press = reinterpret_cast<const xcb_key_press_event_t&>(event);
        const auto lockMasks = static_cast<std::uint16_t>(XCB_MOD_MASK_LOCK | numLockMask_);
        const Grab pressed{press.detail,
                           static_cast<std::uint16_t>(press.state & 0xff & ~lockMasks)};
        for (const auto& [action, binding] : bindings_)
            if (std::find(binding.grabs.begin(), binding.grabs.end(), pressed) !=
                binding.grabs.end()) {
                if (handler_)
                    handler_(action);
                return;
            }
        return;
    }
    case XCB_MAPPING_NOTIFY: {
        const auto& mapping = reinterpret_cast<const xcb_mapping_notify_event_t&>(event);
        if (mapping.request == XCB_MAPPING_POINTER || !mappingRead_)
            return;
        // Each switch between keyboards (the real one, XTEST's) is announced too, with nothing
        // changed: the grabs stay as they are then.
        const std::vector<xcb_keysym_t> oldKeysyms = keysyms_;
        const std::uint16_t oldMasks[] = {altMask_, metaMask_, numLockMask_};
        readMapping();
        const std::uint16_t newNumLock = numLockMask_;
        if (keysyms_ == oldKeysyms && altMask_ == oldMasks[0] && metaMask_ == oldMasks[1] &&
            numLockMask_ == oldMasks[2])
            return;
        // The same combinations may sit on other keycodes or modifier bits now. The old grabs
        // are released with the old lock-modifier variants.
        TWLog(LOG_INFO, kLogClass, "the keyboard mapping changed; grabbing the shortcuts again");
        std::map<TWShortcutAction, Binding> previous;
        previous.swap(bindings_);
        numLockMask_ = oldMasks[2];
        for (const auto& [action, binding] : previous)
            ungrab(binding.grabs);
        numLockMask_ = newNumLock;
        for (const auto& [action, binding] : previous)
            if (auto problem = bind(action, binding.keys))
                TWLog(LOG_WARNING, kLogClass,
                      "after the keyboard mapping changed, " + binding.keys +
                          " could not be grabbed again: " + *problem);
        return;
    }
    default:
        return;
    }
}
