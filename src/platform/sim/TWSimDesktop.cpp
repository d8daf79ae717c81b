// SPDX-License-Identifier: MIT
// A desktop kept in memory: applications, a file manager with windows, keyboard, URL opening
// and Apple events, scriptable by tests and demos, recording every request in order.
#include "TWSimDesktop.h"

#include <algorithm>
#include <cctype>

namespace {
std::string fourCharString(std::uint32_t code) {
    std::string s(4, ' ');
    for (int i = 0; i < 4; ++i) {
        auto c = static_cast<unsigned char>((code >> (24 - 8 * i)) & 0xFF);
        s[static_cast<std::size_t>(i)] = std::isprint(c) ? static_cast<char>(c) : '?';
    }
    return s;
}
} // namespace

// The file manager's windows for one scripting object. Those of an application that is not the
// file manager are always none.
class TWSimDesktop::FileManagerWindows : public TWFileManagerWindows {
  public:
    FileManagerWindows(TWSimDesktop& desktop, bool isFileManager)
        : desktop_(desktop), isFileManager_(isFileManager) {}

    std::vector<WindowId> windows() override {
        return isFileManager_ ? desktop_.windowIds() : std::vector<WindowId>();
    }
    void setCollapsed(WindowId window, bool collapsed) override {
        desktop_.setWindowCollapsed(window, collapsed);
    }
    void close(WindowId window) override { desktop_.closeWindow(window); }
    void openWindow() override {
        if (isFileManager_)
            desktop_.insertNewWindow();
    }
    std::string newWindowLocation() override { return desktop_.newWindowTarget(); }

  private:
    TWSimDesktop& desktop_;
    bool isFileManager_;
};

TWSimDesktop::TWSimDesktop()
    : scripting_(
          [this](const std::string& bundleIdentifier) {
              std::lock_guard lock(mutex_);
              return std::make_unique<FileManagerWindows>(*this,
                                                          bundleIdentifier == fileManagerId_);
          },
          [this](const std::string& request) { recordScripting(request); }) {}

TWSimDesktop::~TWSimDesktop() = default;

void TWSimDesktop::record(std::string entry) {
    if (logEnabled_)
        log_.push_back(std::move(entry));
}

void TWSimDesktop::recordScripting(std::string entry) {
    std::lock_guard lock(mutex_);
    record(std::move(entry));
}

// ---------------------------------------------------------------- scripting the desktop

std::uint64_t TWSimDesktop::launchApplication(std::optional<std::string> bundleIdentifier,
                                              std::string name, int activationPolicy, int pid) {
    std::lock_guard lock(mutex_);
    TWRunningApplication app;
    app.handle = nextHandle_++;
    app.bundleIdentifier = std::move(bundleIdentifier);
    app.activationPolicy = activationPolicy;
    app.localizedName = std::move(name);
    app.processIdentifier = pid >= 0 ? pid : static_cast<int>(1000 + app.handle);
    indexOf_.emplace(app.handle, apps_.size());
    apps_.push_back(std::move(app));
    return apps_.back().handle;
}

bool TWSimDesktop::quitApplication(std::uint64_t handle) {
    std::lock_guard lock(mutex_);
    auto it = indexOf_.find(handle);
    if (it == indexOf_.end())
        return false;
    std::size_t pos = it->second;
    indexOf_.erase(it);
    apps_.erase(apps_.begin() + static_cast<std::ptrdiff_t>(pos));
    for (std::size_t i = pos; i < apps_.size(); ++i)
        indexOf_[apps_[i].handle] = i;
    if (activeHandle_ == handle)
        activeHandle_ = 0;
    return true;
}

void TWSimDesktop::activateLocked(std::uint64_t handle, bool& switched) {
    switched = false;
    auto it = indexOf_.find(handle);
    if (it == indexOf_.end())
        return;
    TWRunningApplication& app = apps_[it->second];
    app.hidden = false;
    if (activeHandle_ == handle)
        return;
    if (auto prev = indexOf_.find(activeHandle_); prev != indexOf_.end())
        apps_[prev->second].active = false;
    app.active = true;
    activeHandle_ = handle;
    switched = true;
}

void TWSimDesktop::runFrontSwitchHandlers() {
    std::vector<std::function<void()>> handlers;
    {
        std::lock_guard lock(mutex_);
        handlers = frontSwitchHandlers_;
    }
    // Outside the lock: handlers read the workspace.
    for (auto& handler : handlers)
        handler();
}

void TWSimDesktop::makeActive(std::uint64_t handle) {
    bool switched = false;
    {
        std::lock_guard lock(mutex_);
        activateLocked(handle, switched);
    }
    if (switched)
        runFrontSwitchHandlers();
}

void TWSimDesktop::setHidden(std::uint64_t handle, bool hidden) {
    std::lock_guard lock(mutex_);
    if (auto it = indexOf_.find(handle); it != indexOf_.end())
        apps_[it->second].hidden = hidden;
}

std::optional<TWRunningApplication> TWSimDesktop::application(std::uint64_t handle) const {
    std::lock_guard lock(mutex_);
    auto it = indexOf_.find(handle);
    if (it == indexOf_.end())
        return std::nullopt;
    return apps_[it->second];
}

std::optional<TWRunningApplication>
TWSimDesktop::applicationWithIdentifier(const std::string& id) const {
    std::lock_guard lock(mutex_);
    for (const auto& app : apps_)
        if (app.bundleIdentifier == id)
            return app;
    return std::nullopt;
}

std::uint64_t TWSimDesktop::addFileManagerWindow(std::string name, bool collapsed, int refusals) {
    std::lock_guard lock(mutex_);
    TWSimWindow window{nextWindowId_++, std::move(name), collapsed, refusals, newWindowTarget_};
    if (collapsed) {
        windows_.push_back(std::move(window));
    } else {
        auto firstCollapsed = std::find_if(windows_.begin(), windows_.end(),
                                           [](const TWSimWindow& w) { return w.collapsed; });
        windows_.insert(firstCollapsed, std::move(window));
    }
    return nextWindowId_ - 1;
}

void TWSimDesktop::addFileManagerWindows(int count) {
    for (int i = 1; i <= count; ++i)
        addFileManagerWindow("window " + std::to_string(i));
}

std::vector<TWSimWindow> TWSimDesktop::fileManagerWindows() const {
    std::lock_guard lock(mutex_);
    return windows_;
}

void TWSimDesktop::setFileManagerBundleIdentifier(std::string identifier) {
    std::lock_guard lock(mutex_);
    fileManagerId_ = std::move(identifier);
}

void TWSimDesktop::setNewWindowTarget(std::string location) {
    std::lock_guard lock(mutex_);
    newWindowTarget_ = std::move(location);
}

void TWSimDesktop::setKeyModifiers(std::uint32_t modifiers) {
    std::lock_guard lock(mutex_);
    modifiers_ = modifiers;
}

void TWSimDesktop::setOpenURLResult(bool result) {
    std::lock_guard lock(mutex_);
    openURLResult_ = result;
}

// ---------------------------------------------------------------- observing

std::vector<std::string> TWSimDesktop::log() const {
    std::lock_guard lock(mutex_);
    return log_;
}

void TWSimDesktop::clearLog() {
    std::lock_guard lock(mutex_);
    log_.clear();
}

void TWSimDesktop::setLogEnabled(bool enabled) {
    std::lock_guard lock(mutex_);
    logEnabled_ = enabled;
}

int TWSimDesktop::flushCount() const {
    std::lock_guard lock(mutex_);
    return flushes_;
}

std::vector<TWAppleEvent> TWSimDesktop::sentAppleEvents() const {
    std::lock_guard lock(mutex_);
    return appleEvents_;
}

std::vector<std::string> TWSimDesktop::openedURLs() const {
    std::lock_guard lock(mutex_);
    return openedURLs_;
}

// ---------------------------------------------------------------- workspace

std::vector<TWRunningApplication> TWSimDesktop::runningApplications() {
    std::lock_guard lock(mutex_);
    record("runningApplications");
    return apps_;
}

void TWSimDesktop::hide(const TWRunningApplication& app) {
    std::lock_guard lock(mutex_);
    if (logEnabled_)
        record("hide " + app.localizedName);
    auto it = indexOf_.find(app.handle);
    if (it == indexOf_.end())
        return; // quit since the list was fetched: the request goes nowhere
    TWRunningApplication& live = apps_[it->second];
    live.hidden = true;
    // A hidden application cannot stay in front; nothing else is brought forward in its place.
    if (live.active) {
        live.active = false;
        activeHandle_ = 0;
    }
}

void TWSimDesktop::unhide(const TWRunningApplication& app) {
    std::lock_guard lock(mutex_);
    if (logEnabled_)
        record("unhide " + app.localizedName);
    if (auto it = indexOf_.find(app.handle); it != indexOf_.end())
        apps_[it->second].hidden = false;
}

void TWSimDesktop::activateWithOptions(const TWRunningApplication& app, unsigned options) {
    bool switched = false;
    {
        std::lock_guard lock(mutex_);
        if (logEnabled_)
            record("activate " + app.localizedName + " " + std::to_string(options));
        activateLocked(app.handle, switched);
    }
    if (switched)
        runFrontSwitchHandlers();
}

void TWSimDesktop::flush() {
    std::lock_guard lock(mutex_);
    ++flushes_;
}

bool TWSimDesktop::openURL(const std::string& url) {
    std::lock_guard lock(mutex_);
    record("openURL " + url);
    openedURLs_.push_back(url);
    return openURLResult_;
}

std::string TWSimDesktop::fileManagerBundleIdentifier() {
    std::lock_guard lock(mutex_);
    return fileManagerId_;
}

// ---------------------------------------------------------------- file-manager scripting

std::unique_ptr<TWScriptedFileManager>
TWSimDesktop::applicationWithBundleIdentifier(const std::string& bundleIdentifier) {
    return scripting_.applicationWithBundleIdentifier(bundleIdentifier);
}

std::size_t TWSimDesktop::windowIndexLocked(std::uint64_t id) const {
    for (std::size_t i = 0; i < windows_.size(); ++i)
        if (windows_[i].id == id)
            return i;
    return windows_.size();
}

std::vector<std::uint64_t> TWSimDesktop::windowIds() {
    std::lock_guard lock(mutex_);
    std::vector<std::uint64_t> ids;
    ids.reserve(windows_.size());
    for (const auto& w : windows_)
        ids.push_back(w.id);
    return ids;
}

void TWSimDesktop::setWindowCollapsed(std::uint64_t id, bool collapsed) {
    std::lock_guard lock(mutex_);
    std::size_t i = windowIndexLocked(id);
    record((collapsed ? "collapse " : "expand ") +
           (i < windows_.size() ? windows_[i].name : std::string("<gone>")));
    if (i == windows_.size() || windows_[i].collapsed == collapsed)
        return;
    TWSimWindow window = std::move(windows_[i]);
    windows_.erase(windows_.begin() + static_cast<std::ptrdiff_t>(i));
    window.collapsed = collapsed;
    // Minimized windows go to the end of the window list; a restored one comes to the front.
    if (collapsed)
        windows_.push_back(std::move(window));
    else
        windows_.insert(windows_.begin(), std::move(window));
}

void TWSimDesktop::closeWindow(std::uint64_t id) {
    std::lock_guard lock(mutex_);
    std::size_t i = windowIndexLocked(id);
    record("close " + (i < windows_.size() ? windows_[i].name : std::string("<gone>")));
    if (i == windows_.size())
        return;
    if (windows_[i].refusalsLeft > 0) {
        --windows_[i].refusalsLeft;
        return;
    }
    windows_.erase(windows_.begin() + static_cast<std::ptrdiff_t>(i));
}

void TWSimDesktop::insertNewWindow() {
    std::lock_guard lock(mutex_);
    // A new window shows the location the file manager's preferences choose.
    const std::uint64_t id = nextWindowId_++;
    windows_.insert(windows_.begin(), TWSimWindow{id, "new window " + std::to_string(id), false, 0,
                                                  newWindowTarget_});
}

std::string TWSimDesktop::newWindowTarget() const {
    std::lock_guard lock(mutex_);
    return newWindowTarget_;
}

// ---------------------------------------------------------------- the rest

void TWSimDesktop::installFrontSwitchHandler(std::function<void()> handler) {
    std::lock_guard lock(mutex_);
    frontSwitchHandlers_.push_back(std::move(handler));
}

std::uint32_t TWSimDesktop::currentKeyModifiers() {
    std::lock_guard lock(mutex_);
    return modifiers_;
}

void TWSimDesktop::send(const TWAppleEvent& event) {
    std::lock_guard lock(mutex_);
    std::uint32_t creator = (std::uint32_t(event.targetData[0]) << 24) |
                            (std::uint32_t(event.targetData[1]) << 16) |
                            (std::uint32_t(event.targetData[2]) << 8) | event.targetData[3];
    record("appleEvent " + fourCharString(event.eventClass) + "/" + fourCharString(event.eventID) +
           " " + fourCharString(event.targetDescriptorType) + ":" + fourCharString(creator));
    appleEvents_.push_back(event);
}

void TWSimDesktop::beep() {
    std::lock_guard lock(mutex_);
    record("beep");
}
