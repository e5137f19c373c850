// SPDX-License-Identifier: GPL-3.0-or-later
#include "record/HardwareFrames.h"

extern "C" {
#include <libavutil/hwcontext.h>
}

#include <libyuv/convert_from.h>

namespace vorn {

namespace {

// Surfaces the encoder may hold at once: its reference frames plus the one being uploaded.
constexpr int surfaceCount = 16;

}  // namespace

std::unique_ptr<HardwareFrames> HardwareFrames::open(AVHWDeviceType type,
                                                     AVPixelFormat surfaceFormat, int width,
                                                     int height, std::string& error) {
  const std::string kind = av_hwdevice_get_type_name(type) ? av_hwdevice_get_type_name(type) : "?";
  std::unique_ptr<HardwareFrames> frames(new HardwareFrames);
  AVBufferRef* device = nullptr;
  if (int code = av_hwdevice_ctx_create(&device, type, nullptr, nullptr, 0); code < 0) {
    error = "no " + kind + " device: " + av::errorText(code);
    return nullptr;
  }
  frames->device_.reset(device);
  frames->pool_.reset(av_hwframe_ctx_alloc(device));
  if (!frames->pool_) {
    error = "no memory for " + kind + " surfaces";
    return nullptr;
  }
  auto* pool = reinterpret_cast<AVHWFramesContext*>(frames->pool_->data);
  pool->format = surfaceFormat;
  pool->sw_format = AV_PIX_FMT_NV12;
  pool->width = width;
  pool->height = height;
  pool->initial_pool_size = surfaceCount;
  if (int code = av_hwframe_ctx_init(frames->pool_.get()); code < 0) {
    error = "the " + kind + " device has no " + std::to_string(width) + " × " +
            std::to_string(height) + " NV12 surfaces: " + av::errorText(code);
    return nullptr;
  }
  frames->staging_ = av::makeFrame();
  frames->staging_->format = AV_PIX_FMT_NV12;
  frames->staging_->width = width;
  frames->staging_->height = height;
  if (int code = av_frame_get_buffer(frames->staging_.get(), 64); code < 0) {
    error = "no memory for an NV12 picture: " + av::errorText(code);
    return nullptr;
  }
  frames->surface_ = av::makeFrame();
  return frames;
}

AVFrame* HardwareFrames::upload(const AVFrame& picture, int& code) {
  AVFrame* staging = staging_.get();
  if ((code = av_frame_make_writable(staging)) < 0) return nullptr;
  libyuv::I420ToNV12(picture.data[0], picture.linesize[0], picture.data[1], picture.linesize[1],
                     picture.data[2], picture.linesize[2], staging->data[0], staging->linesize[0],
                     staging->data[1], staging->linesize[1], staging->width, staging->height);
  av_frame_unref(surface_.get());
  if ((code = av_hwframe_get_buffer(pool_.get(), surface_.get(), 0)) < 0) return nullptr;
  if ((code = av_hwframe_transfer_data(surface_.get(), staging, 0)) < 0) return nullptr;
  if ((code = av_frame_copy_props(surface_.get(), &picture)) < 0) return nullptr;
  return surface_.get();
}

}  // namespace vorn
