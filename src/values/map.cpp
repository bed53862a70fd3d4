#include <qecore/core/memory.h>
#include <qecore/core/registry.h>
#include <qecore/values/map.h>

#include <new>
#include <utility>

namespace yk {

namespace {

constexpr unsigned FIRST_ENTRIES = 10;
constexpr unsigned MORE_ENTRIES = 5;

// The registry's factory.
HRESULT CreateMap(ClassInfo const* info, void** out) noexcept {
  *out = nullptr;
  if (!(info->classId == Map::Id())) return E_NOINTERFACE;
  *out = Map::Create();
  return *out ? S_OK : E_OUTOFMEMORY;
}

// Exchanges two values without copying a payload.
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
  Entry* entry = Seek(key);
  if (!entry) entry = Append(key);
  if (!entry) return E_OUTOFMEMORY;
  Exchange(entry->value, copy);
  return S_OK;
}

HRESULT Map::Remove(unsigned key) noexcept {
  Entry* entry = Seek(key);
  if (!entry) return E_FAIL;
  entry->value.Done();
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

Map::Entry* Map::Append(unsigned key) noexcept {
  // One entry early: intended.
  if (count + 1 >= capacity && !Grow()) return nullptr;
  Entry* const entry = entries + count;
  entry->value.Done();
  ++count;
  return new (entry) Entry{key, {}};
}

bool Map::Grow() noexcept {
  unsigned const more = capacity ? MORE_ENTRIES : FIRST_ENTRIES;
  if (capacity > UINT32_MAX - more) return false;
  void* const block = yk_realloc(entries, (size_t{capacity} + more) * sizeof(Entry));
  if (!block) return false;
  entries = static_cast<Entry*>(block);
  for (unsigned const end = capacity + more; capacity < end; ++capacity) new (entries + capacity) Entry{};
  return true;
}

}  // namespace yk
