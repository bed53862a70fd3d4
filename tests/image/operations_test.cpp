#include <math.h>
#include <qecore/image/orientation.h>

#include "support.h"
#include "support/failure.h"

using namespace yk;

TEST(Clone, CopiesEverythingButTheDriversData) {
  for (IMG_FORMAT format : {IMG_NONE, IMG_PAL1, IMG_PAL8, IMG_BGR24, IMG_BGRAF}) {
    ImageRef const image = format ? Noise(format, 7, 5) : Own(Image2d::Create());
    image->name = L"noise";
    if (format == IMG_PAL8)
      ExpectEach(S_OK, {image->SetValue(7, Variant(1.5)), image->SetValue(3, Variant("x"))});
    Image2d* made = nullptr;
    ASSERT_EQ(image->Clone(&made), S_OK);
    ImageRef const copy = Own(made);
    EXPECT_TRUE(format == IMG_NONE || BlockOf(*copy) == BlockOf(*image)) << format;
    EXPECT_TRUE(copy->format == format && copy->name == L"noise" && !copy->bits == !format);
    Ints keys;
    if (Map* const all = copy->GetProperties())
      for (auto const& [key, value] : *all) keys.push_back(key);
    EXPECT_EQ(keys, format == IMG_PAL8 ? Ints({7, 3}) : Ints());
    EXPECT_EQ(Cast<Image2d>(static_cast<AbstractImage*>(made)), made);
    EXPECT_EQ(Cast<Image2d>(Ref<Unknown>(copy)).get(), made);
    EXPECT_FALSE(Cast<Image2d>(Ref<Unknown>(Own(Map::Create()))));
  }
}

TEST(FlipAndCrop, MovePixelsOfEveryFormat) {
  for (IMG_FORMAT format :
       {IMG_GRAY8, IMG_RGB555, IMG_BGR24, IMG_BGRA32, IMG_BGR48, IMG_BGRA64, IMG_BGRF, IMG_BGRAF}) {
    for (int width : {1, 2, 5, 700}) {
      ImageRef const image = Noise(format, width, 5), before = Noise(format, width, 5);
      EXPECT_EQ(image->FlipH() | image->FlipV(), S_OK);
      EXPECT_EQ(image->Create(static_cast<IMG_FORMAT>(5), 9, 9), E_INVALIDARG);  // leaves 0 bits per pixel
      int const left = width / 3, w = width - left;
      ImageRef const part = Part(*image, left, 1, width, 4);
      ASSERT_TRUE(part);
      EXPECT_EQ(part->height, 3);
      for (int i = 0; i < 3 * w; ++i) {
        void const* const there = before->GetLineEx(3 - i / w, w - 1 - i % w);
        ASSERT_EQ(memcmp(part->GetLineEx(i / w, i % w), there, image->bytesPerPixel), 0) << format;
      }
    }
  }
  ImageRef const bits = Noise(IMG_PAL1, 20, 2), empty = Own(Image2d::Create());
  EXPECT_EQ(bits->FlipH() | bits->FlipV() | empty->FlipH(), S_OK);
  EXPECT_EQ(BlockOf(*bits), BlockOf(*Noise(IMG_PAL1, 20, 2)));
  EXPECT_EQ(empty->FlipV(), YK_E_EMPTY);
  static constexpr int OUTSIDE[][4] = {{1, 0, 1, 2},  {0, 1, 4, 1},  {-1, 0, 4, 2},
                                       {0, -1, 4, 2}, {0, 0, 21, 2}, {0, 0, 4, 3}};
  for (auto const& r : OUTSIDE) EXPECT_FALSE(Part(*bits, r[0], r[1], r[2], r[3])) << r[0] << r[1];
}

TEST(Crop, ShiftsSmallPixelsAsItAlwaysDid) {
  Table<IMG_FORMAT, int, int, Bytes> const rows = {
      {IMG_PAL1, 0, 32, {0x12, 0x34, 0x56, 0x79}},
      {IMG_PAL1, 1, 17, {0x9A, 0x2B}},  // << 6 | next >> 1
      {IMG_PAL1, 25, 32, {0x40}},       // nothing after the row
      {IMG_PAL4, 2, 6, {0x4D}}};        // one byte: a quarter of the pixels
  for (auto const& [format, left, right, expected] : rows) {
    ImageRef const image = Noise(format, format == IMG_PAL1 ? 32 : 8, 2);
    SetRow(*image, 1, {0x12, 0x34, 0x56, 0x79});
    ImageRef const part = Part(*image, left, 1, right, 2);
    EXPECT_EQ(memcmp(part->GetLine(0), expected.data(), expected.size()), 0) << left;
    EXPECT_EQ(memcmp(part->palette, image->palette, 4 * image->paletteCount), 0);
  }
}

TEST(PremultiplyAlpha, MultipliesAndTruncates) {
  ImageRef const image = Noise(IMG_BGRA32, 257, 3), before = Noise(IMG_BGRA32, 257, 3);
  EXPECT_EQ(image->PremultiplyAlpha(), S_OK);
  for (size_t i = 0; i < BlockSize(*image); ++i) {
    int const alpha = i % 4 == 3 ? 255 : before->bits[i | 3];
    ASSERT_EQ(image->bits[i], before->bits[i] * alpha / 255) << i;
  }
  EXPECT_EQ(NewImage(IMG_BGR24, 2, 2)->PremultiplyAlpha(), YK_E_FORMAT);
}

/// The byte orders differ, and only the 24-bit fill returns success (contract).
TEST(ClearColor, FillsWhatItCan) {
  std::tuple<IMG_FORMAT, unsigned, HRESULT, Bytes> const rows[] = {
      // including the value of the padding
      {IMG_BGR24, 0x00FF0000, S_OK, {255, 0, 0, 255, 0, 0, 255, 0, 0, 0xCD, 0xCD, 0xCD}},
      {IMG_BGR24, 0xFF070707, S_OK, Bytes(12, 7)},
      {IMG_BGRA32, 0x00FF0000, E_NOTIMPL, {0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255, 0}},
      {IMG_GRAY8, 0x00203040, E_NOTIMPL, {0x30, 0x30, 0x30, 0x30}},
      {IMG_GRAYF, 0x00FFFFFF, E_NOTIMPL, Bytes(12, 0xCD)}};
  for (auto const& [format, color, result, expected] : rows) {
    ImageRef const image = NewImage(format, 3, 2);
    memset(image->bits, 0xCD, BlockSize(*image));
    EXPECT_EQ(image->ClearColor(color), result);
    for (int y : {0, 1}) EXPECT_EQ(memcmp(image->GetLine(y), expected.data(), expected.size()), 0) << color;
  }
  EXPECT_EQ(NewImage(IMG_BGR24, 1, 1)->ClearColor(point4df{}), E_NOTIMPL);
  EXPECT_EQ(Own(Image2d::Create())->ClearColor(0u), YK_E_EMPTY);
}

TEST(GetPixel, SamplesTheNearestPixel) {
  ImageRef const image = NewImage(IMG_GRAY8, 5, 2);
  SetRow(*image, 0, {0, 51, 102, 153, 9});
  SetRow(*image, 1, {204, 204, 204, 204, 255});
  static constexpr float ROWS[][3] = {{0.2f, 0, 51},           {0.59f, 0.49f, 102}, {1, 1, 255},
                                      {-0.5f, 0, 0},           {1e20f, 0.5f, 255},  {NAN, 0.5f, 204},
                                      {INFINITY, -INFINITY, 9}};
  point4df c = {5, 5, 5, 5};
  EXPECT_TRUE(NewImage(IMG_RGB555, 2, 2)->GetPixel({0, 0, 0}, c) && c.x == 5);
  for (auto const& row : ROWS) {
    EXPECT_TRUE(image->GetPixel({row[0], row[1], 7}, c));
    for (float channel : {c.x, c.y, c.z, c.w}) EXPECT_EQ(channel, row[2] / 255.0f) << row[0] << ' ' << row[1];
  }
}

TEST(Failures, OfImagesTellSizesAndFormats) {
  ImageRef const empty = Own(Image2d::Create()), image = Noise(IMG_BGR48, 5, 4);
  Image2d* none;
  ExpectFailures({
      {E_FAIL, L"the picture needs 4.3 GB, 38000 \u00D7 38000 pixels of bgr24; the most is 2.1 GB",
       [&] { return empty->Create(IMG_BGR24, 38000, 38000); }},
      {E_INVALIDARG, L"0,0,10,10 is not inside 5 \u00D7 4 pixels",
       [&] { return image->Crop(0, 0, 10, 10, &none); }},
      {E_NOTIMPL, L"the pixels are bgr48, not bgr24", [&] { return image->ClearColor(0u); }},
      {E_NOTIMPL, L"images are not filled with a colour of floats",
       [&] { return image->ClearColor(point4df{}); }},
      {YK_E_FORMAT, L"the pixels are bgr48, not bgra32", [&] { return image->PremultiplyAlpha(); }},
  });
}

// a b c   by each number of EXIF's, in whole bytes and in parts of one
// d e f
TEST(Orient, TurnsAndMirrors) {
  string const expected[] = {"abcdef", "cbafed", "fedcba", "defabc", "adbecf", "daebfc", "fcebda", "cfbead"};
  for (IMG_FORMAT format : {IMG_GRAY8, IMG_PAL4, IMG_BGRAF}) {
    ImageRef const image = NewImage(format, 3, 2);
    memset(image->bits, 0, static_cast<size_t>(image->stride) * 2);
    int const bits = image->bitsPerPixel;
    auto const pixel = [bits](Image2d& of, int i) -> unsigned char& {
      return of.GetLine(i / of.width)[i % of.width * bits / 8];
    };
    auto const shift = [bits](Image2d const& of, int i) {
      return bits == 4 && i % of.width % 2 == 0 ? 4 : 0;
    };
    for (int i = 0; i < 6; ++i) pixel(*image, i) |= static_cast<unsigned char>((i + 1) << shift(*image, i));
    for (unsigned n = 1; n <= 8; ++n) {
      Image2d* made = nullptr;
      ASSERT_EQ(img::Orient(*image, n, &made), S_OK);
      ImageRef const turned = Own(made);
      string got;
      for (int i = 0; i < 6; ++i)
        got += static_cast<char>('a' - 1 + (pixel(*turned, i) >> shift(*turned, i) & 15));
      EXPECT_EQ(got, expected[n - 1]) << format << ' ' << n;
    }
  }
  Image2d* none = nullptr;
  EXPECT_EQ(img::Orient(*NewImage(IMG_GRAY8, 1, 1), 9, &none), E_INVALIDARG);
  EXPECT_EQ(img::Orient(*Own(Image2d::Create()), 1, &none), YK_E_EMPTY);
}
