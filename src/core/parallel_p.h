// Divides large work among the calling thread and a few of the library's own.
//
//   unsigned const threads = ThreadsFor(bytes);  // room for as many rows of sums
//   bool const whole = ShareParts(parts, threads,
//       [&](unsigned part, unsigned thread) { ... },  // on any thread, in any order, on several at once
//       [&](unsigned done) { return meter.Reach(done); });  // on the calling thread
//
// A part must not fail, allocate, call back or lock, since it may run on a thread that no host knows of.
#pragma once

#include <qecore/core/parallel.h>

#include <algorithm>

namespace yk {

/// More than these do not help: the memory, not the processors, then limits all work.
inline constexpr unsigned MOST_THREADS = 32;

/// The number of threads that are worth starting for work that takes as long as copying these bytes, read and
/// written together; 1 or more.
unsigned ThreadsFor(uint64_t bytes) noexcept;

/// Work in `count` parts. See ShareParts.
struct SharedWork {
  unsigned count;
  unsigned threads;
  void* context;
  void (*doPart)(void* context, unsigned part, unsigned thread) noexcept;
  bool (*proceed)(void* context, unsigned done) noexcept;
};

bool Share(SharedWork const& work) noexcept;

/// Calls doPart(part, thread) for each part below `count`, on up to `threads` threads, of which each has a
/// number below `threads` to itself until the return; proceed(done) on the calling thread, which is number 0,
/// whenever it has done a part. The parts may be done in any order: `done` is how many are. \return false
/// when proceed did; parts that had not begun are then left out
template <class DoPart, class Proceed>
bool ShareParts(unsigned count, unsigned threads, DoPart doPart, Proceed proceed) noexcept {
  struct Both {
    DoPart& doPart;
    Proceed& proceed;
  } both{doPart, proceed};
  return Share(
      {count, threads, &both,
       [](void* context, unsigned part, unsigned thread) noexcept {
         static_cast<Both*>(context)->doPart(part, thread);
       },
       [](void* context, unsigned done) noexcept { return static_cast<Both*>(context)->proceed(done); }});
}

/// Rows from `first` to before `last`.
struct Band {
  int first, last;
};

/// The bands into which the rows of an operation are divided: enough of them that threads end at nearly the
/// same time, and that a host is told of progress, but not so many that starting one costs anything.
class Bands {
 public:
  Bands(int rows, unsigned threads) noexcept
      : rowCount(rows), bandCount(std::min(static_cast<unsigned>(rows), threads > 1 ? 32 * threads : 100)) {}

  unsigned Count() const noexcept { return bandCount; }
  Band operator[](unsigned index) const noexcept { return {Start(index), Start(index + 1)}; }

 private:
  int Start(unsigned index) const noexcept {
    return static_cast<int>(int64_t{rowCount} * index / static_cast<int64_t>(bandCount));
  }

  int rowCount;
  unsigned bandCount;
};

/// Called when a System begins: threads may start from now on.
void AllowThreads() noexcept;
void EndThreads() noexcept;

}  // namespace yk
