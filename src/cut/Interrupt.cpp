// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Interrupt.h"

#include <csignal>
#include <cstring>

#include <unistd.h>

namespace vorn::cut {
namespace {

constexpr std::size_t kMostPaths = 8;
constexpr std::size_t kLongestPath = 4096;
// Filled before the handlers are installed and never changed after: safe to read in one.
char gPaths[kMostPaths][kLongestPath];
std::size_t gCount = 0;

void onSignal(int signal) {
  for (std::size_t i = 0; i < gCount; ++i) ::unlink(gPaths[i]);
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

}  // namespace

void removeOnTermination(const std::vector<std::string>& paths) {
  gCount = 0;
  for (const std::string& path : paths) {
    if (gCount == kMostPaths || path.size() >= kLongestPath) break;
    std::memcpy(gPaths[gCount], path.c_str(), path.size() + 1);
    ++gCount;
  }
  for (int signal : {SIGTERM, SIGINT, SIGHUP}) std::signal(signal, onSignal);
}

}  // namespace vorn::cut
