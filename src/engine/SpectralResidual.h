// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <opencv2/core.hpp>

namespace vorn {

// The saliency map of a grayscale picture by its spectral residual (Hou and Zhang, 2007): the
// part of the picture's log-amplitude spectrum that a local average of it does not predict,
// taken back to the picture with its phase, squared and smoothed. Worked out on the picture
// shrunk to 64 × 64, which keeps what draws the eye and drops texture. CV_32F, 64 × 64,
// scaled to a largest value of 1.
cv::Mat spectralResidual(const cv::Mat& gray);

}  // namespace vorn
