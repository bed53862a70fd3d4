// The kernels of averaging, each set against the definition, on rows that end with a page.
#include <math.h>

#include "core/processor_p.h"
#include "image/cell_kernels_p.h"
#include "image/halve_kernels_p.h"
#include "image/premultiply_kernels_p.h"
#include "image/resample_p.h"
#include "image/weights_p.h"
#include "support.h"
#include "support/guarded_memory.h"

using namespace yk;

namespace {

/// The columns of `sources` pixels that become `targets`, in blocks.
struct Layout {
  std::vector<int32_t> first, count;
  std::vector<float> weights, plain;
  img::Columns columns = {};

  Layout(int sources, int targets, size_t channels) {
    size_t const lanes = img::PixelsPerBlock(channels), floats = img::FloatsPerPixel(channels);
    img::OverlapWalk walk(sources, targets);
    for (img::Overlap o; walk.Next(o); plain.push_back(o.weight)) {
      if (size_t(o.target) == first.size()) first.push_back(o.source), count.push_back(0);
      columns.depth = std::max(columns.depth, size_t(++count.back()));
    }
    while (first.size() % lanes) first.push_back(first.back()), count.push_back(0);
    weights.resize(first.size() * floats * columns.depth);
    columns.uniform = true;
    for (size_t t = 0, at = 0; t < size_t(targets); ++t) {
      columns.uniform &= size_t(count[t]) == columns.depth;
      for (int k = 0; k < count[t]; ++k, ++at) {
        columns.uniform &= plain[at] == plain[0];
        size_t const block = t / lanes * columns.depth + size_t(k);
        std::fill_n(&weights[block * img::BLOCK_FLOATS + t % lanes * floats], floats, plain[at]);
      }
    }
    for (size_t t = 0; t + 4 <= first.size(); t += 4)
      columns.span = std::max(columns.span, first[t + 3] - first[t]);
    columns.first = first.data(), columns.count = count.data(), columns.weights = weights.data();
    columns.targets = size_t(targets);
  }
};

constexpr size_t ROWS = 3;
constexpr float DOWN[ROWS] = {0.3f, 1.0f, 0.123f};

/// The sums of rows of floats.
std::vector<float> Sums(Layout const& layout, std::vector<float> const (&rows)[ROWS], size_t channels) {
  size_t const floats = img::FloatsPerPixel(channels);
  std::vector<float> sums(layout.columns.targets * floats, 0.0f);
  for (size_t r = 0; r < ROWS; ++r) {
    for (size_t t = 0, at = 0; t < layout.columns.targets; ++t) {
      for (int k = 0; k < layout.count[t]; ++k, ++at) {
        float const weight = DOWN[r] * layout.plain[at];
        for (size_t c = 0; c < channels; ++c)
          sums[t * floats + c] += weight * rows[r][size_t(layout.first[t] + k) * channels + c];
      }
    }
  }
  for (size_t t = 0; channels == 3 && t < layout.columns.targets; ++t) sums[t * 4 + 3] = 1.0f;
  return sums;
}

/// `wild`: floats that are not finite are among those of the source.
void CheckSums(GuardedMemory const (&pages)[ROWS], int sources, int targets, size_t channels, bool bytes,
               bool wild) {
  SCOPED_TRACE(testing::PrintToString(Ints{sources, targets, intptr_t(channels), bytes, wild}));
  std::mt19937 random(static_cast<unsigned>(sources * 131 + targets));
  Layout const layout(sources, targets, channels);
  std::vector<float> rows[ROWS];
  img::SourceRow source[ROWS];
  size_t const size = size_t(sources) * channels * (bytes ? 1 : 4);
  for (size_t r = 0; r < ROWS; ++r) {
    uint8_t* const at = pages[r].Last(size);
    source[r] = {at, DOWN[r]};
    Randomize(bytes ? IMG_GRAY8 : IMG_GRAYF, at, size, random);
    float const infinite = INFINITY;
    if (wild) memcpy(at + random() % (size / 4) * 4, &infinite, 4);
    for (size_t i = 0; i < size_t(sources) * channels; ++i)
      rows[r].push_back(bytes ? at[i] / 255.0f : reinterpret_cast<float const*>(at)[i]);
  }
  std::vector<float> const expected = Sums(layout, rows, channels);
  for (img::ResampleKernels const* set :
       {&img::RESAMPLE_BASE, HasAvx2() ? &img::RESAMPLE_AVX2 : &img::RESAMPLE_BASE}) {
    size_t const index = img::ResampleKernels::IndexOf(channels);
    img::AddRowsFunction const add = bytes ? set->bytes[index] : set->floats[index];
    if (!add) continue;
    std::vector<float> sums(layout.first.size() * img::FloatsPerPixel(channels), -7.0f);
    add(layout.columns, {sums.data(), source, 2, size, !wild, img::SumsFrom::ZERO});
    add(layout.columns, {sums.data(), source + 2, 1, size, !wild, img::SumsFrom::PRESENT});
    ASSERT_EQ(memcmp(sums.data(), expected.data(), expected.size() * sizeof(float)), 0) << set;
  }
}

}  // namespace

TEST(ResampleKernels, AgreeWithTheDefinition) {
  GuardedMemory const pages[ROWS] = {GuardedMemory(4096), GuardedMemory(4096), GuardedMemory(4096)};
  for (int sources = 1; sources <= 100; ++sources) {
    int const others[] = {
        1, 2, 7, sources, (sources + 1) / 2, 1 + sources / 3, 2 * sources, 1 + sources * 7 / 4, sources + 5};
    for (int targets : others) {
      for (size_t channels : {1, 3, 4}) {
        for (int kind = 0; kind < 3 && !HasFatalFailure(); ++kind)
          CheckSums(pages, sources, targets, channels, kind == 0, kind == 2);
      }
    }
  }
}

uint8_t MeanOfFour(size_t channels, uint8_t a, uint8_t b, uint8_t c, uint8_t d) {
  float const sum = ((a / 255.0f + b / 255.0f) + c / 255.0f) + d / 255.0f;
  return static_cast<uint8_t>(channels < 4 ? (a + b + c + d) / 4 : static_cast<int>(sum / 4 * 255.0 + 0.5));
}

TEST(HalveKernels, AverageTwoByTwo) {
  GuardedMemory const upper(1024), lower(1024), target(1024);
  std::mt19937 random(5);
  for (size_t width = 0; width <= 100; ++width) {
    for (size_t n : {1, 3, 4}) {
      uint8_t *const a = upper.Last(2 * n * width), *const b = lower.Last(2 * n * width);
      Randomize(IMG_GRAY8, a, 2 * n * width, random), Randomize(IMG_GRAY8, b, 2 * n * width, random);
      for (img::HalveKernels const* set :
           {&img::HALVE_BASE, HasAvx2() ? &img::HALVE_AVX2 : &img::HALVE_BASE}) {
        uint8_t* const out = target.Last(n * width);
        (n == 1 ? set->grey : n == 3 ? set->colour : set->alpha)(a, b, out, width);
        for (size_t i = 0; i < n * width; ++i) {
          size_t const at = i / n * 2 * n + i % n;
          ASSERT_EQ(out[i], MeanOfFour(n, a[at], a[at + n], b[at], b[at + n])) << width << " of " << n;
        }
      }
    }
  }
}

TEST(CellKernels, AgreeWithTheDefinition) {
  GuardedMemory const source(1 << 20), target(4096);
  std::mt19937 random(7);
  struct {
    size_t across, down, channels;
  } const sizes[] = {{3, 3, 1},  {3, 1, 1}, {1, 3, 1}, {2, 3, 1}, {4, 4, 1}, {16, 16, 1}, {15, 15, 1},
                     {64, 4, 1}, {3, 3, 3}, {5, 3, 3}, {1, 7, 3}, {3, 3, 4}, {9, 5, 4},   {15, 15, 4}};
  for (auto const& [across, down, channels] : sizes) {
    img::Cells cells;
    ASSERT_TRUE(cells.Choose(across, down, channels > 1));
    for (size_t width = 0; width <= 100; ++width) {
      size_t const size = width * channels * across;
      uint8_t* const at = source.Last(size * down);
      Randomize(IMG_GRAY8, at, size * down, random);
      if (width % 3 == 0) std::fill_n(at, size * down, uint8_t(255 - width));
      std::vector<uint8_t const*> rows;
      for (size_t r = 0; r < down; ++r) rows.push_back(at + r * size);
      std::vector<uint32_t> whole(width + img::CellRow::SPARE), expected = whole;
      Bytes means(width * channels);
      img::CellRow row = {rows.data(),  down,  channels,
                          means.data(), width, channels > 1 ? nullptr : expected.data()};
      size_t const listed = img::CELLS_BASE.means(cells, row);
      std::vector<float> sums(listed), some(listed);
      img::CELLS_BASE.sumListed(cells, row, listed, 0.1f, sums.data());
      if (!HasAvx2()) continue;
      row.target = target.Last(means.size()), row.whole = channels > 1 ? nullptr : whole.data();
      ASSERT_EQ(img::CELLS_AVX2.means(cells, row), listed) << width;
      ASSERT_TRUE(std::equal(means.begin(), means.end(), row.target))
          << across << ' ' << down << ' ' << width;
      ASSERT_TRUE(std::equal(&whole[0], &whole[0] + listed, &expected[0])) << width;
      img::CELLS_AVX2.sumListed(cells, row, listed, 0.1f, some.data());
      ASSERT_EQ(some, sums) << across << ' ' << width;
    }
  }
}

TEST(PremultiplyKernels, AgreeWithTheDefinition) {
  GuardedMemory const block(1024);
  std::mt19937 random(6);
  for (size_t width = 0; width <= 100; ++width) {
    Bytes before(8 * width);
    Randomize(IMG_BGRA32, before.data(), before.size(), random);
    Bytes expected = before;
    img::PremultiplyScalar({expected.data(), ptrdiff_t(4 * width), width, 2});
    for (img::PremultiplyFunction const set :
         {img::PremultiplyBase, HasAvx2() ? img::PremultiplyAvx2 : img::PremultiplyBase}) {
      for (uint8_t* const at : {block.First(), block.Last(before.size())}) {
        std::copy(before.begin(), before.end(), at);
        set({at, ptrdiff_t(4 * width), width, 2});
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), at)) << width;
      }
    }
  }
}
