// SPDX-License-Identifier: MIT
// A platform-neutral menu model: what the shell renders as the dock (tray) menu.
#include "TWMenu.h"

std::shared_ptr<TWMenuItem> TWMenuItem::separatorItem() {
    auto item = std::shared_ptr<TWMenuItem>(new TWMenuItem());
    item->separator_ = true;
    return item;
}

TWMenuItem::TWMenuItem(std::string title, std::string action, const void* target,
                       std::function<void()> handler, std::string keyEquivalent)
    : title_(std::move(title)), action_(std::move(action)), target_(target),
      handler_(std::move(handler)), keyEquivalent_(std::move(keyEquivalent)) {}

void TWMenuItem::perform() {
    if (!action_.empty() && handler_)
        handler_();
}
