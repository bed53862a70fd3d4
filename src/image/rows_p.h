// The order in which whole images are processed.
#pragma once

namespace yk::img {

/// The rows `first` to `end` - 1 in the order in which they are stored, which is bottom-up: a loop that walks
/// them top-down reads and writes memory backwards, and takes up to twice as long. For every operation whose
/// rows do not depend on each other.
///
///   for (int y : RowsInMemory(0, image.height)) Process(image.GetLine(y));
class RowsInMemory {
 public:
  class Iterator {
   public:
    explicit Iterator(int row) noexcept : y(row) {}
    int operator*() const noexcept { return y; }
    Iterator& operator++() noexcept { return --y, *this; }
    bool operator!=(Iterator const& other) const noexcept { return y != other.y; }

   private:
    int y;
  };

  RowsInMemory(int firstRow, int endRow) noexcept : first(firstRow), limit(endRow > first ? endRow : first) {}

  Iterator begin() const noexcept { return Iterator(limit - 1); }
  Iterator end() const noexcept { return Iterator(first - 1); }

 private:
  int first;
  int limit;
};

}  // namespace yk::img
