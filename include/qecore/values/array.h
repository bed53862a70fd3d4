// Growable arrays: pointers, pointers kept in order, and records by value.
//
//   Ref<Array> shapes = Ref<Array>::Adopt(Array::CreateEx(Array::ReleasesObjects()));
//   shapes->Add(shape);                                   // the array now owns this reference
//
//   Ref<SortedArray> names = Ref<SortedArray>::Adopt(SortedArray::Create(ByName, nullptr));
//   int const at = names->Find(L"sunset");                // -1: not there
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
// Indices and counts are signed 32-bit; -1 is "not found"; no array grows beyond 0xFFFFFF elements (what
// DataArray::Allocate makes at once has no such limit).
// Failure: an index out of range is the caller's fault and is reported by qe_Error, a message box, unless
// an operation says otherwise; the operation then answers false or null and changes nothing. So it does,
// silently, when there is no memory. One thread at a time. Deleters may call the array that calls them, and
// release it. Comparisons may look at it and release it, but not change it: the order is then anybody's
// guess.
#pragma once

#include <qecore/core/implements.h>

namespace yk {

/// Pointers. The array frees what they point to only through its deleter, and only in the operations named
/// Free and when it is destroyed.
class YK_API Array : public Implements<Array, Unknown> {
 public:
  using Deleter = void (*)(void* element);
  /// Negative, zero or positive as `element` sorts before, with or behind `key`.
  using Comparison = int (*)(void const* element, void const* key, void const* context);

  static constexpr int MAX_COUNT = 0xFFFFFF;

  static Guid const& Id() noexcept { return ids::ARRAY; }

  /// The two special deleters: one releases Unknown objects, one deletes heap Strings (made by the library).
  static Deleter ReleasesObjects() noexcept { return reinterpret_cast<Deleter>(intptr_t{-1}); }
  static Deleter DeletesStrings() noexcept { return reinterpret_cast<Deleter>(intptr_t{-2}); }

  /// An empty array, or null. A step of 0 means 40.
  static Array* Create(int step) noexcept;
  static Array* CreateEx(Deleter deleter) noexcept;

  int Count() const noexcept { return count; }
  /// The first index of this pointer, or -1.
  int Find(void const* element) noexcept { return FindItem(element); }

  /// The element, or null with a report.
  virtual void* At(int index) noexcept;
  virtual bool AtDelete(int index) noexcept;
  /// 0 to count.
  virtual bool AtInsert(int index, void* element) noexcept;
  virtual bool AtPut(int index, void* element) noexcept;
  /// AtDelete of the first index; an element that is not there makes AtDelete report the index -1.
  virtual bool Remove(void* element) noexcept;
  /// Forgets the elements.
  virtual void Reset() noexcept;
  virtual int FindItem(void const* element) noexcept;
  /// Appends. \return the last index, also when the insertion failed
  virtual int Add(void* element) noexcept;
  /// Exchanges two elements. The check is one-sided on purpose: true as soon as one index is in range. The
  /// other may lie behind the last element: in the room that the array has, it is exchanged all the same
  /// (there stands null, or what was there when the array was longer); beyond, nothing is exchanged.
  virtual bool Swap(int first, int second) noexcept;
  /// Frees every element and forgets them; the room stays.
  virtual void FreeAll() noexcept;
  virtual bool FreeAt(int index) noexcept;
  /// Frees the element, in the array or not, and removes it.
  virtual bool FreeItem(void* element) noexcept;
  /// Quicksort, not stable. False when there are fewer than two elements.
  virtual bool Sort(Comparison compare, void const* context) noexcept;
  /// The same from `first` to `last`, both included. False, and no report, unless 0 <= first < last < count.
  virtual bool SortRange(int first, int last, Comparison compare, void const* context) noexcept;
  /// Null frees nothing. \return true
  virtual bool SetDeleter(Deleter deleter) noexcept;

 protected:
  friend Destroys;

  explicit Array(int step) noexcept;
  ~Array();

 private:
  bool Has(int index) const noexcept { return index >= 0 && index < count; }
  bool Grow() noexcept;

  Deleter deleter = nullptr;
  int count = 0;
  void** elements = nullptr;
  int step;
  int capacity = 0;
};

/// An Array that its comparison keeps in order. AtInsert and AtPut are inherited and can break the order:
/// that is the caller's care.
class YK_API SortedArray : public Implements<SortedArray, Array> {
 public:
  static Guid const& Id() noexcept { return ids::SORTED_ARRAY; }

  static SortedArray* Create(Comparison compare, void const* context) noexcept;

  /// Whether Add takes a key that is there already; at first it does not. An equal element goes before those
  /// that are there.
  void SetDuplicates(bool allowed) noexcept { duplicates = allowed ? 1 : 0; }

  /// The index of an element that equals the key, or -1.
  int Find(void const* key) noexcept { return FindKey(key); }

  /// Inserts in order. \return the index; -1 when an equal element is there and duplicates are not allowed
  int Add(void* element) noexcept override;
  virtual int FindKey(void const* key) noexcept;
  /// Binary search. `*position` is where the key is, or belongs: with duplicates the first element that is
  /// not less. \return whether it is there
  virtual bool Search(void const* key, int* position) noexcept;
  /// Does not sort what is there. \return true
  virtual bool SetCompare(Comparison compare, void const* context) noexcept;

 private:
  friend Destroys;

  SortedArray() noexcept;
  ~SortedArray() = default;

  Comparison compare = nullptr;
  void const* context = nullptr;
  int duplicates = 0;
};

/// Records of one size, by value, in a block from yk_realloc. Pointers to records die with the next
/// insertion.
class YK_API DataArray : public Implements<DataArray, Unknown> {
 public:
  using Deleter = void (*)(void* record);

  static Guid const& Id() noexcept { return ids::DATA_ARRAY; }

  static DataArray* Create() noexcept;

  int Count() const noexcept { return count; }

  /// Sets the size in bytes of a record, and what is called before one goes. YK_E_EMPTY: a buffer exists.
  virtual HRESULT SetRecord(unsigned size, Deleter deleter) noexcept;
  /// The record, or null, without a report.
  virtual void* At(int index) noexcept;
  /// Calls the deleter and removes the record, which the deleter finds behind the last one.
  virtual bool AtFree(int index) noexcept;
  /// Calls the deleter on every record and frees the buffer.
  virtual void FreeAll() noexcept;
  /// A new record of zeros at 0 to count, or null. Null without a report while the record size is 0.
  virtual void* AtInsert(int index) noexcept;
  /// Makes `records` records whose bytes are not initialised. YK_E_EMPTY: there are records, or the record
  /// size is 0. E_INVALIDARG: a negative number.
  virtual HRESULT Allocate(int records) noexcept;

 private:
  friend Destroys;

  DataArray() noexcept = default;
  ~DataArray();

  unsigned char* Record(int index) const noexcept;
  void MoveToEnd(int index) noexcept;
  bool Resize(int records) noexcept;

  unsigned char* buffer = nullptr;
  int step = 10;
  int capacity = 0;
  Deleter deleter = nullptr;
  unsigned recordSize = 0;
  int count = 0;
};

static_assert(sizeof(Array) == 48 && sizeof(SortedArray) == 72 && sizeof(DataArray) == 48);

}  // namespace yk
