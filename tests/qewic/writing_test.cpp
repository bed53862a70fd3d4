// The files that qewic.qem writes, as read by itself.
#include <qecore/image/file_info.h>
#include <qecore/image/filter_option.h>
#include <qecore/image/image_file.h>

#include "qewic/filters.h"

namespace {

TEST_F(Filters, WriteWhatImagesSayOfThemselves) {
  string profile(300, 'x');
  profile.replace(16, 4, "RGB ").replace(36, 4, "acsp");
  Variant icc;
  icc.Init(profile.data(), static_cast<unsigned>(profile.size()), false);
  std::pair<unsigned, Variant> const facts[] = {{img::INFO_ORIENTATION, Value(6u)},
                                                {img::INFO_RESOLUTION_X, Value(150.0)},
                                                {img::INFO_RESOLUTION_Y, Value(75.0)},
                                                {img::INFO_COLOR_PROFILE, icc},
                                                {img::INFO_DESCRIPTION, Value(L"A cat \u00FCber")},
                                                {img::INFO_AUTHOR, Value(L"Me")}};
  ImageRef const image = Noise(IMG_BGR24, 9, 5), plain = Noise(IMG_BGR24, 9, 5);
  for (auto const& [key, value] : facts) image->SetValue(key, value);
  for (auto const& [type, quality] : {std::pair(ids::FILE_PNG, 0u),
                                      {ids::FILE_JPEG, 0u},
                                      {ids::FILE_JPEG, 90u},
                                      {ids::FILE_TIFF, 0u},
                                      {ids::FILE_BMP, 0u}}) {
    ImageRef const back = ThereAndBack(*Filter(type), *image, quality);
    EXPECT_EQ(Pixels(*back, IMG_BGR24), Pixels(*ThereAndBack(*Filter(type), *plain, quality), IMG_BGR24));
    for (auto const& [key, value] : facts) {
      Variant got;
      if (type == ids::FILE_BMP && key != img::INFO_RESOLUTION_X && key != img::INFO_RESOLUTION_Y) continue;
      ASSERT_EQ(back->GetValue(key, got), S_OK) << key;
      double there = 0, here = 0;
      bool const isNumber = value.Get(here);
      char mine[400] = {}, theirs[400] = {};
      EXPECT_EQ(got.Get(theirs, 400u), value.Get(mine, 400u));
      EXPECT_EQ(memcmp(mine, theirs, sizeof mine), 0) << key;
      EXPECT_TRUE(isNumber ? got.Get(there) && std::abs(there - here) < 0.1
                           : got.type == Variant::BLOB || got.Compare(value))
          << key;
    }
  }
}

// ---- round trips

double MeanError(Image2d& a, Image2d& b) {
  string const mine = Pixels(a, IMG_BGR24), theirs = Pixels(b, IMG_BGR24);
  double sum = mine.size() == theirs.size() ? 0 : INFINITY;
  for (size_t i = 0; i < std::min(mine.size(), theirs.size()); ++i)
    sum += std::abs(uint8_t(mine[i]) - uint8_t(theirs[i]));
  return sum / static_cast<double>(mine.size());
}

// The result equals the library's own conversion of the image, bit for bit.
TEST_F(Filters, HoldWhatTheirFilesCanHold) {
  Table<Guid, Ints, Ints> const rows = {
      {ids::FILE_PNG, {16, 17, 2, 1, 7, 3, 4, 8, 9, 18}, {16, 17, 2, 1, 7, 3, 4, 8, 9, 3}},
      {ids::FILE_BMP, {16, 17, 2, 18, 3, 1, 8}, {16, 17, 2, 18, 3, 2, 3}},
      {ids::FILE_GIF, {16, 17, 2, 1}, {2, 2, 2, 2}},
      {ids::FILE_TIFF, {16, 2, 1, 3, 4, 8, 9}, {16, 2, 1, 3, 4, 8, 9}},
  };
  for (auto const& [type, written, read] : rows) {
    for (size_t i = 0; i < written.size(); ++i) {
      for (int width : {1, 2, 7, 8, 9, 33}) {
        SCOPED_TRACE(testing::Message() << type.first << ' ' << written[i] << ' ' << width);
        ImageRef const image = Noise(static_cast<IMG_FORMAT>(written[i]), width, 5);
        for (int n = 0; n < image->paletteCount; ++n)
          image->palette[n].alpha = 255;  // most files have no alpha in palettes
        auto const entries = std::exchange(image->paletteCount, 0xFFFF);  // clamped to the entries that exist
        ImageRef const back = ThereAndBack(*Filter(type), *image);
        image->paletteCount = entries;
        ASSERT_EQ(back->format, read[i]);
        IMG_FORMAT const compared = img::GetFacts(back->format).paletteEntries ? IMG_BGR24 : back->format;
        EXPECT_EQ(Pixels(*back, compared), Pixels(*image, compared));
      }
    }
  }
}

constexpr unsigned PNG_FILTER = FilterOption::FIRST_OWN, PNG_INTERLACE = PNG_FILTER + 1;

// Passes of interlaced pictures may have no pixels; predictors and filters differ by the bytes of a pixel.
TEST_F(Filters, WriteAnySizeInAnyWay) {
  Table<size_t, unsigned, int, int> const ways = {{0, PNG_INTERLACE, 1, 9},
                                                  {0, PNG_FILTER, 1, 2},
                                                  {0, PNG_FILTER, 2, 2},
                                                  {0, PNG_FILTER, 3, 2},
                                                  {0, PNG_FILTER, 4, 2},
                                                  {0, PNG_FILTER, 5, 2},
                                                  {4, FilterOption::COMPRESSION, 1, 2},
                                                  {4, FilterOption::COMPRESSION, 2, 2}};
  for (auto const& [index, key, value, most] : ways) {
    for (IMG_FORMAT format : {IMG_PAL1, IMG_PAL4, IMG_PAL8, IMG_GRAY8, IMG_GRAY16, IMG_BGR24, IMG_BGRA32,
                              IMG_BGR48, IMG_BGRA64}) {
      for (int size = 0; size < 9 * most; ++size) {
        ImageRef const image = Noise(format, 1 + size % 9, 1 + size / 9);
        for (int n = 0; n < image->paletteCount; ++n) image->palette[n].alpha = 255;
        ImageRef const back = Decoded(*filters[index], EncodeWith(*filters[index], *image, key, value));
        ASSERT_EQ(back->format, format) << key << ' ' << value;
        IMG_FORMAT const compared = image->paletteCount ? IMG_BGR24 : format;
        ASSERT_EQ(Pixels(*back, compared), Pixels(*image, compared)) << key << ' ' << value << ' ' << size;
      }
    }
  }
}

// A code more at a time: each length at which codes become longer or begin anew is met, in one strip.
TEST_F(Filters, WriteLzwOfAnyLength) {
  ImageRef const noise = Noise(IMG_GRAY8, 4400, 1);
  for (int width = 1; width <= 4400; ++width) {
    Image2d* part = nullptr;
    ASSERT_EQ(noise->Crop(0, 0, width, 1, &part), S_OK);
    ImageRef const image = Own(part),
                   back = Decoded(*filters[4], EncodeWith(*filters[4], *image, FilterOption::COMPRESSION, 1));
    ASSERT_EQ(Pixels(*back, IMG_GRAY8), Pixels(*image, IMG_GRAY8)) << width;
  }
}

uint32_t CrcOf(string const& bytes) {
  uint32_t sum = ~0u;
  for (char const byte : bytes) {
    sum ^= static_cast<uint8_t>(byte);
    for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ (sum & 1 ? 0xEDB88320u : 0);
  }
  return ~sum;
}

TEST_F(Filters, PutTheChunksOfPngInOrder) {
  ImageRef const image = Noise(IMG_PAL8, 300, 400);  // with alpha, and more pixels than one chunk has
  string profile(300, 'x'), kinds;
  profile.replace(16, 4, "RGB ").replace(36, 4, "acsp");
  Variant icc;
  icc.Init(profile.data(), 300, false);
  image->SetValue(img::INFO_COLOR_PROFILE, icc);
  image->SetValue(img::INFO_RESOLUTION_X, Value(72.0));
  image->SetValue(img::INFO_RESOLUTION_Y, Value(72.0));
  image->SetValue(img::INFO_ORIENTATION, Value(8u));
  image->SetValue(img::INFO_TITLE, Value(L"Two"));
  string const file = Encode(*filters[0], *image);
  auto const number = [&](size_t at) {
    return _byteswap_ulong(*reinterpret_cast<unsigned const*>(&file[at]));
  };
  for (size_t at = 8, size = 0; at < file.size(); at += size + 12) {
    size = number(at);
    kinds += file.substr(at + 4, 4) + ' ';
    EXPECT_EQ(number(at + 8 + size), CrcOf(file.substr(at + 4, size + 4))) << kinds;
  }
  EXPECT_EQ(kinds, "IHDR iCCP pHYs eXIf iTXt PLTE tRNS IDAT IDAT IEND ");
}

// Each pixel of one number in all channels.
TEST_F(Filters, Write16BitsWhereTheFileHasThem) {
  for (Guid const& type : {ids::FILE_PNG, ids::FILE_TIFF}) {
    for (IMG_FORMAT format : {IMG_GRAY16, IMG_GRAYF, IMG_BGRF, IMG_BGRAF}) {
      img::FormatFacts const& facts = img::GetFacts(format);
      ImageRef const image = NewImage(format, 3, 1);
      for (int i = 0; i < 3 * facts.channels; ++i) {
        constexpr float FLOATS[] = {0.25f, 2, NAN};
        constexpr uint16_t WORDS[] = {0x4000, 0xFFFF, 0};
        auto const store = [&](auto number) {
          memcpy(image->bits + sizeof number * i, &number, sizeof number);
        };
        format == IMG_GRAY16 ? store(WORDS[i / facts.channels]) : store(FLOATS[i / facts.channels]);
      }
      ImageRef const back = ThereAndBack(*Filter(type), *image);
      auto const size = static_cast<size_t>(back->bytesPerPixel);
      string const row = Pixels(*back, back->format);
      EXPECT_EQ(img::GetFacts(back->format).channelBits, 16) << type.first << ' ' << facts.name;
      for (size_t i = 0; i + 1 < 3 * size; i += 2)
        EXPECT_EQ(row.substr(i, 2), i < size       ? "\0\x40"s
                                    : i < 2 * size ? "\xFF\xFF"s
                                                   : "\0\0"s)
            << facts.name;
    }
  }
}

// The palette of a TIFF file has no alpha.
TEST_F(Filters, KeepThePalettesAlpha) {
  for (IMG_FORMAT format : {IMG_PAL8, IMG_PAL4, IMG_PAL1}) {
    ImageRef const image = Noise(format, 9, 5);
    for (int i = 0; i < image->paletteCount; ++i) image->palette[i].alpha = static_cast<uint8_t>(i * 7);
    ImageRef const png = ThereAndBack(*filters[0], *image), back = ThereAndBack(*filters[4], *image);
    EXPECT_EQ(memcmp(png->palette, image->palette, 4u * image->paletteCount), 0);
    EXPECT_EQ(back->format, IMG_BGRA32) << format;
    for (int x = 0; x < 9; ++x) {
      unsigned const index = image->GetLine(2)[x * image->bitsPerPixel / 8] >>
                                 (8 - image->bitsPerPixel - x * image->bitsPerPixel % 8) &
                             (image->paletteCount - 1u);
      IMG_PALENTRY const& e = image->palette[index];
      uint8_t const* const p = back->GetLineEx(2, x);
      EXPECT_EQ(Bytes(p, p + 4), (Bytes{e.blue, e.green, e.red, e.alpha})) << format << ' ' << x;
    }
  }
}

TEST_F(Filters, ChooseColoursWhereOnly256Fit) {
  ImageRef const image = Painted(
      IMG_BGRA32, 40, 30, [](int x, int y, int channel) { return (x / 20 + y / 15 * 2) * (60 + channel); });
  EXPECT_LT(MeanError(*image, *ThereAndBack(*filters[3], *image)), 3);
}

// ---- JPEG

TEST_F(Filters, TakeAQualityForJpeg) {
  auto const photograph = Own(static_cast<Image2d*>(AbstractImage::Load(L"" PICTURES "/rocket.jpg")));
  ASSERT_TRUE(photograph);
  EXPECT_EQ(photograph->width, 640);
  size_t lastSize = 0;
  double lastError = 255;
  for (unsigned quality : {1, 50, 100}) {
    string const file = Encode(*filters[1], *photograph, quality);
    double const error = MeanError(*photograph, *Decoded(*filters[1], file));
    EXPECT_GT(file.size(), std::exchange(lastSize, file.size())) << quality;
    EXPECT_LT(error, std::exchange(lastError, error)) << quality;
  }
  EXPECT_LT(lastError, 1);
  EXPECT_EQ(filters[1]->Write(Memory().get(), photograph.get(), 101), E_INVALIDARG);
}

// Smooth pictures of every small size come back within a few levels, even where the picture's edge truncates
// a file's blocks of 8 or 16 pixels.
TEST_F(Filters, WriteJpegsOfAnySize) {
  for (IMG_FORMAT format : {IMG_GRAY8, IMG_BGR24}) {
    for (unsigned quality : {0, 75, 95}) {
      for (int width = 1; width < 36; ++width) {
        SCOPED_TRACE(testing::Message() << format << " " << quality << " " << width);
        ImageRef const image = Painted(format, width, 36 - width, [](int x, int y, int channel) {
          return 60 + 2 * x + 3 * y + 20 * channel;
        });
        ImageRef const back = ThereAndBack(*filters[1], *image, quality);
        EXPECT_EQ(back->format, quality ? IMG_BGR24 : format);  // an explicit quality makes three channels
        EXPECT_LT(MeanError(*image, *back), 3);
      }
    }
  }
}

}  // namespace
