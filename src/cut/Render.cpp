// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Render.h"

#include "cut/Cover.h"
#include "cut/PictureGrid.h"
#include "cut/ReelFiles.h"
#include "cut/ReelGraph.h"
#include "cut/ReelWriter.h"
#include "cut/TakeReader.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

namespace vorn::cut {
namespace {

// Progress is told about this often, in seconds of reel.
constexpr double kProgressStep = 0.5;

double totalLength(const std::vector<Span>& segments) {
  double total = 0;
  for (const Span& segment : segments) total += segment.length();
  return total;
}

// Feeds the take's frames into the graph and takes the reel's frames out as soon as they
// come, so no queue in between grows.
class Pump {
 public:
  Pump(TakeReader& reader, const ReelGraph& graph, ReelWriter& writer, const RenderJob& job)
      : reader_(reader),
        graph_(graph),
        writer_(writer),
        job_(job),
        total_(totalLength(job.segments)) {}

  double run() {
    for (;;) {
      collect(graph_.video(), videoDone_, videoTime_, [&](AVFrame* f) { onVideo(f); });
      collect(graph_.audio(), audioDone_, audioTime_, [&](AVFrame* f) { writer_.writeAudio(f); });
      if (videoDone_ && audioDone_) break;
      if (inputDone_) throw CutError("The reel's picture and sound stopped short.");
      feed();
    }
    writer_.finish();
    if (!coverSaved_) throw CutError("The reel came out without a single picture.");
    return std::max(videoTime_, audioTime_);
  }

 private:
  void feed() {
    const TakeReader::Stream stream = reader_.next(in_.get());
    if (stream == TakeReader::Stream::end) {
      inputDone_ = true;
      if (av_buffersrc_add_frame(graph_.videoSource(), nullptr) < 0 ||
          av_buffersrc_add_frame(graph_.audioSource(), nullptr) < 0)
        throw CutError("The reel couldn't be closed.");
      return;
    }
    AVFilterContext* source =
        stream == TakeReader::Stream::video ? graph_.videoSource() : graph_.audioSource();
    if (av_buffersrc_add_frame(source, in_.get()) < 0)
      throw CutError("The take's frames couldn't be cut into the reel.");
  }

  // Takes every frame `sink` has ready into `use`; marks `done` at the end of its stream.
  void collect(AVFilterContext* sink, bool& done, double& time,
               const std::function<void(AVFrame*)>& use) {
    while (!done) {
      const int code = av_buffersink_get_frame(sink, out_.get());
      if (code == AVERROR(EAGAIN)) return;
      if (code == AVERROR_EOF) {
        done = true;
        return;
      }
      if (code < 0) throw CutError("The reel's frames couldn't be made.");
      const double duration = sink == graph_.video()
                                  ? 1.0 / ReelGraph::kFps
                                  : double(out_->nb_samples) / ReelGraph::kSampleRate;
      time = out_->pts * av_q2d(av_buffersink_get_time_base(sink)) + duration;
      use(out_.get());
      av_frame_unref(out_.get());
    }
  }

  void onVideo(AVFrame* frame) {
    if (!coverSaved_ && videoTime_ >= job_.coverTime) {
      saveCover(frame, job_.cover);
      coverSaved_ = true;
    }
    frame->pict_type = AV_PICTURE_TYPE_NONE;
    writer_.writeVideo(frame);
    if (job_.progress && videoTime_ - told_ >= kProgressStep) {
      told_ = videoTime_;
      job_.progress(std::min(videoTime_ / std::max(total_, 0.001), 1.0));
    }
  }

  TakeReader& reader_;
  const ReelGraph& graph_;
  ReelWriter& writer_;
  const RenderJob& job_;
  const double total_;
  av::Frame in_ = av::makeFrame();
  av::Frame out_ = av::makeFrame();
  double videoTime_ = 0, audioTime_ = 0, told_ = 0;
  bool videoDone_ = false, audioDone_ = false, inputDone_ = false, coverSaved_ = false;
};

}  // namespace

double renderReel(const RenderJob& job) {
  av::quietLogs();
  // Cut only where a picture starts: picture and sound then last equally long in every
  // segment, and the reel's pictures keep the take's pace across each cut.
  RenderJob onGrid = job;
  onGrid.segments = PictureGrid(job.take).snapped(job.segments);
  if (onGrid.segments.empty()) throw CutError("The story has nothing to cut.");
  TakeReader reader(onGrid.take, onGrid.segments);
  ReelGraph graph(reader, onGrid.segments, onGrid.finish, onGrid.captions, onGrid.gainDb);
  ReelWriter writer(onGrid.reel, reelMarkOf(onGrid.take), av_buffersink_get_time_base(graph.video()),
                    av_buffersink_get_time_base(graph.audio()));
  return Pump(reader, graph, writer, onGrid).run();
}

}  // namespace vorn::cut
