#include "render/VideoEncoder.h"

#include "app/Log.h"
#include "render/Yuv709.h"

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
  context->time_base = {1, VideoEncoder::timeScale};
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

// A hardware encoder that takes YUV 4:2:0 from memory, opens and encodes one frame, or null.
// Looked for once per run. (VAAPI needs surfaces uploaded through a device context; NVENC
// takes system-memory frames as they are.)
const AVCodec* workingHardwareEncoder(int fps) {
  static std::once_flag once;
  static const AVCodec* found = nullptr;
  std::call_once(once, [fps] {
    const AVCodec* codec = avcodec_find_encoder_by_name("h264_nvenc");
    if (!codec) return;
    av::CodecContext context = makeContext(codec, fps);
    // A machine without the hardware is the usual case: no complaint from FFmpeg about it.
    const int level = av_log_get_level();
    av_log_set_level(AV_LOG_QUIET);
    const int opened = avcodec_open2(context.get(), codec, nullptr);
    av_log_set_level(level);
    if (opened < 0) return;
    av::Frame picture = makePicture();
    picture->pts = 0;
    av::Packet packet = av::makePacket();
    if (avcodec_send_frame(context.get(), picture.get()) < 0) return;
    if (avcodec_send_frame(context.get(), nullptr) < 0) return;
    if (avcodec_receive_packet(context.get(), packet.get()) < 0) return;
    found = codec;
  });
  return found;
}

}  // namespace

void VideoEncoder::stepFaster() {
  int step = presetStep.load();
  while (step < int(presets.size()) - 1 && !presetStep.compare_exchange_weak(step, step + 1)) {
  }
}

VideoEncoder::VideoEncoder(int fps)
    : picture_(makePicture()), packet_(av::makePacket()) {
  if (const AVCodec* hardware = workingHardwareEncoder(fps)) {
    context_ = makeContext(hardware, fps);
    if (avcodec_open2(context_.get(), hardware, nullptr) >= 0) {
      name_ = hardware->name;
      return;
    }
  }
  const AVCodec* codec = avcodec_find_encoder_by_name("libx264");
  if (!codec) throw std::runtime_error("The H.264 encoder libx264 is not available.");
  context_ = makeContext(codec, fps);
  context_->thread_count = 2;
  const char* preset = presetFor(fps);
  av_opt_set(context_->priv_data, "preset", preset, 0);
  av_opt_set(context_->priv_data, "profile", "high", 0);
  // Without lookahead or B-frames each frame leaves the encoder almost at once, so a crash
  // loses little and the writer's queue stays short.
  av_opt_set(context_->priv_data, "x264-params", "rc-lookahead=0:sync-lookahead=0:bframes=0", 0);
  av::check(avcodec_open2(context_.get(), codec, nullptr), "Couldn't open the H.264 encoder");
  name_ = std::string("libx264 (") + preset + ")";
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
  if (int code = avcodec_send_frame(context_.get(), picture_.get()); code < 0) return code;
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
