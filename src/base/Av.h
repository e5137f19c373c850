// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <stdexcept>
#include <string>

namespace vorn::av {

// Owning handles for FFmpeg objects: each frees its object the FFmpeg way.
struct CodecContextFree {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FrameFree {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct PacketFree {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct ScaleFree {
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};
// An input format context (opened with avformat_open_input).
struct InputFree {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
// An output format context: closes its file, if it opened one, then frees the context.
struct OutputFree {
  void operator()(AVFormatContext* context) const {
    if (context->pb && !(context->oformat->flags & AVFMT_NOFILE)) avio_closep(&context->pb);
    avformat_free_context(context);
  }
};

// A reference to a reference-counted FFmpeg buffer (device and frame pool contexts).
struct BufferFree {
  void operator()(AVBufferRef* buffer) const { av_buffer_unref(&buffer); }
};

using CodecContext = std::unique_ptr<AVCodecContext, CodecContextFree>;
using Buffer = std::unique_ptr<AVBufferRef, BufferFree>;
using Frame = std::unique_ptr<AVFrame, FrameFree>;
using Packet = std::unique_ptr<AVPacket, PacketFree>;
using Input = std::unique_ptr<AVFormatContext, InputFree>;
using Output = std::unique_ptr<AVFormatContext, OutputFree>;
using Scale = std::unique_ptr<SwsContext, ScaleFree>;

inline Frame makeFrame() {
  Frame frame(av_frame_alloc());
  if (!frame) throw std::bad_alloc();
  return frame;
}

inline Packet makePacket() {
  Packet packet(av_packet_alloc());
  if (!packet) throw std::bad_alloc();
  return packet;
}

// FFmpeg's text for an error code.
inline std::string errorText(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof text);
  return text;
}

// Throws std::runtime_error("<what>: <FFmpeg's reason>.") when `code` is an error.
inline int check(int code, const std::string& what) {
  if (code < 0) throw std::runtime_error(what + ": " + errorText(code) + ".");
  return code;
}

// A new track of `output` carrying what `encoder` makes, in the encoder's time base.
AVStream* addStream(AVFormatContext* output, const AVCodecContext* encoder);

// A decoder opened for `stream` on `threads` threads (0: as many as FFmpeg likes). Throws
// std::runtime_error with FFmpeg's reason (no full stop) when it can't be.
CodecContext openDecoder(const AVStream* stream, int threads = 1);

// The next frame `codec` decodes from the packets of `stream` in `input`, read as the decoder
// asks for them; at the input's end the decoder is drained and `ended` set. Returns 0 with a
// frame in `frame`, AVERROR_EOF once everything is out, or another error (or EAGAIN once
// `ended` holds and the decoder wants more).
int receiveFrame(AVFormatContext* input, int stream, AVCodecContext* codec, AVPacket* packet,
                 AVFrame* frame, bool& ended);

// Keeps FFmpeg's own messages to errors unless VORN_DEBUG is set. Called before any use.
void quietLogs();

// Opens a movie for reading and reads its stream information; throws on failure.
Input openInput(const std::string& path);

// Creates an MP4 output context and its file `path`, a new one readable by the user alone
// (a name already taken, a link included, fails); throws on failure.
Output openOutput(const std::string& path);
// An MP4 output context writing to the open file `fd` (kept by the caller), called `path`.
Output openOutput(int fd, const std::string& path);

// Writes the header of a movie whose moov goes in front of its media. Given an upper bound of
// the packets to come, room for the moov is reserved at the front so the file is written
// once; without one (0) the muxer moves the media in a second pass. Throws on failure.
void writeHeaderMoovInFront(AVFormatContext* output, std::int64_t packetBound);

}  // namespace vorn::av
