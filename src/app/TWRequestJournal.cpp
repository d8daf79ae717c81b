// SPDX-License-Identifier: MIT
// What the running instance has handled, newest last, within a fixed bound.
#include "TWRequestJournal.h"

#include <vector>

namespace {
// A request is at most one message long; an entry longer than that is cut at this length so
// that the status answer, which holds whole lines only, still has room for it.
constexpr int maximumEntryChars = 1024;
} // namespace

TWRequestJournal& TWRequestJournal::operator<<(const QString& entry) {
    entries_.push_back(entry.size() > maximumEntryChars ? entry.left(maximumEntryChars) + "..."
                                                        : entry);
    if (int(entries_.size()) > capacity)
        entries_.pop_front();
    return *this;
}

void TWRequestJournal::removeLast() {
    if (!entries_.empty())
        entries_.pop_back();
}

QByteArray TWRequestJournal::answer(const QStringList& more, int maximumBytes) const {
    std::vector<QByteArray> lines;
    lines.reserve(entries_.size() + size_t(more.size()));
    for (const QString& entry : entries_)
        lines.push_back(entry.toUtf8().replace('\n', ' ') + '\n');
    for (const QString& line : more)
        lines.push_back(line.toUtf8().replace('\n', ' ') + '\n');
    // The newest lines that fit, in order.
    qsizetype total = 0;
    size_t first = lines.size();
    while (first > 0 && total + lines[first - 1].size() <= maximumBytes)
        total += lines[--first].size();
    QByteArray out;
    out.reserve(total);
    for (size_t i = first; i < lines.size(); ++i)
        out += lines[i];
    return out;
}
