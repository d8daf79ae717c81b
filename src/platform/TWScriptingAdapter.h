// SPDX-License-Identifier: MIT
// The scripting terms of the file manager's windows (TWScriptingBridge), served for every
// backend over the few operations of TWFileManagerWindows.
#pragma once

#include "TWFileManagerWindows.h"
#include "TWScriptingBridge.h"

#include <functional>
#include <memory>
#include <string>

struct TWScriptingSession;

class TWScriptingAdapter : public TWScriptingBridge {
  public:
    // The windows of the application with this identifier, for one scripting object; null when
    // the backend cannot script it.
    using Open = std::function<std::unique_ptr<TWFileManagerWindows>(const std::string&)>;
    // Told of each scripting request before it is carried out: "scripting <identifier>",
    // "FinderWindows", "count", "firstObject", "new object <class>", "addObject",
    // "newWindowTarget", "setTarget <location>"; a window request to a new object, which
    // reaches no window, as "collapse <new>", "expand <new>" or "close <new>".
    using Trace = std::function<void(const std::string&)>;

    explicit TWScriptingAdapter(Open open, Trace trace = {});
    std::unique_ptr<TWScriptedFileManager>
    applicationWithBundleIdentifier(const std::string& bundleIdentifier) override;

  private:
    Open open_;
    Trace trace_;
};

// A file-manager window as a scripting object: a listed window, or a new object that opens a
// window when it is added to a window array.
class TWScriptingAdapterWindow : public TWScriptingWindow {
  public:
    using WindowId = TWFileManagerWindows::WindowId;
    TWScriptingAdapterWindow(std::shared_ptr<TWScriptingSession> session, WindowId window);
    explicit TWScriptingAdapterWindow(std::shared_ptr<TWScriptingSession> session);

    void setCollapsed(bool collapsed) override;
    void close() override;
    // A window shows the location it was opened on: only the file manager's own choice for new
    // windows is accepted (and needs nothing); another location is logged and ignored.
    void setTarget(const std::string& location) override;

    // The listed window this object names; 0 for a new object.
    WindowId window() const { return window_; }
    bool isNew() const { return window_ == 0; }
    // Opens the window of a new object in `session`'s file manager; false when the object is not
    // new or was added before.
    bool add(const std::shared_ptr<TWScriptingSession>& session);

  private:
    std::shared_ptr<TWScriptingSession> session_;
    WindowId window_ = 0;
    bool added_ = false;
};
