// The kinds of a Variant: what each holds and how it is saved, one row per tag. And who frees its payload.
#pragma once

#include <qecore/values/variant.h>

#include <utility>

namespace yk {

struct VariantKind {
  uint8_t type;
  bool payload;         ///< the value is a pointer: to bytes, or to an object
  uint8_t fixedSize;    ///< bytes of the payload; 0 when each has a size of its own
  uint8_t inlineBytes;  ///< bytes of a scalar that is kept in the value; its saved record holds as many
  bool sized;           ///< its saved record holds a 32-bit size and, when that is not 0, the payload
  uint8_t terminator;   ///< bytes at the payload's end that the size counts and the record leaves out
};

// clang-format off
inline constexpr VariantKind VARIANT_KINDS[] = {
    // type                   payload  fixed  inline  sized  terminator
    {Variant::EMPTY,          false,   0,     0,      false, 0},
    {Variant::BOOL,           false,   0,     1,      false, 0},
    {Variant::UINT8,          false,   0,     1,      false, 0},
    {Variant::UINT16,         false,   0,     2,      false, 0},
    {Variant::UINT32,         false,   0,     4,      false, 0},
    {Variant::UINT64,         false,   0,     8,      false, 0},
    {Variant::INT16,          false,   0,     2,      false, 0},
    {Variant::INT32,          false,   0,     4,      false, 0},
    {Variant::INT64,          false,   0,     8,      false, 0},
    {Variant::RESERVED_9,     true,    16,    0,      false, 0},
    {Variant::RESERVED_10,    true,    0,     0,      false, 0},
    {Variant::FLOAT,          false,   0,     4,      false, 0},
    {Variant::DOUBLE,         false,   0,     8,      false, 0},
    {Variant::BLOB,           true,    0,     0,      false, 0},
    {Variant::NARROW_STRING,  true,    0,     0,      true,  1},
    {Variant::WIDE_STRING,    true,    0,     0,      true,  2},
    {Variant::RESERVED_16,    false,   0,     0,      false, 0},
    {Variant::OBJECT,         true,    0,     0,      false, 0},
    {Variant::RESERVED_18,    true,    16,    0,      false, 0},
    {Variant::RESERVED_19,    true,    16,    0,      false, 0},
    {Variant::MATRIX_2D,      true,    48,    0,      false, 0},
    {Variant::MATRIX_3D,      true,    96,    0,      false, 0},
    {Variant::RESERVED_22,    true,    56,    0,      false, 0},
    {Variant::POINT_3D,       true,    24,    0,      true,  0},
    {Variant::POINT_3DF,      true,    12,    0,      false, 0},
    {Variant::POINT_2D,       true,    16,    0,      true,  0},
    {Variant::POINT_2DF,      false,   8,     8,      false, 0},
    {Variant::RESERVED_27,    true,    16,    0,      false, 0},
    {Variant::RESERVED_28,    true,    16,    0,      false, 0},
};
// clang-format on

constexpr bool VariantKindsAreInOrder() noexcept {
  for (unsigned i = 0; i < Variant::TYPE_COUNT; ++i) {
    if (VARIANT_KINDS[i].type != i) return false;
  }
  return sizeof VARIANT_KINDS == Variant::TYPE_COUNT * sizeof(VariantKind);
}
static_assert(VariantKindsAreInOrder());

/// The facts of a tag. A tag that is none, from a damaged file, has those of the empty kind.
constexpr VariantKind const& KindOf(uint8_t type) noexcept {
  return VARIANT_KINDS[type < Variant::TYPE_COUNT ? type : uint8_t{Variant::EMPTY}];
}

/// The payload of a variant, which is bytes and not an object.
///
/// A value that was saved while it was borrowed says so in its flags, and goes on saying so when it is
/// loaded, although it then has a payload of its own. Such a payload is marked as the variant's own. The mark
/// is made of the address: what other programs leave in these two bytes, or a pointer that they put there
/// later, is very unlikely to make one.
struct VariantPayload {
  static bool IsOwn(Variant const& v) noexcept {
    if (!KindOf(v.type).payload || v.type == Variant::OBJECT || !v.value.pointer) return false;
    return !(v.flags & Variant::BORROWED) || v.owner == MarkOf(v.value.pointer);
  }

  /// Makes the payload the variant's own, to be freed by `operator delete`, whatever the flags say.
  static void Own(Variant& v) noexcept { v.owner = MarkOf(v.value.pointer); }

  /// Exchanges two values without copying a payload.
  static void Exchange(Variant& a, Variant& b) noexcept {
    std::swap(a.value, b.value);
    std::swap(a.size, b.size);
    std::swap(a.flags, b.flags);
    std::swap(a.type, b.type);
    std::swap(a.owner, b.owner);
  }

 private:
  // Never 0, which is what a variant of zeros has there.
  static uint16_t MarkOf(void const* payload) noexcept {
    uintptr_t const address = reinterpret_cast<uintptr_t>(payload);
    return static_cast<uint16_t>(((address >> 4) ^ (address >> 20) ^ 0x59A7) | 0x8000);
  }
};

}  // namespace yk
