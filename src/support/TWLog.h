// Diagnostics to the system log. Lines begin with the class name and a colon.
#pragma once

#include <functional>
#include <string>
#include <string_view>

// Writes one line to the system log (and to the sink, when one is set).
void TWLog(std::string_view line);

// Replaces the sink that receives every logged line as well (tests capture with it);
// an empty function removes it. Returns the previous sink.
std::function<void(const std::string&)> TWSetLogSink(std::function<void(const std::string&)> sink);
