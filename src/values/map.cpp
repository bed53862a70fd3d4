#include <qecore/values/map.h>

#include <qecore/core/memory.h>
#include <qecore/core/ref.h>

#include <new>

#include "core/dying_p.h"
#include "core/error_p.h"
#include "core/registry_p.h"
#include "map_index_p.h"
#include "variant_p.h"

namespace yk {

namespace {

constexpr unsigned FIRST_ENTRIES = 10;
constexpr unsigned MORE_ENTRIES = 5;
constexpr unsigned CLOSED = UINT32_MAX;  // the capacity of a map that is being destroyed

/// Records why an entry cannot be added. \return false, for the caller to return
bool Refuse(wchar_t const* why) noexcept {
  Fail(E_OUTOFMEMORY, "Map::SetValue", why);
  return false;
}

}  // namespace

Map* Map::Create() noexcept { return Made(new (std::nothrow) Map, "Map::Create"); }

HRESULT Map::Register() noexcept { return RegisterOwn<Map>(Id(), "Map"); }

// A destroyed value may be an object that calls back into the map, even during the map's own destruction: it
// then finds an empty map, which accepts nothing, and whose count cannot fall to zero a second time.
Map::~Map() {
  HoldWhileDying(*this);
  void* const block = IsIndexed() ? IndexOf().Block() : entries;
  Entry* const first = entries;
  unsigned const rooms = capacity;
  entries = nullptr;
  count = 0;
  capacity = CLOSED;
  // Entries past the last one may hold values left there by Remove.
  for (unsigned i = 0; i < rooms; ++i) first[i].value.Done();
  yk_delete(block);
}

HRESULT Map::QueryInterface(Guid const& id, void** out) noexcept {
  if (!(id == Id())) return qe_Streamable::QueryInterface(id, out);
  *out = Ref<Map>::Share(this).Detach();
  return S_OK;
}

void Map::Destroy() noexcept { DeleteThis(1); }

HRESULT Map::GetValue(unsigned key, Variant& out) noexcept {
  Entry const* const entry = Seek(key);
  return entry ? entry->value.Get(out) : E_FAIL;
}

// Released values are destroyed last, when the entries are consistent again: a value may be an object that
// calls back into the map, or releases it.

HRESULT Map::SetValue(unsigned key, Variant const& v) noexcept {
  if (v.type == Variant::EMPTY) return Remove(key);
  Ref<Map> const self = Ref<Map>::Share(this);
  Variant copy(v);
  if (copy.type == Variant::EMPTY) return E_OUTOFMEMORY;
  Entry* const entry = Seek(key);
  if (!entry) return Append(key, copy) ? S_OK : E_OUTOFMEMORY;
  if (!KindOf(copy.type).payload) copy.size = entry->value.size;  // contract: as Variant::Init leaves it
  entry->value.Swap(copy);
  return S_OK;
}

HRESULT Map::Remove(unsigned key) noexcept {
  Ref<Map> const self = Ref<Map>::Share(this);
  Entry* entry = Seek(key);
  // Contract: the vacated last entry keeps its value, as a copy. Without memory for the copy it is empty.
  Variant removed, kept;
  if (entry && entry != entries + count - 1) {
    kept.Init(entries[count - 1].value);
    entry = Seek(key);  // an object's AddRef may have called back into the map
  }
  if (!entry) return E_FAIL;
  entry->value.Swap(removed);
  CloseHole(static_cast<unsigned>(entry - entries), kept);
  return S_OK;
}

HRESULT Map::Lookup(unsigned key) noexcept {
  Seek(key);
  return S_OK;  // Contract: found or not
}

void* Map::DeleteThis(unsigned flags) noexcept { return DeleteSelf(flags); }

Map::Index Map::IndexOf() const noexcept { return {entries, capacity}; }

bool Map::IsIndexed() const noexcept { return capacity > Index::NONE_UP_TO && capacity != CLOSED; }

Map::Entry* Map::Seek(unsigned key) const noexcept {
  if (IsIndexed()) return IndexOf().Find(key);
  for (unsigned i = 0; i < count; ++i) {
    if (entries[i].key == key) return entries + i;
  }
  return nullptr;
}

void Map::CloseHole(unsigned hole, Variant& kept) noexcept {
  unsigned const last = count - 1;
  unsigned const lastKey = entries[last].key;
  if (!IsIndexed()) {
    Index::Move(entries + hole, entries + hole + 1, last - hole);
    new (&entries[last].value) Variant;
  } else {
    Index index = IndexOf();
    index.Remove(entries[hole], entries + count);
    if (hole < last - hole) {
      entries = index.CloseFromFront(hole);
      entries[last].value.Swap(entries[capacity - 1].value);
    } else {
      index.CloseFromEnd(hole, last);
      new (&entries[last].value) Variant;
    }
  }
  count = last;
  entries[last].key = lastKey;
  entries[last].value.Swap(kept);
}

bool Map::Append(unsigned key, Variant& value) noexcept {
  if (capacity == CLOSED) return Refuse(L"the map is being destroyed");
  // Contract: grows one entry early.
  if (count + 1 >= capacity && !Grow()) return false;
  Entry& entry = entries[count++];
  entry.key = key;
  entry.value.Swap(value);
  if (IsIndexed()) IndexOf().Add(entry);
  return true;
}

void Map::Truncate(unsigned newCount) noexcept {
  while (count > newCount) {
    Variant removed;
    Entry& entry = entries[count - 1];
    if (IsIndexed()) IndexOf().Remove(entry, entries + count);
    --count;
    entry.value.Swap(removed);
  }
}

bool Map::Grow() noexcept {
  unsigned const grown = capacity + (capacity ? MORE_ENTRIES : FIRST_ENTRIES);
  if (grown > Index::MOST_CAPACITY) return Refuse(L"the map is full");
  bool const stays = IsIndexed() && Index::Room(grown) == Index::Room(capacity);
  if (stays) entries = IndexOf().MakeRoom(grown);
  if (!stays && !(grown > Index::NONE_UP_TO ? MoveToIndexed(grown) : MoveTo(grown))) return false;
  for (; capacity < grown; ++capacity) new (entries + capacity) Entry{};
  if (IsIndexed() && !stays) FillIndex();
  return true;
}

bool Map::MoveTo(unsigned grown) noexcept {
  void* const block = yk_realloc(entries, grown * sizeof(Entry));
  if (block) entries = static_cast<Entry*>(block);
  return block != nullptr;
}

bool Map::MoveToIndexed(unsigned grown) noexcept {
  void* const block = yk_new(Index::Bytes(grown));
  if (!block) return false;
  Entry* const first = Index::Prepare(block, grown);
  Index::Move(first, entries, capacity);
  yk_delete(IsIndexed() ? IndexOf().Block() : entries);
  entries = first;
  return true;
}

void Map::FillIndex() noexcept {
  Index index = IndexOf();
  for (unsigned i = 0; i < count; ++i) index.Add(entries[i]);
}

}  // namespace yk
