// yk::Sequence: a borrowed run of objects in memory, for loops, algorithms and std::span.
//
//   for (Shape* shape : shapes->Each<Shape>()) shape->Draw();
//   std::span<Corner const> const corners = records->Each<Corner>();
//
// The objects belong to somebody else, who keeps them where they are as long as the sequence is used. Nothing
// is checked and nothing fails.
#pragma once

#include <stddef.h>

namespace yk {

template <class T>
class Sequence {
 public:
  constexpr Sequence() noexcept = default;
  /// `count` objects from `first` on, which may be null when there are none.
  constexpr Sequence(T* start, size_t number) noexcept : first(start), count(number) {}

  constexpr T* begin() const noexcept { return first; }        ///< the first object
  constexpr T* end() const noexcept { return first + count; }  ///< past the last one
  // NOLINTBEGIN(readability-identifier-naming): the names of the standard library's ranges
  constexpr T* data() const noexcept { return first; }          ///< the first object, as std::span calls it
  constexpr size_t size() const noexcept { return count; }      ///< the number of objects
  constexpr bool empty() const noexcept { return count == 0; }  ///< whether there is no object
  // NOLINTEND(readability-identifier-naming)
  /// The object with this index, which is not checked.
  constexpr T& operator[](size_t index) const noexcept { return first[index]; }

 private:
  T* first = nullptr;
  size_t count = 0;
};

}  // namespace yk
