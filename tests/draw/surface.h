// A context with its own surface for a test, and its pixels as plain numbers to compare.
#pragma once

#include <qecore/draw/device_context.h>

#include <random>

#include "support/prelude.h"

constexpr unsigned WHITE = 0xFFFFFFFF, BLACK = 0xFF000000;

struct Pixel {
  int blue, green, red, alpha;
  friend bool operator==(Pixel const&, Pixel const&) = default;
};

inline yk::Ref<yk::IDC> MakeSurface(int w, int h, bool hasAlpha, bool topDown = false) {
  yk::Ref<yk::IDC> dc = Own(yk::IDC::Create());
  dc->hasAlpha = hasAlpha;
  dc->topDown = topDown;
  EXPECT_EQ(dc->Create(w, h), S_OK);
  return dc;
}

/// For drawing in white.
inline yk::Ref<yk::IDC> MakeBlack(int w, int h) {
  yk::Ref<yk::IDC> dc = MakeSurface(w, h, false);
  dc->Clear(BLACK);
  dc->SetColor(WHITE);
  return dc;
}

inline Pixel PixelAt(yk::IDC& dc, int x, int y) {
  unsigned char const* p = dc.GetPixelAddress(y, x);
  return {p[0], p[1], p[2], dc.bytesPerPixel == 4 ? p[3] : 255};
}

/// All pixels, row by row from the top.
inline std::vector<Pixel> Pixels(yk::IDC& dc) {
  std::vector<Pixel> pixels;
  for (int i = 0; i < dc.width * dc.height; ++i) pixels.push_back(PixelAt(dc, i % dc.width, i / dc.width));
  return pixels;
}

/// Compares the red of every pixel inside the clip with red(x, y); outside, it must be black.
template <class Red>
void ExpectRed(yk::IDC& dc, double tolerance, std::string const& what, Red red) {
  for (int i = 0; i < dc.width * dc.height; ++i) {
    int const x = i % dc.width, y = i / dc.width;
    double const expected = dc.clip.IsInRect(x, y) ? red(x, y) : 0;
    ASSERT_NEAR(PixelAt(dc, x, y).red, expected, tolerance) << what << " at " << x << ',' << y;
  }
}
