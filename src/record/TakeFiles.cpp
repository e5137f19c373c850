// SPDX-License-Identifier: GPL-3.0-or-later
#include "record/TakeFiles.h"

#include "base/Av.h"
#include "base/Log.h"
#include "base/OwnFiles.h"
#include "model/Takes.h"
#include "record/AudioEncoder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace vorn::TakeFiles {
namespace {


std::string local(const QString& path) { return QFile::encodeName(path).toStdString(); }

bool taken(const QString& path) { return OwnFiles::taken(local(path)); }

// "Take (2).mp4" for n = 2, "Take (TAG).mp4" for n = 1 with a tag, "Take (TAG 2).mp4"…
QString numbered(const QString& wanted, const QString& tag, int n) {
  const QFileInfo info(wanted);
  const QString stem = info.dir().filePath(info.completeBaseName());
  const QString suffix = tag.isEmpty() ? QString::number(n)
                         : n == 1      ? tag
                                       : QStringLiteral("%1 %2").arg(tag).arg(n);
  return stem + " (" + suffix + ")." + info.suffix();
}

// Whether `fd` is still the file called `path` (a recovery may have removed it meanwhile).
bool stillNamed(int fd, const QString& path) {
  struct stat opened, named;
  return ::fstat(fd, &opened) == 0 && ::lstat(local(path).c_str(), &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

// Creates and locks the fragment of `take`; an invalid descriptor when the name is taken.
UniqueFd claimFragment(const QString& take, const QString& fragment) {
  for (;;) {
    if (taken(take)) return {};
    UniqueFd fd(OwnFiles::create(local(fragment)));
    if (!fd.valid() && errno == EEXIST) return {};
    if (!fd.valid())
      throw std::runtime_error("Couldn't create " + local(fragment) + ": " + std::strerror(errno) + ".");
    // Waits out a recovery looking at the new, empty fragment: it may remove it, then again.
    while (::flock(fd.get(), LOCK_EX) != 0)
      if (errno != EINTR) {
        ::unlink(local(fragment).c_str());
        throw std::runtime_error("Couldn't lock " + local(fragment) + ": " + std::strerror(errno) + ".");
      }
    if (!stillNamed(fd.get(), fragment)) continue;
    // A take finished under the name between the check and the fragment.
    if (taken(take)) {
      ::unlink(local(fragment).c_str());
      return {};
    }
    return fd;
  }
}

// Copies every packet in order; returns the number of video packets.
int copyPackets(AVFormatContext* input, AVFormatContext* output, double endSeconds) {
  av::Packet packet = av::makePacket();
  int videoPackets = 0;
  // A fragment cut by a crash ends in a damaged box: everything before it is kept.
  while (av_read_frame(input, packet.get()) >= 0) {
    AVStream* in = input->streams[packet->stream_index];
    AVStream* out = output->streams[packet->stream_index];
    const bool video = in->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
    const bool damaged = packet->flags & AV_PKT_FLAG_CORRUPT;
    const bool late = !video && packet->pts != AV_NOPTS_VALUE &&
                      packet->pts * av_q2d(in->time_base) >= endSeconds;
    if (!damaged && !late) {
      // Give the AAC encoder's delay back to the audio: the final movie's edit list hides it.
      const std::int64_t shift =
          in->codecpar->codec_id == AV_CODEC_ID_AAC
              ? av_rescale_q(AudioEncoder::primingSamples, {1, AudioEncoder::sampleRate}, in->time_base)
              : 0;
      if (packet->pts != AV_NOPTS_VALUE) packet->pts -= shift;
      if (packet->dts != AV_NOPTS_VALUE) packet->dts -= shift;
      av_packet_rescale_ts(packet.get(), in->time_base, out->time_base);
      packet->pos = -1;
      av::check(av_interleaved_write_frame(output, packet.get()), "Couldn't write the take");
      videoPackets += video;
    }
    av_packet_unref(packet.get());
  }
  return videoPackets;
}

// The packets a fragmented movie holds, from its fragments' indexes; 0 when unknown.
std::int64_t packetBound(const AVFormatContext* input) {
  std::int64_t bound = 0;
  for (unsigned i = 0; i < input->nb_streams; ++i) {
    if (input->streams[i]->nb_frames <= 0) return 0;
    bound += input->streams[i]->nb_frames;
  }
  return bound;
}

int remuxStreams(const QString& source, const QString& target, double endSeconds,
                 std::int64_t knownBound) {
  av::Input input = av::openInput(local(source));
  av::Output output = av::openOutput(local(target));
  for (unsigned i = 0; i < input->nb_streams; ++i) {
    AVStream* in = input->streams[i];
    AVStream* out = avformat_new_stream(output.get(), nullptr);
    if (!out) throw std::bad_alloc();
    av::check(avcodec_parameters_copy(out->codecpar, in->codecpar), "Couldn't copy a track");
    out->codecpar->codec_tag = 0;
    out->time_base = in->time_base;
    out->avg_frame_rate = in->avg_frame_rate;
  }
  av::writeHeaderMoovInFront(output.get(),
                             knownBound > 0 ? knownBound : packetBound(input.get()));
  const int videoPackets = copyPackets(input.get(), output.get(), endSeconds);
  av::check(av_write_trailer(output.get()), "Couldn't finish the take");
  av::check(output->pb->error, "Couldn't write the take");
  return videoPackets;
}

struct Box {
  QByteArray type;
  qint64 at = 0;
  qint64 end = 0;  // may lie past the end of the file when the box was cut off
};

// The top-level boxes of an MP4 file, in order, up to the first whose header is unreadable.
std::vector<Box> topLevelBoxes(QFile& file) {
  std::vector<Box> boxes;
  qint64 at = 0;
  while (at + 8 <= file.size() && file.seek(at)) {
    const QByteArray header = file.read(16);
    if (header.size() < 8) break;
    std::uint64_t size = 0;
    for (int i = 0; i < 4; ++i) size = size << 8 | std::uint8_t(header[i]);
    if (size == 1 && header.size() == 16) {
      size = 0;
      for (int i = 8; i < 16; ++i) size = size << 8 | std::uint8_t(header[i]);
    }
    if (size < 8) break;
    boxes.push_back({header.mid(4, 4), at, at + qint64(size)});
    at += qint64(size);
  }
  return boxes;
}

// True when the fragmented movie holds at least one fragment (a "moof" box at the top level);
// a run that died before its first fragment left nothing to recover.
bool holdsAFragment(const QString& path) {
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly)) return false;
  const std::vector<Box> boxes = topLevelBoxes(file);
  return std::any_of(boxes.begin(), boxes.end(), [](const Box& box) { return box.type == "moof"; });
}

}  // namespace

QString freeName(const QString& wanted, const QString& tag, const QString& reserved) {
  const auto unusable = [&](const QString& name) { return name == reserved || taken(name); };
  if (!unusable(wanted)) return wanted;
  for (int n = tag.isEmpty() ? 2 : 1;; ++n) {
    const QString name = numbered(wanted, tag, n);
    if (!unusable(name)) return name;
  }
}

QString fragmentPath(const QString& takePath) {
  const QFileInfo info(takePath);
  return info.dir().filePath(fragmentPrefix + info.fileName());
}

Claim claim(const QString& wanted) {
  for (int n = 1;; ++n) {
    const QString take = n == 1 ? wanted : numbered(wanted, {}, n);
    const QString fragment = fragmentPath(take);
    UniqueFd fd = claimFragment(take, fragment);
    if (fd.valid()) return {take, fragment, std::move(fd)};
  }
}

int remux(const QString& source, const QString& target, double endSeconds,
          std::int64_t packetBound) {
  // Written under a hidden name and moved into place whole, so a crash meanwhile never leaves
  // a half-written file under the take's name (the fragment is still there to recover).
  const QFileInfo info(target);
  const QString partial = info.dir().filePath(QStringLiteral(".finishing-") + info.fileName());
  QFile::remove(partial);  // left by a crash, or planted: the name belongs to this take
  try {
    const int videoPackets = remuxStreams(source, partial, endSeconds, packetBound);
    if (!QFile::rename(partial, target))
      throw std::runtime_error("Couldn't move the finished take to " + local(target) + ".");
    return videoPackets;
  } catch (...) {
    QFile::remove(partial);
    throw;
  }
}

bool cutToWholeFragments(const QString& fragment) {
  QFile file(fragment);
  if (!file.open(QIODevice::ReadWrite)) return false;
  const std::vector<Box> boxes = topLevelBoxes(file);
  qint64 whole = 0;  // the end of the last fragment (a "moof" and its "mdat") wholly on disk
  for (std::size_t i = 1; i < boxes.size(); ++i)
    if (boxes[i].type == "mdat" && boxes[i - 1].type == "moof" && boxes[i].end <= file.size())
      whole = boxes[i].end;
  return whole > 0 && file.resize(whole);
}

double lastFrameSeconds(const QString& movie) {
  av::Input input = av::openInput(local(movie));
  const int video = av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (video < 0) return 0;
  const AVRational timeBase = input->streams[video]->time_base;
  av::Packet packet = av::makePacket();
  std::int64_t first = AV_NOPTS_VALUE, last = AV_NOPTS_VALUE;
  while (av_read_frame(input.get(), packet.get()) >= 0) {
    if (packet->stream_index == video && packet->pts != AV_NOPTS_VALUE) {
      first = first == AV_NOPTS_VALUE ? packet->pts : std::min(first, packet->pts);
      last = last == AV_NOPTS_VALUE ? packet->pts : std::max(last, packet->pts);
    }
    av_packet_unref(packet.get());
  }
  return first == AV_NOPTS_VALUE ? 0 : double(last - first) * av_q2d(timeBase);
}

int lockFragment(const QString& fragment) {
  const int descriptor = ::open(local(fragment).c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  if (descriptor < 0) return -1;
  // The name may have been removed, or claimed anew, since it was opened.
  if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0 || !stillNamed(descriptor, fragment)) {
    ::close(descriptor);
    return -1;
  }
  return descriptor;
}

void unlockFragment(int descriptor) {
  if (descriptor >= 0) ::close(descriptor);
}

std::vector<QString> recoverCrashedTakes(const QString& folder, const QString& keepFree) {
  std::vector<QString> recovered;
  const QDir dir(folder);
  const QStringList fragments =
      dir.entryList({fragmentPrefix + "*"}, QDir::Files | QDir::Hidden, QDir::Name);
  for (const QString& name : fragments) {
    const QString fragment = dir.filePath(name);
    const int lock = lockFragment(fragment);
    if (lock < 0) continue;  // still being recorded by a running Vorn
    // A run that crashed while finishing may have left its final movie half-written.
    QFile::remove(dir.filePath(QStringLiteral(".finishing-") + name.mid(fragmentPrefix.size())));
    if (!holdsAFragment(fragment)) {
      QFile::remove(fragment);
      unlockFragment(lock);
      continue;
    }
    const QString take = freeName(dir.filePath(name.mid(fragmentPrefix.size())),
                                  QStringLiteral("recovered"), keepFree);
    try {
      if (remux(fragment, take) > 0) {
        recovered.push_back(take);
        logError("recovered take " + local(take));
      } else {
        QFile::remove(take);
      }
      QFile::remove(fragment);
    } catch (const std::exception& error) {
      logError("couldn't recover the take in " + local(fragment) + ": " + error.what());
    }
    unlockFragment(lock);
  }
  return recovered;
}

}  // namespace vorn::TakeFiles
