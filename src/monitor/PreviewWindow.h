#pragma once

#include "engine/StudioWindows.h"

#include <QWidget>

#include <functional>

namespace vorn {

class Studio;

// The studio's key window until the phone monitor takes its place: shows each composed frame
// scaled into the window without copying it, the toast over it, and hands every key to the
// engine first. GUI thread only.
class PreviewWindow : public QWidget, public MonitorPanel {
  Q_OBJECT

 public:
  // `onKey` returns true when the studio used the key.
  PreviewWindow(Studio& studio, std::function<bool(int key, Qt::KeyboardModifiers)> onKey);

  void show(const DisplayInfo& screen, const Rect& avoid) override;
  void hide() override;
  void showFrame(const ConstFrameRef& frame) override;
  void bringToFront() override;
  int previewWidth() const override;

  // Paints since creation: the frame-paint benchmark and tests count them.
  long paints() const { return paints_; }

 protected:
  void paintEvent(QPaintEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  Studio& studio_;
  std::function<bool(int, Qt::KeyboardModifiers)> onKey_;
  ConstFrameRef frame_;
  long paints_ = 0;
};

}  // namespace vorn
