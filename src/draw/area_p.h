// Areas with curved, slanted and crossing outlines, turned into the share that each pixel has of them.
//
//   AreaRasterizer area(clip);
//   area.AddPolygon(points, count, 0, 0);
//   bool const done = area.Sweep(EVEN_ODD, paint, &context);
//
// The share is computed, not sampled. A row of pixels is cut into bands at the ends and the crossings of its
// edges; in a band no two edges cross, so that the rule finds trapezoids between them, and what a trapezoid
// covers of each pixel is a formula. Bands are never thinner than 1/256 pixel, which bounds the work whatever
// the outline is; where an end or a crossing falls inside such a band, its middle decides.
#pragma once

#include <qecore/draw/geometry.h>

#include "buffer_p.h"

namespace yk::draw {

class AreaRasterizer {
 public:
  /// Gets a run of pixels and how much of each is covered, 0 to 255; null for a run that is covered whole.
  using Sink = void (*)(void* context, int x, int y, unsigned char const* coverage, int count);

  /// Only pixels inside the clip are looked at; it must not be empty.
  explicit AreaRasterizer(xrect2d const& clip) noexcept : clip(clip) {}

  /// A closed outline. Every coordinate must be finite.
  void AddPolygon(point2df const* points, int count, double dx, double dy) noexcept;
  void AddEllipse(point2d const& centre, point2d const& radius) noexcept;

  /// Tells the covered pixels, row by row from the top. `nonZero` chooses the rule. False when there is no
  /// memory.
  bool Sweep(bool nonZero, Sink sink, void* context) noexcept;

 private:
  struct Edge {
    double top, bottom;  // top < bottom
    double x;            // at the top
    double slope;        // x per y
    double low, high;    // the range of x
    int direction;       // +1 downward, -1 upward

    double At(double y) const noexcept;
  };

  // an edge in a band
  struct Crossing {
    double top, middle, bottom;  // x
    int direction;
  };

  void AddEdge(point2d const& a, point2d const& b) noexcept;
  void AddArc(point2d const& centre, point2d const& radius, double from, double to, int depth) noexcept;
  bool IsOnOneSide(point2d const& a, point2d const& b) const noexcept;

  void EnterRow(int y) noexcept;
  void SweepRow(int y) noexcept;
  double NextEvent(double from, double end) noexcept;
  void SweepBand(double from, double to) noexcept;
  void FindCrossings(double from, double to) noexcept;
  double FindSplit(double from, double to) noexcept;
  void CoverBetween(double height) noexcept;
  void CoverRightOf(double x0, double x1, double height) noexcept;
  template <class Tell>
  void TellRow(unsigned char* coverage, Tell tell) noexcept;
  int UnchangedFrom(int column) noexcept;

  xrect2d clip;
  Buffer<Edge> edges;
  bool failed = false;

  // while sweeping
  bool nonZeroRule = false;
  size_t nextEdge = 0;
  double thinnest = 0;
  Buffer<Edge*> active;
  Buffer<Crossing> crossings;
  Buffer<float> steps;  // by how much the coverage changes at each pixel of the row
  int firstStep = 0, lastStep = 0;
};

}  // namespace yk::draw
