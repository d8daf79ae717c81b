// SPDX-License-Identifier: MIT
// Diagnostics to the system log. Lines begin with the class name and a colon.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <syslog.h> // the priorities: LOG_ERR, LOG_WARNING, LOG_NOTICE, LOG_INFO

// Writes "<logClass>: <message>" to the system log at `priority` (a syslog priority: LOG_ERR or
// LOG_WARNING for a failure the user should know about, LOG_NOTICE or LOG_INFO for ordinary
// events), and to the sink, when one is set. Each file names its class once, as
// `constexpr const char* kLogClass = "TWSomething";`, and passes that.
void TWLog(int priority, std::string_view logClass, std::string_view message);

// Replaces the sink that receives every logged line as well (tests capture with it);
// an empty function removes it. Returns the previous sink.
std::function<void(const std::string&)> TWSetLogSink(std::function<void(const std::string&)> sink);
