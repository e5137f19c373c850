#include "engine/Av.h"

#include "app/Log.h"

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

Output openOutput(const std::string& path) {
  quietLogs();
  AVFormatContext* raw = nullptr;
  check(avformat_alloc_output_context2(&raw, nullptr, "mp4", path.c_str()),
        "Couldn't create a movie writer for " + path);
  Output output(raw);
  check(avio_open(&output->pb, path.c_str(), AVIO_FLAG_WRITE), "Couldn't create " + path);
  return output;
}

}  // namespace vorn::av
