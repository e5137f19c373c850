// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

#include <vector>

namespace vorn {

// Mixes the audio tracks of a take into one stereo AAC track (48 kHz, 192 kbit/s), copying
// the video packets untouched.
class AudioFlattener {
 public:
  // Rewrites the movie at `path` in place through a hidden ".mix-<UUID>.mp4" beside it, which
  // replaces the take only once completely written. Returns at once, leaving the file as it
  // is, when it has fewer than two audio tracks or no video. Throws std::runtime_error with
  // one sentence on failure; the take is then untouched and the temporary file removed.
  static void flatten(const QString& path);
  // Finishes the mixes that a run killed while mixing left in `folder`: removes their hidden
  // copies and mixes again the takes they were made from. Returns those takes.
  static std::vector<QString> finishInterrupted(const QString& folder);

  static inline const QString mixPrefix = QStringLiteral(".mix-");
  // How long before its mix was last written a take may have been finished.
  static constexpr int recentSeconds = 600;

 private:
  static int audioTracks(const QString& path);
};

}  // namespace vorn
