#include "render/Av.h"
#include "capture/SampleCamera.h"

#include <QImage>

#include "app/Clock.h"
#include "app/Log.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

namespace vorn {

namespace {

constexpr double imageFps = 30;

// Sleeps until the deadline or a stop request, whichever comes first; true when stopped.
bool sleepUntil(std::stop_token stop, std::chrono::steady_clock::time_point deadline) {
  std::mutex mutex;
  std::condition_variable_any wake;
  std::unique_lock lock(mutex);
  wake.wait_until(lock, stop, deadline, [] { return false; });
  return stop.stop_requested();
}

// Runs `produce` at `fps` on a thread named "vorn.camera" until stopped; produce returns
// the next frame (null: nothing this tick).
class PacedCamera : public CameraDevice {
 public:
  void start(FrameHandler onFrame) override {
    stop();
    thread_ = std::jthread([this, onFrame = std::move(onFrame)](std::stop_token stop) {
      pthread_setname_np(pthread_self(), "vorn.camera");
      auto next = std::chrono::steady_clock::now();
      while (!stop.stop_requested()) {
        if (FrameRef frame = produce()) onFrame(std::move(frame), mediaTime());
        next += std::chrono::duration_cast<std::chrono::steady_clock::duration>(
            std::chrono::duration<double>(1.0 / fps_));
        // Behind by more than a frame (a slow machine): skip ahead rather than burst.
        const auto now = std::chrono::steady_clock::now();
        if (next < now) next = now;
        if (sleepUntil(stop, next)) break;
      }
    });
  }

  void stop() override {
    if (!thread_.joinable()) return;
    thread_.request_stop();
    thread_.join();
  }

 protected:
  virtual FrameRef produce() = 0;  // camera thread
  double fps_ = imageFps;
  std::jthread thread_;  // derived classes stop it in their destructors
};

class ImageCamera final : public PacedCamera {
 public:
  explicit ImageCamera(const QImage& image) {
    const QImage source = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    frame_ = std::make_shared<FrameBuffer>(source.width(), source.height());
    for (int y = 0; y < source.height(); ++y)
      std::memcpy(frame_->row(y), source.constScanLine(y), size_t(source.width()) * 4);
  }
  ~ImageCamera() override { stop(); }

 private:
  // The picture never changes: every tick hands out the same buffer.
  FrameRef produce() override { return frame_; }
  FrameRef frame_;
};

class MovieCamera final : public PacedCamera {
 public:
  bool open(const std::string& path, std::string* error) {
    AVFormatContext* format = nullptr;
    if (avformat_open_input(&format, path.c_str(), nullptr, nullptr) < 0)
      return fail(error, "not a picture or movie");
    format_.reset(format);
    if (avformat_find_stream_info(format, nullptr) < 0) return fail(error, "unreadable movie");
    const AVCodec* codec = nullptr;
    stream_ = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
    if (stream_ < 0 || !codec) return fail(error, "no video in the movie");
    codec_.reset(avcodec_alloc_context3(codec));
    const AVStream* stream = format->streams[stream_];
    if (!codec_ || avcodec_parameters_to_context(codec_.get(), stream->codecpar) < 0 ||
        avcodec_open2(codec_.get(), codec, nullptr) < 0)
      return fail(error, "the movie's video can't be decoded");
    if (codec_->width <= 0 || codec_->height <= 0)
      return fail(error, "the movie has no picture size");
    const AVRational rate =
        stream->avg_frame_rate.num > 0 ? stream->avg_frame_rate : stream->r_frame_rate;
    if (rate.num > 0 && rate.den > 0) fps_ = std::clamp(av_q2d(rate), 1.0, 60.0);
    pool_ = std::make_unique<FramePool>(codec_->width, codec_->height, 3);
    return true;
  }
  ~MovieCamera() override { stop(); }

 private:
  static bool fail(std::string* error, const char* reason) {
    *error = reason;
    return false;
  }

  FrameRef produce() override {
    // A few attempts per tick: a packet may hold no picture, the end loops back.
    for (int attempt = 0; attempt < 64; ++attempt) {
      const int received = avcodec_receive_frame(codec_.get(), decoded_.get());
      if (received == 0) return convert();
      if (received == AVERROR_EOF) {
        av_seek_frame(format_.get(), stream_, 0, AVSEEK_FLAG_BACKWARD);
        avcodec_flush_buffers(codec_.get());
        continue;
      }
      if (av_read_frame(format_.get(), packet_.get()) < 0) {
        avcodec_send_packet(codec_.get(), nullptr);  // drain, then EOF loops
        continue;
      }
      if (packet_->stream_index == stream_) avcodec_send_packet(codec_.get(), packet_.get());
      av_packet_unref(packet_.get());
    }
    return nullptr;
  }

  FrameRef convert() {
    FrameRef frame = pool_->take();
    if (!frame || decoded_->width != pool_->width() || decoded_->height != pool_->height())
      return nullptr;
    scale_.reset(sws_getCachedContext(
        scale_.release(), decoded_->width, decoded_->height, AVPixelFormat(decoded_->format),
        frame->width(), frame->height(), AV_PIX_FMT_BGRA, SWS_BILINEAR, nullptr, nullptr, nullptr));
    if (!scale_) return nullptr;
    uint8_t* planes[4] = {frame->data(), nullptr, nullptr, nullptr};
    const int strides[4] = {frame->stride(), 0, 0, 0};
    sws_scale(scale_.get(), decoded_->data, decoded_->linesize, 0, decoded_->height, planes,
              strides);
    av_frame_unref(decoded_.get());
    return frame;
  }

  // Camera thread only, after open.
  av::Input format_;
  av::CodecContext codec_;
  av::Frame decoded_{av_frame_alloc()};
  av::Packet packet_{av_packet_alloc()};
  av::Scale scale_;
  std::unique_ptr<FramePool> pool_;
  int stream_ = -1;
};

}  // namespace

namespace SampleCamera {

DeviceInfo info() { return {id, QStringLiteral("Sample Camera")}; }

bool requested() {
  const char* value = std::getenv("VORN_SAMPLE_CAMERA");
  return value && *value;
}

QString path() {
  return requested() ? QString::fromLocal8Bit(std::getenv("VORN_SAMPLE_CAMERA")) : builtInPath;
}

std::unique_ptr<CameraDevice> open(const QString& path, std::string* error) {
  const QImage image(path);
  if (!image.isNull()) return std::make_unique<ImageCamera>(image);
  auto movie = std::make_unique<MovieCamera>();
  std::string reason;
  if (movie->open(path.toStdString(), &reason)) return movie;
  *error = "the sample camera " + path.toStdString() + " can't be shown: " + reason;
  return nullptr;
}

}  // namespace SampleCamera

}  // namespace vorn
