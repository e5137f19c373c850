#include "capture/FaceDetector.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>
#include <opencv2/objdetect.hpp>

#include "app/Log.h"

namespace vorn {

namespace {

// Faces narrower than this share of the picture are not looked for: a face in front of a
// webcam is wider, and every smaller scale searched costs time.
constexpr double minimumFaceShare = 0.08;
// Step between the face sizes searched: 1.15 finds the same faces as 1.1 at two thirds of
// the cost.
constexpr double scaleStep = 1.15;
constexpr int minimumNeighbours = 4;

}  // namespace

struct FaceDetector::State {
  cv::CascadeClassifier cascade;
  // Reused from one detection to the next, so a detection allocates nothing once warm.
  cv::Mat small;
  cv::Mat gray;
  std::vector<cv::Rect> faces;
};

std::string FaceDetector::defaultCascade() {
  return "/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt2.xml";
}

FaceDetector::FaceDetector(const std::string& cascadeFile) : state_(std::make_unique<State>()) {
  // One detection at a time, on "vorn.vision" alone: OpenCV's worker pool would spin on the
  // core the encoder needs.
  cv::setNumThreads(1);
  bool loaded = false;
  try {
    loaded = state_->cascade.load(cascadeFile);
  } catch (const cv::Exception&) {
    loaded = false;
  }
  if (!loaded) logError("face finding is off: the cascade " + cascadeFile + " can't be loaded.");
}

FaceDetector::~FaceDetector() = default;

bool FaceDetector::ready() const { return !state_->cascade.empty(); }

std::optional<Rect> FaceDetector::largestFace(const FrameBuffer& frame) {
  if (!ready() || frame.width() <= 0 || frame.height() <= 0) return std::nullopt;
  State& s = *state_;
  const cv::Mat picture(frame.height(), frame.width(), CV_8UC4,
                        const_cast<std::uint8_t*>(frame.data()), size_t(frame.stride()));
  const double scale = std::min(1.0, double(detectionWidth) / frame.width());
  const cv::Size size(std::max(1, int(frame.width() * scale)),
                      std::max(1, int(frame.height() * scale)));
  try {
    cv::resize(picture, s.small, size, 0, 0, cv::INTER_AREA);
    cv::cvtColor(s.small, s.gray, cv::COLOR_BGRA2GRAY);
    cv::equalizeHist(s.gray, s.gray);
    const int minimum = std::max(20, int(size.width * minimumFaceShare));
    s.faces.clear();
    s.cascade.detectMultiScale(s.gray, s.faces, scaleStep, minimumNeighbours, 0,
                               cv::Size(minimum, minimum));
  } catch (const cv::Exception& error) {
    debugLine(std::string("Vorn capture: face detection failed: ") + error.what());
    return std::nullopt;
  }
  if (s.faces.empty()) return std::nullopt;
  const cv::Rect largest =
      *std::max_element(s.faces.begin(), s.faces.end(),
                        [](const cv::Rect& a, const cv::Rect& b) { return a.area() < b.area(); });
  const double w = size.width, h = size.height;
  return Rect{largest.x / w, 1 - (largest.y + largest.height) / h, largest.width / w,
              largest.height / h};
}

}  // namespace vorn
