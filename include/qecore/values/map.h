// yk::Map: a property bag: Variants, keyed by unsigned 32-bit numbers.
//
//   Ref<Map> map = Ref<Map>::Adopt(Map::Create());
//   map->SetValue(1, Variant(L"sunset"));
//   for (Map::Entry const& entry : *map) Show(entry.key, entry.value);
//
//   slot   6 GetValue   7 SetValue   8 Save   9 Load   10 Remove   11 Lookup   12 DeleteThis
//
//   an entry   0       4                         20
//              +-------+-------------------------+
//              | key   | Variant                 |
//              +-------+-------------------------+
//
// Entries keep the order in which they were set. SetValue keeps keys unique; Load appends the entries that it
// reads, so that a key may then occur twice: lookups find the first. Values with the flag Variant::TRANSIENT
// are not saved. A saved map has one chunk for each entry: the tag 1000, the key in 4 bytes, the variant.
// Contract: objects, a map in a map among them, blobs, matrices and POINT_3DF are saved without their values,
// and no failure says so. Save a tree with each map in a chunk of its own.
//
// Ownership: the map owns copies of its values. Failure: result codes; when there is no memory for a value,
// it is not set (E_OUTOFMEMORY), and LastError() says so (error.h). One thread at a time.
#pragma once

#include <qecore/core/implements.h>
#include <qecore/core/streamable.h>
#include <qecore/values/variant.h>

namespace yk {

class Map : public Destroys<Map, qe_Streamable> {
 public:
  static Guid const& Id() noexcept { return ids::MAP; }

  /// A key and its value.
  struct Entry {
    unsigned key;   ///< unique, except in a loaded map
    Variant value;  ///< the map's own
  };
  static_assert(sizeof(Entry) == 20 && offsetof(Entry, value) == 4);

  /// A new empty map, or null.
  YK_API static Map* Create() noexcept;
  /// Registers the class under the name "Map". \return the registry's result
  YK_API static HRESULT Register() noexcept;

  /// The number of entries.
  unsigned Count() const noexcept { return count; }
  /// The entries in their order, borrowed until the map changes.
  Entry const* begin() const noexcept { return entries; }
  Entry const* end() const noexcept { return entries + count; }

  /// Supports its own identifier and those of qe_Streamable. Contract: IsTypeOf is inherited from
  /// qe_Streamable, and is false for the map's own identifier.
  YK_API HRESULT QueryInterface(Guid const& id, void** out) noexcept override;
  YK_API void Destroy() noexcept override;  ///< through slot 12
  /// Copies with Variant::Get(Variant&), whose result it returns. E_FAIL: no such key.
  YK_API HRESULT GetValue(unsigned key, Variant& out) noexcept override;
  /// Replaces or appends a copy; an empty value removes the key.
  YK_API HRESULT SetValue(unsigned key, Variant const& v) noexcept override;
  /// Writes a chunk for each entry. E_ABORT if the host stops it; otherwise the first refusal of a chunk.
  YK_API HRESULT Save(Serializer* writer, ExecutionContext* context) noexcept override;
  /// Appends the entries of the reader's current chunk after the existing ones.
  /// \return S_FALSE (contract); E_ABORT if the host stops it: the map is then unchanged
  YK_API HRESULT Load(Deserializer* reader, ExecutionContext* context) noexcept override;
  /// E_FAIL: no such key. Later entries move down as they are, payloads and flags included. The vacated entry
  /// keeps a copy of the last value until it is reused or the map is destroyed.
  YK_API virtual HRESULT Remove(unsigned key) noexcept;
  /// Always S_OK, whether the key is present or not (contract).
  YK_API virtual HRESULT Lookup(unsigned key) noexcept;
  YK_API virtual void* DeleteThis(unsigned flags) noexcept;

 private:
  friend Destroys;

  class Index;

  Map() noexcept = default;
  ~Map();

  Index IndexOf() const noexcept;
  bool IsIndexed() const noexcept;
  Entry* Seek(unsigned key) const noexcept;
  // Closes the gap of an entry without a value; the last one keeps its key, with the value `kept`.
  void CloseHole(unsigned hole, Variant& kept) noexcept;
  // Moves the value into a new entry, and the stale value of that entry into `value`. False: no memory.
  bool Append(unsigned key, Variant& value) noexcept;
  void Truncate(unsigned newCount) noexcept;
  bool Grow() noexcept;
  bool MoveTo(unsigned grown) noexcept;
  bool MoveToIndexed(unsigned grown) noexcept;
  void FillIndex() noexcept;

  Entry* entries = nullptr;  // room for `capacity`; those from `count` on are zero or stale, to be reused
  unsigned count = 0;
  unsigned capacity = 0;
};

static_assert(sizeof(Map) == 32);

}  // namespace yk
