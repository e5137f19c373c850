// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/FaceFinish.h"
#include "cut/TakeReader.h"
#include "cut/Words.h"

extern "C" {
#include <libavfilter/avfilter.h>
}

#include <memory>
#include <string>
#include <vector>

namespace vorn::cut {

struct GraphFree {
  void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
};

// libavfilter's picture of the reel, fed with the take's frames: its segments played back to
// back (sound faded over a few milliseconds at each cut, so no cut clicks; raised to the
// platforms' loudness under a peak ceiling), filling 1080 × 1920 at 30 frames
// per second, the face finish on the camera's place, captions burnt in by libass; 48 kHz
// stereo sound in frames of 1024 samples.
class ReelGraph {
 public:
  static constexpr int kWidth = 1080;
  static constexpr int kHeight = 1920;
  static constexpr int kFps = 30;
  static constexpr int kSampleRate = 48000;

  // Throws CutError when the graph cannot be built for the take's streams.
  // `gainDb` brings the sound to the reel's loudness.
  ReelGraph(const TakeReader& take, const std::vector<Span>& segments, const FaceFinish& finish,
            const std::string& captions, double gainDb);

  // Where the take's frames go in, and where the reel's come out.
  AVFilterContext* videoSource() const { return videoSource_; }
  AVFilterContext* audioSource() const { return audioSource_; }
  AVFilterContext* video() const { return videoSink_; }
  AVFilterContext* audio() const { return audioSink_; }

 private:
  std::unique_ptr<AVFilterGraph, GraphFree> graph_;
  AVFilterContext* videoSource_ = nullptr;
  AVFilterContext* audioSource_ = nullptr;
  AVFilterContext* videoSink_ = nullptr;
  AVFilterContext* audioSink_ = nullptr;
};

}  // namespace vorn::cut
