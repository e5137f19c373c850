// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/Story.h"

#include <cstdio>
#include <string>

namespace vorn::cut {

// Tells the studio how the run goes: one JSON object per line on standard output, each
// ended by a line feed and flushed at once; without `jsonLines`, plain lines for a person.
class Report {
 public:
  explicit Report(bool jsonLines, std::FILE* out = stdout) : json_(jsonLines), out_(out) {}

  void stage(const char* name);
  void story(const Story& story);
  void progress(double value);
  void done(const std::string& video, const std::string& caption, double duration);
  void error(const std::string& message);

 private:
  void write(const std::string& line);

  bool json_;
  std::FILE* out_;
};

}  // namespace vorn::cut
