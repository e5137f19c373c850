// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/Recogniser.h"

#include <memory>

namespace vorn::cut {

// CMU PocketSphinx with the US English model from Debian's pocketsphinx-en-us.
class SphinxRecogniser final : public Recogniser {
 public:
  // Loads the model; throws CutError when it is not installed.
  SphinxRecogniser();
  ~SphinxRecogniser() override;

  std::vector<Word> transcribe(std::span<const std::int16_t> chunk, double offset) override;
  void listenForFillers(bool on) override { fillers_ = on; }
  void transcribeRoughly(bool on) override { roughly_ = on; }
  Alignment align(std::span<const std::int16_t> chunk, double offset,
                  const std::vector<std::string>& expected,
                  const std::vector<std::size_t>& pauses) override;
  std::vector<std::string> pronunciation(const std::string& word) override;
  // Loads the model again with the words added to its dictionary.
  void learn(const Pronunciations& words) override;

 private:
  struct Decoder;
  static std::unique_ptr<Decoder> load(const Pronunciations& learned);

  std::unique_ptr<Decoder> decoder_;
  Pronunciations learned_;
  bool fillers_ = false;
  bool roughly_ = false;
};

}  // namespace vorn::cut
