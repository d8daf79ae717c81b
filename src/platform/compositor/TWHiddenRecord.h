// SPDX-License-Identifier: MIT
// What Tidewell hid on a Wayland session (KWin, GNOME). Wayland windows carry no properties, so
// the record is a small file in the per-user runtime directory that the application, the helper
// and the command-line tool all read and change under a file lock. A mark lives exactly as long
// as the hidden state it records: it is dropped when its window is restored or gone.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

// One window Tidewell minimized.
struct TWHiddenMark {
    int position = 0;       // its stacking index when hidden: restores go bottom to top
    long long since = 0;    // when it was marked (seconds, realtime clock)
    bool confirmed = false; // it has been seen minimized since
    bool operator==(const TWHiddenMark&) const = default;
};

using TWHiddenMarks = std::map<std::string, TWHiddenMark>; // window ID -> mark

class TWHiddenRecord {
  public:
    // The record named `name` (a backend's prefix and the session's display), in the registry
    // directory.
    explicit TWHiddenRecord(const std::string& name);
    // A record kept at `path`.
    static TWHiddenRecord atPath(const std::string& path);

    // The marks now.
    TWHiddenMarks read() const;
    // Changes the marks under the file lock; writes (or removes the emptied file) only when
    // `change` changed something. False when the record could not be written, also when
    // another process held the lock for longer than kLockWait (the log names it); after that,
    // for kBusyPause, the lock is not waited for.
    bool update(const std::function<void(TWHiddenMarks&)>& change) const;
    const std::string& path() const { return path_; }

    // Drops the marks whose window is gone or was seen restored, and confirms the ones seen
    // minimized. A mark not yet confirmed survives a window still shown for `grace` seconds:
    // the minimize request may not have reached the compositor yet.
    // `minimized(id)`: whether the window is minimized now, none when it is gone.
    static void prune(TWHiddenMarks& marks,
                      const std::function<std::optional<bool>(const std::string&)>& minimized,
                      long long now, long long grace = kConfirmationGrace);
    static long long now();
    // The marks in a record's text (lines that are no mark are skipped).
    static TWHiddenMarks parse(std::string_view text);
    static constexpr long long kConfirmationGrace = 10;
    static constexpr std::chrono::milliseconds kLockWait{1000};
    static constexpr std::chrono::seconds kBusyPause{5};

  private:
    TWHiddenRecord() = default;
    std::string path_;
    mutable std::chrono::steady_clock::time_point busyUntil_;
};
