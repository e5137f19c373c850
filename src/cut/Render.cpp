#include "cut/Render.h"

#include "cut/Cover.h"
#include "cut/ReelGraph.h"
#include "cut/ReelWriter.h"

extern "C" {
#include <libavfilter/buffersink.h>
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

// Pulls the graph's two outputs in time order, so neither waits long for the other.
class Pump {
 public:
  Pump(const ReelGraph& graph, ReelWriter& writer, const RenderJob& job)
      : graph_(graph), writer_(writer), job_(job), total_(totalLength(job.segments)) {}

  double run() {
    while (!videoDone_ || !audioDone_) {
      const bool takeVideo = !videoDone_ && (audioDone_ || videoTime_ <= audioTime_);
      if (takeVideo)
        videoDone_ = !pull(graph_.video(), videoTime_, [&](AVFrame* f) { onVideo(f); });
      else
        audioDone_ = !pull(graph_.audio(), audioTime_, [&](AVFrame* f) { writer_.writeAudio(f); });
    }
    writer_.finish();
    if (!coverSaved_) throw CutError("The reel came out without a single picture.");
    return std::max(videoTime_, audioTime_);
  }

 private:
  // Takes one frame from `sink` into `use`; false at the end of that stream.
  bool pull(AVFilterContext* sink, double& time, const std::function<void(AVFrame*)>& use) {
    const int code = av_buffersink_get_frame(sink, frame_.get());
    if (code == AVERROR_EOF) return false;
    if (code < 0) throw CutError("The take couldn't be decoded to the end.");
    const AVRational base = av_buffersink_get_time_base(sink);
    const double duration = sink == graph_.video()
                                ? 1.0 / ReelGraph::kFps
                                : double(frame_->nb_samples) / ReelGraph::kSampleRate;
    time = frame_->pts * av_q2d(base) + duration;
    use(frame_.get());
    av_frame_unref(frame_.get());
    return true;
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

  const ReelGraph& graph_;
  ReelWriter& writer_;
  const RenderJob& job_;
  const double total_;
  av::Frame frame_ = av::makeFrame();
  double videoTime_ = 0, audioTime_ = 0, told_ = 0;
  bool videoDone_ = false, audioDone_ = false, coverSaved_ = false;
};

}  // namespace

double renderReel(const RenderJob& job) {
  av::quietLogs();
  ReelGraph graph(job.take, job.segments, job.finish, job.captions);
  ReelWriter writer(job.reel, av_buffersink_get_time_base(graph.video()),
                    av_buffersink_get_time_base(graph.audio()));
  return Pump(graph, writer, job).run();
}

}  // namespace vorn::cut
