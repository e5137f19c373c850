// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QPoint>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

struct pw_thread_loop;
struct pw_context;
struct pw_core;
struct pw_stream;
struct pw_registry;
struct pw_buffer;

namespace vorn {

// The pointer as the stream describes it, in the stream's pixels.
struct StreamCursor {
  QPoint position;
  QPoint hotspot;
  QImage bitmap;  // ARGB32 premultiplied; null when the pointer is hidden
};

// One picture of the stream, as the compositor wrote it: 32-bit pixels, blue first unless
// `redFirst`, alpha undefined.
struct StreamPicture {
  const uint8_t* data = nullptr;
  int stride = 0;
  int width = 0;
  int height = 0;
  bool redFirst = false;
};

// The latest picture of one PipeWire video stream (a screen shared by the portal), received
// on a PipeWire thread loop named "vorn.screen". A compositor sends a picture only when the
// screen changed, so the last one stands until the next: its buffer is held, not copied, and
// handed back when a newer one comes.
class PipeWireStream {
 public:
  // Connects to the PipeWire server behind `fd` (taken over) and asks for `node`'s pictures.
  // `onStopped` hears, on the PipeWire thread, that the stream ended on its own (the share was
  // stopped, the session closed), in one sentence. Throws std::runtime_error with one sentence.
  PipeWireStream(int fd, uint32_t node, std::function<void(const std::string&)> onStopped);
  ~PipeWireStream();
  PipeWireStream(const PipeWireStream&) = delete;
  PipeWireStream& operator=(const PipeWireStream&) = delete;

  // Runs `read` with the latest picture and how many pictures came so far, under the stream's
  // lock (the picture is valid only inside); `read` gets null before the first picture.
  void withPicture(const std::function<void(const StreamPicture* picture, uint64_t serial)>& read) const;
  // The pointer, when the stream sends it beside the pictures.
  std::optional<StreamCursor> cursor() const;
  // Called on the PipeWire thread, under the stream's lock, as each new picture is held;
  // empty to stop. Once this returns, the one given before is not called again.
  void onPicture(std::function<void()> arrived);

  // PipeWire's callbacks, on the loop's thread.
  void formatChanged(uint32_t format, int width, int height);
  void process();
  void stateChanged(bool failed, const char* error);
  void nodeRemoved(uint32_t id);
  void bufferRemoved(pw_buffer* buffer);

 private:
  void connect(int fd, uint32_t node);
  void teardown();
  void end();
  void readCursor(const void* meta);
  bool readPicture(pw_buffer* buffer);

  std::function<void(const std::string&)> onStopped_;
  pw_thread_loop* loop_ = nullptr;
  pw_context* context_ = nullptr;
  pw_core* core_ = nullptr;
  pw_stream* stream_ = nullptr;
  pw_registry* registry_ = nullptr;
  uint32_t node_ = 0;
  struct Listeners;
  std::unique_ptr<Listeners> listeners_;

  // The loop thread only.
  uint32_t format_ = 0;
  int width_ = 0;
  int height_ = 0;
  bool streaming_ = false;
  bool stopped_ = false;

  mutable std::mutex mutex_;  // guards what follows
  pw_buffer* held_ = nullptr;  // the latest picture's buffer
  StreamPicture picture_;
  uint64_t serial_ = 0;
  std::optional<StreamCursor> cursor_;
  std::function<void()> arrived_;
};

}  // namespace vorn
