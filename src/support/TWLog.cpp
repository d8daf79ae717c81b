// Diagnostics to the system log. Lines begin with the class name and a colon.
#include "TWLog.h"

#include <mutex>
#include <syslog.h>

namespace {
std::mutex sinkMutex;
std::function<void(const std::string&)>& sinkSlot() {
    static std::function<void(const std::string&)> sink;
    return sink;
}
} // namespace

void TWLog(std::string_view line) {
    std::string text(line);
    static std::once_flag opened;
    std::call_once(opened, [] { openlog("tidewell", LOG_PID, LOG_USER); });
    syslog(LOG_NOTICE, "%s", text.c_str());
    std::function<void(const std::string&)> sink;
    {
        std::lock_guard lock(sinkMutex);
        sink = sinkSlot();
    }
    if (sink)
        sink(text);
}

std::function<void(const std::string&)> TWSetLogSink(std::function<void(const std::string&)> sink) {
    std::lock_guard lock(sinkMutex);
    auto previous = std::move(sinkSlot());
    sinkSlot() = std::move(sink);
    return previous;
}
