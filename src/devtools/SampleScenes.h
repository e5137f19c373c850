// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FrameBuffer.h"
#include "render/Compositor.h"

#include <QImage>
#include <QString>

#include <vector>

namespace vorn {

// Sample pictures and frame scenes for the compositor's benchmark and its sample renders.
// The pictures are drawn with QPainter text, so a QGuiApplication must exist.

// A 2560 × 1440 desktop full of text: an editor with code, a file list and a page of prose.
// VORN_SAMPLE_SCREEN names an image file to use instead.
QImage sampleDisplayPicture();

// A 1920 × 1080 camera picture with a real face (a public-domain NASA portrait kept in the
// source tree). VORN_SAMPLE_CAMERA names an image file to use instead.
QImage sampleCameraPicture();

// A frame buffer holding a copy of `image` (or of its part `area`, in image pixels).
FrameRef frameFromImage(const QImage& image);
FrameRef frameFromImage(const QImage& image, const QRect& area);

// One layout × style at one scale, with its inputs: the screen image is the crop of the display
// that the screen source would deliver around the viewport.
struct SampleCase {
  QString name;  // e.g. "screen-floating"
  FrameScene scene;
  FrameRef screen;  // null when the layout shows no screen
  FrameRef camera;
};

// Every layout × style (the screen layout with its camera bubble), from the given display and
// camera pictures.
std::vector<SampleCase> sampleCases(const QImage& display, const QImage& camera);

}  // namespace vorn
