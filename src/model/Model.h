// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QUrl>

#include <array>
#include <optional>
#include <string_view>
#include <utility>

namespace vorn {

enum class Layout { screen, split, me };
enum class FrameStyle { bleed, floating };
enum class Platform { reels, tiktok, shorts, none };
enum class FaceLook { off, natural, sculpted };

// Session phases, in order; the engine drives the transitions.
enum class Phase { idle, framing, countdown, recording, finishing, review };

// Each enumeration's cases in declaration order with their stored strings.
template <class E>
struct EnumCases;

template <>
struct EnumCases<Layout> {
  static constexpr std::array<std::pair<Layout, std::string_view>, 3> cases{
      {{Layout::screen, "screen"}, {Layout::split, "split"}, {Layout::me, "me"}}};
};

template <>
struct EnumCases<FrameStyle> {
  static constexpr std::array<std::pair<FrameStyle, std::string_view>, 2> cases{
      {{FrameStyle::bleed, "bleed"}, {FrameStyle::floating, "floating"}}};
};

template <>
struct EnumCases<Platform> {
  static constexpr std::array<std::pair<Platform, std::string_view>, 4> cases{
      {{Platform::reels, "reels"},
       {Platform::tiktok, "tiktok"},
       {Platform::shorts, "shorts"},
       {Platform::none, "none"}}};
};

template <>
struct EnumCases<FaceLook> {
  static constexpr std::array<std::pair<FaceLook, std::string_view>, 3> cases{
      {{FaceLook::off, "off"}, {FaceLook::natural, "natural"}, {FaceLook::sculpted, "sculpted"}}};
};

template <class E>
constexpr std::string_view rawValue(E value) {
  for (const auto& [candidate, name] : EnumCases<E>::cases)
    if (candidate == value) return name;
  return {};
}

// The case whose stored string is `raw`; nothing for any other string.
template <class E>
constexpr std::optional<E> fromRawValue(std::string_view raw) {
  for (const auto& [candidate, name] : EnumCases<E>::cases)
    if (name == raw) return candidate;
  return std::nullopt;
}

template <class E>
constexpr auto allCases() {
  std::array<E, EnumCases<E>::cases.size()> values{};
  for (size_t i = 0; i < values.size(); ++i) values[i] = EnumCases<E>::cases[i].first;
  return values;
}

struct Prefs;

// The preferences that decide where the pictures sit in the frame, and nothing else.
struct LayoutFields {
  Layout layout = Layout::screen;
  FrameStyle style = FrameStyle::floating;
  bool cameraOn = true;
  double splitRatio = 0.54;
  bool cameraOnTop = false;
  double bubbleX = 0.24;
  double bubbleY = 0.72;
  double bubbleSize = 0.3;

  LayoutFields() = default;
  LayoutFields(const Prefs& prefs);  // NOLINT: every Prefs carries its layout fields
};

// One recorded movie.
struct Take {
  QUrl url;
  double duration = 0;
  bool operator==(const Take&) const = default;
};

// One capture device; its identity is `id`.
struct DeviceInfo {
  QString id;
  QString name;
  bool operator==(const DeviceInfo&) const = default;
};

}  // namespace vorn
