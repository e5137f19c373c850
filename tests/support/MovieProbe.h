// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "record/Recorder.h"

#include <QImage>
#include <QString>

#include <cstdint>
#include <string>
#include <vector>

namespace vorn::test {

struct StreamInfo {
  std::string type;   // "video", "audio"
  std::string codec;  // "h264", "aac"
  int profile = 0;
  int width = 0, height = 0;
  int channels = 0, sampleRate = 0;
  int primaries = 0, transfer = 0, matrix = 0;
};

struct PacketInfo {
  std::int64_t pts = 0;
  double seconds = 0;
  bool key = false;
  std::vector<std::uint8_t> data;
};

std::vector<StreamInfo> probeStreams(const QString& path);
double probeDuration(const QString& path);
std::vector<PacketInfo> readPackets(const QString& path, int streamIndex);
// The decoded samples of an audio stream, channels interleaved.
std::vector<float> decodeAudio(const QString& path, int streamIndex);
// The picture of the movie at `seconds`, decoded by ffmpeg (null when it can't be).
QImage frameAt(const QString& path, double seconds);
// Runs of digital silence (every sample below 1/1000 of full scale) in mono samples, in
// seconds: before the first sound, after the last, and the longest in between.
struct Quiet {
  double leading = 0, trailing = 0, longestInside = 0;
};
Quiet quietRuns(const std::vector<float>& mono, int sampleRate = 48000);
// The first sample at or above `level` (in seconds from the start), or −1 when there is none.
double firstAtLeast(const std::vector<float>& mono, float level, int sampleRate = 48000);
// The names of the top-level boxes of an MP4 file, in order.
std::vector<std::string> topLevelBoxes(const QString& path);

// A 1080 × 1920 frame from the recorder's pool, painted with moving bars so that frames differ.
FrameRef syntheticFrame(Recorder& recorder, int index);
// `seconds` of a sine at `hertz` (amplitude 0.5), or silence at hertz 0.
AudioRef tone(int channels, double seconds, double hertz, double pts);

}  // namespace vorn::test
