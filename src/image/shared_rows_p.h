// Whole images, processed by several threads.
#pragma once

#include <qecore/image/image.h>

#include <memory>
#include <new>

#include "core/parallel_p.h"
#include "core/progress_p.h"
#include "rows_p.h"

namespace yk::img {

/// The bytes of all rows; 0 without pixels.
inline uint64_t SizeOf(Image2d const& image) noexcept {
  return image.bits && image.stride > 0
             ? static_cast<uint64_t>(image.stride) * static_cast<uint64_t>(image.height)
             : 0;
}

/// The rows of an image. GetLine is a slot, which a host may have replaced: for other threads the calling one
/// asks for all addresses first.
class RowTable {
 public:
  explicit RowTable(Image2d& of) noexcept : image(of) {}

  /// Allows access from other threads. \return false without memory
  bool Fill() noexcept {
    std::unique_ptr<uint8_t*[]> rows(new (std::nothrow) uint8_t*[static_cast<size_t>(image.height)]);
    if (!rows) return false;
    for (int y = 0; y < image.height; ++y) rows[static_cast<size_t>(y)] = image.GetLine(y);
    known = std::move(rows);
    return true;
  }

  uint8_t* operator[](int y) const noexcept {
    return known ? known[static_cast<size_t>(y)] : image.GetLine(y);
  }

 private:
  Image2d& image;
  std::unique_ptr<uint8_t*[]> known;
};

/// The number of threads for work on the rows of these tables that is worth `bytes` of copying; see
/// ThreadsFor. They may be accessed from that many.
template <class... Tables>
unsigned ThreadsForRows(uint64_t bytes, Tables&... tables) noexcept {
  unsigned const threads = ThreadsFor(bytes);
  return threads > 1 && (tables.Fill() && ...) ? threads : 1;
}

/// Calls doBand(first, end, thread) for bands of rows, in memory order as far as there is an order, and
/// reports the rows that are done. See ShareParts.
template <class DoBand>
void ShareRows(int rows, unsigned threads, ProgressMeter& meter, DoBand doBand) noexcept {
  Bands const bands(rows, threads);
  auto const band = [&](unsigned part, unsigned thread) {
    auto const [first, end] = bands[bands.Count() - 1 - part];
    doBand(first, end, thread);
  };
  auto const proceed = [&](unsigned done) {
    return meter.Reach(uint64_t{static_cast<unsigned>(rows)} * done / bands.Count());
  };
  if (meter.Reach(0)) ShareParts(bands.Count(), threads, band, proceed);
}

/// The same, row by row, without progress: doRow(y) for work that is worth `bytes` of copying.
template <class DoRow, class... Tables>
void ShareEachRow(int rows, uint64_t bytes, DoRow doRow, Tables&... tables) noexcept {
  ProgressMeter silent(nullptr, "", 0, ProgressMeter::Unit::ROWS);
  ShareRows(rows, ThreadsForRows(bytes, tables...), silent, [&](int first, int end, unsigned) {
    for (int y : RowsInMemory(first, end)) doRow(y);
  });
}

}  // namespace yk::img
