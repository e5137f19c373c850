// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vorn::cut {

// The files of one reel, under their final names, and the work folder in the cache where each
// is written first. Renaming a finished file into place is atomic, so an interrupted run never
// leaves a half-written file under a final name.
struct ReelFiles {
  std::filesystem::path reel;     // "NAME.mp4"
  std::filesystem::path cover;    // "NAME.cover.jpg"
  std::filesystem::path caption;  // "NAME.caption.txt"
  std::filesystem::path picture;  // ".NAME.mp4.picture.mp4"
  std::filesystem::path work;     // reelWorkFolder(reel)
  std::filesystem::path script;   // reelScriptFile(reel): the studio's, read only

  explicit ReelFiles(const std::filesystem::path& reelPath);

  // Where a file is written before it is moved to its final name.
  std::filesystem::path draft(const std::filesystem::path& final) const;
  // Where a finished draft is copied, beside its final name, when the work folder lies on
  // another file system: ".NAME.part".
  std::filesystem::path part(const std::filesystem::path& final) const;

  // Makes the work folder anew, readable by the user alone; throws CutError when the reel's
  // folder is not writable.
  void prepare() const;
  // Moves every draft to its final name, the reel last.
  void publish() const;
  // Removes every draft, copy and the work folder after a failed run.
  void discard() const noexcept;
  // Throws CutError when the reel would replace `take` itself, or a file at the reel's name
  // that is not an earlier reel of `take`.
  void refuseToReplace(const std::filesystem::path& take) const;
};

// What a reel says it was cut from (its "comment"), so a later run knows the file as its own.
std::string reelMarkOf(const std::filesystem::path& take);

}  // namespace vorn::cut
