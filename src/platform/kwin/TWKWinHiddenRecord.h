// SPDX-License-Identifier: MIT
// What Tidewell hid on a KWin session. Wayland windows carry no properties, so the record is a
// small file in the per-user runtime directory that the application, the helper and the
// command-line tool all read and change under a file lock. A mark lives exactly as long as the
// hidden state it records: it is dropped when its window is restored or gone.
#pragma once

#include "TWKWinConnection.h"

#include <functional>
#include <map>
#include <string>

// One window Tidewell minimized.
struct TWKWinHiddenMark {
    int position = 0;       // its stacking index when hidden: restores go bottom to top
    long long since = 0;    // when it was marked (seconds, realtime clock)
    bool confirmed = false; // it has been seen minimized since
    bool operator==(const TWKWinHiddenMark&) const = default;
};

using TWKWinHiddenMarks = std::map<std::string, TWKWinHiddenMark>; // window uuid -> mark

class TWKWinHiddenRecord {
  public:
    // The record of the Wayland display `displayName`, in the registry directory.
    explicit TWKWinHiddenRecord(const std::string& displayName);
    // A record kept at `path`.
    static TWKWinHiddenRecord atPath(const std::string& path);

    // The marks now.
    TWKWinHiddenMarks read() const;
    // Changes the marks under the file lock; writes (or removes the emptied file) only when
    // `change` changed something. False when the record could not be written.
    bool update(const std::function<void(TWKWinHiddenMarks&)>& change) const;
    const std::string& path() const { return path_; }

    // Drops the marks whose window is gone or was seen restored, and confirms the ones seen
    // minimized. A mark not yet confirmed survives a window still shown for `grace` seconds:
    // the minimize request may not have reached the compositor yet.
    static void prune(TWKWinHiddenMarks& marks, const TWKWinSnapshot& windows, long long now,
                      long long grace = kConfirmationGrace);
    static long long now();
    static constexpr long long kConfirmationGrace = 10;

  private:
    TWKWinHiddenRecord() = default;
    std::string path_;
};
