// The rectangle filler compared with its definition, pixel by pixel.
#include <qecore/draw/color.h>

#include "surface.h"

using namespace yk;

// The result of one fill for one pixel.
static Pixel Expected(unsigned mode, unsigned colour, Pixel p) {
  int const s[] = {int(colour >> 16 & 255), int(colour >> 8 & 255), int(colour & 255)}, a = int(colour >> 24);
  int d[3] = {p.blue, p.green, p.red};
  int const k = 255 - a, w = p.alpha * k / 255;
  for (int i = 0; i < 3; ++i) {
    if (mode == 0) d[i] = a >= 255 ? s[i] : (d[i] * k + s[i] * a) / 255;
    if (mode == 1) d[i] = 255 - d[i];
    if (mode == 2) d[i] = std::min(d[i] + s[i], 255);
    if (mode == 3) d[i] = std::max(d[i] - s[i], 0);
    if (mode == 4) d[i] = s[i];
    if (mode == 5 && a != 0) d[i] = p.alpha == 0 ? s[i] : (d[i] * w + s[i] * a) / (w + a);
  }
  if (mode == 4) p.alpha = a;
  if (mode == 5 && a != 0) p.alpha = p.alpha == 0 ? a : 255 - (255 - p.alpha) * k / 255;
  return {d[0], d[1], d[2], p.alpha};
}

TEST(Fill, EqualsItsRulesOnEverySurface) {
  std::mt19937 random(1);
  auto const number = [&](int low, int high) { return std::uniform_int_distribution(low, high)(random); };
  for (int round = 0; round < 1500; ++round) {
    bool const hasAlpha = round & 1;
    Ref<IDC> const dc = MakeSurface(number(1, 90), number(1, 12), hasAlpha, round & 2);
    for (size_t i = 0, r; i < size_t(dc->stride) * dc->height; ++i)
      r = random(), dc->bits[i] = uint8_t(r & 0x700 ? r : r & 0x800 ? 255 : 0);  // 0 and 255 more often
    unsigned const mode = unsigned(number(0, hasAlpha ? 6 : 3));
    unsigned colour = unsigned(random());
    if (round % 4 == 0) colour |= 0xFF000000;
    if (round % 6 == 0) colour = (colour & 0xFF0000FF) | (colour & 255) * 0x10100;  // grey
    dc->SetMode(mode);
    dc->SetColor(colour);
    dc->SetClip({number(-5, 40), number(-5, 6), number(0, 99), number(0, 14)});
    dc->SetOrigin(number(-30, 30), number(-5, 5));
    xrect2d const r(number(-40, 60), number(-9, 9), number(-40, 130), number(-9, 20));

    std::vector<Pixel> expected = Pixels(*dc);
    bool painted = false;
    for (int i = 0; i < dc->width * dc->height; ++i) {
      int const x = i % dc->width, y = i / dc->width;
      if (!dc->clip.IsInRect(x, y) || !r.IsInRect(x - dc->originX, y - dc->originY)) continue;
      painted = true;
      if (mode < 6) expected[size_t(i)] = Expected(mode, colour, expected[size_t(i)]);
    }
    HRESULT const result = !painted ? S_FALSE : mode == 6 ? E_NOTIMPL : mode >= 4 ? S_FALSE : S_OK;
    EXPECT_EQ(dc->FillRect(r.left, r.top, r.right - r.left, r.bottom - r.top), result);
    ASSERT_TRUE(Pixels(*dc) == expected) << "mode " << mode << ", colour " << colour << ", round " << round;
  }
}

TEST(Fill, WideGradientsBlendTheColourOfEachColumn) {
  constexpr int WIDTH = 4500;
  for (unsigned const alpha : {0xFF000000u, 0x81000000u}) {
    for (bool hasAlpha : {false, true}) {
      Ref<IDC> const dc = MakeSurface(WIDTH, 3, hasAlpha), expected = MakeSurface(WIDTH, 3, hasAlpha);
      for (IDC* each : {dc.get(), expected.get()}) each->Clear(0x22CC8811);
      EXPECT_EQ(dc->FillGradientH({0, 0, WIDTH, 3}, alpha | 0x102030, alpha | 0xF0E0D0), S_OK);
      for (int i = 0; i < WIDTH * 3; ++i) {
        float const t = static_cast<float>(i % WIDTH / double(WIDTH));
        expected->BlendPixel(i % WIDTH, i / WIDTH, BlendColor(alpha | 0xF0E0D0, alpha | 0x102030, t));
      }
      EXPECT_TRUE(Pixels(*dc) == Pixels(*expected)) << alpha << hasAlpha;
    }
  }
}

TEST(Fill, ModesKnowTheirSurface) {
  Ref<IDC> const plain = MakeSurface(4, 4, false);
  plain->SetMode(3);
  for (auto const& [mode, before] : {std::pair(4u, 3u), {9u, 0u}}) EXPECT_EQ(plain->SetMode(mode), before);
  EXPECT_EQ(plain->FillRect(INT_MAX - 2, 0, 9, 9), S_FALSE);
  EXPECT_TRUE(plain->IsVisible({INT_MIN, INT_MIN, INT_MAX, INT_MAX}) && !plain->IsVisible({4, 0, 9, 9}));
  plain->mode = 5;  // written directly: 24-bit pixels must not be processed as 32-bit ones
  EXPECT_EQ(plain->FillRect(0, 0, 4, 4), E_NOTIMPL);
}
