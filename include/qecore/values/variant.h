// yk::Variant: one value of a closed set of kinds, and its tag.
//
//   Variant v;
//   v.Init(L"42");
//   int number;
//   if (v.Get(number)) ...          // 42: the kinds convert where that makes sense
//
//   offset  0                              8            12       13      14   16
//           +------------------------------+------------+--------+-------+----+
//           | value: a scalar, two floats, | size, of a | flags  | type  | ** |    4-byte packing: a map
//           | or a pointer to a payload    | payload    |        |       |    |    entry is a key and a
//           +------------------------------+------------+--------+-------+----+    variant
//
// ** is the library's: zero, or the mark of a payload that is the variant's own although the flags say
// BORROWED.
//
// Ownership: a payload (text, blob, geometry) is the variant's own, from the global `operator new` of the
// library, unless it was borrowed: then it stays its owner's, who keeps it alive. An object is held by one
// reference. Copies own what they hold. What would be borrowed out of the variant's own payload is copied.
// Failure: the conversions answer false and store 0 or an empty String. An Init that gets no memory leaves
// the variant empty. What is passed to an Init may be the variant's own payload. One thread at a time.
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

#pragma pack(push, 4)  // 16 bytes at a multiple of 4, so that a map entry is 20 bytes without a gap

class YK_API Variant {
 public:
  /// The kinds. The numbers are the tag bytes of saved files.
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
    BORROWED = 2,   ///< the payload is somebody else's and is never freed
    TRANSIENT = 4,  ///< a Map keeps the value and does not save it; Init(Variant const&) keeps the bit,
                    ///< Get(Variant&) does not
  };

  /// Bits of the `how` of the text Inits.
  enum TextFlag : unsigned {
    BORROW_TEXT = 1,  ///< hold the pointer, not a copy
    KEEP_EMPTY = 2,   ///< an empty text still makes a string, one with a null payload
  };

  Variant() noexcept = default;
  Variant(Variant const& other) noexcept { Init(other); }
  /// Takes what `other` holds, owned or borrowed, and leaves it empty.
  Variant(Variant&& other) noexcept { Swap(other); }
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

  /// Lets go of the payload and makes the variant empty. `size` stays as it was.
  void Done() noexcept;
  /// Becomes a copy that owns its payload. Objects are shared.
  void Init(Variant const& other) noexcept;
  /// Exchanges everything; nothing is copied, released or counted.
  void Swap(Variant& other) noexcept;

  // ---- scalars
  void Init(bool v) noexcept;
  void Init(short v) noexcept;
  void Init(int v) noexcept;
  void Init(int64_t v) noexcept;
  void Init(unsigned char v) noexcept;
  void Init(unsigned short v) noexcept;
  void Init(unsigned int v) noexcept;
  void Init(uint64_t v) noexcept;
  void Init(float v) noexcept;
  void Init(double v) noexcept;

  /// Takes a reference of its own; null is held as a null object.
  void Init(Unknown* object) noexcept;

  // ---- texts; a null or an empty one leaves the variant empty, unless `how` has KEEP_EMPTY
  void Init(char const* text, unsigned how = 0) noexcept;
  void Init(wchar_t const* text, unsigned how = 0) noexcept;
  void Init(String const& text, bool borrow = false) noexcept;

  /// A blob. Null `data` leaves the bytes uninitialised; borrowed, it is a blob of that size without bytes. A
  /// size of 0 leaves the variant empty. A blob of the same size keeps its buffer, borrowed or not, and takes
  /// the bytes into it: this is intended.
  void Init(void const* data, unsigned size, bool borrow) noexcept;

  // ---- geometry
  void Init(point3df const& v, bool borrow = false) noexcept;
  void Init(point2d const& v, bool borrow = false) noexcept;
  void Init(point3d const& v, bool borrow = false) noexcept;
  void Init(matrix2d const& v, bool borrow = false) noexcept;
  void Init(matrix3d const& v, bool borrow = false) noexcept;
  /// Two floats fit the value itself: `borrow` plays no part.
  void Init(point2df const& v, bool borrow = false) noexcept;

  // ---- raw access

  /// The object, lent; null for any other kind.
  Unknown* GetI() const noexcept;
  /// Stores the payload's address and gives its size; for kinds without one gives 0 and leaves `*out` alone.
  unsigned GetDataPtr(void** out) const noexcept;
  /// Copies from a blob. \return bytes copied, at most `bytes`; 0 for any other kind
  unsigned Get(void* buffer, unsigned bytes) const noexcept;
  /// Copies a text of either width. \return characters in the buffer; 0 for any other kind and a null payload
  /// `length` is the buffer's size. A text of the same width that fills it gets no terminator; one of the
  /// other width that does not fit leaves what the platform leaves. buffer[0] is set to 0 first, also for a
  /// length of 0: the buffer must hold at least one character.
  size_t Get(char* buffer, unsigned length) const noexcept;
  size_t Get(wchar_t* buffer, unsigned length) const noexcept;

  // ---- conversions: true on success, else 0 (or an empty String) and false

  /// UINT32 gives only its low 16 bits, unlike the unsigned form: this is intended.
  bool Get(int& out) const noexcept;
  bool Get(unsigned int& out) const noexcept;
  bool Get(float& out) const noexcept;
  /// UINT32 gives only its low 16 bits, and a text no more than single precision: both are intended.
  bool Get(double& out) const noexcept;
  bool Get(bool& out) const noexcept;
  bool Get(unsigned char& out) const noexcept;   ///< saturated at 255
  bool Get(unsigned short& out) const noexcept;  ///< saturated at 65535
  bool Get(String& out) const noexcept;          ///< texts only; false, too, when there is no memory
  bool Get(point2d& out) const noexcept;         ///< POINT_2D and POINT_2DF only

  /// Copies into `out`, which borrows when this one borrows. E_INVALIDARG for the kinds that are not copied
  /// this way (empty, objects, matrices, POINT_3DF, reserved); `out` then carries the tag and a null value.
  /// E_OUTOFMEMORY: `out` is empty.
  HRESULT Get(Variant& out) const noexcept;

  /// True when both hold the same value of the same kind, or texts of either width that are equal. Two empty
  /// variants, two blobs, two objects and two 2-D matrices are never equal.
  bool Compare(Variant const& other) const noexcept;

  // ---- persistence: type, flags, payload, straight in the writer's stream

  /// \return S_OK always
  HRESULT Save(Serializer* writer, ExecutionContext* context) const noexcept;
  /// What the variant held before is not released: load into an empty one. The flags are taken as saved,
  /// BORROWED among them, but a payload that was read is the variant's own. A tag that no kind has is kept,
  /// to be saved again; the variant then behaves as an empty one.
  /// \return S_OK always
  HRESULT Load(Deserializer* reader, ExecutionContext* context) noexcept;

  union Value {
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

  Value value = {0};
  uint32_t size = 0;  ///< bytes of the payload; a text's terminator counts
  uint8_t flags = 0;  ///< see Flag
  uint8_t type = EMPTY;
  uint16_t owner = 0;  ///< the library's; programs compiled against older headers leave anything here

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
