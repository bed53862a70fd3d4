// The kinds of a Variant: what each holds, how it is saved, compared and read as a number, one row per tag.
// And who frees its payload.
#pragma once

#include <qecore/values/variant.h>

namespace yk {

/// How a kind is read as each kind of number.
struct NumberReaders {
  int (*asInt)(Variant const&);
  unsigned (*asUnsigned)(Variant const&);
  float (*asFloat)(Variant const&);
  double (*asDouble)(Variant const&);
};

struct VariantKind {
  uint8_t type;
  bool payload;         ///< the value is a pointer: to bytes, or to an object
  uint8_t fixedSize;    ///< bytes of the payload; 0 when each has a size of its own
  uint8_t inlineBytes;  ///< bytes of a scalar that is kept in the value; its saved record holds as many
  bool sized;           ///< its saved record holds a 32-bit size and, when that is not 0, the payload
  uint8_t terminator;   ///< bytes at the payload's end that the size counts and the record leaves out
  bool (*equal)(Variant const& a, Variant const& b);  ///< of two of this kind
  NumberReaders const* number;                        ///< null: it is no number

  /// A text: its character has the size of its terminator.
  constexpr bool IsText() const noexcept { return terminator > 0; }
};

/// The facts of a tag. An unknown tag, from a damaged file, has those of the empty kind.
VariantKind const& KindOf(uint8_t type) noexcept;

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

 private:
  // Never 0, which is what a variant of zeros has there.
  static uint16_t MarkOf(void const* payload) noexcept {
    uintptr_t const address = reinterpret_cast<uintptr_t>(payload);
    return static_cast<uint16_t>(((address >> 4) ^ (address >> 20) ^ 0x59A7) | 0x8000);
  }
};

}  // namespace yk
