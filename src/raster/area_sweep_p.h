// Converts an outline into the coverage of each pixel.
//
//   AreaSweep sweep(outline, FillRule::EVEN_ODD);
//   if (!sweep.PaintRows(clip.top, clip.bottom - clip.top, painter)) return E_OUTOFMEMORY;
//
// A closed outline is only read: sweeps over different rows of it can run in parallel.
//
// Coverage is computed exactly, not sampled. A row of pixels is divided into slabs at the end points of its
// edges, so that every edge in a slab runs from its top to its bottom. Edges whose order differs between top
// and bottom have crossed; sorting them again finds the pairs, and each edge then follows its own crossings,
// which determine how its side of the outline changes. The area to the right of a piece of an edge is a
// formula.
//
//   from  ---+------+------+---     the edges from left to right: 1 2 3
//             \    /       |
//              \  /        |        1 and 2 cross: below, 2 is left of 1, which changes the winding of both
//               \/         |
//               /\         |
//   to    -----+--+--------+---     2 1 3
//
// Work and memory are bounded for every outline: in rows with very many end points, slabs are at least 1/256
// pixel high, and slabs with very many crossings are halved down to that height. Inside such a slab, its
// middle is used for all of it.
#pragma once

#include "area_p.h"
#include "coverage_row_p.h"
#include "outline_p.h"
#include "span_p.h"

namespace yk::raster {

class AreaSweep {
 public:
  /// The outline must be closed, and outlive the sweep.
  AreaSweep(Outline const& outline, FillRule rule) noexcept;

  /// Paints these rows, which must be inside the clip. False when there is no memory.
  bool PaintRows(int first, int count, SpanPainter& painter) noexcept;

 private:
  // an edge that runs through the slab
  struct ActiveEdge {
    double top, bottom;  // x
    Outline::Edge const* source;
    int winding;  // to the left of it, at the top
    int direction;
  };

  // the position of an active edge at the bottom of the slab
  struct Place {
    double bottom;
    unsigned edge;
  };

  // two edges that cross, identified by their order at the top; `at` is 0 at the top of the slab and 1 at the
  // bottom
  struct Crossing {
    double at;
    unsigned left, right;
  };

  // the effect of a crossing on the winding to the left of an edge
  struct WindingChange {
    double at;
    int change;
  };

  void SweepRow(int y) noexcept;
  void CollectEvents(double y) noexcept;
  void SweepSlab(double from, double to) noexcept;
  void Advance(double from, double to) noexcept;
  void SortByTop() noexcept;
  bool AssignWindings() noexcept;
  // whether the inside begins (1) or ends (-1) to the right of an edge, or neither (0)
  int SideOf(int winding, int direction) const noexcept {
    return ((winding + direction) & ruleMask ? 1 : 0) - (winding & ruleMask ? 1 : 0);
  }
  bool FindCrossings() noexcept;
  void CoverActive(double height) noexcept;
  void CoverByMiddle(double height) noexcept;
  void CoverCrossing(double height) noexcept;
  bool ListWindingChanges() noexcept;
  void SortChanges(size_t from, size_t to) noexcept;
  template <class Cover>
  void ForEachPiece(ActiveEdge const& edge, WindingChange const* next, WindingChange const* end,
                    Cover cover) const noexcept;
  void CoverBetweenCrossings(ActiveEdge const& edge, WindingChange const* next, WindingChange const* end,
                             double height) noexcept;

  Outline const& outline;
  int const ruleMask;  // the bits of a winding that make a point inside
  bool failed = false;

  CoverageRow row;
  Outline::Edge const* nextEdge;
  Buffer<ActiveEdge> active;  // from left to right
  Buffer<ActiveEdge> reordered;
  Buffer<Place> places;
  Buffer<Crossing> crossings;
  Buffer<unsigned> firstChange;  // per active edge
  Buffer<WindingChange> changes;
  Buffer<double> events;  // the end points of edges inside the row
};

}  // namespace yk::raster
