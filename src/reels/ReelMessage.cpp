// SPDX-License-Identifier: GPL-3.0-or-later
#include "reels/ReelMessage.h"

#include <QCoreApplication>
#include <QJsonArray>

namespace vorn::ReelMessage {
namespace {

QString couldNotMake() { return QCoreApplication::translate("ReelMaker", "Couldn't make a reel from this take."); }

// The value as a string, or nothing when it is absent or of another JSON type.
std::optional<QString> stringOf(const QJsonObject& message, const char* key) {
  const QJsonValue value = message.value(QLatin1String(key));
  if (!value.isString()) return std::nullopt;
  return value.toString();
}

// A list only when every element is a string; anything else counts as missing.
QStringList stringListOf(const QJsonObject& message, const char* key) {
  const QJsonValue value = message.value(QLatin1String(key));
  if (!value.isArray()) return {};
  QStringList list;
  for (const QJsonValue& item : value.toArray()) {
    if (!item.isString()) return {};
    list.append(item.toString());
  }
  return list;
}

// A decimal number written as a string; 0 for anything else, a JSON number included.
double durationOf(const QJsonObject& message) {
  const std::optional<QString> text = stringOf(message, "duration");
  if (!text || text->trimmed() != *text) return 0;
  bool ok = false;
  const double value = text->toDouble(&ok);
  return ok ? value : 0;
}

void applyStage(ReelJob& job, const QJsonObject& message) {
  const std::optional<QString> stage = stringOf(message, "stage");
  if (!stage) return;
  if (*stage == QLatin1String("listening")) job.stage = ReelStage::listening();
  if (*stage == QLatin1String("story")) job.stage = ReelStage::story();
  if (*stage == QLatin1String("rendering")) job.stage = ReelStage::rendering(0);
}

void applyStory(ReelJob& job, const QJsonObject& message) {
  job.headline = stringListOf(message, "headline");
  job.flags = stringListOf(message, "flags");
  job.brand = stringOf(message, "brand").value_or(QString());
  job.brain = stringOf(message, "brain").value_or(QString());
  job.caption = stringOf(message, "caption").value_or(QString());
}

void applyDone(ReelJob& job, const QJsonObject& message) {
  const std::optional<QString> video = stringOf(message, "video");
  job.video = video ? std::optional(QUrl::fromLocalFile(*video)) : std::nullopt;
  if (const std::optional<QString> caption = stringOf(message, "caption")) job.caption = *caption;
  job.duration = durationOf(message);
  job.stage = ReelStage::ready();
}

}  // namespace

QString plain(const std::optional<QString>& message) {
  if (!message) return couldNotMake();
  if (message->contains(QLatin1String("no speech")) ||
      message->contains(QLatin1String("no usable speech")))
    return QCoreApplication::translate("ReelMaker", "No voice in this take, so there's no story to cut.");
  return couldNotMake();
}

Effect apply(ReelJob& job, const QJsonObject& message) {
  const std::optional<QString> event = stringOf(message, "event");
  if (!event) return Effect::none;
  const ReelJob before = job;
  if (*event == QLatin1String("stage")) {
    applyStage(job, message);
  } else if (*event == QLatin1String("story")) {
    applyStory(job, message);
  } else if (*event == QLatin1String("progress")) {
    const QJsonValue value = message.value(QLatin1String("value"));
    job.stage = ReelStage::rendering(value.isDouble() ? value.toDouble() : 0);
  } else if (*event == QLatin1String("done")) {
    applyDone(job, message);
    return Effect::done;
  } else if (*event == QLatin1String("error")) {
    job.stage = ReelStage::failed(plain(stringOf(message, "message")));
  }
  return job == before ? Effect::none : Effect::changed;
}

}  // namespace vorn::ReelMessage
