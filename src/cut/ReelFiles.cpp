#include "cut/ReelFiles.h"

#include "base/OwnFiles.h"
#include "cut/Words.h"

#include <system_error>

namespace fs = std::filesystem;

namespace vorn::cut {

ReelFiles::ReelFiles(const fs::path& reelPath) : reel(fs::absolute(reelPath)) {
  const fs::path dir = reel.parent_path();
  const std::string base = reel.stem().string();
  cover = dir / (base + ".cover.jpg");
  caption = dir / (base + ".caption.txt");
  work = dir / ("." + base);
  picture = dir / ("." + reel.filename().string() + ".picture.mp4");
}

fs::path ReelFiles::draft(const fs::path& final) const {
  return work / ("draft." + final.filename().string());
}

void ReelFiles::prepare() const {
  std::error_code error;
  if (!fs::is_directory(reel.parent_path(), error))
    throw CutError("The reel's folder doesn't exist: " + reel.parent_path().string() + ".");
  // A fresh folder of the user's own, so nothing planted in it is written through: the one
  // left by an earlier run of this reel (or a link in its place) goes first.
  fs::remove_all(work, error);
  if (!OwnFiles::createFolder(work.string()))
    throw CutError("The reel can't be written in " + reel.parent_path().string() + ".");
}

void ReelFiles::publish() const {
  for (const fs::path& final : {cover, caption, picture, reel}) {
    std::error_code error;
    fs::rename(draft(final), final, error);
    if (error) throw CutError("The finished reel couldn't be moved into place.");
  }
}

void ReelFiles::discard() const noexcept {
  std::error_code error;
  fs::remove_all(work, error);
}

}  // namespace vorn::cut
