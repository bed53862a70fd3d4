// Lines as steps along their longer axis, each of two pixels. Independent of surface and colour.
#pragma once

#include <math.h>
#include <qecore/draw/geometry.h>

#include "line_p.h"

namespace yk::raster {

/// The part of a line inside an area. The position of a step depends only on its number, so that clipping
/// does not move the remaining steps.
class LineWalk {
 public:
  /// In surface coordinates; integers are pixel centres. Must be finite. Both ends are included. `area` is
  /// the clip, or some rows of it.
  LineWalk(point2d const& a, point2d const& b, xrect2d const& clip, xrect2d const& area) noexcept;

  /// False for a line of no length, or whose bounding box is outside the clip.
  bool IsVisible() const noexcept { return visible; }
  /// Whether it steps along y.
  bool IsSteep() const noexcept { return steep; }

  /// How far ahead to fetch, given the distance between rows: a steep line enters a new row with each step.
  ptrdiff_t Ahead(ptrdiff_t stride) const noexcept { return steep ? stride * direction * 8 : 0; }

  // The steps are divided into those before the area, those to walk, and those after it. The counts of
  // skipped steps are modulo 2^32.
  unsigned StepsBefore() const noexcept { return before; }
  int StepsToWalk() const noexcept { return walked; }
  unsigned StepsInAll() const noexcept { return all; }

  /// Calls plot(x, y, coverage) for the pixels of the i-th step to walk that are inside the area.
  template <class Plot>
  void Step(int i, Plot plot) const noexcept {
    int const along = first + direction * i;
    double const across = offset + (along - origin) * slope;
    if (!(across >= acrossLow - 1.0 && across < acrossHigh)) return;
    int pixel = static_cast<int>(across);
    pixel -= pixel > across;
    int const share = static_cast<int>((across - pixel) * 255 + 0.5);
    Plot2(along, pixel, 255 - share, plot);
    Plot2(along, pixel + 1, share, plot);
  }

 private:
  template <class Plot>
  void Plot2(int along, int across, int coverage, Plot plot) const noexcept {
    if (coverage == 0 || across < acrossLow || across >= acrossHigh) return;
    plot(steep ? across : along, steep ? along : across, static_cast<unsigned char>(coverage));
  }

  bool visible = false;
  bool steep = false;  // the longer axis is y
  int direction = 1;   // of the steps: along the axis or, -1, against it
  int first = 0;       // the position of the first step to walk
  int walked = 0;
  unsigned before = 0, all = 0;
  double origin = 0, offset = 0, slope = 0;  // across = offset + (along - origin) slope
  int acrossLow = 0, acrossHigh = 0;         // of the area
};

/// The first or last step of a line, at a joint where it belongs to another line.
struct JointStep {
  bool isShared = false;
  bool isPlotted = false;  // plotted here as well, if the pattern has `step`
  unsigned step = 0;
};

/// Walks a line, and advances the pattern by those of its steps that are not shared.
template <class Plot>
void WalkLine(LineWalk const& line, LinePattern& pattern, JointStep const& start, JointStep const& end,
              Plot plot) noexcept {
  unsigned const all = line.StepsInAll(), shared = start.isShared + end.isShared;
  unsigned const firstStep = pattern.phase + (start.isShared ? 0 : 1);
  for (int i = 0; i < line.StepsToWalk(); ++i) {
    unsigned const at = line.StepsBefore() + static_cast<unsigned>(i);
    bool const isStart = at == 0 && start.isShared, isEnd = at + 1 == all && end.isShared;
    JointStep const& joint = isStart ? start : end;
    if ((isStart || isEnd) && !joint.isPlotted) continue;
    if (pattern.Has(isStart || isEnd ? joint.step : firstStep + at)) line.Step(i, plot);
  }
  pattern.MoveOn(all > shared ? all - shared : 0);
}

}  // namespace yk::raster
