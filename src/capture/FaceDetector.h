// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "base/FrameBuffer.h"
#include "base/Rect.h"

namespace vorn {

// Finds faces in camera pictures with an OpenCV cascade, on a copy scaled down to
// detectionWidth pixels. Once a face is found, the next detections look only near it and at
// sizes close to it, and every fullSearchEvery-th detection searches the whole picture again
// for faces at least about as large, so that a larger face elsewhere is still picked up. A
// face lost brings back the full search at every size. Not thread-safe: one detection at a time
// (the "vorn.vision" queue).
class FaceDetector {
 public:
  static constexpr int detectionWidth = 320;
  static constexpr int fullSearchEvery = 6;

  // OpenCV's frontal-face cascade "alt2", built into the program (data/): of the three
  // frontal cascades measured it found the most faces with no false ones.
  static std::string defaultCascade();

  // `cascadeFile`: a file or a Qt resource path.
  explicit FaceDetector(const std::string& cascadeFile = defaultCascade());
  ~FaceDetector();
  FaceDetector(const FaceDetector&) = delete;
  FaceDetector& operator=(const FaceDetector&) = delete;

  // False when the cascade couldn't be loaded (logged once); it then finds nothing.
  bool ready() const;

  // The face with the largest area as a unit rectangle with its origin at the bottom left;
  // nothing when there is no face.
  std::optional<Rect> largestFace(const FrameBuffer& frame);

  // The next detection searches the whole picture (a new camera, or a measurement).
  void forget();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace vorn
