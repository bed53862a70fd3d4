#include <gtest/gtest.h>
#include <qecore/core/registry.h>
#include <qecore/core/system.h>

#include "support.h"
#include "support/binary.h"
#include "support/gdi_objects.h"
#include "support/temp_folder.h"

using namespace yk;

TEST(Image2d, IsReachedByItsPointerAlone) {
  ImageRef image;
  ASSERT_EQ(CreateInterface(ids::IMAGE_2D, image.ReceiveVoid()), S_OK);
  EXPECT_EQ(References(image.get()), 1u);
  EXPECT_EQ(image->QueryInterface(ids::UNKNOWN, nullptr), E_NOINTERFACE);
  EXPECT_TRUE(image->IsTypeOf(ids::IMAGE_2D) && image->IsTypeOf(ids::ABSTRACT_IMAGE));
  EXPECT_TRUE(image->IsTypeOf(ids::STREAMABLE) && !image->IsTypeOf(ids::MAP));
  Slot<void (*)(void*)>(image.get(), 3)(nullptr);  // destroying nothing does nothing
}

TEST(Create, LaysOutRowsAndPalette) {
  static constexpr struct {
    int format, width, height, stride, entries, bits, bytes;
  } ROWS[] = {{1, 5, 2, 8, 0, 8, 1},       {2, 3, 4, 4, 256, 8, 1}, {3, 3, 2, 12, 0, 24, 3},
              {4, 10, -5, 40, 0, 32, 4},   {7, 3, 2, 8, 0, 16, 2},  {8, 1, 1, 8, 0, 48, 6},
              {9, 1, 1, 8, 0, 64, 8},      {12, 1, 1, 4, 0, 32, 4}, {13, 1, 1, 12, 0, 96, 12},
              {14, 7, 3, 112, 0, 128, 16}, {15, 1, 1, 4, 0, 32, 4}, {16, 9, 1, 4, 2, 1, 0},
              {17, 1, 1, 4, 16, 4, 0},     {18, 3, 1, 8, 0, 16, 2}};
  for (auto const& row : ROWS) {
    for (uint8_t flags : {uint8_t{0}, IMG_HEAP_MEMORY}) {
      SCOPED_TRACE(testing::Message() << row.format << ", flags " << int(flags));
      if (row.height < 0 && flags) continue;  // only the system knows what to make of it
      ImageRef const image = NewImage(static_cast<IMG_FORMAT>(row.format), row.width, row.height, flags);
      int const height = abs(row.height), end = row.stride * height;
      int const facts[] = {image->stride, image->height, image->paletteCount, image->bitsPerPixel,
                           image->bytesPerPixel};
      int const expected[] = {row.stride, height, row.entries, row.bits, row.bytes};
      EXPECT_EQ(memcmp(facts, expected, sizeof facts), 0);
      EXPECT_EQ(static_cast<void*>(image->palette), row.entries ? image->bits + end : nullptr);
      EXPECT_EQ(image->GetLine(0), image->bits + end - row.stride);
      EXPECT_EQ(image->GetLineEx(height - 1, 1), image->bits + row.bytes);
      for (int y : {-1, height}) EXPECT_EQ(image->GetLine(y), nullptr);
      memset(image->bits, 0x77, BlockSize(*image));  // all of it is there
      EXPECT_EQ(image->Free(), S_OK);
      EXPECT_EQ(image->Free(), S_FALSE);
      EXPECT_EQ(image->format | image->width | image->height | image->stride | image->bytesPerPixel, 0);
      EXPECT_EQ(image->flags, flags);
    }
  }
}

/// Grey, 24 and 32 bits are real bitmaps, the rest movable memory, and on request all of it is the heap's.
TEST(Create, TakesMemoryFromWhereItSays) {
  int const objects = CountGdiObjects();
  for (IMG_FORMAT format : {IMG_GRAY8, IMG_BGR24, IMG_BGRA32}) {
    ImageRef const image = NewImage(format, 5, 3);
    DIBSECTION section = {};
    ASSERT_EQ(GetObjectW(image->handle, sizeof section, &section), int(sizeof section));
    EXPECT_TRUE(section.dsBm.bmBits == image->bits && section.dsBm.bmWidthBytes == image->stride);
    EXPECT_EQ(section.dsBmih.biXPelsPerMeter, 300);
  }
  EXPECT_EQ(CountGdiObjects(), objects);
  ImageRef const global = NewImage(IMG_PAL8, 5, 3);
  EXPECT_GE(GlobalSize(global->handle), 24u + 1024u);
  EXPECT_EQ(GlobalFlags(global->handle) & GMEM_LOCKCOUNT, 1u);
  EXPECT_EQ(NewImage(IMG_BGR24, 5, 3, IMG_HEAP_MEMORY)->handle, nullptr);
}

TEST(Create, RefusesWhatCannotBe) {
  static constexpr struct {
    int format, width, height, flags;
    HRESULT result;
  } ROWS[] = {{4, 50000, 50000, 0, E_FAIL},
              {14, 30000, 30000, 0, E_OUTOFMEMORY},
              {14, 30000, 30000, 1, E_FAIL},
              {16, INT_MAX, INT_MAX, 0, E_OUTOFMEMORY},
              {2, 4, 0x20000000, 1, E_FAIL},
              {2, -40, 3, 0, E_OUTOFMEMORY},
              {3, 3, INT_MIN, 0, E_FAIL},
              {4, 10, -5, 1, E_FAIL},
              {2, 3, -5, 0, E_OUTOFMEMORY},
              {3, 0, 3, 0, E_FAIL},
              {3, 0, 4, 1, S_OK}};
  for (auto const& row : ROWS) {
    SCOPED_TRACE(testing::Message() << row.format << ' ' << row.width << ' ' << row.height);
    ImageRef const image = NewImage(IMG_GRAY8, 2, 2), other = NewImage(IMG_BGR24, 3, 3);
    image->flags = static_cast<uint8_t>(row.flags);
    EXPECT_EQ(image->Create(static_cast<IMG_FORMAT>(row.format), row.width, row.height), row.result);
    EXPECT_EQ(image->bits != nullptr, row.result == S_OK);
    // whatever it is now, nothing that one does to it goes astray
    point4df color;
    Image2d* result = nullptr;
    image->GetPixel({1, 1, 0}, color), image->ClearColor(7u), image->PremultiplyAlpha();
    image->FlipH(), image->FlipV(), image->RescaleTo(other.get()), other->RescaleTo(image.get());
    EXPECT_LT(image->Crop(0, 0, 1, 1, &result), 0);
    EXPECT_EQ(image->IsGrayScaleContent(), 0);
    ASSERT_EQ(image->Create(IMG_BGR24, 2, 2), S_OK);
  }
  ImageRef const image = NewImage(IMG_BGR24, 2, 2);
  for (int format : {-1, 0, 5, 11, 19})
    EXPECT_EQ(image->Create(static_cast<IMG_FORMAT>(format), 9, 9), E_INVALIDARG);
  EXPECT_TRUE(image->bits && image->width == 2 && image->bitsPerPixel == 0);
}

TEST(ConvertLine, NeedsRoomForAPaddedRowAndWritesNoMore) {
  ImageRef const image = NewImage(IMG_GRAY8, 3, 2);
  SetRow(*image, 0, {0, 255, 51});
  Bytes out(40, 0xCD);
  EXPECT_EQ(image->ConvertLine(0, IMG_BGR24, out.data(), 11), E_INVALIDARG);
  EXPECT_EQ(image->ConvertLine(2, IMG_BGR24, out.data(), 12), E_INVALIDARG);
  EXPECT_EQ(image->ConvertLine(0, IMG_BGR24, nullptr, 12), E_INVALIDARG);
  EXPECT_EQ(out, Bytes(40, 0xCD));
  EXPECT_EQ(image->ConvertLine(0, IMG_BGRF, out.data(), 40), S_OK);
  EXPECT_EQ(Bytes(&out[32], &out[36]), Bytes(&out[28], &out[32]));
  EXPECT_EQ(Bytes(&out[36], &out[39]), Bytes(3, 0xCD));
}

TEST(IsGrayScale, CountsGreysAndAsksForTheRamp) {
  ImageRef const image = NewImage(IMG_BGR24, 5, 2), bits = NewImage(IMG_PAL1, 4, 4);
  image->ClearColor(0x070707);
  EXPECT_EQ(image->IsGrayScaleContent(), 1);
  memset(image->GetLineEx(1, 4), 255, 3);
  EXPECT_EQ(image->IsGrayScaleContent(), 2);
  image->GetLineEx(1, 4)[2] = 254;
  EXPECT_EQ(image->IsGrayScaleContent(), 0);
  bits->palette[0] = {0, 0, 0, 9};
  bits->palette[1] = {255, 255, 255, 9};
  EXPECT_FALSE(bits->IsGrayScalePalette());  // black and white are no ramp, on purpose
  bits->palette[1] = {1, 1, 1, 9};
  EXPECT_TRUE(bits->IsGrayScalePalette());
  ASSERT_EQ(bits->Create(IMG_GRAY8, 4, 4), S_OK);  // now the palette is left over, and gone with its pixels
  EXPECT_TRUE(bits->palette && !bits->IsGrayScalePalette());
  EXPECT_TRUE(Part(*bits, 0, 0, 2, 2));
}

/// What goes wrong before a filter has its turn; what goes right is tested with the real ones.
TEST(SaveAndLoad, SayWhatIsMissing) {
  TempFolder const folder;
  ClassInfo info;
  info.classId = ids::FILE_JPEG;  // a class that is no filter
  info.create = [](ClassInfo const*, void** out) noexcept { return *out = Image2d::Create(), HRESULT{S_OK}; };
  ASSERT_EQ(RegisterInterface(&info), S_OK);
  ImageRef const image = NewImage(IMG_GRAY8, 1, 1);
  struct {
    wchar_t const* name;
    HRESULT result;
  } const rows[] = {{L"a.PNG", E_FAIL},         {L"a", E_FAIL},           {L"a.", E_FAIL},
                    {L"a.png.bak", E_FAIL},     {L"none\\a.png", E_FAIL}, {L"a.jpg", E_NOINTERFACE},
                    {L"b.c.png", YK_E_NOTFOUND}};
  for (auto const& row : rows) EXPECT_EQ(image->Save(folder.Path(row.name).c_str()), row.result) << row.name;
  folder.Write(L"c.png", "\x89PNG\r\n\x1A\n with no filter to read it");
  for (auto name : {L"c.png", L"a.jpg", L"missing.png"})
    EXPECT_FALSE(AbstractImage::Load(folder.Path(name).c_str())) << name;
  System::ptr()->Release(), System::Create();  // forgets the class
}
