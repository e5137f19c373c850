// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Denoise.h"

#include "base/Av.h"
#include "cut/Words.h"

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

namespace vorn::cut {
namespace {

constexpr double kLeastClearDb = 25;
// afftdn's noise floor goes from -80 to -20 dB.
constexpr double kQuietestFloorDb = -80;
constexpr double kLoudestFloorDb = -20;
constexpr int kFrameSamples = 4096;
// afftdn hands its sound out this much later than it came in, whatever the rate.
constexpr double kDenoiseLateSeconds = 0.025;

struct GraphFree {
  void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
};

double percentile(std::vector<double> levels, double share) {
  const auto at = levels.begin() + long(double(levels.size() - 1) * share);
  std::nth_element(levels.begin(), at, levels.end());
  return *at;
}

AVFilterContext* addFilter(AVFilterGraph* graph, const char* type, const char* name,
                           const std::string& arguments) {
  AVFilterContext* filter = nullptr;
  if (avfilter_graph_create_filter(&filter, avfilter_get_by_name(type), name,
                                   arguments.empty() ? nullptr : arguments.c_str(), nullptr,
                                   graph) < 0)
    throw CutError(std::string("This computer's FFmpeg can't set up its ") + type + " filter.");
  return filter;
}

void take(AVFilterContext* sink, AVFrame* frame, Pcm& out) {
  while (av_buffersink_get_frame(sink, frame) >= 0) {
    const auto* samples = reinterpret_cast<const std::int16_t*>(frame->data[0]);
    out.samples.insert(out.samples.end(), samples, samples + frame->nb_samples);
    av_frame_unref(frame);
  }
}

void give(AVFilterContext* source, const Pcm& pcm, std::size_t from, std::size_t count) {
  av::Frame frame = av::makeFrame();
  frame->format = AV_SAMPLE_FMT_S16;
  frame->sample_rate = Pcm::kRate;
  frame->ch_layout = AV_CHANNEL_LAYOUT_MONO;
  frame->nb_samples = int(count);
  frame->pts = std::int64_t(from);
  av::check(av_frame_get_buffer(frame.get(), 0), "Couldn't hold the sound");
  std::memcpy(frame->data[0], pcm.samples.data() + from, count * sizeof(std::int16_t));
  av::check(av_buffersrc_add_frame(source, frame.get()), "Couldn't denoise the sound");
}

Pcm denoised(const Pcm& pcm, double floorDb) {
  std::unique_ptr<AVFilterGraph, GraphFree> graph(avfilter_graph_alloc());
  if (!graph) throw std::bad_alloc();
  AVFilterContext* source = addFilter(
      graph.get(), "abuffer", "sound",
      "sample_rate=16000:sample_fmt=s16:channel_layout=mono:time_base=1/16000");
  AVFilterContext* denoise = addFilter(
      graph.get(), "afftdn", "denoise",
      "nf=" + std::to_string(std::clamp(floorDb, kQuietestFloorDb, kLoudestFloorDb)) + ":tn=1");
  AVFilterContext* format =
      addFilter(graph.get(), "aformat", "format", "sample_fmts=s16:channel_layouts=mono");
  AVFilterContext* sink = addFilter(graph.get(), "abuffersink", "heard", "");
  if (avfilter_link(source, 0, denoise, 0) < 0 || avfilter_link(denoise, 0, format, 0) < 0 ||
      avfilter_link(format, 0, sink, 0) < 0 || avfilter_graph_config(graph.get(), nullptr) < 0)
    throw CutError("The take's sound couldn't be cleaned for listening.");
  Pcm out;
  out.samples.reserve(pcm.samples.size());
  av::Frame frame = av::makeFrame();
  for (std::size_t at = 0; at < pcm.samples.size(); at += kFrameSamples) {
    give(source, pcm, at, std::min<std::size_t>(kFrameSamples, pcm.samples.size() - at));
    take(sink, frame.get(), out);
  }
  av::check(av_buffersrc_add_frame(source, nullptr), "Couldn't denoise the sound");
  take(sink, frame.get(), out);
  out.samples.resize(pcm.samples.size(), 0);
  return out;
}

}  // namespace

bool voiceStandsClear(const SoundLevels& levels) {
  return levels.db.empty() || percentile(levels.db, 0.9) - percentile(levels.db, 0.1) >= kLeastClearDb;
}

Listening forListening(const Pcm& pcm, const SoundLevels& levels) {
  if (voiceStandsClear(levels)) return {pcm, 0};
  return {denoised(pcm, percentile(levels.db, 0.1)), kDenoiseLateSeconds};
}

Pcm onTime(const Listening& listening) {
  Pcm pcm = listening.pcm;
  const auto late = std::min(pcm.samples.size(), std::size_t(std::lround(listening.late * Pcm::kRate)));
  pcm.samples.erase(pcm.samples.begin(), pcm.samples.begin() + long(late));
  pcm.samples.resize(listening.pcm.samples.size(), 0);
  return pcm;
}

}  // namespace vorn::cut
