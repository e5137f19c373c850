// SPDX-License-Identifier: GPL-3.0-or-later
#include "reels/LineReader.h"

#include <QJsonDocument>
#include <QJsonParseError>

#include <utility>
#include <vector>

namespace vorn {

LineReader::LineReader(Emit emit) : emit_(std::move(emit)) {}

void LineReader::feed(const char* bytes, qsizetype size) {
  std::vector<QByteArray> lines;
  {
    std::lock_guard guard(lock_);
    buffer_.append(bytes, size);
    qsizetype start = 0;
    for (qsizetype end = buffer_.indexOf('\n'); end >= 0; end = buffer_.indexOf('\n', start)) {
      if (!std::exchange(overlong_, false) && end - start <= longestLine)
        lines.push_back(buffer_.mid(start, end - start));
      start = end + 1;
    }
    buffer_.remove(0, start);
    if (buffer_.size() > longestLine) {
      buffer_.clear();
      overlong_ = true;
    }
  }
  for (const QByteArray& line : lines) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) continue;
    emit_(document.object());
  }
}

void LineReader::finish() {
  std::lock_guard guard(lock_);
  buffer_.clear();
  overlong_ = false;
}

qsizetype LineReader::pending() const {
  std::lock_guard guard(lock_);
  return buffer_.size();
}

}  // namespace vorn
