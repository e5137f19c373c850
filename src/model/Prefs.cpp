// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/Prefs.h"

#include "model/Settings.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace vorn {

LayoutFields::LayoutFields(const Prefs& p)
    : layout(p.layout),
      style(p.style),
      cameraOn(p.cameraOn),
      splitRatio(p.splitRatio),
      cameraOnTop(p.cameraOnTop),
      bubbleX(p.bubbleX),
      bubbleY(p.bubbleY),
      bubbleSize(p.bubbleSize) {}
namespace {

const QString kPrefsKey = QStringLiteral("prefs");

// Reads keys from one JSON object; the first failed read marks the whole decode failed.
class Reader {
 public:
  explicit Reader(QJsonObject object) : object_(std::move(object)) {}

  bool failed() const { return failed_; }

  bool boolean(const char* key) { return required(key, &Reader::asBool).value_or(false); }
  double number(const char* key) { return required(key, &Reader::asDouble).value_or(0); }
  std::int64_t integer(const char* key) { return required(key, &Reader::asInteger).value_or(0); }
  QString string(const char* key) { return required(key, &Reader::asString).value_or(QString()); }

  template <class E>
  E enumeration(const char* key) {
    return required(key, &Reader::asEnum<E>).value_or(E{});
  }

  std::optional<bool> optionalBoolean(const char* key) { return optional(key, &Reader::asBool); }
  std::optional<QString> optionalString(const char* key) { return optional(key, &Reader::asString); }
  std::optional<std::vector<double>> optionalNumbers(const char* key) {
    return optional(key, &Reader::asNumbers);
  }
  template <class E>
  std::optional<E> optionalEnumeration(const char* key) {
    return optional(key, &Reader::asEnum<E>);
  }

 private:
  template <class T>
  std::optional<T> required(const char* key, std::optional<T> (Reader::*convert)(const QJsonValue&)) {
    const QJsonValue value = object_.value(QLatin1String(key));
    if (value.isUndefined() || value.isNull()) return fail<T>();
    return (this->*convert)(value);
  }

  // A missing key or a null reads as absent; a present value of the wrong type fails.
  template <class T>
  std::optional<T> optional(const char* key, std::optional<T> (Reader::*convert)(const QJsonValue&)) {
    const QJsonValue value = object_.value(QLatin1String(key));
    if (value.isUndefined() || value.isNull()) return std::nullopt;
    return (this->*convert)(value);
  }

  template <class T>
  std::optional<T> fail() {
    failed_ = true;
    return std::nullopt;
  }

  std::optional<bool> asBool(const QJsonValue& value) {
    if (!value.isBool()) return fail<bool>();
    return value.toBool();
  }

  std::optional<double> asDouble(const QJsonValue& value) {
    if (!value.isDouble()) return fail<double>();
    return value.toDouble();
  }

  std::optional<std::int64_t> asInteger(const QJsonValue& value) {
    if (!value.isDouble()) return fail<std::int64_t>();
    const double number = value.toDouble();
    if (number != std::trunc(number) || std::abs(number) > 9.007199254740992e15)
      return fail<std::int64_t>();
    return value.toInteger();
  }

  std::optional<QString> asString(const QJsonValue& value) {
    if (!value.isString()) return fail<QString>();
    return value.toString();
  }

  template <class E>
  std::optional<E> asEnum(const QJsonValue& value) {
    if (!value.isString()) return fail<E>();
    const auto decoded = fromRawValue<E>(value.toString().toStdString());
    if (!decoded) return fail<E>();
    return decoded;
  }

  std::optional<std::vector<double>> asNumbers(const QJsonValue& value) {
    if (!value.isArray()) return fail<std::vector<double>>();
    std::vector<double> numbers;
    for (const QJsonValue& element : value.toArray()) {
      if (!element.isDouble()) return fail<std::vector<double>>();
      numbers.push_back(element.toDouble());
    }
    return numbers;
  }

  QJsonObject object_;
  bool failed_ = false;
};

template <class E>
QJsonValue raw(E value) {
  const std::string_view name = rawValue(value);
  return QString::fromLatin1(name.data(), static_cast<qsizetype>(name.size()));
}

}  // namespace

QByteArray Prefs::encode() const {
  QJsonObject o;
  o.insert("layout", raw(layout));
  o.insert("style", raw(style));
  o.insert("cameraOn", cameraOn);
  o.insert("micOn", micOn);
  o.insert("systemAudio", systemAudio);
  o.insert("follow", follow);
  o.insert("clickZoom", clickZoom);
  o.insert("platform", raw(platform));
  o.insert("fps", QJsonValue(static_cast<qint64>(fps)));
  o.insert("mirror", mirror);
  o.insert("splitRatio", splitRatio);
  o.insert("cameraOnTop", cameraOnTop);
  o.insert("bubbleX", bubbleX);
  o.insert("bubbleY", bubbleY);
  o.insert("bubbleSize", bubbleSize);
  if (cameraID) o.insert("cameraID", *cameraID);
  if (micID) o.insert("micID", *micID);
  o.insert("script", script);
  o.insert("prompterSpeed", prompterSpeed);
  if (brief) o.insert("brief", *brief);
  if (reels) o.insert("reels", *reels);
  if (claude) o.insert("claude", *claude);
  if (face) o.insert("face", raw(*face));
  if (home) {
    QJsonArray numbers;
    for (double n : *home) numbers.append(n);
    o.insert("home", numbers);
  }
  return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

std::optional<Prefs> Prefs::decode(const QByteArray& json) {
  QJsonParseError error{};
  const QJsonDocument document = QJsonDocument::fromJson(json, &error);
  if (error.error != QJsonParseError::NoError || !document.isObject()) return std::nullopt;

  Reader r(document.object());
  Prefs p;
  p.layout = r.enumeration<Layout>("layout");
  p.style = r.enumeration<FrameStyle>("style");
  p.cameraOn = r.boolean("cameraOn");
  p.micOn = r.boolean("micOn");
  p.systemAudio = r.boolean("systemAudio");
  p.follow = r.boolean("follow");
  p.clickZoom = r.boolean("clickZoom");
  p.platform = r.enumeration<Platform>("platform");
  p.fps = r.integer("fps");
  p.mirror = r.boolean("mirror");
  p.splitRatio = r.number("splitRatio");
  p.cameraOnTop = r.boolean("cameraOnTop");
  p.bubbleX = r.number("bubbleX");
  p.bubbleY = r.number("bubbleY");
  p.bubbleSize = r.number("bubbleSize");
  p.cameraID = r.optionalString("cameraID");
  p.micID = r.optionalString("micID");
  p.script = r.string("script");
  p.prompterSpeed = r.number("prompterSpeed");
  p.brief = r.optionalString("brief");
  p.reels = r.optionalBoolean("reels");
  p.claude = r.optionalBoolean("claude");
  p.face = r.optionalEnumeration<FaceLook>("face");
  p.home = r.optionalNumbers("home");
  if (r.failed()) return std::nullopt;
  return p;
}

Prefs Prefs::load() {
  const QByteArray data = userSettings().value(kPrefsKey).toByteArray();
  if (data.isEmpty()) return Prefs{};
  return decode(data).value_or(Prefs{}).withinRanges();
}

void Prefs::save() const {
  // Encoding cannot fail for this record; a store that cannot be written is not reported.
  userSettings().setValue(kPrefsKey, encode());
}

}  // namespace vorn
