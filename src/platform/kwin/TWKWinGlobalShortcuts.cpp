// SPDX-License-Identifier: MIT
// Tidewell's actions as a component of KDE's global-shortcut service.
#include "TWKWinGlobalShortcuts.h"

#include "TWFormat.h"
#include "TWLocalizedString.h"
#include "TWLog.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

constexpr const char* kLogClass = "TWKWinGlobalShortcuts";

namespace {

constexpr const char* kService = "org.kde.kglobalaccel";
constexpr const char* kPath = "/kglobalaccel";
constexpr const char* kInterface = "org.kde.KGlobalAccel";
constexpr const char* kComponentInterface = "org.kde.kglobalaccel.Component";
constexpr const char* kComponentFriendlyName = "Tidewell";
// setShortcut's flags: the action is there to be triggered, and the keys given are the ones to
// use (not those the service stored for the action the last time).
constexpr std::uint32_t kSetPresent = 2, kNoAutoloading = 4;
constexpr std::uint64_t kCallTimeoutUsec = 5'000'000;

// Qt's modifier bits and the keys without a character of their own.
constexpr int kQtShift = 0x02000000, kQtControl = 0x04000000, kQtAlt = 0x08000000,
              kQtMeta = 0x10000000, kQtF1 = 0x01000030, kQtLastF = 35;
constexpr std::array<std::pair<std::string_view, int>, 24> kQtNamedKeys{{
    {"Space", 0x20},         {"Esc", 0x01000000},       {"Tab", 0x01000001},
    {"Backtab", 0x01000002}, {"Backspace", 0x01000003}, {"Return", 0x01000004},
    {"Enter", 0x01000005},   {"Ins", 0x01000006},       {"Del", 0x01000007},
    {"Pause", 0x01000008},   {"Print", 0x01000009},     {"SysReq", 0x0100000a},
    {"Clear", 0x0100000b},   {"Home", 0x01000010},      {"End", 0x01000011},
    {"Left", 0x01000012},    {"Up", 0x01000013},        {"Right", 0x01000014},
    {"Down", 0x01000015},    {"PgUp", 0x01000016},      {"PgDown", 0x01000017},
    {"Menu", 0x01000055},    {"Help", 0x01000058},      {"CapsLock", 0x01000024},
}};

const char* friendlyName(TWShortcutAction action) {
    return action == TWShortcutAction::HideOthers ? "Hide Others" : "Show All";
}

// Frees what sd-bus handed out when the scope ends.
struct Reply {
    sd_bus_message* message = nullptr;
    sd_bus_error error = SD_BUS_ERROR_NULL;
    ~Reply() {
        sd_bus_message_unref(message);
        sd_bus_error_free(&error);
    }
    std::string why() const {
        return std::string(error.name ? error.name : "no answer") +
               (error.message ? std::string(": ") + error.message : std::string());
    }
};

std::vector<std::string> readStrings(sd_bus_message* m) {
    std::vector<std::string> out;
    char** strings = nullptr;
    if (sd_bus_message_read_strv(m, &strings) < 0 || !strings)
        return out;
    for (char** s = strings; *s; ++s) {
        out.emplace_back(*s);
        std::free(*s);
    }
    std::free(strings);
    return out;
}

// Key names as people write them by hand: any case.
bool sameName(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

} // namespace

struct TWKWinGlobalShortcuts::Callbacks {
    static int onPressed(sd_bus_message* m, void* data, sd_bus_error*) {
        auto* self = static_cast<TWKWinGlobalShortcuts*>(data);
        const char *component = nullptr, *name = nullptr;
        std::int64_t timestamp = 0;
        if (sd_bus_message_read(m, "ssx", &component, &name, &timestamp) < 0 ||
            std::strcmp(component, kComponent) != 0)
            return 0;
        for (auto action : {TWShortcutAction::HideOthers, TWShortcutAction::ShowAll})
            if (std::strcmp(name, actionName(action)) == 0)
                self->pressed_.push_back(action);
        return 0;
    }
    // yourShortcutsChanged(as actionId, a(ai) sequences): each sequence up to four chords.
    // Tidewell's shortcuts are single chords: the first sequence counts, when it is one.
    static int onChanged(sd_bus_message* m, void* data, sd_bus_error*) {
        auto* self = static_cast<TWKWinGlobalShortcuts*>(data);
        const std::vector<std::string> id = readStrings(m);
        if (id.size() < 2 || id[0] != kComponent)
            return 0;
        std::vector<int> chords;
        if (sd_bus_message_enter_container(m, 'a', "(ai)") > 0) {
            if (sd_bus_message_enter_container(m, 'r', "ai") > 0) {
                const void* keys = nullptr;
                std::size_t size = 0;
                if (sd_bus_message_read_array(m, 'i', &keys, &size) >= 0)
                    for (std::size_t i = 0; i < size / sizeof(int); ++i)
                        if (int code = static_cast<const int*>(keys)[i]; code != 0)
                            chords.push_back(code);
            }
        }
        std::optional<std::string> text = std::string();
        if (chords.size() == 1)
            text = portableText(chords.front());
        else if (chords.size() > 1)
            text.reset();
        if (!text) {
            TWLog(LOG_NOTICE, kLogClass,
                  "KDE's settings gave " + id[1] + " keys Tidewell cannot take; kept as stored");
            return 0;
        }
        for (auto action : {TWShortcutAction::HideOthers, TWShortcutAction::ShowAll})
            if (id[1] == actionName(action))
                self->changed_.emplace_back(action, *text);
        return 0;
    }
};

const char* TWKWinGlobalShortcuts::actionName(TWShortcutAction action) {
    return action == TWShortcutAction::HideOthers ? "hide-others" : "show-all";
}

std::optional<int> TWKWinGlobalShortcuts::qtKeyCode(const TWKeyCombination& combination) {
    int code = 0;
    const std::string& key = combination.key;
    for (const auto& [name, value] : kQtNamedKeys)
        if (sameName(key, name))
            code = value;
    if (code == 0 && key.size() >= 2 && (key[0] == 'F' || key[0] == 'f') &&
        std::all_of(key.begin() + 1, key.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        const int n = std::atoi(key.c_str() + 1);
        if (n >= 1 && n <= kQtLastF)
            code = kQtF1 + n - 1;
    }
    // A printable ASCII key is its own code, letters upper case.
    if (code == 0 && key.size() == 1 && key[0] > ' ' && key[0] < 0x7f)
        code = std::toupper(static_cast<unsigned char>(key[0]));
    if (code == 0)
        return std::nullopt;
    const unsigned m = combination.modifiers;
    return code | ((m & TWKeyCombination::Shift) ? kQtShift : 0) |
           ((m & TWKeyCombination::Control) ? kQtControl : 0) |
           ((m & TWKeyCombination::Alt) ? kQtAlt : 0) |
           ((m & TWKeyCombination::Meta) ? kQtMeta : 0);
}

std::optional<std::string> TWKWinGlobalShortcuts::portableText(int code) {
    TWKeyCombination combination;
    const std::pair<int, unsigned> modifiers[] = {{kQtShift, TWKeyCombination::Shift},
                                                  {kQtControl, TWKeyCombination::Control},
                                                  {kQtAlt, TWKeyCombination::Alt},
                                                  {kQtMeta, TWKeyCombination::Meta}};
    for (const auto& [bit, modifier] : modifiers)
        if (code & bit)
            combination.modifiers |= modifier;
    const int key = code & ~(kQtShift | kQtControl | kQtAlt | kQtMeta | 0x20000000);
    for (const auto& [name, value] : kQtNamedKeys)
        if (key == value)
            combination.key = std::string(name);
    if (key >= kQtF1 && key < kQtF1 + kQtLastF)
        combination.key = "F" + std::to_string(key - kQtF1 + 1);
    if (combination.key.empty() && key > ' ' && key < 0x7f)
        combination.key = std::string(1, static_cast<char>(key));
    if (combination.key.empty())
        return std::nullopt;
    return combination.text();
}

TWKWinGlobalShortcuts::TWKWinGlobalShortcuts(std::function<void(int, bool)> watch)
    : watch_(std::move(watch)) {}

TWKWinGlobalShortcuts::~TWKWinGlobalShortcuts() {
    // The keys stay reserved for Tidewell in the service (and in the shortcut settings), but do
    // nothing while no Tidewell process is there.
    if (bus_ && !broken_)
        for (auto action : registered_) {
            Reply reply;
            sd_bus_call_method(bus_, kService, kPath, kInterface, "setInactive", &reply.error,
                               &reply.message, "as", 4, kComponent, actionName(action),
                               kComponentFriendlyName, friendlyName(action));
        }
    sd_bus_slot_unref(pressedSlot_);
    sd_bus_slot_unref(changedSlot_);
    if (bus_)
        sd_bus_flush_close_unref(bus_);
}

void TWKWinGlobalShortcuts::setActivationHandler(std::function<void(TWShortcutAction)> handler) {
    handler_ = std::move(handler);
}

void TWKWinGlobalShortcuts::setChangeHandler(
    std::function<void(TWShortcutAction, const std::string&)> handler) {
    changeHandler_ = std::move(handler);
}

std::optional<std::string> TWKWinGlobalShortcuts::connect() {
    if (broken_)
        return TWLocalizedString("The connection to the session bus is lost.");
    if (bus_)
        return std::nullopt;
    if (int r = sd_bus_open_user(&bus_); r < 0) {
        bus_ = nullptr;
        return TWFormat(TWLocalizedString(
                            "KDE's global-shortcut service is out of reach: no session bus (%@)."),
                        std::string(std::strerror(-r)));
    }
    sd_bus_set_method_call_timeout(bus_, kCallTimeoutUsec);
    if (sd_bus_match_signal(bus_, &changedSlot_, kService, kPath, kInterface,
                            "yourShortcutsChanged", &Callbacks::onChanged, this) < 0) {
        TWLog(LOG_WARNING, kLogClass,
              "cannot follow changes of Tidewell's shortcuts in KDE's settings");
        changedSlot_ = nullptr;
    }
    fd_ = sd_bus_get_fd(bus_);
    if (watch_ && fd_ >= 0)
        watch_(fd_, true);
    return std::nullopt;
}

std::optional<std::string> TWKWinGlobalShortcuts::registerAction(TWShortcutAction action) {
    if (std::find(registered_.begin(), registered_.end(), action) != registered_.end())
        return std::nullopt;
    Reply reg;
    if (sd_bus_call_method(bus_, kService, kPath, kInterface, "doRegister", &reg.error,
                           &reg.message, "as", 4, kComponent, actionName(action),
                           kComponentFriendlyName, friendlyName(action)) < 0)
        return TWFormat(
            TWLocalizedString("KDE's global-shortcut service (%@) does not answer: %@."),
            std::string(kService), reg.why());
    registered_.push_back(action);
    if (pressedSlot_)
        return std::nullopt;
    // The component's object exists once one of its actions is registered.
    Reply component;
    const char* path = nullptr;
    if (sd_bus_call_method(bus_, kService, kPath, kInterface, "getComponent", &component.error,
                           &component.message, "s", kComponent) < 0 ||
        sd_bus_message_read(component.message, "o", &path) < 0 ||
        sd_bus_match_signal(bus_, &pressedSlot_, kService, path, kComponentInterface,
                            "globalShortcutPressed", &Callbacks::onPressed, this) < 0) {
        TWLog(LOG_ERR, kLogClass,
              "cannot follow the key presses of Tidewell's shortcuts: " + component.why());
        pressedSlot_ = nullptr;
    }
    return std::nullopt;
}

std::optional<std::string> TWKWinGlobalShortcuts::bind(TWShortcutAction action,
                                                       const std::string& keys) {
    std::optional<TWKeyCombination> combination;
    std::optional<int> code;
    if (!keys.empty()) {
        combination = TWKeyCombination::parse(keys);
        if (!combination)
            return TWFormat(TWLocalizedString("\"%@\" is not a key combination."), keys);
        code = qtKeyCode(*combination);
        if (!code)
            return TWFormat(TWLocalizedString("KDE Plasma has no global shortcut with the key %@."),
                            combination->key);
    } else if (std::find(registered_.begin(), registered_.end(), action) == registered_.end()) {
        return std::nullopt; // nothing bound here: nothing to take away
    }
    if (auto failure = connect())
        return failure;
    if (auto failure = registerAction(action))
        return failure;

    if (code) {
        // Keys another action holds stay with it, and this action keeps what it had.
        Reply holder;
        std::vector<std::string> id;
        if (sd_bus_call_method(bus_, kService, kPath, kInterface, "action", &holder.error,
                               &holder.message, "i", *code) >= 0)
            id = readStrings(holder.message);
        if (id.size() >= 4 && !(id[0] == kComponent && id[1] == actionName(action)))
            return TWFormat(TWLocalizedString("%@ is already the shortcut of \"%@\" in %@."),
                            combination->text(), id[3], id[2].empty() ? id[0] : id[2]);
    }

    Reply set;
    sd_bus_message* call = nullptr;
    int r = sd_bus_message_new_method_call(bus_, &call, kService, kPath, kInterface, "setShortcut");
    if (r >= 0)
        r = sd_bus_message_append(call, "as", 4, kComponent, actionName(action),
                                  kComponentFriendlyName, friendlyName(action));
    if (r >= 0)
        r = code ? sd_bus_message_append(call, "ai", 1, *code)
                 : sd_bus_message_append(call, "ai", 0);
    if (r >= 0)
        r = sd_bus_message_append(call, "u", kSetPresent | kNoAutoloading);
    if (r >= 0)
        r = sd_bus_call(bus_, call, 0, &set.error, &set.message);
    sd_bus_message_unref(call);
    if (r < 0)
        return TWFormat(
            TWLocalizedString("KDE's global-shortcut service refused the shortcut: %@."),
            set.why());
    const void* data = nullptr;
    std::size_t size = 0;
    std::vector<int> taken;
    if (sd_bus_message_read_array(set.message, 'i', &data, &size) >= 0)
        for (std::size_t i = 0; i < size / sizeof(int); ++i)
            if (int value = static_cast<const int*>(data)[i]; value != 0)
                taken.push_back(value);
    if (code && taken != std::vector<int>{*code})
        return TWFormat(TWLocalizedString("KDE Plasma did not take %@ as a global shortcut."),
                        combination->text());
    return std::nullopt;
}

void TWKWinGlobalShortcuts::dispatchEvents() {
    if (!bus_ || broken_)
        return;
    int r;
    while ((r = sd_bus_process(bus_, nullptr)) > 0) {
    }
    if (r < 0) {
        broken_ = true;
        TWLog(LOG_ERR, kLogClass,
              "the connection to the session bus is lost (" + std::string(std::strerror(-r)) +
                  "); the global shortcuts do nothing now");
        if (watch_ && fd_ >= 0)
            watch_(fd_, false);
    }
    // Outside the bus's dispatch: the handler may call the desktop again.
    for (auto action : std::exchange(pressed_, {}))
        if (handler_)
            handler_(action);
    for (const auto& [action, keys] : std::exchange(changed_, {}))
        if (changeHandler_)
            changeHandler_(action, keys);
}
