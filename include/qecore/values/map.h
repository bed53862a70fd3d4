// yk::Map: a property bag, Variants under unsigned 32-bit keys.
//
//   Ref<Map> map = Ref<Map>::Adopt(Map::Create());
//   Variant v;
//   v.Init(L"sunset");
//   map->SetValue(1, v);
//
//   slot   6 GetValue   7 SetValue   8 Save   9 Load   10 Remove   11 Lookup   12 DeleteThis
//
//   an entry   0       4                         20
//              +-------+-------------------------+
//              | key   | Variant                 |
//              +-------+-------------------------+
//
// Entries stand in the order in which they were set. SetValue keeps keys unique; Load appends what it finds,
// so that a key may then stand twice: the first one counts. A value whose flags have Variant::TRANSIENT is
// kept and not saved. Saved, a map is one chunk per entry: the tag 1000, the key in 4 bytes, the variant.
//
// Ownership: the map owns copies of its values. Failure: result codes; a value that gets no memory is not
// set (E_OUTOFMEMORY). One thread at a time.
#pragma once

#include <qecore/core/implements.h>
#include <qecore/core/streamable.h>
#include <qecore/values/variant.h>

namespace yk {

class YK_API Map : public Destroys<Map, qe_Streamable> {
 public:
  static Guid const& Id() noexcept { return ids::MAP; }

  /// A new empty map, or null.
  static Map* Create() noexcept;
  /// Registers the class under the name "Map". \return the registry's answer
  static HRESULT Register() noexcept;

  unsigned Count() const noexcept { return count; }

  /// Its own identifier, and what qe_Streamable answers. IsTypeOf is qe_Streamable's on purpose: a map does
  /// not say there that it is one.
  HRESULT QueryInterface(Guid const& id, void** out) noexcept override;
  void Destroy() noexcept override;  ///< through slot 12
  /// Copies with Variant::Get(Variant&), whose result it gives. E_FAIL: there is no such key.
  HRESULT GetValue(unsigned key, Variant& out) noexcept override;
  /// Replaces or appends a copy; an empty value removes the key.
  HRESULT SetValue(unsigned key, Variant const& v) noexcept override;
  /// Writes a chunk for each entry. E_ABORT: the host said stop; else the first refusal of a chunk.
  HRESULT Save(Serializer* writer, ExecutionContext* context) noexcept override;
  /// Appends the entries of the chunk in which the reader stands, behind those that are there.
  /// \return S_FALSE; E_ABORT when the host said stop: the map is then as it was
  HRESULT Load(Deserializer* reader, ExecutionContext* context) noexcept override;
  /// E_FAIL: there is no such key. Later entries move down, payloads and all. The room of the last entry
  /// keeps a copy of its value until it is used again or the map goes.
  virtual HRESULT Remove(unsigned key) noexcept;
  /// Looks for the key and answers S_OK whether it is there or not: this is intended.
  virtual HRESULT Lookup(unsigned key) noexcept;
  virtual void* DeleteThis(unsigned flags) noexcept;

 private:
  friend Destroys;

  struct Entry {
    unsigned key;
    Variant value;
  };
  static_assert(sizeof(Entry) == 20 && offsetof(Entry, value) == 4);

  Map() noexcept = default;
  ~Map();

  Entry* Seek(unsigned key) const noexcept;
  // Takes the value into a new entry and gives back what waited in its room. False: there is no memory.
  bool Append(unsigned key, Variant& value) noexcept;
  void Truncate(unsigned newCount) noexcept;
  bool Grow() noexcept;

  Entry* entries = nullptr;  // `capacity` and more; those from `count` to there are zero or wait for reuse
  unsigned count = 0;
  unsigned capacity = 0;
};

static_assert(sizeof(Map) == 32);

}  // namespace yk
