#include <math.h>

#include "support.h"
#include "support/patient_host.h"

using namespace yk;

namespace {

struct Entry {
  int source, target;
  float weight;
};

/// The list of weights, step by step as defined.
std::vector<Entry> WeightList(int n, int m) {
  std::vector<Entry> list;
  double carry = 0.0, whole;
  for (int i = 0, j = 0; i < n && j < m;) {
    double const a = (i + 1.0) / n, b = (j + 1.0) / m, part = b > a ? modf(a / (1.0 / m), &whole) : 0.0;
    list.push_back({i, j, float((b > a ? part : 1.0) - carry)});
    carry = part, i += b >= a, j += a >= b;
  }
  return list;
}

/// The general algorithm, loop by loop as defined.
void Resample(Image2d& source, Image2d& target) {
  size_t const channels = source.format == IMG_PAL8 ? 4 : img::GetFacts(source.format).channels;
  IMG_FORMAT const middle = channels == 1 ? IMG_GRAYF : channels == 3 ? IMG_BGRF : IMG_BGRAF;
  std::vector<float> sums(target.width * channels), row(source.width * channels + 1);
  auto const store = [&](int y) {
    img::ConvertPixels(sums.data(), target.GetLine(y), middle, target.format, target.width, nullptr);
    return std::fill(sums.begin(), sums.end(), 0.0f), y + 1;
  };
  int current = 0;
  for (Entry const& down : WeightList(source.height, target.height)) {
    source.ConvertLine(down.source, middle, row.data(), INT_MAX);
    if (down.target != current) current = store(current);
    for (Entry const& x : WeightList(source.width, target.width)) {
      float const weight = down.weight * x.weight;
      for (size_t c = 0; c < channels; ++c)
        sums[x.target * channels + c] += weight * row[x.source * channels + c];
    }
  }
  store(current);
}

/// Resamples noise into an image of noise, by the definition and by the library.
void Compare(IMG_FORMAT from, IMG_FORMAT to, int sw, int sh, int tw, int th) {
  SCOPED_TRACE(testing::PrintToString(Ints{from, sw, sh, to, tw, th}));
  ImageRef const source = Noise(from, sw, sh), target = Noise(to, tw, th, 2), expected = Noise(to, tw, th, 2);
  Resample(*source, *expected);
  ASSERT_EQ(source->RescaleTo(target.get()), S_OK);
  ASSERT_EQ(BlockOf(*target), BlockOf(*expected));
}

}  // namespace

TEST(RescaleTo, AgreesWithTheDefinitionToTheLastBit) {
  std::mt19937 random(20);
  auto const side = [&](int most) { return static_cast<int>(1 + random() % most); };
  for (IMG_FORMAT f :
       {IMG_GRAY8, IMG_PAL8, IMG_BGR24, IMG_BGRA32, IMG_BGR48, IMG_BGRA64, IMG_GRAYF, IMG_BGRF, IMG_BGRAF}) {
    for (IMG_FORMAT t : {IMG_GRAY8, IMG_PAL8, IMG_BGR24, IMG_BGRA32, IMG_GRAYF, IMG_BGRF, IMG_BGRAF}) {
      for (int i = 0; i < 25 && !HasFatalFailure(); ++i) {
        int const sw = side(40), sh = side(20), tw = side(40), th = side(20);
        if (sw != tw && sw != 2 * tw) Compare(f, t, sw, sh, tw, th);  // otherwise a shortcut may apply
      }
      Compare(f, t, 7, 3, 21, 9);  // whole multiples, where rows repeat
      Compare(f, t, 300, 1, 100, 1);
    }
  }
}

/// Whole multiples, which are averaged in whole numbers where that gives the same; noise, and one colour.
TEST(RescaleTo, AgreesWhereCellsAreWhole) {
  for (IMG_FORMAT format : {IMG_GRAY8, IMG_BGR24, IMG_BGRA32}) {
    for (auto [across, down] :
         {std::pair(3, 3), {3, 1}, {1, 3}, {4, 3}, {5, 9}, {15, 15}, {16, 16}, {83, 3}}) {
      Compare(format, format, 99 * across, 3 * down, 99, 3);
      ImageRef const plain = NewImage(format, 40 * across, 20 * down);
      ImageRef const target = NewImage(format, 40, 20), expected = NewImage(format, 40, 20);
      for (int y = 0; y < plain->height; ++y) memset(plain->GetLine(y), 7 * across + y / 30, plain->stride);
      Resample(*plain, *expected);
      ASSERT_EQ(plain->RescaleTo(target.get()), S_OK);
      ASSERT_EQ(BlockOf(*target), BlockOf(*expected)) << format << ' ' << across << ' ' << down;
    }
  }
}

/// Pictures that grow, whose bytes are mixed from stretched rows where that gives the same: of noise, of a
/// few close values, of which many means are whole or halves, and of one colour.
TEST(RescaleTo, AgreesWherePicturesGrow) {
  Table<int, int, int, int> const sizes = {{100, 56, 192, 108}, {50, 30, 75, 45}, {33, 20, 100, 61},
                                           {64, 1, 65, 3},      {7, 5, 300, 9},   {40, 9, 40, 16}};
  for (IMG_FORMAT from : {IMG_GRAY8, IMG_BGR24, IMG_BGRA32, IMG_BGR48}) {
    for (IMG_FORMAT to : {from == IMG_BGR48 ? IMG_BGR24 : from, IMG_BGRA32}) {
      for (int mask : {0xFF, 0x81, 0}) {
        for (auto const& [width, height, newWidth, newHeight] : sizes) {
          ImageRef const source = Noise(from, width, height);
          ImageRef const target = NewImage(to, newWidth, newHeight),
                         expected = NewImage(to, newWidth, newHeight);
          for (int i = 0; i < source->stride * height; ++i) source->bits[i] = (source->bits[i] & mask) | 0x54;
          Resample(*source, *expected);
          ASSERT_EQ(source->RescaleTo(target.get()), S_OK);
          ASSERT_EQ(BlockOf(*target), BlockOf(*expected))
              << from << ' ' << to << ' ' << mask << ' ' << newWidth;
        }
      }
    }
  }
}

/// Exactly to half: a box of 2 x 2, truncated, in these two formats, and through floats in all others.
TEST(RescaleTo, HalvesByTheBox) {
  for (IMG_FORMAT format : {IMG_GRAY8, IMG_BGR24}) {
    ImageRef const source = Noise(format, 282, 4), target = NewImage(format, 141, 2);
    ASSERT_EQ(source->RescaleTo(target.get()), S_OK);
    int const n = source->bytesPerPixel, up = source->stride;
    for (int i = 0; i < 2 * 141 * n; ++i) {
      int const x = i / n % 141, y = i / n / 141;
      unsigned char const* const p = source->GetLineEx(2 * y + 1, 2 * x) + i % n;
      ASSERT_EQ(target->GetLineEx(y, x)[i % n], (p[0] + p[n] + p[up] + p[up + n]) >> 2) << i;
    }
  }
  Compare(IMG_BGRA32, IMG_BGRA32, 8, 4, 4, 2);
  Compare(IMG_GRAY8, IMG_BGR24, 8, 4, 4, 2);
}

/// Formats that cannot be converted through floats leave the target unchanged.
TEST(RescaleTo, LeavesRowsThatItCannotConvert) {
  for (IMG_FORMAT from : {IMG_GRAY16, IMG_MONO32, IMG_PAL1, IMG_RGB555}) {
    ImageRef const target = Noise(IMG_BGRAF, 4, 7);
    EXPECT_EQ(Noise(from, 9, 5)->RescaleTo(target.get()), S_OK);
    EXPECT_EQ(BlockOf(*target), BlockOf(*Noise(IMG_BGRAF, 4, 7))) << from;
  }
  EXPECT_EQ(Noise(IMG_GRAY8, 2, 2)->RescaleTo(nullptr), YK_E_EMPTY);
}

TEST(Rescale, MakesANewImage) {
  ImageRef const source = NewImage(IMG_GRAY8, 4, 1), empty = Own(Image2d::Create());
  SetRow(*source, 0, {10, 20, 30, 40});
  Image2d* result = nullptr;
  ASSERT_EQ(source->Rescale(2, 1, IMG_GRAY8, &result), S_OK);
  EXPECT_EQ(Bytes(result->GetLine(0), result->GetLine(0) + 2), (Bytes{15, 35}));
  result->Release();
  // the failed image is released already
  EXPECT_EQ(source->Rescale(3, 3, static_cast<IMG_FORMAT>(5), &result), E_INVALIDARG);
  EXPECT_EQ(source->Rescale(0, 3, IMG_BGR24, &result), E_FAIL);
  EXPECT_EQ(empty->Rescale(8, 8, IMG_GRAYF, &result), YK_E_EMPTY);
}

/// The nearest pixels or averages, with the palette; nothing that memory held.
TEST(Rescale, FillsFormatsThatAreNotResampled) {
  ImageRef const words = NewImage(IMG_GRAY16, 2, 2);
  for (int y : {0, 1}) SetRow(*words, y, {0, 1, 0, static_cast<uint8_t>(y ? 7 : 3)});
  Table<ImageRef, IMG_FORMAT, int, string> const rows = {
      {words, IMG_GRAY16, 1, string("\0\3", 2)}, {Noise(IMG_MONO32, 9, 5), IMG_MONO32, 3, {}},
      {Noise(IMG_PAL1, 9, 5), IMG_PAL1, 9, {}},  {Noise(IMG_PAL4, 9, 5), IMG_PAL4, 27, {}},
      {Noise(IMG_PAL8, 9, 5), IMG_PAL8, 27, {}}, {words, IMG_BGR24, 1, string(3, '\3')}};
  for (auto const& [source, format, side, pixels] : rows) {
    Image2d* made = nullptr;
    ASSERT_EQ(source->Rescale(side, side, format, &made), S_OK);
    ImageRef const scaled = Own(made);
    auto const pixel = [](Image2d& image, int x, int y) {
      int const bits = image.bitsPerPixel, bit = x * bits % 8;
      if (bits < 8)
        return string(1, static_cast<char>(image.GetLine(y)[x * bits / 8] << bit & 0xFF00 >> bits));
      return string(reinterpret_cast<char*>(image.GetLineEx(y, x)), image.bytesPerPixel);
    };
    for (int i = 0; i < side; ++i) {
      int const x = (2 * i + 1) * source->width / (2 * side), y = (2 * i + 1) * source->height / (2 * side);
      EXPECT_EQ(pixel(*scaled, i, i), pixels.empty() ? pixel(*source, x, y) : pixels) << format << ' ' << i;
    }
    EXPECT_TRUE(!scaled->palette || memcmp(scaled->palette, source->palette, 4 * scaled->paletteCount) == 0);
  }
}

/// A colour survives on the way to every format that has it.
TEST(Rescale, ConvertsFormatsThatAreNotResampled) {
  for (IMG_FORMAT from : {IMG_GRAY16, IMG_PAL1, IMG_PAL4, IMG_RGB555}) {
    ImageRef const source = NewImage(from, 8, 8);
    memset(source->bits, 0x88, static_cast<size_t>(source->stride) * 8);
    for (unsigned i = 0; i < source->paletteCount; ++i) source->palette[i] = {0x88, 0x88, 0x88, 255};
    for (IMG_FORMAT to : {IMG_GRAY8, IMG_BGR24, IMG_BGRA32, IMG_GRAYF, IMG_BGRF, IMG_BGRAF}) {
      for (int side : {3, 8}) {
        Image2d* made = nullptr;
        ASSERT_EQ(source->Rescale(side, side, to, &made), S_OK);
        ImageRef const scaled = Own(made);
        point4df colour;
        scaled->GetPixel({0.9f, 0.9f, 0}, colour);
        float const level = from == IMG_RGB555 ? 0.2f : 0.533f;
        EXPECT_NEAR(colour.x, level, 0.07) << from << " to " << to;
      }
    }
  }
}

TEST(Rescale, TellsAHostAndStops) {
  Table<IMG_FORMAT, int, IMG_FORMAT> const rows = {{IMG_BGR24, 300, IMG_BGR24},
                                                   {IMG_BGR24, 300, IMG_GRAY8},
                                                   {IMG_BGR24, 150, IMG_BGR24},
                                                   {IMG_GRAYF, 211, IMG_GRAY8}};
  for (auto const& [from, side, to] : rows) {
    ImageRef const source = Noise(from, 300, 300);
    ImageRef const plain = NewImage(to, side, side), followed = NewImage(to, side, side);
    PatientHost host, hasty(3);
    EXPECT_EQ(source->RescaleTo(plain.get()), S_OK);
    EXPECT_EQ(source->RescaleTo(followed.get(), &host), S_OK);
    EXPECT_EQ(BlockOf(*followed), BlockOf(*plain));
    EXPECT_EQ(host.last.done, unsigned(side));
    EXPECT_EQ(host.last.total, unsigned(side));
    EXPECT_STREQ(host.last.operation, "Image2d::RescaleTo");
    EXPECT_TRUE(host.calls > 50 && host.calls < 153) << host.calls;
    Image2d* none = nullptr;
    EXPECT_EQ(source->Rescale(side, side, to, &none, &hasty), E_ABORT);
    EXPECT_TRUE(hasty.stopped);
  }
  for (IMG_FORMAT const filled : {IMG_GRAY16, IMG_PAL4}) {
    Image2d* made = nullptr;
    PatientHost host, hasty(3);
    EXPECT_EQ(Noise(filled, 300, 300)->Rescale(99, 90, filled, &made, &hasty), E_ABORT);
    ASSERT_EQ(Noise(filled, 300, 300)->Rescale(99, 90, filled, &made, &host), S_OK);
    ImageRef const scaled = Own(made);
    EXPECT_EQ(host.last.done, 90u);
  }
}
