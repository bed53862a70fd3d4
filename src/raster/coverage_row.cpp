#include "coverage_row_p.h"

#include <bit>
#include <utility>

namespace yk::raster {
namespace {

// A run of pixels with full coverage, or with none, is painted separately when it is at least this long.
constexpr int LONG_RUN = 8;

}  // namespace

bool CoverageRow::Reserve() noexcept {
  size_t const columns = static_cast<size_t>(end);
  // an edge through the last pixel has a step after it, too, and one at its end another pixel further on
  return steps.Fill(columns + 2, 0) && marks.Fill(columns / 64 + 2, 0) && coverage.Reserve(columns);
}

// A part to the left of the clip is moved to its left side, since everything is to the right of it.
void CoverageRow::CoverClipped(double x0, double x1, double height) noexcept {
  auto const [low, high] = std::minmax(x0, x1);
  if (low >= 0 && high <= width) return CoverRightOf(x0, x1, height);
  if (low >= width) return;
  if (high <= 0) return CoverRightOf(0, 0, height);
  double const side = low < 0 ? 0 : width, share = (side - x0) / (x1 - x0);
  CoverClipped(x0, side, height * share);
  CoverClipped(side, x1, height * (1 - share));
}

void CoverageRow::CoverSlanted(double low, double high, double height) noexcept {
  double const perUnit = height / (high - low);
  int const first = static_cast<int>(low), last = static_cast<int>(high);
  AddStep(first, (first + 1 - low) * perUnit, (low - first + 1) / 2);
  for (int column = first + 1; column < last; ++column) AddStep(column, perUnit, 0.5);
  if (high > last) AddStep(last, (high - last) * perUnit, (high - last) / 2);
}

// The next pixel whose coverage may differ from the previous one's, or the end.
int CoverageRow::NextStep(int column) const noexcept {
  if (column >= end) return end;
  uint64_t const* word = marks.begin() + column / 64;
  uint64_t const* const last = marks.begin() + (end - 1) / 64;
  uint64_t bits = *word & ~uint64_t{0} << column % 64;
  while (bits == 0 && word != last) bits = *++word;
  int const at = static_cast<int>(word - marks.begin()) * 64 + std::countr_zero(bits);
  return std::min(at, end);
}

void CoverageRow::Paint(int y, SpanPainter& painter) noexcept {
  auto const paint = [&](int from, int to, unsigned char const* row) {
    if (to > from) painter({left + from, y, to - from, row});
  };
  int run = NextStep(first);
  float sum = 0;
  for (int column = run, next; column < end; column = next) {
    sum += std::exchange(steps[static_cast<size_t>(column)], 0.0f);
    next = NextStep(column + 1);
    unsigned char const share = static_cast<unsigned char>(std::clamp(sum, 0.0f, 1.0f) * 255 + 0.5f);
    if ((share == 0 || share == 255) && next - column >= LONG_RUN) {
      paint(run, column, coverage.begin() + run);
      if (share) paint(column, next, nullptr);
      run = next;
    } else {
      std::fill(coverage.begin() + column, coverage.begin() + next, share);
    }
  }
  paint(run, end, coverage.begin() + run);
  steps[static_cast<size_t>(end)] = steps[static_cast<size_t>(end) + 1] = 0;
  std::fill(marks.begin() + first / 64, marks.end(), 0);
}

}  // namespace yk::raster
