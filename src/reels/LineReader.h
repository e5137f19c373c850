// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QJsonObject>

#include <functional>
#include <mutex>

namespace vorn {

// Cuts the reel engine's standard output into lines and decodes each line as one JSON
// object. A line that is not JSON, or not an object, is skipped silently (blank lines too).
// Bytes after the last line feed wait for more; at end of stream they are dropped, so every
// message must end with a line feed. Carriage returns are kept (JSON allows one at the end).
// A line longer than `longestLine` is dropped whole without being held.
class LineReader {
 public:
  using Emit = std::function<void(const QJsonObject& message)>;

  // Far above any message the engine sends; an engine that never ends its line costs no more.
  static constexpr qsizetype longestLine = 64 * 1024;

  explicit LineReader(Emit emit);

  // Appends one chunk and delivers every message it completes, in order. The lock is held
  // only while bytes are appended and lines cut; parsing and delivery run outside it.
  void feed(const char* bytes, qsizetype size);
  void feed(const QByteArray& bytes) { feed(bytes.constData(), bytes.size()); }

  // End of the stream: forgets an unterminated tail.
  void finish();

  // Bytes received but not yet ended by a line feed.
  qsizetype pending() const;

 private:
  const Emit emit_;
  mutable std::mutex lock_;  // guards buffer_
  QByteArray buffer_;
  bool overlong_ = false;  // the line under way has passed the limit: its rest is dropped
};

}  // namespace vorn
