// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/ReelGraph.h"

#include "base/Av.h"
#include "cut/Loudness.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavutil/pixdesc.h>
#include <libavutil/opt.h>
}

#include <cmath>
#include <cstdio>

namespace vorn::cut {
namespace {

constexpr double kFade = 0.008;
// The limiter holds sample peaks this far under the true-peak ceiling: the peaks between
// samples, and the encoder's, rise by up to about as much.
constexpr double kPeakMarginDb = 1;

// Makes a filter whose options are set one by one, so that paths need no escaping.
AVFilterContext* makeFilter(AVFilterGraph* graph, const char* type, const char* name,
                            const std::vector<std::pair<const char*, std::string>>& options) {
  AVFilterContext* filter = avfilter_graph_alloc_filter(graph, avfilter_get_by_name(type), name);
  if (!filter) throw CutError(std::string("This computer's FFmpeg lacks the ") + type + " filter.");
  for (const auto& [key, value] : options)
    av::check(av_opt_set(filter, key, value.c_str(), AV_OPT_SEARCH_CHILDREN), type);
  if (avfilter_init_str(filter, nullptr) < 0)
    throw CutError(std::string("The reel's ") + type + " step couldn't be set up.");
  return filter;
}

// A moment of the take in a stream's own time units, so a trim cuts exactly there.
std::string ticks(double seconds, AVRational unit) {
  return std::to_string(std::llround(seconds / av_q2d(unit)));
}

std::string number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f", value);
  return text;
}

// The middle of the graph, between the take's [v][a] and the captioning's [sv] and [sa].
// The reel's sound: the take's as one channel, brought to the platforms' loudness with its
// peaks limited, then the same in both channels.
std::string soundChain(double gainDb) {
  const double limit = std::pow(10.0, (kReelPeakCeilingDb - kPeakMarginDb) / 20);
  return "[ca]aresample=48000,aformat=sample_fmts=fltp:channel_layouts=mono,volume=" +
         number(gainDb) + "dB,alimiter=limit=" + number(limit) +
         ":level=false:latency=true,pan=stereo|c0=c0|c1=c0,"
         "aformat=sample_fmts=fltp:channel_layouts=stereo[sa]";
}

std::string description(const TakeReader& take, const std::vector<Span>& segments,
                        const FaceFinish& finish, double gainDb) {
  const AVRational picture = take.videoTimeBase(), sound = take.audioTimeBase();
  const std::string n = std::to_string(segments.size());
  std::string text = "[v]split=" + n;
  for (std::size_t i = 0; i < segments.size(); ++i) text += "[v" + std::to_string(i) + "]";
  text += ";[a]asplit=" + n;
  for (std::size_t i = 0; i < segments.size(); ++i) text += "[a" + std::to_string(i) + "]";
  std::string joined;
  for (std::size_t i = 0; i < segments.size(); ++i) {
    const std::string k = std::to_string(i);
    const Span& s = segments[i];
    text += ";[v" + k + "]trim=start_pts=" + ticks(s.start, picture) +
            ":end_pts=" + ticks(s.end, picture) + ",setpts=PTS-STARTPTS[cv" + k + "]";
    text += ";[a" + k + "]atrim=start_pts=" + ticks(s.start, sound) +
            ":end_pts=" + ticks(s.end, sound) +
            ",asetpts=PTS-STARTPTS,afade=t=in:d=" + number(kFade) +
            ",afade=t=out:st=" + number(std::max(0.0, s.length() - kFade)) + ":d=" + number(kFade) +
            "[ca" + k + "]";
    joined += "[cv" + k + "][ca" + k + "]";
  }
  text += ";" + joined + "concat=n=" + n + ":v=1:a=1[cv][ca]";
  text +=
      ";[cv]scale=1080:1920:force_original_aspect_ratio=increase,crop=1080:1920,setsar=1,"
      "fps=30,format=yuv420p[filled];" +
      faceFinishGraph(finish) + ";[finished]format=yuv420p[sv]";
  text += ";" + soundChain(gainDb);
  return text;
}

AVFilterInOut* pad(const char* name, AVFilterContext* filter, int index, AVFilterInOut* next) {
  AVFilterInOut* item = avfilter_inout_alloc();
  if (!item) throw std::bad_alloc();
  item->name = av_strdup(name);
  item->filter_ctx = filter;
  item->pad_idx = index;
  item->next = next;
  return item;
}

std::string rational(AVRational value) {
  return std::to_string(value.num) + "/" + std::to_string(value.den);
}

AVFilterContext* videoSourceFor(AVFilterGraph* graph, const TakeReader& take) {
  const AVCodecContext* video = take.video();
  const AVRational aspect =
      video->sample_aspect_ratio.num > 0 ? video->sample_aspect_ratio : AVRational{1, 1};
  const char* format = av_get_pix_fmt_name(video->pix_fmt);
  if (!format) throw CutError("The take's picture is in a format this computer can't read.");
  return makeFilter(
      graph, "buffer", "take picture",
      {{"video_size", std::to_string(video->width) + "x" + std::to_string(video->height)},
       {"pix_fmt", format},
       {"time_base", rational(take.videoTimeBase())},
       {"pixel_aspect", rational(aspect)}});
}

AVFilterContext* audioSourceFor(AVFilterGraph* graph, const TakeReader& take) {
  const AVCodecContext* audio = take.audio();
  char layout[128] = {};
  AVChannelLayout channels = audio->ch_layout;
  if (channels.order == AV_CHANNEL_ORDER_UNSPEC)
    av_channel_layout_default(&channels, channels.nb_channels);
  av_channel_layout_describe(&channels, layout, sizeof layout);
  const char* format = av_get_sample_fmt_name(audio->sample_fmt);
  if (!format) throw CutError("The take's sound is in a format this computer can't read.");
  return makeFilter(graph, "abuffer", "take sound",
                    {{"time_base", rational(take.audioTimeBase())},
                     {"sample_rate", std::to_string(audio->sample_rate)},
                     {"sample_fmt", format},
                     {"channel_layout", layout}});
}

}  // namespace

ReelGraph::ReelGraph(const TakeReader& take, const std::vector<Span>& segments,
                     const FaceFinish& finish, const std::string& captions, double gainDb)
    : graph_(avfilter_graph_alloc()) {
  if (!graph_) throw std::bad_alloc();
  if (segments.empty()) throw CutError("The story has nothing to cut.");
  AVFilterGraph* graph = graph_.get();
  videoSource_ = videoSourceFor(graph, take);
  audioSource_ = audioSourceFor(graph, take);
  AVFilterContext* burn = makeFilter(graph, "ass", "captions", {{"filename", captions}});
  videoSink_ = makeFilter(graph, "buffersink", "picture", {});
  audioSink_ = makeFilter(graph, "abuffersink", "sound", {});
  av::check(avfilter_link(burn, 0, videoSink_, 0), "Couldn't link the captions");
  AVFilterInOut* outputs = pad("v", videoSource_, 0, pad("a", audioSource_, 0, nullptr));
  AVFilterInOut* inputs = pad("sv", burn, 0, pad("sa", audioSink_, 0, nullptr));
  const int parsed = avfilter_graph_parse_ptr(graph, description(take, segments, finish, gainDb).c_str(), &inputs,
                                              &outputs, nullptr);
  avfilter_inout_free(&inputs);
  avfilter_inout_free(&outputs);
  if (parsed < 0 || avfilter_graph_config(graph, nullptr) < 0)
    throw CutError("The take's picture and sound couldn't be cut into a reel.");
  av_buffersink_set_frame_size(audioSink_, 1024);
}

}  // namespace vorn::cut
