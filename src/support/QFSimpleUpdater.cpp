// SPDX-License-Identifier: MIT
// The update check: gathers the request values, posts them from a worker thread and turns the
// server's answer into a result for the completion handler on the main thread.
#include "QFSimpleUpdater.h"

#include "TWFormat.h"
#include "TWLocalizedString.h"
#include "TWLog.h"
#include "TWURL.h"

#include <algorithm>
#include <cctype>
#include <mutex>
#include <thread>
#include <utility>

constexpr const char* kLogClass = "QFSimpleUpdater";

namespace {

std::mutex& servicesMutex() {
    static std::mutex mutex;
    return mutex;
}

TWUpdaterServices& configuredServices() {
    static TWUpdaterServices services;
    return services;
}

TWUpdaterServices currentServices() {
    std::lock_guard lock(servicesMutex());
    return configuredServices();
}

std::optional<std::string> stringValue(const TWPlistDictionary& dict, const std::string& key) {
    const TWPlistValue* value = TWPlistLookup(dict, key);
    const std::string* text = value ? value->get<std::string>() : nullptr;
    return text ? std::optional<std::string>(*text) : std::nullopt;
}

// Strict UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isValidUTF8(const std::string& data) {
    const auto* p = reinterpret_cast<const unsigned char*>(data.data());
    const auto* end = p + data.size();
    while (p < end) {
        unsigned char c = *p;
        if (c < 0x80) {
            ++p;
            continue;
        }
        int extra = 0;
        unsigned min = 0;
        unsigned codePoint = 0;
        if ((c & 0xE0) == 0xC0) {
            extra = 1, min = 0x80, codePoint = c & 0x1F;
        } else if ((c & 0xF0) == 0xE0) {
            extra = 2, min = 0x800, codePoint = c & 0x0F;
        } else if ((c & 0xF8) == 0xF0) {
            extra = 3, min = 0x10000, codePoint = c & 0x07;
        } else {
            return false;
        }
        if (end - p <= extra)
            return false;
        for (int i = 1; i <= extra; ++i) {
            if ((p[i] & 0xC0) != 0x80)
                return false;
            codePoint = (codePoint << 6) | (p[i] & 0x3F);
        }
        if (codePoint < min || codePoint > 0x10FFFF || (codePoint >= 0xD800 && codePoint <= 0xDFFF))
            return false;
        p += extra + 1;
    }
    return true;
}

bool equalsIgnoringCase(const std::string& a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) == y;
           });
}

} // namespace

void QFSimpleUpdater::configure(TWUpdaterServices services) {
    std::lock_guard lock(servicesMutex());
    configuredServices() = std::move(services);
}

void QFSimpleUpdater::checkForUpdateWithCompletionHandler(CompletionHandler handler) {
    std::make_shared<QFSimpleUpdater>(std::move(handler))->start();
}

QFSimpleUpdater::QFSimpleUpdater(CompletionHandler handler)
    : QFSimpleUpdater(std::move(handler), currentServices()) {}

QFSimpleUpdater::QFSimpleUpdater(CompletionHandler handler, TWUpdaterServices services)
    : completionHandler_(std::move(handler)), services_(std::move(services)) {}

std::shared_ptr<QFSimpleUpdater> QFSimpleUpdater::retainSelf() {
    // The worker thread and the network completion each hold the updater. One that nobody
    // owns through a shared pointer runs as a copy, which carries the same handler and
    // services, so the check never depends on the caller keeping its object.
    if (auto self = weak_from_this().lock())
        return self;
    return std::make_shared<QFSimpleUpdater>(*this);
}

TWPlistDictionary
QFSimpleUpdater::argumentsWithValues(const std::optional<std::string>& name,
                                     const std::optional<std::string>& version,
                                     const std::optional<std::string>& osVersion) {
    // The values form one list in this order; the first missing value ends it, so every later
    // value is left out as well.
    TWPlistDictionary args;
    const std::pair<const char*, const std::optional<std::string>*> entries[] = {
        {"name", &name}, {"version", &version}, {"os_version", &osVersion}};
    for (const auto& [key, value] : entries) {
        if (!*value)
            break;
        args[key] = **value;
    }
    return args;
}

std::string QFSimpleUpdater::requestBody(const TWPlistDictionary& args) {
    std::string body = TWFormat("app=%@&version=%@&os_version=%@", stringValue(args, "name"),
                                stringValue(args, "version"), stringValue(args, "os_version"));
    // The server expects underscores for spaces; nothing else is escaped.
    std::replace(body.begin(), body.end(), ' ', '_');
    return body;
}

TWError QFSimpleUpdater::resultForResponse(const std::optional<std::string>& data,
                                           const std::optional<std::string>& name,
                                           const std::string& endpoint) {
    std::optional<std::string> text;
    if (data && isValidUTF8(*data))
        text = *data;

    std::optional<TWURL> url;
    if (text && !text->empty())
        url = TWURL::URLWithString(*text);

    std::optional<TWURL> endpointURL = TWURL::URLWithString(endpoint);
    std::optional<std::string> endpointHost;
    if (endpointURL)
        endpointHost = endpointURL->host();

    TWError error{QFSimpleUpdaterErrorDomain, QFSimpleUpdaterErrorCode, {}};
    TWPlistDictionary& info = error.userInfo;
    // The link is handed to the desktop's opener: only a secure download on the update host
    // is offered, never another scheme (file:, smb:, a plain http: that anyone on the way can
    // change).
    const bool secure = url && url->scheme() && equalsIgnoringCase(*url->scheme(), "https");
    if (secure && url->host() && endpointHost && *url->host() == *endpointHost) {
        info[TWLocalizedDescriptionKey] =
            TWFormat(TWLocalizedString("There is an update to %@ available online."), name);
        // The empty suggestion is not a text, so it is not looked up.
        info[TWLocalizedRecoverySuggestionErrorKey] = std::string();
        info[TWLocalizedRecoveryOptionsErrorKey] =
            TWPlistArray{TWLocalizedString("Download"), TWLocalizedString("Cancel")};
        info[TWURLErrorKey] = url->absoluteString();
    } else if (!text) {
        info[TWLocalizedDescriptionKey] =
            TWLocalizedString("An error occurred while checking for an update.");
        info[TWLocalizedRecoverySuggestionErrorKey] =
            TWLocalizedString("Please check your internet connection and try again.");
    } else {
        info[TWLocalizedDescriptionKey] =
            TWFormat(TWLocalizedString("You have the current version of %@."), name);
        info[TWLocalizedRecoverySuggestionErrorKey] =
            TWLocalizedString("No updates are available.");
    }
    return error;
}

void QFSimpleUpdater::start() {
    std::optional<std::string> osVersion;
    if (services_.systemVersionString)
        osVersion = services_.systemVersionString();
    TWPlistDictionary args =
        argumentsWithValues(services_.bundleName, services_.shortVersion, osVersion);

    std::thread([self = retainSelf(), args = std::move(args)]() mutable {
        self->checkForUpdateWithArgs(std::move(args));
    }).detach();
}

void QFSimpleUpdater::checkForUpdateWithArgs(TWPlistDictionary args) {
    std::string body = requestBody(args);
    auto self = retainSelf();
    if (!services_.transport) {
        TWLog(LOG_ERR, kLogClass, "no network transport configured; the check fails");
        self->handleResponse(std::nullopt, args);
        return;
    }
    services_.transport->post(
        services_.endpoint, std::move(body),
        [self, args](std::optional<std::string> data) { self->handleResponse(data, args); });
}

void QFSimpleUpdater::handleResponse(const std::optional<std::string>& data,
                                     const TWPlistDictionary& args) {
    TWError error = resultForResponse(data, stringValue(args, "name"), services_.endpoint);
    if (!completionHandler_)
        return;
    if (!services_.mainQueue) {
        TWLog(LOG_WARNING, kLogClass,
              "no main queue configured; calling the handler on this thread");
        completionHandler_(error);
        return;
    }
    services_.mainQueue->dispatchSync([this, &error] { completionHandler_(error); });
}
