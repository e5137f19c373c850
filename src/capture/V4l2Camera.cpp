// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/V4l2Camera.h"

#include "capture/VideoNodes.h"

#include <fcntl.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <thread>
#include <tuple>

#include "base/Clock.h"
#include "base/Log.h"
#include "capture/CameraDecode.h"

namespace vorn {

namespace {

constexpr int bufferCount = 4;
// How long the camera thread waits for a frame before it looks at its stop request again.
constexpr int pollMilliseconds = 200;

bool decodable(std::uint32_t format) {
  return format == V4L2_PIX_FMT_MJPEG || format == V4L2_PIX_FMT_YUYV || format == V4L2_PIX_FMT_NV12;
}

int retryIoctl(int fd, unsigned long request, void* argument) {
  int result;
  do result = ioctl(fd, request, argument);
  while (result < 0 && errno == EINTR);
  return result;
}

std::string text(const __u8* bytes, size_t size) {
  return std::string(reinterpret_cast<const char*>(bytes),
                     strnlen(reinterpret_cast<const char*>(bytes), size));
}

std::vector<double> frameRates(int fd, std::uint32_t format, int width, int height) {
  std::vector<double> rates;
  v4l2_frmivalenum interval{};
  interval.pixel_format = format;
  interval.width = std::uint32_t(width);
  interval.height = std::uint32_t(height);
  for (; retryIoctl(fd, VIDIOC_ENUM_FRAMEINTERVALS, &interval) == 0; ++interval.index) {
    const v4l2_fract f =
        interval.type == V4L2_FRMIVAL_TYPE_DISCRETE ? interval.discrete : interval.stepwise.min;
    if (f.numerator > 0) rates.push_back(double(f.denominator) / f.numerator);
    if (interval.type != V4L2_FRMIVAL_TYPE_DISCRETE) break;
  }
  if (rates.empty()) rates.push_back(30);  // drivers that don't say usually run at 30
  return rates;
}

std::vector<V4l2Mode> offeredModes(int fd) {
  std::vector<V4l2Mode> modes;
  v4l2_fmtdesc description{};
  description.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  for (; retryIoctl(fd, VIDIOC_ENUM_FMT, &description) == 0; ++description.index) {
    if (!decodable(description.pixelformat)) continue;
    v4l2_frmsizeenum size{};
    size.pixel_format = description.pixelformat;
    for (; retryIoctl(fd, VIDIOC_ENUM_FRAMESIZES, &size) == 0; ++size.index) {
      int width, height;
      if (size.type == V4L2_FRMSIZE_TYPE_DISCRETE) {
        width = int(size.discrete.width);
        height = int(size.discrete.height);
      } else {
        width = std::clamp(1920, int(size.stepwise.min_width), int(size.stepwise.max_width));
        height = std::clamp(1080, int(size.stepwise.min_height), int(size.stepwise.max_height));
      }
      for (double fps : frameRates(fd, description.pixelformat, width, height))
        modes.push_back({description.pixelformat, width, height, fps});
      if (size.type != V4L2_FRMSIZE_TYPE_DISCRETE) break;
    }
  }
  return modes;
}

std::string byIdNameOf(const std::string& node) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/dev/v4l/by-id", error)) {
    if (std::filesystem::canonical(entry.path(), error) == std::filesystem::path(node))
      return entry.path().filename().string();
  }
  return {};
}

class V4l2Camera final : public CameraDevice {
 public:
  V4l2Camera(int fd, const V4l2Mode& mode, int bytesPerLine)
      : fd_(fd), mode_(mode), bytesPerLine_(bytesPerLine), pool_(mode.width, mode.height, 3, 6) {}

  ~V4l2Camera() override {
    stop();
    for (auto& [address, length] : maps_) munmap(address, length);
    close(fd_);
  }

  bool mapBuffers(std::string* error) {
    v4l2_requestbuffers request{};
    request.count = bufferCount;
    request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    request.memory = V4L2_MEMORY_MMAP;
    if (retryIoctl(fd_, VIDIOC_REQBUFS, &request) < 0 || request.count < 2) {
      *error = std::string("no capture buffers: ") + std::strerror(errno);
      return false;
    }
    for (std::uint32_t i = 0; i < request.count; ++i) {
      v4l2_buffer buffer = emptyBuffer();
      buffer.index = i;
      if (retryIoctl(fd_, VIDIOC_QUERYBUF, &buffer) < 0) return fail(error, "buffer query");
      void* address =
          mmap(nullptr, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED, fd_, buffer.m.offset);
      if (address == MAP_FAILED) return fail(error, "buffer mapping");
      maps_.emplace_back(address, buffer.length);
      if (retryIoctl(fd_, VIDIOC_QBUF, &buffer) < 0) return fail(error, "buffer queueing");
    }
    return true;
  }

  void start(FrameHandler onFrame) override {
    stop();
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (retryIoctl(fd_, VIDIOC_STREAMON, &type) < 0) {
      logError(std::string("camera didn't start: ") + std::strerror(errno));
      return;
    }
    thread_ = std::jthread(
        [this, onFrame = std::move(onFrame)](std::stop_token stop) { run(stop, onFrame); });
  }

  void stop() override {
    if (!thread_.joinable()) return;
    thread_.request_stop();
    thread_.join();
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    retryIoctl(fd_, VIDIOC_STREAMOFF, &type);
  }

 private:
  static v4l2_buffer emptyBuffer() {
    v4l2_buffer buffer{};
    buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    buffer.memory = V4L2_MEMORY_MMAP;
    return buffer;
  }

  static bool fail(std::string* error, const char* step) {
    *error = std::string(step) + " failed: " + std::strerror(errno);
    return false;
  }

  void run(std::stop_token stop, const FrameHandler& onFrame) {
    pthread_setname_np(pthread_self(), "vorn.camera");
    while (!stop.stop_requested()) {
      pollfd ready{fd_, POLLIN, 0};
      const int polled = poll(&ready, 1, pollMilliseconds);
      if (polled == 0 || (polled < 0 && errno == EINTR)) continue;
      v4l2_buffer buffer = emptyBuffer();
      if (polled < 0 || retryIoctl(fd_, VIDIOC_DQBUF, &buffer) < 0) {
        if (errno == EAGAIN) continue;
        logError(std::string("camera stopped: ") + std::strerror(errno));
        return;
      }
      // Late frames are dropped, not queued: when several wait, only the newest is decoded.
      v4l2_buffer newer = emptyBuffer();
      while (retryIoctl(fd_, VIDIOC_DQBUF, &newer) == 0) {
        retryIoctl(fd_, VIDIOC_QBUF, &buffer);
        buffer = newer;
        newer = emptyBuffer();
      }
      deliver(buffer, onFrame);
      retryIoctl(fd_, VIDIOC_QBUF, &buffer);
    }
  }

  // When the camera took the picture: its monotonic stamp, unless the driver gives none or
  // one no camera could have (a picture stamped long ago would be left out of a take).
  static double captureTime(const v4l2_buffer& buffer) {
    const double now = mediaTime();
    if ((buffer.flags & V4L2_BUF_FLAG_TIMESTAMP_MASK) != V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC)
      return now;
    const double stamp = double(buffer.timestamp.tv_sec) + double(buffer.timestamp.tv_usec) / 1e6;
    return stamp <= now && stamp > now - 1.0 ? stamp : now;
  }

  void deliver(const v4l2_buffer& buffer, const FrameHandler& onFrame) {
    if (buffer.flags & V4L2_BUF_FLAG_ERROR || buffer.index >= maps_.size()) return;
    FrameRef frame = pool_.take();
    if (!frame) return;  // every buffer is still in use downstream: drop this frame
    const auto* data = static_cast<const std::uint8_t*>(maps_[buffer.index].first);
    bool decoded = false;
    switch (mode_.pixelFormat) {
      case V4L2_PIX_FMT_MJPEG:
        decoded = decoder_.decodeJpeg(data, buffer.bytesused, *frame);
        break;
      case V4L2_PIX_FMT_YUYV:
        decoded = CameraDecoder::convertYuyv(data, buffer.bytesused, bytesPerLine_, *frame);
        break;
      case V4L2_PIX_FMT_NV12:
        decoded = CameraDecoder::convertNv12(data, buffer.bytesused, bytesPerLine_, *frame);
        break;
    }
    if (!decoded) return;
    onFrame(std::move(frame), captureTime(buffer));
  }

  const int fd_;
  const V4l2Mode mode_;
  const int bytesPerLine_;
  std::vector<std::pair<void*, size_t>> maps_;  // set up before start, then read-only
  FramePool pool_;
  CameraDecoder decoder_;  // camera thread only
  std::jthread thread_;
};

}  // namespace

std::optional<V4l2Mode> chooseV4l2Mode(const std::vector<V4l2Mode>& offered, int width,
                                       int height) {
  auto rank = [&](const V4l2Mode& mode) {
    const double distance =
        std::abs(std::log(double(mode.width) * mode.height / (double(width) * height)));
    const bool fast = mode.fps >= 29.5;
    const bool jpeg = mode.pixelFormat == V4L2_PIX_FMT_MJPEG;
    const int preference = fast ? (jpeg ? 0 : 1) : 2;
    return std::tuple(distance, preference, -std::min(mode.fps, 30.0),
                      mode.pixelFormat == V4L2_PIX_FMT_YUYV ? 0 : 1);
  };
  std::optional<V4l2Mode> best;
  for (const V4l2Mode& mode : offered) {
    if (!decodable(mode.pixelFormat) || mode.width <= 0 || mode.height <= 0) continue;
    if (!best || rank(mode) < rank(*best)) best = mode;
  }
  return best;
}

QString v4l2CameraId(const std::string& byIdName, const std::string& card,
                     const std::string& busInfo) {
  if (!byIdName.empty()) return QString::fromStdString("v4l2:" + byIdName);
  return QString::fromStdString("v4l2:" + card + "@" + busInfo);
}

std::vector<V4l2Node> listV4l2Cameras() {
  std::vector<V4l2Node> cameras;
  for (const std::string& path : videoNodes()) {
    const int fd = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
      debugLine("Vorn capture: " + path + " can't be opened: " + std::strerror(errno));
      continue;
    }
    v4l2_capability capability{};
    const bool queried = retryIoctl(fd, VIDIOC_QUERYCAP, &capability) == 0;
    close(fd);
    if (!queried) continue;
    const std::uint32_t caps = capability.capabilities & V4L2_CAP_DEVICE_CAPS
                                   ? capability.device_caps
                                   : capability.capabilities;
    if (!(caps & V4L2_CAP_VIDEO_CAPTURE) || !(caps & V4L2_CAP_STREAMING)) continue;
    const std::string card = text(capability.card, sizeof capability.card);
    const std::string bus = text(capability.bus_info, sizeof capability.bus_info);
    cameras.push_back(
        {path, {v4l2CameraId(byIdNameOf(path), card, bus), QString::fromStdString(card)}});
  }
  return cameras;
}

std::unique_ptr<CameraDevice> openV4l2Camera(const std::string& path, std::string* error) {
  const int fd = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) {
    *error = path + " can't be opened: " + std::strerror(errno);
    return nullptr;
  }
  const std::optional<V4l2Mode> mode = chooseV4l2Mode(offeredModes(fd));
  if (!mode) {
    close(fd);
    *error = path + " offers no picture format Vorn can decode";
    return nullptr;
  }
  v4l2_format format{};
  format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  format.fmt.pix.pixelformat = mode->pixelFormat;
  format.fmt.pix.width = std::uint32_t(mode->width);
  format.fmt.pix.height = std::uint32_t(mode->height);
  format.fmt.pix.field = V4L2_FIELD_NONE;
  if (retryIoctl(fd, VIDIOC_S_FMT, &format) < 0) {
    *error = path + " refused its picture format: " + std::strerror(errno);
    close(fd);
    return nullptr;
  }
  // The driver may have adjusted the size; decode what it actually sends.
  const V4l2Mode actual{format.fmt.pix.pixelformat, int(format.fmt.pix.width),
                        int(format.fmt.pix.height), mode->fps};
  v4l2_streamparm rate{};
  rate.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  rate.parm.capture.timeperframe = {1000, std::uint32_t(std::lround(mode->fps * 1000))};
  retryIoctl(fd, VIDIOC_S_PARM, &rate);  // a camera that keeps its own rate is fine too
  if (!decodable(actual.pixelFormat)) {
    *error = path + " switched to a picture format Vorn can't decode";
    close(fd);
    return nullptr;
  }
  auto camera = std::make_unique<V4l2Camera>(fd, actual, int(format.fmt.pix.bytesperline));
  std::string reason;
  if (!camera->mapBuffers(&reason)) {
    *error = path + ": " + reason;
    return nullptr;
  }
  return camera;
}

}  // namespace vorn
