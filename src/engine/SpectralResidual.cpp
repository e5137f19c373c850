// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/SpectralResidual.h"

#include <opencv2/imgproc.hpp>

namespace vorn {

cv::Mat spectralResidual(const cv::Mat& gray) {
  constexpr int side = 64;
  cv::Mat small;
  cv::resize(gray, small, {side, side}, 0, 0, cv::INTER_AREA);
  cv::Mat planes[2];
  small.convertTo(planes[0], CV_32F);
  planes[1] = cv::Mat::zeros(side, side, CV_32F);
  cv::Mat spectrum;
  cv::merge(planes, 2, spectrum);
  cv::dft(spectrum, spectrum);
  cv::split(spectrum, planes);

  cv::Mat amplitude, phase, logAmplitude, expected;
  cv::cartToPolar(planes[0], planes[1], amplitude, phase);
  // A frequency absent from the picture would have no logarithm.
  cv::log(amplitude + 1e-6, logAmplitude);
  cv::blur(logAmplitude, expected, {3, 3});
  cv::exp(logAmplitude - expected, amplitude);
  cv::polarToCart(amplitude, phase, planes[0], planes[1]);
  cv::merge(planes, 2, spectrum);
  cv::dft(spectrum, spectrum, cv::DFT_INVERSE | cv::DFT_SCALE);
  cv::split(spectrum, planes);

  cv::Mat map;
  cv::magnitude(planes[0], planes[1], map);
  map = map.mul(map);
  cv::GaussianBlur(map, map, {5, 5}, 8);
  double largest = 0;
  cv::minMaxLoc(map, nullptr, &largest);
  if (largest > 0) map /= largest;
  return map;
}

}  // namespace vorn
