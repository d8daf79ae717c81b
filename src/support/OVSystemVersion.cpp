// SPDX-License-Identifier: MIT
// Dotted version strings with beta/alpha/development suffixes: parsing, canonical text,
// ordering, and the running system's version.
#include "OVSystemVersion.h"

#include "TWFormat.h"
#include "TWLog.h"

#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <mutex>
#include <optional>
#include <sstream>

constexpr const char* kLogClass = "OVSystemVersion";

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Collects the digits from `pos` on and leaves `pos` at the first non-digit.
std::string readDigitRun(std::string_view text, std::size_t& pos) {
    std::size_t start = pos;
    while (pos < text.size() && isDigit(text[pos]))
        ++pos;
    return std::string(text.substr(start, pos - start));
}

// The value of a digit run, saturating at the largest signed 64-bit value.
std::int64_t digitValue(const std::string& digits) {
    constexpr std::int64_t max = std::numeric_limits<std::int64_t>::max();
    std::int64_t value = 0;
    for (char c : digits) {
        int d = c - '0';
        if (value > (max - d) / 10)
            return max;
        value = value * 10 + d;
    }
    return value;
}

// The number of bytes the character starting at `lead` occupies, as far as skipping one
// character of text goes. Characters outside the basic multilingual plane count as two halves,
// of which only the first is skipped: the rest is then an unsupported character.
std::size_t characterLength(unsigned char lead) {
    if (lead >= 0xC0 && lead < 0xE0)
        return 2;
    if (lead >= 0xE0 && lead < 0xF0)
        return 3;
    return 1;
}

// Compares two digit runs by numeric value, however long they are.
int compareDigitRuns(const std::string& a, const std::string& b) {
    std::size_t za = a.find_first_not_of('0');
    std::size_t zb = b.find_first_not_of('0');
    std::string_view va =
        za == std::string::npos ? std::string_view() : std::string_view(a).substr(za);
    std::string_view vb =
        zb == std::string::npos ? std::string_view() : std::string_view(b).substr(zb);
    if (va.size() != vb.size())
        return va.size() < vb.size() ? -1 : 1;
    int c = va.compare(vb);
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

__extension__ typedef __int128 Weight;

// Suffix weight; computed wide so that saturated suffix numbers cannot overflow.
Weight suffixWeight(const OVSystemVersion& v) {
    return Weight(v.beta()) * 10000 + Weight(v.alpha()) * 1000 + Weight(v.dev());
}

// Shell-style value of an os-release assignment: quotes removed, backslash escapes applied.
std::string unquoteShellValue(std::string_view raw) {
    std::string out;
    std::size_t i = 0;
    while (i < raw.size()) {
        char c = raw[i];
        if (c == '\'') {
            std::size_t end = raw.find('\'', i + 1);
            if (end == std::string_view::npos)
                end = raw.size();
            out.append(raw.substr(i + 1, end - i - 1));
            i = end + 1;
        } else if (c == '"') {
            ++i;
            while (i < raw.size() && raw[i] != '"') {
                if (raw[i] == '\\' && i + 1 < raw.size() &&
                    std::string_view("\"\\$`").find(raw[i + 1]) != std::string_view::npos) {
                    out.push_back(raw[i + 1]);
                    i += 2;
                } else {
                    out.push_back(raw[i++]);
                }
            }
            ++i;
        } else if (c == '\\' && i + 1 < raw.size()) {
            out.push_back(raw[i + 1]);
            i += 2;
        } else if (c == ' ' || c == '\t' || c == '\r') {
            break; // an unquoted blank ends the word (a trailing comment may follow)
        } else {
            out.push_back(c);
            ++i;
        }
    }
    return out;
}

// The value of VERSION_ID in an os-release file; nothing when the file cannot be opened, an
// empty string when it has no such key.
std::optional<std::string> readVersionID(const std::string& path) {
    std::ifstream in(path);
    if (!in)
        return std::nullopt;
    std::string value;
    std::string line;
    while (std::getline(in, line)) {
        std::size_t start = line.find_first_not_of(" \t");
        if (start == std::string::npos || line[start] == '#')
            continue;
        std::string_view assignment = std::string_view(line).substr(start);
        constexpr std::string_view key = "VERSION_ID=";
        if (assignment.substr(0, key.size()) == key)
            value = unquoteShellValue(assignment.substr(key.size())); // the last one counts
    }
    return value;
}

struct ClassState {
    std::mutex currentMutex;
    std::vector<std::string> osReleasePaths{"/etc/os-release", "/usr/lib/os-release"};
    std::shared_ptr<const OVSystemVersion> current;

    std::mutex answersMutex;
    std::map<std::string, bool, std::less<>> answers;
};

ClassState& classState() {
    static ClassState state;
    return state;
}

} // namespace

OVSystemVersion::OVSystemVersion(std::string_view text) {
    components_.reserve(10);
    std::size_t pos = 0;
    while (pos < text.size()) {
        char c = text[pos];
        if (c == '.') {
            ++pos;
            std::string run = readDigitRun(text, pos);
            if (!run.empty()) {
                components_.push_back(std::move(run));
            } else {
                TWLog(LOG_WARNING, kLogClass,
                      "Warning, found \".\" without a following digit value.");
                // The character after the dot is passed over unexamined, whatever it is.
                if (pos < text.size())
                    pos += characterLength(static_cast<unsigned char>(text[pos]));
                else
                    ++pos;
            }
        } else if (c == 'a' || c == 'b' || c == 'd') {
            ++pos;
            std::int64_t value = digitValue(readDigitRun(text, pos));
            (c == 'a' ? alpha_ : c == 'b' ? beta_ : dev_) = value;
        } else {
            std::string run = readDigitRun(text, pos);
            if (!run.empty()) {
                components_.push_back(std::move(run));
            } else {
                TWLog(LOG_WARNING, kLogClass,
                      TWFormat("Found unsupported character in version string, "
                               "bailing:\"%@\".",
                               text));
                pos = text.size();
            }
        }
    }
    if (components_.empty())
        components_.push_back("0");
}

std::shared_ptr<const OVSystemVersion>
OVSystemVersion::systemVersionWithString(std::string_view text) {
    return std::make_shared<const OVSystemVersion>(text);
}

std::string OVSystemVersion::string() const {
    std::string out;
    for (std::size_t i = 0; i < components_.size(); ++i) {
        if (i > 0)
            out += '.';
        out += components_[i];
    }
    if (beta_ > 0)
        out += "b" + std::to_string(beta_);
    if (alpha_ > 0)
        out += "a" + std::to_string(alpha_);
    if (dev_ > 0)
        out += "d" + std::to_string(dev_);
    return out;
}

std::string OVSystemVersion::description() const {
    return TWFormat("<%@: %p : %@>", "OVSystemVersion", static_cast<const void*>(this), string());
}

std::size_t OVSystemVersion::hash() const {
    return std::hash<std::string>{}(string());
}

OVComparisonResult OVSystemVersion::compare(const OVSystemVersion& other) const {
    std::size_t i = 0;
    for (; i < components_.size(); ++i) {
        // More components rank higher even when the extra ones are zeros: 10.6.0 > 10.6.
        if (i >= other.components_.size())
            return OVOrderedDescending;
        int c = compareDigitRuns(components_[i], other.components_[i]);
        if (c != 0)
            return static_cast<OVComparisonResult>(c);
    }
    if (i < other.components_.size())
        return OVOrderedAscending;

    Weight mine = suffixWeight(*this);
    Weight theirs = suffixWeight(other);
    if (mine == theirs)
        return OVOrderedSame;
    if (mine == 0)
        return OVOrderedDescending; // a final release is above any pre-release
    if (mine > 0 && theirs == 0)
        return OVOrderedAscending;
    return mine >= theirs ? OVOrderedDescending : OVOrderedAscending;
}

bool OVSystemVersion::isEqual(const OVSystemVersion* other) const {
    return other && isEqualToSystemVersion(*other);
}

bool OVSystemVersion::isEqualToSystemVersion(const OVSystemVersion& other) const {
    return compare(other) == OVOrderedSame;
}

bool OVSystemVersion::isLessThanSystemVersion(const OVSystemVersion& other) const {
    return compare(other) == OVOrderedAscending;
}

bool OVSystemVersion::isLessThanOrEqualToSystemVersion(const OVSystemVersion& other) const {
    return compare(other) != OVOrderedDescending;
}

bool OVSystemVersion::isGreaterThanSystemVersion(const OVSystemVersion& other) const {
    return compare(other) == OVOrderedDescending;
}

bool OVSystemVersion::isGreaterThanOrEqualToSystemVersion(const OVSystemVersion& other) const {
    return compare(other) != OVOrderedAscending;
}

bool OVSystemVersion::isEqualToString(std::string_view text) const {
    return isEqualToSystemVersion(OVSystemVersion(text));
}

bool OVSystemVersion::isLessThanString(std::string_view text) const {
    return isLessThanSystemVersion(OVSystemVersion(text));
}

bool OVSystemVersion::isLessThanOrEqualToString(std::string_view text) const {
    return isLessThanOrEqualToSystemVersion(OVSystemVersion(text));
}

bool OVSystemVersion::isGreaterThanString(std::string_view text) const {
    return isGreaterThanSystemVersion(OVSystemVersion(text));
}

bool OVSystemVersion::isGreaterThanOrEqualToString(std::string_view text) const {
    return isGreaterThanOrEqualToSystemVersion(OVSystemVersion(text));
}

std::shared_ptr<const OVSystemVersion> OVSystemVersion::currentSystemVersion() {
    ClassState& state = classState();
    std::lock_guard lock(state.currentMutex);
    if (state.current)
        return state.current;
    // os-release(5): the first file that exists is the one that counts.
    for (const std::string& path : state.osReleasePaths) {
        std::optional<std::string> versionID = readVersionID(path);
        if (!versionID)
            continue;
        if (!versionID->empty())
            state.current = systemVersionWithString(*versionID);
        break;
    }
    return state.current;
}

bool OVSystemVersion::isGreaterThanOrEqualToStringForCurrentSystem(const std::string& text) {
    ClassState& state = classState();
    {
        std::lock_guard lock(state.answersMutex);
        if (auto it = state.answers.find(text); it != state.answers.end())
            return it->second;
    }
    auto current = currentSystemVersion();
    // An unreadable system version is answered (and remembered) as false like any other answer.
    bool answer = current && current->isGreaterThanOrEqualToString(text);
    std::lock_guard lock(state.answersMutex);
    return state.answers.emplace(text, answer).first->second;
}

void OVSystemVersion::setOSReleasePathsForTesting(std::vector<std::string> paths) {
    ClassState& state = classState();
    {
        std::lock_guard lock(state.currentMutex);
        state.osReleasePaths = std::move(paths);
        state.current.reset();
    }
    std::lock_guard lock(state.answersMutex);
    state.answers.clear();
}
