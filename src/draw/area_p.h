// Areas with curved, slanted and crossing outlines, turned into the share that each pixel has of them. Pure
// computation: no surface, no colour.
//
//   Outline outline(clip);
//   outline.AddPolygon(points, count, 0, 0);
//   if (!outline.Close()) return E_OUTOFMEMORY;
//   AreaSweep sweep(outline, EVEN_ODD);
//   bool const done = sweep.Rows(clip.top, clip.bottom, paint, &context);
//
// A closed outline is only read: sweeps over different rows of it can run side by side.
//
// The share is computed, not sampled. A row of pixels is cut into bands at the ends of its edges. Through a
// band every edge runs from top to bottom. Those that have changed places on the way down have crossed; the
// pairs are found by sorting them anew, and each edge then walks its own crossings, which say how its side of
// the outline changes. What lies right of a piece of an edge is a formula.
//
//   from  ---+------+------+---     the edges from left to right: 1 2 3
//             \    /       |
//              \  /        |        1 and 2 cross: 1 counts with 2 left of it from here on
//               \/         |
//               /\         |
//   to    -----+--+--------+---     2 1 3
//
// Work and memory stay bounded whatever the outline is: in rows with very many ends bands are not thinner
// than
// 1/256 pixel, and bands with very many crossings are halved down to that. Inside such a band, its middle
// decides.
#pragma once

#include <math.h>
#include <qecore/draw/geometry.h>

#include "raster/buffer_p.h"

namespace yk::draw {

using raster::Buffer;

/// The edges of an area inside a clip.
class Outline {
 public:
  struct Edge {
    double top, bottom;  // top < bottom
    double x;            // at the top, from the left of the clip
    double slope;        // x per y
    double low, high;    // the range of x
    int direction;       // +1 downward, -1 upward

    double At(double y) const noexcept;
  };

  /// Only what lies inside the clip is kept; it must not be empty.
  explicit Outline(xrect2d const& clip) noexcept : clip(clip) {}

  /// A closed outline. Every coordinate must be finite.
  void AddPolygon(point2df const* points, int count, double dx, double dy) noexcept;
  /// The outline of the points of an ellipse that are not nearer to its edge than `inset`, which must be less
  /// than both radii.
  void AddEllipse(point2d const& centre, point2d const& radius, double inset) noexcept;
  /// Must be called when all has been added. False when there was no memory.
  bool Close() noexcept;

  xrect2d const& Clip() const noexcept { return clip; }
  // The range of x, from the left of the clip; of an empty outline, 0.
  double Leftmost() const noexcept { return edges.Count() ? leftmost : 0; }
  double Rightmost() const noexcept { return rightmost; }
  Edge const* begin() const noexcept { return edges.begin(); }
  Edge const* end() const noexcept { return edges.end(); }

 private:
  struct Quarter;

  void AddEdge(point2d const& a, point2d const& b) noexcept;
  void AddInside(point2d const& upper, point2d const& lower, int direction) noexcept;
  void Keep(point2d const& upper, point2d const& lower, int direction) noexcept;
  void AddArc(Quarter const& quarter, point2d const& from, point2d const& to, int depth) noexcept;
  bool IsBeside(point2d const& a, point2d const& b) const noexcept;

  xrect2d clip;
  Buffer<Edge> edges;  // closed: by their tops
  double leftmost = INFINITY, rightmost = 0;
  bool failed = false;
};

/// Turns rows of an outline into coverage.
class AreaSweep {
 public:
  /// Gets a run of pixels and how much of each is covered, 0 to 255; null for a run that is covered whole.
  using Sink = void (*)(void* context, int x, int y, unsigned char const* coverage, int count);

  /// `nonZero` chooses the rule. The outline must be closed, and outlive the sweep.
  AreaSweep(Outline const& outline, bool nonZero) noexcept;

  /// Tells the covered pixels of these rows of the clip, from the top. False when there is no memory.
  bool Rows(int top, int bottom, Sink sink, void* context) noexcept;

 private:
  // an edge in a band
  struct Item {
    double top, bottom;  // x
    Outline::Edge const* edge;
    int winding;  // of what is left of it at the top
    int direction;
  };

  // where an item stands at the bottom of a band
  struct Place {
    double bottom;
    unsigned item;
  };

  // two items that change places, by their order at the top; `at` is 0 at the top of the band and 1 at its
  // bottom
  struct Crossing {
    double at;
    unsigned left, right;
  };

  // what a crossing does to the winding left of an item
  struct Turn {
    double at;
    int change;
  };

  bool Reserve() noexcept;
  void SweepRow(int y) noexcept;
  void CollectEvents(double y) noexcept;
  void SweepBand(double from, double to) noexcept;
  void Advance(double from, double to) noexcept;
  void SortByTop() noexcept;
  bool AssignWindings() noexcept;
  int Change(int winding, int direction) const noexcept;
  bool FindCrossings() noexcept;
  void CoverItems(double height) noexcept;
  void CoverByMiddle(double height) noexcept;
  void CoverCrossing(double height) noexcept;
  bool ListTurns() noexcept;
  void CoverInTurns(Item const& item, Turn const* turn, Turn const* end, double height) noexcept;
  void CoverRightOf(double x0, double x1, double height) noexcept;
  void CoverSlanted(double low, double high, double height) noexcept;
  void AddStep(int column, double part, double middle) noexcept;
  int NextStep(int column) const noexcept;
  template <class Tell>
  void TellRow(Tell tell) noexcept;

  Outline const& outline;
  int const firstColumn, endColumn;  // of what the outline reaches, from the left of the clip
  int const ruleMask;                // the bits of a winding that make it an inside
  bool failed = false;

  Outline::Edge const* nextEdge;
  Buffer<Item> items;  // that run through the band, from left to right
  Buffer<Item> moved;
  Buffer<Place> places;
  Buffer<Crossing> crossings;
  Buffer<unsigned> firstTurn;  // of each item
  Buffer<Turn> turns;
  Buffer<double> events;           // the ends of edges inside the row
  Buffer<float> steps;             // by how much the coverage changes at each pixel of the row
  Buffer<uint64_t> marks;          // a bit for each step that may not be 0
  Buffer<unsigned char> coverage;  // of the row
};

}  // namespace yk::draw
