// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Av.h"

#include "base/Log.h"
#include "base/OwnFiles.h"
#include "base/UniqueFd.h"

#include <cerrno>
#include <mutex>

namespace vorn::av {

void quietLogs() {
  static std::once_flag once;
  std::call_once(once, [] { av_log_set_level(debugEnabled() ? AV_LOG_INFO : AV_LOG_ERROR); });
}

Input openInput(const std::string& path) {
  quietLogs();
  AVFormatContext* raw = nullptr;
  check(avformat_open_input(&raw, path.c_str(), nullptr, nullptr), "Couldn't open " + path);
  Input input(raw);
  check(avformat_find_stream_info(input.get(), nullptr), "Couldn't read the streams of " + path);
  return input;
}

Output openOutput(int fd, const std::string& path) {
  quietLogs();
  AVFormatContext* raw = nullptr;
  check(avformat_alloc_output_context2(&raw, nullptr, "mp4", path.c_str()),
        "Couldn't create a movie writer for " + path);
  Output output(raw);
  // Through the descriptor, never the name again: whatever takes the name meanwhile is
  // not written.
  const std::string opened = "file:/proc/self/fd/" + std::to_string(fd);
  check(avio_open(&output->pb, opened.c_str(), AVIO_FLAG_WRITE), "Couldn't create " + path);
  return output;
}

Output openOutput(const std::string& path) {
  const UniqueFd fd(OwnFiles::create(path));
  if (!fd.valid()) check(AVERROR(errno), "Couldn't create " + path);
  return openOutput(fd.get(), path);
}

AVStream* addStream(AVFormatContext* output, const AVCodecContext* encoder) {
  AVStream* stream = avformat_new_stream(output, nullptr);
  if (!stream) throw std::bad_alloc();
  check(avcodec_parameters_from_context(stream->codecpar, encoder),
        "Couldn't describe a track of the movie");
  stream->time_base = encoder->time_base;
  stream->avg_frame_rate = encoder->framerate;
  return stream;
}

CodecContext openDecoder(const AVStream* stream, int threads) {
  const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
  if (!codec)
    throw std::runtime_error(std::string("no decoder for ") +
                             avcodec_get_name(stream->codecpar->codec_id));
  CodecContext context(avcodec_alloc_context3(codec));
  if (!context) throw std::bad_alloc();
  int code = avcodec_parameters_to_context(context.get(), stream->codecpar);
  context->pkt_timebase = stream->time_base;
  context->thread_count = threads;
  if (code >= 0) code = avcodec_open2(context.get(), codec, nullptr);
  if (code < 0) throw std::runtime_error(errorText(code));
  return context;
}

int receiveFrame(AVFormatContext* input, int stream, AVCodecContext* codec, AVPacket* packet,
                 AVFrame* frame, bool& ended) {
  for (;;) {
    const int code = avcodec_receive_frame(codec, frame);
    if (code != AVERROR(EAGAIN) || ended) return code;
    if (av_read_frame(input, packet) < 0) {
      ended = true;
      avcodec_send_packet(codec, nullptr);
      continue;
    }
    if (packet->stream_index == stream) avcodec_send_packet(codec, packet);
    av_packet_unref(packet);
  }
}

void writeHeaderMoovInFront(AVFormatContext* output, std::int64_t packetBound) {
  AVDictionary* options = nullptr;
  if (packetBound > 0) {
    // Each sample costs at most a size, a time, a sync entry, a chunk offset and a chunk
    // entry in the moov's tables (well under 64 bytes), plus the fixed boxes.
    av_dict_set_int(&options, "moov_size", 64 * packetBound + 65536, 0);
  } else {
    av_dict_set(&options, "movflags", "faststart", 0);
  }
  const int code = avformat_write_header(output, &options);
  av_dict_free(&options);
  check(code, "Couldn't write the movie header");
}

}  // namespace vorn::av
