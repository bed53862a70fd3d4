#include "fill_kernels_p.h"

#include <string.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace yk::raster {
namespace {

using Lanes = RowFill::Lanes;
using Ink = RowCover::Ink;
constexpr size_t LANES = RowFill::LANES;
constexpr unsigned OPAQUE_ALPHA = 255;

struct Channels {
  unsigned blue, green, red, alpha;
};

constexpr Channels Unpack(unsigned colour) noexcept {
  return {colour >> 16 & 255, colour >> 8 & 255, colour & 255, colour >> 24};
}

// v / 255 for every product of two bytes, and for a sum of two whose weights add up to 255. Fits 16 bits.
constexpr uint16_t DivideBy255(uint16_t v) noexcept {
  return static_cast<uint16_t>(static_cast<uint16_t>(v + 1 + (v >> 8)) >> 8);
}

constexpr bool DividesExactly() noexcept {
  for (unsigned v = 0; v <= 255 * 255; ++v) {
    if (DivideBy255(static_cast<uint16_t>(v)) != v / 255) return false;
  }
  return true;
}
static_assert(DividesExactly());

// a b / 255, rounded to nearest.
constexpr unsigned Scale(unsigned a, unsigned b) noexcept { return (a * b + 127) / 255; }

// ---- fills

template <class Change>
inline void ForEachByte(unsigned char* __restrict row, size_t bytes, Change change) noexcept {
  for (; bytes >= LANES; bytes -= LANES, row += LANES) {
    for (size_t i = 0; i < LANES; ++i) row[i] = static_cast<unsigned char>(change(row[i], i));
  }
  for (size_t i = 0; i < bytes; ++i) row[i] = static_cast<unsigned char>(change(row[i], i));
}

void SetGrey(unsigned char* row, size_t bytes, Lanes const& lanes) noexcept {
  memset(row, lanes.value[0], bytes);
}

void Store(unsigned char* row, size_t bytes, Lanes const& lanes) noexcept {
  unsigned char const* __restrict const mask = lanes.mask;
  unsigned char const* __restrict const value = lanes.value;
  ForEachByte(row, bytes, [=](unsigned char d, size_t i) { return (d & mask[i]) | value[i]; });
}

void Blend(unsigned char* row, size_t bytes, Lanes const& lanes) noexcept {
  uint16_t const* __restrict const weight = lanes.weight;
  uint16_t const* __restrict const product = lanes.product;
  ForEachByte(row, bytes, [=](unsigned d, size_t i) {
    return DivideBy255(static_cast<uint16_t>(d * weight[i] + product[i]));
  });
}

void Invert(unsigned char* row, size_t bytes, Lanes const& lanes) noexcept {
  unsigned char const* __restrict const value = lanes.value;
  ForEachByte(row, bytes, [=](unsigned char d, size_t i) { return d ^ value[i]; });
}

// Saturating: adds at most what is left to 255, and subtracts at most what is there.
void Add(unsigned char* row, size_t bytes, Lanes const& lanes) noexcept {
  unsigned char const* __restrict const value = lanes.value;
  ForEachByte(row, bytes,
              [=](unsigned char d, size_t i) { return d + std::min<unsigned char>(value[i], 255 - d); });
}

void Subtract(unsigned char* row, size_t bytes, Lanes const& lanes) noexcept {
  unsigned char const* __restrict const value = lanes.value;
  ForEachByte(row, bytes,
              [=](unsigned char d, size_t i) { return d - std::min<unsigned char>(value[i], d); });
}

// Composites a colour over a pixel of any alpha. With w, the remaining weight of the pixel, each channel
// becomes (d w + s a) / (w + a); a pixel with alpha 0 has no weight and takes the colour unchanged.
//
// The quotient is at most 255 and is either an integer or at least 1/255 below one. The reciprocal shared by
// all three channels and two roundings cause an error of less than 0.0001, so that adding 1/512 passes every
// integer that the exact quotient reaches and no other.
inline uint32_t CompositePixel(uint32_t d, unsigned gainB, unsigned gainG, unsigned gainR,
                               unsigned a) noexcept {
  unsigned const k = OPAQUE_ALPHA - a;
  unsigned const dA = d >> 24;
  unsigned const w = DivideBy255(static_cast<uint16_t>(dA * k));
  unsigned const alpha = OPAQUE_ALPHA - DivideBy255(static_cast<uint16_t>((OPAQUE_ALPHA - dA) * k));
  float const reciprocal = 1.0f / static_cast<float>(static_cast<int>(w + a));
  auto const mix = [=](unsigned channel, unsigned gain) {
    float const sum = static_cast<float>(static_cast<int>(channel * w + gain));
    return static_cast<uint32_t>(static_cast<int>(sum * reciprocal + 1.0f / 512));
  };
  return alpha << 24 | mix(d >> 16 & 255, gainR) << 16 | mix(d >> 8 & 255, gainG) << 8 | mix(d & 255, gainB);
}

void Composite(unsigned char* row, size_t bytes, Lanes const& lanes) noexcept {
  unsigned const a = lanes.alpha;
  unsigned const gainB = lanes.product[0], gainG = lanes.product[1], gainR = lanes.product[2];
  if (a == 0) return;
  for (size_t i = 0; i < bytes; i += 4) {
    uint32_t pixel;
    memcpy(&pixel, row + i, 4);
    pixel = CompositePixel(pixel, gainB, gainG, gainR, a);
    memcpy(row + i, &pixel, 4);
  }
}

// ---- the loops and the lanes of each mode

using Pattern = std::array<unsigned, 4>;

Pattern Nothing(Channels const&) noexcept { return {}; }
Pattern AlphaOnly(Channels const&) noexcept { return {0, 0, 0, 255}; }
Pattern ColourOnly(Channels const&) noexcept { return {255, 255, 255, 0}; }
Pattern Colour(Channels const& s) noexcept { return {s.blue, s.green, s.red, 0}; }
Pattern ColourAndAlpha(Channels const& s) noexcept { return {s.blue, s.green, s.red, s.alpha}; }

struct Recipe {
  RowFill::Kernel kernel;
  Pattern (*mask)(Channels const&) noexcept;
  Pattern (*value)(Channels const&) noexcept;
};

constexpr Recipe OPAQUE_PAINT = {Store, AlphaOnly, Colour};
constexpr Recipe GREY_PAINT = {SetGrey, Nothing, Colour};
constexpr Recipe RECIPES[] = {
    {Blend, Nothing, Nothing},         // paint
    {Invert, Nothing, ColourOnly},     // invert
    {Add, Nothing, Colour},            // add
    {Subtract, Nothing, Colour},       // subtract
    {Store, Nothing, ColourAndAlpha},  // copy with alpha
    {Composite, Nothing, Nothing},     // composite over
};
static_assert(std::size(RECIPES) == MODE_COUNT);

constexpr size_t IndexOf(Mode mode) noexcept { return static_cast<size_t>(mode); }

Recipe const& ChooseRecipe(Mode mode, Channels const& s, int bytesPerPixel) noexcept {
  if (mode != Mode::PAINT || s.alpha < OPAQUE_ALPHA) return RECIPES[IndexOf(mode)];
  bool const isGrey = s.blue == s.green && s.green == s.red;
  return isGrey && bytesPerPixel == 3 ? GREY_PAINT : OPAQUE_PAINT;
}

// Lanes repeat after this many bytes, which is a whole number of pixels of either size.
constexpr size_t PERIOD = 12;
static_assert(LANES == 4 * PERIOD);

template <class Lane>
void Repeat(Lane (&lanes)[LANES], size_t pixelSize, Pattern const& pattern) noexcept {
  for (size_t i = 0; i < PERIOD; ++i) {
    lanes[i] = static_cast<Lane>(pattern[pixelSize == 4 ? i % 4 : i % 3]);
  }
  memcpy(lanes + PERIOD, lanes, PERIOD * sizeof(Lane));
  memcpy(lanes + 2 * PERIOD, lanes, 2 * PERIOD * sizeof(Lane));
}

// ---- painting by coverage: one small struct for each mode, which changes one pixel. With coverage 255 each
// does the same as the mode's fill.

struct CoverPaint {
  static void Pixel(unsigned char* d, Ink const& s, unsigned coverage) noexcept {
    unsigned const a = Scale(s.alpha, coverage);
    unsigned const k = OPAQUE_ALPHA - a;
    d[0] = static_cast<unsigned char>(DivideBy255(static_cast<uint16_t>(d[0] * k + s.blue * a)));
    d[1] = static_cast<unsigned char>(DivideBy255(static_cast<uint16_t>(d[1] * k + s.green * a)));
    d[2] = static_cast<unsigned char>(DivideBy255(static_cast<uint16_t>(d[2] * k + s.red * a)));
  }
};

struct CoverInvert {
  static void Pixel(unsigned char* d, Ink const&, unsigned coverage) noexcept {
    for (int i = 0; i < 3; ++i) {
      d[i] = static_cast<unsigned char>((d[i] * (255 - coverage) + (255u - d[i]) * coverage) / 255);
    }
  }
};

struct CoverAdd {
  static unsigned char Sum(unsigned d, unsigned s) noexcept {
    return static_cast<unsigned char>(std::min(d + s, 255u));
  }
  static void Pixel(unsigned char* d, Ink const& s, unsigned coverage) noexcept {
    d[0] = Sum(d[0], Scale(s.blue, coverage));
    d[1] = Sum(d[1], Scale(s.green, coverage));
    d[2] = Sum(d[2], Scale(s.red, coverage));
  }
};

struct CoverSubtract {
  static unsigned char Difference(unsigned d, unsigned s) noexcept {
    return static_cast<unsigned char>(d > s ? d - s : 0);
  }
  static void Pixel(unsigned char* d, Ink const& s, unsigned coverage) noexcept {
    d[0] = Difference(d[0], Scale(s.blue, coverage));
    d[1] = Difference(d[1], Scale(s.green, coverage));
    d[2] = Difference(d[2], Scale(s.red, coverage));
  }
};

// Between two pixels with alpha, channels are weighted by their alpha, so that an invisible colour does not
// show through.
struct CoverCopy {
  static void Pixel(unsigned char* d, Ink const& s, unsigned coverage) noexcept {
    unsigned const alpha = d[3] * (255 - coverage) + s.alpha * coverage;
    unsigned const ofPixel = alpha ? d[3] * (255 - coverage) : 255 - coverage;
    unsigned const ofColour = alpha ? s.alpha * coverage : coverage;
    auto const mix = [=](unsigned a, unsigned b) {
      return static_cast<unsigned char>((a * ofPixel + b * ofColour) / (ofPixel + ofColour));
    };
    d[0] = mix(d[0], s.blue);
    d[1] = mix(d[1], s.green);
    d[2] = mix(d[2], s.red);
    d[3] = static_cast<unsigned char>(alpha / 255);
  }
};

struct CoverComposite {
  static void Pixel(unsigned char* d, Ink const& s, unsigned coverage) noexcept {
    unsigned const a = Scale(s.alpha, coverage);
    if (a == 0) return;
    uint32_t pixel;
    memcpy(&pixel, d, 4);
    pixel = CompositePixel(pixel, s.blue * a, s.green * a, s.red * a, a);
    memcpy(d, &pixel, 4);
  }
};

template <class Covering>
void CoverWith(Ink const& ink, unsigned char* row, unsigned char const* coverage, size_t pixels) noexcept {
  for (size_t i = 0; i < pixels; ++i, row += ink.pixelSize) {
    if (coverage[i]) Covering::Pixel(row, ink, coverage[i]);
  }
}

constexpr RowCover::Kernel COVERS[] = {CoverWith<CoverPaint>, CoverWith<CoverInvert>,
                                       CoverWith<CoverAdd>,   CoverWith<CoverSubtract>,
                                       CoverWith<CoverCopy>,  CoverWith<CoverComposite>};
static_assert(std::size(COVERS) == MODE_COUNT);

// ---- rows of pixels of 4 bytes

template <class Change>
inline void ForEachPixel(unsigned char* row, size_t pixels, Change change) noexcept {
  for (size_t i = 0; i < pixels; ++i) {
    uint32_t pixel;
    memcpy(&pixel, row + i * 4, 4);
    pixel = change(pixel);
    memcpy(row + i * 4, &pixel, 4);
  }
}

constexpr uint32_t COLOUR_BYTES = 0x00FFFFFF;

}  // namespace

RowFill::RowFill(Paint paint, int bytesPerPixel) noexcept : pixelSize(static_cast<size_t>(bytesPerPixel)) {
  Channels const s = Unpack(paint.colour);
  Recipe const& recipe = ChooseRecipe(paint.mode, s, bytesPerPixel);
  unsigned const k = OPAQUE_ALPHA - s.alpha;
  run = recipe.kernel;
  lanes.alpha = s.alpha;
  Repeat(lanes.weight, pixelSize, {k, k, k, 255});
  Repeat(lanes.product, pixelSize, {s.blue * s.alpha, s.green * s.alpha, s.red * s.alpha, 0});
  Repeat(lanes.mask, pixelSize, recipe.mask(s));
  Repeat(lanes.value, pixelSize, recipe.value(s));
}

RowCover::RowCover(Paint paint, int bytesPerPixel) noexcept : run(COVERS[IndexOf(paint.mode)]) {
  Channels const s = Unpack(paint.colour);
  ink = {s.blue, s.green, s.red, s.alpha, static_cast<size_t>(bytesPerPixel)};
}

void BlendInto(unsigned char* pixel, unsigned colour) noexcept {
  Channels const s = Unpack(colour);
  unsigned const k = OPAQUE_ALPHA - s.alpha;
  auto const blend = [&](unsigned d, unsigned channel) {
    return static_cast<unsigned char>(DivideBy255(static_cast<uint16_t>(d * k)) +
                                      DivideBy255(static_cast<uint16_t>(channel * s.alpha)));
  };
  pixel[0] = blend(pixel[0], s.blue);
  pixel[1] = blend(pixel[1], s.green);
  pixel[2] = blend(pixel[2], s.red);
}

void BlendRow(unsigned char* row, int bytesPerPixel, unsigned const* colours, size_t pixels) noexcept {
  for (size_t i = 0; i < pixels; ++i, row += bytesPerPixel) BlendInto(row, colours[i]);
}

void SetAlphaRow(unsigned char* row, unsigned char alpha, size_t pixels) noexcept {
  uint32_t const bits = static_cast<uint32_t>(alpha) << 24;
  ForEachPixel(row, pixels, [=](uint32_t d) { return (d & COLOUR_BYTES) | bits; });
}

void WhitenRow(unsigned char* row, size_t pixels) noexcept {
  ForEachPixel(row, pixels, [](uint32_t d) { return d >> 24 ? d | COLOUR_BYTES : d; });
}

void TranslateRow(unsigned char* row, int bytesPerPixel, unsigned char const* table, size_t pixels) noexcept {
  for (size_t i = 0; i < pixels; ++i, row += bytesPerPixel) {
    for (int channel = 0; channel < 3; ++channel) row[channel] = table[row[channel]];
  }
}

}  // namespace yk::raster
