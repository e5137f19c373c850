// SPDX-License-Identifier: GPL-3.0-or-later
#include "desktop/OwnWindowMarker.h"

#include "capture/OwnWindowMarks.h"

#include <QApplication>
#include <QEvent>
#include <QPainter>
#include <QWidget>
#include <QWindow>

namespace vorn {
namespace {

class Mark : public QWidget {
 public:
  Mark(QWidget* window, bool second) : QWidget(window), second_(second) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::NoFocus);
    setFixedSize(OwnWindowMark::kLength, OwnWindowMark::kRows);
  }

  void show(const OwnWindowMark& mark, QPoint at) {
    mark_ = mark;
    move(at);
    raise();
    setVisible(true);
    update();
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    const auto colours = mark_.pixels(second_);
    for (int i = 0; i < OwnWindowMark::kLength; ++i)
      painter.fillRect(QRect(i, 0, 1, OwnWindowMark::kRows), QColor::fromRgb(colours[std::size_t(i)]));
  }

 private:
  bool second_;
  OwnWindowMark mark_;
};

// Keeps the two marks in place, on top and up to date with the window and its frame.
class Marker : public QObject {
 public:
  Marker(QWidget* window, int inset)
      : QObject(window), window_(window), inset_(inset), first_(new Mark(window, false)),
        second_(new Mark(window, true)) {
    window->installEventFilter(this);
    place();
  }

 protected:
  bool eventFilter(QObject*, QEvent* event) override {
    switch (event->type()) {
      case QEvent::Resize:
      case QEvent::Show:
      case QEvent::WinIdChange:
      case QEvent::PlatformSurface:
      case QEvent::ChildAdded:
        place();
        break;
      default:
        break;
    }
    return false;
  }

 private:
  void place() {
    const QMargins frame = window_->windowHandle() ? window_->windowHandle()->frameMargins() : QMargins();
    const QSize size = window_->size();
    const QPoint top(inset_, inset_ > 0 ? 3 : 0);
    const QPoint bottom(size.width() - inset_ - OwnWindowMark::kLength,
                        size.height() - OwnWindowMark::kRows - (inset_ > 0 ? 3 : 0));
    const int width = size.width() + frame.left() + frame.right();
    const int height = size.height() + frame.top() + frame.bottom();
    first_->show({frame.left() + top.x(), frame.top() + top.y(), width, height}, top);
    second_->show({frame.left() + bottom.x(), frame.top() + bottom.y(), width, height}, bottom);
  }

  QWidget* window_;
  int inset_;
  Mark* first_;
  Mark* second_;
};

const char* const kMarked = "vornOwnMarks";

// Marks each window as it first shows.
class MarkEveryWindow : public QObject {
 protected:
  bool eventFilter(QObject* object, QEvent* event) override {
    if (event->type() != QEvent::Show || !object->isWidgetType()) return false;
    auto* widget = static_cast<QWidget*>(object);
    if (widget->isWindow() && !widget->property(kMarked).toBool()) markAsOwnWindow(widget);
    return false;
  }
};

}  // namespace

void markAsOwnWindow(QWidget* window, int inset) {
  window->setProperty(kMarked, true);
  new Marker(window, inset);
}

void markEveryOwnWindow() {
  static MarkEveryWindow* marking = nullptr;
  if (marking) return;
  marking = new MarkEveryWindow;
  qApp->installEventFilter(marking);
}

}  // namespace vorn
