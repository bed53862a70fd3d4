// How the pixels of one axis are weighted when their number changes.
//
//   3 pixels to 2   |  0  |  1  |  2  |      0 -> 0: 2/3   1 -> 0: 1/3
//                   |   0    |    1   |      1 -> 1: 1/3   2 -> 1: 2/3
#pragma once

#include <math.h>
#include <stddef.h>
#include <stdint.h>

namespace yk::img {

/// A source pixel that covers a part of a target pixel.
struct Overlap {
  int source;
  int target;
  float weight;  ///< the covered fraction of the target pixel; the weights of each target pixel sum to 1
};

/// The overlaps of a target pixel: its adjacent source pixels, and where their weights are in a list of all.
struct Run {
  int32_t first;
  int32_t count;
  size_t weights;
};

/// Enumerates, from left to right, the overlaps of `sources` and `targets` pixels that span the same length.
/// There are at most sources + targets - 1, and at least one for each target pixel.
class OverlapWalk {
 public:
  OverlapWalk(int sources, int targets) noexcept : n(sources), m(targets) {}

  /// False when there are no more.
  bool Next(Overlap& overlap) noexcept {
    if (source >= n || target >= m) return false;
    double const sourceEnd = (source + 1.0) / n;
    double const targetEnd = (target + 1.0) / m;
    overlap = {source, target, 0};
    if (targetEnd > sourceEnd) {
      double whole;
      double const covered = modf(sourceEnd / (1.0 / m), &whole);
      overlap.weight = static_cast<float>(covered - carry);
      carry = covered;
      ++source;
    } else {
      overlap.weight = static_cast<float>(1.0 - carry);
      carry = 0.0;
      if (sourceEnd == targetEnd) ++source;
      ++target;
    }
    return true;
  }

 private:
  int n;
  int m;
  int source = 0;
  int target = 0;
  double carry = 0.0;  // the fraction of the current target pixel covered so far
};

}  // namespace yk::img
