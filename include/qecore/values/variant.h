// yk::Variant: a tagged value of one of a fixed set of types.
//
//   Variant v(L"42");                               // or, later, v.Init(L"42")
//   int number;
//   if (v.Get(number)) ...          // 42: types are converted where that makes sense
//
//   offset  0                              8            12       13      14   16
//           +------------------------------+------------+--------+-------+----+
//           | value: a scalar, two floats, | size, of a | flags  | type  | ** |    4-byte packing: a map
//           | or a pointer to a payload    | payload    |        |       |    |    entry is a key and a
//           +------------------------------+------------+--------+-------+----+    variant
//
// ** is private to the library: zero, or the mark of a payload that the variant owns although its flags say
// BORROWED.
//
// Ownership: the variant owns its payload (text, blob, geometry), from the library's global `operator new`,
// unless the payload is borrowed: it then belongs to its owner, who keeps it alive. An object is held by one
// reference. Copies own their payload. Borrowing from a variant's own payload makes a copy.
// Failure: the conversions return false and store 0 or an empty String. An Init that gets no memory leaves
// the variant empty. The argument of an Init may be the variant's own payload. One thread at a time.
#pragma once

#include <qecore/core/unknown.h>

namespace yk {

class Deserializer;
class ExecutionContext;
class Serializer;
class String;
struct matrix2d;
struct matrix3d;
struct point2d;
struct point2df;
struct point3d;
struct point3df;

#pragma pack(push, 4)  // 16 bytes with an alignment of 4, so that a map entry is 20 bytes without padding

class Variant {
 public:
  /// The types. The numbers are the tag bytes of saved files.
  enum Type : uint8_t {
    EMPTY = 0,
    BOOL = 1,
    UINT8 = 2,
    UINT16 = 3,
    UINT32 = 4,
    UINT64 = 5,
    INT16 = 6,
    INT32 = 7,
    INT64 = 8,
    RESERVED_9 = 9,
    RESERVED_10 = 10,
    FLOAT = 11,
    DOUBLE = 12,
    BLOB = 13,
    NARROW_STRING = 14,
    WIDE_STRING = 15,
    RESERVED_16 = 16,
    OBJECT = 17,
    RESERVED_18 = 18,
    RESERVED_19 = 19,
    MATRIX_2D = 20,
    MATRIX_3D = 21,
    RESERVED_22 = 22,
    POINT_3D = 23,
    POINT_3DF = 24,
    POINT_2D = 25,
    POINT_2DF = 26,
    RESERVED_27 = 27,
    RESERVED_28 = 28,
    TYPE_COUNT = 29,
  };

  /// Bits of `flags`.
  enum Flag : uint8_t {
    BORROWED = 2,   ///< the payload belongs to somebody else and is never freed
    TRANSIENT = 4,  ///< a Map keeps the value but does not save it; Init(Variant const&) copies the bit,
                    ///< Get(Variant&) does not
  };

  /// Bits of the `how` of the text Inits.
  enum TextFlag : unsigned {
    BORROW_TEXT = 1,  ///< hold the pointer, not a copy
    KEEP_EMPTY = 2,   ///< an empty text still makes a string value, with a null payload
  };

  Variant() noexcept = default;
  /// As Init(Variant const&).
  Variant(Variant const& other) noexcept { Init(other); }
  /// Takes over the payload of `other`, owned or borrowed, and leaves `other` empty.
  Variant(Variant&& other) noexcept { Swap(other); }
  /// Of a value, as its Init. No other pointer is taken for a truth value.
  explicit Variant(bool v) noexcept { Init(v); }
  explicit Variant(uint8_t v) noexcept { Init(v); }
  explicit Variant(short v) noexcept { Init(v); }
  explicit Variant(unsigned short v) noexcept { Init(v); }
  explicit Variant(int v) noexcept { Init(v); }
  explicit Variant(unsigned int v) noexcept { Init(v); }
  explicit Variant(int64_t v) noexcept { Init(v); }
  explicit Variant(uint64_t v) noexcept { Init(v); }
  explicit Variant(float v) noexcept { Init(v); }
  explicit Variant(double v) noexcept { Init(v); }
  template <class Long>
  requires requires(Long* value, long*& same) { same = value; }
  explicit Variant(Long v) noexcept { Init(static_cast<int>(v)); }
  template <class Long>
  requires requires(Long* value, unsigned long*& same) { same = value; }
  explicit Variant(Long v) noexcept { Init(static_cast<unsigned int>(v)); }
  explicit Variant(Unknown* object) noexcept { Init(object); }
  explicit Variant(char const* text, unsigned how = 0) noexcept { Init(text, how); }
  explicit Variant(wchar_t const* text, unsigned how = 0) noexcept { Init(text, how); }
  explicit Variant(String const& text, bool borrow = false) noexcept { Init(text, borrow); }
  Variant(void const* data, unsigned bytes, bool borrow) noexcept { Init(data, bytes, borrow); }
  explicit Variant(point2d const& v, bool borrow = false) noexcept { Init(v, borrow); }
  explicit Variant(point2df const& v, bool borrow = false) noexcept { Init(v, borrow); }
  explicit Variant(point3d const& v, bool borrow = false) noexcept { Init(v, borrow); }
  explicit Variant(point3df const& v, bool borrow = false) noexcept { Init(v, borrow); }
  explicit Variant(matrix2d const& v, bool borrow = false) noexcept { Init(v, borrow); }
  explicit Variant(matrix3d const& v, bool borrow = false) noexcept { Init(v, borrow); }
  explicit Variant(void const*) = delete;

  Variant& operator=(Variant const& other) noexcept {
    Init(other);
    return *this;
  }
  Variant& operator=(Variant&& other) noexcept {
    Variant taken(static_cast<Variant&&>(other));
    Swap(taken);
    return *this;
  }
  ~Variant() { Done(); }

  /// Releases the payload and makes the variant empty. `size` is unchanged.
  YK_API void Done() noexcept;
  /// Becomes a copy that owns its payload. Objects are shared.
  YK_API void Init(Variant const& other) noexcept;
  /// Exchanges everything; nothing is copied, released or counted.
  YK_API void Swap(Variant& other) noexcept;

  // ---- scalars

  /// Becomes this value, with the tag of its type.
  YK_API void Init(bool v) noexcept;
  YK_API void Init(short v) noexcept;
  YK_API void Init(int v) noexcept;
  YK_API void Init(int64_t v) noexcept;
  YK_API void Init(uint8_t v) noexcept;
  YK_API void Init(unsigned short v) noexcept;
  YK_API void Init(unsigned int v) noexcept;
  YK_API void Init(uint64_t v) noexcept;
  YK_API void Init(float v) noexcept;
  YK_API void Init(double v) noexcept;

  /// Adds a reference; null is stored as a null object.
  YK_API void Init(Unknown* object) noexcept;

  // ---- texts; a null or empty one leaves the variant empty, unless `how` has KEEP_EMPTY

  /// Becomes a text, of the width given.
  YK_API void Init(char const* text, unsigned how = 0) noexcept;
  YK_API void Init(wchar_t const* text, unsigned how = 0) noexcept;
  YK_API void Init(String const& text, bool borrow = false) noexcept;

  /// A blob. Null `data` leaves the bytes uninitialised; when borrowed, it is a blob of that size without
  /// bytes. A size of 0 leaves the variant empty. Contract: a blob of the same size keeps its buffer, even a
  /// borrowed one, and the bytes are copied into it.
  YK_API void Init(void const* data, unsigned size, bool borrow) noexcept;

  // ---- geometry

  /// Becomes a copy of the value or, with `borrow`, holds its address.
  YK_API void Init(point3df const& v, bool borrow = false) noexcept;
  YK_API void Init(point2d const& v, bool borrow = false) noexcept;
  YK_API void Init(point3d const& v, bool borrow = false) noexcept;
  YK_API void Init(matrix2d const& v, bool borrow = false) noexcept;
  YK_API void Init(matrix3d const& v, bool borrow = false) noexcept;
  /// Two floats fit into the value itself: `borrow` is ignored.
  YK_API void Init(point2df const& v, bool borrow = false) noexcept;

  // ---- raw access

  /// The object, borrowed; null for any other type.
  YK_API Unknown* GetI() const noexcept;
  /// Stores the payload's address and returns its size; for types without one returns 0 and leaves `*out`
  /// unchanged.
  YK_API unsigned GetDataPtr(void** out) const noexcept;
  /// Copies from a blob. \return bytes copied, at most `bytes`; 0 for any other type
  YK_API unsigned Get(void* buffer, unsigned bytes) const noexcept;
  /// Copies a text of either width. \return characters in the buffer; 0 for any other type and a null payload
  /// `length` is the buffer's size. A text of the same width that fills the buffer is not terminated; one of
  /// the other width that does not fit leaves in it what the platform leaves. buffer[0] is set to 0 first,
  /// even for a length of 0: the buffer must hold at least one character.
  YK_API size_t Get(char* buffer, unsigned length) const noexcept;
  YK_API size_t Get(wchar_t* buffer, unsigned length) const noexcept;

  // ---- conversions: true on success; otherwise false, and `out` is 0 (or an empty String)

  /// UINT32 gives only its low 16 bits, unlike in the unsigned form (contract).
  YK_API bool Get(int& out) const noexcept;
  YK_API bool Get(unsigned int& out) const noexcept;
  YK_API bool Get(float& out) const noexcept;
  /// UINT32 gives only its low 16 bits, and a text only single precision (contract).
  YK_API bool Get(double& out) const noexcept;
  YK_API bool Get(bool& out) const noexcept;
  YK_API bool Get(uint8_t& out) const noexcept;         ///< saturated at 255
  YK_API bool Get(unsigned short& out) const noexcept;  ///< saturated at 65535
  YK_API bool Get(String& out) const noexcept;          ///< texts only; false also when there is no memory
  YK_API bool Get(point2d& out) const noexcept;         ///< POINT_2D and POINT_2DF only

  /// Copies into `out`, which borrows when this one borrows. E_INVALIDARG for the types that cannot be copied
  /// this way (empty, objects, matrices, POINT_3DF, reserved); `out` then has the tag and a null value.
  /// E_OUTOFMEMORY: `out` is empty.
  YK_API HRESULT Get(Variant& out) const noexcept;

  /// True when both hold the same value of the same type, or equal texts of either width. Two empty variants,
  /// two blobs, two objects and two 2-D matrices are never equal (contract).
  YK_API bool Compare(Variant const& other) const noexcept;

  // ---- persistence: type, flags and payload, directly in the writer's stream. Of blobs, objects, matrices
  // and POINT_3DF only the type and the flags are saved: they come back without a value (contract).

  /// \return S_OK; E_ABORT: the host stopped it inside a large payload
  YK_API HRESULT Save(Serializer* writer, ExecutionContext* context) const noexcept;
  /// The previous payload is not released: load into an empty variant. The flags are restored as saved,
  /// BORROWED included, but a payload that was read belongs to the variant. An unknown tag is kept, so that
  /// it can be saved again; the variant otherwise behaves as an empty one.
  /// \return S_OK; E_ABORT: the host stopped it inside a large payload, and the variant is empty
  YK_API HRESULT Load(Deserializer* reader, ExecutionContext* context) noexcept;

  /// The first eight bytes; the tag tells which field counts.
  union Value {
    /// For the types of this size, and to copy any.
    uint64_t bits;
    int64_t signed64;
    uint32_t unsigned32;
    int32_t signed32;
    uint16_t unsigned16;
    int16_t signed16;
    uint8_t unsigned8;
    float single;
    double wide;
    float pair[2];
    void* pointer;
    Unknown* object;
  };

  Value value = {0};     ///< the scalar, or the address of the payload
  uint32_t size = 0;     ///< bytes of the payload, including a text's terminator
  uint8_t flags = 0;     ///< see Flag
  uint8_t type = EMPTY;  ///< a Type
  uint16_t owner = 0;    ///< private; programs compiled against older headers leave arbitrary values here

 private:
  void Hold(Type kind, Value content, uint32_t bytes, uint8_t bits = 0) noexcept;
  bool HoldBytes(Type kind, void const* data, size_t bytes, bool borrow, uint8_t bits = 0) noexcept;
  bool HoldBlob(void const* data, unsigned bytes, bool borrow) noexcept;
  bool HoldText(Type kind, void const* text, size_t length, unsigned how, uint8_t bits = 0) noexcept;
};

#pragma pack(pop)

static_assert(sizeof(Variant) == 16 && alignof(Variant) == 4);
static_assert(offsetof(Variant, value) == 0 && offsetof(Variant, size) == 8);
static_assert(offsetof(Variant, flags) == 12 && offsetof(Variant, type) == 13 &&
              offsetof(Variant, owner) == 14);

}  // namespace yk
