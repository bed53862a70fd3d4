// Growth of every container and of the undo history, and their state when memory runs out.
#include <qecore/core/memory.h>
#include <qecore/draw/geometry.h>
#include <qecore/undo/undo_manager.h>
#include <qecore/values/array.h>
#include <qecore/values/map.h>
#include <qecore/values/str.h>
#include <qecore/values/string.h>
#include <qecore/values/variant.h>

#include "faults.h"

namespace faults {

namespace {

constexpr wchar_t VALUE[] = L"twenty characters ok";

bool Holds(Map& map, unsigned key) {
  Variant value;
  String text;
  return Succeeded(map.GetValue(key, value)) && value.Get(text) && text == VALUE;
}

// Everything inserted is present; removing takes nothing else with it.
Outcome GrowMap() {
  constexpr unsigned KEYS = 40, STEP = 7;
  Outcome outcome;
  Ref<Map> const map = Ref<Map>::Adopt(Map::Create());
  if (!outcome.Note(map.get() != nullptr)) return outcome.End();
  Variant const value = Calmly([] {
    Variant made;
    made.Init(VALUE);
    return made;
  });
  bool set[KEYS];
  for (unsigned key = 0; key < KEYS; ++key) set[key] = outcome.Note(map->SetValue(key, value));
  for (unsigned key = 0; key < KEYS; key += STEP) map->Remove(key);
  harness::Calm const calm;
  for (unsigned key = 0; key < KEYS; ++key) {
    bool const wanted = key % STEP != 0;
    if (Holds(*map, key) != wanted) outcome.whole = false;
    if (wanted && set[key] && !Holds(*map, key)) outcome.broken = "a value is missing";
  }
  return outcome;
}

Outcome CopyVariants() {
  Outcome outcome;
  Variant const original = Calmly([] {
    Variant made;
    made.Init(VALUE);
    return made;
  });
  Variant copy, assigned;
  copy.Init(original);
  assigned = copy;
  outcome.whole = copy.Compare(original) && assigned.Compare(original);
  outcome.Note(copy.type != Variant::EMPTY);  // an Init that gets no memory leaves the variant empty
  outcome.Note(assigned.type != Variant::EMPTY || copy.type == Variant::EMPTY);
  String text;
  if (!outcome.Note(original.Get(text))) return outcome.End();
  outcome.whole = outcome.whole && text == VALUE;
  outcome.Note(text == VALUE);
  return outcome;
}

// Every way to copy a variant, for each type with a payload.
Outcome CopyEveryKind() {
  constexpr int KINDS = 7;
  Outcome outcome;
  Variant made[KINDS], copies[KINDS], got[KINDS];
  {
    harness::Calm const calm;
    made[0].Init("narrow");
    made[1].Init(point2d{1, 2});
    made[2].Init(point3d{1, 2, 3});
    made[3].Init(point3df{1, 2, 3});
    made[4].Init(matrix2d());
    made[5].Init(matrix3d());
    made[6].Init("blob", 4, false);
  }
  for (int i = 0; i < KINDS; ++i) {
    copies[i].Init(made[i]);
    bool const copied = outcome.Note(copies[i].type == made[i].type);
    if (copied && copies[i].size != made[i].size) outcome.broken = "a copy of another size";
    HRESULT const result = made[i].Get(got[i]);
    if (result == E_INVALIDARG) continue;  // a type that cannot be copied this way
    outcome.Note(result);
    bool const same = made[i].type == Variant::BLOB ? got[i].size == 4 : got[i].Compare(made[i]);
    if (Succeeded(result) && !same) outcome.broken = "a copy that differs";
  }
  for (int i = 0; i < KINDS; ++i) outcome.whole = outcome.whole && copies[i].type == made[i].type;
  return outcome;
}

Outcome MakeTexts() {
  Outcome outcome;
  Variant owned[2];  // these free their payload where it was allocated
  owned[0].value.pointer = str::New("narrow");
  owned[1].value.pointer = str::New(VALUE);
  for (Variant& owner : owned) {
    if (outcome.Note(owner.value.pointer != nullptr)) owner.size = 1, owner.type = Variant::BLOB;
  }
  String const narrow("narrow"), id(ids::MAP), sum = narrow + id, parsed = sum.Parse_C_string();
  String list(sum);
  String const* const all[] = {&narrow, &id, &sum, &parsed, &list};
  for (String const* const made : all) outcome.Note(!made->IsEmpty());
  outcome.Note(list.DoubleTerminate());
  outcome.whole = parsed.Length() == 44 && list.Length() == 45;
  return outcome;
}

Outcome GrowString() {
  Outcome outcome;
  String text(L"start");
  outcome.Note(!text.IsEmpty());
  for (int i = 0; i < 20; ++i) outcome.Note(text.AtInsert(0, L"0123456789"));
  String const piece = Calmly([] { return String(L"forty characters, which are two times 20"); });
  for (int i = 0; i < 60; ++i) {
    size_t const before = text.Length();
    text += piece;
    outcome.Note(text.Length() == before + piece.Length());
  }
  outcome.Note(text.Realloc(100));
  outcome.whole = text.Length() == 100;
  if (text.c_str()[text.Length()] != 0) outcome.broken = "a string without a terminator";
  return outcome;
}

Outcome GrowArray() {
  constexpr int ELEMENTS = 2100;
  Outcome outcome;
  Ref<Array> const array = Ref<Array>::Adopt(Array::Create(100));
  if (!outcome.Note(array.get() != nullptr)) return outcome.End();
  int kept = 0;
  for (intptr_t i = 1; i <= ELEMENTS; ++i) {
    if (outcome.Note(array->AtInsert(array->Count(), reinterpret_cast<void*>(i)))) ++kept;
  }
  outcome.whole = array->Count() == ELEMENTS;
  if (array->Count() != kept) outcome.broken = "an array with a wrong count";
  for (int i = 1; i < array->Count(); ++i) {
    if (array->At(i - 1) >= array->At(i)) outcome.broken = "an array out of order";
  }
  return outcome;
}

int ByAddress(void const* a, void const* b, void const*) { return a < b ? -1 : a > b; }

Outcome GrowSortedArray() {
  Outcome outcome;
  Ref<SortedArray> const array = Ref<SortedArray>::Adopt(SortedArray::Create(ByAddress, nullptr));
  if (!outcome.Note(array.get() != nullptr)) return outcome.End();
  for (intptr_t i = 200; i > 0; --i) {
    int const before = array->Count();
    array->Add(reinterpret_cast<void*>(i));
    outcome.Note(array->Count() == before + 1);  // Add returns an index even without memory
  }
  outcome.whole = array->Count() == 200;
  return outcome;
}

Outcome GrowDataArray() {
  Outcome outcome;
  Ref<DataArray> const array = Ref<DataArray>::Adopt(DataArray::Create());
  if (!outcome.Note(array.get() != nullptr)) return outcome.End();
  array->SetRecord(24, nullptr);
  for (int i = 0; i < 60; ++i) {
    void* const record = array->AtInsert(array->Count() / 2);
    if (outcome.Note(record != nullptr)) memset(record, 1, 24);
  }
  Ref<DataArray> const whole = Ref<DataArray>::Adopt(DataArray::Create());
  if (!outcome.Note(whole.get() != nullptr)) return outcome.End();
  whole->SetRecord(24, nullptr);
  outcome.whole = array->Count() == 60 && outcome.Note(whole->Allocate(1020));
  for (int i = 0; i < 20; ++i) {
    void* const record = whole->AtInsert(whole->Count());
    if (outcome.Note(record != nullptr)) memset(record, 1, 24);
  }
  return outcome;
}

Outcome GrowArena() {
  Outcome outcome;
  Ref<Malloc> const arena = Ref<Malloc>::Adopt(Malloc::Create(128));
  if (!outcome.Note(arena.get() != nullptr)) return outcome.End();
  int got = 0;
  for (int i = 0; i < 20; ++i) {
    void* const piece = arena->AllocZero(50);
    if (outcome.Note(piece != nullptr)) memset(piece, 1, 50), ++got;
  }
  outcome.whole = got == 20;
  return outcome;
}

// ---- undo

constexpr unsigned KEY = 1;
constexpr int CHANGES = 5;

Variant ValueOf(int number) {
  Variant value;
  if (number > 0)
    value.Init(number);
  else
    value.Init(L"zero");
  return value;
}

// A change that cannot be recorded, or whose record is dropped at the commit, is reported at once: the host
// does not make it, or reverts it.
void Change(UndoManager& undo, Map& map, int to, Outcome& outcome) {
  Variant const value = Calmly([to] { return ValueOf(to); });
  if (!outcome.Note(undo.BeginTransaction())) return;
  bool const recorded = outcome.Note(undo.RecordValue(&map, KEY, false) != nullptr);
  Variant before;
  Calmly([&] { return map.GetValue(KEY, before); });
  bool const changed = recorded && outcome.Note(map.SetValue(KEY, value));
  if (!changed) return static_cast<void>(undo.CancelTransaction());
  if (!outcome.Note(undo.EndTransaction(L"name"))) Calmly([&] { return map.SetValue(KEY, before); });
}

Outcome UndoAndRedo() {
  Outcome outcome;
  Ref<UndoManager> const undo = Ref<UndoManager>::Adopt(UndoManager::Create());
  if (!outcome.Note(undo.get() != nullptr)) return outcome.End();
  Ref<Map> const map = Calmly([] {
    Ref<Map> made = Ref<Map>::Adopt(Map::Create());
    made->SetValue(KEY, ValueOf(0));
    return made;
  });
  for (int i = 1; i <= CHANGES; ++i) Change(*undo, *map, i, outcome);
  for (int i = 0; i < CHANGES; ++i) outcome.Note(undo->Undo());
  harness::Calm const calm;
  // Contract: the results of items are ignored, so an undo without memory may leave the change in place. It
  // is not lost.
  for (int i = 0; i < CHANGES; ++i) undo->Redo();
  for (int i = 0; i < CHANGES; ++i) undo->Undo();
  Variant value;
  String text;
  bool const isBack = Succeeded(map->GetValue(KEY, value)) && value.Get(text) && text == L"zero";
  if (!isBack) outcome.broken = "the first value is not restored";
  return outcome;
}

// A merge finds what is recorded even where there is no memory to note it.
Outcome MergeRecords() {
  constexpr unsigned KEYS = 20;
  Outcome outcome;
  Ref<UndoManager> const undo = Ref<UndoManager>::Adopt(UndoManager::Create());
  if (!outcome.Note(undo.get() != nullptr)) return outcome.End();
  ykUndoItem* recorded[KEYS];
  Ref<Map> const map = Calmly([&] {
    Ref<Map> made = Ref<Map>::Adopt(Map::Create());
    undo->BeginTransaction();
    for (unsigned key = 0; key < KEYS; ++key) recorded[key] = undo->RecordValue(made.get(), key, false);
    undo->EndTransaction(L"recorded");
    undo->BeginTransaction();
    return made;
  });
  for (unsigned key = KEYS; key-- > 0;) {
    if (undo->RecordValue(map.get(), key, true) != recorded[key]) outcome.broken = "a record is not found";
  }
  undo->CancelTransaction();
  outcome.whole = !undo->CanRedo();
  return outcome;
}

constexpr Scenario SCENARIOS[] = {
    {"map: grow and remove", harness::MEMORY, nullptr, GrowMap},
    {"variant: copy and convert", harness::MEMORY, nullptr, CopyVariants},
    {"variant: copy each kind", harness::MEMORY, nullptr, CopyEveryKind},
    {"text: make", harness::MEMORY, nullptr, MakeTexts},
    {"string: grow", harness::MEMORY, nullptr, GrowString},
    {"array: grow", harness::MEMORY, nullptr, GrowArray},
    {"sorted array: grow", harness::MEMORY, nullptr, GrowSortedArray},
    {"data array: grow", harness::MEMORY, nullptr, GrowDataArray},
    {"arena: grow", harness::MEMORY | harness::LOCK, nullptr, GrowArena},
    {"undo: record and replay", harness::MEMORY, nullptr, UndoAndRedo},
    {"undo: merge", harness::MEMORY, nullptr, MergeRecords},
};

}  // namespace

std::span<Scenario const> ContainerScenarios() { return SCENARIOS; }

}  // namespace faults
