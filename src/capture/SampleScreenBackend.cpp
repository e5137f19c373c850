#include "render/Av.h"
#include "capture/SampleScreenBackend.h"

#include "app/Clock.h"
#include "app/Log.h"
#include "capture/GrabLoop.h"
#include "capture/ScreenPixels.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

#include <stdexcept>

namespace vorn {
namespace {

}  // namespace

// Decodes the sample file picture by picture into BGRA, starting over at its end.
class SampleDecoder {
 public:
  explicit SampleDecoder(const std::string& path) {
    AVFormatContext* format = nullptr;
    int status = avformat_open_input(&format, path.c_str(), nullptr, nullptr);
    if (status < 0) throw std::runtime_error("Cannot open " + path + ": " + av::errorText(status) + ".");
    format_.reset(format);
    if ((status = avformat_find_stream_info(format, nullptr)) < 0)
      throw std::runtime_error("Cannot read " + path + ": " + av::errorText(status) + ".");
    const AVCodec* codec = nullptr;
    stream_ = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
    if (stream_ < 0 || !codec) throw std::runtime_error(path + " holds no picture.");
    codec_.reset(avcodec_alloc_context3(codec));
    avcodec_parameters_to_context(codec_.get(), format->streams[stream_]->codecpar);
    if ((status = avcodec_open2(codec_.get(), codec, nullptr)) < 0)
      throw std::runtime_error("Cannot decode " + path + ": " + av::errorText(status) + ".");
    timeBase_ = av_q2d(format->streams[stream_]->time_base);
    if (!decodeNext()) throw std::runtime_error(path + " holds no picture.");
  }

  int width() const { return frame_->width; }
  int height() const { return frame_->height; }
  // Seconds from the start of the file to the picture just decoded.
  double time() const { return time_; }
  // True when the file holds one picture only.
  bool still() const { return still_; }

  // Decodes the next picture, going back to the start after the last one.
  bool decodeNext() {
    for (int attempt = 0; attempt < 2; ++attempt) {
      if (receive()) return true;
      // At the end: one picture in all means a still image.
      if (decoded_ == 1) still_ = true;
      if (decoded_ == 0 && attempt == 1) return false;
      av_seek_frame(format_.get(), stream_, 0, AVSEEK_FLAG_BACKWARD);
      avcodec_flush_buffers(codec_.get());
      loopOffset_ += lastTime_ + frameSeconds_;
      ended_ = false;
    }
    return false;
  }

  void copyTo(FrameBuffer& out) {
    scale_.reset(sws_getCachedContext(scale_.release(), frame_->width, frame_->height,
                                      AVPixelFormat(frame_->format), out.width(), out.height(),
                                      AV_PIX_FMT_BGRA, SWS_BILINEAR, nullptr, nullptr, nullptr));
    if (!scale_) return;
    uint8_t* planes[4] = {out.data(), nullptr, nullptr, nullptr};
    int strides[4] = {out.stride(), 0, 0, 0};
    sws_scale(scale_.get(), frame_->data, frame_->linesize, 0, frame_->height, planes, strides);
    makeOpaque(out.data(), out.stride(), out.width(), out.height());
  }

 private:
  bool receive() {
    for (;;) {
      const int status = avcodec_receive_frame(codec_.get(), frame_.get());
      if (status == 0) {
        ++decoded_;
        const int64_t pts = frame_->best_effort_timestamp;
        const double local = pts == AV_NOPTS_VALUE ? decoded_ * frameSeconds_ : pts * timeBase_;
        if (frame_->pkt_duration > 0) frameSeconds_ = frame_->pkt_duration * timeBase_;
        time_ = loopOffset_ + local;
        lastTime_ = local;
        return true;
      }
      if (status != AVERROR(EAGAIN) || ended_) return false;
      if (av_read_frame(format_.get(), packet_.get()) < 0) {
        ended_ = true;
        avcodec_send_packet(codec_.get(), nullptr);
        continue;
      }
      if (packet_->stream_index == stream_) avcodec_send_packet(codec_.get(), packet_.get());
      av_packet_unref(packet_.get());
    }
  }

  av::Input format_;
  av::CodecContext codec_;
  av::Frame frame_{av_frame_alloc()};
  av::Packet packet_{av_packet_alloc()};
  av::Scale scale_;
  int stream_ = -1;
  double timeBase_ = 0;
  double frameSeconds_ = 1.0 / 30;
  double time_ = 0;
  double lastTime_ = 0;
  double loopOffset_ = 0;
  int decoded_ = 0;
  bool ended_ = false;
  bool still_ = false;
};

// Serves the decoded pictures as a display: crops and scales the configured area out of them.
class SampleGrabber : public Grabber {
 public:
  explicit SampleGrabber(const std::string& path)
      : decoder_(path), picture_(decoder_.width(), decoder_.height()) {
    decoder_.copyTo(picture_);
  }

  Result grab(const ScreenConfig& config, bool changed) override {
    const double now = mediaTime();
    if (started_ < 0) started_ = now;
    const bool advanced = advance(now - started_);
    if (!changed && !advanced) return {};
    const int left = int(config.sourceRect.x), top = int(config.sourceRect.y);
    const int width = int(config.sourceRect.width), height = int(config.sourceRect.height);
    if (left < 0 || top < 0 || width <= 0 || height <= 0 || left + width > picture_.width() ||
        top + height > picture_.height() || config.width <= 0 || config.height <= 0)
      return {nullptr, "The capture area lies outside the display.", false};
    if (!pool_ || pool_->width() != config.width || pool_->height() != config.height)
      pool_ = std::make_unique<FramePool>(config.width, config.height, 2, 8);
    FrameRef frame = pool_->take();
    if (!frame) return {};
    convertToFrame(picture_.row(top) + left * 4, picture_.stride(), width, height, *frame);
    return {std::move(frame), {}, false};
  }

 private:
  // Decodes up to the picture due at `elapsed` seconds; true when the picture changed.
  bool advance(double elapsed) {
    if (decoder_.still()) return false;
    bool advanced = false;
    // A few pictures at most per tick: a slow machine skips ahead instead of falling behind.
    for (int i = 0; i < 4 && decoder_.time() + 1e-3 < elapsed; ++i) {
      if (!decoder_.decodeNext() || decoder_.still()) break;
      advanced = true;
    }
    if (advanced) decoder_.copyTo(picture_);
    return advanced;
  }

  SampleDecoder decoder_;
  FrameBuffer picture_;
  std::unique_ptr<FramePool> pool_;
  double started_ = -1;
};

SampleScreenBackend::SampleScreenBackend(std::string path) : path_(std::move(path)) {}

SampleScreenBackend::~SampleScreenBackend() { stop(); }

std::vector<DisplayInfo> SampleScreenBackend::displays() {
  try {
    const SampleDecoder decoder(path_);
    return {{1, "Sample", Rect{0, 0, double(decoder.width()), double(decoder.height())}, 1.0}};
  } catch (const std::exception& error) {
    logError(std::string("sample screen: ") + error.what());
    return {};
  }
}

void SampleScreenBackend::start(const DisplayInfo&, const ScreenConfig& config,
                                std::shared_ptr<OwnWindows>, ScreenSinks sinks) {
  stop();
  running_.start(std::make_unique<SampleGrabber>(path_), config, std::move(sinks));
}

void SampleScreenBackend::stop() { running_.stop(); }

void SampleScreenBackend::update(const ScreenConfig& config, Completion done) {
  running_.update(config, std::move(done));
}

}  // namespace vorn
