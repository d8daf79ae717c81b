// SPDX-License-Identifier: MIT
// A real desktop with one hook: something that happens right after the running list is taken
// (a client killed mid-action, say).
#pragma once

#include "TWDesktop.h"

#include <functional>
#include <utility>

template <class Real> class TWInterruptedDesktop : public TWDesktop, public TWWorkspace {
  public:
    explicit TWInterruptedDesktop(Real& real) : real_(real) {}
    std::function<void()> afterListing;
    TWWorkspace& workspace() override { return *this; }
    TWScriptingBridge& scriptingBridge() override { return real_.scriptingBridge(); }
    TWFrontSwitchSource& frontSwitchSource() override { return real_.frontSwitchSource(); }
    TWKeyboard& keyboard() override { return real_.keyboard(); }
    TWAppleEventSender& appleEventSender() override { return real_.appleEventSender(); }
    TWSystemSound& systemSound() override { return real_.systemSound(); }
    std::vector<TWRunningApplication> runningApplications() override {
        auto list = real_.workspace().runningApplications();
        if (afterListing)
            std::exchange(afterListing, nullptr)();
        return list;
    }
    void hide(const TWRunningApplication& a) override { real_.workspace().hide(a); }
    void unhide(const TWRunningApplication& a) override { real_.workspace().unhide(a); }
    void activateWithOptions(const TWRunningApplication& a, unsigned o) override {
        real_.workspace().activateWithOptions(a, o);
    }
    void flush() override { real_.workspace().flush(); }
    bool openURL(const std::string& url) override { return real_.workspace().openURL(url); }
    std::string fileManagerBundleIdentifier() override {
        return real_.workspace().fileManagerBundleIdentifier();
    }

  private:
    Real& real_;
};
