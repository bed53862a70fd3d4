// Where an object is in the table of those that a writer has written.
#pragma once

#include <qecore/values/array.h>

#include "core/hash_table_p.h"

namespace yk {

/// Objects are compared by address and never called. Null is one of them.
class ReferenceIndex {
 public:
  /// The object's index in the table. -1: it is not there.
  int Find(Unknown const* object, Array& objects) const noexcept {
    return numbers.Find(Hash(object), [&](int number) { return objects.At(number - 1) == object; }) - 1;
  }

  /// Adds an object that is not there. False, with the index as it was: there is no memory.
  bool Add(Unknown const* object, int index) noexcept { return numbers.Add(Hash(object), index + 1); }

 private:
  static uint32_t Hash(Unknown const* object) noexcept {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(object) * uint64_t{0x9E3779B97F4A7C15} >> 32);
  }

  HashTable<int> numbers;  // index + 1
};

}  // namespace yk
