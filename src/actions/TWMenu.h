// SPDX-License-Identifier: MIT
// A platform-neutral menu model: what the shell renders as the dock (tray) menu.
#pragma once

#include "TWPropertyList.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class TWMenuItem {
  public:
    virtual ~TWMenuItem() = default;

    // A separator line.
    static std::shared_ptr<TWMenuItem> separatorItem();

    // An item that runs `handler` when chosen; `action` names it (empty for an inert item).
    TWMenuItem(std::string title, std::string action, const void* target,
               std::function<void()> handler, std::string keyEquivalent = "");

    const std::string& title() const { return title_; }
    const std::string& action() const { return action_; }
    const void* target() const { return target_; }
    const std::string& keyEquivalent() const { return keyEquivalent_; }
    int state() const { return state_; }
    void setState(int state) { state_ = state; }
    bool isSeparatorItem() const { return separator_; }
    const std::optional<TWPlistDictionary>& representedObject() const { return represented_; }
    void setRepresentedObject(TWPlistDictionary object) { represented_ = std::move(object); }

    // Chooses the item: runs its action; an item without an action does nothing.
    virtual void perform();

  protected:
    TWMenuItem() = default;
    void setTarget(const void* target) { target_ = target; }
    void setAction(std::string action) { action_ = std::move(action); }
    void setTitle(std::string title) { title_ = std::move(title); }

  private:
    std::string title_;
    std::string action_;
    const void* target_ = nullptr;
    std::function<void()> handler_;
    std::string keyEquivalent_;
    int state_ = 0;
    bool separator_ = false;
    std::optional<TWPlistDictionary> represented_;
};

class TWMenu {
  public:
    explicit TWMenu(std::string title) : title_(std::move(title)) {}
    const std::string& title() const { return title_; }
    void addItem(std::shared_ptr<TWMenuItem> item) { items_.push_back(std::move(item)); }
    const std::vector<std::shared_ptr<TWMenuItem>>& items() const { return items_; }

  private:
    std::string title_;
    std::vector<std::shared_ptr<TWMenuItem>> items_;
};
