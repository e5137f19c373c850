#include "record/TakeFiles.h"

#include "base/Av.h"
#include "base/Log.h"
#include "record/AudioEncoder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cmath>
#include <fcntl.h>
#include <stdexcept>
#include <sys/file.h>
#include <unistd.h>
#include <vector>

namespace vorn::TakeFiles {
namespace {

const QString fragmentPrefix = QStringLiteral(".recording-");

std::string local(const QString& path) { return QFile::encodeName(path).toStdString(); }

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

// True when the fragmented movie holds at least one fragment (a "moof" box at the top level);
// a run that died before its first fragment left nothing to recover.
bool holdsAFragment(const QString& path) {
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly)) return false;
  qint64 at = 0;
  while (at + 8 <= file.size() && file.seek(at)) {
    const QByteArray header = file.read(16);
    if (header.size() < 8) return false;
    if (header.mid(4, 4) == "moof") return true;
    std::uint64_t size = 0;
    for (int i = 0; i < 4; ++i) size = size << 8 | std::uint8_t(header[i]);
    if (size == 1 && header.size() == 16) {
      size = 0;
      for (int i = 8; i < 16; ++i) size = size << 8 | std::uint8_t(header[i]);
    }
    if (size < 8) return false;
    at += qint64(size);
  }
  return false;
}

}  // namespace

QString freeName(const QString& wanted, const QString& tag, const QString& reserved) {
  const auto taken = [&](const QString& name) { return name == reserved || QFileInfo::exists(name); };
  if (!taken(wanted)) return wanted;
  const QFileInfo info(wanted);
  const QString stem = info.dir().filePath(info.completeBaseName());
  for (int n = 1;; ++n) {
    const QString suffix = tag.isEmpty() ? QString::number(n + 1)
                                         : n == 1 ? tag : QStringLiteral("%1 %2").arg(tag).arg(n);
    const QString name = stem + " (" + suffix + ")." + info.suffix();
    if (!taken(name)) return name;
  }
}

QString fragmentPath(const QString& takePath) {
  const QFileInfo info(takePath);
  return info.dir().filePath(fragmentPrefix + info.fileName());
}

int remux(const QString& source, const QString& target, double endSeconds,
          std::int64_t packetBound) {
  // Written under a hidden name and moved into place whole, so a crash meanwhile never leaves
  // a half-written file under the take's name (the fragment is still there to recover).
  const QFileInfo info(target);
  const QString partial = info.dir().filePath(QStringLiteral(".finishing-") + info.fileName());
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

int lockFragment(const QString& fragment) {
  const int descriptor = ::open(local(fragment).c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return -1;
  if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
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
