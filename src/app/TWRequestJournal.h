// SPDX-License-Identifier: MIT
// What the running instance has handled, newest last: the answer to a status query. Bounded,
// so that a stream of requests cannot grow the instance's memory without end.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <deque>

class TWRequestJournal {
  public:
    // Entries kept; older ones are forgotten.
    static constexpr int capacity = 256;

    // Records one entry (at most maximumEntryBytes of it).
    TWRequestJournal& operator<<(const QString& entry);
    // Forgets the newest entry (a request that turned out unknown).
    void removeLast();
    int size() const { return int(entries_.size()); }

    // The entries and then `more`, one per line, each ending in a newline. When they do not all
    // fit in `maximumBytes`, the oldest lines are left out: a line is never cut.
    QByteArray answer(const QStringList& more, int maximumBytes) const;

  private:
    std::deque<QString> entries_;
};
