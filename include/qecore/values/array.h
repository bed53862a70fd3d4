// Growable arrays: pointers, pointers kept in order, and records by value.
//
//   Ref<Array> shapes = Ref<Array>::Adopt(Array::CreateEx(Array::ReleasesObjects()));
//   shapes->Add(shape);                                   // the array now owns this reference
//
//   for (Shape* each : shapes->Each<Shape>()) each->Draw();
//
//   Ref<SortedArray> names = Ref<SortedArray>::Adopt(SortedArray::Create(ByName, nullptr));
//   int const at = names->Find(L"sunset");                // -1: not found
//
//   slot     8 At         13 Reset       18 FreeAt        23 FindKey      (SortedArray)
//            9 AtDelete   14 FindItem    19 FreeItem      24 Search
//           10 AtInsert   15 Add         20 Sort          25 SetCompare
//           11 AtPut      16 Swap        21 SortRange
//           12 Remove     17 FreeAll     22 SetDeleter
//
//   slot     8 SetRecord   10 AtFree    12 AtInsert       (DataArray)
//            9 At          11 FreeAll   13 Allocate
//
// Indices and counts are signed 32-bit; -1 means "not found". No array grows beyond 0xFFFFFF elements; only
// DataArray::Allocate, which allocates its records at once, is exempt.
// Failure: the operation returns false or null and changes nothing, and LastError() says why (error.h). An
// index out of range is a programming error, which is also reported by qe_Error, in a message box, unless an
// operation states otherwise. One thread at a time. A deleter may call the array that calls it, and release
// it. A comparison may read the array and release it, but must not change it: the order is then unspecified.
#pragma once

#include <qecore/core/implements.h>
#include <qecore/core/sequence.h>

namespace yk {

/// Pointers. The array frees what they point to only through its deleter, and only in the operations named
/// Free and in its destructor.
class Array : public Implements<Array, Unknown> {
 public:
  /// Frees what an element points to.
  using Deleter = void (*)(void* element);
  /// Negative, zero or positive as `element` sorts before, equal to or after `key`.
  using Comparison = int (*)(void const* element, void const* key, void const* context);

  /// The number of elements at which an array stops growing.
  YK_API_INLINE static constexpr int MAX_COUNT = 0xFFFFFF;

  static Guid const& Id() noexcept { return ids::ARRAY; }

  /// The two special deleters: one releases Unknown objects, one deletes heap Strings (made by the library).
  static Deleter ReleasesObjects() noexcept { return reinterpret_cast<Deleter>(intptr_t{-1}); }
  static Deleter DeletesStrings() noexcept { return reinterpret_cast<Deleter>(intptr_t{-2}); }

  /// An empty array, or null. A step of 0 means 40.
  YK_API static Array* Create(int step) noexcept;
  YK_API static Array* CreateEx(Deleter deleter) noexcept;

  /// The number of elements.
  int Count() const noexcept { return count; }
  /// The index of the first occurrence of this pointer, or -1.
  int Find(void const* element) noexcept { return FindItem(element); }

  /// The elements in their order, borrowed until the array changes.
  void* const* begin() const noexcept { return elements; }
  void* const* end() const noexcept { return elements + count; }
  /// The same as pointers to what they point to, which is up to the caller.
  template <class T>
  Sequence<T* const> Each() const noexcept {
    return {reinterpret_cast<T* const*>(elements), static_cast<size_t>(count)};
  }

  /// The element; null, with a report, out of range.
  YK_API virtual void* At(int index) noexcept;
  YK_API virtual bool AtDelete(int index) noexcept;
  /// Inserts before `index`, which is 0 to count.
  YK_API virtual bool AtInsert(int index, void* element) noexcept;
  YK_API virtual bool AtPut(int index, void* element) noexcept;
  /// AtDelete of the first occurrence. An element that is not found makes AtDelete report the index -1.
  YK_API virtual bool Remove(void* element) noexcept;
  /// Removes all elements without freeing them.
  YK_API virtual void Reset() noexcept;
  YK_API virtual int FindItem(void const* element) noexcept;
  /// Appends. \return the last index, even when the insertion failed (contract)
  YK_API virtual int Add(void* element) noexcept;
  /// Exchanges two elements. Contract: only one index has to be in range for the result to be true. When the
  /// other one is past the last element but within the capacity, the exchange takes place (that slot holds
  /// null, or its value from when the array was longer); beyond the capacity nothing is exchanged.
  YK_API virtual bool Swap(int first, int second) noexcept;
  /// Frees every element and removes them all; the capacity stays.
  YK_API virtual void FreeAll() noexcept;
  YK_API virtual bool FreeAt(int index) noexcept;
  /// Frees the element, whether or not the array holds it, and removes it.
  YK_API virtual bool FreeItem(void* element) noexcept;
  /// Quicksort, not stable. False when there are fewer than two elements.
  YK_API virtual bool Sort(Comparison compare, void const* context) noexcept;
  /// The same for `first` to `last`, both inclusive. False, without a report, unless
  /// 0 <= first < last < count.
  YK_API virtual bool SortRange(int first, int last, Comparison compare, void const* context) noexcept;
  /// With null, nothing is freed. \return true
  YK_API virtual bool SetDeleter(Deleter deleter) noexcept;

 protected:
  friend Destroys;

  static constexpr int DEFAULT_STEP = 40;  ///< of the capacity, when none is given

  /// Of a derived class: an empty array that grows in this step.
  YK_API_INLINE explicit Array(int growBy) noexcept : step(growBy > 0 ? growBy : DEFAULT_STEP) {}
  YK_API ~Array();

 private:
  bool Has(int index) const noexcept { return index >= 0 && index < count; }
  bool Grow() noexcept;
  bool Move(size_t room) noexcept;

  Deleter deleter = nullptr;
  int count = 0;
  void** elements = nullptr;  // room for `capacity` elements, and more in a large array
  int step;
  int capacity = 0;
};

/// An Array that keeps its elements in the order of its comparison. The inherited AtInsert and AtPut can
/// break this order; avoiding that is up to the caller.
class SortedArray : public Implements<SortedArray, Array> {
 public:
  static Guid const& Id() noexcept { return ids::SORTED_ARRAY; }

  /// An empty array, or null. `context` is passed to every comparison.
  YK_API static SortedArray* Create(Comparison compare, void const* context) noexcept;

  /// Whether Add accepts a key that is already present; by default it does not. A duplicate is inserted
  /// before its equals.
  void SetDuplicates(bool allowed) noexcept { duplicates = allowed ? 1 : 0; }

  /// The index of an element that equals the key, or -1.
  int Find(void const* key) noexcept { return FindKey(key); }

  /// Inserts in order. \return the index; -1 when an equal element is present and duplicates are not allowed
  YK_API int Add(void* element) noexcept override;
  YK_API virtual int FindKey(void const* key) noexcept;
  /// Binary search. `*position` receives the index of the key, or where to insert it: with duplicates, the
  /// first element that is not less. \return whether the key was found
  YK_API virtual bool Search(void const* key, int* position) noexcept;
  /// Does not re-sort the elements. \return true
  YK_API virtual bool SetCompare(Comparison compare, void const* context) noexcept;

 private:
  friend Destroys;

  SortedArray() noexcept;
  ~SortedArray() = default;

  Comparison compare = nullptr;
  void const* context = nullptr;
  int duplicates = 0;
};

/// Fixed-size records, stored by value in a block from yk_new. Pointers to records are invalidated by the
/// next insertion.
class DataArray : public Implements<DataArray, Unknown> {
 public:
  /// Called on a record before it is removed.
  using Deleter = void (*)(void* record);

  static Guid const& Id() noexcept { return ids::DATA_ARRAY; }

  /// An empty array, or null; SetRecord comes next.
  YK_API static DataArray* Create() noexcept;

  /// The number of elements.
  int Count() const noexcept { return count; }

  /// The records, borrowed until the array changes; none if their size is not that of `T`.
  template <class T>
  Sequence<T> Each() const noexcept {
    return {reinterpret_cast<T*>(buffer), recordSize == sizeof(T) ? static_cast<size_t>(count) : 0};
  }

  /// Sets the record size in bytes and the function called on each record before it is removed. YK_E_EMPTY:
  /// a buffer exists already.
  YK_API virtual HRESULT SetRecord(unsigned size, Deleter deleter) noexcept;
  /// The record; null, without a report, out of range.
  YK_API virtual void* At(int index) noexcept;
  /// Moves the record past the last one, calls the deleter on it there, and removes it.
  YK_API virtual bool AtFree(int index) noexcept;
  /// Calls the deleter on every record and frees the buffer.
  YK_API virtual void FreeAll() noexcept;
  /// Inserts a zeroed record at `index`, 0 to count, and returns it, or null. Null, without a report, while
  /// the record size is 0.
  YK_API virtual void* AtInsert(int index) noexcept;
  /// Makes `records` uninitialised records. YK_E_EMPTY: the array is not empty, or the record size is 0.
  /// E_INVALIDARG: a negative number.
  YK_API virtual HRESULT Allocate(int records) noexcept;

 private:
  friend Destroys;

  DataArray() noexcept = default;
  ~DataArray();

  unsigned char* Record(int index) const noexcept;
  void MoveToEnd(int index) noexcept;
  bool Grow() noexcept;
  bool Resize(int records, size_t wanted) noexcept;

  unsigned room = 0;  // records that the buffer has room for, at least `capacity`
  unsigned char* buffer = nullptr;
  int step = 10;
  int capacity = 0;
  Deleter deleter = nullptr;
  unsigned recordSize = 0;
  int count = 0;
};

static_assert(sizeof(Array) == 48 && sizeof(SortedArray) == 72 && sizeof(DataArray) == 48);

}  // namespace yk
