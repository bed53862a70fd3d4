// The rectangle filler against its rules, written down pixel by pixel.
#include "surface.h"

using namespace yk;

namespace {

struct Channels {
  int c[3];
  int a;
};

// What one fill makes of one pixel.
Pixel Expected(unsigned mode, unsigned colour, Pixel p) {
  Channels const s = {{int(colour >> 16 & 255), int(colour >> 8 & 255), int(colour & 255)},
                      int(colour >> 24)};
  int d[3] = {p.blue, p.green, p.red};
  int const k = 255 - s.a;
  int const w = p.alpha * k / 255;
  for (int i = 0; i < 3; ++i) {
    if (mode == 0) d[i] = s.a >= 255 ? s.c[i] : (d[i] * k + s.c[i] * s.a) / 255;
    if (mode == 1) d[i] = 255 - d[i];
    if (mode == 2) d[i] = std::min(d[i] + s.c[i], 255);
    if (mode == 3) d[i] = std::max(d[i] - s.c[i], 0);
    if (mode == 4) d[i] = s.c[i];
    if (mode == 5 && s.a != 0) d[i] = p.alpha == 0 ? s.c[i] : (d[i] * w + s.c[i] * s.a) / (w + s.a);
  }
  if (mode == 4) p.alpha = s.a;
  if (mode == 5 && s.a != 0) p.alpha = p.alpha == 0 ? s.a : 255 - (255 - p.alpha) * k / 255;
  return {d[0], d[1], d[2], p.alpha};
}

std::vector<Pixel> Pixels(IDC& dc) {
  std::vector<Pixel> pixels;
  for (int y = 0; y < dc.height; ++y) {
    for (int x = 0; x < dc.width; ++x) pixels.push_back(PixelAt(dc, x, y));
  }
  return pixels;
}

}  // namespace

TEST(Fill, EqualsItsRulesOnEverySurface) {
  std::mt19937 random(1);
  auto const number = [&](int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
  };
  for (int round = 0; round < 1500; ++round) {
    bool const hasAlpha = round & 1;
    Ref<IDC> const dc = MakeSurface(number(1, 90), number(1, 12), hasAlpha, round & 2);
    FillWithNoise(*dc, random);
    unsigned const mode = static_cast<unsigned>(number(0, hasAlpha ? 6 : 3));
    unsigned colour = static_cast<unsigned>(random());
    if (number(0, 3) == 0) colour |= 0xFF000000;
    if (number(0, 5) == 0) colour &= 0x00FFFFFF;
    if (number(0, 5) == 0) colour = (colour & 0xFF0000FF) | (colour & 255) * 0x10100;  // grey
    dc->SetMode(mode);
    dc->SetColor(colour);
    xrect2d clip(number(-5, 40), number(-5, 6), number(0, 99), number(0, 14));
    dc->SetClip(clip);
    dc->GetClip(clip);
    int const originX = number(-30, 30), originY = number(-5, 5);
    dc->SetOrigin(originX, originY);
    xrect2d const r(number(-40, 60), number(-9, 9), number(-40, 130), number(-9, 20));

    std::vector<Pixel> expected = Pixels(*dc);
    bool painted = false;
    for (int y = clip.top; y < clip.bottom; ++y) {
      for (int x = clip.left; x < clip.right; ++x) {
        if (!r.IsInRect(x - originX, y - originY)) continue;
        painted = true;
        Pixel& p = expected[static_cast<size_t>(y * dc->width + x)];
        if (mode < 6) p = Expected(mode, colour, p);
      }
    }
    HRESULT const result = !painted ? S_FALSE : mode == 6 ? E_NOTIMPL : mode >= 4 ? S_FALSE : S_OK;
    EXPECT_EQ(dc->FillRect(r.left, r.top, r.right - r.left, r.bottom - r.top), result);
    ASSERT_EQ(Pixels(*dc), expected) << "mode " << mode << std::hex << ", colour " << colour << ", round "
                                     << round;
  }
}

// Every channel value against every alpha: 256 pixels of each value in one row.
TEST(Fill, DividesExactlyOverTheWholeRange) {
  Ref<IDC> const dc = MakeSurface(256, 256, true);
  for (unsigned mode : {0u, 5u}) {
    dc->SetMode(mode);
    for (unsigned a = 0; a < 256; ++a) {
      unsigned const colour = a << 24 | (a * 7 & 255) << 16 | (255 - a) << 8 | 255;
      for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x) {
          unsigned const pixel =
              unsigned(y) << 24 | unsigned(x) << 16 | unsigned(255 - x) << 8 | unsigned(x ^ y);
          memcpy(dc->GetPixelAddress(y, x), &pixel, 4);
        }
      }
      std::vector<Pixel> expected = Pixels(*dc);
      for (Pixel& p : expected) p = Expected(mode, colour, p);
      dc->SetColor(colour);
      dc->FillRect(0, 0, 256, 256);
      ASSERT_TRUE(Pixels(*dc) == expected) << mode << ", " << a;
    }
  }
}

TEST(Fill, ModesKnowTheirSurface) {
  Ref<IDC> const plain = MakeSurface(4, 4, false);
  plain->SetMode(3);
  EXPECT_EQ(plain->SetMode(4), 3u);
  EXPECT_EQ(plain->SetMode(5), 0u);
  EXPECT_EQ(plain->SetMode(9), 0u);
  EXPECT_EQ(plain->FillRect(0, 0, 1, 1), E_NOTIMPL);
  plain->mode = 5;  // written past the setter: must not walk 24-bit pixels as 32-bit ones
  EXPECT_EQ(plain->FillRect(0, 0, 4, 4), E_NOTIMPL);
  EXPECT_EQ(MakeSurface(1, 1, true)->SetMode(5), 0u);
}
