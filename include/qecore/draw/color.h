// Colour: mixing two packed colours, and a table that lifts mid-tones and changes contrast.
//
//   bits   31     24 23     16 15      8 7       0
//          +--------+---------+---------+---------+
//          | alpha  |  blue   |  green  |   red   |     alpha 255 is opaque
//          +--------+---------+---------+---------+
//
//   IADJUSTMENT brighter;
//   brighter.Init(30, 10);                        // a lift of 30, a contrast of 10
//   brighter.Translate(grey, width);
//
// Pure functions and plain values; nothing fails. Threads: as for an int.
#pragma once

#include <qecore/core/base.h>

namespace yk {

/// Mixes each of the four channels: weight t for c0, 1 - t for c1, in steps of 1/255. A t outside 0..1 is not
/// clamped: the weights are then outside 0..255 and each channel keeps the low 8 bits of what comes out.
YK_API unsigned BlendColor(unsigned c0, unsigned c1, float t) noexcept;

/// A table from byte to byte.
struct IADJUSTMENT {
  int16_t lift;              ///< raises the mid-tones by up to 1.5 of it; negative lowers them
  int16_t contrast;          ///< pushes values away from the middle; negative draws them to it
  unsigned char table[256];  ///< what becomes of each byte

  /// The identity.
  IADJUSTMENT() noexcept { Init(0, 0); }
  IADJUSTMENT(int lift, int contrast) noexcept { Init(lift, contrast); }

  /// Stores the settings, of each its low 16 bits, and fills the table. With the other setting at 0, each
  /// leaves black and white where they are.
  YK_API void Init(int lift, int contrast) noexcept;
  // Both only read the table: `const` is kept, since callers have been compiled with it.

  /// Replaces bytes in place.
  YK_API void Translate(unsigned char* bytes, size_t count) const noexcept;
  /// Maps the three colour channels; alpha stays.
  YK_API unsigned TranslateColor(unsigned colour) const noexcept;
};

static_assert(sizeof(IADJUSTMENT) == 260 && offsetof(IADJUSTMENT, table) == 4);

}  // namespace yk
