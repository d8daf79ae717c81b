// SPDX-License-Identifier: MIT
// Sends HTTPS requests and hands back the answer's body on the transport's own thread.
#pragma once

#include <functional>
#include <optional>
#include <string>

class TWHTTPTransport {
  public:
    virtual ~TWHTTPTransport() = default;

    // POSTs `body` to `url`. `completion` runs later on the transport's own thread (never the
    // caller's, never the main thread), exactly once: with the response body for any HTTP
    // status, or with nothing on a transport failure (DNS, TLS, refused, time-out).
    virtual void post(const std::string& url, std::string body,
                      std::function<void(std::optional<std::string> data)> completion) = 0;
};
