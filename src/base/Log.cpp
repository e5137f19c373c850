// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Log.h"

#include <cstdlib>
#include <string>
#include <unistd.h>

namespace vorn {

bool debugEnabled() {
  static const bool enabled = std::getenv("VORN_DEBUG") != nullptr;
  return enabled;
}

void logLine(std::string_view line) {
  std::string text(line);
  text.push_back('\n');
  // One write(2) per line keeps lines from different threads whole.
  const char* data = text.data();
  size_t left = text.size();
  while (left > 0) {
    ssize_t written = ::write(STDERR_FILENO, data, left);
    if (written <= 0) return;
    data += written;
    left -= static_cast<size_t>(written);
  }
}

void logError(std::string_view message) {
  logLine(std::string("Vorn: ").append(message));
}

void debugLine(std::string_view line) {
  if (debugEnabled()) logLine(line);
}

}  // namespace vorn
