// SPDX-License-Identifier: GPL-3.0-or-later
// The face finish as a piece of filter graph over the camera's place.
#include "cut/FaceFinish.h"

#include <gtest/gtest.h>

namespace vorn::cut {
namespace {

TEST(FaceFinishTest, noLookOrNoPlaceLeavesThePictureAlone) {
  EXPECT_EQ(faceFinishGraph({}), "[filled]null[finished]");
  EXPECT_EQ(faceFinishGraph({"natural", std::nullopt}), "[filled]null[finished]");
}

TEST(FaceFinishTest, theCamerasPlaceIsCutOnEvenPixelsFinishedAndLaidBack) {
  const std::string graph =
      faceFinishGraph({"natural", std::array{0.0741, 0.5521, 0.8519, 0.4167}});
  EXPECT_NE(graph.find("crop=920:800:80:1060,smartblur="), std::string::npos) << graph;
  EXPECT_NE(graph.find("overlay=80:1060[finished]"), std::string::npos) << graph;
  EXPECT_NE(faceFinishGraph({"sculpted", std::array{0.0, 0.0, 1.0, 1.0}})
                .find("crop=1080:1920:0:0,"
                      "smartblur=lr=3.0"),
            std::string::npos);
}

}  // namespace
}  // namespace vorn::cut
