#include <math.h>
#include <qecore/draw/color.h>

#include "support/prelude.h"

using namespace yk;

TEST(Colour, HasRedInItsLowestByte) {
  EXPECT_EQ(std::pair(Rgba(1, 2, 3), Rgba(0xFF, 0x80, 0x40, 0x20)), std::pair(0xFF030201u, 0x204080FFu));
}

TEST(Adjustment, LiftsAndContrasts) {
  std::tuple<int, int, int, int> const rows[] = {
      {0, 0, 7, 7},       {30, 0, 128, 173},      {30, 0, 255, 255},   {-30, 0, 60, 30},
      {100, 0, 100, 241}, {0, 50, 64, 1},         {0, 50, 190, 252},   {0, -50, 64, 96},
      {0, 50, 255, 255},  {30, 30, 60, 73},       {-7, 100, 140, 130}, {32767, 0, 9, 255},
      {-32768, 1, 9, 0},  {65536, 65537, 40, 39}, {0, -100, 150, 138}};
  for (auto const& [lift, contrast, i, expected] : rows) {
    unsigned char bytes[] = {static_cast<unsigned char>(i), 77};
    IADJUSTMENT(lift, contrast).Translate(bytes, 1);
    EXPECT_EQ(bytes[0], expected) << lift << ", " << contrast << ", " << i;
    EXPECT_EQ(bytes[1], 77);
  }
}

TEST(BlendColor, WeighsAsStatedEvenOutsideItsRange) {
  std::tuple<unsigned, unsigned, float, unsigned> const rows[] = {
      {0x01020304, 0xF1F2F3F4, 1.0f, 0x01020304},  {0xFFFFFFFF, 0x00000000, 0.5f, 0x7F7F7F7F},
      {0x000000FF, 0x00000000, 2.0f, 0x000000FE},   // 510, whose low byte is kept
      {0x000000FF, 0x00000001, -1.0f, 0x00000003},  // (1 * 510 - 255 * 255) / 255 = -253
      {0x00000001, 0x00000000, -0.5f, 0x00000000},  // -127 / 255, toward zero
      {0x000000FF, 0x00000000, NAN, 0x00000000},    // the weight is -2^31
  };
  for (auto const& [c0, c1, t, expected] : rows) EXPECT_EQ(BlendColor(c0, c1, t), expected) << t;
  for (unsigned i = 0; i < 256 * 256; ++i) {  // every weight of every channel
    unsigned const a = i / 256, c = i % 256, weight = static_cast<unsigned>(a / 255.0f * 255);
    unsigned const mixed = (c * weight + (255 - c) * (255 - weight)) / 255;
    ASSERT_EQ(BlendColor(c * 0x01010101, ~(c * 0x01010101), a / 255.0f), mixed * 0x01010101) << a << ' ' << c;
  }
}
