// Values and containers: conversions and persistence of variants and maps; arrays compared with a simple
// model.
#include <qecore/draw/geometry.h>
#include <qecore/io/deserializer.h>
#include <qecore/io/mem_stream.h>
#include <qecore/io/serializer.h>
#include <qecore/values/array.h>
#include <qecore/values/map.h>
#include <qecore/values/string.h>

#include "target.h"

namespace fuzz {

using namespace yk;

// ---- variants

namespace {

struct Values {
  Variant variants[3];
  Ref<Map> map;
  Ref<Thing> thing;
};

template <class Value>
void InitPlain(Variant& v, Values&, Input& in) {
  v.Init(in.Take<Value>());
}

template <class Geometry>
void InitGeometry(Variant& v, Values&, Input& in) {
  Geometry geometry;
  for (uint8_t& byte : std::span(reinterpret_cast<uint8_t*>(&geometry), sizeof geometry)) byte = in.Byte();
  v.Init(geometry);
}

void InitBool(Variant& v, Values&, Input& in) { v.Init(in.Flag()); }
void InitObject(Variant& v, Values& values, Input& in) { v.Init(in.Flag() ? values.thing.get() : nullptr); }
void InitCopy(Variant& v, Values& values, Input& in) { v.Init(in.Pick(values.variants)); }
void InitString(Variant& v, Values&, Input& in) { v.Init(String(in.Wide(40).data())); }

void InitBlob(Variant& v, Values&, Input& in) {
  std::vector<char> const bytes = in.Narrow(40);
  v.Init(in.OneIn(8) ? nullptr : bytes.data(), static_cast<unsigned>(bytes.size()), false);
}

void InitNarrow(Variant& v, Values&, Input& in) {
  std::vector<char> const text = in.Narrow(40);
  v.Init(text.data(), in.Flag() ? Variant::KEEP_EMPTY : 0);
}

void InitWide(Variant& v, Values&, Input& in) {
  std::vector<wchar_t> const text = in.Wide(40);
  v.Init(text.data(), in.Flag() ? Variant::KEEP_EMPTY : 0);
}

// The argument of an Init may be the variant's own payload, or another's.
void InitFromPayload(Variant& v, Values& values, Input& in) {
  Variant& from = in.Flag() ? v : in.Pick(values.variants);
  void* data = nullptr;
  unsigned const size = from.GetDataPtr(&data);
  if (from.type == Variant::WIDE_STRING && data) v.Init(static_cast<wchar_t const*>(data));
  if (from.type == Variant::NARROW_STRING && data) v.Init(static_cast<char const*>(data));
  if (from.type == Variant::BLOB && data) v.Init(data, size, false);
}

void Clear(Variant& v, Values&, Input&) { v.Done(); }
void MakeTransient(Variant& v, Values&, Input&) { v.flags |= Variant::TRANSIENT; }

template <class... Kind>
void ConvertTo(Variant const& v) {
  (
      [&] {
        Kind out{};
        v.Get(out);
      }(),
      ...);
}

void Convert(Variant& v, Values& values, Input& in) {
  ConvertTo<int, unsigned, float, double, bool, unsigned char, unsigned short, point2d, String>(v);
  Variant& other = in.Pick(values.variants);
  v.Compare(other);
  if (&other != &v) {
    harness::Calm const calm;
    Variant borrower;  // its payload must not outlive the owner's
    v.Get(borrower);
    if (!(borrower.flags & Variant::BORROWED)) other.Init(borrower);
  }
  auto const narrow = std::make_unique<char[]>(5);
  auto const wide = std::make_unique<wchar_t[]>(3);
  v.Get(narrow.get(), 5);
  v.Get(wide.get(), 3);
  v.Get(static_cast<void*>(narrow.get()), 5);
}

void PutIntoMap(Variant& v, Values& values, Input& in) { values.map->SetValue(in.Below(40), v); }
void TakeFromMap(Variant& v, Values& values, Input& in) { values.map->GetValue(in.Below(40), v); }
void RemoveFromMap(Variant&, Values& values, Input& in) { values.map->Remove(in.Below(40)); }

void SaveAndLoad(Variant& v, Values& values, Input& in) {
  Ref<Stream> stream;
  Ref<Serializer> const writer = Ref<Serializer>::Adopt(Serializer::Create());
  if (!writer || Failed(MemStream::Create(stream.Receive())) ||
      Failed(writer->Open(stream.get(), chunk::RAW)))
    return;
  v.Save(writer.get(), nullptr);
  values.map->Save(writer.get(), nullptr);
  writer->Close();
  stream->Seek(0, Stream::FROM_START);
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  if (!reader || Failed(reader->Open(stream.get(), chunk::RAW))) return;
  Variant back;
  back.Load(reader.get(), nullptr);
  Variant& target = in.Pick(values.variants);
  if (target.type == Variant::EMPTY) target.Init(back);
}

using VariantStep = void (*)(Variant&, Values&, Input&);
constexpr VariantStep VARIANT_STEPS[] = {InitBool,
                                         InitPlain<short>,
                                         InitPlain<int>,
                                         InitPlain<int64_t>,
                                         InitPlain<unsigned char>,
                                         InitPlain<unsigned short>,
                                         InitPlain<unsigned>,
                                         InitPlain<uint64_t>,
                                         InitPlain<float>,
                                         InitPlain<double>,
                                         InitObject,
                                         InitNarrow,
                                         InitWide,
                                         InitString,
                                         InitBlob,
                                         InitGeometry<point2d>,
                                         InitGeometry<point2df>,
                                         InitGeometry<point3d>,
                                         InitGeometry<point3df>,
                                         InitGeometry<matrix2d>,
                                         InitGeometry<matrix3d>,
                                         InitCopy,
                                         InitFromPayload,
                                         Clear,
                                         MakeTransient,
                                         Convert,
                                         Convert,
                                         PutIntoMap,
                                         PutIntoMap,
                                         TakeFromMap,
                                         RemoveFromMap,
                                         SaveAndLoad};

}  // namespace

void UseVariants(Input& in) {
  Values values;
  values.map = Ref<Map>::Adopt(Map::Create());
  values.thing = Ref<Thing>::Adopt(new Thing);
  if (!values.map) return;
  for (int turns = 0; in.More() && turns < 200; ++turns) {
    Variant& v = in.Pick(values.variants);
    in.Step(VARIANT_STEPS)(v, values, in);
  }
}

// ---- arrays

namespace {

struct Arrays {
  Ref<Array> array;
  std::vector<void*> model;
  Ref<SortedArray> sorted;
  Ref<DataArray> data;
  unsigned recordSize = 0;
  unsigned seed = 0;

  bool Has(int index) const { return index >= 0 && index < static_cast<int>(model.size()); }
  void Believe() {
    model.clear();
    for (int i = 0; i < array->Count(); ++i) model.push_back(array->At(i));
  }
};

void* Element(Input& in) { return reinterpret_cast<void*>(uintptr_t{in.Byte()}); }
int Index(Input& in) { return in.OneIn(16) ? in.Any() : static_cast<int>(in.Below(24)); }

int ByAddress(void const* a, void const* b, void const*) { return a < b ? -1 : a > b; }

// An inconsistent order: sorting by it must end, and lose nothing.
int ByNothing(void const*, void const*, void const* context) {
  unsigned& seed = *static_cast<unsigned*>(const_cast<void*>(context));
  seed = seed * 1103515245u + 12345u;
  return static_cast<int>(seed >> 16) % 3 - 1;
}

void Add(Arrays& a, Input& in) {
  void* const element = Element(in);
  a.array->Add(element);
  a.model.push_back(element);
}

void Insert(Arrays& a, Input& in) {
  void* const element = Element(in);
  int const index = Index(in);
  bool const fits = a.Has(index) || index == static_cast<int>(a.model.size());
  bool const done = a.array->AtInsert(index, element);
  if (!MayFail()) Require(done == fits, "an insertion reports whether it was done");
  if (fits) a.model.insert(a.model.begin() + index, element);
}

void Delete(Arrays& a, Input& in) {
  int const index = Index(in);
  Require(a.array->AtDelete(index) == a.Has(index), "a deletion reports whether it was done");
  if (a.Has(index)) a.model.erase(a.model.begin() + index);
}

void Put(Arrays& a, Input& in) {
  void* const element = Element(in);
  int const index = Index(in);
  if (a.array->AtPut(index, element) && a.Has(index)) a.model[index] = element;
}

void Remove(Arrays& a, Input& in) {
  void* const element = Element(in);
  auto const found = std::find(a.model.begin(), a.model.end(), element);
  Require(a.array->Remove(element) == (found != a.model.end()), "a removal reports whether it was done");
  if (found != a.model.end()) a.model.erase(found);
}

void Swap(Arrays& a, Input& in) {
  int const first = in.Below(24), second = in.Below(24);
  if (a.Has(first) != a.Has(second)) return;  // one is only within the capacity
  a.array->Swap(first, second);
  if (a.Has(first)) std::swap(a.model[first], a.model[second]);
}

void Sort(Arrays& a, Input&) {
  a.array->Sort(ByAddress, nullptr);
  std::sort(a.model.begin(), a.model.end());
}

void SortByNothing(Arrays& a, Input& in) {
  std::vector<void*> before = a.model;
  if (in.Flag())
    a.array->Sort(ByNothing, &a.seed);
  else
    a.array->SortRange(Index(in), Index(in), ByNothing, &a.seed);
  a.Believe();
  std::vector<void*> after = a.model;
  std::sort(before.begin(), before.end());
  std::sort(after.begin(), after.end());
  Require(before == after, "sorting loses nothing");
}

void Forget(Arrays& a, Input& in) {
  if (!in.OneIn(4)) return;
  if (in.Flag())
    a.array->FreeAll();
  else
    a.array->Reset();
  a.model.clear();
}

void AddSorted(Arrays& a, Input& in) {
  a.sorted->Add(Element(in));
  for (int i = 1; i < a.sorted->Count(); ++i)
    Require(a.sorted->At(i - 1) <= a.sorted->At(i), "a sorted array is sorted");
}

void SearchSorted(Arrays& a, Input& in) {
  void* const element = Element(in);
  int position = -9;
  bool const found = a.sorted->Search(element, &position);
  Require(position >= 0 && position <= a.sorted->Count(), "an insertion index is inside the array");
  if (found) Require(a.sorted->At(position) == element, "a found element is at its index");
  Require((a.sorted->Find(element) >= 0) == found, "both searches agree");
}

void DeleteSorted(Arrays& a, Input& in) {
  if (a.sorted->Count() > 0) a.sorted->AtDelete(in.Byte() % a.sorted->Count());
}

void SetRecord(Arrays& a, Input& in) {
  unsigned const size = in.Below(40);
  if (Succeeded(a.data->SetRecord(size, nullptr))) a.recordSize = size;
}

void InsertRecord(Arrays& a, Input& in) {
  void* const record = a.data->AtInsert(Index(in));
  if (record) memset(record, 5, a.recordSize);
}

void FreeRecord(Arrays& a, Input& in) {
  a.data->AtFree(Index(in));
  a.data->At(Index(in));
}

void AllocateRecords(Arrays& a, Input& in) {
  if (in.OneIn(4)) a.data->FreeAll();
  if (Failed(a.data->Allocate(in.OneIn(8) ? in.Any() : in.Byte()))) return;
  for (int i = 0; i < a.data->Count(); ++i) memset(a.data->At(i), 1, a.recordSize);
}

using ArrayStep = void (*)(Arrays&, Input&);
constexpr ArrayStep ARRAY_STEPS[] = {Add,       Add,          Insert,     Insert,         Delete,
                                     Put,       Remove,       Swap,       Sort,           SortByNothing,
                                     Forget,    AddSorted,    AddSorted,  SearchSorted,   DeleteSorted,
                                     SetRecord, InsertRecord, FreeRecord, AllocateRecords};

void Compare(Arrays& a) {
  if (MayFail()) a.Believe();
  Require(a.array->Count() == static_cast<int>(a.model.size()), "an array has the size of its model");
  for (int i = 0; i < a.array->Count(); ++i)
    Require(a.array->At(i) == a.model[i], "an array equals its model");
  for (int i = 0; i < a.data->Count() && a.recordSize > 0; ++i) {
    unsigned char const volatile last = static_cast<unsigned char*>(a.data->At(i))[a.recordSize - 1];
    (void)last;
  }
}

}  // namespace

void UseArrays(Input& in) {
  Arrays a;
  a.array = Ref<Array>::Adopt(Array::Create(in.Small()));
  a.sorted = Ref<SortedArray>::Adopt(SortedArray::Create(ByAddress, nullptr));
  a.data = Ref<DataArray>::Adopt(DataArray::Create());
  if (!a.array || !a.sorted || !a.data) return;
  a.sorted->SetDuplicates(in.Flag());
  for (int turns = 0; in.More() && turns < 300; ++turns) {
    in.Step(ARRAY_STEPS)(a, in);
    Compare(a);
  }
}

}  // namespace fuzz
