// Pixel formats: their numbers, their properties, the palette entry.
//
//   unsigned short bits;
//   int bytes = img::GetPixelSize(IMG_BGR48, bits);         // 6, and bits is 48
//   img::FormatFacts const& facts = img::GetFacts(format);  // one row of the table below
//
//   memory order   BGR24   B G R | B G R | ...              channels of 8 bits: one byte each
//                  BGRA32  B G R A | ...
//                  BGR48   B B G G R R | ...                channels of 16 bits: little-endian
//                  BGRAF   B(4) G(4) R(4) A(4) | ...        channels of 32 bits: float, 1.0 is full intensity
//                  RGB555  a little-endian word: -rrrrrgg gggbbbbb
//                  PAL1    the highest bit is the left pixel;  PAL4  the high nibble is the left pixel
//   a row          pixels, padded to a multiple of 4 bytes; rows are stored bottom-up
//   a palette      2, 16 or 256 entries of R G B A, one byte each
//
// Everything here is a constant: any thread, no failure.
#pragma once

#include <qecore/core/base.h>

namespace yk {

/// The format of an image's pixels. Programs store the numbers; 5, 6, 10 and 11 are not assigned.
enum IMG_FORMAT : int32_t {
  IMG_NONE = 0,     ///< the format of an empty image
  IMG_GRAY8 = 1,    ///< one byte of grey
  IMG_PAL8 = 2,     ///< one byte that indexes 256 palette entries
  IMG_BGR24 = 3,    ///< bytes blue, green, red
  IMG_BGRA32 = 4,   ///< bytes blue, green, red, alpha
  IMG_GRAY16 = 7,   ///< one 16-bit grey
  IMG_BGR48 = 8,    ///< 16-bit blue, green, red
  IMG_BGRA64 = 9,   ///< 16-bit blue, green, red, alpha
  IMG_GRAYF = 12,   ///< one float of grey, 0.0 to 1.0
  IMG_BGRF = 13,    ///< floats blue, green, red
  IMG_BGRAF = 14,   ///< floats blue, green, red, alpha
  IMG_MONO32 = 15,  ///< 32 bits whose meaning is up to the caller; cannot be converted
  IMG_PAL1 = 16,    ///< one bit that indexes 2 palette entries
  IMG_PAL4 = 17,    ///< four bits that index 16 palette entries
  IMG_RGB555 = 18,  ///< bits 0 to 4 blue, 5 to 9 green, 10 to 14 red, 15 unused
};

/// One entry of a palette. The byte order is the reverse of a pixel's.
struct IMG_PALENTRY {
  uint8_t red;    ///< 0 to 255, as all four
  uint8_t green;  ///< the second byte
  uint8_t blue;   ///< the third
  uint8_t alpha;  ///< 255 is opaque
};

static_assert(sizeof(IMG_PALENTRY) == 4);

namespace img {

/// The number of the last format.
inline constexpr int LAST_FORMAT = IMG_RGB555;

/// How a channel is encoded.
enum class ChannelKind : uint8_t {
  NONE,      ///< bits whose meaning is up to the caller; or no format
  INDEX,     ///< the whole pixel is the index of a palette entry, which has the channels
  UNSIGNED,  ///< 0 to the maximum of its bits
  FLOAT,     ///< 0.0 to 1.0
};

using Kind = ChannelKind;  ///< short, for the table

/// The properties of one format. Unassigned numbers have zeros and the name "none".
struct FormatFacts {
  IMG_FORMAT format;        ///< the row's own number; IMG_NONE where the number is not assigned
  uint16_t bits;            ///< per pixel
  uint8_t bytes;            ///< per pixel; 0 for the formats of less than a byte per pixel
  ChannelKind kind;         ///< of every channel
  uint8_t channels;         ///< 1 grey, 3 blue, green, red, 4 with alpha; 0 where the pixel itself has none
  uint8_t channelBits;      ///< of each channel
  IMG_FORMAT averaged;      ///< the float format that resampling sums in; IMG_NONE: not resampled
  uint16_t paletteEntries;  ///< 2, 16, 256; 0 for a format without a palette
  IMG_FORMAT summed;        ///< of the bytes that shrinking may sum instead; IMG_NONE: it has none
  bool halved;              ///< halving averages its bytes, truncating
  bool drawn;               ///< a device context can draw on it
  bool dib;                 ///< stored in a GDI bitmap section unless the heap is requested
  char const* name;         ///< lower case, for display and input: "bgr24"
};

// clang-format off
/// Indexed by format, with the fields in their order.
inline constexpr FormatFacts FORMATS[LAST_FORMAT + 1] = {
    {IMG_NONE,   0,   0,  Kind::NONE,     0, 0,  IMG_NONE,  0,   IMG_NONE,   false, false, false, "none"},
    {IMG_GRAY8,  8,   1,  Kind::UNSIGNED, 1, 8,  IMG_GRAYF, 0,   IMG_GRAY8,  true,  false, true,  "gray8"},
    {IMG_PAL8,   8,   1,  Kind::INDEX,    0, 0,  IMG_BGRAF, 256, IMG_BGRA32, false, false, false, "pal8"},
    {IMG_BGR24,  24,  3,  Kind::UNSIGNED, 3, 8,  IMG_BGRF,  0,   IMG_BGR24,  true,  true,  true,  "bgr24"},
    {IMG_BGRA32, 32,  4,  Kind::UNSIGNED, 4, 8,  IMG_BGRAF, 0,   IMG_BGRA32, false, true,  true,  "bgra32"},
    {IMG_NONE,   0,   0,  Kind::NONE,     0, 0,  IMG_NONE,  0,   IMG_NONE,   false, false, false, "none"},
    {IMG_NONE,   0,   0,  Kind::NONE,     0, 0,  IMG_NONE,  0,   IMG_NONE,   false, false, false, "none"},
    {IMG_GRAY16, 16,  2,  Kind::UNSIGNED, 1, 16, IMG_NONE,  0,   IMG_NONE,   false, false, false, "gray16"},
    {IMG_BGR48,  48,  6,  Kind::UNSIGNED, 3, 16, IMG_BGRF,  0,   IMG_NONE,   false, false, false, "bgr48"},
    {IMG_BGRA64, 64,  8,  Kind::UNSIGNED, 4, 16, IMG_BGRAF, 0,   IMG_NONE,   false, false, false, "bgra64"},
    {IMG_NONE,   0,   0,  Kind::NONE,     0, 0,  IMG_NONE,  0,   IMG_NONE,   false, false, false, "none"},
    {IMG_NONE,   0,   0,  Kind::NONE,     0, 0,  IMG_NONE,  0,   IMG_NONE,   false, false, false, "none"},
    {IMG_GRAYF,  32,  4,  Kind::FLOAT,    1, 32, IMG_GRAYF, 0,   IMG_NONE,   false, false, false, "grayf"},
    {IMG_BGRF,   96,  12, Kind::FLOAT,    3, 32, IMG_BGRF,  0,   IMG_NONE,   false, false, false, "bgrf"},
    {IMG_BGRAF,  128, 16, Kind::FLOAT,    4, 32, IMG_BGRAF, 0,   IMG_NONE,   false, false, false, "bgraf"},
    {IMG_MONO32, 32,  4,  Kind::NONE,     0, 0,  IMG_NONE,  0,   IMG_NONE,   false, false, false, "mono32"},
    {IMG_PAL1,   1,   0,  Kind::INDEX,    0, 0,  IMG_NONE,  2,   IMG_NONE,   false, false, false, "pal1"},
    {IMG_PAL4,   4,   0,  Kind::INDEX,    0, 0,  IMG_NONE,  16,  IMG_NONE,   false, false, false, "pal4"},
    {IMG_RGB555, 16,  2,  Kind::UNSIGNED, 3, 5,  IMG_NONE,  0,   IMG_NONE,   false, false, false, "rgb555"},
};
// clang-format on

/// The row of `format`; a row of zeros for an unknown format.
constexpr FormatFacts const& GetFacts(IMG_FORMAT format) noexcept {
  return FORMATS[format > 0 && format <= LAST_FORMAT ? format : 0];
}

/// True when the pixels themselves have alpha. A palette may have it, too: check its entries.
constexpr bool HasAlpha(IMG_FORMAT format) noexcept { return GetFacts(format).channels == 4; }

/// Bytes of a row of `bits` bits without padding but that of its last byte.
constexpr int64_t PackedBytes(int64_t bits) noexcept { return (bits + 7) / 8; }

/// Bytes of a row of `bits` bits, padded to a multiple of 4.
constexpr int64_t PaddedBytes(int64_t bits) noexcept { return (bits + 31) / 32 * 4; }

/// Bytes of a padded row of `width` pixels; 0 for an unknown format or a width below 1.
constexpr int64_t GetRowSize(IMG_FORMAT format, int width) noexcept {
  return width < 1 ? 0 : PaddedBytes(int64_t{GetFacts(format).bits} * width);
}

/// Sets `bits` to the bits per pixel. \return the bytes per pixel. Both are 0 for an unknown format.
YK_API int GetPixelSize(IMG_FORMAT format, unsigned short& bits) noexcept;

/// What the table below must keep; evaluated by the compiler.
namespace check {

/// The channels fill the pixel: what remains is less than a channel. A wrong number in the table fails this.
constexpr bool ChannelsFill(FormatFacts const& row) noexcept {
  int const rest = row.bits - row.channels * row.channelBits;
  return row.channels == 0 ? row.channelBits == 0 : rest >= 0 && rest < row.channelBits;
}

/// The bytes that are summed have the channels of the averaged format.
constexpr bool CanSumBytes(FormatFacts const& row) noexcept {
  FormatFacts const& summed = GetFacts(row.summed);
  return summed.format == IMG_NONE ||
         (summed.channelBits == 8 && summed.channels == GetFacts(row.averaged).channels);
}

/// The averaged format has floats for the pixel's own channels or, for a palette, for colour and alpha.
constexpr bool CanHoldAverages(FormatFacts const& row) noexcept {
  FormatFacts const& averaged = GetFacts(row.averaged);
  if (averaged.format == IMG_NONE) return row.kind != ChannelKind::FLOAT;
  return averaged.kind == ChannelKind::FLOAT && averaged.channels == (row.paletteEntries ? 4 : row.channels);
}

/// Each row is at its number, and its columns agree with each other.
constexpr bool RowsMatchTheirNumbers() noexcept {
  for (int i = 0; i <= LAST_FORMAT; ++i) {
    FormatFacts const& row = FORMATS[i];
    if (row.format != i && !(row.format == IMG_NONE && row.bits == 0)) return false;
    if (row.bytes != row.bits / 8) return false;
    if ((row.kind == ChannelKind::INDEX) != (row.paletteEntries != 0)) return false;
    if (row.paletteEntries && row.paletteEntries != 1 << row.bits) return false;
    if (!ChannelsFill(row) || !CanHoldAverages(row) || !CanSumBytes(row)) return false;
  }
  return true;
}
static_assert(RowsMatchTheirNumbers());

}  // namespace check
}  // namespace img
}  // namespace yk
