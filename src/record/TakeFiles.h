// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/UniqueFd.h"

#include <QString>

#include <cstdint>
#include <limits>
#include <vector>

namespace vorn {

// The files of a take on disk: the hidden fragmented movie written while recording, its
// conversion into the final movie, and the recovery of fragments that a crashed run left.
namespace TakeFiles {

// `wanted` when nothing has that name (not even a link) and it is not `reserved`, else the
// first free one of "Take (TAG).mp4", "Take (TAG 2).mp4"… or, without a tag, "Take (2).mp4",
// "Take (3).mp4"…
QString freeName(const QString& wanted, const QString& tag = {}, const QString& reserved = {});

// ".recording-<take file name>" beside the take: the movie while it is being recorded.
QString fragmentPath(const QString& takePath);

// A take's name held by its fragment: created new (readable by the user alone) and locked.
struct Claim {
  QString take;
  QString fragment;
  UniqueFd fragmentFd;
};

// Claims `wanted` for a new take, or the first free name beside it ("Take (2).mp4"…) when
// another take claimed that one first, even in another process at the same instant. Throws
// std::runtime_error with one sentence when the fragment cannot be created.
Claim claim(const QString& wanted);

// Copies the streams of `source` into a new MP4 at `target` with the moov at the front
// (no re-encoding), leaving out audio from `endSeconds` on and any damaged tail. Given an
// upper bound of the packets in `source`, the file is written in one pass. Returns the number
// of video packets written. The target appears only once complete. Throws
// std::runtime_error with one sentence, leaving no partly written file behind.
int remux(const QString& source, const QString& target,
          double endSeconds = std::numeric_limits<double>::infinity(),
          std::int64_t packetBound = 0);

// Cuts a fragmented movie whose end was damaged (a full disk, a crash) after its last whole
// fragment, so that everything it claims plays. False when no whole fragment is there.
bool cutToWholeFragments(const QString& fragment);

// The time of a movie's last frame after its first, in seconds (0 without frames). Throws
// std::runtime_error with one sentence when the movie can't be read.
double lastFrameSeconds(const QString& movie);

// Holds an exclusive lock on a fragment while its recording runs, so recovery in another
// process leaves it alone. Returns the descriptor (−1 when it could not be locked).
int lockFragment(const QString& fragment);
void unlockFragment(int descriptor);

// Turns every unlocked fragment in `folder` into a normal take beside it ("Vorn: recovered
// take …"), never named `keepFree` (the take about to be recorded); a fragment without a
// single frame is removed. Returns the recovered takes.
std::vector<QString> recoverCrashedTakes(const QString& folder, const QString& keepFree = {});

}  // namespace TakeFiles
}  // namespace vorn
