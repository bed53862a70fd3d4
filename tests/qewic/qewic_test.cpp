// What qewic.qem offers, and reading: files made by others, damage, streams, threads.
#include <objbase.h>
#include <qecore/core/system.h>
#include <qecore/image/file_info.h>
#include <qecore/image/filter_option.h>
#include <qecore/image/image_file.h>
#include <qecore/image/image_limits.h>
#include <qecore/image/orientation.h>

#include <set>
#include <thread>

#include "io/streams.h"
#include "qewic/filters.h"
#include "support/failure.h"

namespace {

// ---- classes

TEST_F(Filters, AreRegisteredUnderTheFileTypes) {
  for (auto const& filter : filters) {
    EXPECT_EQ(filter->GetFlags(), filter == filters[1] ? 7u : 3u);
    for (Guid const& id : {*filter->GetTypeId(), ids::FLT_2D, ids::FLT, ids::UNKNOWN}) {
      Ref<Unknown> object;
      EXPECT_EQ(filter->QueryInterface(id, object.ReceiveVoid()), S_OK);
      EXPECT_TRUE(filter->IsTypeOf(id));
    }
    EXPECT_EQ(References(filter.get()), 1u);
  }
  EXPECT_STREQ(filters[1]->GetPattern(2), L"jpe");
  EXPECT_EQ(filters[1]->GetPattern(3), nullptr);
}

// Each value writes another file, with the same pixels.
TEST_F(Filters, HaveOptionsOfWriting) {
  Table<size_t, wstring, unsigned, int> const rows = {
      {0, L"filter", FilterOption::FIRST_OWN, 6},           {0, L"interlace", FilterOption::FIRST_OWN + 1, 2},
      {0, L"compression", FilterOption::FIRST_OWN + 2, 10}, {1, L"quality", FilterOption::QUALITY, 2},
      {4, L"compression", FilterOption::COMPRESSION, 3},
  };
  ImageRef const image =
      Painted(IMG_BGR24, 60, 40, [](int x, int y, int channel) { return x * y + channel; });
  size_t found = 0;
  for (auto const& filter : filters) {
    Ref<ykFlt2dEx> const extended = Extended(*filter);
    FilterOption option;
    for (unsigned i = 0; extended->GetOption(FILTER_WRITE, i, option) == S_OK; ++i, option = {}) {
      ASSERT_LT(found, rows.size());
      auto const& [index, name, key, values] = rows[found++];
      EXPECT_EQ(std::tuple(filter.get(), wstring(option.name), option.key),
                std::tuple(filters[index].get(), name, key));
      std::set<string> files;
      for (int value = 0; value < values; ++value) {
        string const file = EncodeWith(*filter, *image, key, value + static_cast<int>(option.least));
        files.insert(file);
        EXPECT_TRUE(index == 1 || Pixels(*Decoded(*filter, file), IMG_BGR24) == Pixels(*image, IMG_BGR24));
      }
      EXPECT_GE(files.size(), static_cast<size_t>(std::min(values, 6))) << testing::PrintToString(name);
    }
  }
  EXPECT_EQ(found, rows.size());
}

// ---- reading files made by others

// The files, as hexadecimal digits.

// 8-bit channels: red, green; blue, 1-2-3
constexpr char PNG_RGB[] =
    "89504e470d0a1a0a0000000d4948445200000002000000020802000000fdd49a73000000134944415478da63f8cfc0c000c20cff"
    "1999980119fe0304cd6a9c4d0000000049454e44ae426082";
// 2-bit indices 0 1 2; 3 2 1 of four colours, the second of which is half transparent
constexpr char PNG_PALETTE[] =
    "89504e470d0a1a0a0000000d4948445200000003000000020203000000e01a8e890000000c504c54450a141e28323c46505a646e"
    "78c64877df0000000274524e53ff80080fb36a0000000c4944415478da639060780200013000fd6830cfdf0000000049454e44ae"
    "426082";
// a pixel format that the library does not have
constexpr char PNG_GREY_ALPHA[] =
    "89504e470d0a1a0a0000000d4948445200000001000000010804000000b51c0c020000000b4944415478da63f03d010001650116"
    "e3f9c6d60000000049454e44ae426082";
// claims 60000 x 60000 pixels, of which 12 bytes are present
constexpr char PNG_HUGE[] =
    "89504e470d0a1a0a0000000d494844520000ea600000ea6008020000000fb0e2150000000c4944415478da6360a03d0000006400"
    "01b899ef990000000049454e44ae426082";
// two pixels by the masks 5-6-5; red in the lowest byte, stored bottom-up
constexpr char BMP_565[] =
    "424d460000000000000042000000280000000200000001000000010010000300000004000000130b0000130b0000000000000000"
    "000000f80000e00700001f00000000f8ff07";
constexpr char BMP_RED_LOW[] =
    "424d460000000000000042000000280000000100000001000000010020000300000004000000130b0000130b0000000000000000"
    "0000ff00000000ff00000000ff0003020100";
// a frame of one pixel in the middle of a screen of three
constexpr char GIF_PART[] = "47494638396103000100f000000909090a141e2c01000000010001000002024c01003b";
// one pixel: big-endian words, a plane for each channel; floats; a luminance and two differences
constexpr char TIFF_WORDS[] =
    "4d4d002a0000000e010203040506000a01000004000000010000000101010004000000010000000101020003000000030000008c"
    "01030003000000010001000001060003000000010002000001110004000000030000009201150003000000010003000001160004"
    "000000010000000101170004000000030000009e011c0003000000010002000000000000001000100010000000080000000a0000"
    "000c000000020000000200000002";
constexpr char TIFF_FLOATS[] =
    "49492a00140000000000803f0000003f000000000b00000104000100000001000000010104000100000001000000020103000300"
    "00009e00000003010300010000000100000006010300010000000200000011010400010000000800000015010300010000000300"
    "000016010400010000000100000017010400010000000c0000001c01030001000000010000005301030003000000a40000000000"
    "0000200020002000030003000300";
constexpr char TIFF_YCBCR[] =
    "49492a000c0000004c55ff000b000001040001000000010000000101040001000000010000000201030003000000960000000301"
    "03000100000001000000060103000100000006000000110104000100000008000000150103000100000003000000160104000100"
    "0000010000001701040001000000030000001c01030001000000010000001202030002000000010001000000000008000800080"
    "0";

// grey 1 and 2, with an orientation, 300 pixels per inch and a description
constexpr char TIFF_TURNED[] =
    "49492a000a00000001020e0000010400010000000200000001010400010000000100000002010300010000000800000003010300"
    "01000000010000000601030001000000010000000e01020006000000b80000001101040001000000080000001201030001000000"
    "060000001501030001000000010000001601040001000000010000001701040001000000020000001a01050001000000be000000"
    "1b01050001000000c60000001c0103000100000001000000000000004120636174002c010000010000005802000002000000";
constexpr char PNG_TURNED[] =
    "89504e470d0a1a0a0000000d4948445200000002000000010800000000d1492056000000097048597300002e2300002e230178a5"
    "3f7600000011744558744465736372697074696f6e004120636174924d54f20000001a655849664d4d002a000000080001011200"
    "03000000010003000000000000845f64ce0000000b49444154789c6360640200000700047649e3280000000049454e44ae42608"
    "2";

// three frames of four colours: all of 20, 50 in the middle, 80 at the right
constexpr char GIF_FRAMES[] =
    "47494638396103000100f100000909090a141e28323c46505a2c00000000030001000002028c0b0021f90401000003002c010000"
    "00010001000002025401002c02000000010001000002025c01003b";
// two pages of one pixel of grey, 5 and 7
constexpr char TIFF_PAGES[] =
    "49492a000a0000000507050000010400010000000100000001010400010000000100000002010300010000000800000006010300"
    "01000000010000001101040001000000080000004c00000005000001040001000000010000000101040001000000010000000201"
    "0300010000000800000006010300010000000100000011010400010000000900000000000000";

// A directory with an orientation, and a description: a text of more than four bytes.
constexpr char EXIF[] =
    "4d4d002a000000080002011200030000000100060000010e00020000000600000026000000004d61676e6f00";

TEST_F(Filters, DescribeFiles) {
  string const exif = "Exif\0\0"s + FromHex(EXIF);
  std::vector<std::pair<Guid, string>> files;
  for (auto const& filter : filters)
    files.emplace_back(*filter->GetTypeId(), Encode(*filter, *Noise(IMG_BGR24, 7, 5)));
  files[1].second.insert(2, "\xFF\xE1\0"s + static_cast<char>(exif.size() + 2) + exif + "\xFF\xFE\0\x05Yes"s);
  files.emplace_back(ids::FILE_GIF, FromHex(GIF_PART));
  files.emplace_back(ids::FILE_BMP, FromHex(BMP_565));
  files.emplace_back(ids::FILE_PNG, FromHex(PNG_TURNED));
  files.emplace_back(ids::FILE_TIFF, FromHex(TIFF_TURNED));
  Table<size_t, unsigned, Variant> const rows = {
      {0, img::INFO_WIDTH, Value(7u)},       {0, img::INFO_HEIGHT, Value(5u)},
      {0, img::INFO_FRAMES, Value(1u)},      {0, img::INFO_BITS, Value(24u)},
      {1, img::INFO_ORIENTATION, Value(6u)}, {1, img::INFO_DESCRIPTION, Value(L"Magno")},
      {1, img::INFO_COMMENT, Value(L"Yes")}, {2, img::INFO_BITS, Value(24u)},
      {3, img::INFO_BITS, Value(8u)},        {4, img::INFO_BITS, Value(24u)},
      {5, img::INFO_WIDTH, Value(3u)},       {6, img::INFO_BITS, Value(16u)},
      {7, img::INFO_ORIENTATION, Value(3u)}, {8, img::INFO_DESCRIPTION, Value(L"A cat")}};
  for (auto const& [file, key, wanted] : rows) {
    auto const& [type, bytes] = files[file];
    Ref<Map> const info = Own(Map::Create());
    ASSERT_EQ(Filter(type)->QueryFileInfo(Memory(bytes).get(), info.get(), 0), S_OK) << file;
    Variant value;
    EXPECT_TRUE(info->GetValue(key, value) == S_OK && value.Compare(wanted)) << file << ' ' << key;
  }
}

TEST_F(Filters, KeepWhatFilesSayOfTheirPictures) {
  Table<char const*, Guid, unsigned> const files = {{TIFF_TURNED, ids::FILE_TIFF, 6},
                                                    {PNG_TURNED, ids::FILE_PNG, 3}};
  for (auto const& [hex, type, orientation] : files) {
    ImageRef const image = Decoded(*Filter(type), FromHex(hex));
    Image2d* made = nullptr;
    ASSERT_EQ(img::MakeUpright(*image, &made), S_OK);
    ImageRef const upright = Own(made);
    EXPECT_EQ(Pixels(*upright, IMG_GRAY8), orientation == 3 ? "\2\1" : "\1\2") << orientation;
    EXPECT_EQ(upright->height, orientation == 3 ? 1 : 2);
    for (ImageRef const& each : {image, upright}) {
      Variant turn, resolution, text;
      double inches = 0;
      String description;
      EXPECT_EQ(each->GetValue(img::INFO_ORIENTATION, turn), S_OK);
      EXPECT_EQ(each->GetValue(img::INFO_RESOLUTION_X, resolution), S_OK);
      EXPECT_EQ(each->GetValue(img::INFO_DESCRIPTION, text), S_OK);
      EXPECT_TRUE(resolution.Get(inches) && std::abs(inches - 300) < 0.01);
      EXPECT_TRUE(text.Get(description) && description == L"A cat");
      unsigned number = 0;
      EXPECT_TRUE(turn.Get(number) && number == (each == image ? orientation : 1));
    }
  }
}

TEST_F(Filters, ReadWhatPlatformsReadDifferently) {
  Table<char const*, Guid, IMG_FORMAT, Bytes> const files = {
      {BMP_565, ids::FILE_BMP, IMG_BGR24, {0, 0, 255, 255, 255, 0}},
      {BMP_RED_LOW, ids::FILE_BMP, IMG_BGR24, {1, 2, 3}},
      {GIF_PART, ids::FILE_GIF, IMG_PAL8, {2, 1, 2}},
      {TIFF_WORDS, ids::FILE_TIFF, IMG_BGR48, {6, 5, 4, 3, 2, 1}},
      {TIFF_FLOATS, ids::FILE_TIFF, IMG_BGRF, {0, 0, 0, 0, 0, 0, 0, 63, 0, 0, 128, 63}},
      {TIFF_YCBCR, ids::FILE_TIFF, IMG_BGR24, {0, 0, 254}},
  };
  for (auto const& [hex, type, format, pixels] : files) {
    ImageRef const image = Decoded(*Filter(type), FromHex(hex));
    EXPECT_EQ(image->format, format) << hex;
    EXPECT_EQ(Pixels(*image, format), string(pixels.begin(), pixels.end())) << hex;
    EXPECT_TRUE(type != ids::FILE_GIF || image->palette[2].alpha == 0);
  }
}

// The files with a byte changed: what the second frame leaves of itself, and the page after the last.
TEST_F(Filters, ReadEachFrame) {
  struct Row {
    size_t filter, place;
    char changed;
    int frame;
    Bytes greens;  // 0 where nothing is
  };
  Row const rows[] = {{3, 43, 4, 0, {20, 20, 20}}, {3, 43, 4, 1, {20, 50, 20}}, {3, 43, 4, 2, {20, 50, 80}},
                      {3, 43, 8, 2, {20, 0, 80}},  {3, 43, 8, 1, {20, 50, 20}}, {3, 43, 12, 2, {20, 20, 80}},
                      {3, 43, 4, 3, {}},           {4, 138, 0, 0, {5}},         {4, 138, 0, 1, {7}},
                      {4, 138, 10, 1, {7}},        {4, 138, 0, 2, {}},          {4, 138, 76, 2, {}}};
  for (Row const& row : rows) {
    string file = FromHex(row.filter == 3 ? GIF_FRAMES : TIFF_PAGES);
    file[row.place] = row.changed;
    unsigned const frames = row.filter == 3 ? 3 : 2;
    EXPECT_EQ(Described(*filters[row.filter], file, img::INFO_FRAMES), frames);
    Ref<Map> const options = Own(Map::Create());
    Ref<AbstractImage> out;
    options->SetValue(FilterOption::FRAME, Value(row.frame));
    auto const read = [&] { return img::Read(Memory(file).get(), options.get(), nullptr, out.Receive()); };
    if (row.greens.empty()) {
      ExpectFailures({{E_INVALIDARG,
                       L"there is no frame " + std::to_wstring(frames) + L": the file has frames 0 to " +
                           std::to_wstring(frames - 1),
                       read}});
      continue;
    }
    for (bool const every : {false, true}) {
      options->SetValue(FilterOption::EVERY_FRAME, Value(every));
      ASSERT_EQ(read(), S_OK);
      string const pixels = Pixels(static_cast<Image2d&>(*out), IMG_BGRA32);
      for (size_t i = 0; i < row.greens.size(); ++i)
        EXPECT_EQ(uint8_t(pixels[4 * i + 3] ? pixels[4 * i + 1] : 0), row.greens[i]) << row.frame << ' ' << i;
    }
  }
}

// A frame that is undone, and a page, that cannot be read.
TEST_F(Filters, FindDamageToFramesThatAreNotSeen) {
  string gif = FromHex(GIF_FRAMES), tiff = FromHex(TIFF_PAGES);
  gif[43] = 12, gif[58] = 9, tiff[56] = 9;
  Table<string, int, wchar_t const*> const rows = {
      {gif, 2, L"frame 1: damaged: its code size is invalid"},
      {tiff, 1, L"frame 0: not supported, because of its colour space"}};
  for (auto const& [file, frame, reason] : rows) {
    Ref<Map> const options = Own(Map::Create());
    Ref<AbstractImage> out;
    auto const read = [&] { return img::Read(Memory(file).get(), options.get(), nullptr, out.Receive()); };
    options->SetValue(FilterOption::FRAME, Value(frame));
    EXPECT_EQ(read(), S_OK);
    options->SetValue(FilterOption::EVERY_FRAME, Value(true));
    ExpectFailures({{YK_E_BADFILE, reason, read}});
  }
}

TEST_F(Filters, ReadKnownPngsUprightAndInTheirColours) {
  // the file, its format and width; the pixels from the top row down; red, green, blue and alpha of index 1,
  // where there is a palette
  Table<char const*, IMG_FORMAT, int, Bytes, Bytes> const files = {
      {PNG_RGB, IMG_BGR24, 2, {0, 0, 255, 0, 255, 0, 255, 0, 0, 3, 2, 1}, {}},
      {PNG_PALETTE, IMG_PAL4, 3, {0x01, 0x20, 0x32, 0x10}, {40, 50, 60, 128}},
      {PNG_GREY_ALPHA, IMG_BGRA32, 1, {77, 77, 77, 200}, {}},
  };
  for (auto const& [hex, format, width, pixels, entry] : files) {
    ImageRef const image = Decoded(*filters[0], FromHex(hex));
    ASSERT_EQ(std::pair(image->format, image->width), std::pair(format, width)) << hex;
    EXPECT_EQ(Pixels(*image, format), string(pixels.begin(), pixels.end())) << hex;
    EXPECT_TRUE(entry.empty() || memcmp(image->palette + 1, entry.data(), 4) == 0) << hex;
  }
}

// ---- damage

string SmallFile(ykFlt2d& filter) { return Encode(filter, *Noise(IMG_BGR24, 7, 5)); }

TEST_F(Filters, ReadACutFileWholeOrNotAtAll) {
  for (auto const& filter : filters) {
    string const file = SmallFile(*filter);
    ImageRef const whole = Decoded(*filter, file);
    ImageRef image;
    for (size_t at = 0; at < file.size(); ++at) {
      if (Failed(Decode(*filter, *Memory(file.substr(0, at)), image))) continue;
      EXPECT_EQ(Pixels(*image, IMG_BGR24), Pixels(*whole, IMG_BGR24)) << at << " of " << file.size();
      EXPECT_GT(at, file.size() * 3 / 4);  // only trailing metadata may be missing
    }
  }
}

TEST_F(Filters, RefuseWhatIsNotTheirs) {
  ImageRef image;
  for (auto const& filter : filters) {
    string const file = SmallFile(*filter);
    for (auto const& other : filters) {
      Ref<Stream> const stream = Memory(file);
      EXPECT_EQ(Extended(*other)->CanRead(stream.get()), other == filter ? S_OK : S_FALSE);
      EXPECT_EQ(stream->GetPosition(), 0u);
      EXPECT_EQ(Decode(*other, *stream, image), other == filter ? S_OK : YK_E_BADFILE);
    }
  }
  ykFlt2d& png = *filters[0];
  EXPECT_LT(Decode(png, *Memory(FromHex(PNG_HUGE)), image), 0);
  Ref<Stream> const stream = Memory();
  EXPECT_EQ(png.Read(stream.get(), nullptr, 0), E_INVALIDARG);
  EXPECT_EQ(png.Write(stream.get(), Own(Image2d::Create()).get(), 0), YK_E_EMPTY);
  EXPECT_EQ(png.Write(stream.get(), Noise(IMG_MONO32, 2, 2).get(), 0), YK_E_FORMAT);
  EXPECT_EQ(stream->GetSize(), 0u);
}

// ---- streams

TEST_F(Filters, PassOnTheFailureOfAStream) {
  std::tuple<SpyStream::Fault, bool, HRESULT> const rows[] = {
      {SpyStream::READ, true, YK_E_ACCESS},
      {SpyStream::SHORT_READ, true, E_FAIL},
      {SpyStream::WRITE, false, YK_E_ACCESS},
      {SpyStream::SHORT, false, E_FAIL},
      {SpyStream::STATE, false, E_FAIL}};  // reported later
  ImageRef const image = Noise(IMG_BGR24, 60, 40);
  for (auto const& filter : filters) {
    string const file = Encode(*filter, *image);
    for (auto const& [fault, reads, expected] : rows) {
      for (int calls = 0, failed = true; failed; calls += 1 + calls / 10) {
        SpyStream stream(reads ? file : "");
        stream.fault = fault, stream.left = calls, stream.isForGood = !reads || calls % 2;
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
  EXPECT_EQ(filters[1]->Write(&few, image.get(), 50), S_OK);
}

TEST_F(Filters, SayWhyTheyFail) {
  ykFlt2d &png = *filters[0], &jpeg = *filters[1];
  ImageRef const image = Noise(IMG_BGR24, 9, 9);
  string const file = Encode(png, *image);
  SpyStream spy(file);
  spy.isForGood = true;
  Ref<AbstractImage> out;
  auto const read = [&](Stream& stream) { return png.Read(&stream, out.Receive(), 0); };
  auto const write = [&](SpyStream::Fault fault, unsigned quality) {
    spy.fault = fault, spy.failed = false, spy.left = 0;
    return jpeg.Write(&spy, image.get(), quality);
  };
  string wrongSum = file;
  ++wrongSum[40];
  string wrongKind = file;
  wrongKind[25] = 5;
  string const jpegInTiff = FromHex(TIFF_WORDS).replace(60, 2, string("\0\7", 2));
  Ref<Map> const options = Own(Map::Create());
  options->SetValue(FilterOption::FIRST_OWN, Value(6));
  options->SetValue(FilterOption::QUALITY, Value(-1));
  auto const writeEx = [&](ykFlt2d& to) {
    return Extended(to)->WriteEx(Memory().get(), image.get(), options.get(), nullptr);
  };
  string cleared = "GIF89a\0\x10\0\x10\x80\0\0\0\0\0\xFF\xFF\xFF"s;  // frames that are a pixel smaller
  for (int i = 0; i < 9; ++i) cleared += "!\xF9\4\x08\0\0\0\0,\0\0\0\0\xFF\xF\0\x10\0\2\0"s;
  options->SetValue(FilterOption::FRAME, Value(8));
  auto const readFrame = [&] {
    return Extended(*filters[3])->ReadEx(Memory(cleared).get(), options.get(), nullptr, out.Receive());
  };
  img::SetReadLimit(251);
  ExpectFailures(
      {{E_OUTOFMEMORY, L"the picture needs 252 bytes, 9 \u00D7 9 pixels; the host allows 251 bytes",
        [&] { return read(*Memory(file)); }}});
  img::SetReadLimit(img::LARGEST_IMAGE);
  ExpectFailures({
      {E_OUTOFMEMORY, L"the picture needs 10.8 GB, 60000 \u00D7 60000 pixels; the most is 2.1 GB",
       [&] { return read(*Memory(FromHex(PNG_HUGE))); }},
      {YK_E_BADFILE, L"damaged: a checksum does not match", [&] { return read(*Memory(wrongSum)); }},
      {YK_E_BADFILE, L"damaged: the header is invalid", [&] { return read(*Memory(wrongKind)); }},
      {YK_E_BADFILE, L"damaged: the file is too small for its frames", readFrame},
      {YK_E_BADFILE, L"not supported, because it is compressed as JPEG",
       [&] { return filters[4]->Read(Memory(jpegInTiff).get(), out.Receive(), 0); }},
      {YK_E_BADFILE, L"damaged, truncated or of another type",
       [&] { return read(*Memory(file.substr(0, 40))); }},
      {YK_E_ACCESS, L"the stream could not be read", [&] { return spy.fault = SpyStream::READ, read(spy); }},
      {YK_E_ACCESS, L"it could not be written completely", [&] { return write(SpyStream::WRITE, 50); }},
      {E_INVALIDARG, L"the quality 101 is not between 0 and 100",
       [&] { return write(SpyStream::NONE, 101); }},
      {E_INVALIDARG, L"the quality -1 is not between 0 and 100", [&] { return writeEx(jpeg); }},
      {E_INVALIDARG, L"the option filter has no choice 6", [&] { return writeEx(png); }},
      {YK_E_FORMAT, L"the TIFF file would be larger than 4.3 GB",
       [&] { return filters[4]->Write(Memory().get(), Noise(IMG_PAL1, 40000, 27000).get(), 0); }},
  });
  for (size_t index : {0, 4}) {
    for (bool const isLate : {false, true}) {  // during a question for the position, and the first write
      ImageRef const large = Noise(IMG_BGR24, 200, 200);
      SpyStream changing;
      auto const change = [&] { large->Create(IMG_GRAY8, 200, 200); };
      changing.onCall = change;
      if (isLate) changing.onCall = [&] { changing.onCall = change; };
      ExpectFailures({{E_FAIL, L"the image changed while it was being written",
                       [&] { return filters[index]->Write(&changing, large.get(), 0); }}});
    }
  }
}

TEST_F(Filters, WorkInTheMiddleOfAStream) {
  ImageRef const image = Noise(IMG_GRAY8, 13, 4);
  for (auto const& filter : filters) {
    string const alone = Encode(*filter, *image);
    Ref<Stream> const stream = Memory("before");
    stream->Seek(0, Stream::FROM_END);
    ASSERT_EQ(filter->Write(stream.get(), image.get(), 0), S_OK);
    stream->Write("after", 5);
    EXPECT_EQ(Content(*stream), "before" + alone + "after");
    stream->Seek(6, Stream::FROM_START);
    ImageRef back;
    ASSERT_EQ(Decode(*filter, *stream, back), S_OK);
    EXPECT_EQ(Pixels(*back, IMG_BGR24), Pixels(*Decoded(*filter, alone), IMG_BGR24));
  }
}

// ---- threads

TEST_F(Filters, LeaveTheThreadsComAsItWas) {
  string const file = SmallFile(*filters[0]);
  std::thread([&] {
    Decoded(*filters[0], file);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);  // the mode was still unset
    Decoded(*filters[0], file);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_FALSE);  // and is still set
    CoUninitialize();
    CoUninitialize();
  }).join();
}

}  // namespace
