// SPDX-License-Identifier: MIT
// printf-style formatting of the system's messages, with "%@" for objects (strings).
#include "TWFormat.h"

#include <cstdio>
#include <cstring>

namespace {

const TWFormatArg* argumentAt(const std::vector<TWFormatArg>& args, std::size_t index) {
    return index < args.size() ? &args[index] : nullptr;
}

std::string objectText(const TWFormatArg* arg) {
    if (!arg)
        return "(null)";
    return std::visit(
        [](const auto& v) -> std::string {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, std::nullptr_t>)
                return "(null)";
            else if constexpr (std::is_same_v<T, std::string>)
                return v;
            else if constexpr (std::is_same_v<T, const void*>) {
                if (!v)
                    return "(null)";
                char buf[32];
                std::snprintf(buf, sizeof buf, "%p", v);
                return buf;
            } else if constexpr (std::is_same_v<T, double>) {
                char buf[64];
                std::snprintf(buf, sizeof buf, "%g", v);
                return buf;
            } else
                return std::to_string(v);
        },
        *arg);
}

std::int64_t signedValue(const TWFormatArg* arg) {
    if (!arg)
        return 0;
    if (auto* i = std::get_if<std::int64_t>(arg))
        return *i;
    if (auto* u = std::get_if<std::uint64_t>(arg))
        return static_cast<std::int64_t>(*u);
    if (auto* d = std::get_if<double>(arg))
        return static_cast<std::int64_t>(*d);
    return 0;
}

double realValue(const TWFormatArg* arg) {
    if (!arg)
        return 0;
    if (auto* d = std::get_if<double>(arg))
        return *d;
    if (auto* i = std::get_if<std::int64_t>(arg))
        return static_cast<double>(*i);
    if (auto* u = std::get_if<std::uint64_t>(arg))
        return static_cast<double>(*u);
    return 0;
}

// Applies width and the '-' flag to an already converted text.
std::string pad(std::string text, const std::string& flags, int width) {
    if (width > 0 && static_cast<int>(text.size()) < width) {
        std::string fill(static_cast<std::size_t>(width) - text.size(), ' ');
        text = flags.find('-') != std::string::npos ? text + fill : fill + text;
    }
    return text;
}

} // namespace

std::string TWFormatArgs(std::string_view format, const std::vector<TWFormatArg>& args) {
    std::string out;
    out.reserve(format.size() + 16);
    std::size_t nextArg = 0;
    std::size_t i = 0;
    while (i < format.size()) {
        char c = format[i];
        if (c != '%') {
            out += c;
            ++i;
            continue;
        }
        std::size_t start = i++;
        if (i < format.size() && format[i] == '%') {
            out += '%';
            ++i;
            continue;
        }
        // Positional argument "%n$".
        std::size_t argIndex = nextArg;
        bool positional = false;
        {
            std::size_t j = i;
            std::size_t n = 0;
            while (j < format.size() && format[j] >= '0' && format[j] <= '9')
                n = n * 10 + static_cast<std::size_t>(format[j++] - '0');
            if (j > i && j < format.size() && format[j] == '$' && n > 0) {
                argIndex = n - 1;
                positional = true;
                i = j + 1;
            }
        }
        std::string flags;
        while (i < format.size() && std::strchr("-+ #0'", format[i]))
            flags += format[i++];
        int width = 0;
        std::string widthText;
        while (i < format.size() && format[i] >= '0' && format[i] <= '9') {
            width = width * 10 + (format[i] - '0');
            widthText += format[i++];
        }
        std::string precisionText;
        if (i < format.size() && format[i] == '.') {
            precisionText += format[i++];
            while (i < format.size() && format[i] >= '0' && format[i] <= '9')
                precisionText += format[i++];
        }
        while (i < format.size() && std::strchr("hlqLjzt", format[i]))
            ++i; // length modifiers: every argument is already 64 bits wide
        if (i >= format.size()) {
            out.append(format.substr(start)); // a dangling '%' stays as written
            break;
        }
        char conversion = format[i++];
        const TWFormatArg* arg = argumentAt(args, argIndex);
        if (!positional)
            ++nextArg;
        std::string spec = "%" + flags + widthText + precisionText;
        char buf[512];
        switch (conversion) {
        case '@':
        case 's': {
            std::string text = objectText(arg);
            if (!precisionText.empty() && precisionText.size() > 1)
                text = text.substr(0, std::stoul(precisionText.substr(1)));
            out += pad(std::move(text), flags, width);
            break;
        }
        case 'd':
        case 'i':
            std::snprintf(buf, sizeof buf, (spec + "lld").c_str(),
                          static_cast<long long>(signedValue(arg)));
            out += buf;
            break;
        case 'u':
        case 'x':
        case 'X':
        case 'o':
            std::snprintf(buf, sizeof buf, (spec + "ll" + conversion).c_str(),
                          static_cast<unsigned long long>(signedValue(arg)));
            out += buf;
            break;
        case 'f':
        case 'F':
        case 'e':
        case 'E':
        case 'g':
        case 'G':
            std::snprintf(buf, sizeof buf, (spec + conversion).c_str(), realValue(arg));
            out += buf;
            break;
        case 'c':
            out += pad(std::string(1, static_cast<char>(signedValue(arg))), flags, width);
            break;
        case 'p': {
            const void* p = nullptr;
            if (arg && std::holds_alternative<const void*>(*arg))
                p = std::get<const void*>(*arg);
            std::snprintf(buf, sizeof buf, "%p", p);
            out += pad(buf, flags, width);
            break;
        }
        default:
            // Not a conversion we know: keep the text as written and consume no argument.
            out.append(format.substr(start, i - start));
            if (!positional)
                --nextArg;
            break;
        }
    }
    return out;
}
