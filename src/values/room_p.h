// How much the containers allocate: more than their capacity, once they are large.
#pragma once

#include <stddef.h>

#include <bit>

namespace yk {

/// Capacities, in items, up to which a block has exactly the size that the capacity states.
constexpr size_t EXACT_ROOM = 1000;

/// The number of items allocated for a capacity. The capacities of a container grow in small steps, which
/// programs may read; the blocks of large ones double, so that the cost of appending does not depend on their
/// number.
constexpr size_t RoomFor(size_t capacity) noexcept {
  return capacity <= EXACT_ROOM ? capacity : std::bit_ceil(capacity);
}

}  // namespace yk
