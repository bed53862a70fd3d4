#include "outline_p.h"

#include <algorithm>

namespace yk::raster {
namespace {

// An arc is approximated by chords that deviate from it by at most this much, and is moved outward to make up
// for the area that they cut off.
constexpr double FLATNESS = 1.0 / 1100;
constexpr double BULGE = FLATNESS / 3;
constexpr int MAX_ARC_DEPTH = 40;

}  // namespace

void Outline::AddPolygon(Points const& points) noexcept {
  for (int i = 0; i < points.count; ++i) AddEdge(points.At(i), points.After(i));
}

void Outline::AddEdge(point2d const& a, point2d const& b) noexcept {
  bool const down = a.y < b.y;
  point2d const& upper = down ? a : b;
  point2d const& lower = down ? b : a;
  AddClipped({upper.x - clip.left, upper.y}, {lower.x - clip.left, lower.y}, down ? 1 : -1);
}

// Clips an edge at the sides of the clip. A part to the left of it is moved to its left side, since it still
// affects the winding; for a part to the right only the extent of the outline is noted.
void Outline::AddClipped(point2d const& upper, point2d const& lower, int direction) noexcept {
  double const width = static_cast<double>(clip.right) - clip.left;
  auto const [low, high] = std::minmax(upper.x, lower.x);
  if (upper.y >= lower.y || lower.y <= clip.top || upper.y >= clip.bottom) return;
  if (low >= width) return void(rightmost = width);
  if (high <= 0) return Append({0, upper.y}, {0, lower.y}, direction);
  if (low >= 0 && high <= width) return Append(upper, lower, direction);
  double const side = low < 0 ? 0 : width;
  double const share = (side - upper.x) / (lower.x - upper.x);
  point2d const cut = {side, std::clamp(upper.y + share * (lower.y - upper.y), upper.y, lower.y)};
  AddClipped(upper, cut, direction);
  AddClipped(cut, lower, direction);
}

void Outline::Append(point2d const& upper, point2d const& lower, int direction) noexcept {
  double const slope = (lower.x - upper.x) / (lower.y - upper.y);
  auto const [low, high] = std::minmax(upper.x, lower.x);
  if (!edges.Append({upper.y, lower.y, upper.x, slope, low, high, direction})) failed = true;
  leftmost = std::min(leftmost, low);
  rightmost = std::max(rightmost, high);
}

// Sorts the edges by the rows in which they begin, and those of a row by their tops.
bool Outline::Close() noexcept {
  size_t const rows = static_cast<size_t>(clip.bottom - clip.top);
  Buffer<unsigned> ends;
  Buffer<Edge> ordered;
  if (failed || !ends.Fill(rows + 1, 0) || !ordered.Resize(edges.Count())) return false;
  auto const row = [this](Edge const& edge) {
    return edge.top <= clip.top ? size_t{0} : static_cast<size_t>(edge.top - clip.top);
  };
  for (Edge const& edge : edges) ++ends[row(edge) + 1];
  for (size_t i = 1; i <= rows; ++i) ends[i] += ends[i - 1];
  for (Edge const& edge : edges) ordered[ends[row(edge)]++] = edge;
  edges.Swap(ordered);
  auto const isHigher = [](Edge const& a, Edge const& b) { return a.top < b.top; };
  for (size_t i = 0, begin = 0; i < rows; begin = ends[i++]) {
    if (ends[i] - begin > 1) std::sort(edges.begin() + begin, edges.begin() + ends[i], isHigher);
  }
  return true;
}

// ---- ellipses

// A quarter of the curve at a distance inside an ellipse, relative to its centre: x and y are not negative,
// and the direction, a unit vector, runs from (1, 0) to (0, 1).
struct Outline::Quarter {
  point2d centre, radius;
  double inset;

  point2d At(point2d const& direction) const noexcept {
    point2d const p = {radius.x * direction.x, radius.y * direction.y};
    if (inset == 0) return p;
    point2d const normal = {radius.y * direction.x, radius.x * direction.y};
    double const share = inset / hypot(normal.x, normal.y);
    return {std::max(p.x - normal.x * share, 0.0), std::max(p.y - normal.y * share, 0.0)};
  }

  // When the inset exceeds the ellipse's radius of curvature at the ends of the longer axis, the curve folds
  // over there and crosses itself on that axis; the part beyond is nearer to the edge than the inset. This is
  // the direction's component across the axis at that crossing; 0 when the curve is smooth.
  double EndOfSmooth() const noexcept {
    double const shorter = std::min(radius.x, radius.y), longer = std::max(radius.x, radius.y);
    double const reach = inset / shorter * longer;
    if (reach <= shorter) return 0;
    return sqrt((reach - shorter) / (longer - shorter) * ((reach + shorter) / (longer + shorter)));
  }
};

void Outline::AddEllipse(point2d const& centre, point2d const& radius, double inset) noexcept {
  Quarter const quarter = {centre, {radius.x + BULGE, radius.y + BULGE}, inset};
  double const across = std::min(quarter.EndOfSmooth(), 1.0), along = sqrt((1 - across) * (1 + across));
  bool const isWide = radius.x > radius.y;
  point2d const from = isWide ? point2d{along, across} : point2d{1, 0};
  point2d const to = isWide ? point2d{0, 1} : point2d{across, along};
  AddArc(quarter, from, to, MAX_ARC_DEPTH);
}

// Whether an arc is beside the clip, where its chord will do. An arc within a quarter is inside the bounding
// box of its ends.
bool Outline::IsBeside(point2d const& a, point2d const& b) const noexcept {
  return std::max(a.x, b.x) < clip.left || std::min(a.x, b.x) > clip.right || std::max(a.y, b.y) < clip.top ||
         std::min(a.y, b.y) > clip.bottom;
}

// Adds the arcs of all quarters, which are mirror images. The direction halfway between two is their sum.
void Outline::AddArc(Quarter const& quarter, point2d const& from, point2d const& to, int depth) noexcept {
  point2d const a = quarter.At(from), b = quarter.At(to);
  point2d const sum = {from.x + to.x, from.y + to.y};
  double const length = sqrt(sum.x * sum.x + sum.y * sum.y);
  point2d const middle = {sum.x / length, sum.y / length};
  point2d const m = quarter.At(middle);
  point2d const& c = quarter.centre;
  point2d const starts[] = {
      {c.x + a.x, c.y + a.y}, {c.x - b.x, c.y + b.y}, {c.x - a.x, c.y - a.y}, {c.x + b.x, c.y - b.y}};
  point2d const ends[] = {
      {c.x + b.x, c.y + b.y}, {c.x - a.x, c.y + a.y}, {c.x - b.x, c.y - b.y}, {c.x + a.x, c.y - a.y}};
  bool isSeen = false;
  for (int i = 0; i < 4; ++i) isSeen |= !IsBeside(starts[i], ends[i]);
  point2d const chord = {b.x - a.x, b.y - a.y};
  double const area = chord.x * (m.y - a.y) - chord.y * (m.x - a.x);
  bool const isFlat = fabs(area) <= FLATNESS * sqrt(chord.x * chord.x + chord.y * chord.y);
  if (depth == 0 || isFlat || !isSeen) {
    for (int i = 0; i < 4; ++i) AddEdge(starts[i], ends[i]);
    return;
  }
  AddArc(quarter, from, middle, depth - 1);
  AddArc(quarter, middle, to, depth - 1);
}

}  // namespace yk::raster
