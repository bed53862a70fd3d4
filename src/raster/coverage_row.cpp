#include "coverage_row_p.h"

#include <string.h>

#include <utility>

namespace yk::raster {
namespace {

// A run of pixels with full coverage, or with none, is painted separately when it is at least this long.
constexpr int LONG_RUN = 8;

// The pixels whose coverage may differ from the previous one's, from left to right.
class MarkedColumns {
 public:
  MarkedColumns(uint64_t const* marks, int first, int end) noexcept
      : marks(marks), word(first / 64), end(end), bits(marks[word] & ~uint64_t{0} << first % 64) {}

  // The end after the last.
  int Next() noexcept {
    for (; !bits; bits = marks[word])
      if (++word > (end - 1) / 64) return end;
    int const column = word * 64 + std::countr_zero(bits);
    bits &= bits - 1;
    return std::min(column, end);
  }

 private:
  uint64_t const* const marks;
  int word;
  int const end;
  uint64_t bits;
};

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
  int const start = static_cast<int>(low), last = static_cast<int>(high);
  double const startPart = (start + 1 - low) * perUnit, lastPart = (high - last) * perUnit;
  CoverColumn(start, startPart, startPart * ((low - start + 1) / 2));
  if (last > start + 1) CoverEvenly(start + 1, last, perUnit);
  if (high > last) CoverColumn(last, lastPart, lastPart * ((high - last) / 2));
}

// Whole columns of a slanted line: each has a half of the step, and the one after it the other half.
void CoverageRow::CoverEvenly(int from, int to, double step) noexcept {
  float const whole = static_cast<float>(step), half = static_cast<float>(step / 2);
  steps[static_cast<size_t>(from)] += half;
  for (int column = from + 1; column < to; ++column) steps[static_cast<size_t>(column)] += whole;
  steps[static_cast<size_t>(to)] += half;
  for (int column = from; column <= to; column = (column | 63) + 1) {
    uint64_t const upTo = to - column < 63 ? (uint64_t{2} << (to - column)) - 1 : ~uint64_t{0};
    marks[static_cast<size_t>(column) / 64] |= upTo << column % 64;
  }
}

void CoverageRow::Paint(int y, SpanPainter& painter) noexcept {
  auto const paint = [&](int from, int to, unsigned char const* row) {
    if (to > from) painter({left + from, y, to - from, row});
  };
  MarkedColumns columns(marks.begin(), first, end);
  float* const changes = steps.begin();
  unsigned char* const shares = coverage.begin();
  int run = columns.Next();
  float sum = 0;
  for (int column = run, next; column < end; column = next) {
    sum += std::exchange(changes[column], 0.0f);
    next = columns.Next();
    unsigned char const share = static_cast<unsigned char>(std::clamp(sum, 0.0f, 1.0f) * 255 + 0.5f);
    if ((share == 0 || share == 255) && next - column >= LONG_RUN) {
      paint(run, column, shares + run);
      if (share) paint(column, next, nullptr);
      run = next;
    } else {
      shares[column] = share;  // usually the only one
      if (next > column + 1) memset(shares + column + 1, share, static_cast<size_t>(next - column - 1));
    }
  }
  paint(run, end, shares + run);
  steps[static_cast<size_t>(end)] = steps[static_cast<size_t>(end) + 1] = 0;
  std::fill(marks.begin() + first / 64, marks.end(), 0);
}

}  // namespace yk::raster
