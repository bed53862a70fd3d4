#include "variant_p.h"

#include <math.h>
#include <qecore/core/conversions.h>
#include <qecore/core/ref.h>
#include <qecore/draw/geometry.h>
#include <qecore/values/str.h>
#include <qecore/values/string.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include <new>
#include <type_traits>
#include <utility>

#include "core/error_p.h"

namespace yk {

namespace {

char const* NarrowText(Variant const& v) noexcept { return static_cast<char const*>(v.value.pointer); }
wchar_t const* WideText(Variant const& v) noexcept { return static_cast<wchar_t const*>(v.value.pointer); }

size_t TextLength(Variant const& text) noexcept {
  return text.type == Variant::NARROW_STRING ? str::Length(NarrowText(text)) : str::Length(WideText(text));
}

// Rounds to an integer; narrows to single precision.
template <class Number>
Number FromReal(double real) noexcept {
  if constexpr (std::is_integral_v<Number>) {
    return static_cast<Number>(round(real));
  } else {
    return static_cast<Number>(real);
  }
}

// Contract: a text is read as an integer by its integer digits, and as a real number in single precision. A
// null payload gives 0.
template <class Number>
Number FromText(char const* text) noexcept {
  if (!text) return 0;
  if constexpr (std::is_integral_v<Number>) {
    return static_cast<Number>(atoi(text));
  } else {
    return static_cast<float>(atof(text));
  }
}

template <class Number>
Number FromText(wchar_t const* text) noexcept {
  if (!text) return 0;
  if constexpr (std::is_integral_v<Number>) {
    return static_cast<Number>(_wtoi(text));
  } else {
    return static_cast<float>(_wtof(text));
  }
}

template <class Number, class Scalar>
Number FromScalar(Scalar scalar) noexcept {
  if constexpr (std::is_floating_point_v<Scalar>) {
    return FromReal<Number>(scalar);
  } else {
    return static_cast<Number>(scalar);
  }
}

// Reads a scalar from the variant itself, where it need not be aligned.
template <class Scalar>
Scalar InlineNumber(Variant const& v) noexcept {
  static_assert(sizeof(Scalar) <= sizeof v.value);
  Scalar scalar;
  memcpy(&scalar, &v.value, sizeof scalar);
  return scalar;
}

template <class Number, class Scalar>
Number ReadInline(Variant const& v) noexcept {
  return FromScalar<Number>(InlineNumber<Scalar>(v));
}

template <class Number>
Number ReadTruth(Variant const& v) noexcept {
  return static_cast<Number>(v.value.unsigned8 != 0);
}

template <class Number>
Number ReadNarrowText(Variant const& v) noexcept {
  return FromText<Number>(NarrowText(v));
}

template <class Number>
Number ReadWideText(Variant const& v) noexcept {
  return FromText<Number>(WideText(v));
}

// The type as which the value is read, for each kind of number.
template <class Int, class Unsigned, class Float, class Double>
constexpr NumberReaders AS_EACH = {ReadInline<int, Int>, ReadInline<unsigned, Unsigned>,
                                   ReadInline<float, Float>, ReadInline<double, Double>};
template <class Scalar>
constexpr NumberReaders AS = AS_EACH<Scalar, Scalar, Scalar, Scalar>;

constexpr NumberReaders TRUTH = {ReadTruth, ReadTruth, ReadTruth, ReadTruth};
constexpr NumberReaders NARROW_TEXT = {ReadNarrowText, ReadNarrowText, ReadNarrowText, ReadNarrowText};
constexpr NumberReaders WIDE_TEXT = {ReadWideText, ReadWideText, ReadWideText, ReadWideText};
// Contract: UINT32 gives int and double its low half, and the 64-bit kinds give int and unsigned theirs.
constexpr NumberReaders U32 = AS_EACH<uint16_t, uint32_t, uint32_t, uint16_t>;
constexpr NumberReaders U64 = AS_EACH<uint32_t, uint32_t, uint64_t, uint64_t>;
constexpr NumberReaders S64 = AS_EACH<uint32_t, uint32_t, int64_t, int64_t>;

template <class Number>
bool ReadNumber(Variant const& v, Number (*NumberReaders::*reader)(Variant const&), Number& out) noexcept {
  NumberReaders const* const number = KindOf(v.type).number;
  out = number ? (number->*reader)(v) : Number{0};
  return number != nullptr;
}

template <class Small>
bool ReadSaturated(Variant const& v, Small& out) noexcept {
  constexpr unsigned MOST = static_cast<Small>(-1);
  unsigned number;
  bool const read = v.Get(number);
  out = static_cast<Small>(number > MOST ? MOST : number);
  return read;
}

// Payloads may be borrowed from anywhere, so their numbers may be unaligned.
template <class Number>
Number PayloadNumber(Variant const& v, size_t index) noexcept {
  Number number;
  memcpy(&number, static_cast<uint8_t const*>(v.value.pointer) + index * sizeof number, sizeof number);
  return number;
}

// ---- equality of two variants of one type

bool Never(Variant const&, Variant const&) noexcept { return false; }

template <class Scalar>
bool SameScalar(Variant const& a, Variant const& b) noexcept {
  return InlineNumber<Scalar>(a) == InlineNumber<Scalar>(b);
}

bool SamePair(Variant const& a, Variant const& b) noexcept {
  return a.value.pair[0] == b.value.pair[0] && a.value.pair[1] == b.value.pair[1];
}

bool SameNarrowText(Variant const& a, Variant const& b) noexcept {
  if (!a.value.pointer || !b.value.pointer) return a.value.pointer == b.value.pointer;
  return strcmp(NarrowText(a), NarrowText(b)) == 0;
}

bool SameWideText(Variant const& a, Variant const& b) noexcept {
  if (!a.value.pointer || !b.value.pointer) return a.value.pointer == b.value.pointer;
  return wcscmp(WideText(a), WideText(b)) == 0;
}

template <class Number, size_t COUNT>
bool SameNumbers(Variant const& a, Variant const& b) noexcept {
  if (!a.value.pointer || !b.value.pointer) return false;
  for (size_t i = 0; i < COUNT; ++i) {
    if (PayloadNumber<Number>(a, i) != PayloadNumber<Number>(b, i)) return false;
  }
  return true;
}

bool SameMatrix3d(Variant const& a, Variant const& b) noexcept {
  constexpr double TOLERANCE = 1e-30;
  if (!a.value.pointer || !b.value.pointer) return false;
  for (size_t i = 0; i < sizeof(matrix3d) / sizeof(double); ++i) {
    if (!(fabs(PayloadNumber<double>(a, i) - PayloadNumber<double>(b, i)) <= TOLERANCE)) return false;
  }
  return true;
}

// ---- the table

using V = Variant;

// clang-format off
constexpr VariantKind KINDS[] = {
    // type                payload fixed             inline sized  terminator, equal          number
    {V::EMPTY,             false,  0,                0,     false, 0, Never,                  nullptr},
    {V::BOOL,              false,  0,                1,     false, 0, SameScalar<uint8_t>,    &TRUTH},
    {V::UINT8,             false,  0,                1,     false, 0, SameScalar<uint8_t>,    &AS<uint8_t>},
    {V::UINT16,            false,  0,                2,     false, 0, SameScalar<uint16_t>,   &AS<uint16_t>},
    {V::UINT32,            false,  0,                4,     false, 0, SameScalar<uint32_t>,   &U32},
    {V::UINT64,            false,  0,                8,     false, 0, SameScalar<uint64_t>,   &U64},
    {V::INT16,             false,  0,                2,     false, 0, SameScalar<uint16_t>,   &AS<int16_t>},
    {V::INT32,             false,  0,                4,     false, 0, SameScalar<uint32_t>,   &AS<int32_t>},
    {V::INT64,             false,  0,                8,     false, 0, SameScalar<uint64_t>,   &S64},
    {V::RESERVED_9,        true,   16,               0,     false, 0, Never,                  nullptr},
    {V::RESERVED_10,       true,   0,                0,     false, 0, Never,                  nullptr},
    {V::FLOAT,             false,  0,                4,     false, 0, SameScalar<float>,      &AS<float>},
    {V::DOUBLE,            false,  0,                8,     false, 0, SameScalar<double>,     &AS<double>},
    {V::BLOB,              true,   0,                0,     false, 0, Never,                  nullptr},
    {V::NARROW_STRING,     true,   0,                0,     true,  1, SameNarrowText,         &NARROW_TEXT},
    {V::WIDE_STRING,       true,   0,                0,     true,  2, SameWideText,           &WIDE_TEXT},
    {V::RESERVED_16,       false,  0,                0,     false, 0, Never,                  nullptr},
    {V::OBJECT,            true,   0,                0,     false, 0, Never,                  nullptr},
    {V::RESERVED_18,       true,   16,               0,     false, 0, Never,                  nullptr},
    {V::RESERVED_19,       true,   16,               0,     false, 0, Never,                  nullptr},
    {V::MATRIX_2D,         true,   sizeof(matrix2d), 0,     false, 0, Never,                  nullptr},
    {V::MATRIX_3D,         true,   sizeof(matrix3d), 0,     false, 0, SameMatrix3d,           nullptr},
    {V::RESERVED_22,       true,   56,               0,     false, 0, Never,                  nullptr},
    {V::POINT_3D,          true,   sizeof(point3d),  0,     true,  0, SameNumbers<double, 3>, nullptr},
    {V::POINT_3DF,         true,   sizeof(point3df), 0,     false, 0, SameNumbers<float, 3>,  nullptr},
    {V::POINT_2D,          true,   sizeof(point2d),  0,     true,  0, SameNumbers<double, 2>, nullptr},
    {V::POINT_2DF,         false,  sizeof(point2df), 8,     false, 0, SamePair,               nullptr},
    {V::RESERVED_27,       true,   16,               0,     false, 0, Never,                  nullptr},
    {V::RESERVED_28,       true,   16,               0,     false, 0, Never,                  nullptr},
};
// clang-format on
static_assert(sizeof KINDS / sizeof *KINDS == Variant::TYPE_COUNT);

constexpr bool IsInOrder() noexcept {
  for (unsigned i = 0; i < Variant::TYPE_COUNT; ++i) {
    if (KINDS[i].type != i) return false;
  }
  return true;
}
static_assert(IsInOrder());

// Compares a narrow text with a wide one, in full, each byte sign-extended; the code page is not used.
bool SameTexts(Variant const& narrow, Variant const& wide) noexcept {
  char const* a = NarrowText(narrow);
  wchar_t const* b = WideText(wide);
  if (!a || !b) return false;
  for (; int{static_cast<signed char>(*a)} == int{*b}; ++a, ++b) {
    if (*b == 0) return true;
  }
  return false;
}

// Whether the bytes are inside a payload that the variant frees.
bool Owns(Variant const& v, void const* data) noexcept {
  if (!VariantPayload::IsOwn(v)) return false;
  return reinterpret_cast<uintptr_t>(data) - reinterpret_cast<uintptr_t>(v.value.pointer) < v.size;
}

// A copy of a payload, terminated even if its source no longer is; null when there is no memory.
void* NewPayload(void const* data, size_t bytes, size_t terminator) noexcept {
  void* const copy = ::operator new(bytes, std::nothrow);
  if (!copy) return FailMemory("Variant::Init", bytes), nullptr;
  if (data) memcpy(copy, data, bytes);
  memset(static_cast<uint8_t*>(copy) + (bytes - terminator), 0, terminator);
  return copy;
}

template <class Scalar>
Variant::Value Bits(Scalar scalar) noexcept {
  Variant::Value value = {0};
  memcpy(&value, &scalar, sizeof scalar);
  return value;
}

}  // namespace

VariantKind const& KindOf(uint8_t type) noexcept {
  return KINDS[type < Variant::TYPE_COUNT ? type : uint8_t{Variant::EMPTY}];
}

// ---- lifetime

void Variant::Done() noexcept {
  bool const own = VariantPayload::IsOwn(*this);
  bool const counted = type == OBJECT;
  Value const old = value;
  value = {0};
  flags = 0;
  type = EMPTY;
  owner = 0;
  // Last: the destruction of an object may destroy this very variant.
  if (own) ::operator delete(old.pointer);
  if (counted) Ref<Unknown>::Adopt(old.object).Reset();
}

void Variant::Init(Variant const& other) noexcept {
  if (this == &other) return;
  uint8_t const kind = other.type;
  uint8_t const kept = other.flags & static_cast<uint8_t>(~BORROWED);
  Value const content = other.value;
  if (KindOf(kind).payload && content.pointer && kind != OBJECT) {
    HoldBytes(static_cast<Type>(kind), content.pointer, other.size, false, kept);
    return;
  }
  if (kind == OBJECT) (void)Ref<Unknown>::Share(content.object).Detach();  // owned by this variant
  Hold(static_cast<Type>(kind), content, KindOf(kind).payload ? 0 : size, kept);
}

void Variant::Swap(Variant& other) noexcept {
  std::swap(value, other.value);
  std::swap(size, other.size);
  std::swap(flags, other.flags);
  std::swap(type, other.type);
  std::swap(owner, other.owner);
}

void Variant::Init(bool v) noexcept { Hold(BOOL, Bits(v), size); }
void Variant::Init(short v) noexcept { Hold(INT16, Bits(v), size); }
void Variant::Init(int v) noexcept { Hold(INT32, Bits(v), size); }
void Variant::Init(int64_t v) noexcept { Hold(INT64, Bits(v), size); }
void Variant::Init(uint8_t v) noexcept { Hold(UINT8, Bits(v), size); }
void Variant::Init(unsigned short v) noexcept { Hold(UINT16, Bits(v), size); }
void Variant::Init(unsigned int v) noexcept { Hold(UINT32, Bits(v), size); }
void Variant::Init(uint64_t v) noexcept { Hold(UINT64, Bits(v), size); }
void Variant::Init(float v) noexcept { Hold(FLOAT, Bits(v), size); }
void Variant::Init(double v) noexcept { Hold(DOUBLE, Bits(v), size); }

void Variant::Init(Unknown* object) noexcept {
  Value content = {0};
  content.object = Ref<Unknown>::Share(object).Detach();
  Hold(OBJECT, content, 0);
}

void Variant::Init(char const* text, unsigned how) noexcept {
  HoldText(NARROW_STRING, text, str::Length(text), how);
}

void Variant::Init(wchar_t const* text, unsigned how) noexcept {
  HoldText(WIDE_STRING, text, str::Length(text), how);
}

void Variant::Init(String const& text, bool borrow) noexcept {
  HoldText(WIDE_STRING, text.c_str(), text.Length(), borrow ? BORROW_TEXT : 0u);
}

void Variant::Init(void const* data, unsigned bytes, bool borrow) noexcept { HoldBlob(data, bytes, borrow); }

void Variant::Init(point3df const& v, bool borrow) noexcept { HoldBytes(POINT_3DF, &v, sizeof v, borrow); }
void Variant::Init(point2d const& v, bool borrow) noexcept { HoldBytes(POINT_2D, &v, sizeof v, borrow); }
void Variant::Init(point3d const& v, bool borrow) noexcept { HoldBytes(POINT_3D, &v, sizeof v, borrow); }
void Variant::Init(matrix2d const& v, bool borrow) noexcept { HoldBytes(MATRIX_2D, &v, sizeof v, borrow); }
void Variant::Init(matrix3d const& v, bool borrow) noexcept { HoldBytes(MATRIX_3D, &v, sizeof v, borrow); }

void Variant::Init(point2df const& v, bool) noexcept { Hold(POINT_2DF, Bits(v), sizeof v); }

// ---- raw access

Unknown* Variant::GetI() const noexcept { return type == OBJECT ? value.object : nullptr; }

unsigned Variant::GetDataPtr(void** out) const noexcept {
  if (!KindOf(type).payload) return 0;
  if (out) *out = value.pointer;
  return size;
}

unsigned Variant::Get(void* buffer, unsigned bytes) const noexcept {
  if (type != BLOB || !value.pointer || !buffer) return 0;
  unsigned const copied = bytes < size ? bytes : size;
  memmove(buffer, value.pointer, copied);
  return copied;
}

size_t Variant::Get(char* buffer, unsigned length) const noexcept {
  if (!buffer) return 0;
  buffer[0] = 0;  // Contract: even for a length of 0
  if (!value.pointer || length == 0) return 0;
  if (type == NARROW_STRING) {
    strncpy(buffer, NarrowText(*this), length);  // Contract: not terminated when the text fills the buffer
  } else if (type == WIDE_STRING) {
    wtoa(WideText(*this), buffer, length);
  }
  return strnlen(buffer, length);
}

size_t Variant::Get(wchar_t* buffer, unsigned length) const noexcept {
  if (!buffer) return 0;
  buffer[0] = 0;
  if (!value.pointer || length == 0) return 0;
  if (type == WIDE_STRING) {
    wcsncpy(buffer, WideText(*this), length);
  } else if (type == NARROW_STRING) {
    atow(NarrowText(*this), buffer, length);
  }
  return wcsnlen(buffer, length);
}

// ---- conversions

bool Variant::Get(int& out) const noexcept { return ReadNumber(*this, &NumberReaders::asInt, out); }
bool Variant::Get(unsigned int& out) const noexcept {
  return ReadNumber(*this, &NumberReaders::asUnsigned, out);
}
bool Variant::Get(float& out) const noexcept { return ReadNumber(*this, &NumberReaders::asFloat, out); }
bool Variant::Get(double& out) const noexcept { return ReadNumber(*this, &NumberReaders::asDouble, out); }

bool Variant::Get(bool& out) const noexcept {
  unsigned number;
  bool const read = Get(number);
  out = number != 0;
  return read;
}

bool Variant::Get(uint8_t& out) const noexcept { return ReadSaturated(*this, out); }

bool Variant::Get(unsigned short& out) const noexcept { return ReadSaturated(*this, out); }

bool Variant::Get(String& out) const noexcept {
  bool const isText = KindOf(type).IsText();
  String text;
  if (type == NARROW_STRING) text = String(NarrowText(*this));
  if (type == WIDE_STRING) text = WideText(*this);
  bool const whole = isText && (TextLength(*this) == 0 || !text.IsEmpty());  // false: no memory
  out = static_cast<String&&>(text);
  return whole;
}

bool Variant::Get(point2d& out) const noexcept {
  if (type == POINT_2DF) {
    out.x = value.pair[0];
    out.y = value.pair[1];
    return true;
  }
  bool const held = type == POINT_2D && value.pointer;
  out.x = held ? PayloadNumber<double>(*this, 0) : 0.0;
  out.y = held ? PayloadNumber<double>(*this, 1) : 0.0;
  return held;
}

HRESULT Variant::Get(Variant& out) const noexcept {
  VariantKind const& kind = KindOf(type);
  bool const copied = kind.inlineBytes > 0 || kind.sized || type == BLOB;
  HRESULT const result = copied ? S_OK : E_INVALIDARG;
  if (&out == this) return result;

  // A copy that this variant made of a payload is owned, even where the flags say otherwise.
  uint8_t const bits = flags & BORROWED;
  bool const borrow = bits && !VariantPayload::IsOwn(*this);
  bool held = true;
  if (type == BLOB) {
    held = out.HoldBlob(value.pointer, value.pointer || borrow ? size : 0, borrow);
  } else if (kind.IsText()) {
    held = out.HoldText(static_cast<Type>(type), value.pointer, TextLength(*this), borrow ? BORROW_TEXT : 0u,
                        bits);
  } else if (kind.sized && value.pointer) {
    held = out.HoldBytes(static_cast<Type>(type), value.pointer, kind.fixedSize, borrow, bits);
  } else {
    Value content = {0};
    if (kind.inlineBytes > 0) memcpy(&content, &value, kind.inlineBytes > 4 ? sizeof content : 4);
    out.Hold(static_cast<Type>(type), content, size);
  }
  return held ? result : E_OUTOFMEMORY;
}

bool Variant::Compare(Variant const& other) const noexcept {
  if (type == other.type) return KindOf(type).equal(*this, other);
  if (type == NARROW_STRING && other.type == WIDE_STRING) return SameTexts(*this, other);
  if (type == WIDE_STRING && other.type == NARROW_STRING) return SameTexts(other, *this);
  return false;
}

// ---- private

// The new content is made before the old content is released, since it may come out of that. The old content
// is released last: the destruction of an object may destroy this very variant.

void Variant::Hold(Type kind, Value content, uint32_t bytes, uint8_t bits) noexcept {
  Variant held;
  held.value = content;
  held.size = bytes;
  held.flags = bits;
  held.type = kind;
  Swap(held);
}

// False: there is no memory, and the variant is empty.
bool Variant::HoldBytes(Type kind, void const* data, size_t bytes, bool borrow, uint8_t bits) noexcept {
  size_t const terminator = KindOf(kind).terminator;
  bool const allowed = bytes >= terminator && bytes <= UINT32_MAX;
  if (borrow && Owns(*this, data)) borrow = false, bits &= static_cast<uint8_t>(~BORROWED);
  Variant held;
  if (allowed) held.value.pointer = borrow ? const_cast<void*>(data) : NewPayload(data, bytes, terminator);
  bool const made = allowed && (borrow || held.value.pointer);
  if (made) {
    held.size = static_cast<uint32_t>(bytes);
    held.flags = borrow ? bits | BORROWED : bits;
    held.type = kind;
    if (!borrow && (bits & BORROWED)) VariantPayload::Own(held);
  } else {
    held.size = size;
  }
  Swap(held);
  return made;
}

bool Variant::HoldBlob(void const* data, unsigned bytes, bool borrow) noexcept {
  if (type == BLOB && size == bytes && value.pointer) {
    if (data) memmove(value.pointer, data, bytes);
    return true;
  }
  if (bytes > 0) return HoldBytes(BLOB, data, bytes, borrow);
  Done();
  return true;
}

bool Variant::HoldText(Type kind, void const* text, size_t length, unsigned how, uint8_t bits) noexcept {
  size_t const bytes = (length + 1) * KindOf(kind).terminator;
  if (length > 0) return HoldBytes(kind, text, bytes, (how & BORROW_TEXT) != 0, bits);
  if (how & KEEP_EMPTY) {
    Hold(kind, Value{0}, 0);
  } else {
    Done();
  }
  return true;
}

}  // namespace yk
