// The image filters of qewic.qem, made through the registry as a host makes them.
#include <math.h>
#include <objbase.h>
#include <qecore/core/filter.h>
#include <qecore/core/system.h>
#include <qecore/values/map.h>
#include <qecore/values/string.h>

#include <thread>

#include "image/support.h"
#include "io/streams.h"
#include "support/binary.h"
#include "support/temp_folder.h"

namespace {

using namespace yk;

/// A System that knows the plug-ins beside the test program.
class Filters : public testing::Test {
 protected:
  Filters() : system(Ref<System>::Adopt(System::Create())) {
    system->ScanModules(ProgramFolder().c_str(), cacheFolder.Path(L"cache").c_str());
  }

  static Ref<ykFlt2d> Filter(Guid const& type) {
    Ref<ykFlt2d> filter;
    EXPECT_EQ(CreateInterface(type, filter.ReceiveVoid()), S_OK);
    return filter;
  }

  TempFolder cacheFolder;
  Ref<System> system;
};

std::string FromHex(std::string const& hex) {
  std::string bytes;
  for (size_t i = 0; i < hex.size(); i += 2)
    bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  return bytes;
}

HRESULT Decode(ykFlt2d& filter, Stream& stream, ImageRef& image) {
  AbstractImage* out = reinterpret_cast<AbstractImage*>(intptr_t{-1});
  HRESULT const result = filter.Read(&stream, &out, 0);
  EXPECT_EQ(out != nullptr, Succeeded(result));
  image = ImageRef::Adopt(Succeeded(result) ? static_cast<Image2d*>(out) : nullptr);
  return result;
}

std::string Encode(ykFlt2d& filter, Image2d& image, unsigned options = 0) {
  Ref<Stream> const stream = Memory("");
  EXPECT_EQ(filter.Write(stream.get(), &image, options), S_OK);
  return Content(*stream);
}

/// Writes and reads again; null after a failure.
ImageRef ThereAndBack(ykFlt2d& filter, Image2d& image, unsigned options = 0) {
  ImageRef back;
  EXPECT_EQ(Decode(filter, *Memory(Encode(filter, image, options)), back), S_OK);
  return back;
}

/// A picture whose byte `channel` of the pixel (x, y) is paint(x, y, channel).
template <class Paint>
ImageRef Painted(IMG_FORMAT format, int width, int height, Paint paint) {
  ImageRef image = NewImage(format, width, height);
  int const size = image->bytesPerPixel;
  for (int i = 0; i < width * height * size; ++i) {
    int const x = i / size % width, y = i / size / width;
    image->GetLineEx(y, x)[i % size] = static_cast<uint8_t>(paint(x, y, i % size));
  }
  return image;
}

/// Noise whose palette is opaque, since most files cannot say otherwise.
ImageRef Opaque(IMG_FORMAT format, int width, int height) {
  ImageRef image = Noise(format, width, height);
  for (int i = 0; i < image->paletteCount; ++i) image->palette[i].alpha = 255;
  return image;
}

/// The pixels from the top row down, without padding, in another format.
std::string Pixels(Image2d& image, IMG_FORMAT format) {
  std::string all;
  size_t const size = (static_cast<size_t>(image.width) * img::GetFacts(format).bits + 7) / 8;
  for (int y = 0; y < image.height; ++y) {
    std::string row(size + 4, '\0');
    EXPECT_EQ(image.ConvertLine(y, format, row.data(), INT_MAX), S_OK);
    all += row.substr(0, size);
  }
  return all;
}

Guid const* const TYPES[] = {&ids::FILE_PNG, &ids::FILE_JPEG, &ids::FILE_BMP, &ids::FILE_GIF,
                             &ids::FILE_TIFF};

// ---- classes

TEST_F(Filters, AreRegisteredUnderTheFileTypes) {
  for (Guid const* type : TYPES) {
    Ref<ykFlt2d> const filter = Filter(*type);
    EXPECT_EQ(*filter->GetTypeId(), *type);
    EXPECT_EQ(filter->GetFlags(), *type == ids::FILE_JPEG ? 7u : 3u);
    for (Guid const& id : {*type, ids::FLT_2D, ids::FLT, ids::UNKNOWN}) {
      Ref<Unknown> object;
      EXPECT_EQ(filter->QueryInterface(id, object.ReceiveVoid()), S_OK);
      EXPECT_TRUE(filter->IsTypeOf(id));
    }
    EXPECT_EQ(References(filter.get()), 1u);
  }
  EXPECT_STREQ(Filter(ids::FILE_JPEG)->GetPattern(2), L"jpe");
  EXPECT_EQ(Filter(ids::FILE_JPEG)->GetPattern(3), nullptr);
}

// ---- reading files that others have made

// The files, as hexadecimal digits.

// 8-bit channels: red, green; blue, 1-2-3
constexpr char PNG_RGB[] =
    "89504e470d0a1a0a0000000d4948445200000002000000020802000000fdd49a73000000134944415478da63f8cfc0c000c20cff"
    "1999980119fe0304cd6a9c4d0000000049454e44ae426082";
// 2-bit indices 0 1 2; 3 2 1 of four colours, of which the second is half transparent
constexpr char PNG_PALETTE[] =
    "89504e470d0a1a0a0000000d4948445200000003000000020203000000e01a8e890000000c504c54450a141e28323c46505a646e"
    "78c64877df0000000274524e53ff80080fb36a0000000c4944415478da639060780200013000fd6830cfdf0000000049454e44ae"
    "426082";
// a pixel format that the library does not have
constexpr char PNG_GREY_ALPHA[] =
    "89504e470d0a1a0a0000000d4948445200000001000000010804000000b51c0c020000000b4944415478da63f03d010001650116"
    "e3f9c6d60000000049454e44ae426082";
// 60000 x 60000 pixels are claimed, and 12 bytes of them are there
constexpr char PNG_HUGE[] =
    "89504e470d0a1a0a0000000d494844520000ea600000ea6008020000000fb0e2150000000c4944415478da6360a03d0000006400"
    "01b899ef990000000049454e44ae426082";
TEST_F(Filters, ReadKnownPngsUprightAndInTheirColours) {
  struct {
    char const* hex;
    IMG_FORMAT format;
    int width;
    Bytes pixels;  // from the top row down
    Bytes entry;   // red, green, blue, alpha of index 1, where there is a palette
  } const files[] = {
      {PNG_RGB, IMG_BGR24, 2, {0, 0, 255, 0, 255, 0, 255, 0, 0, 3, 2, 1}, {}},
      {PNG_PALETTE, IMG_PAL4, 3, {0x01, 0x20, 0x32, 0x10}, {40, 50, 60, 128}},
      {PNG_GREY_ALPHA, IMG_BGRA32, 1, {77, 77, 77, 200}, {}},
  };
  for (auto const& file : files) {
    SCOPED_TRACE(file.hex);
    ImageRef image;
    ASSERT_EQ(Decode(*Filter(ids::FILE_PNG), *Memory(FromHex(file.hex)), image), S_OK);
    EXPECT_EQ(image->format, file.format);
    EXPECT_EQ(image->width, file.width);
    EXPECT_EQ(Pixels(*image, image->format), std::string(file.pixels.begin(), file.pixels.end()));
    EXPECT_TRUE(file.entry.empty() || memcmp(image->palette + 1, file.entry.data(), 4) == 0);
  }
}

// ---- there and back

double MeanError(Image2d& a, Image2d& b) {
  std::string const mine = Pixels(a, IMG_BGR24), theirs = Pixels(b, IMG_BGR24);
  double sum = mine.size() == theirs.size() ? 0 : INFINITY;
  for (size_t i = 0; i < std::min(mine.size(), theirs.size()); ++i)
    sum += std::abs(uint8_t(mine[i]) - uint8_t(theirs[i]));
  return sum / static_cast<double>(mine.size());
}

// What comes back is what the library's own conversion makes of the image, to the bit.
TEST_F(Filters, HoldWhatTheirFilesCanHold) {
  struct {
    Guid const& type;
    std::vector<int> written, read;
  } const rows[] = {
      {ids::FILE_PNG, {16, 17, 2, 1, 7, 3, 4, 8, 9, 18, 12, 14}, {16, 17, 2, 1, 7, 3, 4, 8, 9, 3, 1, 4}},
      {ids::FILE_BMP, {16, 17, 2, 18, 3, 1, 8}, {16, 17, 2, 18, 3, 2, 3}},
      {ids::FILE_GIF, {16, 17, 2, 1}, {2, 2, 2, 2}},
      {ids::FILE_TIFF, {16, 2, 1, 3, 4, 8, 9}, {16, 2, 1, 3, 4, 8, 9}},
  };
  for (auto const& row : rows) {
    for (size_t i = 0; i < row.written.size(); ++i) {
      for (int width : {1, 2, 7, 8, 9, 33}) {
        SCOPED_TRACE(testing::Message() << row.type.first << ' ' << row.written[i] << ' ' << width);
        ImageRef const image = Opaque(static_cast<IMG_FORMAT>(row.written[i]), width, 5);
        auto const entries = std::exchange(image->paletteCount, 0xFFFF);  // no more than there are count
        ImageRef const back = ThereAndBack(*Filter(row.type), *image);
        image->paletteCount = entries;
        ASSERT_TRUE(back);
        EXPECT_EQ(back->format, row.read[i]);
        IMG_FORMAT const compared = img::GetFacts(back->format).paletteEntries ? IMG_BGR24 : back->format;
        EXPECT_EQ(Pixels(*back, compared), Pixels(*image, compared));
      }
    }
  }
}

TEST_F(Filters, ChooseColoursWhereOnly256Fit) {
  ImageRef const image = Painted(
      IMG_BGRA32, 40, 30, [](int x, int y, int channel) { return (x / 20 + y / 15 * 2) * (60 + channel); });
  EXPECT_LT(MeanError(*image, *ThereAndBack(*Filter(ids::FILE_GIF), *image)), 3);
}

// ---- JPEG

TEST_F(Filters, TakeAQualityForJpeg) {
  Ref<ykFlt2d> const filter = Filter(ids::FILE_JPEG);
  ImageRef const photograph =
      ImageRef::Adopt(static_cast<Image2d*>(AbstractImage::Load(L"" PICTURES "/rocket.jpg")));
  ASSERT_TRUE(photograph);
  EXPECT_EQ(photograph->width, 640);
  size_t lastSize = 0;
  double lastError = 255;
  for (unsigned quality : {1, 50, 100}) {
    std::string const file = Encode(*filter, *photograph, quality);
    ImageRef back;
    ASSERT_EQ(Decode(*filter, *Memory(file), back), S_OK);
    double const error = MeanError(*photograph, *back);
    EXPECT_GT(file.size(), lastSize) << quality;
    EXPECT_LT(error, lastError) << quality;
    lastSize = file.size(), lastError = error;
  }
  EXPECT_LT(lastError, 1);
  EXPECT_EQ(filter->Write(Memory("").get(), photograph.get(), 101), E_INVALIDARG);
}

// Smooth pictures of every small size come back within a few levels, also where a file's units of 8 or 16
// pixels are cut by the picture's edge.
TEST_F(Filters, WriteJpegsOfAnySize) {
  Ref<ykFlt2d> const filter = Filter(ids::FILE_JPEG);
  for (IMG_FORMAT format : {IMG_GRAY8, IMG_BGR24}) {
    for (unsigned quality : {0, 75, 95}) {
      for (int width = 1; width < 36; ++width) {
        SCOPED_TRACE(testing::Message() << format << " " << quality << " " << width);
        ImageRef const image = Painted(format, width, 36 - width, [](int x, int y, int channel) {
          return 60 + 2 * x + 3 * y + 20 * channel;
        });
        ImageRef const back = ThereAndBack(*filter, *image, quality);
        ASSERT_TRUE(back);
        EXPECT_EQ(back->format, quality ? IMG_BGR24 : format);  // a stated quality makes three channels
        EXPECT_LT(MeanError(*image, *back), 3);
      }
    }
  }
}

// ---- what is damaged

std::string SmallFile(Guid const& type, ykFlt2d& filter) {
  return Encode(filter, *Noise(type == ids::FILE_GIF ? IMG_PAL8 : IMG_BGR24, 7, 5));
}

TEST_F(Filters, ReadACutFileWholeOrNotAtAll) {
  for (Guid const* type : TYPES) {
    Ref<ykFlt2d> const filter = Filter(*type);
    std::string const file = SmallFile(*type, *filter);
    ImageRef whole, image;
    ASSERT_EQ(Decode(*filter, *Memory(file), whole), S_OK);
    for (size_t at = 0; at < file.size(); ++at) {
      if (Failed(Decode(*filter, *Memory(file.substr(0, at)), image))) continue;
      EXPECT_EQ(Pixels(*image, IMG_BGR24), Pixels(*whole, IMG_BGR24)) << at << " of " << file.size();
      EXPECT_GT(at, file.size() * 3 / 4);  // what may be missing is the end's decoration
    }
  }
}

TEST_F(Filters, RefuseWhatIsNotTheirs) {
  ImageRef image;
  for (Guid const* type : TYPES) {
    std::string const file = SmallFile(*type, *Filter(*type));
    for (Guid const* other : TYPES) {
      HRESULT const expected = other == type ? S_OK : YK_E_BADFILE;
      EXPECT_EQ(Decode(*Filter(*other), *Memory(file), image), expected);
    }
  }
  EXPECT_LT(Decode(*Filter(ids::FILE_PNG), *Memory(FromHex(PNG_HUGE)), image), 0);
  Ref<ykFlt2d> const filter = Filter(ids::FILE_PNG);
  Ref<Stream> const stream = Memory("");
  EXPECT_EQ(filter->Read(stream.get(), nullptr, 0), E_INVALIDARG);
  EXPECT_EQ(filter->Write(nullptr, Noise(IMG_BGR24, 1, 1).get(), 0), E_INVALIDARG);
  EXPECT_EQ(filter->Write(stream.get(), ImageRef::Adopt(Image2d::Create()).get(), 0), YK_E_EMPTY);
  EXPECT_EQ(filter->Write(stream.get(), Noise(IMG_MONO32, 2, 2).get(), 0), YK_E_FORMAT);
  EXPECT_EQ(stream->GetSize(), 0u);
}

// ---- streams

TEST_F(Filters, PassOnTheFailureOfAStream) {
  std::tuple<SpyStream::Fault, bool, HRESULT> const rows[] = {
      {SpyStream::READ, true, YK_E_ACCESS},
      {SpyStream::SHORT_READ, true, E_FAIL},
      {SpyStream::WRITE, false, YK_E_ACCESS},
      {SpyStream::SHORT, false, E_FAIL},
      {SpyStream::STATE, false, E_FAIL}};  // which is told later
  for (Guid const* type : TYPES) {
    Ref<ykFlt2d> const filter = Filter(*type);
    ImageRef const image = Noise(IMG_BGR24, 60, 40);
    std::string const file = Encode(*filter, *image);
    for (auto const& [fault, reads, expected] : rows) {
      for (int calls = 0, failed = true; failed; calls += 1 + calls / 10) {
        SpyStream stream(reads ? file : "");
        stream.fault = fault, stream.left = calls, stream.isForGood = true;
        ImageRef back;
        unsigned const quality = filter->GetFlags() & 4 && calls % 2 ? 50 : 0;
        HRESULT const result =
            reads ? Decode(*filter, stream, back) : filter->Write(&stream, image.get(), quality);
        failed = stream.failed;
        ASSERT_EQ(result, failed ? expected : S_OK) << fault << ' ' << calls;
        ASSERT_EQ(References(&stream), 1u);
      }
    }
  }
  SpyStream few;
  few.fault = SpyStream::WRITE, few.left = 9;  // calls: not one for each byte
  EXPECT_EQ(Filter(ids::FILE_JPEG)->Write(&few, Noise(IMG_BGR24, 60, 40).get(), 50), S_OK);
}

TEST_F(Filters, WorkInTheMiddleOfAStream) {
  for (Guid const* type : TYPES) {
    Ref<ykFlt2d> const filter = Filter(*type);
    ImageRef const image = Noise(IMG_GRAY8, 13, 4);
    std::string const alone = Encode(*filter, *image);
    Ref<Stream> const stream = Memory("before");
    stream->Seek(0, Stream::FROM_END);
    ASSERT_EQ(filter->Write(stream.get(), image.get(), 0), S_OK);
    stream->Write("after", 5);
    EXPECT_EQ(Content(*stream), "before" + alone + "after");
    stream->Seek(6, Stream::FROM_START);
    ImageRef back;
    ASSERT_EQ(Decode(*filter, *stream, back), S_OK);
    EXPECT_EQ(Pixels(*back, IMG_BGR24), Pixels(*ThereAndBack(*filter, *image), IMG_BGR24));
  }
}

// ---- threads

TEST_F(Filters, LeaveTheThreadsComAsItWas) {
  std::string const file = Encode(*Filter(ids::FILE_PNG), *Noise(IMG_BGR24, 3, 3));
  std::thread([&] {
    ImageRef image;
    EXPECT_EQ(Decode(*Filter(ids::FILE_PNG), *Memory(file), image), S_OK);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);  // the mode was still free
    EXPECT_EQ(Decode(*Filter(ids::FILE_PNG), *Memory(file), image), S_OK);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_FALSE);  // and is still there
    CoUninitialize();
    CoUninitialize();
  }).join();
}

}  // namespace
