// SPDX-License-Identifier: GPL-3.0-or-later
// Times AudioFlattener::flatten on a copy of a take.
//   recorder_flatten TAKE
#include "record/AudioFlattener.h"

#include <QFile>

#include <chrono>
#include <cstdio>

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: recorder_flatten TAKE\n");
    return 2;
  }
  const QString source = QString::fromLocal8Bit(argv[1]);
  const QString copy = source + ".flattened.mp4";
  QFile::remove(copy);
  if (!QFile::copy(source, copy)) return 1;
  const auto start = std::chrono::steady_clock::now();
  vorn::AudioFlattener::flatten(copy);
  std::printf("flatten %.3f s\n",
              std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  QFile::remove(copy);
  return 0;
}
