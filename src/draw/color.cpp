#include <qecore/draw/color.h>

#include <math.h>
#include <qecore/core/conversions.h>

#include <numbers>

#include "core/conversions_p.h"
#include "raster/pixel_paint_p.h"

namespace yk {
namespace {

constexpr double PI = std::numbers::pi;
constexpr double MIDDLE = 127.5;

double Lifted(double x, int lift) noexcept { return x + lift * sin(x / 255 * PI) * 1.5; }

double Contrasted(double x, int contrast) noexcept {
  x -= MIDDLE;
  double const k = contrast * fabs(sin(x / MIDDLE * PI)) / 50;
  x = k > 0 ? (k + 1) * x : x / (1 - k);
  return x + MIDDLE;
}

// BlendColor for a weight of 0 to 255.
unsigned Mixed(unsigned c0, unsigned c1, unsigned a) noexcept {
  constexpr unsigned PAIR = 0x00FF00FF;
  return raster::MixPair(c1 & PAIR, c0 & PAIR, a) | raster::MixPair(c1 >> 8 & PAIR, c0 >> 8 & PAIR, a) << 8;
}

}  // namespace

unsigned BlendColor(unsigned c0, unsigned c1, float t) noexcept {
  int64_t const a = TruncateToInt(t * 255);
  int64_t const b = 255 - a;
  if (a >= 0 && b >= 0) return Mixed(c0, c1, static_cast<unsigned>(a));
  unsigned mixed = 0;
  for (int shift = 0; shift < 32; shift += 8) {
    int64_t const v = ((c1 >> shift & 255) * b + (c0 >> shift & 255) * a) / 255;
    mixed |= (static_cast<unsigned>(v) & 255) << shift;
  }
  return mixed;
}

void IADJUSTMENT::Init(int newLift, int newContrast) noexcept {
  lift = static_cast<int16_t>(newLift);
  contrast = static_cast<int16_t>(newContrast);
  for (int i = 0; i < 256; ++i) {
    double x = i;
    if (lift != 0) x = Lifted(x, lift);
    if (contrast != 0) x = Contrasted(x, contrast);
    int const v = round(x);
    table[i] = static_cast<unsigned char>(v < 0 ? 0 : v >= 255 ? 255 : v);
  }
}

void IADJUSTMENT::Translate(unsigned char* bytes, size_t count) const noexcept {
  for (size_t i = 0; i < count; ++i) bytes[i] = table[bytes[i]];
}

unsigned IADJUSTMENT::TranslateColor(unsigned colour) const noexcept {
  unsigned const low = table[colour & 255];
  unsigned const middle = table[colour >> 8 & 255];
  unsigned const high = table[colour >> 16 & 255];
  return (colour & 0xFF000000) | high << 16 | middle << 8 | low;
}

}  // namespace yk
