#include "area_p.h"

#include <math.h>

#include <algorithm>
#include <bit>

namespace yk::draw {
namespace {

// An arc is drawn as chords that leave it by no more than this, and is moved outward by as much as evens out
// what they cut off.
constexpr double FLATNESS = 1.0 / 1100;
constexpr double BULGE = FLATNESS / 3;
constexpr int MAX_ARC_DEPTH = 40;

// A row with more ends of edges than this has no thinner bands, and no row has thinner halves.
constexpr size_t MANY_EVENTS = 256;
constexpr double THINNEST_BAND = 1.0 / 256;

// A band with more crossings for each of its edges than this is halved.
constexpr size_t MAX_CROSSINGS_PER_EDGE = 16;

// Sorting by insertion is given up when it has moved each item so often.
constexpr size_t MAX_MOVES_PER_ITEM = 32;

// A run of pixels that are all covered, or all not, is told by itself when it is at least this long.
constexpr int LONG_RUN = 8;

int Width(xrect2d const& r) noexcept { return r.right - r.left; }

}  // namespace

// ---- collecting the outline

double Outline::Edge::At(double y) const noexcept {
  if (y <= top) return x;  // also where the slope is too steep for a number
  return std::clamp(x + (y - top) * slope, low, high);
}

void Outline::AddPolygon(point2df const* points, int count, double dx, double dy) noexcept {
  auto const corner = [=](int i) {
    return point2d{static_cast<double>(points[i].x) + dx, static_cast<double>(points[i].y) + dy};
  };
  for (int i = 0; i < count; ++i) AddEdge(corner(i), corner(i + 1 < count ? i + 1 : 0));
}

void Outline::AddEdge(point2d const& a, point2d const& b) noexcept {
  bool const down = a.y < b.y;
  point2d const& upper = down ? a : b;
  point2d const& lower = down ? b : a;
  AddInside({upper.x - clip.left, upper.y}, {lower.x - clip.left, lower.y}, down ? 1 : -1);
}

// Cuts an edge at the sides of the clip. What lies left of it runs along its side, since it still says what
// is inside; what lies right of it says only that the inside may reach the end.
void Outline::AddInside(point2d const& upper, point2d const& lower, int direction) noexcept {
  double const width = static_cast<double>(clip.right) - clip.left;
  auto const [low, high] = std::minmax(upper.x, lower.x);
  if (upper.y >= lower.y || lower.y <= clip.top || upper.y >= clip.bottom) return;
  if (low >= width) return void(rightmost = width);
  if (high <= 0) return Keep({0, upper.y}, {0, lower.y}, direction);
  if (low >= 0 && high <= width) return Keep(upper, lower, direction);
  double const side = low < 0 ? 0 : width;
  double const share = (side - upper.x) / (lower.x - upper.x);
  point2d const cut = {side, std::clamp(upper.y + share * (lower.y - upper.y), upper.y, lower.y)};
  AddInside(upper, cut, direction);
  AddInside(cut, lower, direction);
}

void Outline::Keep(point2d const& upper, point2d const& lower, int direction) noexcept {
  double const slope = (lower.x - upper.x) / (lower.y - upper.y);
  auto const [low, high] = std::minmax(upper.x, lower.x);
  if (!edges.Add({upper.y, lower.y, upper.x, slope, low, high, direction})) failed = true;
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

// A quarter of a curve at a distance inside an ellipse, as seen from its centre: x and y are not negative,
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

  // Near the ends of the longer axis the curve bends over and crosses itself on that axis, when the inset is
  // more than the ellipse's radius of curvature there; what lies beyond is nearer to the edge than the inset.
  // This is the direction's part across the axis at that place; 0 when the curve is smooth.
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

// Whether an arc lies beside the clip, where its chord is as good as the arc. One within a quarter lies
// inside the box of its ends.
bool Outline::IsBeside(point2d const& a, point2d const& b) const noexcept {
  return std::max(a.x, b.x) < clip.left || std::min(a.x, b.x) > clip.right || std::max(a.y, b.y) < clip.top ||
         std::min(a.y, b.y) > clip.bottom;
}

// Adds an arc of each quarter, which are mirror images. The direction in the middle of two is their sum.
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

// ---- sweeping it: rows and bands

AreaSweep::AreaSweep(Outline const& outline, bool nonZero) noexcept
    : outline(outline),
      firstColumn(static_cast<int>(outline.Leftmost())),
      endColumn(std::min(static_cast<int>(outline.Rightmost()) + 1, Width(outline.Clip()))),
      ruleMask(nonZero ? -1 : 1),
      nextEdge(outline.begin()) {}

bool AreaSweep::Reserve() noexcept {
  size_t const columns = static_cast<size_t>(endColumn);
  // what runs through the last pixel steps behind it, and what runs along its end one farther
  return steps.Fill(columns + 2, 0) && marks.Fill(columns / 64 + 2, 0) && coverage.Reserve(columns);
}

bool AreaSweep::Rows(int top, int bottom, Sink sink, void* context) noexcept {
  if (!Reserve()) return false;
  int const left = outline.Clip().left;
  nextEdge = outline.begin();
  items.Shrink(0);
  for (int y = top; y < bottom && !failed; ++y) {
    if (items.Count() == 0) {
      while (nextEdge != outline.end() && nextEdge->bottom <= y) ++nextEdge;
      if (nextEdge == outline.end() || nextEdge->top >= bottom) break;
      y = std::max(y, static_cast<int>(floor(std::max<double>(nextEdge->top, y))));
    }
    SweepRow(y);
    TellRow([=, this](int column, bool whole, int count) {
      if (count > 0) sink(context, left + column, y, whole ? nullptr : coverage.begin() + column, count);
    });
  }
  return !failed;
}

void AreaSweep::SweepRow(int y) noexcept {
  double const end = y + 1.0;
  CollectEvents(y);
  double const thinnest = events.Count() > MANY_EVENTS ? THINNEST_BAND : 0;
  double from = y;
  for (double const event : events) {
    if (event - from <= thinnest || end - event <= thinnest) continue;
    SweepBand(from, event);
    from = event;
  }
  SweepBand(from, end);
}

// The ends of edges inside a row.
void AreaSweep::CollectEvents(double y) noexcept {
  events.Shrink(0);
  auto const note = [=, this](double event) {
    if (event > y && event < y + 1 && !events.Add(event)) failed = true;
  };
  for (Item const& item : items) note(item.edge->bottom);
  for (Outline::Edge const* edge = nextEdge; edge != outline.end() && edge->top < y + 1; ++edge) {
    note(edge->top);
    note(edge->bottom);
  }
  std::sort(events.begin(), events.end());
  events.Shrink(static_cast<size_t>(std::unique(events.begin(), events.end()) - events.begin()));
}

void AreaSweep::SweepBand(double from, double to) noexcept {
  Advance(from, to);
  SortByTop();
  bool const isInOrder = AssignWindings();
  if (isInOrder) return CoverItems(to - from);
  if (FindCrossings()) return CoverCrossing(to - from);
  if (to - from < 2 * THINNEST_BAND) return CoverByMiddle(to - from);
  double const middle = (from + to) / 2;
  for (Item& item : items) item.bottom = item.top;
  SweepBand(from, middle);
  SweepBand(middle, to);
}

// Makes the items those that run through the middle of a band, and moves them to it.
void AreaSweep::Advance(double from, double to) noexcept {
  double const middle = (from + to) / 2;
  Item* kept = items.begin();
  for (Item const& item : items) {
    if (item.edge->bottom <= middle) continue;
    *kept++ = {item.bottom, item.edge->At(to), item.edge, 0, item.direction};
  }
  items.Shrink(static_cast<size_t>(kept - items.begin()));
  for (; nextEdge != outline.end() && nextEdge->top <= middle; ++nextEdge) {
    if (nextEdge->bottom <= middle) continue;
    if (!items.Add({nextEdge->At(from), nextEdge->At(to), nextEdge, 0, nextEdge->direction})) failed = true;
  }
}

// They have been in order, but for those that have just come in, or for rounding.
void AreaSweep::SortByTop() noexcept {
  auto const isLess = [](Item const& a, Item const& b) {
    return a.top != b.top ? a.top < b.top : a.bottom < b.bottom;
  };
  size_t moves = items.Count() * MAX_MOVES_PER_ITEM;
  for (size_t i = 1; i < items.Count(); ++i) {
    Item const item = items[i];
    size_t at = i;
    for (; at > 0 && isLess(item, items[at - 1]); --at) items[at] = items[at - 1];
    items[at] = item;
    if (moves < i - at) return std::sort(items.begin(), items.end(), isLess);
    moves -= i - at;
  }
}

// False when items cross.
bool AreaSweep::AssignWindings() noexcept {
  int winding = 0;
  double last = -INFINITY;
  bool isInOrder = true;
  for (Item& item : items) {
    item.winding = winding;
    winding += item.direction;
    if (item.bottom < last) isInOrder = false;
    last = item.bottom;
  }
  return isInOrder;
}

// Whether an edge begins (1) or ends (-1) what is inside.
int AreaSweep::Change(int winding, int direction) const noexcept {
  return ((winding + direction) & ruleMask ? 1 : 0) - (winding & ruleMask ? 1 : 0);
}

void AreaSweep::CoverItems(double height) noexcept {
  for (Item const& item : items) {
    int const change = Change(item.winding, item.direction);
    if (change != 0) CoverRightOf(item.top, item.bottom, change * height);
  }
}

void AreaSweep::CoverByMiddle(double height) noexcept {
  std::sort(items.begin(), items.end(),
            [](Item const& a, Item const& b) { return a.top + a.bottom < b.top + b.bottom; });
  AssignWindings();
  CoverItems(height);
}

// ---- crossings in a band

// Sorts the items' places at the bottom. Every pair that this exchanges has crossed. False when there are too
// many.
bool AreaSweep::FindCrossings() noexcept {
  size_t const limit = items.Count() * MAX_CROSSINGS_PER_EDGE;
  crossings.Shrink(0);
  if (!places.Resize(items.Count())) return !(failed = true);
  for (size_t i = 0; i < items.Count(); ++i) {
    Place const place = {items[i].bottom, static_cast<unsigned>(i)};
    size_t at = i;
    for (; at > 0 && places[at - 1].bottom > place.bottom; --at) {
      Item const& other = items[places[at - 1].item];
      double const above = items[i].top - other.top, below = other.bottom - place.bottom;
      if (!crossings.Add({above / (above + below), places[at - 1].item, place.item})) failed = true;
      places[at] = places[at - 1];
    }
    places[at] = place;
    if (crossings.Count() > limit) return false;
  }
  return true;
}

// Lists the crossings of each item, from the top.
bool AreaSweep::ListTurns() noexcept {
  if (!firstTurn.Fill(items.Count() + 2, 0) || !turns.Resize(crossings.Count() * 2)) return false;
  // counted two places on, so that filling in moves each count to where its item's turns begin
  for (Crossing const& crossing : crossings) {
    ++firstTurn[crossing.left + size_t{2}];
    ++firstTurn[crossing.right + size_t{2}];
  }
  for (size_t i = 2; i < firstTurn.Count(); ++i) firstTurn[i] += firstTurn[i - 1];
  for (Crossing const& crossing : crossings) {
    turns[firstTurn[crossing.left + size_t{1}]++] = {crossing.at, items[crossing.right].direction};
    turns[firstTurn[crossing.right + size_t{1}]++] = {crossing.at, -items[crossing.left].direction};
  }
  for (size_t i = 0; i < items.Count(); ++i) {
    std::sort(turns.begin() + firstTurn[i], turns.begin() + firstTurn[i + 1],
              [](Turn const& a, Turn const& b) { return a.at < b.at; });
  }
  return true;
}

void AreaSweep::CoverCrossing(double height) noexcept {
  if (failed || !ListTurns() || !moved.Resize(items.Count())) {
    failed = true;
    return;
  }
  for (size_t i = 0; i < items.Count(); ++i) {
    CoverInTurns(items[i], turns.begin() + firstTurn[i], turns.begin() + firstTurn[i + 1], height);
  }
  for (size_t i = 0; i < items.Count(); ++i) moved[i] = items[places[i].item];
  items.Swap(moved);
}

void AreaSweep::CoverInTurns(Item const& item, Turn const* turn, Turn const* end, double height) noexcept {
  int winding = item.winding;
  int change = Change(winding, item.direction);
  double at = 0, x = item.top;
  for (; turn != end; ++turn) {
    winding += turn->change;
    int const next = Change(winding, item.direction);
    if (next == change) continue;
    double const nextX = item.top + (item.bottom - item.top) * turn->at;
    if (change != 0) CoverRightOf(x, nextX, (turn->at - at) * change * height);
    at = turn->at;
    x = nextX;
    change = next;
  }
  if (change != 0) CoverRightOf(x, item.bottom, (1 - at) * change * height);
}

// ---- coverage of a row

void AreaSweep::AddStep(int column, double part, double middle) noexcept {
  size_t const at = static_cast<size_t>(column);
  steps[at] += static_cast<float>(part * (1 - middle));
  steps[at + 1] += static_cast<float>(part * middle);
  marks[at / 64] |= uint64_t{1} << at % 64;
  marks[(at + 1) / 64] |= uint64_t{1} << (at + 1) % 64;
}

// Adds what lies right of a line through a band of this height; a negative height takes it away.
void AreaSweep::CoverRightOf(double x0, double x1, double height) noexcept {
  int const column = static_cast<int>(x0);
  if (column == static_cast<int>(x1)) return AddStep(column, height, (x0 + x1) / 2 - column);
  CoverSlanted(std::min(x0, x1), std::max(x0, x1), height);
}

void AreaSweep::CoverSlanted(double low, double high, double height) noexcept {
  double const perUnit = height / (high - low);
  int const first = static_cast<int>(low), last = static_cast<int>(high);
  AddStep(first, (first + 1 - low) * perUnit, (low - first + 1) / 2);
  for (int column = first + 1; column < last; ++column) AddStep(column, perUnit, 0.5);
  if (high > last) AddStep(last, (high - last) * perUnit, (high - last) / 2);
}

// The next pixel whose coverage may differ from the one before, or the end.
int AreaSweep::NextStep(int column) const noexcept {
  if (column >= endColumn) return endColumn;
  uint64_t const* word = marks.begin() + column / 64;
  uint64_t const* const last = marks.begin() + (endColumn - 1) / 64;
  uint64_t bits = *word & ~uint64_t{0} << column % 64;
  while (bits == 0 && word != last) bits = *++word;
  int const at = static_cast<int>(word - marks.begin()) * 64 + std::countr_zero(bits);
  return std::min(at, endColumn);
}

// Sums the steps up to coverage, tells it in runs, and clears the steps.
template <class Tell>
void AreaSweep::TellRow(Tell tell) noexcept {
  int told = NextStep(firstColumn);
  float sum = 0;
  for (int column = told, next; column < endColumn; column = next) {
    sum += std::exchange(steps[static_cast<size_t>(column)], 0.0f);
    next = NextStep(column + 1);
    unsigned char const share = static_cast<unsigned char>(std::clamp(sum, 0.0f, 1.0f) * 255 + 0.5f);
    if ((share == 0 || share == 255) && next - column >= LONG_RUN) {
      tell(told, false, column - told);
      if (share) tell(column, true, next - column);
      told = next;
    } else {
      std::fill(coverage.begin() + column, coverage.begin() + next, share);
    }
  }
  tell(told, false, endColumn - told);
  steps[static_cast<size_t>(endColumn)] = steps[static_cast<size_t>(endColumn) + 1] = 0;
  std::fill(marks.begin() + firstColumn / 64, marks.end(), 0);
}

}  // namespace yk::draw
