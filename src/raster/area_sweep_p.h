// An outline turned into the share that each pixel has of its inside.
//
//   AreaSweep sweep(outline, FillRule::EVEN_ODD);
//   if (!sweep.PaintRows(clip.top, clip.bottom - clip.top, painter)) return E_OUTOFMEMORY;
//
// A closed outline is only read: sweeps over different rows of it can run side by side.
//
// The share is computed, not sampled. A row of pixels is cut into slabs at the ends of its edges. Through a
// slab every edge runs from top to bottom. Those that have changed places on the way down have crossed; the
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
// Work and memory stay bounded whatever the outline is: in rows with very many ends of edges slabs are not
// thinner than 1/256 pixel, and slabs with very many crossings are halved down to that. Inside such a slab,
// its middle decides.
#pragma once

#include "area_p.h"
#include "outline_p.h"
#include "span_p.h"

namespace yk::raster {

class AreaSweep {
 public:
  /// The outline must be closed, and outlive the sweep.
  AreaSweep(Outline const& outline, FillRule rule) noexcept;

  /// Paints these rows, which must lie in the clip. False when there is no memory.
  bool PaintRows(int first, int count, SpanPainter& painter) noexcept;

 private:
  // an edge that runs through the slab
  struct ActiveEdge {
    double top, bottom;  // x
    Outline::Edge const* source;
    int winding;  // of what is left of it at the top
    int direction;
  };

  // where an active edge is at the bottom of the slab
  struct Place {
    double bottom;
    unsigned edge;
  };

  // two edges that change places, by their order at the top; `at` is 0 at the top of the slab and 1 at its
  // bottom
  struct Crossing {
    double at;
    unsigned left, right;
  };

  // what a crossing does to the winding left of an edge
  struct WindingChange {
    double at;
    int change;
  };

  bool Reserve() noexcept;
  void SweepRow(int y) noexcept;
  void CollectEvents(double y) noexcept;
  void SweepSlab(double from, double to) noexcept;
  void Advance(double from, double to) noexcept;
  void SortByTop() noexcept;
  bool AssignWindings() noexcept;
  int SideOf(int winding, int direction) const noexcept;
  bool FindCrossings() noexcept;
  void CoverActive(double height) noexcept;
  void CoverByMiddle(double height) noexcept;
  void CoverCrossing(double height) noexcept;
  bool ListWindingChanges() noexcept;
  void CoverBetweenCrossings(ActiveEdge const& edge, WindingChange const* next, WindingChange const* end,
                             double height) noexcept;
  void CoverRightOf(double x0, double x1, double height) noexcept;
  void CoverSlanted(double low, double high, double height) noexcept;
  void AddStep(int column, double part, double middle) noexcept;
  int NextStep(int column) const noexcept;
  void PaintRow(int y, SpanPainter& painter) noexcept;

  Outline const& outline;
  int const firstColumn, endColumn;  // of what the outline reaches, from the left of the clip
  int const ruleMask;                // the bits of a winding that make it an inside
  bool failed = false;

  Outline::Edge const* nextEdge;
  Buffer<ActiveEdge> active;  // from left to right
  Buffer<ActiveEdge> reordered;
  Buffer<Place> places;
  Buffer<Crossing> crossings;
  Buffer<unsigned> firstChange;  // of each active edge
  Buffer<WindingChange> changes;
  Buffer<double> events;           // the ends of edges inside the row
  Buffer<float> steps;             // by how much the coverage changes at each pixel of the row
  Buffer<uint64_t> marks;          // a bit for each step that may not be 0
  Buffer<unsigned char> coverage;  // of the row
};

}  // namespace yk::raster
