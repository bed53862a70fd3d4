#include "core/dying_p.h"
#include "core/error_p.h"
#include "core/registry_p.h"
#include "variant_p.h"

#include <qecore/core/memory.h>
#include <qecore/core/ref.h>
#include <qecore/values/map.h>

#include <bit>
#include <new>

namespace yk {

namespace {

constexpr unsigned FIRST_ENTRIES = 10;
constexpr unsigned MORE_ENTRIES = 5;
constexpr size_t LARGE = 1000;
constexpr unsigned CLOSED = UINT32_MAX;  // the capacity of a map that is being destroyed

// The number of entries allocated for a map of this capacity. Large maps double, so that the steps of five
// entries do not reallocate each time.
constexpr size_t Room(size_t capacity) noexcept {
  return capacity <= LARGE ? capacity : std::bit_ceil(capacity);
}

}  // namespace

Map* Map::Create() noexcept { return Made(new (std::nothrow) Map, "Map::Create"); }

HRESULT Map::Register() noexcept { return RegisterOwn<Map>(Id(), "Map"); }

// A destroyed value may be an object that calls back into the map, even during the map's own destruction: it
// then finds an empty map, which accepts nothing, and whose count cannot fall to zero a second time.
Map::~Map() {
  HoldWhileDying(*this);
  Entry* const block = entries;
  unsigned const rooms = capacity;
  entries = nullptr;
  count = 0;
  capacity = CLOSED;
  // Entries past the last one may hold values left there by Remove.
  for (unsigned i = 0; i < rooms; ++i) block[i].value.Done();
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
  --count;
  for (Entry const* const last = entries + count; entry < last; ++entry) {
    entry[0].key = entry[1].key;
    entry[0].value.Swap(entry[1].value);
  }
  entry->value.Swap(kept);
  return S_OK;
}

HRESULT Map::Lookup(unsigned key) noexcept {
  Seek(key);
  return S_OK;  // contract: found or not
}

void* Map::DeleteThis(unsigned flags) noexcept { return DeleteSelf(flags); }

Map::Entry* Map::Seek(unsigned key) const noexcept {
  for (unsigned i = 0; i < count; ++i) {
    if (entries[i].key == key) return entries + i;
  }
  return nullptr;
}

bool Map::Append(unsigned key, Variant& value) noexcept {
  if (capacity == CLOSED) return false;
  // Contract: grows one entry early.
  if (count + 1 >= capacity && !Grow()) return false;
  Entry& entry = entries[count++];
  entry.key = key;
  entry.value.Swap(value);
  return true;
}

void Map::Truncate(unsigned newCount) noexcept {
  while (count > newCount) {
    Variant removed;
    entries[--count].value.Swap(removed);
  }
}

bool Map::Grow() noexcept {
  unsigned const more = capacity ? MORE_ENTRIES : FIRST_ENTRIES;
  if (capacity >= CLOSED - more) return false;
  size_t const room = Room(size_t{capacity} + more);
  if (room != Room(capacity)) {
    void* const block = yk_realloc(entries, room * sizeof(Entry));
    if (!block) return false;
    entries = static_cast<Entry*>(block);
  }
  for (unsigned const end = capacity + more; capacity < end; ++capacity) new (entries + capacity) Entry{};
  return true;
}

}  // namespace yk
