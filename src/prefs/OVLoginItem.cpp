// SPDX-License-Identifier: MIT
// Start at login over the session's login-item list.
#include "OVLoginItem.h"

OVLoginItem::OVLoginItem(std::string displayName, std::string path, TWLoginItemList* list)
    : path_(std::move(path)), displayName_(std::move(displayName)), list_(list) {}

std::string OVLoginItem::matchingName() const {
    std::string name = path_;
    while (name.size() > 1 && name.back() == '/')
        name.pop_back();
    const size_t slash = name.rfind('/');
    return slash == std::string::npos ? name : name.substr(slash + 1);
}

bool OVLoginItem::matches(const TWLoginItemEntry& entry, const std::string& name) const {
    if (!entry.resolvedPath)
        return false;
    const std::string& resolved = *entry.resolvedPath;
    const size_t slash = resolved.rfind('/');
    const std::string last = slash == std::string::npos ? resolved : resolved.substr(slash + 1);
    return last == name || resolved == path_;
}

std::optional<TWLoginItemEntry>
OVLoginItem::fileListItemRef(std::optional<std::string>* resolvedURL) {
    if (!list_)
        return std::nullopt;
    const std::string name = matchingName();
    for (const TWLoginItemEntry& entry : list_->snapshot()) {
        // An entry the user turned off starts nothing: it is not a login item.
        if (!entry.enabled)
            continue;
        if (resolvedURL)
            *resolvedURL = entry.resolvedPath;
        if (matches(entry, name))
            return entry;
    }
    return std::nullopt;
}

bool OVLoginItem::isLoginItem() {
    return fileListItemRef().has_value();
}

bool OVLoginItem::removeLoginItem() {
    if (!list_)
        return false;
    const std::string name = matchingName();
    bool result = false;
    for (const TWLoginItemEntry& entry : list_->snapshot())
        if (matches(entry, name))
            result = list_->remove(entry);
    return result;
}

bool OVLoginItem::installLoginItem() {
    if (!list_)
        return false;
    // An entry for this copy that the user turned off is turned on again where it is (with
    // whatever the user wrote into it) rather than joined by a second one.
    const std::string name = matchingName();
    std::optional<TWLoginItemEntry> kept;
    for (const TWLoginItemEntry& entry : list_->snapshot())
        if (!kept && !entry.enabled && entry.resolvedPath == path_ && matches(entry, name))
            kept = entry;
    for (const TWLoginItemEntry& entry : list_->snapshot())
        if (matches(entry, name) && (!kept || entry.reference != kept->reference))
            list_->remove(entry);
    return kept ? list_->enable(*kept) : list_->append(displayName_, path_);
}

bool OVLoginItem::updateLoginItemPathIfNeeded() {
    std::optional<std::string> resolved;
    if (!fileListItemRef(&resolved) || resolved == path_)
        return true;
    return removeLoginItem() && installLoginItem();
}
