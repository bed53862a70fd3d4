#include <math.h>

#include <algorithm>
#include <numbers>

#include "area_p.h"

namespace yk::draw {
namespace {

// An arc is drawn as chords that leave it by no more than this.
constexpr double FLATNESS = 1.0 / 512;
constexpr int MAX_ARC_DEPTH = 40;

// The thinnest band; rows with very many edges get thicker ones, so that the work in a row stays bounded.
constexpr double THINNEST_BAND = 1.0 / 256;
constexpr double WORK_PER_ROW = 16384;

// A run of pixels that are all covered, or all not, is told by itself when it is at least this long.
constexpr int LONG_RUN = 8;

// Edges that are out of order by no more than this do not count as crossing.
constexpr double TOUCHING = 1e-7;

int FloorToRange(double value, int low, int high) noexcept {
  return static_cast<int>(std::clamp(floor(value), static_cast<double>(low), static_cast<double>(high)));
}

}  // namespace

// ---- collecting the outline

double AreaRasterizer::Edge::At(double y) const noexcept {
  if (y <= top) return x;  // also where the slope is too steep for a number
  return std::clamp(x + (y - top) * slope, low, high);
}

void AreaRasterizer::AddEdge(point2d const& a, point2d const& b) noexcept {
  if (a.y == b.y) return;
  bool const down = a.y < b.y;
  point2d const& upper = down ? a : b;
  point2d const& lower = down ? b : a;
  if (lower.y <= clip.top || upper.y >= clip.bottom) return;
  double const slope = (lower.x - upper.x) / (lower.y - upper.y);
  auto const [low, high] = std::minmax(a.x, b.x);
  if (!edges.Add({upper.y, lower.y, upper.x, slope, low, high, down ? 1 : -1})) failed = true;
}

void AreaRasterizer::AddPolygon(point2df const* points, int count, double dx, double dy) noexcept {
  auto const corner = [=](int i) {
    return point2d{static_cast<double>(points[i].x) + dx, static_cast<double>(points[i].y) + dy};
  };
  for (int i = 0; i < count; ++i) AddEdge(corner(i), corner(i + 1 < count ? i + 1 : 0));
}

void AreaRasterizer::AddEllipse(point2d const& centre, point2d const& radius) noexcept {
  constexpr double QUARTER = std::numbers::pi / 2;
  for (int i = 0; i < 4; ++i) AddArc(centre, radius, i * QUARTER, (i + 1) * QUARTER, MAX_ARC_DEPTH);
}

// An arc within a quarter lies inside the box of its ends; beside the clip its chord is as good as the arc.
bool AreaRasterizer::IsOnOneSide(point2d const& a, point2d const& b) const noexcept {
  return std::max(a.x, b.x) < clip.left || std::min(a.x, b.x) > clip.right || std::max(a.y, b.y) < clip.top ||
         std::min(a.y, b.y) > clip.bottom;
}

void AreaRasterizer::AddArc(point2d const& centre, point2d const& radius, double from, double to,
                            int depth) noexcept {
  point2d const a = {centre.x + radius.x * cos(from), centre.y + radius.y * sin(from)};
  point2d const b = {centre.x + radius.x * cos(to), centre.y + radius.y * sin(to)};
  double const middle = (from + to) / 2;
  double const sag = (1 - cos((to - from) / 2)) * hypot(radius.x * cos(middle), radius.y * sin(middle));
  if (depth == 0 || sag <= FLATNESS || IsOnOneSide(a, b)) return AddEdge(a, b);
  AddArc(centre, radius, from, middle, depth - 1);
  AddArc(centre, radius, middle, to, depth - 1);
}

// ---- sweeping it

bool AreaRasterizer::Sweep(bool nonZero, Sink sink, void* context) noexcept {
  size_t const width = static_cast<size_t>(clip.right - clip.left);
  Buffer<unsigned char> coverage;
  if (failed || !active.Reserve(edges.Count()) || !crossings.Reserve(edges.Count())) return false;
  if (!steps.Reserve(width + 2) || !coverage.Reserve(width)) return false;
  std::fill_n(steps.begin(), width + 2, 0.0f);
  std::sort(edges.begin(), edges.end(), [](Edge const& a, Edge const& b) { return a.top < b.top; });

  nonZeroRule = nonZero;
  for (int y = clip.top; y < clip.bottom; ++y) {
    EnterRow(y);
    if (active.Count() == 0) {
      if (nextEdge == edges.Count()) break;
      y = FloorToRange(edges[nextEdge].top, y + 1, clip.bottom) - 1;
      continue;
    }
    SweepRow(y);
    TellRow(coverage.begin(), [=, this](int column, unsigned char const* bytes, int count) {
      if (count > 0) sink(context, clip.left + column, y, bytes, count);
    });
  }
  return true;
}

// Makes the active edges those that touch the row.
void AreaRasterizer::EnterRow(int y) noexcept {
  Edge** const last = std::remove_if(active.begin(), active.end(), [=](Edge* e) { return e->bottom <= y; });
  active.Shrink(static_cast<size_t>(last - active.begin()));
  for (; nextEdge < edges.Count() && edges[nextEdge].top < y + 1.0; ++nextEdge) {
    if (edges[nextEdge].bottom > y) active.Add(&edges[nextEdge]);
  }
  thinnest = std::max(THINNEST_BAND, static_cast<double>(active.Count()) / WORK_PER_ROW);
}

void AreaRasterizer::SweepRow(int y) noexcept {
  firstStep = clip.right - clip.left;
  lastStep = 0;
  double const end = y + 1.0;
  for (double from = y; from < end;) {
    double const to = NextEvent(from, end);
    SweepBand(from, to);
    from = to;
  }
}

// The next end of an edge, or the end of the row, but never nearer than the thinnest band.
double AreaRasterizer::NextEvent(double from, double end) noexcept {
  double const nearest = from + thinnest;
  double next = end;
  for (Edge const* edge : active) {
    if (edge->top >= nearest && edge->top < next) next = edge->top;
    if (edge->bottom >= nearest && edge->bottom < next) next = edge->bottom;
  }
  return end - next < thinnest ? end : next;
}

void AreaRasterizer::SweepBand(double from, double to) noexcept {
  FindCrossings(from, to);
  if (to - from > 2 * thinnest) {
    double const split = FindSplit(from, to);
    if (split > from) {
      SweepBand(from, split);
      SweepBand(split, to);
      return;
    }
  }
  CoverBetween(to - from);
}

void AreaRasterizer::FindCrossings(double from, double to) noexcept {
  double const middle = (from + to) / 2;
  crossings.Shrink(0);
  for (Edge const* edge : active) {
    if (edge->top > middle || edge->bottom <= middle) continue;
    crossings.Add({edge->At(from), edge->At(middle), edge->At(to), edge->direction});
  }
  std::sort(crossings.begin(), crossings.end(),
            [](Crossing const& a, Crossing const& b) { return a.middle < b.middle; });
}

// Where the first two neighbours that cross do so; `from` when none does.
double AreaRasterizer::FindSplit(double from, double to) noexcept {
  double split = to;
  for (size_t i = 1; i < crossings.Count(); ++i) {
    double const above = crossings[i].top - crossings[i - 1].top;
    double const below = crossings[i].bottom - crossings[i - 1].bottom;
    if (above < -TOUCHING || below < -TOUCHING) {
      split = std::min(split, from + above / (above - below) * (to - from));
    }
  }
  return split < to ? std::clamp(split, from + thinnest, to - thinnest) : from;
}

void AreaRasterizer::CoverBetween(double height) noexcept {
  int winding = 0;
  for (Crossing const& crossing : crossings) {
    auto const isInside = [this](int w) { return nonZeroRule ? w != 0 : (w & 1) != 0; };
    bool const before = isInside(winding);
    winding += crossing.direction;
    bool const after = isInside(winding);
    if (before != after) CoverRightOf(crossing.top, crossing.bottom, after ? height : -height);
  }
}

// Adds what lies right of a line through a band of this height; a negative height takes it away.
void AreaRasterizer::CoverRightOf(double x0, double x1, double height) noexcept {
  double const width = clip.right - clip.left;
  double low = std::min(x0, x1) - clip.left;
  double high = std::max(x0, x1) - clip.left;
  if (low >= width) return;
  if (high <= 0) low = high = 0;
  double const perUnit = high > low ? height / (high - low) : 0;
  auto const add = [this](int column, double part, double middle) {
    steps[static_cast<size_t>(column)] += static_cast<float>(part * (1 - middle));
    steps[static_cast<size_t>(column) + 1] += static_cast<float>(part * middle);
  };
  if (low < 0) {  // what runs left of the clip covers all of it
    add(0, -low * perUnit, 0);
    low = 0;
  }
  high = std::min(high, width);
  int const first = static_cast<int>(low);
  int const last = std::max(first, static_cast<int>(ceil(high)) - 1);
  if (perUnit == 0) add(first, height, low - first);
  for (int column = first; perUnit != 0 && column <= last; ++column) {
    double const left = std::max<double>(low, column);
    double const right = std::min<double>(high, column + 1);
    add(column, (right - left) * perUnit, (left + right) / 2 - column);
  }
  firstStep = std::min(firstStep, first);
  lastStep = std::max(lastStep, last + 1);
}

// How many pixels from this one on are covered as the one before, because there are no steps.
int AreaRasterizer::UnchangedFrom(int column) noexcept {
  int const width = clip.right - clip.left;
  int end = column;
  while (end <= lastStep && steps[static_cast<size_t>(end)] == 0) ++end;
  return (end > lastStep ? width : end) - column;
}

// Sums the steps up to coverage, tells it in runs, and clears the steps.
template <class Tell>
void AreaRasterizer::TellRow(unsigned char* coverage, Tell tell) noexcept {
  int const width = clip.right - clip.left;
  int told = std::min(firstStep, width);
  float sum = 0;
  for (int column = told; column < width;) {
    if (column <= lastStep) sum += steps[static_cast<size_t>(column)];
    unsigned char const share = static_cast<unsigned char>(std::clamp(sum, 0.0f, 1.0f) * 255 + 0.5f);
    int const count = 1 + UnchangedFrom(column + 1);
    bool const isPlain = share == 0 || share == 255;
    if (isPlain && count >= LONG_RUN) {
      tell(told, coverage + told, column - told);
      if (share) tell(column, nullptr, count);
      told = column + count;
    } else {
      std::fill_n(coverage + column, count, share);
    }
    column += count;
  }
  tell(told, coverage + told, width - told);
  std::fill(steps.begin() + std::min(firstStep, lastStep), steps.begin() + lastStep + 1, 0.0f);
}

}  // namespace yk::draw
