// The types of a Variant: how each is stored, saved, compared and read as a number, one row per tag. And the
// ownership of payloads.
#pragma once

#include <qecore/values/variant.h>

namespace yk {

/// How a type is read as each kind of number.
struct NumberReaders {
  int (*asInt)(Variant const&);
  unsigned (*asUnsigned)(Variant const&);
  float (*asFloat)(Variant const&);
  double (*asDouble)(Variant const&);
};

struct VariantKind {
  uint8_t type;
  bool payload;         ///< the value is a pointer: to bytes, or to an object
  uint8_t fixedSize;    ///< bytes of the payload; 0 when the size varies
  uint8_t inlineBytes;  ///< bytes of a scalar stored in the value; its saved record has as many
  bool sized;           ///< its saved record holds a 32-bit size and, unless that is 0, the payload
  uint8_t terminator;   ///< trailing bytes of the payload that its size includes and the record omits
  bool (*equal)(Variant const& a, Variant const& b);  ///< compares two of this type
  NumberReaders const* number;                        ///< null: not a number

  /// A text: its characters have the size of its terminator.
  constexpr bool IsText() const noexcept { return terminator > 0; }
};

/// The row of a tag. An unknown tag, from a damaged file, has that of the empty type.
VariantKind const& KindOf(uint8_t type) noexcept;

/// The payload of a variant, which is bytes and not an object.
///
/// A value that was saved while it was borrowed keeps the flag BORROWED when it is loaded, although its
/// payload is then its own. Such a payload is marked as owned. The mark is derived from the address, so that
/// what other programs leave in these two bytes, or a pointer that they store later, is very unlikely to
/// match it.
struct VariantPayload {
  static bool IsOwn(Variant const& v) noexcept {
    if (!KindOf(v.type).payload || v.type == Variant::OBJECT || !v.value.pointer) return false;
    return !(v.flags & Variant::BORROWED) || v.owner == MarkOf(v.value.pointer);
  }

  /// Makes the payload owned, to be freed by `operator delete`, regardless of the flags.
  static void Own(Variant& v) noexcept { v.owner = MarkOf(v.value.pointer); }

 private:
  // Never 0, the value in a zeroed variant.
  static uint16_t MarkOf(void const* payload) noexcept {
    uintptr_t const address = reinterpret_cast<uintptr_t>(payload);
    return static_cast<uint16_t>(((address >> 4) ^ (address >> 20) ^ 0x59A7) | 0x8000);
  }
};

}  // namespace yk
