// Arrays whose elements are found by a hash: the lists of the registry, and the undo history.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/values/array.h>

#include <new>

#include "core/error_p.h"
#include "core/hash_table_p.h"

namespace yk {

/// An array whose elements are added and removed by the functions here only.
class IndexedArray final : public Destroys<IndexedArray, Array> {
 public:
  /// The array behind a reference that is known to be to one of these.
  static IndexedArray& Of(Ref<Array> const& array) noexcept { return static_cast<IndexedArray&>(*array); }

  static IndexedArray* Create() noexcept { return Made(new (std::nothrow) IndexedArray, "Array::Create"); }

  /// \return false without memory, with nothing changed
  bool Append(uint32_t hash, void* element) noexcept {
    int const before = Count();
    if (!index.Reserve() || Add(element) != before) return false;
    return index.Add(hash, element);
  }

  /// \return false when the array does not hold it
  bool Take(uint32_t hash, void* element) noexcept {
    int const at = Find(element);
    return at >= 0 && TakeAt(hash, at);
  }
  bool TakeAt(uint32_t hash, int at) noexcept {
    index.Remove(hash, At(at));
    return AtDelete(at);
  }

  /// The first element with this hash for which `matches(element)` is true, or null.
  template <class Matches>
  void* Seek(uint32_t hash, Matches matches) const noexcept {
    return index.Find(hash, matches);
  }

 private:
  friend Destroys;

  IndexedArray() noexcept : Destroys(0) {}
  ~IndexedArray() = default;

  HashTable index;
};

}  // namespace yk
