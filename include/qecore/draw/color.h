// Colour: blending two packed colours, and a lookup table that lifts mid-tones and changes contrast.
//
//   bits   31     24 23     16 15      8 7       0
//          +--------+---------+---------+---------+
//          | alpha  |  blue   |  green  |   red   |     alpha 255 is opaque
//          +--------+---------+---------+---------+
//
//   dc->SetColor(Rgba(255, 128, 0));              // orange, opaque
//
//   IADJUSTMENT brighter;
//   brighter.Init(30, 10);                        // a lift of 30, a contrast of 10
//   brighter.Translate(grey, width);
//
// Pure functions and plain values; nothing fails. As safe across threads as an int.
#pragma once

#include <qecore/core/base.h>

namespace yk {

/// A colour of its channels, 0 to 255, opaque unless stated otherwise: `Rgba(255, 0, 0)` is red.
constexpr unsigned Rgba(unsigned char red, unsigned char green, unsigned char blue,
                        unsigned char alpha = 255) noexcept {
  return unsigned{alpha} << 24 | unsigned{blue} << 16 | unsigned{green} << 8 | red;
}

/// Blends each of the four channels: weight t for c0, 1 - t for c1, in steps of 1/255. A t outside 0..1 is
/// not clamped: the weights are then outside 0..255 and each channel keeps the low 8 bits of the result.
YK_API unsigned BlendColor(unsigned c0, unsigned c1, float t) noexcept;

/// A byte-to-byte lookup table.
struct IADJUSTMENT {
  int16_t lift;              ///< raises the mid-tones by up to 1.5 times its value; negative lowers them
  int16_t contrast;          ///< moves values away from the middle; negative moves them toward it
  unsigned char table[256];  ///< the new value of each byte

  /// The identity.
  IADJUSTMENT() noexcept { Init(0, 0); }
  IADJUSTMENT(int raise, int steepen) noexcept { Init(raise, steepen); }

  /// Stores the low 16 bits of both settings and fills the table. While the other setting is 0, each of them
  /// leaves black and white unchanged.
  YK_API void Init(int lift, int contrast) noexcept;
  // Contract: both are const, as in the decorated names that existing programs import.

  /// Maps bytes in place.
  YK_API void Translate(unsigned char* bytes, size_t count) const noexcept;
  /// Maps the three colour channels; alpha stays.
  YK_API unsigned TranslateColor(unsigned colour) const noexcept;
};

static_assert(sizeof(IADJUSTMENT) == 260 && offsetof(IADJUSTMENT, table) == 4);

}  // namespace yk
