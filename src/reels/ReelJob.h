// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"
#include "model/Model.h"

#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

namespace vorn {

// Where one take's reel job stands. Only `rendering` carries a progress and only `failed` a
// message; equality compares the case and its payload.
struct ReelStage {
  enum class Case { rendering, failed, waiting, listening, story, ready };

  Case kind = Case::waiting;
  double progress = 0;
  QString message;

  static ReelStage rendering(double progress) { return {Case::rendering, progress, {}}; }
  static ReelStage failed(QString message) { return {Case::failed, 0, std::move(message)}; }
  static ReelStage waiting() { return {Case::waiting, 0, {}}; }
  static ReelStage listening() { return {Case::listening, 0, {}}; }
  static ReelStage story() { return {Case::story, 0, {}}; }
  static ReelStage ready() { return {Case::ready, 0, {}}; }

  // `ready` and `failed` are final; every other stage may still move on.
  bool isFinished() const { return kind == Case::ready || kind == Case::failed; }

  bool operator==(const ReelStage&) const = default;
};

// One take's reel job, a plain value: equality compares every field.
struct ReelJob {
  Take take;
  QString theme;  // already cleaned; may be empty
  FaceLook face = FaceLook::off;
  // The camera's place in the output frame as fractions of 1080 × 1920; none without a camera.
  std::optional<Rect> camera;
  ReelStage stage;
  QStringList headline;
  QStringList flags;
  QString brand;
  QString brain;
  std::optional<QUrl> video;
  QString caption;
  double duration = 0;  // seconds

  bool operator==(const ReelJob&) const = default;
};

}  // namespace vorn
