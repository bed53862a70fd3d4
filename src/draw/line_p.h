// Anti-aliased lines as steps along their longer axis, each of two pixels. Pure computation.
#pragma once

#include <qecore/draw/geometry.h>

namespace yk::draw {

/// What of a line lies in a clip. The place of a step depends on its number alone, so that clipping leaves
/// the steps that remain where they were.
class LineWalk {
 public:
  /// Both ends included, or one or both steps there left out.
  enum Ends { BOTH = 0, NO_FIRST = 1, NO_LAST = 2 };

  /// In surface coordinates; whole numbers are the middles of pixels. Finite.
  LineWalk(point2d const& a, point2d const& b, xrect2d const& clip, int ends = BOTH) noexcept;

  /// False for a line without length, or whose box lies outside the clip.
  bool IsVisible() const noexcept { return visible; }

  // The steps fall into those before the clip, those to walk, and those behind it. Counts of steps that are
  // not walked are modulo 2^32.
  unsigned StepsBefore() const noexcept { return before; }
  int StepsToWalk() const noexcept { return walked; }
  unsigned StepsInAll() const noexcept { return all; }

  /// Calls plot(x, y, coverage) for the pixels inside the clip of the i-th step to walk.
  template <class Plot>
  void Step(int i, Plot plot) const noexcept {
    double const along = first + direction * i;
    double const across = offset + (along - origin) * slope;
    double const nearest = Floor(across);
    if (!(nearest >= acrossLow - 1.0 && nearest < acrossHigh)) return;
    int const pixel = static_cast<int>(nearest);
    int const share = static_cast<int>((across - nearest) * 255 + 0.5);
    Plot2(static_cast<int>(along), pixel, 255 - share, plot);
    Plot2(static_cast<int>(along), pixel + 1, share, plot);
  }

 private:
  static double Floor(double value) noexcept;

  template <class Plot>
  void Plot2(int along, int across, int coverage, Plot plot) const noexcept {
    if (coverage == 0 || across < acrossLow || across >= acrossHigh) return;
    plot(steep ? across : along, steep ? along : across, static_cast<unsigned char>(coverage));
  }

  bool visible = false;
  bool steep = false;    // along is y
  double direction = 1;  // of the steps: along the axis or, -1, against it
  double first = 0;      // the place of the first step to walk
  int walked = 0;
  unsigned before = 0, all = 0;
  double origin = 0, offset = 0, slope = 0;  // across = offset + (along - origin) slope
  int acrossLow = 0, acrossHigh = 0;         // of the clip
};

}  // namespace yk::draw
