// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/ScaleKernels.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

using namespace vorn;

namespace {

constexpr std::uint8_t untouched = 0xa5;
constexpr int guardBytes = 64;  // past the end of every output: a vector tail must not reach it

std::vector<std::uint8_t> randomBytes(std::size_t count) {
  std::mt19937 generator(7);
  std::vector<std::uint8_t> bytes(count);
  for (std::uint8_t& b : bytes) b = std::uint8_t(generator());
  return bytes;
}

// The output of `kernel` writing `bytes` bytes, followed by its guard.
template <typename Kernel>
std::vector<std::uint8_t> output(int bytes, Kernel kernel) {
  std::vector<std::uint8_t> out(std::size_t(bytes + guardBytes), untouched);
  kernel(out.data());
  return out;
}

const ScaleKernels& portable() { return *runnableScaleKernels().front(); }

// Each vector variant, with the portable one to compare it to.
std::vector<const ScaleKernels*> vectorVariants() {
  const auto& all = runnableScaleKernels();
  return {all.begin() + 1, all.end()};
}

}  // namespace

// Widths from 1 to past several vectors leave every tail length; sources start off any vector
// alignment.
TEST(ScaleKernels, vectorVariantsBlendRowsLikeThePortableOne) {
  const std::vector<std::uint8_t> rows = randomBytes(2 * 1024);
  const std::uint8_t* top = rows.data() + 3;
  const std::uint8_t* bottom = rows.data() + 1024 + 5;
  for (const ScaleKernels* kernels : vectorVariants()) {
    for (int bytes = 1; bytes <= 300; ++bytes) {
      for (int fraction : {1, 77, 128, 255}) {
        const auto expected = output(bytes, [&](std::uint8_t* out) {
          portable().blendRows(out, top, bottom, bytes, fraction);
        });
        const auto actual = output(bytes, [&](std::uint8_t* out) {
          kernels->blendRows(out, top, bottom, bytes, fraction);
        });
        ASSERT_EQ(actual, expected) << kernels->name << ", " << bytes << " bytes, " << fraction;
      }
    }
  }
}

TEST(ScaleKernels, vectorVariantsHalveLikeThePortableOne) {
  constexpr int stride = 4 * 160 + 12;
  const std::vector<std::uint8_t> rows = randomBytes(2 * stride);
  const std::uint8_t* src = rows.data() + 4;
  for (const ScaleKernels* kernels : vectorVariants()) {
    for (int width = 1; width <= 75; ++width) {
      const auto expected = output(4 * width, [&](std::uint8_t* out) {
        portable().halveRow(src, stride, out, width);
      });
      const auto actual = output(4 * width, [&](std::uint8_t* out) {
        kernels->halveRow(src, stride, out, width);
      });
      ASSERT_EQ(actual, expected) << kernels->name << ", width " << width;
    }
  }
}

TEST(ScaleKernels, vectorVariantsTakeSparseBoxesLikeThePortableOne) {
  constexpr int stride = 4 * 700;
  const std::vector<std::uint8_t> rows = randomBytes(2 * stride);
  const std::uint8_t* src = rows.data() + 8;
  for (const ScaleKernels* kernels : vectorVariants()) {
    for (int step : {2, 3, 4, 16}) {
      for (int width = 1; width * step < 690 && width <= 40; ++width) {
        const auto expected = output(4 * width, [&](std::uint8_t* out) {
          portable().boxEvery(src, stride, step, out, width);
        });
        const auto actual = output(4 * width, [&](std::uint8_t* out) {
          kernels->boxEvery(src, stride, step, out, width);
        });
        ASSERT_EQ(actual, expected) << kernels->name << ", step " << step << ", width " << width;
      }
    }
  }
}

// Shrinking, enlarging and mirrored (stepping backwards), from positions between pixels.
TEST(ScaleKernels, vectorVariantsFilterColumnsLikeThePortableOne) {
  const std::vector<std::uint8_t> line = randomBytes(4 * 400);
  for (const ScaleKernels* kernels : vectorVariants()) {
    for (int dx : {0x4000, 0x10000, 0x1a3c7, -0x1a3c7, -0x8000}) {
      for (int count = 1; count <= 37; ++count) {
        const int x = dx > 0 ? 0x2345 : (count - 1) * -dx + 0x6789;
        const auto expected = output(4 * count, [&](std::uint8_t* out) {
          portable().filterColumns(out, line.data(), count, x, dx);
        });
        const auto actual = output(4 * count, [&](std::uint8_t* out) {
          kernels->filterColumns(out, line.data(), count, x, dx);
        });
        ASSERT_EQ(actual, expected) << kernels->name << ", dx " << dx << ", " << count << " pixels";
      }
    }
  }
}

// A flat colour must come out of every kernel as it went in: no darkening, no drift.
TEST(ScaleKernels, aFlatColourStaysExact) {
  constexpr int width = 45;
  std::vector<std::uint8_t> flat(4 * 2 * 4 * width);
  for (std::size_t i = 0; i < flat.size(); i += 4) {
    flat[i] = 1, flat[i + 1] = 128, flat[i + 2] = 254, flat[i + 3] = 255;
  }
  const int stride = 4 * 4 * width;
  const std::vector<std::uint8_t> expected(flat.begin(), flat.begin() + 4 * width);
  for (const ScaleKernels* kernels : runnableScaleKernels()) {
    std::vector<std::uint8_t> out(4 * width);
    kernels->blendRows(out.data(), flat.data(), flat.data() + stride, 4 * width, 93);
    EXPECT_EQ(out, expected) << kernels->name << " blending rows";
    kernels->halveRow(flat.data(), stride, out.data(), width);
    EXPECT_EQ(out, expected) << kernels->name << " halving";
    kernels->boxEvery(flat.data(), stride, 3, out.data(), width);
    EXPECT_EQ(out, expected) << kernels->name << " taking sparse boxes";
    kernels->filterColumns(out.data(), flat.data(), width, 0x5555, 0x1b0e3);
    EXPECT_EQ(out, expected) << kernels->name << " filtering columns";
  }
}

// Averaging the columns and then the averages rounds up twice: a quarter would become one.
TEST(ScaleKernels, aBoxIsItsRoundedMean) {
  constexpr int width = 20;
  const int stride = 4 * 2 * width;
  // Each box's channels sum to 1 (a quarter: 0), 3 (three quarters: 1), 2 (a half, rounded
  // up: 1) and 4 × 255.
  std::vector<std::uint8_t> rows(2 * std::size_t(stride), 0);
  for (int x = 0; x < 2 * width; ++x) {
    std::uint8_t* upper = rows.data() + 4 * x;
    std::uint8_t* lower = upper + stride;
    upper[0] = x % 2;
    upper[1] = 1, lower[1] = x % 2;
    upper[2] = 2 * (x % 2);
    upper[3] = lower[3] = 255;
  }
  std::vector<std::uint8_t> expected;
  for (int i = 0; i < width; ++i) expected.insert(expected.end(), {0, 1, 1, 255});
  for (const ScaleKernels* kernels : runnableScaleKernels()) {
    std::vector<std::uint8_t> out(4 * width);
    kernels->halveRow(rows.data(), stride, out.data(), width);
    EXPECT_EQ(out, expected) << kernels->name << " halving";
    kernels->boxEvery(rows.data(), stride, 2, out.data(), width);
    EXPECT_EQ(out, expected) << kernels->name << " taking sparse boxes";
  }
}
