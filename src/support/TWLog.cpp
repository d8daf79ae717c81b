// SPDX-License-Identifier: MIT
// Diagnostics to the system log. Lines begin with the class name and a colon.
#include "TWLog.h"

#include <mutex>

namespace {
std::mutex sinkMutex;
std::function<void(const std::string&)>& sinkSlot() {
    static std::function<void(const std::string&)> sink;
    return sink;
}

void writeLine(int priority, const std::string& text) {
    static std::once_flag opened;
    std::call_once(opened, [] { openlog("tidewell", LOG_PID, LOG_USER); });
    syslog(priority, "%s", text.c_str());
    std::function<void(const std::string&)> sink;
    {
        std::lock_guard lock(sinkMutex);
        sink = sinkSlot();
    }
    if (sink)
        sink(text);
}
} // namespace

void TWLog(int priority, std::string_view logClass, std::string_view message) {
    std::string text;
    text.reserve(logClass.size() + 2 + message.size());
    text.append(logClass).append(": ").append(message);
    writeLine(priority, text);
}

std::function<void(const std::string&)> TWSetLogSink(std::function<void(const std::string&)> sink) {
    std::lock_guard lock(sinkMutex);
    auto previous = std::move(sinkSlot());
    sinkSlot() = std::move(sink);
    return previous;
}
