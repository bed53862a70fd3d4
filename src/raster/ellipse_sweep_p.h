// Converts an ellipse, or the ring inside its edge, into the coverage of each pixel.
//
// Where each row begins and ends, the point of the curve at that height is computed; the arcs between are
// approximated by chords, in which all four quarters are alike.
#pragma once

#include "area_p.h"
#include "coverage_row_p.h"

namespace yk::raster {

/// The edge of an ellipse, or the curve at a distance inside it, relative to the centre: its right half, from
/// the top to the bottom.
class EllipseCurve {
 public:
  /// The curve of the points at a distance of at least `inset` from the edge; `inset` must be less than both
  /// radii.
  EllipseCurve(point2d const& radius, double inset) noexcept;

  /// A point of the curve, and the direction that determines it: a unit vector.
  struct Point {
    point2d direction;
    double x, y;
  };

  double Height() const noexcept { return bottom.y; }
  /// Moves to the point at a height, or to the nearest end.
  Point const& MoveTo(double y) noexcept {
    Point const next = AtHeight(y);
    stepBefore = step;
    step = next.direction.y - here.direction.y;
    return here = next;
  }
  Point const& Here() const noexcept { return here; }
  /// The one or two points on the horizontal axis: the last above it, and the first below it.
  Point AboveAxis() const noexcept { return Mirrored(axis); }
  Point BelowAxis() const noexcept { return axis; }
  /// The point of the direction at a part of the way from one to another.
  Point Between(Point const& a, Point const& b, double part) const noexcept;
  /// The number of chords, of equal parts of the arc between two points, that deviate little enough from it.
  int ChordsNeeded(Point const& a, Point const& b) const noexcept;
  /// The squared distance of two directions.
  static double Distance2(Point const& a, Point const& b) noexcept;

 private:
  Point At(point2d const& direction) const noexcept;
  Point AtHeight(double y) const noexcept;
  Point Solve(double y) const noexcept;
  static Point Mirrored(Point const& p) noexcept { return {{p.direction.x, -p.direction.y}, p.x, -p.y}; }

  point2d const radius;
  double const inset;
  double const bend;        // of an arc of the longer radius: the deviation of a chord, over the one allowed
  point2d const stretched;  // the squared radii, relative to the longer one
  Point axis, bottom;       // the ends of the lower half
  Point here;
  double step = 0, stepBefore = 0;  // of the direction's y, to the last points found
};

class EllipseSweep {
 public:
  EllipseSweep(xrect2d const& clip, Ellipse const& ellipse) noexcept;

  /// Paints these rows, which must be inside the clip. False when there is no memory.
  bool PaintRows(int first, int count, SpanPainter& painter) noexcept;

 private:
  using Point = EllipseCurve::Point;

  void Cover(EllipseCurve& curve, double to, int sign) noexcept;
  void CoverArc(EllipseCurve const& curve, Point const& a, Point const& b, int sign, int depth) noexcept;
  void CoverChord(Point const& a, Point const& b, int sign) noexcept;
  bool IsVisible(Point const& a, Point const& b) const noexcept;

  double const width;    // of the clip
  point2d const centre;  // x relative to the left of the clip
  bool const isRing;
  bool const isWhole;  // between the sides of the clip
  EllipseCurve outer, inner;
  CoverageRow row;
};

}  // namespace yk::raster
