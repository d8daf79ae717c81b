// SPDX-License-Identifier: MIT
// What the KWin and GNOME Shell drivers share: weston's clients, the record of hidden windows.
#pragma once

#include "TWCompositorWorkspace.h"
#include "TWScenarios.h"

#include <filesystem>

template <class Desktop> class TWCompositorDriver : public TWSessionDriver {
  public:
    explicit TWCompositorDriver(TWTestSession& session) : TWSessionDriver(session) {
        if (!session.ok())
            error_ = session.error();
        else
            session.writeDesktopEntry(flower().identifier,
                                      std::string("[Desktop Entry]\nType=Application\nName=") +
                                          kFlowerName + "\nExec=weston-flower\n");
    }
    TWDesktop& desktop() override { return *desktop_; }
    void sync() override { desktop_->connection().sync(); }
    TWDriverProgram terminal() const override {
        return {{"weston-terminal"}, "org.freedesktop.weston.wayland-terminal"};
    }
    TWDriverProgram flower() const override {
        return {{"weston-flower"}, "org.freedesktop.weston.flower"};
    }
    // The file read as one more mark when it outlives the last.
    std::set<std::string> marks() override {
        std::set<std::string> marks;
        for (const auto& [window, mark] : record().read())
            marks.insert(window);
        if (marks.empty() && std::filesystem::exists(record().path()))
            marks.insert(record().path());
        return marks;
    }
    void markAsAnotherProcess(const std::string& window) override {
        ASSERT_TRUE(record().update([&](TWHiddenMarks& marks) {
            marks[window] = TWHiddenMark{0, TWHiddenRecord::now(), false};
        }));
    }
    // Off the session bus, the file manager cannot hand the start to its first process.
    TWDriverProgram secondFileManager() const override {
        TWDriverProgram second = fileManager();
        second.argv.insert(second.argv.begin(),
                           {"env", "DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent"});
        return second;
    }
    std::string lacks(TWDriverFeature feature) const override {
        const bool can = feature == TWDriverFeature::LateMinimize ||
                         (feature == TWDriverFeature::Outputs && testSession_.outputs() > 1);
        return can ? std::string() : TWDesktopDriver::lacks(feature);
    }

  protected:
    const TWHiddenRecord& record() {
        return static_cast<TWCompositorWorkspace&>(desktop_->workspace()).record();
    }
    std::string error_;
    std::unique_ptr<Desktop> desktop_;
};
