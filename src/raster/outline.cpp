#include "outline_p.h"

#include <algorithm>

namespace yk::raster {

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

}  // namespace yk::raster
