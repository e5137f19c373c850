// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/FaceDetector.h"

#include <QFile>
#include <algorithm>
#include <libyuv/scale_argb.h>
#include <opencv2/imgproc.hpp>
#include <opencv2/objdetect.hpp>

#include "base/Log.h"

namespace vorn {

namespace {

// Faces narrower than this share of the picture are not looked for: a face in front of a
// webcam is wider, and every smaller scale searched costs time.
constexpr double minimumFaceShare = 0.08;
// Step between the face sizes searched: 1.15 finds the same faces as 1.1 at two thirds of
// the cost.
constexpr double scaleStep = 1.15;
constexpr int minimumNeighbours = 4;

int smallestFace(const cv::Mat& gray) { return std::max(20, int(gray.cols * minimumFaceShare)); }

// The smallest size to look for while following a face of this size.
int trackedSmallest(const cv::Rect& face) { return std::max(20, face.width * 3 / 4); }

}  // namespace

struct FaceDetector::State {
  cv::CascadeClassifier cascade;
  // Reused from one detection to the next, so a detection allocates nothing once warm.
  cv::Mat small;
  cv::Mat gray;
  std::vector<cv::Rect> faces;
  // The face the last detection found, in `gray`'s pixels, and the detections since the
  // last search of the whole picture.
  std::optional<cv::Rect> last;
  int tracked = 0;

  std::optional<cv::Rect> largest(cv::Point offset = {}) const;
  std::optional<cv::Rect> searchAll(int smallest);
  std::optional<cv::Rect> searchNear(const cv::Rect& face);
};

std::optional<cv::Rect> FaceDetector::State::largest(cv::Point offset) const {
  if (faces.empty()) return std::nullopt;
  const cv::Rect face = *std::max_element(
      faces.begin(), faces.end(),
      [](const cv::Rect& a, const cv::Rect& b) { return a.area() < b.area(); });
  return face + offset;
}

std::optional<cv::Rect> FaceDetector::State::searchAll(int smallest) {
  faces.clear();
  cascade.detectMultiScale(gray, faces, scaleStep, minimumNeighbours, 0,
                           cv::Size(smallest, smallest));
  return largest();
}

// A face moves little between two detections (a quarter second apart): searching half a face
// width around the last one, at sizes within a third of it, costs a small fraction of a full
// search.
std::optional<cv::Rect> FaceDetector::State::searchNear(const cv::Rect& face) {
  const int margin = face.width / 2;
  const cv::Rect area = cv::Rect(face.x - margin, face.y - margin, face.width + 2 * margin,
                                 face.height + 2 * margin) &
                        cv::Rect(0, 0, gray.cols, gray.rows);
  const int smallest = trackedSmallest(face);
  const int largestSize = std::max(smallest + 1, face.width * 4 / 3 + 1);
  faces.clear();
  cascade.detectMultiScale(gray(area), faces, scaleStep, minimumNeighbours, 0,
                           cv::Size(smallest, smallest), cv::Size(largestSize, largestSize));
  return largest(area.tl());
}

std::string FaceDetector::defaultCascade() { return ":/vorn/haarcascade_frontalface_alt2.xml"; }

FaceDetector::FaceDetector(const std::string& cascadeFile) : state_(std::make_unique<State>()) {
  // One detection at a time, on "vorn.vision" alone: OpenCV's worker pool would spin on the
  // core the encoder needs.
  cv::setNumThreads(1);
  // Read through Qt, which also reads the program's own files, and handed to OpenCV as text.
  QFile file(QString::fromStdString(cascadeFile));
  bool loaded = false;
  if (file.open(QIODevice::ReadOnly)) {
    try {
      const cv::FileStorage storage(file.readAll().toStdString(), cv::FileStorage::READ | cv::FileStorage::MEMORY);
      loaded = state_->cascade.read(storage.getFirstTopLevelNode());
    } catch (const cv::Exception&) {
      loaded = false;
    }
  }
  if (!loaded) logError("face finding is off: the cascade " + cascadeFile + " can't be loaded.");
}

FaceDetector::~FaceDetector() = default;

bool FaceDetector::ready() const { return !state_->cascade.empty(); }

void FaceDetector::forget() {
  state_->last.reset();
  state_->tracked = 0;
}

std::optional<Rect> FaceDetector::largestFace(const FrameBuffer& frame) {
  if (!ready() || frame.width() <= 0 || frame.height() <= 0) return std::nullopt;
  State& s = *state_;
  const double scale = std::min(1.0, double(detectionWidth) / frame.width());
  const cv::Size size(std::max(1, int(frame.width() * scale)),
                      std::max(1, int(frame.height() * scale)));
  std::optional<cv::Rect> found;
  try {
    // libyuv's box filter shrinks a camera picture several times faster than INTER_AREA.
    s.small.create(size, CV_8UC4);
    libyuv::ARGBScale(frame.data(), frame.stride(), frame.width(), frame.height(), s.small.data,
                      int(s.small.step), size.width, size.height, libyuv::kFilterBox);
    cv::cvtColor(s.small, s.gray, cv::COLOR_BGRA2GRAY);
    cv::equalizeHist(s.gray, s.gray);
    if (s.last && s.last->br().x <= size.width && s.last->br().y <= size.height) {
      // Now and then the whole picture, for a larger face elsewhere; the small sizes that
      // make a full search expensive can't hold one.
      const bool wide = ++s.tracked >= fullSearchEvery;
      found = wide ? s.searchAll(trackedSmallest(*s.last)) : s.searchNear(*s.last);
      if (wide) s.tracked = 0;
    }
    if (!found) found = s.searchAll(smallestFace(s.gray));
  } catch (const cv::Exception& error) {
    debugLine(std::string("Vorn capture: face detection failed: ") + error.what());
    forget();
    return std::nullopt;
  }
  s.last = found;
  if (!found) return std::nullopt;
  const double w = size.width, h = size.height;
  return Rect{found->x / w, 1 - (found->y + found->height) / h, found->width / w,
              found->height / h};
}

}  // namespace vorn
