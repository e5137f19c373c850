// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "model/Model.h"
#include "model/PrompterPace.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace vorn {

// The user's persisted preferences. Equality is memberwise and exact.
struct Prefs {
  Layout layout = Layout::screen;
  FrameStyle style = FrameStyle::floating;
  bool cameraOn = true;
  bool micOn = true;
  bool systemAudio = false;
  bool follow = true;
  bool clickZoom = false;
  Platform platform = Platform::reels;
  std::int64_t fps = 60;
  bool mirror = true;
  double splitRatio = 0.54;
  bool cameraOnTop = false;
  double bubbleX = 0.24;
  double bubbleY = 0.72;
  double bubbleSize = 0.3;
  std::optional<QString> cameraID;
  std::optional<QString> micID;
  QString script;
  // Far more than a short video is read in (about 1,700 words), and what the prompter can lay
  // out at once without a pause; the prompter and the reel engine read no further.
  static constexpr int maxScriptLength = 10'000;
  double prompterSpeed = PrompterPace::pointsPerSecond(PrompterPace::speaking);  // points a second
  std::optional<QString> brief;
  std::optional<bool> reels;
  std::optional<bool> claude;
  std::optional<FaceLook> face;
  // The saved capture frame as fractions of the screen: x, y, width, height.
  std::optional<std::vector<double>> home;

  bool operator==(const Prefs&) const = default;

  // JSON with exactly the field names as keys; absent optionals are omitted.
  QByteArray encode() const;
  // Nothing when the data is malformed, lacks a required key, holds a wrong type or
  // an unknown enumeration string. Values are taken as they stand (see withinRanges).
  static std::optional<Prefs> decode(const QByteArray& json);

  // This record with every value the controls could not have set replaced: a frame rate
  // other than 30 or 60, a split ratio outside [0.34, 0.72], a bubble size outside
  // [0.18, 0.5] or a prompter speed outside the editor's 60 to 300 words a minute (such as the
  // 30 points a second of earlier versions) by its default; a bubble position by the
  // nearest one that keeps the bubble whole; a capture frame that frames no part of the
  // screen (not four numbers, outside it, or under a hundredth of it) by none.
  Prefs withinRanges() const;

  // The saved record within its ranges, or the defaults when there is none or it does not
  // decode.
  static Prefs load();
  void save() const;
};

}  // namespace vorn
