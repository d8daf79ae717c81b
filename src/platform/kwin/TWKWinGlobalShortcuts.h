// SPDX-License-Identifier: MIT
// Global shortcuts on KDE Plasma: Tidewell's two actions registered as a component of KDE's
// global-shortcut service (org.kde.kglobalaccel on the session bus, hosted by KWin on Wayland),
// their key presses received as the component's signal. The bus connection (sd-bus) opens at the
// first binding; its descriptor is handed to the desktop's event loop then.
#pragma once

#include "TWGlobalShortcuts.h"
#include "TWKeyCombination.h"

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

struct sd_bus;
struct sd_bus_message;
struct sd_bus_slot;

class TWKWinGlobalShortcuts : public TWGlobalShortcuts {
  public:
    // `watch(fd, true)` is called once the bus connection opens, with the descriptor to watch,
    // and `watch(fd, false)` once it is lost.
    explicit TWKWinGlobalShortcuts(std::function<void(int, bool)> watch);
    ~TWKWinGlobalShortcuts() override;
    TWKWinGlobalShortcuts(const TWKWinGlobalShortcuts&) = delete;
    TWKWinGlobalShortcuts& operator=(const TWKWinGlobalShortcuts&) = delete;

    std::optional<std::string> bind(TWShortcutAction action, const std::string& keys) override;
    void setActivationHandler(std::function<void(TWShortcutAction)> handler) override;
    // KDE's system settings change the keys through the service, which tells the component.
    void setChangeHandler(
        std::function<void(TWShortcutAction, const std::string& keys)> handler) override;
    // Handles what arrived on the bus, without blocking; the handlers run for each press and
    // each change.
    void dispatchEvents();

    // The component Tidewell registers as, and each action's name in it. (A name ending in
    // ".desktop" would make the service start the desktop entry on a press instead of telling
    // the running process.)
    static constexpr const char* kComponent = "net.quillfen.Tidewell";
    static const char* actionName(TWShortcutAction action);
    // The service's key code: Qt's key with Qt's modifier bits. None for a key Qt has no code
    // for.
    static std::optional<int> qtKeyCode(const TWKeyCombination& combination);
    // The portable text of a key code of the service's; none for a key without a portable name.
    static std::optional<std::string> portableText(int code);

  private:
    std::optional<std::string> connect();
    std::optional<std::string> registerAction(TWShortcutAction action);
    // The bus callbacks (defined with sd-bus's types).
    struct Callbacks;
    friend struct Callbacks;

    std::function<void(int, bool)> watch_;
    std::function<void(TWShortcutAction)> handler_;
    std::function<void(TWShortcutAction, const std::string&)> changeHandler_;
    sd_bus* bus_ = nullptr;
    int fd_ = -1;
    sd_bus_slot* pressedSlot_ = nullptr;
    sd_bus_slot* changedSlot_ = nullptr;
    bool broken_ = false;
    std::vector<TWShortcutAction> registered_;
    std::vector<TWShortcutAction> pressed_; // received, not yet handed to the handler
    std::vector<std::pair<TWShortcutAction, std::string>> changed_; // the same for changes
};
