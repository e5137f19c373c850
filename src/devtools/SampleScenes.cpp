// SPDX-License-Identifier: GPL-3.0-or-later
#include "devtools/SampleScenes.h"

#include "base/Log.h"
#include "model/Prefs.h"
#include "model/Geometry.h"

#include <QFont>
#include <QLinearGradient>
#include <QPainter>

#include <algorithm>
#include <cstring>

namespace vorn {
namespace {

constexpr int displayWidth = 2560;
constexpr int displayHeight = 1440;
constexpr int cameraWidth = 1920;
constexpr int cameraHeight = 1080;

const char* const codeLines[] = {
    "#include \"render/Compositor.h\"",
    "",
    "namespace studio {",
    "",
    "// Splits the canvas into rows and draws each layer back to front.",
    "void Renderer::drawFrame(const Scene& scene, Canvas& canvas) {",
    "  const int rows = canvas.height();",
    "  for (int y = 0; y < rows; ++y) {",
    "    auto* line = canvas.row(y);",
    "    background_.fill(y, line, canvas.width());",
    "    for (const Layer& layer : scene.layers) {",
    "      if (!layer.visible || !layer.covers(y)) continue;",
    "      layer.draw(y, line);  // opaque spans are copied",
    "    }",
    "  }",
    "  stats_.frames += 1;",
    "  stats_.lastRows = rows;",
    "}",
    "",
    "std::optional<Rect> visiblePart(const Rect& view, const Rect& area) {",
    "  if (area.width <= 0) return std::nullopt;",
    "  const double k = image.width() / area.width;",
    "  return view.scaled(k).intersected(bounds);",
    "}",
    "",
    "}  // namespace studio",
};

const char* const prose =
    "Short vertical videos are read on a phone held at arm's length, so every line of text on "
    "the screen must survive being shrunk into a card. The compositor averages the source "
    "pixels that fall into each output pixel instead of picking one of them: thin strokes keep "
    "their weight, letters do not shimmer when the view glides, and a paragraph like this one "
    "stays readable. Rounded corners are antialiased with a one-pixel ramp, and the backdrop "
    "behind the cards is blurred at a twelfth of the canvas size before it is enlarged again.";

void drawEditor(QPainter& painter, const QRect& area) {
  painter.fillRect(area, QColor(30, 31, 36));
  QFont mono(QStringLiteral("DejaVu Sans Mono"));
  mono.setPixelSize(16);
  painter.setFont(mono);
  const QColor colours[] = {QColor(220, 220, 210), QColor(120, 190, 250), QColor(230, 180, 110),
                            QColor(200, 150, 230)};
  const int lineHeight = 22;
  int line = 0;
  for (int y = area.top() + 12; y + lineHeight < area.bottom(); y += lineHeight, ++line) {
    const char* text = codeLines[line % std::size(codeLines)];
    painter.setPen(QColor(100, 104, 116));
    painter.drawText(QRect(area.left() + 8, y, 48, lineHeight), Qt::AlignRight,
                     QString::number(line + 1));
    const bool comment = std::strstr(text, "//") == text + std::strspn(text, " ");
    painter.setPen(comment ? QColor(110, 170, 110) : colours[line % std::size(colours)]);
    painter.drawText(QPoint(area.left() + 72, y + 16), QString::fromUtf8(text));
  }
}

void drawFileList(QPainter& painter, const QRect& area) {
  painter.fillRect(area, QColor(24, 25, 30));
  QFont sans(QStringLiteral("DejaVu Sans"));
  sans.setPixelSize(15);
  painter.setFont(sans);
  const char* const names[] = {"src", "  app", "  capture", "  render", "    Backdrop.cpp",
                               "    CardMask.cpp", "    Compositor.cpp", "    Scaler.cpp",
                               "    Shadow.cpp", "tests", "  render", "docs", "README.md"};
  int y = area.top() + 16;
  for (int i = 0; y + 24 < area.bottom(); ++i, y += 26) {
    painter.setPen(i % 7 == 6 ? QColor(250, 250, 250) : QColor(170, 174, 184));
    painter.drawText(QPoint(area.left() + 16, y + 16), QString::fromUtf8(names[i % std::size(names)]));
  }
}

void drawTerminal(QPainter& painter, const QRect& area) {
  painter.fillRect(area, QColor(12, 12, 14));
  QFont mono(QStringLiteral("DejaVu Sans Mono"));
  mono.setPixelSize(14);
  painter.setFont(mono);
  const char* const lines[] = {"$ cmake --build build -j2",
                               "[ 42%] Building CXX object src/render/Scaler.cpp.o",
                               "[ 57%] Linking CXX static library libvorncore.a",
                               "[100%] Built target vorn",
                               "$ ctest --output-on-failure",
                               "    Start 1: render_compositor_tests",
                               "1/1 Test #1: render_compositor_tests ....   Passed",
                               "100% tests passed, 0 tests failed out of 1"};
  int y = area.top() + 12;
  for (int i = 0; y + 20 < area.bottom(); ++i, y += 20) {
    const char* text = lines[i % std::size(lines)];
    painter.setPen(text[0] == '$' ? QColor(120, 220, 120) : QColor(190, 190, 190));
    painter.drawText(QPoint(area.left() + 12, y + 14), QString::fromUtf8(text));
  }
}

void drawPage(QPainter& painter, const QRect& area) {
  painter.fillRect(area, QColor(250, 250, 247));
  QFont heading(QStringLiteral("DejaVu Serif"));
  heading.setPixelSize(34);
  heading.setBold(true);
  painter.setFont(heading);
  painter.setPen(QColor(20, 20, 24));
  const QRect inner = area.adjusted(56, 40, -56, -40);
  painter.drawText(QRect(inner.left(), inner.top(), inner.width(), 50), Qt::AlignLeft,
                   QStringLiteral("Reading text in a shrunken card"));
  QFont body(QStringLiteral("DejaVu Sans"));
  body.setPixelSize(17);
  painter.setFont(body);
  painter.setPen(QColor(40, 40, 46));
  int y = inner.top() + 70;
  for (int paragraph = 0; y + 150 < inner.bottom(); ++paragraph) {
    const QRect box(inner.left(), y, inner.width(), 200);
    QRect used;
    painter.drawText(box, Qt::TextWordWrap, QString::fromUtf8(prose), &used);
    y += used.height() + 22;
  }
}

QImage loadPicture(const char* variable, const QString& fallbackPath) {
  const QByteArray chosen = qgetenv(variable);
  const QString path = chosen.isEmpty() ? fallbackPath : QString::fromLocal8Bit(chosen);
  if (path.isEmpty()) return {};
  QImage image(path);
  if (image.isNull()) {
    logError(("sample picture could not be read: " + path).toStdString());
    return {};
  }
  return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

// A viewport of the slot's aspect, about 1000 points tall, around a point of the display.
Rect viewportFor(const Rect& slot) {
  const double aspect = slot.width / std::max(slot.height, 1.0);
  double height = 1000;
  double width = height * aspect;
  if (width > 2300) {
    height *= 2300 / width;
    width = 2300;
  }
  const double x = std::clamp(1300 - width / 2, 0.0, displayWidth - width);
  const double y = std::clamp(700 - height / 2, 0.0, displayHeight - height);
  return {x, y, width, height};
}

// The camera crop (unit rectangle) of the slot's aspect, 80% of the picture's height, centred.
Rect cropFor(const Rect& slot, const QImage& camera) {
  const double aspect = slot.width / std::max(slot.height, 1.0);
  const double height = 0.8;
  const double width = std::min(1.0, height * camera.height() * aspect / camera.width());
  return {0.5 - width / 2, 0.1, width, height};
}

}  // namespace

QImage sampleDisplayPicture() {
  if (QImage given = loadPicture("VORN_SAMPLE_SCREEN", {}); !given.isNull()) return given;
  QImage image(displayWidth, displayHeight, QImage::Format_ARGB32_Premultiplied);
  QPainter painter(&image);
  painter.setRenderHint(QPainter::TextAntialiasing);
  painter.fillRect(QRect(0, 0, displayWidth, 34), QColor(18, 18, 22));
  drawFileList(painter, QRect(0, 34, 300, displayHeight - 34));
  drawTerminal(painter, QRect(300, 34, 600, displayHeight - 34));
  drawEditor(painter, QRect(900, 34, 800, displayHeight - 34));
  drawPage(painter, QRect(1700, 34, displayWidth - 1700, displayHeight - 34));
  return image;
}

QImage sampleCameraPicture() {
  QImage image(cameraWidth, cameraHeight, QImage::Format_ARGB32_Premultiplied);
  QPainter painter(&image);
  QLinearGradient room(0, 0, cameraWidth, cameraHeight);
  room.setColorAt(0, QColor(62, 72, 88));
  room.setColorAt(1, QColor(128, 112, 96));
  painter.fillRect(image.rect(), room);
  const QImage face = loadPicture("VORN_SAMPLE_CAMERA", QStringLiteral(":/vorn/sample-face.jpg"));
  if (face.isNull()) {
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(QColor(224, 182, 150));
    painter.setPen(Qt::NoPen);
    painter.drawEllipse(QPoint(cameraWidth / 2, cameraHeight / 2), 230, 300);
    return image;
  }
  painter.setRenderHint(QPainter::SmoothPixmapTransform);
  const int side = cameraHeight;
  painter.drawImage(QRect((cameraWidth - side) / 2, 0, side, side), face);
  return image;
}

FrameRef frameFromImage(const QImage& image) { return frameFromImage(image, image.rect()); }

FrameRef frameFromImage(const QImage& image, const QRect& area) {
  const QImage source = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
  const QRect part = area.intersected(source.rect());
  auto frame = std::make_shared<FrameBuffer>(std::max(part.width(), 1), std::max(part.height(), 1));
  for (int y = 0; y < part.height(); ++y) {
    std::memcpy(frame->row(y), source.constScanLine(part.top() + y) + 4 * part.left(),
                size_t(part.width()) * 4);
  }
  return frame;
}

std::vector<SampleCase> sampleCases(const QImage& display, const QImage& camera) {
  std::vector<SampleCase> cases;
  const FrameRef cameraFrame = frameFromImage(camera);
  for (const auto& [layout, layoutName] : EnumCases<Layout>::cases) {
    for (const auto& [style, styleName] : EnumCases<FrameStyle>::cases) {
      Prefs prefs;
      prefs.layout = layout;
      prefs.style = style;
      prefs.cameraOn = true;
      SampleCase sample;
      sample.name = QString::fromLatin1(layoutName.data(), int(layoutName.size())) + '-' +
                    QString::fromLatin1(styleName.data(), int(styleName.size()));
      sample.scene.slots = Geometry::slots(prefs);
      sample.scene.mirror = true;
      if (const auto& slot = sample.scene.slots.screen) {
        const Rect cam = viewportFor(*slot);
        const Rect area = cam.outsetBy(cam.width * 0.45, cam.height * 0.25)
                              .intersected({0, 0, double(display.width()), double(display.height())})
                              .integral();
        sample.scene.cam = cam;
        sample.scene.area = area;
        sample.screen = frameFromImage(
            display, QRect(int(area.x), int(area.y), int(area.width), int(area.height)));
      }
      if (const auto& slot = sample.scene.slots.camera) {
        sample.scene.crop = cropFor(*slot, camera);
        sample.camera = cameraFrame;
      }
      cases.push_back(std::move(sample));
    }
  }
  return cases;
}

}  // namespace vorn
