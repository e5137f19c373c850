// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/MovieProbe.h"

#include "support/ChildProcess.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include "base/Av.h"
#include "support/DecodeStream.h"

#include <QFile>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

namespace vorn::test {

QImage frameAt(const QString& path, double seconds) {
  const QString png = QDir::temp().filePath(QStringLiteral("vorn-frame-%1.png").arg(QCoreApplication::applicationPid()));
  runCommand({"ffmpeg", "-v", "error", "-y", "-ss", std::to_string(seconds), "-i", path.toStdString(),
              "-frames:v", "1", png.toStdString()});
  QImage frame(png);
  QFile::remove(png);
  return frame;
}

namespace {

std::string local(const QString& path) { return QFile::encodeName(path).toStdString(); }

}  // namespace

std::vector<StreamInfo> probeStreams(const QString& path) {
  av::Input input = av::openInput(local(path));
  std::vector<StreamInfo> streams;
  for (unsigned i = 0; i < input->nb_streams; ++i) {
    const AVCodecParameters* p = input->streams[i]->codecpar;
    StreamInfo info;
    info.type = av_get_media_type_string(p->codec_type);
    info.codec = avcodec_get_name(p->codec_id);
    info.profile = p->profile;
    info.width = p->width;
    info.height = p->height;
    info.channels = p->ch_layout.nb_channels;
    info.sampleRate = p->sample_rate;
    info.primaries = p->color_primaries;
    info.transfer = p->color_trc;
    info.matrix = p->color_space;
    streams.push_back(info);
  }
  return streams;
}

double probeDuration(const QString& path) {
  av::Input input = av::openInput(local(path));
  return input->duration == AV_NOPTS_VALUE ? 0 : double(input->duration) / AV_TIME_BASE;
}

std::vector<PacketInfo> readPackets(const QString& path, int streamIndex) {
  av::Input input = av::openInput(local(path));
  av::Packet packet = av::makePacket();
  std::vector<PacketInfo> packets;
  while (av_read_frame(input.get(), packet.get()) >= 0) {
    if (packet->stream_index == streamIndex) {
      PacketInfo info;
      info.pts = packet->pts;
      info.seconds = packet->pts * av_q2d(input->streams[streamIndex]->time_base);
      info.key = packet->flags & AV_PKT_FLAG_KEY;
      info.data.assign(packet->data, packet->data + packet->size);
      packets.push_back(std::move(info));
    }
    av_packet_unref(packet.get());
  }
  return packets;
}

std::vector<float> decodeAudio(const QString& path, int streamIndex) {
  av::Input input = av::openInput(local(path));
  std::vector<float> samples;
  decodeStream(input.get(), streamIndex, [&samples](const AVFrame& frame) {
    const int channels = frame.ch_layout.nb_channels;
    for (int i = 0; i < frame.nb_samples; ++i)
      for (int c = 0; c < channels; ++c)
        samples.push_back(reinterpret_cast<const float*>(frame.extended_data[c])[i]);
  });
  return samples;
}

std::vector<std::string> topLevelBoxes(const QString& path) {
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly)) throw std::runtime_error("can't open movie");
  std::vector<std::string> boxes;
  qint64 at = 0;
  while (at + 8 <= file.size()) {
    file.seek(at);
    const QByteArray header = file.read(16);
    if (header.size() < 8) break;
    const auto byte = [&](int i) { return std::uint64_t(std::uint8_t(header[i])); };
    std::uint64_t size = byte(0) << 24 | byte(1) << 16 | byte(2) << 8 | byte(3);
    if (size == 1 && header.size() == 16) {
      size = 0;
      for (int i = 8; i < 16; ++i) size = size << 8 | byte(i);
    }
    boxes.emplace_back(header.constData() + 4, 4);
    if (size < 8) break;
    at += qint64(size);
  }
  return boxes;
}

FrameRef syntheticFrame(Recorder& recorder, int index) {
  FrameRef frame = recorder.pool()->take();
  for (int y = 0; y < frame->height(); ++y) {
    auto* row = reinterpret_cast<std::uint32_t*>(frame->row(y));
    const std::uint32_t shade = 0xff000000u | std::uint32_t((y / 8 + index * 4) & 0xff) * 0x010101u;
    for (int x = 0; x < frame->width(); ++x) row[x] = ((x + index * 16) / 64) % 2 ? shade : 0xff2060a0u;
  }
  return frame;
}

Quiet quietRuns(const std::vector<float>& mono, int sampleRate) {
  const auto quiet = [](float s) { return std::abs(s) < 1e-3f; };
  const auto first = std::find_if_not(mono.begin(), mono.end(), quiet);
  const auto last = std::find_if_not(mono.rbegin(), mono.rend(), quiet).base();
  Quiet runs;
  runs.leading = double(first - mono.begin()) / sampleRate;
  runs.trailing = double(mono.end() - std::max(first, last)) / sampleRate;
  long run = 0, longest = 0;
  for (auto it = first; it < last; ++it) {
    run = quiet(*it) ? run + 1 : 0;
    longest = std::max(longest, run);
  }
  runs.longestInside = double(longest) / sampleRate;
  return runs;
}

double firstAtLeast(const std::vector<float>& mono, float level, int sampleRate) {
  const auto at = std::find_if(mono.begin(), mono.end(), [level](float s) { return std::abs(s) >= level; });
  return at == mono.end() ? -1 : double(at - mono.begin()) / sampleRate;
}

AudioRef tone(int channels, double seconds, double hertz, double pts) {
  auto buffer = std::make_shared<AudioBuffer>();
  buffer->channels = channels;
  buffer->pts = pts;
  const int frames = int(std::lround(seconds * buffer->sampleRate));
  buffer->samples.resize(std::size_t(frames) * channels);
  for (int i = 0; i < frames; ++i)
    for (int c = 0; c < channels; ++c)
      buffer->samples[std::size_t(i) * channels + c] =
          hertz > 0 ? 0.5f * float(std::sin(2 * M_PI * hertz * i / buffer->sampleRate)) : 0.0f;
  return buffer;
}

}  // namespace vorn::test
