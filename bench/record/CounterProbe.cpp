// SPDX-License-Identifier: GPL-3.0-or-later
// Decodes every video frame of a movie and reads the benchmark window's frame counter inside
// the card (see CounterPattern.h), then prints what the recording caught:
//   frames <n> duration <s> distinct <n> new <n> distinct_per_s <x> unreadable <n> span <first>..<last>
// "new" counts frames whose counter differs from the frame before.
//
// usage: counter_probe MOVIE [CARD_X CARD_Y CARD_W CARD_H]   (1080 × 1920 coordinates;
//        the floating card 56 210 968 1270 by default)

#include "CounterPattern.h"
#include "base/Av.h"
#include "support/DecodeStream.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <set>
#include <stdexcept>

namespace {

struct Card {
  int x = 56, y = 210, width = 968, height = 1270;
};

// Mean luma of a 9 × 9 box, or nothing when the point lies outside the picture.
std::optional<int> lumaAt(const AVFrame& frame, int cx, int cy) {
  if (cx < 4 || cy < 4 || cx + 4 >= frame.width || cy + 4 >= frame.height) return std::nullopt;
  int sum = 0;
  for (int y = cy - 4; y <= cy + 4; ++y)
    for (int x = cx - 4; x <= cx + 4; ++x) sum += frame.data[0][y * frame.linesize[0] + x];
  return sum / 81;
}

// The counter in the frame, or nothing when a stripe is neither clearly black nor white.
std::optional<long> readCounter(const AVFrame& frame, const Card& card) {
  const int y = card.y + int(card.height * vorn::bench::kSampleRow);
  std::uint32_t gray = 0;
  for (int bit = 0; bit < vorn::bench::kCounterBits; ++bit) {
    const int x = card.x + int(card.width * (bit + 0.5) / vorn::bench::kCounterBits);
    const std::optional<int> luma = lumaAt(frame, x, y);
    if (!luma || (*luma > 80 && *luma < 170)) return std::nullopt;
    gray = (gray << 1) | (*luma >= 170 ? 1u : 0u);
  }
  return long(vorn::bench::fromGray(gray));
}

int probe(const char* path, const Card& card) {
  vorn::av::Input input = vorn::av::openInput(path);
  const int stream = av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (stream < 0) throw std::runtime_error("no video stream");
  const AVCodecParameters* parameters = input->streams[stream]->codecpar;
  if (parameters->format != AV_PIX_FMT_YUV420P && parameters->format != AV_PIX_FMT_YUVJ420P)
    throw std::runtime_error("the video is not YUV 4:2:0");
  long frames = 0, fresh = 0, unreadable = 0;
  std::optional<long> previous, first, last;
  std::set<long> seen;
  vorn::test::decodeStream(input.get(), stream, [&](const AVFrame& frame) {
    ++frames;
    const std::optional<long> counter = readCounter(frame, card);
    if (!counter) {
      ++unreadable;
      return;
    }
    if (counter != previous) ++fresh;
    previous = counter;
    seen.insert(*counter);
    if (!first) first = counter;
    last = counter;
  }, 2);

  const AVStream* video = input->streams[stream];
  double duration = video->duration > 0 ? video->duration * av_q2d(video->time_base)
                                         : input->duration / double(AV_TIME_BASE);
  std::printf("frames %ld duration %.3f distinct %zu new %ld distinct_per_s %.2f unreadable %ld "
              "span %ld..%ld\n",
              frames, duration, seen.size(), fresh, duration > 0 ? seen.size() / duration : 0.0,
              unreadable, first.value_or(-1), last.value_or(-1));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 6) {
    std::fprintf(stderr, "usage: counter_probe MOVIE [CARD_X CARD_Y CARD_W CARD_H]\n");
    return 2;
  }
  Card card;
  if (argc == 6) card = {std::atoi(argv[2]), std::atoi(argv[3]), std::atoi(argv[4]), std::atoi(argv[5])};
  try {
    return probe(argv[1], card);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "counter_probe: %s\n", error.what());
    return 1;
  }
}
