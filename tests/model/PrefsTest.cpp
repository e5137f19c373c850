// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/Prefs.h"
#include "model/Settings.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

#include <functional>

namespace vorn {
namespace {

Prefs everyFieldChanged() {
  Prefs p;
  p.layout = Layout::split;
  p.style = FrameStyle::bleed;
  p.cameraOn = false;
  p.micOn = false;
  p.systemAudio = true;
  p.follow = false;
  p.clickZoom = true;
  p.platform = Platform::tiktok;
  p.fps = 30;
  p.mirror = false;
  p.splitRatio = 0.4123456789012345;
  p.cameraOnTop = true;
  p.bubbleX = 0.2;
  p.bubbleY = 0.9;
  p.bubbleSize = 1.0 / 3.0;
  p.cameraID = QStringLiteral("usb-cam-1");
  p.micID = QStringLiteral("alsa_input.pci");
  p.script = QStringLiteral("Hello\n\"world\" – ünïcode");
  p.prompterSpeed = 5.5;
  p.brief = QStringLiteral("a brief");
  p.reels = true;
  p.claude = false;
  p.face = FaceLook::sculpted;
  p.home = std::vector<double>{0.1, 0.2, 0.30000000000000004, 0.7};
  return p;
}

QJsonObject encodedObject(const Prefs& p) { return QJsonDocument::fromJson(p.encode()).object(); }

QByteArray withChange(const Prefs& p, const QString& key, const QJsonValue& value) {
  QJsonObject o = encodedObject(p);
  if (value.isUndefined())
    o.remove(key);
  else
    o.insert(key, value);
  return QJsonDocument(o).toJson();
}

class PrefsStore : public testing::Test {
 protected:
  void SetUp() override { userSettings().remove(QStringLiteral("prefs")); }
};

TEST_F(PrefsStore, everyFieldRoundTripsExactlyThroughTheStore) {
  const Prefs saved = everyFieldChanged();
  saved.save();
  EXPECT_EQ(Prefs::load(), saved);
  EXPECT_NE(Prefs::load(), Prefs{});
}

TEST_F(PrefsStore, nothingSavedLoadsTheDefaults) { EXPECT_EQ(Prefs::load(), Prefs{}); }

TEST_F(PrefsStore, garbageInTheStoreLoadsTheDefaults) {
  userSettings().setValue(QStringLiteral("prefs"), QByteArray("{\"layout\": \"scr"));
  EXPECT_EQ(Prefs::load(), Prefs{});
  userSettings().setValue(QStringLiteral("prefs"), QByteArray("[1, 2, 3]"));
  EXPECT_EQ(Prefs::load(), Prefs{});
}

TEST(Prefs, defaultsAreTheDocumentedValues) {
  const Prefs p;
  EXPECT_EQ(p.layout, Layout::screen);
  EXPECT_EQ(p.style, FrameStyle::floating);
  EXPECT_TRUE(p.cameraOn && p.micOn && p.follow && p.mirror);
  EXPECT_FALSE(p.systemAudio || p.clickZoom || p.cameraOnTop);
  EXPECT_EQ(p.platform, Platform::reels);
  EXPECT_EQ(p.fps, 60);
  EXPECT_EQ(p.splitRatio, 0.54);
  EXPECT_EQ(p.bubbleX, 0.24);
  EXPECT_EQ(p.bubbleY, 0.72);
  EXPECT_EQ(p.bubbleSize, 0.3);
  EXPECT_NEAR(p.prompterSpeed, 8.43, 0.01) << "150 words a minute";
  EXPECT_TRUE(p.script.isEmpty());
  EXPECT_FALSE(p.cameraID || p.micID || p.brief || p.reels || p.claude || p.face || p.home);
}

TEST(Prefs, encodingUsesTheFieldNamesIntegersAndArrays) {
  const Prefs p = everyFieldChanged();
  const QByteArray json = p.encode();
  const QJsonObject o = encodedObject(p);
  EXPECT_EQ(o.size(), 24);
  EXPECT_EQ(o.value("layout").toString(), "split");
  EXPECT_EQ(o.value("face").toString(), "sculpted");
  EXPECT_TRUE(json.contains("\"fps\":30,") || json.contains("\"fps\":30}")) << json.toStdString();
  ASSERT_TRUE(o.value("home").isArray());
  EXPECT_EQ(o.value("home").toArray().size(), 4);

  const QJsonObject defaults = encodedObject(Prefs{});
  EXPECT_EQ(defaults.size(), 17) << "absent optionals are omitted";
}

TEST(Prefs, missingOptionalsLoadAbsentAndKeepTheRest) {
  const Prefs full = everyFieldChanged();
  for (const char* key : {"cameraID", "micID", "brief", "reels", "claude", "face", "home"}) {
    const auto decoded = Prefs::decode(withChange(full, key, QJsonValue::Undefined));
    ASSERT_TRUE(decoded) << key;
    Prefs expected = full;
    const std::string k = key;
    if (k == "cameraID") expected.cameraID.reset();
    if (k == "micID") expected.micID.reset();
    if (k == "brief") expected.brief.reset();
    if (k == "reels") expected.reels.reset();
    if (k == "claude") expected.claude.reset();
    if (k == "face") expected.face.reset();
    if (k == "home") expected.home.reset();
    EXPECT_EQ(*decoded, expected) << key;
    // A present null reads the same as a missing key.
    EXPECT_EQ(Prefs::decode(withChange(full, key, QJsonValue::Null)), expected) << key;
  }
}

TEST(Prefs, anyRequiredKeyMissingFailsTheWholeRecord) {
  const Prefs full = everyFieldChanged();
  for (const char* key : {"layout", "style", "cameraOn", "micOn", "systemAudio", "follow",
                          "clickZoom", "platform", "fps", "mirror", "splitRatio", "cameraOnTop",
                          "bubbleX", "bubbleY", "bubbleSize", "script", "prompterSpeed"}) {
    EXPECT_FALSE(Prefs::decode(withChange(full, key, QJsonValue::Undefined))) << key;
  }
}

TEST_F(PrefsStore, unknownEnumStringsAndWrongTypesLoadTheCompleteDefaults) {
  const Prefs full = everyFieldChanged();
  const std::vector<std::pair<QString, QJsonValue>> bad{
      {"platform", "instagram"}, {"layout", "Screen"},  {"face", "glam"},
      {"style", 1},              {"fps", 29.97},        {"fps", "60"},
      {"cameraOn", 1},           {"reels", "yes"},      {"home", "0,0,1,1"},
      {"home", QJsonArray{0.1, "x"}}, {"script", QJsonValue(false)}, {"splitRatio", "0.5"}};
  for (const auto& [key, value] : bad) {
    userSettings().setValue(QStringLiteral("prefs"), withChange(full, key, value));
    EXPECT_EQ(Prefs::load(), Prefs{}) << key.toStdString();
  }
}

TEST(Prefs, decodeTakesValuesAsTheyStand) {
  Prefs odd;
  odd.splitRatio = 7.5;
  odd.bubbleSize = -2;
  odd.fps = 1000;
  odd.home = std::vector<double>{0.5};
  EXPECT_EQ(Prefs::decode(odd.encode()), odd);
}

// Each saved value the controls could not have set loads as what it falls back to; the other
// fields load as saved.
TEST_F(PrefsStore, valuesOutOfTheirRangesLoadAsTheirFallbacks) {
  const Prefs saved = everyFieldChanged();
  struct Row {
    const char* key;
    QJsonValue value;
    std::function<void(Prefs&)> expect;
  };
  const Prefs d;
  const std::vector<Row> rows = {
      {"fps", 0, [&](Prefs& p) { p.fps = d.fps; }},
      {"fps", -30, [&](Prefs& p) { p.fps = d.fps; }},
      {"fps", 25, [&](Prefs& p) { p.fps = d.fps; }},
      {"fps", 60, [](Prefs& p) { p.fps = 60; }},
      {"splitRatio", 1e308, [&](Prefs& p) { p.splitRatio = d.splitRatio; }},
      {"splitRatio", -5, [&](Prefs& p) { p.splitRatio = d.splitRatio; }},
      {"splitRatio", 0, [&](Prefs& p) { p.splitRatio = d.splitRatio; }},
      {"splitRatio", 0.72, [](Prefs& p) { p.splitRatio = 0.72; }},
      {"bubbleSize", 0.05, [&](Prefs& p) { p.bubbleSize = d.bubbleSize; p.bubbleX = 0.2; }},
      {"bubbleSize", 0.5, [](Prefs& p) { p.bubbleSize = 0.5; p.bubbleX = 0.25; p.bubbleY = 1 - 0.25 * 0.5625; }},
      {"bubbleX", -3, [&](Prefs& p) { p.bubbleX = saved.bubbleSize / 2; }},
      {"bubbleX", 2, [&](Prefs& p) { p.bubbleX = 1 - saved.bubbleSize / 2; }},
      {"bubbleY", 1.0, [&](Prefs& p) { p.bubbleY = 1 - saved.bubbleSize / 2 * 0.5625; }},
      {"prompterSpeed", -1, [&](Prefs& p) { p.prompterSpeed = d.prompterSpeed; }},
      {"prompterSpeed", 1e9, [&](Prefs& p) { p.prompterSpeed = d.prompterSpeed; }},
      {"prompterSpeed", 30, [&](Prefs& p) { p.prompterSpeed = d.prompterSpeed; }},
      {"prompterSpeed", 10.5, [](Prefs& p) { p.prompterSpeed = 10.5; }},
      {"home", QJsonArray{0.1, 0.2, 0, 0}, [](Prefs& p) { p.home.reset(); }},
      {"home", QJsonArray{0.5}, [](Prefs& p) { p.home.reset(); }},
      {"home", QJsonArray{0.8, 0.2, 0.5, 0.5}, [](Prefs& p) { p.home.reset(); }},
      {"home", QJsonArray{-0.1, 0.2, 0.5, 0.5}, [](Prefs& p) { p.home.reset(); }},
      {"home", QJsonArray{0, 0, 1, 1}, [](Prefs& p) { p.home = std::vector<double>{0, 0, 1, 1}; }},
  };
  for (const Row& row : rows) {
    userSettings().setValue(QStringLiteral("prefs"), withChange(saved, row.key, row.value));
    Prefs expected = saved;
    row.expect(expected);
    EXPECT_EQ(Prefs::load(), expected) << row.key << " = " << row.value.toVariant().toString().toStdString();
  }
}

TEST(Prefs, equalityIsMemberwise) {
  Prefs a;
  Prefs b;
  b.script = QStringLiteral("x");
  EXPECT_NE(a, b);
  EXPECT_EQ(Prefs::decode(a.encode()), a) << "a decoded record equals a constructed one";
}

TEST(Model, enumerationsDecodeOnlyTheirOwnStrings) {
  EXPECT_EQ(fromRawValue<Layout>("me"), Layout::me);
  EXPECT_EQ(fromRawValue<Platform>("none"), Platform::none);
  EXPECT_EQ(fromRawValue<FaceLook>("off"), FaceLook::off);
  EXPECT_FALSE(fromRawValue<FaceLook>("OFF"));
  EXPECT_FALSE(fromRawValue<FrameStyle>(""));
  for (Platform p : allCases<Platform>()) EXPECT_EQ(fromRawValue<Platform>(rawValue(p)), p);
  EXPECT_EQ(allCases<Layout>().size(), 3u);
}

}  // namespace
}  // namespace vorn
