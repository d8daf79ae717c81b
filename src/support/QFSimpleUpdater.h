// SPDX-License-Identifier: MIT
// The update check: one HTTPS POST to the update server, answered with a result object that
// is handed to a completion handler on the main thread.
#pragma once

#include "TWError.h"
#include "TWHTTPTransport.h"
#include "TWMainQueue.h"
#include "TWProduct.h"
#include "TWPropertyList.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

// The domain and code of every update-check result.
inline constexpr const char QFSimpleUpdaterErrorDomain[] = "net.quillfen.updater";
inline constexpr long QFSimpleUpdaterErrorCode = -1;

// What an update check needs from the rest of the application.
struct TWUpdaterServices {
    std::shared_ptr<TWHTTPTransport> transport;
    std::shared_ptr<TWMainQueue> mainQueue;
    std::optional<std::string> bundleName = std::string(TWBundleName);
    std::optional<std::string> shortVersion = std::string(TWShortVersion);
    // The running system's version string; nothing (or no function) when unknown.
    std::function<std::optional<std::string>()> systemVersionString;
    std::string endpoint = TWUpdateEndpoint;
};

class QFSimpleUpdater : public std::enable_shared_from_this<QFSimpleUpdater> {
  public:
    using CompletionHandler = std::function<void(const TWError&)>;

    // Sets the services that updaters created from now on use.
    static void configure(TWUpdaterServices services);
    // Creates an updater with `handler`, starts it and keeps no reference: the check keeps
    // itself alive until the handler has returned.
    static void checkForUpdateWithCompletionHandler(CompletionHandler handler);

    // An updater that will call `handler` once, on the main thread, with the result; uses the
    // services set by configure().
    explicit QFSimpleUpdater(CompletionHandler handler);
    // The same with its own services.
    QFSimpleUpdater(CompletionHandler handler, TWUpdaterServices services);

    // Gathers name, version and system version on the calling thread, then sends the request
    // from a new detached thread and returns at once.
    void start();
    // Sends the request for `args` ("name", "version", "os_version"); run on the worker thread.
    void checkForUpdateWithArgs(TWPlistDictionary args);

    // The request values as start() gathers them: name, version, os_version, in that order,
    // the first missing one ending the list.
    static TWPlistDictionary argumentsWithValues(const std::optional<std::string>& name,
                                                 const std::optional<std::string>& version,
                                                 const std::optional<std::string>& osVersion);
    // The POST body for `args`: "app=..&version=..&os_version=.." with spaces as "_" and
    // "(null)" for a missing value.
    static std::string requestBody(const TWPlistDictionary& args);
    // The result for the server's answer `data` (nothing on a transport failure).
    static TWError resultForResponse(const std::optional<std::string>& data,
                                     const std::optional<std::string>& name,
                                     const std::string& endpoint);

  private:
    std::shared_ptr<QFSimpleUpdater> retainSelf();
    void handleResponse(const std::optional<std::string>& data, const TWPlistDictionary& args);

    CompletionHandler completionHandler_;
    TWUpdaterServices services_;
};
