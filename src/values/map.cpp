#include <qecore/core/memory.h>
#include <qecore/core/registry.h>
#include <qecore/values/map.h>

#include <bit>
#include <new>
#include <utility>

namespace yk {

namespace {

constexpr unsigned FIRST_ENTRIES = 10;
constexpr unsigned MORE_ENTRIES = 5;
constexpr size_t LARGE = 1000;

// Entries that the block of a map of this capacity has room for. A large one doubles, so that many steps of
// five entries do not move it each time.
constexpr size_t Room(size_t capacity) noexcept {
  return capacity <= LARGE ? capacity : std::bit_ceil(capacity);
}

// The registry's factory.
HRESULT CreateMap(ClassInfo const* info, void** out) noexcept {
  *out = nullptr;
  if (!(info->classId == Map::Id())) return E_NOINTERFACE;
  *out = Map::Create();
  return *out ? S_OK : E_OUTOFMEMORY;
}

// Exchanges two values without copying a payload. A value that is let go of may be an object that calls back
// into the map: it is exchanged into a local one, which dies when the entries are in order again.
void Exchange(Variant& a, Variant& b) noexcept {
  std::swap(a.value, b.value);
  std::swap(a.size, b.size);
  std::swap(a.flags, b.flags);
  std::swap(a.type, b.type);
}

}  // namespace

Map* Map::Create() noexcept { return new (std::nothrow) Map; }

HRESULT Map::Register() noexcept {
  ClassInfo info;
  info.classId = Id();
  info.interfaceId = Id();
  info.name = "Map";
  info.create = CreateMap;
  info.flags = ClassInfo::STATIC_NAME;
  return RegisterInterface(&info);
}

Map::~Map() {
  // Behind the last entry values may wait that Remove left there.
  for (unsigned i = 0; i < capacity; ++i) entries[i].value.Done();
  yk_delete(entries);
}

HRESULT Map::QueryInterface(Guid const& id, void** out) noexcept {
  if (!(id == Id())) return qe_Streamable::QueryInterface(id, out);
  *out = this;
  AddRef();
  return S_OK;
}

void Map::Destroy() noexcept { DeleteThis(1); }

HRESULT Map::GetValue(unsigned key, Variant& out) noexcept {
  Entry const* const entry = Seek(key);
  return entry ? entry->value.Get(out) : E_FAIL;
}

HRESULT Map::SetValue(unsigned key, Variant const& v) noexcept {
  if (v.type == Variant::EMPTY) return Remove(key);
  Variant copy(v);
  if (copy.type == Variant::EMPTY) return E_OUTOFMEMORY;
  Entry* const entry = Seek(key);
  if (!entry) return Append(key, copy) ? S_OK : E_OUTOFMEMORY;
  Exchange(entry->value, copy);
  return S_OK;
}

HRESULT Map::Remove(unsigned key) noexcept {
  Entry* entry = Seek(key);
  if (!entry) return E_FAIL;
  Variant removed;
  Exchange(entry->value, removed);
  --count;
  for (Entry const* const last = entries + count; entry < last; ++entry) {
    entry[0].key = entry[1].key;
    entry[0].value.Init(entry[1].value);
  }
  return S_OK;
}

HRESULT Map::Lookup(unsigned key) noexcept {
  Seek(key);
  return S_OK;  // found or not: intended
}

void* Map::DeleteThis(unsigned flags) noexcept { return DeleteSelf(flags); }

Map::Entry* Map::Seek(unsigned key) const noexcept {
  for (unsigned i = 0; i < count; ++i) {
    if (entries[i].key == key) return entries + i;
  }
  return nullptr;
}

bool Map::Append(unsigned key, Variant& value) noexcept {
  // One entry early: intended.
  if (count + 1 >= capacity && !Grow()) return false;
  Entry& entry = entries[count++];
  entry.key = key;
  Exchange(entry.value, value);
  return true;
}

bool Map::Grow() noexcept {
  unsigned const more = capacity ? MORE_ENTRIES : FIRST_ENTRIES;
  if (capacity > UINT32_MAX - more) return false;
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
