// SPDX-License-Identifier: MIT
// The file manager's scripting objects over a backend's window operations: every fetch and
// count asks the backend afresh; a window object keeps only the backend's name for its window.
#include "TWScriptingAdapter.h"

#include "TWLog.h"

#include <algorithm>
#include <utility>

namespace {
constexpr const char* kLogClass = "TWScriptingAdapter";
constexpr const char* kFinderWindowClass = "Finder window";
} // namespace

// What one scripting object and everything fetched through it share.
struct TWScriptingSession {
    std::unique_ptr<TWFileManagerWindows> windows;
    TWScriptingAdapter::Trace trace;

    void note(const std::string& request) const {
        if (trace)
            trace(request);
    }
};

namespace {

class WindowArray : public TWScriptingWindowArray {
  public:
    explicit WindowArray(std::shared_ptr<TWScriptingSession> session)
        : session_(std::move(session)) {}

    std::size_t count() override {
        session_->note("count");
        return session_->windows->windows().size();
    }
    std::shared_ptr<TWScriptingWindow> firstObject() override {
        session_->note("firstObject");
        const auto windows = session_->windows->windows();
        if (windows.empty())
            return nullptr;
        return std::make_shared<TWScriptingAdapterWindow>(session_, windows.front());
    }
    void addObject(const std::shared_ptr<TWScriptingWindow>& window) override {
        session_->note("addObject");
        auto* ours = dynamic_cast<TWScriptingAdapterWindow*>(window.get());
        if (!ours || !ours->add(session_))
            TWLog(LOG_WARNING, kLogClass, "only a new window object can be added; ignored");
    }

  private:
    std::shared_ptr<TWScriptingSession> session_;
};

class ScriptedFileManager : public TWScriptedFileManager {
  public:
    explicit ScriptedFileManager(std::shared_ptr<TWScriptingSession> session)
        : session_(std::move(session)) {}

    std::shared_ptr<TWScriptingWindowArray> FinderWindows() override {
        session_->note("FinderWindows");
        return std::make_shared<WindowArray>(session_);
    }
    std::shared_ptr<TWScriptingWindow> newObjectOfScriptingClass(const std::string& name) override {
        session_->note("new object " + name);
        if (name != kFinderWindowClass)
            return nullptr;
        return std::make_shared<TWScriptingAdapterWindow>(session_);
    }
    std::string newWindowTarget() override {
        session_->note("newWindowTarget");
        return session_->windows->newWindowLocation();
    }

  private:
    std::shared_ptr<TWScriptingSession> session_;
};

} // namespace

std::vector<TWFileManagerWindows::WindowId> TWFrontToBack(std::vector<TWListedWindow> windows) {
    std::stable_sort(windows.begin(), windows.end(),
                     [](const TWListedWindow& a, const TWListedWindow& b) {
                         if (a.minimized != b.minimized)
                             return !a.minimized;
                         return a.stackingIndex > b.stackingIndex;
                     });
    std::vector<TWFileManagerWindows::WindowId> ids;
    ids.reserve(windows.size());
    for (const auto& w : windows)
        ids.push_back(w.id);
    return ids;
}

TWScriptingAdapter::TWScriptingAdapter(Open open, Trace trace)
    : open_(std::move(open)), trace_(std::move(trace)) {}

std::unique_ptr<TWScriptedFileManager>
TWScriptingAdapter::applicationWithBundleIdentifier(const std::string& bundleIdentifier) {
    if (trace_)
        trace_("scripting " + bundleIdentifier);
    auto windows = open_(bundleIdentifier);
    if (!windows)
        return nullptr;
    return std::make_unique<ScriptedFileManager>(
        std::make_shared<TWScriptingSession>(TWScriptingSession{std::move(windows), trace_}));
}

TWScriptingAdapterWindow::TWScriptingAdapterWindow(std::shared_ptr<TWScriptingSession> session,
                                                   WindowId window)
    : session_(std::move(session)), window_(window) {}

TWScriptingAdapterWindow::TWScriptingAdapterWindow(std::shared_ptr<TWScriptingSession> session)
    : session_(std::move(session)) {}

void TWScriptingAdapterWindow::setCollapsed(bool collapsed) {
    // A new object names no window, not even once it was added: the backend tells no name for
    // the window it opens.
    if (isNew())
        session_->note(collapsed ? "collapse <new>" : "expand <new>");
    else
        session_->windows->setCollapsed(window_, collapsed);
}

void TWScriptingAdapterWindow::close() {
    if (isNew())
        session_->note("close <new>");
    else
        session_->windows->close(window_);
}

void TWScriptingAdapterWindow::setTarget(const std::string& location) {
    session_->note("setTarget " + location);
    if (isNew() && !added_) {
        // Not a window yet: it opens where the file manager's own preferences say.
        TWLog(LOG_INFO, kLogClass,
              "a new window opens on the file manager's own location; " + location + " ignored");
        return;
    }
    if (location != session_->windows->newWindowLocation())
        TWLog(LOG_WARNING, kLogClass, "an open window cannot be sent to " + location + "; ignored");
}

bool TWScriptingAdapterWindow::add(const std::shared_ptr<TWScriptingSession>& session) {
    if (!isNew() || added_)
        return false;
    added_ = true;
    session_ = session;
    session_->windows->openWindow();
    return true;
}
