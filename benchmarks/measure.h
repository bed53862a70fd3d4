// The clock, and the measuring of works that take turns.
#pragma once

#include "bench.h"

namespace bench {

/// How much is measured.
struct Effort {
  int fewest = 5, most = 25;  ///< samples of each work
  double seconds = 0.3;       ///< of each work, about
  size_t leftOut = 0;         ///< sizes of a growth row, from the largest down
};

enum class Clock {
  PROCESSOR,  ///< of all threads of this process
  WALL,
};

/// Nanoseconds.
double Now(Clock clock);

/// The nanoseconds of one call of each work: the least of several samples of at least a millisecond, between
/// which the works take turns.
std::vector<double> Measure(std::vector<Work> const& works, Effort const& effort, Clock clock);

}  // namespace bench
