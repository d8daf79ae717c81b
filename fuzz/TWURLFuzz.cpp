// SPDX-License-Identifier: MIT
// URLs and the application's URL handler: any string parses or is refused; a parsed URL keeps
// its text; the handler shows the preferences for x-tidewell-action:[/...]preferences[/...]
// only, and does nothing else for any URL.
#include "TWCommon.h"
#include "TWLog.h"
#include "TWSimDefaultsStore.h"
#include "TWSimDesktop.h"
#include "TWURL.h"
#include "TWUserDefaults.h"
#include "TidewellAppDelegate.h"

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

namespace {

struct Application {
    TWSimDesktop desktop;
    TWUserDefaults standard{std::make_shared<TWSimDefaultsStore>()};
    TWUserDefaults shared{std::make_shared<TWSimDefaultsStore>()};
    std::function<void(const std::string&)> urlHandler;
    int preferencesShown = 0;
    int otherServicesUsed = 0;
    std::unique_ptr<TidewellAppDelegate> delegate;

    Application() {
        TidewellAppServices services;
        services.desktop = &desktop;
        services.standardDefaults = &standard;
        services.sharedDefaults = &shared;
        services.bundleName = "Tidewell";
        services.registerURLHandler = [this](std::function<void(const std::string&)> handler) {
            urlHandler = std::move(handler);
        };
        services.displayPreferences = [this] { ++preferencesShown; };
        services.checkForUpdate = [this](auto) { ++otherServicesUsed; };
        services.setApplicationIconImage = [this](auto&) { ++otherServicesUsed; };
        services.terminate = [this] { ++otherServicesUsed; };
        services.runAfter = [this](auto, auto) { ++otherServicesUsed; };
        delegate = std::make_unique<TidewellAppDelegate>(std::move(services));
    }
};

bool asksForPreferences(const std::string& text) {
    const std::string scheme = "x-tidewell-action:";
    if (text.rfind(scheme, 0) != 0)
        return false;
    std::string rest = text.substr(scheme.size());
    const auto first = rest.find_first_not_of('/');
    if (first == std::string::npos)
        return false;
    const auto last = rest.find_last_not_of('/');
    return rest.substr(first, last - first + 1) == "preferences";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = (TWSetLogSink([](const std::string&) {}), true);
    (void)quiet;
    static Application app;
    const std::string text(reinterpret_cast<const char*>(data), size);

    const std::optional<TWURL> url = TWURL::URLWithString(text);
    if (url && url->absoluteString() != text)
        std::abort();
    if (url && url->port() && (*url->port() < 0))
        std::abort();

    const int before = app.preferencesShown;
    app.urlHandler(text);
    const bool shown = app.preferencesShown != before;
    if (shown != (url.has_value() && asksForPreferences(text)) || app.otherServicesUsed != 0)
        std::abort();
    return 0;
}
