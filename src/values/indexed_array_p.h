// Arrays whose elements are found by a hash: the lists of the registry, and the undo history.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/values/array.h>

#include <new>

#include "core/error_p.h"
#include "core/hash_table_p.h"

namespace yk {

/// An array whose elements are only appended and removed by the functions here. What is appended is indexed
/// when something is sought.
class IndexedArray final : public Destroys<IndexedArray, Array> {
 public:
  /// `key` is the array, so that the hashes of what a file contains may depend on it.
  using Hash = uint32_t (*)(void const* element, void const* key);

  static IndexedArray* Create(Hash hash) noexcept {
    return Made(new (std::nothrow) IndexedArray(hash), "Array::Create");
  }

  /// The array behind a reference that is known to be to one of these.
  static IndexedArray& Of(Ref<Array> const& array) noexcept { return static_cast<IndexedArray&>(*array); }

  /// \return false without memory
  bool Append(void* element) noexcept {
    int const before = Count();
    return Add(element) == before;
  }

  /// \return false when the array does not hold it
  bool Take(void* element) noexcept {
    int const at = Find(element);
    return at >= 0 && TakeAt(at);
  }
  bool TakeAt(int at) noexcept {
    if (at < indexed) {
      --indexed;
      index.Remove(hashOf(At(at), this), At(at));
    }
    return AtDelete(at);
  }

  /// The first element with this hash for which `matches(element)` is true, or null.
  template <class Matches>
  void* Seek(uint32_t hash, Matches matches) noexcept {
    while (indexed < Count() && index.Add(hashOf(At(indexed), this), At(indexed))) ++indexed;
    void* found = index.Find(hash, matches);
    // There was no memory to index the rest.
    for (int i = indexed; !found && i < Count(); ++i) {
      if (matches(At(i))) found = At(i);
    }
    return found;
  }

 private:
  friend Destroys;

  explicit IndexedArray(Hash hash) noexcept : Destroys(0), hashOf(hash) {}
  ~IndexedArray() = default;

  Hash hashOf;
  HashTable<void*> index;  // of the first elements
  int indexed = 0;
};

}  // namespace yk
