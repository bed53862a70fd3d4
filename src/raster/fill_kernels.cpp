#include "fill_kernels_p.h"

#include <string.h>

#include <algorithm>
#include <iterator>

#include "core/processor_p.h"
#include "pixel_paint_p.h"

namespace yk::raster {
namespace {

constexpr unsigned FULL_ALPHA = 255;

// A pixel of 4 bytes, blue first.
constexpr uint32_t COLOUR_BITS = ~ALPHA_BITS;

struct Channels {
  unsigned blue, green, red, alpha;
};
using Ink = Channels;

constexpr Channels Unpack(unsigned colour) noexcept {
  return {colour >> 16 & 255, colour >> 8 & 255, colour & 255, colour >> 24};
}

constexpr bool DividesExactly() noexcept {
  for (unsigned v = 0; v <= 255 * 255 + 127; ++v) {
    if (DivideBy255(static_cast<uint16_t>(v)) != v / 255) return false;
  }
  return true;
}
static_assert(DividesExactly());

// a b / 255, rounded to nearest.
constexpr unsigned Scale(unsigned a, unsigned b) noexcept { return (a * b + 127) / 255; }

// ---- fills, byte by byte

// change(byte, weight, value)
template <auto CHANGE>
void ScalarRows(Rows const& rows, Lanes const& lanes) noexcept {
  for (int y = 0; y < rows.count; ++y) {
    unsigned char* const row = rows.first + ptrdiff_t{y} * rows.stride;
    for (size_t i = 0; i < rows.bytes; i += lanes.pixelSize) {
      for (size_t c = 0; c < lanes.pixelSize; ++c) {
        row[i + c] = static_cast<unsigned char>(CHANGE(row[i + c], lanes.WeightOf(c), lanes.ValueOf(c)));
      }
    }
  }
}

template <auto CHANGE>
void ScalarColumns(Rows const& rows, unsigned char const* weight, unsigned char const* value) noexcept {
  for (int y = 0; y < rows.count; ++y) {
    unsigned char* const row = rows.first + ptrdiff_t{y} * rows.stride;
    for (size_t i = 0; i < rows.bytes; ++i) {
      row[i] = static_cast<unsigned char>(CHANGE(row[i], weight[i], value[i]));
    }
  }
}

unsigned Replace(unsigned, unsigned, unsigned value) noexcept { return value; }
unsigned Merge(unsigned d, unsigned weight, unsigned value) noexcept { return (d & weight) | value; }
unsigned Blend(unsigned d, unsigned weight, unsigned value) noexcept {
  return DivideBy255(static_cast<uint16_t>(d * weight + value * (255 - weight)));
}
unsigned BlendColumn(unsigned d, unsigned weight, unsigned value) noexcept {
  return DivideBy255(static_cast<uint16_t>(d * weight)) + value;
}
unsigned Invert(unsigned d, unsigned, unsigned value) noexcept { return d ^ value; }
unsigned Add(unsigned d, unsigned, unsigned value) noexcept { return std::min(d + value, 255u); }
unsigned Subtract(unsigned d, unsigned, unsigned value) noexcept { return d > value ? d - value : 0; }

// change(pixel, lanes)
template <auto CHANGE>
void ScalarPixels(Rows const& rows, Lanes const& lanes) noexcept {
  for (int y = 0; y < rows.count; ++y) {
    unsigned char* const row = rows.first + ptrdiff_t{y} * rows.stride;
    for (size_t i = 0; i < rows.bytes; i += 4) {
      uint32_t pixel;
      memcpy(&pixel, row + i, 4);
      pixel = CHANGE(pixel, lanes);
      memcpy(row + i, &pixel, 4);
    }
  }
}

// Composites a colour over a pixel of any alpha. With w, the remaining weight of the pixel, each channel
// becomes (d w + s a) / (w + a); a pixel with alpha 0 has no weight and takes the colour unchanged.
//
// The quotient is at most 255 and is either an integer or at least 1/255 below one. The reciprocal shared by
// all three channels and two roundings cause an error of less than 0.0001, so that adding 1/512 passes every
// integer that the exact quotient reaches and no other.
inline uint32_t CompositePixel(uint32_t d, unsigned gainB, unsigned gainG, unsigned gainR,
                               unsigned a) noexcept {
  unsigned const k = FULL_ALPHA - a;
  unsigned const dA = d >> 24;
  unsigned const w = DivideBy255(static_cast<uint16_t>(dA * k));
  unsigned const alpha = FULL_ALPHA - DivideBy255(static_cast<uint16_t>((FULL_ALPHA - dA) * k));
  float const reciprocal = 1.0f / static_cast<float>(static_cast<int>(w + a));
  auto const mix = [=](unsigned channel, unsigned gain) {
    float const sum = static_cast<float>(static_cast<int>(channel * w + gain));
    return static_cast<uint32_t>(static_cast<int>(sum * reciprocal + 1.0f / 512));
  };
  return alpha << 24 | mix(d >> 16 & 255, gainR) << 16 | mix(d >> 8 & 255, gainG) << 8 | mix(d & 255, gainB);
}

uint32_t Composite(uint32_t d, Lanes const& s) noexcept {
  unsigned const a = s.alpha;
  return CompositePixel(d, s.ValueOf(0) * a, s.ValueOf(1) * a, s.ValueOf(2) * a, a);
}

uint32_t Whiten(uint32_t d, Lanes const&) noexcept { return d >> 24 ? d | COLOUR_BITS : d; }

void Leave(Rows const&, Lanes const&) noexcept {}

// ---- the loop and the lanes of each mode

constexpr uint32_t Pack(Channels const& s) noexcept {
  return s.alpha << 24 | s.red << 16 | s.green << 8 | s.blue;
}

struct Recipe {
  Loop loop;
  uint32_t kept, added;  // of the colour; to it
};

constexpr Recipe RECIPES[] = {
    {LOOP_BLEND, COLOUR_BITS, 0},              // paint
    {LOOP_INVERT, 0, COLOUR_BITS},             // invert
    {LOOP_ADD, COLOUR_BITS, 0},                // add
    {LOOP_SUBTRACT, COLOUR_BITS, 0},           // subtract
    {LOOP_COPY, COLOUR_BITS | ALPHA_BITS, 0},  // copy with alpha
    {LOOP_COMPOSITE, COLOUR_BITS, 0},          // composite over
};
static_assert(std::size(RECIPES) == MODE_COUNT);

Loop LoopOf(Mode mode, Channels const& s, int bytesPerPixel) noexcept {
  if (mode != Mode::PAINT || s.alpha < FULL_ALPHA) return RECIPES[static_cast<size_t>(mode)].loop;
  if (bytesPerPixel == 4) return LOOP_MERGE;
  return s.blue == s.green && s.green == s.red ? LOOP_SET : LOOP_COPY;
}

// ---- painting by coverage: one small struct for each mode, which changes one pixel. With coverage 255 each
// does the same as the mode's fill.

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
void CoverWith(Lanes const& lanes, unsigned char* row, unsigned char const* coverage,
               size_t pixels) noexcept {
  Ink const ink = {lanes.ValueOf(0), lanes.ValueOf(1), lanes.ValueOf(2), lanes.alpha};
  for (size_t i = 0; i < pixels; ++i, row += lanes.pixelSize) {
    if (coverage[i]) Covering::Pixel(row, ink, coverage[i]);
  }
}

template <size_t SIZE>
void CoverPaint(Lanes const& ink, unsigned char* row, unsigned char const* coverage, size_t pixels) noexcept {
  for (size_t i = 0; i < pixels; ++i) PaintPixel<SIZE>(ink, row + i * SIZE, coverage[i]);
}

constexpr CoverKernel COVERS[] = {nullptr,
                                  CoverWith<CoverInvert>,
                                  CoverWith<CoverAdd>,
                                  CoverWith<CoverSubtract>,
                                  CoverWith<CoverCopy>,
                                  CoverWith<CoverComposite>};
static_assert(std::size(COVERS) == MODE_COUNT);

}  // namespace

KernelSet const SCALAR_KERNELS = {
    {ScalarRows<Replace>, ScalarRows<Replace>, ScalarRows<Merge>, ScalarRows<Blend>, ScalarRows<Invert>,
     ScalarRows<Add>, ScalarRows<Subtract>, ScalarPixels<Composite>, ScalarPixels<Whiten>},
    ScalarColumns<BlendColumn>,
    ScalarColumns<Merge>,
    {CoverPaint<3>, CoverPaint<4>}};

KernelSet const& BestKernels() noexcept { return HasAvx2() ? AVX2_KERNELS : BASE_KERNELS; }

RowFill::RowFill(Paint paint, int bytesPerPixel) noexcept {
  Channels const s = Unpack(paint.colour);
  Recipe const& recipe = RECIPES[static_cast<size_t>(paint.mode)];
  Loop const loop = LoopOf(paint.mode, s, bytesPerPixel);
  lanes.pixelSize = static_cast<size_t>(bytesPerPixel);
  run = loop == LOOP_COMPOSITE && s.alpha == 0 ? Leave : BestKernels().rows[loop];
  lanes.alpha = s.alpha;
  lanes.value = (Pack(s) & recipe.kept) | recipe.added;
  lanes.weight = ALPHA_BITS | (FULL_ALPHA - s.alpha) * 0x010101;
}

RowFill RowFill::OfAlpha(unsigned char alpha) noexcept {
  RowFill fill;
  fill.run = BestKernels().rows[LOOP_MERGE];
  fill.lanes.weight = COLOUR_BITS;
  fill.lanes.value = uint32_t{alpha} << 24;
  return fill;
}

RowCover::RowCover(Paint paint, int bytesPerPixel) noexcept
    : run(COVERS[static_cast<size_t>(paint.mode)]), runFew(run) {
  Channels const s = Unpack(paint.colour);
  ink = {static_cast<size_t>(bytesPerPixel), 0, Pack(s) & COLOUR_BITS, s.alpha};
  if (paint.mode != Mode::PAINT) return;
  run = BestKernels().coverPaint[bytesPerPixel == 4];
  runFew = SCALAR_KERNELS.coverPaint[bytesPerPixel == 4];
}

void BlendInto(unsigned char* pixel, unsigned colour) noexcept {
  Channels const s = Unpack(colour);
  unsigned const k = FULL_ALPHA - s.alpha;
  auto const blend = [&](unsigned d, unsigned channel) {
    return static_cast<unsigned char>(DivideBy255(static_cast<uint16_t>(d * k)) +
                                      DivideBy255(static_cast<uint16_t>(channel * s.alpha)));
  };
  pixel[0] = blend(pixel[0], s.blue);
  pixel[1] = blend(pixel[1], s.green);
  pixel[2] = blend(pixel[2], s.red);
}

void ColourRow::Append(unsigned colour) noexcept {
  Channels const s = Unpack(colour);
  unsigned const k = FULL_ALPHA - s.alpha;
  unsigned const channels[] = {s.blue, s.green, s.red, 0};
  for (size_t i = 0; i < pixelSize; ++i, ++bytes) {
    weight[bytes] = static_cast<unsigned char>(i == 3 ? 255 : k);
    value[bytes] = static_cast<unsigned char>(DivideBy255(static_cast<uint16_t>(channels[i] * s.alpha)));
  }
  isOpaque = isOpaque && k == 0;
}

void ColourRow::BlendInto(Rows const& rows) const noexcept {
  KernelSet const& kernels = BestKernels();
  if (!isOpaque) return kernels.blendColumns(rows, weight, value);
  if (pixelSize == 4) return kernels.mergeColumns(rows, weight, value);
  for (int i = 0; i < rows.count; ++i) memcpy(rows.first + ptrdiff_t{i} * rows.stride, value, rows.bytes);
}

void TranslateRow(unsigned char* row, int bytesPerPixel, unsigned char const* table, size_t pixels) noexcept {
  for (size_t i = 0; i < pixels; ++i, row += bytesPerPixel) {
    for (int channel = 0; channel < 3; ++channel) row[channel] = table[row[channel]];
  }
}

}  // namespace yk::raster
