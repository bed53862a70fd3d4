#include "variant_p.h"

#include <math.h>
#include <qecore/core/conversions.h>
#include <qecore/draw/geometry.h>
#include <qecore/values/str.h>
#include <qecore/values/string.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include <new>
#include <type_traits>

namespace yk {

static_assert(sizeof(point2d) == KindOf(Variant::POINT_2D).fixedSize);
static_assert(sizeof(point2df) == KindOf(Variant::POINT_2DF).fixedSize);
static_assert(sizeof(point3d) == KindOf(Variant::POINT_3D).fixedSize);
static_assert(sizeof(point3df) == KindOf(Variant::POINT_3DF).fixedSize);
static_assert(sizeof(matrix2d) == KindOf(Variant::MATRIX_2D).fixedSize);
static_assert(sizeof(matrix3d) == KindOf(Variant::MATRIX_3D).fixedSize);

namespace {

// How a number is read from a variant.
enum Reading : uint8_t {
  NONE,
  TRUTH,
  U8,
  U16,
  U32,
  U64,
  S16,
  S32,
  S64,
  SINGLE,
  WIDE,
  NARROW_TEXT,
  WIDE_TEXT
};

struct NumberReadings {
  Reading asInt, asUnsigned, asFloat, asDouble;
};

// Where a row is uneven (UINT32), it is so on purpose.
constexpr NumberReadings NUMBER_READINGS[] = {
    {NONE, NONE, NONE, NONE},                              // EMPTY
    {TRUTH, TRUTH, TRUTH, TRUTH},                          // BOOL
    {U8, U8, U8, U8},                                      // UINT8
    {U16, U16, U16, U16},                                  // UINT16
    {U16, U32, U32, U16},                                  // UINT32
    {U32, U32, U64, U64},                                  // UINT64
    {S16, S16, S16, S16},                                  // INT16
    {S32, S32, S32, S32},                                  // INT32
    {U32, U32, S64, S64},                                  // INT64
    {NONE, NONE, NONE, NONE},                              // RESERVED_9
    {NONE, NONE, NONE, NONE},                              // RESERVED_10
    {SINGLE, SINGLE, SINGLE, SINGLE},                      // FLOAT
    {WIDE, WIDE, WIDE, WIDE},                              // DOUBLE
    {NONE, NONE, NONE, NONE},                              // BLOB
    {NARROW_TEXT, NARROW_TEXT, NARROW_TEXT, NARROW_TEXT},  // NARROW_STRING
    {WIDE_TEXT, WIDE_TEXT, WIDE_TEXT, WIDE_TEXT},          // WIDE_STRING
};
static_assert(sizeof NUMBER_READINGS / sizeof *NUMBER_READINGS == Variant::WIDE_STRING + 1);

NumberReadings const& ReadingsOf(Variant const& v) noexcept {
  return NUMBER_READINGS[v.type <= Variant::WIDE_STRING ? v.type : uint8_t{Variant::EMPTY}];
}

char const* NarrowText(Variant const& v) noexcept { return static_cast<char const*>(v.value.pointer); }
wchar_t const* WideText(Variant const& v) noexcept { return static_cast<wchar_t const*>(v.value.pointer); }

// Integers are rounded to, single precision is narrowed to.
template <class Number>
Number FromReal(double real) noexcept {
  if constexpr (std::is_integral_v<Number>) {
    return static_cast<Number>(round(real));
  } else {
    return static_cast<Number>(real);
  }
}

// A text gives an integer by its integer digits, and a real of no more than single precision: intended. A
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

template <class Number>
bool ReadNumber(Variant const& v, Reading reading, Number& out) noexcept {
  Variant::Value const& from = v.value;
  out = 0;
  switch (reading) {
    case NONE:
      return false;
    case TRUTH:
      out = static_cast<Number>(from.unsigned8 != 0);
      break;
    case U8:
      out = static_cast<Number>(from.unsigned8);
      break;
    case U16:
      out = static_cast<Number>(from.unsigned16);
      break;
    case U32:
      out = static_cast<Number>(from.unsigned32);
      break;
    case U64:
      out = static_cast<Number>(from.bits);
      break;
    case S16:
      out = static_cast<Number>(from.signed16);
      break;
    case S32:
      out = static_cast<Number>(from.signed32);
      break;
    case S64:
      out = static_cast<Number>(from.signed64);
      break;
    case SINGLE:
      out = FromReal<Number>(from.single);
      break;
    case WIDE:
      out = FromReal<Number>(from.wide);
      break;
    case NARROW_TEXT:
      out = FromText<Number>(NarrowText(v));
      break;
    case WIDE_TEXT:
      out = FromText<Number>(WideText(v));
      break;
  }
  return true;
}

template <class Small>
bool ReadSaturated(Variant const& v, Small& out) noexcept {
  constexpr unsigned MOST = static_cast<Small>(-1);
  unsigned number;
  bool const read = v.Get(number);
  out = static_cast<Small>(number > MOST ? MOST : number);
  return read;
}

// Payloads may be borrowed from anywhere, so numbers in them are read without regard to alignment.
template <class Number>
Number PayloadNumber(Variant const& v, size_t index) noexcept {
  Number number;
  memcpy(&number, static_cast<unsigned char const*>(v.value.pointer) + index * sizeof number, sizeof number);
  return number;
}

// ---- equality of two variants of one kind

using Equality = bool (*)(Variant const& a, Variant const& b);

bool Never(Variant const&, Variant const&) noexcept { return false; }

template <class Scalar>
bool SameScalar(Variant const& a, Variant const& b) noexcept {
  Scalar x, y;
  memcpy(&x, &a.value, sizeof x);
  memcpy(&y, &b.value, sizeof y);
  return x == y;
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

constexpr Equality EQUALITIES[] = {
    Never,                   // EMPTY
    SameScalar<uint8_t>,     // BOOL
    SameScalar<uint8_t>,     // UINT8
    SameScalar<uint16_t>,    // UINT16
    SameScalar<uint32_t>,    // UINT32
    SameScalar<uint64_t>,    // UINT64
    SameScalar<uint16_t>,    // INT16
    SameScalar<uint32_t>,    // INT32
    SameScalar<uint64_t>,    // INT64
    Never,                   // RESERVED_9
    Never,                   // RESERVED_10
    SameScalar<float>,       // FLOAT
    SameScalar<double>,      // DOUBLE
    Never,                   // BLOB
    SameNarrowText,          // NARROW_STRING
    SameWideText,            // WIDE_STRING
    Never,                   // RESERVED_16
    Never,                   // OBJECT
    Never,                   // RESERVED_18
    Never,                   // RESERVED_19
    Never,                   // MATRIX_2D
    SameMatrix3d,            // MATRIX_3D
    Never,                   // RESERVED_22
    SameNumbers<double, 3>,  // POINT_3D
    SameNumbers<float, 3>,   // POINT_3DF
    SameNumbers<double, 2>,  // POINT_2D
    SamePair,                // POINT_2DF
    Never,                   // RESERVED_27
    Never,                   // RESERVED_28
};
static_assert(sizeof EQUALITIES / sizeof *EQUALITIES == Variant::TYPE_COUNT);

// A narrow text and a wide one: whole texts, each byte sign-extended; the code page plays no part.
bool SameTexts(Variant const& narrow, Variant const& wide) noexcept {
  char const* a = NarrowText(narrow);
  wchar_t const* b = WideText(wide);
  if (!a || !b) return false;
  for (; int{static_cast<signed char>(*a)} == int{*b}; ++a, ++b) {
    if (*b == 0) return true;
  }
  return false;
}

// Whether the bytes lie in a payload that the variant frees.
bool Owns(Variant const& v, void const* data) noexcept {
  if (!VariantPayload::IsOwn(v)) return false;
  return reinterpret_cast<uintptr_t>(data) - reinterpret_cast<uintptr_t>(v.value.pointer) < v.size;
}

// A copy of a payload, terminated whatever its source has become; null when there is no memory.
void* NewPayload(void const* data, size_t bytes, size_t terminator) noexcept {
  void* const copy = ::operator new(bytes, std::nothrow);
  if (!copy) return nullptr;
  if (data) memcpy(copy, data, bytes);
  memset(static_cast<unsigned char*>(copy) + (bytes - terminator), 0, terminator);
  return copy;
}

template <class Scalar>
Variant::Value Bits(Scalar scalar) noexcept {
  Variant::Value value = {0};
  memcpy(&value, &scalar, sizeof scalar);
  return value;
}

}  // namespace

// ---- lifetime

void Variant::Done() noexcept {
  bool const own = VariantPayload::IsOwn(*this);
  bool const counted = type == OBJECT;
  Value const old = value;
  value = {0};
  flags = 0;
  type = EMPTY;
  owner = 0;
  // Last: an object that goes may take this very variant with it.
  if (own) ::operator delete(old.pointer);
  if (counted && old.object) old.object->Release();
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
  if (kind == OBJECT && content.object) content.object->AddRef();
  Hold(static_cast<Type>(kind), content, KindOf(kind).payload ? 0 : size, kept);
}

void Variant::Init(bool v) noexcept { Hold(BOOL, Bits(v), size); }
void Variant::Init(short v) noexcept { Hold(INT16, Bits(v), size); }
void Variant::Init(int v) noexcept { Hold(INT32, Bits(v), size); }
void Variant::Init(int64_t v) noexcept { Hold(INT64, Bits(v), size); }
void Variant::Init(unsigned char v) noexcept { Hold(UINT8, Bits(v), size); }
void Variant::Init(unsigned short v) noexcept { Hold(UINT16, Bits(v), size); }
void Variant::Init(unsigned int v) noexcept { Hold(UINT32, Bits(v), size); }
void Variant::Init(uint64_t v) noexcept { Hold(UINT64, Bits(v), size); }
void Variant::Init(float v) noexcept { Hold(FLOAT, Bits(v), size); }
void Variant::Init(double v) noexcept { Hold(DOUBLE, Bits(v), size); }

void Variant::Init(Unknown* object) noexcept {
  if (object) object->AddRef();
  Value content = {0};
  content.object = object;
  Hold(OBJECT, content, 0);
}

void Variant::Init(char const* text, unsigned how) noexcept {
  HoldText(NARROW_STRING, text, str::Length(text), sizeof *text, how);
}

void Variant::Init(wchar_t const* text, unsigned how) noexcept {
  HoldText(WIDE_STRING, text, str::Length(text), sizeof *text, how);
}

void Variant::Init(String const& text, bool borrow) noexcept {
  HoldText(WIDE_STRING, text.c_str(), text.Length(), sizeof(wchar_t), borrow ? BORROW_TEXT : 0u);
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
  buffer[0] = 0;  // also when the length is 0: intended
  if (!value.pointer || length == 0) return 0;
  if (type == NARROW_STRING) {
    strncpy(buffer, NarrowText(*this), length);  // without a terminator when the text fills it: intended
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

bool Variant::Get(int& out) const noexcept { return ReadNumber(*this, ReadingsOf(*this).asInt, out); }

bool Variant::Get(unsigned int& out) const noexcept {
  return ReadNumber(*this, ReadingsOf(*this).asUnsigned, out);
}

bool Variant::Get(float& out) const noexcept { return ReadNumber(*this, ReadingsOf(*this).asFloat, out); }

bool Variant::Get(double& out) const noexcept { return ReadNumber(*this, ReadingsOf(*this).asDouble, out); }

bool Variant::Get(bool& out) const noexcept {
  unsigned number;
  bool const read = Get(number);
  out = number != 0;
  return read;
}

bool Variant::Get(unsigned char& out) const noexcept { return ReadSaturated(*this, out); }

bool Variant::Get(unsigned short& out) const noexcept { return ReadSaturated(*this, out); }

bool Variant::Get(String& out) const noexcept {
  String text;
  bool filled = false;
  if (type == NARROW_STRING) {
    text = String(NarrowText(*this));
    filled = str::Length(NarrowText(*this)) > 0;
  } else if (type == WIDE_STRING) {
    text = WideText(*this);
    filled = str::Length(WideText(*this)) > 0;
  }
  bool const whole = !filled || !text.IsEmpty();  // else there was no memory
  out = static_cast<String&&>(text);
  return whole && (type == NARROW_STRING || type == WIDE_STRING);
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

  // The copy of a payload that is this variant's own is its own, too, even where the flags say otherwise.
  uint8_t const bits = flags & BORROWED;
  bool const borrow = bits && !VariantPayload::IsOwn(*this);
  unsigned const how = borrow ? BORROW_TEXT : 0u;
  bool held = true;
  if (type == BLOB) {
    held = out.HoldBlob(value.pointer, value.pointer || borrow ? size : 0, borrow);
  } else if (type == NARROW_STRING) {
    held =
        out.HoldText(NARROW_STRING, value.pointer, str::Length(NarrowText(*this)), sizeof(char), how, bits);
  } else if (type == WIDE_STRING) {
    held = out.HoldText(WIDE_STRING, value.pointer, str::Length(WideText(*this)), sizeof(wchar_t), how, bits);
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
  if (type == other.type) return type < TYPE_COUNT && EQUALITIES[type](*this, other);
  if (type == NARROW_STRING && other.type == WIDE_STRING) return SameTexts(*this, other);
  if (type == WIDE_STRING && other.type == NARROW_STRING) return SameTexts(other, *this);
  return false;
}

// ---- private

// What is held next is made before what is held now goes: it may come out of that. And what is held now goes
// last: an object that goes may take this very variant with it.

void Variant::Hold(Type kind, Value content, uint32_t bytes, uint8_t bits) noexcept {
  Variant held;
  held.value = content;
  held.size = bytes;
  held.flags = bits;
  held.type = kind;
  VariantPayload::Exchange(*this, held);
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
  VariantPayload::Exchange(*this, held);
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

bool Variant::HoldText(Type kind, void const* text, size_t length, size_t unit, unsigned how,
                       uint8_t bits) noexcept {
  if (length > 0) return HoldBytes(kind, text, (length + 1) * unit, (how & BORROW_TEXT) != 0, bits);
  if (how & KEEP_EMPTY) {
    Hold(kind, Value{0}, 0);
  } else {
    Done();
  }
  return true;
}

}  // namespace yk
