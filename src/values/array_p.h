// Arrays of objects: passing a reference to an array.
#pragma once

#include <qecore/core/error.h>
#include <qecore/core/ref.h>
#include <qecore/values/array.h>

namespace yk {

/// Records that an array is full. \return false, for the caller to return
inline bool FailFull(char const* operation) noexcept {
  Fail(E_OUTOFMEMORY, operation, L"no array has more than %d elements", Array::MAX_COUNT);
  return false;
}

/// Passes a reference to an array that releases its elements. False, with the reference released: there is no
/// memory, or the array is full.
inline bool AppendObject(Array& array, Ref<Unknown> object) noexcept {
  int const before = array.Count();
  if (before >= Array::MAX_COUNT) return FailFull("Array::Add");
  if (array.Add(object.get()) != before) return false;
  (void)object.Detach();
  return true;
}

}  // namespace yk
