// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/portal/PipeWireStream.h"

#include <QtGlobal>

#include <pipewire/pipewire.h>
#include <spa/buffer/meta.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>

#include <cstring>
#include <stdexcept>
#include <unistd.h>

namespace vorn {
namespace {

// Room for the pointer's picture beside each frame: mutter offers 384 × 384 pixels.
constexpr int kLargestCursor = 512;

constexpr int cursorMetaSize(int side) {
  return int(sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap)) + side * side * 4;
}

bool redFirst(uint32_t format) {
  return format == SPA_VIDEO_FORMAT_RGBx || format == SPA_VIDEO_FORMAT_RGBA;
}

QImage cursorImage(const spa_meta_bitmap& bitmap) {
  if (bitmap.size.width == 0 || bitmap.size.height == 0 || bitmap.size.width > kLargestCursor ||
      bitmap.size.height > kLargestCursor || bitmap.stride < int(bitmap.size.width * 4))
    return {};
  const auto* pixels = SPA_PTROFF(&bitmap, bitmap.offset, const uint8_t);
  const QImage::Format format = redFirst(bitmap.format) ? QImage::Format_RGBA8888 : QImage::Format_ARGB32;
  return QImage(pixels, int(bitmap.size.width), int(bitmap.size.height), bitmap.stride, format)
      .convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

void onParamChanged(void* data, uint32_t id, const spa_pod* param) {
  if (!param || id != SPA_PARAM_Format) return;
  spa_video_info_raw info{};
  uint32_t mediaType = 0, mediaSubtype = 0;
  if (spa_format_parse(param, &mediaType, &mediaSubtype) < 0 || mediaType != SPA_MEDIA_TYPE_video ||
      mediaSubtype != SPA_MEDIA_SUBTYPE_raw || spa_format_video_raw_parse(param, &info) < 0)
    return;
  static_cast<PipeWireStream*>(data)->formatChanged(info.format, int(info.size.width), int(info.size.height));
}

void onProcess(void* data) { static_cast<PipeWireStream*>(data)->process(); }

void onRemoveBuffer(void* data, pw_buffer* buffer) { static_cast<PipeWireStream*>(data)->bufferRemoved(buffer); }

void onStateChanged(void* data, pw_stream_state, pw_stream_state state, const char* error) {
  auto* stream = static_cast<PipeWireStream*>(data);
  stream->stateChanged(state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED, error);
}

void onCoreError(void* data, uint32_t id, int, int res, const char* message) {
  if (id == PW_ID_CORE && res == -EPIPE) static_cast<PipeWireStream*>(data)->stateChanged(true, message);
}

const pw_stream_events kStreamEvents = [] {
  pw_stream_events events{};
  events.version = PW_VERSION_STREAM_EVENTS;
  events.state_changed = onStateChanged;
  events.param_changed = onParamChanged;
  events.process = onProcess;
  events.remove_buffer = onRemoveBuffer;
  return events;
}();

// The shared node going away (the sharing application, or the whole desktop, ended) ends the
// stream: it would otherwise wait, paused, for a node that never comes back.
void onGlobalRemoved(void* data, uint32_t id) { static_cast<PipeWireStream*>(data)->nodeRemoved(id); }

const pw_registry_events kRegistryEvents = [] {
  pw_registry_events events{};
  events.version = PW_VERSION_REGISTRY_EVENTS;
  events.global_remove = onGlobalRemoved;
  return events;
}();

const pw_core_events kCoreEvents = [] {
  pw_core_events events{};
  events.version = PW_VERSION_CORE_EVENTS;
  events.error = onCoreError;
  return events;
}();

// Holds the loop's lock for a scope.
struct LoopLock {
  explicit LoopLock(pw_thread_loop* loop) : loop(loop) { pw_thread_loop_lock(loop); }
  ~LoopLock() { pw_thread_loop_unlock(loop); }
  pw_thread_loop* loop;
};

}  // namespace

struct PipeWireStream::Listeners {
  spa_hook stream{};
  spa_hook core{};
  spa_hook registry{};
};

PipeWireStream::PipeWireStream(int fd, uint32_t node, std::function<void(const std::string&)> onStopped)
    : onStopped_(std::move(onStopped)), listeners_(std::make_unique<Listeners>()) {
  try {
    connect(fd, node);
  } catch (...) {
    teardown();
    throw;
  }
}

void PipeWireStream::connect(int fd, uint32_t node) {
  pw_init(nullptr, nullptr);
  loop_ = pw_thread_loop_new("vorn.screen", nullptr);
  context_ = loop_ ? pw_context_new(pw_thread_loop_get_loop(loop_), nullptr, 0) : nullptr;
  if (!context_ || pw_thread_loop_start(loop_) < 0) {
    close(fd);
    throw std::runtime_error(QT_TRANSLATE_NOOP("Platform", "PipeWire could not be started to receive the screen."));
  }
  LoopLock lock(loop_);
  core_ = pw_context_connect_fd(context_, fd, nullptr, 0);
  if (!core_) throw std::runtime_error(QT_TRANSLATE_NOOP("Platform", "The screen's PipeWire stream could not be reached."));
  pw_core_add_listener(core_, &listeners_->core, &kCoreEvents, this);
  node_ = node;
  registry_ = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
  if (registry_) pw_registry_add_listener(registry_, &listeners_->registry, &kRegistryEvents, this);
  stream_ = pw_stream_new(core_, "Vorn screen",
                          pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture",
                                            PW_KEY_MEDIA_ROLE, "Screen", nullptr));
  if (!stream_) throw std::runtime_error(QT_TRANSLATE_NOOP("Platform", "The screen's PipeWire stream could not be made."));
  pw_stream_add_listener(stream_, &listeners_->stream, &kStreamEvents, this);

  uint8_t buffer[1024];
  spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof(buffer));
  spa_rectangle size = SPA_RECTANGLE(1920, 1080), minSize = SPA_RECTANGLE(1, 1), maxSize = SPA_RECTANGLE(16384, 16384);
  // Pictures as often as the screen changes, up to 60 a second: the render loop's rate.
  spa_fraction rate = SPA_FRACTION(0, 1), minRate = SPA_FRACTION(0, 1), maxRate = SPA_FRACTION(60, 1);
  const spa_pod* params[] = {static_cast<const spa_pod*>(spa_pod_builder_add_object(
      &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
      SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),
      SPA_FORMAT_VIDEO_format,
      SPA_POD_CHOICE_ENUM_Id(5, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRA,
                             SPA_VIDEO_FORMAT_RGBx, SPA_VIDEO_FORMAT_RGBA),
      SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&size, &minSize, &maxSize),
      SPA_FORMAT_VIDEO_framerate, SPA_POD_CHOICE_RANGE_Fraction(&rate, &minRate, &maxRate)))};
  if (pw_stream_connect(stream_, PW_DIRECTION_INPUT, node,
                        pw_stream_flags(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS), params,
                        1) < 0)
    throw std::runtime_error(QT_TRANSLATE_NOOP("Platform", "The screen's PipeWire stream could not be connected."));
}

PipeWireStream::~PipeWireStream() { teardown(); }

void PipeWireStream::teardown() {
  if (loop_) pw_thread_loop_stop(loop_);  // no callback runs on the loop after this
  // Nor from the teardown itself, which reports the stream disconnected.
  if (stream_) spa_hook_remove(&listeners_->stream);
  if (core_) spa_hook_remove(&listeners_->core);
  if (registry_) {
    spa_hook_remove(&listeners_->registry);
    pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry_));
  }
  if (stream_) pw_stream_destroy(stream_);
  if (core_) pw_core_disconnect(core_);
  if (context_) pw_context_destroy(context_);
  if (loop_) pw_thread_loop_destroy(loop_);
  stream_ = nullptr;
  registry_ = nullptr;
  core_ = nullptr;
  context_ = nullptr;
  loop_ = nullptr;
}

void PipeWireStream::formatChanged(uint32_t format, int width, int height) {
  format_ = format;
  width_ = width;
  height_ = height;
  uint8_t buffer[1024];
  spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof(buffer));
  // Buffers in shared memory, which the picture is copied out of; with room for the pointer.
  const spa_pod* params[] = {
      static_cast<const spa_pod*>(spa_pod_builder_add_object(
          &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_dataType,
          SPA_POD_Int((1 << SPA_DATA_MemPtr) | (1 << SPA_DATA_MemFd)))),
      static_cast<const spa_pod*>(spa_pod_builder_add_object(
          &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_Header),
          SPA_PARAM_META_size, SPA_POD_Int(sizeof(spa_meta_header)))),
      static_cast<const spa_pod*>(spa_pod_builder_add_object(
          &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_Cursor),
          SPA_PARAM_META_size,
          SPA_POD_CHOICE_RANGE_Int(cursorMetaSize(64), cursorMetaSize(1), cursorMetaSize(kLargestCursor))))};
  pw_stream_update_params(stream_, params, 3);
}

void PipeWireStream::process() {
  // Only the newest picture matters: older ones waiting go straight back.
  pw_buffer* newest = nullptr;
  while (pw_buffer* next = pw_stream_dequeue_buffer(stream_)) {
    if (newest) pw_stream_queue_buffer(stream_, newest);
    newest = next;
  }
  if (!newest) return;
  if (const void* cursor = spa_buffer_find_meta_data(newest->buffer, SPA_META_Cursor, sizeof(spa_meta_cursor)))
    readCursor(cursor);
  if (!readPicture(newest)) pw_stream_queue_buffer(stream_, newest);
}

void PipeWireStream::readCursor(const void* meta) {
  const auto& cursor = *static_cast<const spa_meta_cursor*>(meta);
  if (!spa_meta_cursor_is_valid(&cursor)) return;
  StreamCursor next;
  next.position = {cursor.position.x, cursor.position.y};
  next.hotspot = {cursor.hotspot.x, cursor.hotspot.y};
  {
    std::lock_guard lock(mutex_);
    // The bitmap comes only when it changed.
    if (cursor_) next.bitmap = cursor_->bitmap;
    if (cursor.bitmap_offset >= sizeof(spa_meta_cursor))
      next.bitmap = cursorImage(*SPA_PTROFF(&cursor, cursor.bitmap_offset, const spa_meta_bitmap));
    cursor_ = next;
  }
}

// Holds `buffer` as the latest picture, handing the one held before back; false when the
// buffer carries no picture (it only moved the pointer, or is unreadable).
bool PipeWireStream::readPicture(pw_buffer* buffer) {
  if (buffer->buffer->n_datas == 0) return false;
  const spa_data& data = buffer->buffer->datas[0];
  if (!data.data || !data.chunk || data.chunk->size == 0 || (data.chunk->flags & SPA_CHUNK_FLAG_CORRUPTED))
    return false;
  const int stride = data.chunk->stride;
  if (width_ <= 0 || height_ <= 0 || stride < width_ * 4 ||
      uint64_t(data.chunk->offset) + uint64_t(stride) * uint64_t(height_ - 1) + uint64_t(width_) * 4 > data.maxsize)
    return false;
  pw_buffer* previous = nullptr;
  {
    std::lock_guard lock(mutex_);
    previous = held_;
    held_ = buffer;
    picture_ = {SPA_PTROFF(data.data, data.chunk->offset, const uint8_t), stride, width_, height_, redFirst(format_)};
    ++serial_;
    if (arrived_) arrived_();
  }
  if (previous) pw_stream_queue_buffer(stream_, previous);
  return true;
}

void PipeWireStream::bufferRemoved(pw_buffer* buffer) {
  std::lock_guard lock(mutex_);
  if (buffer != held_) return;
  held_ = nullptr;
  picture_ = {};
}

void PipeWireStream::stateChanged(bool failed, const char* error) {
  if (!failed) {
    streaming_ = true;
    return;
  }
  if (streaming_ || error) end();
}

void PipeWireStream::nodeRemoved(uint32_t id) {
  if (id == node_) end();
}

void PipeWireStream::end() {
  if (stopped_) return;
  stopped_ = true;
  if (onStopped_) onStopped_(QT_TRANSLATE_NOOP("Platform", "The screen share ended."));
}

void PipeWireStream::withPicture(const std::function<void(const StreamPicture*, uint64_t)>& read) const {
  std::lock_guard lock(mutex_);
  read(held_ ? &picture_ : nullptr, serial_);
}

void PipeWireStream::onPicture(std::function<void()> arrived) {
  std::lock_guard lock(mutex_);
  arrived_ = std::move(arrived);
}

std::optional<StreamCursor> PipeWireStream::cursor() const {
  std::lock_guard lock(mutex_);
  return cursor_;
}

}  // namespace vorn
