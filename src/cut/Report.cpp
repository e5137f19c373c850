// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Report.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace vorn::cut {
namespace {

QString text(const std::string& value) { return QString::fromStdString(value); }

QJsonArray list(const std::vector<std::string>& values) {
  QJsonArray array;
  for (const std::string& value : values) array.append(text(value));
  return array;
}

std::string line(const QJsonObject& message) {
  return QJsonDocument(message).toJson(QJsonDocument::Compact).toStdString();
}

std::string seconds(double value) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.2f", value);
  return buffer;
}

}  // namespace

void Report::stage(const char* name) {
  write(json_ ? line({{"event", "stage"}, {"stage", name}}) : std::string("stage: ") + name);
}

void Report::story(const Story& story) {
  if (!json_) {
    write("story: " + story.caption);
    return;
  }
  write(line({{"event", "story"},
              {"headline", list(story.headline)},
              {"flags", list(story.flags)},
              {"brand", text(story.brand)},
              {"brain", text(story.brain)},
              {"caption", text(story.caption)}}));
}

void Report::progress(double value) {
  write(json_ ? line({{"event", "progress"}, {"value", value}})
              : "progress: " + std::to_string(int(value * 100)) + " %");
}

void Report::done(const std::string& video, const std::string& caption, double duration) {
  write(json_ ? line({{"event", "done"},
                      {"video", text(video)},
                      {"caption", text(caption)},
                      {"duration", text(seconds(duration))}})
              : "done: " + video + " (" + seconds(duration) + " s)");
}

void Report::error(const std::string& message) {
  write(json_ ? line({{"event", "error"}, {"message", text(message)}}) : "error: " + message);
}

void Report::write(const std::string& text) {
  std::fputs((text + "\n").c_str(), out_);
  std::fflush(out_);
}

}  // namespace vorn::cut
