#include <qecore/core/registry.h>
#include <qecore/values/variant.h>

#include <windows.h>

#include "support.h"

using namespace yk;

/// Destroyed with an image; adds a reference to it in its destructor, and releases it.
struct Visitor final : Destroys<Visitor, drvData> {
  explicit Visitor(Image2d* toVisit) : image(toVisit) {}
  ~Visitor() { image->AddRef(), image->Release(); }
  Image2d* image;
};

TEST(Image2d, IsReachedByItsPointerAlone) {
  ImageRef image;
  ASSERT_EQ(CreateInterface(ids::IMAGE_2D, image.ReceiveVoid()), S_OK);
  EXPECT_EQ(References(image.get()), 1u);
  EXPECT_EQ(image->QueryInterface(ids::UNKNOWN, nullptr), E_NOINTERFACE);
  for (Guid const& id : {ids::IMAGE_2D, ids::ABSTRACT_IMAGE, ids::STREAMABLE, ids::MAP})
    EXPECT_EQ(image->IsTypeOf(id), id != ids::MAP);
  Slot<void (*)(void*)>(image.get(), 3)(nullptr);  // destroying a null object is a no-op
  Variant value;
  EXPECT_EQ(image->GetValue(3, value), YK_E_NOTFOUND);
  ExpectEach(S_OK, {image->SetValue(3, Made(5)), image->GetValue(3, value)});
  image->drivers.Add(new Visitor(image.get()));
}

/// Everything that can be done to an image, to find accesses out of bounds and endless loops.
static void DoEverything(Image2d& image, Image2d& other) {
  point4df color;
  unsigned char line[64];
  image.GetPixel({1, 1, 0}, color), image.ConvertLine(0, IMG_BGRA32, line, sizeof line);
  image.ClearColor(0x070707u), image.ClearColor(7u), image.PremultiplyAlpha(), image.FlipH(), image.FlipV();
  image.RescaleTo(&other), other.RescaleTo(&image), image.RescaleTo(&image);
  image.IsGrayScaleContent(), image.IsGrayScalePalette();
}

TEST(Create, SetsWhatItSaysAndNothingGoesAstray) {
  static constexpr int OK = S_OK, FAIL = E_FAIL, FULL = E_OUTOFMEMORY, MAX = INT_MAX, MIN = INT_MIN;
  static constexpr struct {
    int format, width, height, flags, result, stride, rows, entries;
  } ROWS[] = {
      {1, 5, 2, 0, OK, 8, 2, 0},       {4, 10, -5, 0, OK, 40, 5, 0},      {8, 1, 1, 0, OK, 8, 1, 0},
      {2, 3, 4, 1, OK, 4, 4, 256},     {16, 9, 1, 0, OK, 4, 1, 2},        {17, 1, 1, 0, OK, 4, 1, 16},
      {4, 1, MAX, 0, FAIL, 4, MAX, 0}, {14, 1, MAX, 0, FULL, 16, 0, 0},   {14, 1, MAX, 1, FAIL, 16, MAX, 0},
      {17, MAX, 1, 0, FULL, 0, 0, 16}, {4, 1 << 27, 1, 1, FAIL, 0, 1, 0}, {2, -40, 3, 0, FULL, -36, 0, 256},
      {2, 3, -5, 0, FULL, 4, 0, 256},  {7, -1, 3, 0, FAIL, 0, 3, 0},      {3, 3, MIN, 0, FAIL, 12, MAX, 0},
      {4, 10, -5, 1, FAIL, 40, 5, 0},  {3, 0, 3, 0, FAIL, 0, 3, 0},       {1, 0, MAX, 1, OK, 0, MAX, 0},
      {3, 0, MAX, 1, OK, 0, MAX, 0},   {4, 0, MAX, 1, OK, 0, MAX, 0},     {2, 0, MAX, 0, OK, 0, MAX, 256},
      {12, 5, 0, 1, OK, 20, 0, 0}};
  for (auto const& row : ROWS) {
    SCOPED_TRACE(testing::Message() << row.format << ' ' << row.width << ' ' << row.height);
    ImageRef const image = NewImage(IMG_GRAY8, 2, 2), other = NewImage(IMG_BGR24, 3, 3);
    image->flags = static_cast<uint8_t>(row.flags);
    EXPECT_EQ(image->Create(static_cast<IMG_FORMAT>(row.format), row.width, row.height), row.result);
    EXPECT_EQ((Ints{image->stride, image->height, image->paletteCount, image->format}),
              (Ints{row.stride, row.rows, row.entries, row.result == FULL ? 0 : row.format}));
    if (row.result == OK) {
      unsigned char* const end = image->bits + image->stride * size_t(row.rows);
      EXPECT_EQ(static_cast<void*>(image->palette), row.entries ? end : nullptr);
      EXPECT_EQ(image->GetLine(0), row.rows ? end - row.stride : nullptr);
      EXPECT_EQ(image->GetLineEx(row.rows - 1, 1), row.rows ? image->bits + image->bytesPerPixel : nullptr);
      memset(image->bits, 0x77, BlockSize(*image));  // all of it is accessible
    }
    for (int y : {-1, row.rows}) EXPECT_EQ(image->GetLine(y), nullptr);
    DoEverything(*image, *other);
    EXPECT_EQ(image->Free(), row.result == OK ? S_OK : S_FALSE);
    EXPECT_EQ(image->flags, row.flags);
  }
  ImageRef const image = NewImage(IMG_BGR24, 2, 2);
  EXPECT_EQ(image->Create(static_cast<IMG_FORMAT>(5), 9, 9), E_INVALIDARG);
  EXPECT_EQ(image->width, 2);
}

/// Grey, 24 and 32 bits are real bitmaps, the others movable memory; on request all are on the heap.
TEST(Create, TakesMemoryFromWhereItSays) {
  for (IMG_FORMAT format : {IMG_GRAY8, IMG_BGR24, IMG_BGRA32}) {
    ImageRef const image = NewImage(format, 5, 3);
    DIBSECTION section = {};
    ASSERT_EQ(GetObjectW(image->handle, sizeof section, &section), int(sizeof section));
    EXPECT_EQ(section.dsBm.bmBits, image->bits);
    EXPECT_EQ(section.dsBm.bmWidthBytes, image->stride);
    EXPECT_EQ(section.dsBmih.biXPelsPerMeter, 300);
  }
  EXPECT_EQ(GlobalFlags(NewImage(IMG_PAL8, 5, 3)->handle) & GMEM_LOCKCOUNT, 1u);
  EXPECT_EQ(NewImage(IMG_BGR24, 5, 3, IMG_HEAP_MEMORY)->handle, nullptr);
}

TEST(ConvertLine, NeedsRoomForAPaddedRowAndWritesNoMore) {
  ImageRef const image = Noise(IMG_GRAY8, 3, 2);
  Bytes out(40, 0xCD);
  ExpectEach(E_INVALIDARG, {image->ConvertLine(0, IMG_BGR24, out.data(), 11),
                            image->ConvertLine(2, IMG_BGR24, out.data(), 12),
                            image->ConvertLine(0, IMG_BGR24, nullptr, 12)});
  EXPECT_EQ(out[0], 0xCD);
  EXPECT_EQ(image->ConvertLine(0, IMG_BGRF, out.data(), 36), S_OK);
  EXPECT_EQ(memcmp(&out[32], &out[28], 4), 0);
  EXPECT_EQ(out[36], 0xCD);
}

/// In any format: the palette and its count decide, unless the palette was freed with its pixels.
TEST(IsGrayScale, CountsGreysInContentAndAsksForTheRamp) {
  ImageRef image = NewImage(IMG_BGR24, 5, 2);
  image->ClearColor(0x070707u);
  EXPECT_EQ(image->IsGrayScaleContent(), 1);
  memset(image->GetLineEx(1, 4), 255, 3);
  EXPECT_EQ(image->IsGrayScaleContent(), 2);
  image->GetLineEx(1, 4)[2] = 254;
  EXPECT_EQ(image->IsGrayScaleContent(), 0);
  IMG_PALENTRY ramp[256];
  for (int i = 0; i < 256; ++i) memset(static_cast<void*>(ramp + i), i, 4);
  image = NewImage(IMG_PAL1, 4, 4);
  for (bool isRamp : {false, true}) {  // black and white are no ramp (contract)
    image->palette[0] = {0, 0, 0, 9};
    image->palette[1] = isRamp ? IMG_PALENTRY{1, 1, 1, 9} : IMG_PALENTRY{255, 255, 255, 9};
    EXPECT_EQ(image->IsGrayScalePalette(), isRamp);
  }
  IMG_PALENTRY* const gone = image->palette;
  image->Free();
  EXPECT_EQ(image->palette, gone);
  EXPECT_FALSE(image->IsGrayScalePalette());
  ASSERT_EQ(image->Create(IMG_GRAY8, 4, 4), S_OK);
  EXPECT_FALSE(image->IsGrayScalePalette());
  image->palette = ramp;
  for (int count : {256, 257})
    EXPECT_EQ((image->paletteCount = count, image->IsGrayScalePalette()), count == 256);
}
