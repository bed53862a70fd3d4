#include <qecore/values/array.h>

#include <qecore/core/diagnostics.h>
#include <qecore/core/memory.h>
#include <qecore/core/ref.h>
#include <qecore/values/string.h>
#include <string.h>

#include <algorithm>
#include <new>

#include "array_p.h"
#include "core/dying_p.h"
#include "core/error_p.h"
#include "room_p.h"

namespace yk {

namespace {

// An array that is already large grows in larger steps.
struct StepRule {
  int aboveCapacity;
  int leastStep;
};
constexpr StepRule STEP_RULES[] = {{16384, 8192}, {2048, 1024}, {512, 256}};

int StepFor(int capacity, int step) noexcept {
  for (StepRule const& rule : STEP_RULES) {
    if (capacity > rule.aboveCapacity) return step > rule.leastStep ? step : rule.leastStep;
  }
  return step;
}

// The capacity after growing; the same as before once the array has its maximum size.
int GrownCapacity(int capacity, int step) noexcept {
  return step < Array::MAX_COUNT - capacity ? capacity + step : Array::MAX_COUNT;
}

// Programming errors: reported in the texts that hosts know, and recorded. \return false, for the caller to
// return

bool RefuseIndex(char const* operation, char const* report, int index, int count) noexcept {
  qe_Error(report, index, count);
  Fail(E_INVALIDARG, operation, L"the index %d is out of range for %d elements", index, count);
  return false;
}

bool RefuseGrowth(char const* operation) noexcept {
  qe_Error("Array::ATInsert overflow");
  return FailFull(operation);
}

void ReleaseObject(void* element) noexcept { Ref<Unknown>::Adopt(static_cast<Unknown*>(element)).Reset(); }

void DeleteString(void* element) noexcept { delete static_cast<String*>(element); }

// Quicksort with the middle element as pivot. Contract: the order of equal elements follows from exactly
// these steps. The order in which the parts are sorted does not affect the result, so the shorter one
// recurses, which bounds the depth. The scans are bounded in case a comparison contradicts itself; otherwise
// they stop at the pivot. The block is re-read each time, since a comparison that inserts elements moves it.
void QuickSort(void** const& a, int lo, int hi, Array::Comparison compare, void const* context) noexcept {
  while (lo < hi) {
    void const* const pivot = a[(lo + hi) / 2];
    int i = lo;
    int j = hi;
    while (i <= j) {
      for (; compare(a[i], pivot, context) < 0; ++i) {
        if (i == hi) break;
      }
      for (; compare(a[j], pivot, context) > 0; --j) {
        if (j == lo) break;
      }
      if (i > j) break;
      void* const element = a[i];
      a[i++] = a[j];
      a[j--] = element;
    }
    bool const leftIsShorter = j - lo < hi - i;
    if (leftIsShorter) {
      QuickSort(a, lo, j, compare, context);
      lo = i;
    } else {
      QuickSort(a, i, hi, compare, context);
      hi = j;
    }
  }
}

}  // namespace

// ---- Array

// The destruction of an element may call back into the array: its count must not fall to zero a second time.
Array::~Array() {
  HoldWhileDying(*this);
  Array::FreeAll();
  ::operator delete(static_cast<void*>(elements));
}

Array* Array::Create(int step) noexcept { return Made(new (std::nothrow) Array(step), "Array::Create"); }

Array* Array::CreateEx(Deleter deleter) noexcept {
  Array* const array = Create(DEFAULT_STEP);
  if (array) array->SetDeleter(deleter);
  return array;
}

void* Array::At(int index) noexcept {
  if (Has(index)) return elements[index];
  RefuseIndex("Array::At", "Array::At(%d) is out of range:%d", index, count);
  return nullptr;
}

bool Array::AtDelete(int index) noexcept {
  if (!Has(index))
    return RefuseIndex("Array::AtDelete", "Array::ATDelete(%d) is out of range:%d", index, count);
  --count;
  memmove(elements + index, elements + index + 1, static_cast<size_t>(count - index) * sizeof *elements);
  return true;
}

bool Array::AtInsert(int index, void* element) noexcept {
  if (index < 0 || index > count)
    return RefuseIndex("Array::AtInsert", "Array::AtInsert(%d) is out of range:%d", index, count);
  if (count == capacity && !Grow()) return false;
  if (index < count)
    memmove(elements + index + 1, elements + index, static_cast<size_t>(count - index) * sizeof *elements);
  elements[index] = element;
  ++count;
  return true;
}

bool Array::AtPut(int index, void* element) noexcept {
  if (!Has(index)) return RefuseIndex("Array::AtPut", "Array::AtPut(%d) is out of range:%d", index, count);
  elements[index] = element;
  return true;
}

bool Array::Remove(void* element) noexcept { return AtDelete(FindItem(element)); }

void Array::Reset() noexcept { count = 0; }

int Array::FindItem(void const* element) noexcept {
  for (int i = 0; i < count; ++i) {
    if (elements[i] == element) return i;
  }
  return -1;
}

int Array::Add(void* element) noexcept {
  AtInsert(count, element);
  return count - 1;
}

bool Array::Swap(int first, int second) noexcept {
  if (!Has(first) && !Has(second)) return false;
  bool const inBlock = first >= 0 && first < capacity && second >= 0 && second < capacity;
  if (!inBlock) return true;  // Contract: one index in range is enough
  void* const element = elements[first];
  elements[first] = elements[second];
  elements[second] = element;
  return true;
}

// Deleters and comparisons may call back into the array, and release its last reference.

// The elements are reversed, so that each can be removed from the end as soon as it is freed: elements that a
// deleter inserts, anywhere, are then freed as well, and none is freed twice.
void Array::FreeAll() noexcept {
  Ref<Array> const self = Ref<Array>::Share(this);
  if (deleter) std::reverse(elements, elements + count);
  while (deleter && count > 0) Array::FreeAt(count - 1);
  count = 0;
}

bool Array::FreeAt(int index) noexcept {
  if (!deleter || !Has(index)) return AtDelete(index);
  Ref<Array> const self = Ref<Array>::Share(this);
  void* const element = elements[index];
  deleter(element);
  bool const there = Has(index) && elements[index] == element;
  int const now = there ? index : FindItem(element);  // the deleter may have moved or removed it
  return now < 0 || AtDelete(now);
}

bool Array::FreeItem(void* element) noexcept {
  Ref<Array> const self = Ref<Array>::Share(this);
  if (deleter) deleter(element);
  return Remove(element);
}

bool Array::Sort(Comparison compare, void const* context) noexcept {
  return SortRange(0, count - 1, compare, context);
}

bool Array::SortRange(int first, int last, Comparison compare, void const* context) noexcept {
  if (!Has(first) || !Has(last) || first >= last || !compare) return false;
  Ref<Array> const self = Ref<Array>::Share(this);
  QuickSort(elements, first, last, compare, context);
  return true;
}

bool Array::SetDeleter(Deleter fn) noexcept {
  deleter = fn;
  if (fn == ReleasesObjects()) deleter = ReleaseObject;
  if (fn == DeletesStrings()) deleter = DeleteString;
  return true;
}

bool Array::Grow() noexcept {
  step = StepFor(capacity, step);
  int const grown = GrownCapacity(capacity, step);
  if (grown <= capacity) return RefuseGrowth("Array::AtInsert");
  size_t const room = RoomFor(static_cast<size_t>(grown));
  if (room != RoomFor(static_cast<size_t>(capacity)) && !Move(room)) return false;
  // Zeroed: Swap may access elements past the last one.
  memset(elements + capacity, 0, static_cast<size_t>(grown - capacity) * sizeof *elements);
  capacity = grown;
  return true;
}

bool Array::Move(size_t room) noexcept {
  size_t const bytes = room * sizeof *elements;
  void* const block = ::operator new(bytes, std::nothrow);
  if (!block) return FailMemory("Array::AtInsert", bytes), false;
  if (count > 0) memcpy(block, elements, static_cast<size_t>(count) * sizeof *elements);
  ::operator delete(static_cast<void*>(elements));
  elements = static_cast<void**>(block);
  return true;
}

// ---- SortedArray

SortedArray::SortedArray() noexcept : Implements(DEFAULT_STEP) {}

SortedArray* SortedArray::Create(Comparison compare, void const* context) noexcept {
  SortedArray* const array = Made(new (std::nothrow) SortedArray, "SortedArray::Create");
  if (array) array->SetCompare(compare, context);
  return array;
}

int SortedArray::Add(void* element) noexcept {
  Ref<SortedArray> const self = Ref<SortedArray>::Share(this);
  int position;
  if (Search(element, &position) && !duplicates) return -1;
  AtInsert(position, element);
  return position;
}

int SortedArray::FindKey(void const* key) noexcept {
  int position;
  return Search(key, &position) ? position : -1;
}

bool SortedArray::Search(void const* key, int* position) noexcept {
  Ref<SortedArray> const self = Ref<SortedArray>::Share(this);
  int lo = 0;
  int hi = Count() - 1;
  bool found = false;
  while (lo <= hi && compare) {
    int const middle = (lo + hi) / 2;
    if (middle >= Count()) break;  // the comparison removed elements
    int const order = compare(At(middle), key, context);
    if (order < 0) {
      lo = middle + 1;
      continue;
    }
    hi = middle - 1;
    if (order != 0) continue;
    found = true;
    if (!duplicates) lo = middle;  // found: ends the search
  }
  if (position) *position = lo < Count() ? lo : Count();
  return found;
}

bool SortedArray::SetCompare(Comparison order, void const* about) noexcept {
  compare = order;
  context = about;
  return true;
}

// ---- DataArray

DataArray::~DataArray() {
  HoldWhileDying(*this);  // as in Array
  DataArray::FreeAll();
}

DataArray* DataArray::Create() noexcept { return Made(new (std::nothrow) DataArray, "DataArray::Create"); }

HRESULT DataArray::SetRecord(unsigned size, Deleter fn) noexcept {
  if (buffer) return Fail(YK_E_EMPTY, "DataArray::SetRecord", L"there are records already");
  recordSize = size;
  deleter = fn;
  return S_OK;
}

void* DataArray::At(int index) noexcept { return index >= 0 && index < count ? Record(index) : nullptr; }

bool DataArray::AtFree(int index) noexcept {
  if (index < 0 || index >= count)
    return RefuseIndex("DataArray::AtFree", "DataArray::AtFree index[%d] out of range", index, count);
  Ref<DataArray> const self = Ref<DataArray>::Share(this);
  MoveToEnd(index);
  --count;
  if (deleter) deleter(Record(count));  // last, since the deleter may insert and remove
  return true;
}

// The block is detached from the array first. A deleter that inserts records makes another block, which is
// freed as well.
void DataArray::FreeAll() noexcept {
  Ref<DataArray> const self = Ref<DataArray>::Share(this);
  while (unsigned char* const block = buffer) {
    unsigned char* const end = Record(count);
    unsigned const size = recordSize;
    buffer = nullptr;
    count = 0;
    capacity = 0;
    room = 0;
    for (unsigned char* record = block; deleter && record < end; record += size) deleter(record);
    yk_delete(block);
  }
}

void* DataArray::AtInsert(int index) noexcept {
  if (index < 0 || index > count) {
    RefuseIndex("DataArray::AtInsert", "Array::ATInsert index[%d] out of range", index, count);
    return nullptr;
  }
  if (count == capacity && !Grow()) return nullptr;
  if (index < count)
    memmove(Record(index + 1), Record(index), static_cast<size_t>(count - index) * recordSize);
  ++count;
  return memset(Record(index), 0, recordSize);
}

HRESULT DataArray::Allocate(int records) noexcept {
  constexpr char OPERATION[] = "DataArray::Allocate";
  if (count != 0) return Fail(YK_E_EMPTY, OPERATION, L"there are records already");
  if (recordSize == 0) return Fail(YK_E_EMPTY, OPERATION, L"the records have no size");
  if (records < 0) return Fail(E_INVALIDARG, OPERATION, L"%d is not a valid number of records", records);
  if (records == 0) {
    FreeAll();
    return S_OK;
  }
  if (!Resize(records, static_cast<size_t>(records))) return E_OUTOFMEMORY;
  count = records;
  return S_OK;
}

unsigned char* DataArray::Record(int index) const noexcept {
  return buffer + static_cast<size_t>(index) * recordSize;
}

// In pieces, through a small buffer, so that it cannot run out of memory.
void DataArray::MoveToEnd(int index) noexcept {
  unsigned char piece[256];
  unsigned char* const record = Record(index);
  size_t const bytes = static_cast<size_t>(Record(count) - record);
  for (size_t left = recordSize; left > 0;) {
    size_t const taken = std::min(left, sizeof piece);
    memcpy(piece, record, taken);
    memmove(record, record + taken, bytes - taken);
    memcpy(record + (bytes - taken), piece, taken);
    left -= taken;
  }
}

bool DataArray::Grow() noexcept {
  int const grown = GrownCapacity(capacity, step);
  if (grown <= capacity) return RefuseGrowth("DataArray::AtInsert");
  if (static_cast<unsigned>(grown) > room) return Resize(grown, RoomFor(static_cast<size_t>(grown)));
  capacity = grown;
  return true;
}

bool DataArray::Resize(int records, size_t wanted) noexcept {
  if (recordSize == 0) {
    Fail(YK_E_EMPTY, "DataArray::AtInsert", L"the records have no size");
    return false;
  }
  void* const block = yk_new(wanted * recordSize);
  if (!block) return false;
  if (buffer) memcpy(block, buffer, static_cast<size_t>(count) * recordSize);
  yk_delete(buffer);
  buffer = static_cast<unsigned char*>(block);
  room = static_cast<unsigned>(wanted);
  capacity = records;
  return true;
}

}  // namespace yk
