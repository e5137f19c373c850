// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Picture.h"

#include "base/Av.h"
#include "cut/Words.h"

namespace vorn::cut {

void writePicture(const std::string& reel, const std::string& out, double seconds) {
  try {
    av::Input input = av::openInput(reel);
    const int index = av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    av::check(index, "The reel has no picture");
    const AVStream* source = input->streams[index];
    av::Output output = av::openOutput(out);
    AVStream* stream = avformat_new_stream(output.get(), nullptr);
    if (!stream) throw std::bad_alloc();
    av::check(avcodec_parameters_copy(stream->codecpar, source->codecpar), "Copying the picture");
    stream->codecpar->codec_tag = 0;
    stream->time_base = source->time_base;
    av::writeHeaderMoovInFront(output.get(), 0);
    av::Packet packet = av::makePacket();
    const auto end = std::int64_t(seconds / av_q2d(source->time_base));
    while (av_read_frame(input.get(), packet.get()) >= 0) {
      const bool keep = packet->stream_index == index && packet->dts < end;
      if (keep) {
        packet->stream_index = 0;
        av_packet_rescale_ts(packet.get(), source->time_base, stream->time_base);
        av::check(av_interleaved_write_frame(output.get(), packet.get()), "Writing the picture");
      }
      av_packet_unref(packet.get());
    }
    av::check(av_write_trailer(output.get()), "Completing the picture");
  } catch (const std::runtime_error& error) {
    throw CutError(std::string("The reel's moving cover couldn't be written: ") + error.what());
  }
}

}  // namespace vorn::cut
