// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/ReelFiles.h"

#include "base/Av.h"
#include "base/OwnFiles.h"
#include "cut/Words.h"
#include "model/ReelWork.h"

#include <QFile>

#include <fcntl.h>
#include <unistd.h>

#include <system_error>

namespace fs = std::filesystem;

namespace vorn::cut {
namespace {

fs::path workFolderOf(const fs::path& reel) {
  return QFile::encodeName(reelWorkFolder(QFile::decodeName(reel.c_str()))).toStdString();
}

fs::path scriptFileOf(const fs::path& reel) {
  return QFile::encodeName(reelScriptFile(QFile::decodeName(reel.c_str()))).toStdString();
}

// The mark a movie carries, empty when it has none or cannot be read.
std::string markOf(const fs::path& movie) {
  try {
    const av::Input input = av::openInput(movie.string());
    const AVDictionaryEntry* mark = av_dict_get(input->metadata, "comment", nullptr, 0);
    return mark ? mark->value : "";
  } catch (const std::runtime_error&) {
    return "";
  }
}

// Copies `from` to the new file `to`, made as OwnFiles makes files.
std::error_code copyToNew(const fs::path& from, const fs::path& to) {
  const int in = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
  if (in < 0) return {errno, std::generic_category()};
  const int out = OwnFiles::create(to.string());
  if (out < 0) {
    const int error = errno;
    ::close(in);
    return {error, std::generic_category()};
  }
  std::error_code error;
  char buffer[1 << 16];
  for (ssize_t got; (got = ::read(in, buffer, sizeof buffer)) != 0;) {
    if (got < 0 || ::write(out, buffer, std::size_t(got)) != got) {
      error = {errno ? errno : EIO, std::generic_category()};
      break;
    }
  }
  ::close(in);
  if (::close(out) != 0 && !error) error = {errno, std::generic_category()};
  return error;
}

}  // namespace

std::string reelMarkOf(const fs::path& take) {
  return "Reel of " + take.filename().string();
}

ReelFiles::ReelFiles(const fs::path& reelPath) : reel(fs::absolute(reelPath)) {
  const fs::path dir = reel.parent_path();
  const std::string base = reel.stem().string();
  cover = dir / (base + ".cover.jpg");
  caption = dir / (base + ".caption.txt");
  picture = dir / ("." + reel.filename().string() + ".picture.mp4");
  work = workFolderOf(reel);
  script = scriptFileOf(reel);
}

fs::path ReelFiles::draft(const fs::path& final) const {
  return work / ("draft." + final.filename().string());
}

fs::path ReelFiles::part(const fs::path& final) const {
  return final.parent_path() / ("." + final.filename().string() + ".part");
}

void ReelFiles::prepare() const {
  std::error_code error;
  if (!fs::is_directory(reel.parent_path(), error))
    throw CutError("The reel's folder doesn't exist: " + reel.parent_path().string() + ".");
  // Found now, not after the whole render: the name of the reel's copy is made and removed
  // again (one left by a killed run, or a link in its place, goes first).
  fs::remove(part(reel), error);
  const int probe = OwnFiles::create(part(reel).string());
  if (probe < 0) throw CutError("The reel can't be written in " + reel.parent_path().string() + ".");
  ::close(probe);
  fs::remove(part(reel), error);
  // Vorn's cache folders are the user's alone.
  fs::create_directories(work.parent_path(), error);
  for (const fs::path& ours : {work.parent_path().parent_path(), work.parent_path()})
    fs::permissions(ours, fs::perms::owner_all, error);
  // A fresh folder of the user's own, so nothing planted in it is written through: the one
  // left by an earlier run of this reel (or a link in its place) goes first.
  fs::remove_all(work, error);
  if (!OwnFiles::createFolder(work.string()))
    throw CutError("The reel's work folder can't be made in " + work.parent_path().string() + ".");
}

void ReelFiles::publish() const {
  for (const fs::path& final : {cover, caption, picture, reel}) {
    std::error_code error;
    fs::rename(draft(final), final, error);
    if (error == std::errc::cross_device_link) {
      // The cache on another file system: copied beside the final name first, so that the
      // move into place is still a rename. A copy left by a killed run (or a link in its
      // place) goes first.
      fs::remove(part(final), error);
      error = copyToNew(draft(final), part(final));
      if (!error) fs::rename(part(final), final, error);
      std::error_code ignored;
      if (!error) fs::remove(draft(final), ignored);
    }
    if (error) throw CutError("The finished reel couldn't be moved into place.");
  }
}

void ReelFiles::refuseToReplace(const fs::path& take) const {
  std::error_code error;
  for (const fs::path& final : {reel, cover, caption, picture})
    if (fs::equivalent(final, take, error))
      throw CutError("The reel would be written over its own take: choose another --out.");
  // Only a plain file is read for its mark: a FIFO would hold the read forever.
  const fs::file_status status = fs::symlink_status(reel, error);
  if (!fs::exists(status) || (fs::is_regular_file(status) && markOf(reel) == reelMarkOf(take)))
    return;
  throw CutError("Something other than this take's reel is at " + reel.string() +
                 ": choose another --out.");
}

void ReelFiles::discard() const noexcept {
  std::error_code error;
  for (const fs::path& final : {cover, caption, picture, reel}) fs::remove(part(final), error);
  fs::remove_all(work, error);
}

}  // namespace vorn::cut
