#include <gtest/gtest.h>
#include <math.h>

#include "support.h"

using namespace yk;

namespace {

constexpr IMG_FORMAT WHOLE_BYTES[] = {IMG_GRAY8,  IMG_PAL8,  IMG_BGR24, IMG_BGRA32, IMG_GRAY16, IMG_BGR48,
                                      IMG_BGRA64, IMG_GRAYF, IMG_BGRF,  IMG_BGRAF,  IMG_MONO32, IMG_RGB555};

}  // namespace

TEST(Flip, MirrorsEveryFormat) {
  for (IMG_FORMAT format : WHOLE_BYTES) {
    for (int width : {1, 2, 5, 700}) {
      ImageRef const image = Noise(format, width, 3), before = Noise(format, width, 3);
      EXPECT_EQ(image->FlipH() | image->FlipV(), S_OK);
      for (int i = 0; i < 3 * width; ++i) {
        void const* const there = before->GetLineEx(2 - i / width, width - 1 - i % width);
        ASSERT_EQ(memcmp(image->GetLineEx(i / width, i % width), there, image->bytesPerPixel), 0) << format;
      }
    }
  }
  ImageRef const image = Noise(IMG_PAL1, 20, 2), empty = ImageRef::Adopt(Image2d::Create());
  EXPECT_EQ(image->FlipH() | image->FlipV(), S_OK);
  EXPECT_EQ(BlockOf(*image), BlockOf(*Noise(IMG_PAL1, 20, 2)));
  EXPECT_TRUE(empty->FlipH() == S_OK && empty->FlipV() == YK_E_EMPTY);
}

TEST(Crop, CopiesARectangle) {
  for (IMG_FORMAT format : WHOLE_BYTES) {
    ImageRef const image = Noise(format, 9, 5), part = Part(*image, 2, 1, 8, 4);
    ASSERT_TRUE(part && part->width == 6 && part->height == 3);
    for (int y = 0; y < 3; ++y) {
      EXPECT_EQ(memcmp(part->GetLine(y), image->GetLineEx(y + 1, 2), 6 * image->bytesPerPixel), 0) << format;
    }
  }
  ImageRef const image = Noise(IMG_BGR24, 4, 4);
  static constexpr int OUTSIDE[][4] = {{1, 0, 1, 4},  {0, 2, 4, 2}, {-1, 0, 4, 4},
                                       {0, -1, 4, 4}, {0, 0, 5, 4}, {0, 0, 4, 5}};
  for (auto const& r : OUTSIDE) EXPECT_FALSE(Part(*image, r[0], r[1], r[2], r[3])) << r[0] << r[1];
}

TEST(Crop, ShiftsSmallPixelsAsItAlwaysDid) {
  struct {
    IMG_FORMAT format;
    int left, right;
    Bytes expected;
  } const rows[] = {{IMG_PAL1, 0, 32, {0x12, 0x34, 0x56, 0x79}},
                    {IMG_PAL1, 1, 17, {0x9A, 0x2B}},  // << 6 | next >> 1
                    {IMG_PAL1, 25, 32, {0x40}},       // nothing behind the row
                    {IMG_PAL4, 2, 6, {0x4D}}};        // one byte: a quarter of the pixels
  for (auto const& row : rows) {
    ImageRef const image = Noise(row.format, row.format == IMG_PAL1 ? 32 : 8, 2);
    SetRow(*image, 1, {0x12, 0x34, 0x56, 0x79});
    ImageRef const part = Part(*image, row.left, 1, row.right, 2);
    EXPECT_EQ(memcmp(part->GetLine(0), row.expected.data(), row.expected.size()), 0) << row.left;
    EXPECT_EQ(memcmp(part->palette, image->palette, 4 * image->paletteCount), 0);
  }
}

TEST(PremultiplyAlpha, MultipliesAndCuts) {
  ImageRef const image = Noise(IMG_BGRA32, 257, 999), before = Noise(IMG_BGRA32, 257, 999);
  EXPECT_EQ(image->PremultiplyAlpha(), S_OK);
  for (size_t i = 0; i < BlockSize(*image); ++i) {
    int const alpha = i % 4 == 3 ? 255 : before->bits[i | 3];
    ASSERT_EQ(image->bits[i], before->bits[i] * alpha / 255) << i;
  }
  EXPECT_EQ(NewImage(IMG_BGR24, 2, 2)->PremultiplyAlpha(), YK_E_FORMAT);
}

/// The byte orders differ, and only the 24-bit fill says that it succeeded: both on purpose.
TEST(ClearColor, FillsWhatItCan) {
  struct {
    IMG_FORMAT format;
    unsigned color;
    HRESULT result;
    Bytes row;  // with what padding gets filled
  } const rows[] = {{IMG_BGR24, 0x00FF0000, S_OK, {255, 0, 0, 255, 0, 0, 255, 0, 0, 0xCD, 0xCD, 0xCD}},
                    {IMG_BGR24, 0xFF070707, S_OK, Bytes(12, 7)},
                    {IMG_BGRA32, 0x00FF0000, E_NOTIMPL, {0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255, 0}},
                    {IMG_GRAY8, 0x00203040, E_NOTIMPL, {0x30, 0x30, 0x30, 0x30}},
                    {IMG_GRAYF, 0x00FFFFFF, E_NOTIMPL, Bytes(12, 0xCD)}};
  for (auto const& row : rows) {
    ImageRef const image = NewImage(row.format, 3, 2);
    memset(image->bits, 0xCD, BlockSize(*image));
    EXPECT_EQ(image->ClearColor(row.color), row.result);
    for (size_t i = 0; i < BlockSize(*image); ++i)
      EXPECT_EQ(image->bits[i], row.row[i % row.row.size()]) << row.color;
  }
  EXPECT_EQ(NewImage(IMG_BGR24, 1, 1)->ClearColor(point4df{}), E_NOTIMPL);
  EXPECT_EQ(ImageRef::Adopt(Image2d::Create())->ClearColor(0u), YK_E_EMPTY);
}

TEST(GetPixel, SamplesTheNearestPixel) {
  ImageRef const image = NewImage(IMG_GRAY8, 4, 2);
  SetRow(*image, 0, {0, 51, 102, 153});
  SetRow(*image, 1, {204, 204, 204, 255});
  static constexpr float ROWS[][3] = {{0.25f, 0, 51},          {0.74f, 0.49f, 102}, {1, 1, 255},
                                      {-0.5f, 0, 0},           {9, 0.5f, 255},      {NAN, 0.5f, 204},
                                      {INFINITY, -INFINITY, 0}};
  point4df c = {5, 5, 5, 5};
  EXPECT_TRUE(NewImage(IMG_RGB555, 2, 2)->GetPixel({0, 0, 0}, c) && c.x == 5);
  for (auto const& row : ROWS) {
    EXPECT_TRUE(image->GetPixel({row[0], row[1], 7}, c));
    EXPECT_TRUE(c.x == row[2] / 255.0f && c.y == c.x && c.z == c.x && c.w == c.x) << row[0] << ' ' << row[1];
  }
}
