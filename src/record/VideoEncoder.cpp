// SPDX-License-Identifier: GPL-3.0-or-later
#include "record/VideoEncoder.h"

#include "base/Log.h"
#include "record/HardwareFrames.h"
#include "record/Yuv709.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <stdexcept>

namespace vorn {
namespace {

// libx264 presets from slowest usable to fastest. Measured on two cores for 1080 × 1920
// screen content (cores per recorded second): 30 fps superfast 0.61, ultrafast 0.29; 60 fps
// superfast 1.42, ultrafast 0.66. The render loop and capture need the rest of the machine.
constexpr std::array<const char*, 3> presets = {"veryfast", "superfast", "ultrafast"};
std::atomic<int> presetStep{0};  // how many steps faster than the default the next take starts

constexpr std::array<const char*, 10> knownPresets = {
    "ultrafast", "superfast", "veryfast", "faster", "fast",
    "medium",    "slow",      "slower",   "veryslow", "placebo"};

// VORN_X264_PRESET forces one preset for every take (to compare encoders at equal settings);
// read once, null when unset or unknown.
const char* forcedPreset() {
  static const char* const forced = [] () -> const char* {
    const char* value = std::getenv("VORN_X264_PRESET");
    if (!value || !*value) return nullptr;
    for (const char* known : knownPresets)
      if (std::strcmp(value, known) == 0) return known;
    logError(std::string("VORN_X264_PRESET \"") + value +
             "\" is not a libx264 preset: Vorn picks the preset itself.");
    return nullptr;
  }();
  return forced;
}

const char* presetFor(int fps) {
  if (const char* forced = forcedPreset()) return forced;
  const int base = fps >= 60 ? 2 : 1;
  return presets[std::min<int>(base + presetStep.load(), int(presets.size()) - 1)];
}

int bitRateFor(int fps) { return fps >= 60 ? 18'000'000 : 12'000'000; }

av::CodecContext makeContext(const AVCodec* codec, int fps) {
  av::CodecContext context(avcodec_alloc_context3(codec));
  if (!context) throw std::bad_alloc();
  context->width = VideoEncoder::width;
  context->height = VideoEncoder::height;
  context->pix_fmt = AV_PIX_FMT_YUV420P;
  // One tick a frame: the stream's own timing (its VUI) then states the real rate.
  context->time_base = {1, fps};
  context->framerate = {fps, 1};
  context->gop_size = 2 * fps;
  context->max_b_frames = 0;  // pts = dts: fragments stay simple to recover
  context->bit_rate = bitRateFor(fps);
  context->profile = FF_PROFILE_H264_HIGH;
  context->color_primaries = AVCOL_PRI_BT709;
  context->color_trc = AVCOL_TRC_BT709;
  context->colorspace = AVCOL_SPC_BT709;
  context->color_range = AVCOL_RANGE_MPEG;
  context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;  // MP4 keeps SPS/PPS in the sample description
  return context;
}

av::Frame makePicture() {
  av::Frame picture = av::makeFrame();
  picture->format = AV_PIX_FMT_YUV420P;
  picture->width = VideoEncoder::width;
  picture->height = VideoEncoder::height;
  picture->color_primaries = AVCOL_PRI_BT709;
  picture->color_trc = AVCOL_TRC_BT709;
  picture->colorspace = AVCOL_SPC_BT709;
  picture->color_range = AVCOL_RANGE_MPEG;
  av::check(av_frame_get_buffer(picture.get(), 64), "Couldn't allocate a video frame");
  return picture;
}

// The hardware encoders tried, in order, and the video memory each reads its pictures from.
struct HardwareEncoder {
  const char* name;
  AVHWDeviceType device;  // none: takes pictures from system memory
  AVPixelFormat surfaces;
};
constexpr std::array<HardwareEncoder, 2> hardwareEncoders = {{
    {"h264_nvenc", AV_HWDEVICE_TYPE_NONE, AV_PIX_FMT_NONE},
    {"h264_vaapi", AV_HWDEVICE_TYPE_VAAPI, AV_PIX_FMT_VAAPI},
}};

const HardwareEncoder* hardwareEncoder(const std::string& name) {
  for (const HardwareEncoder& encoder : hardwareEncoders)
    if (name == encoder.name) return &encoder;
  return nullptr;
}

// FFmpeg says a lot when hardware is missing, which is the usual case: quiet while it lasts.
class QuietFfmpeg {
 public:
  QuietFfmpeg() : level_(av_log_get_level()) { av_log_set_level(AV_LOG_QUIET); }
  ~QuietFfmpeg() { av_log_set_level(level_); }
  QuietFfmpeg(const QuietFfmpeg&) = delete;
  QuietFfmpeg& operator=(const QuietFfmpeg&) = delete;

 private:
  int level_;
};

}  // namespace

const std::string& VideoEncoder::workingHardware(int fps) {
  static std::once_flag once;
  static std::string found;
  std::call_once(once, [fps] {
    const QuietFfmpeg quiet;
    for (const HardwareEncoder& candidate : hardwareEncoders) {
      try {
        VideoEncoder trial(fps, candidate.name);
        if (trial.encodesTestPicture()) {
          found = candidate.name;
          return;
        }
        debugLine(std::string("Vorn writer: ") + candidate.name + " encodes nothing");
      } catch (const std::exception& error) {
        debugLine(std::string("Vorn writer: ") + candidate.name + ": " + error.what());
      }
    }
  });
  return found;
}

void VideoEncoder::stepFaster() {
  int step = presetStep.load();
  while (step < int(presets.size()) - 1 && !presetStep.compare_exchange_weak(step, step + 1)) {
  }
}

VideoEncoder::VideoEncoder(int fps) : picture_(makePicture()), packet_(av::makePacket()) {
  if (const std::string& hardware = workingHardware(fps); !hardware.empty()) {
    try {
      open(hardware, fps);
      return;
    } catch (const std::exception& error) {
      logError("the hardware encoder " + hardware + " failed, using libx264: " + error.what());
    }
  }
  openSoftware(fps);
}

VideoEncoder::VideoEncoder(int fps, const std::string& encoder)
    : picture_(makePicture()), packet_(av::makePacket()) {
  open(encoder, fps);
}

VideoEncoder::~VideoEncoder() = default;

void VideoEncoder::open(const std::string& encoder, int fps) {
  if (encoder == "libx264") return openSoftware(fps);
  const HardwareEncoder* hardware = hardwareEncoder(encoder);
  const AVCodec* codec = hardware ? avcodec_find_encoder_by_name(hardware->name) : nullptr;
  if (!codec) throw std::runtime_error("This FFmpeg has no encoder " + encoder + ".");
  context_ = makeContext(codec, fps);
  hardware_.reset();
  if (hardware->device != AV_HWDEVICE_TYPE_NONE) {
    std::string error;
    hardware_ = HardwareFrames::open(hardware->device, hardware->surfaces, width, height, error);
    if (!hardware_) throw std::runtime_error(encoder + " can't run here: " + error + ".");
    context_->pix_fmt = hardware->surfaces;
    context_->hw_frames_ctx = av_buffer_ref(hardware_->pool());
    if (!context_->hw_frames_ctx) throw std::bad_alloc();
  }
  av::check(avcodec_open2(context_.get(), codec, nullptr), encoder + " doesn't open");
  name_ = encoder;
}

void VideoEncoder::openSoftware(int fps) {
  const AVCodec* codec = avcodec_find_encoder_by_name("libx264");
  if (!codec) throw std::runtime_error("The H.264 encoder libx264 is not available.");
  hardware_.reset();
  context_ = makeContext(codec, fps);
  context_->thread_count = 2;
  const char* preset = presetFor(fps);
  av_opt_set(context_->priv_data, "preset", preset, 0);
  av_opt_set(context_->priv_data, "profile", "high", 0);
  // Without lookahead or B-frames each frame leaves the encoder almost at once, so a crash
  // loses little and the writer's queue stays short. libx264 signals the lowest profile the
  // stream needs and ultrafast turns off CABAC and 8 × 8 transforms, which would make the take
  // Constrained Baseline: both stay on, so every preset gives High profile.
  av_opt_set(context_->priv_data, "x264-params",
             "rc-lookahead=0:sync-lookahead=0:bframes=0:cabac=1:8x8dct=1", 0);
  av::check(avcodec_open2(context_.get(), codec, nullptr), "Couldn't open the H.264 encoder");
  name_ = std::string("libx264 (") + preset + ")";
}

bool VideoEncoder::encodesTestPicture() {
  if (av_frame_make_writable(picture_.get()) < 0) return false;
  // Black in video range.
  std::memset(picture_->data[0], 16, size_t(picture_->linesize[0]) * height);
  std::memset(picture_->data[1], 128, size_t(picture_->linesize[1]) * (height / 2));
  std::memset(picture_->data[2], 128, size_t(picture_->linesize[2]) * (height / 2));
  picture_->pts = 0;
  int packets = 0;
  const PacketSink count = [&packets](AVPacket*) {
    ++packets;
    return 0;
  };
  return send() >= 0 && flush(count) >= 0 && packets > 0;
}

int VideoEncoder::send() {
  AVFrame* frame = picture_.get();
  if (hardware_) {
    int code = 0;
    frame = hardware_->upload(*picture_, code);
    if (!frame) return code;
  }
  return avcodec_send_frame(context_.get(), frame);
}

int VideoEncoder::encode(const FrameBuffer& frame, std::int64_t ticks, const PacketSink& sink) {
  // The encoder may still hold the previous picture; this copies only in that case.
  if (int code = av_frame_make_writable(picture_.get()); code < 0) return code;
  const int rows = std::min(frame.height(), height);
  const int columns = std::min(frame.width(), width);
  bgraToYuv709(frame.data(), frame.stride(), columns, rows,
               {picture_->data[0], picture_->linesize[0], picture_->data[1],
                picture_->linesize[1], picture_->data[2], picture_->linesize[2]});
  picture_->pts = ticks;
  if (int code = send(); code < 0) return code;
  return drain(sink);
}

int VideoEncoder::flush(const PacketSink& sink) {
  if (int code = avcodec_send_frame(context_.get(), nullptr); code < 0 && code != AVERROR_EOF)
    return code;
  return drain(sink);
}

int VideoEncoder::drain(const PacketSink& sink) {
  for (;;) {
    int code = avcodec_receive_packet(context_.get(), packet_.get());
    if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) return 0;
    if (code < 0) return code;
    code = sink(packet_.get());
    av_packet_unref(packet_.get());
    if (code < 0) return code;
  }
}

}  // namespace vorn
