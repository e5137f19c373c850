// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Clock.h"

#include <time.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

namespace vorn {

double secondsSinceLaunch() {
  std::ifstream file("/proc/self/stat");
  std::string stat;
  std::getline(file, stat);
  // The command name may hold spaces and parentheses: fields are counted after the last ')'.
  const size_t end = stat.rfind(')');
  if (end == std::string::npos) return 0;
  std::istringstream fields(stat.substr(end + 2));
  std::string field;
  // Field 22 (starttime) follows the nineteen fields after the command name.
  for (int i = 0; i < 19 && fields >> field; ++i) {}
  unsigned long long startTicks = 0;
  if (!(fields >> startTicks)) return 0;
  timespec boot{};
  if (clock_gettime(CLOCK_BOOTTIME, &boot) != 0) return 0;
  const double now = double(boot.tv_sec) + boot.tv_nsec / 1e9;
  return now - double(startTicks) / double(sysconf(_SC_CLK_TCK));
}

}  // namespace vorn
