// SPDX-License-Identifier: MIT
// The running-applications list as every backend finishes it: Tidewell's own processes named by
// their registration, and each application kept in the place it had when first seen (launch
// order). `App` is a backend's application record with a grouping `key` and an `info`
// (TWRunningApplication). See also TWProcessRegistry.
#pragma once

#include "TWProcessRegistry.h"
#include "TWWorkspace.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

class TWApplicationOrder {
  public:
    // Names Tidewell's own processes (which may own no windows, or none that identify them),
    // gives every application its handle, and sorts `apps` in launch order; applications seen
    // for the first time follow in the order the backend listed them.
    template <class App> void apply(std::vector<App>& apps) {
        for (const auto& reg : TWProcessRegistry::registeredProcesses()) {
            auto same = std::find_if(apps.begin(), apps.end(), [&](const App& a) {
                return a.info.processIdentifier == reg.pid;
            });
            if (same == apps.end()) {
                App app;
                app.key = "r" + std::to_string(reg.pid);
                app.info.processIdentifier = reg.pid;
                apps.push_back(std::move(app));
                same = apps.end() - 1;
            }
            same->info.bundleIdentifier = reg.bundleIdentifier;
            same->info.localizedName = reg.name;
            same->info.activationPolicy = reg.activationPolicy;
        }
        std::set<std::string> live;
        for (auto& app : apps) {
            auto it = sequence_.find(app.key);
            if (it == sequence_.end())
                it = sequence_.emplace(app.key, next_++).first;
            app.info.handle = it->second;
            live.insert(app.key);
        }
        for (auto it = sequence_.begin(); it != sequence_.end();)
            it = live.count(it->first) ? std::next(it) : sequence_.erase(it);
        std::stable_sort(apps.begin(), apps.end(),
                         [](const App& a, const App& b) { return a.info.handle < b.info.handle; });
    }

    // The application with `handle` in `apps`, looked for again in the list `refresh()` makes
    // when the one at hand has none; nullptr when neither has.
    template <class App, class Refresh>
    static App* find(std::vector<App>& apps, std::uint64_t handle, Refresh&& refresh) {
        auto in = [&]() -> App* {
            for (auto& app : apps)
                if (app.info.handle == handle)
                    return &app;
            return nullptr;
        };
        if (auto* app = in())
            return app;
        refresh();
        return in();
    }

    // What the actions see of each application.
    template <class App>
    static std::vector<TWRunningApplication> infos(const std::vector<App>& apps) {
        std::vector<TWRunningApplication> out;
        out.reserve(apps.size());
        for (const auto& app : apps)
            out.push_back(app.info);
        return out;
    }

  private:
    std::map<std::string, std::uint64_t> sequence_; // grouping key -> handle
    std::uint64_t next_ = 1;
};
