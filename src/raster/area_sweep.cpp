#include "area_sweep_p.h"

#include <math.h>

#include <algorithm>

namespace yk::raster {
namespace {

// In a row with more end points than this, slabs have a minimum height, which halved slabs have in every row.
constexpr size_t MANY_EVENTS = 256;
constexpr double THINNEST_SLAB = 1.0 / 256;

// A slab with more crossings per edge than this is halved.
constexpr size_t MAX_CROSSINGS_PER_EDGE = 16;

// Insertion sort is abandoned after this many moves per edge.
constexpr size_t MAX_MOVES_PER_EDGE = 32;

}  // namespace

// ---- rows and slabs

AreaSweep::AreaSweep(Outline const& outline, FillRule rule) noexcept
    : outline(outline),
      ruleMask(rule == FillRule::NON_ZERO ? -1 : 1),
      row(outline.Clip(), outline.Leftmost(), outline.Rightmost()),
      nextEdge(outline.begin()) {}

bool AreaSweep::PaintRows(int first, int count, SpanPainter& painter) noexcept {
  if (!row.Reserve()) return false;
  int const end = first + count;
  nextEdge = outline.begin();
  active.Shrink(0);
  for (int y = first; y < end && !failed; ++y) {
    if (active.Count() == 0) {
      while (nextEdge != outline.end() && nextEdge->bottom <= y) ++nextEdge;
      if (nextEdge == outline.end() || nextEdge->top >= end) break;
      y = std::max(y, static_cast<int>(floor(std::max<double>(nextEdge->top, y))));
    }
    SweepRow(y);
    row.Paint(y, painter);
  }
  return !failed;
}

void AreaSweep::SweepRow(int y) noexcept {
  double const end = y + 1.0;
  CollectEvents(y);
  double const thinnest = events.Count() > MANY_EVENTS ? THINNEST_SLAB : 0;
  double from = y;
  for (double const event : events) {
    if (event - from <= thinnest || end - event <= thinnest) continue;
    SweepSlab(from, event);
    from = event;
  }
  SweepSlab(from, end);
}

// Collects the end points of edges inside a row.
void AreaSweep::CollectEvents(double y) noexcept {
  events.Shrink(0);
  auto const add = [=, this](double event) {
    if (event > y && event < y + 1 && !events.Append(event)) failed = true;
  };
  for (ActiveEdge const& edge : active) add(edge.source->bottom);
  for (Outline::Edge const* edge = nextEdge; edge != outline.end() && edge->top < y + 1; ++edge) {
    add(edge->top);
    add(edge->bottom);
  }
  std::sort(events.begin(), events.end());
  events.Shrink(static_cast<size_t>(std::unique(events.begin(), events.end()) - events.begin()));
}

void AreaSweep::SweepSlab(double from, double to) noexcept {
  Advance(from, to);
  SortByTop();
  bool const isInOrder = AssignWindings();
  if (isInOrder) return CoverActive(to - from);
  if (FindCrossings()) return CoverCrossing(to - from);
  if (to - from < 2 * THINNEST_SLAB) return CoverByMiddle(to - from);
  double const middle = (from + to) / 2;
  for (ActiveEdge& edge : active) edge.bottom = edge.top;
  SweepSlab(from, middle);
  SweepSlab(middle, to);
}

// Activates the edges that run through the middle of a slab, and moves the active ones to it.
void AreaSweep::Advance(double from, double to) noexcept {
  double const middle = (from + to) / 2;
  ActiveEdge* last = active.begin();
  for (ActiveEdge const& edge : active) {
    if (edge.source->bottom <= middle) continue;
    *last++ = {edge.bottom, edge.source->At(to), edge.source, 0, edge.direction};
  }
  active.Shrink(static_cast<size_t>(last - active.begin()));
  for (; nextEdge != outline.end() && nextEdge->top <= middle; ++nextEdge) {
    if (nextEdge->bottom <= middle) continue;
    if (!active.Append({nextEdge->At(from), nextEdge->At(to), nextEdge, 0, nextEdge->direction}))
      failed = true;
  }
}

// They are in order already, except for new edges and rounding.
void AreaSweep::SortByTop() noexcept {
  auto const isLess = [](ActiveEdge const& a, ActiveEdge const& b) {
    return a.top != b.top ? a.top < b.top : a.bottom < b.bottom;
  };
  size_t moves = active.Count() * MAX_MOVES_PER_EDGE;
  for (size_t i = 1; i < active.Count(); ++i) {
    ActiveEdge const edge = active[i];
    size_t at = i;
    for (; at > 0 && isLess(edge, active[at - 1]); --at) active[at] = active[at - 1];
    active[at] = edge;
    if (moves < i - at) return std::sort(active.begin(), active.end(), isLess);
    moves -= i - at;
  }
}

// False when edges cross.
bool AreaSweep::AssignWindings() noexcept {
  int winding = 0;
  double last = -INFINITY;
  bool isInOrder = true;
  for (ActiveEdge& edge : active) {
    edge.winding = winding;
    winding += edge.direction;
    if (edge.bottom < last) isInOrder = false;
    last = edge.bottom;
  }
  return isInOrder;
}

void AreaSweep::CoverActive(double height) noexcept {
  for (ActiveEdge const& edge : active) {
    int const side = SideOf(edge.winding, edge.direction);
    if (side != 0) row.CoverRightOf(edge.top, edge.bottom, side * height);
  }
}

void AreaSweep::CoverByMiddle(double height) noexcept {
  std::sort(active.begin(), active.end(),
            [](ActiveEdge const& a, ActiveEdge const& b) { return a.top + a.bottom < b.top + b.bottom; });
  AssignWindings();
  CoverActive(height);
}

// ---- crossings in a slab

// Sorts the edges by their positions at the bottom. Each pair that is exchanged crosses. False when there are
// too many.
bool AreaSweep::FindCrossings() noexcept {
  size_t const limit = active.Count() * MAX_CROSSINGS_PER_EDGE;
  crossings.Shrink(0);
  if (!places.Resize(active.Count())) return !(failed = true);
  for (size_t i = 0; i < active.Count(); ++i) {
    Place const place = {active[i].bottom, static_cast<unsigned>(i)};
    size_t at = i;
    for (; at > 0 && places[at - 1].bottom > place.bottom; --at) {
      ActiveEdge const& other = active[places[at - 1].edge];
      double const above = active[i].top - other.top, below = other.bottom - place.bottom;
      if (!crossings.Append({above / (above + below), places[at - 1].edge, place.edge})) failed = true;
      places[at] = places[at - 1];
    }
    places[at] = place;
    if (crossings.Count() > limit) return false;
  }
  return true;
}

// Usually of one or two elements.
void AreaSweep::SortChanges(size_t from, size_t to) noexcept {
  constexpr size_t FEW = 16;
  auto const isHigher = [](WindingChange const& a, WindingChange const& b) { return a.at < b.at; };
  if (to - from > FEW) return std::sort(changes.begin() + from, changes.begin() + to, isHigher);
  for (size_t i = from + 1; i < to; ++i) {
    WindingChange const change = changes[i];
    size_t at = i;
    for (; at > from && isHigher(change, changes[at - 1]); --at) changes[at] = changes[at - 1];
    changes[at] = change;
  }
}

// Lists the crossings of each edge, from top to bottom.
bool AreaSweep::ListWindingChanges() noexcept {
  if (!firstChange.Fill(active.Count() + 2, 0) || !changes.Resize(crossings.Count() * 2)) return false;
  // counted two elements ahead, so that filling in turns each count into the start of its edge's changes
  for (Crossing const& crossing : crossings) {
    ++firstChange[crossing.left + size_t{2}];
    ++firstChange[crossing.right + size_t{2}];
  }
  for (size_t i = 2; i < firstChange.Count(); ++i) firstChange[i] += firstChange[i - 1];
  for (Crossing const& crossing : crossings) {
    changes[firstChange[crossing.left + size_t{1}]++] = {crossing.at, active[crossing.right].direction};
    changes[firstChange[crossing.right + size_t{1}]++] = {crossing.at, -active[crossing.left].direction};
  }
  for (size_t i = 0; i < active.Count(); ++i) SortChanges(firstChange[i], firstChange[i + 1]);
  return true;
}

// Calls cover(x, x, part) for the pieces of an edge beside which the inside begins or ends; the part is of
// the height, and negative where the inside ends.
template <class Cover>
void AreaSweep::ForEachPiece(ActiveEdge const& edge, WindingChange const* next, WindingChange const* end,
                             Cover cover) const noexcept {
  int winding = edge.winding, side = SideOf(winding, edge.direction);
  double at = 0, x = edge.top;
  for (; next != end; ++next) {
    winding += next->change;
    int const nextSide = SideOf(winding, edge.direction);
    if (nextSide == side) continue;
    double const nextX = edge.top + (edge.bottom - edge.top) * next->at;
    if (side != 0) cover(x, nextX, (next->at - at) * side);
    at = next->at;
    x = nextX;
    side = nextSide;
  }
  if (side != 0) cover(x, edge.bottom, (1 - at) * side);
}

void AreaSweep::CoverCrossing(double height) noexcept {
  if (failed || !ListWindingChanges() || !reordered.Resize(active.Count())) {
    failed = true;
    return;
  }
  for (size_t i = 0; i < active.Count(); ++i) {
    CoverBetweenCrossings(active[i], changes.begin() + firstChange[i], changes.begin() + firstChange[i + 1],
                          height);
  }
  for (size_t i = 0; i < active.Count(); ++i) reordered[i] = active[places[i].edge];
  active.Swap(reordered);
}

void AreaSweep::CoverBetweenCrossings(ActiveEdge const& edge, WindingChange const* next,
                                      WindingChange const* end, double height) noexcept {
  int const column = static_cast<int>(edge.top);
  double heights = 0, moments = 0;
  auto const inColumn = [&](double x0, double x1, double part) {
    heights += part;
    moments += part * ((x0 + x1) / 2 - column);
  };
  if (column != static_cast<int>(edge.bottom)) {
    return ForEachPiece(edge, next, end,
                        [&](double x0, double x1, double part) { row.CoverRightOf(x0, x1, part * height); });
  }
  ForEachPiece(edge, next, end, inColumn);
  row.CoverColumn(column, heights * height, moments * height);
}

}  // namespace yk::raster
