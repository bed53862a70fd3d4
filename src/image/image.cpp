#include <qecore/image/image.h>

#include <qecore/core/ref.h>
#include <qecore/image/image_limits.h>
#include <qecore/values/map.h>
#include <stdlib.h>
#include <windows.h>

#include <algorithm>
#include <iterator>
#include <new>

#include "attached_p.h"
#include "convert_p.h"
#include "core/dying_p.h"
#include "core/error_p.h"
#include "core/global_block_p.h"
#include "dib_p.h"
#include "rows_p.h"

namespace yk {

#if defined(__GNUC__)
#pragma GCC diagnostic ignored \
    "-Winvalid-offsetof"  // single inheritance: the offsets are the same in both ABIs
#endif
static_assert(offsetof(Image2d, handle) == 40 && offsetof(Image2d, bits) == 48);
static_assert(offsetof(Image2d, palette) == 56 && offsetof(Image2d, format) == 64);
static_assert(offsetof(Image2d, width) == 68 && offsetof(Image2d, height) == 72 &&
              offsetof(Image2d, stride) == 76);
static_assert(offsetof(Image2d, paletteCount) == 80 && offsetof(Image2d, bitsPerPixel) == 82);
static_assert(offsetof(Image2d, bytesPerPixel) == 84 && offsetof(Image2d, flags) == 85);

constinit std::atomic<void (*)(Image2d const&) noexcept> img::Attached::onPixelsFreed = nullptr;

/// The allocator that owns the pixels.
enum class img::Memory : uint32_t {
  HEAP,    // or nowhere
  BITMAP,  // a section that GDI draws into
  GLOBAL,  // movable, and locked while the image owns it
};

namespace {

using img::Memory;

// ---- sizes ------------------------------------------------------------------------------------------------

/// The stride in the signed 32-bit arithmetic of the contract: the sum that is truncated to whole words wraps
/// around, and a negative width gives a negative stride.
int32_t StrideOf(unsigned bits, int width) noexcept {
  int32_t const sum = static_cast<int32_t>(bits * static_cast<uint32_t>(width) + 31);
  return static_cast<int32_t>(img::PaddedBytes(int64_t{sum} - 31));
}

/// The bytes of an image.
struct Layout {
  int32_t stride;
  int64_t rows;     // bytes of all rows
  int64_t palette;  // bytes of the palette after them
  bool fits;  // whether the image is possible: no negative size, no stride overflow, at most 31 bits of bytes

  Layout(img::FormatFacts const& facts, int width, int64_t height) noexcept
      : stride(StrideOf(facts.bits, width)),
        rows(stride * height),
        palette(int64_t{4} * facts.paletteEntries),
        fits(width >= 0 && height >= 0 && stride == img::GetRowSize(facts.format, width) &&
             Size() <= int64_t{img::LARGEST_IMAGE}) {}

  int64_t Size() const noexcept { return rows + palette; }
};

/// A number of bytes in readable form.
struct Amount {
  unsigned whole, tenths;
  wchar_t const* unit;

  explicit Amount(double bytes) noexcept {
    static constexpr wchar_t const* UNITS[] = {L"KB", L"MB", L"GB", L"TB", L"PB", L"EB", L"ZB"};
    constexpr double STEP = 1000;
    double scaled = bytes / STEP;
    wchar_t const* const* at = UNITS;
    for (; scaled >= STEP && at + 1 != std::end(UNITS); ++at) scaled /= STEP;
    auto const rounded = static_cast<unsigned>(scaled * 10 + 0.5);
    whole = rounded / 10, tenths = rounded % 10, unit = *at;
  }
};

/// Records why an image of this size cannot be created.
void ReportSize(HRESULT result, img::FormatFacts const& facts, int width, int height, int64_t rows) noexcept {
  constexpr char OPERATION[] = "Image2d::Create";
  if (width < 1 || rows < 1) {
    Fail(result, OPERATION, L"%d \u00D7 %d is not a valid picture size", width, height);
    return;
  }
  // Floating point, since the largest would overflow an integer.
  double const bytes = static_cast<double>(img::GetRowSize(facts.format, width)) * static_cast<double>(rows);
  double const most = static_cast<double>(img::LARGEST_IMAGE);
  Amount const amount(bytes), limit(most);
  wchar_t const* const text =
      bytes > most ? L"the picture needs %u.%u %s, %d \u00D7 %lld pixels of %S; the most is %u.%u %s"
                   : L"the picture needs %u.%u %s, %d \u00D7 %lld pixels of %S";
  Fail(result, OPERATION, text, amount.whole, amount.tenths, amount.unit, width, rows, facts.name,
       limit.whole, limit.tenths, limit.unit);
}

// ---- pixel memory -----------------------------------------------------------------------------------------

/// Pixels and their owner; empty when there is no memory.
struct Pixels {
  Memory memory = Memory::HEAP;
  void* handle = nullptr;
  unsigned char* bits = nullptr;
};

/// A bitmap section. Only grey bitmaps have a colour table: a ramp.
Pixels NewBitmap(int bitCount, int width, int height) noexcept {
  struct {
    BITMAPINFOHEADER header;
    RGBQUAD ramp[256];
  } info = {};
  info.header = img::DibHeader(width, height, bitCount);
  for (int i = 0; i < 256 && bitCount == 8; ++i) {
    BYTE const level = static_cast<BYTE>(i);
    info.ramp[i] = {level, level, level, 0};
  }
  unsigned char* bits = nullptr;
  HBITMAP const bitmap = img::MakeSection(reinterpret_cast<BITMAPINFO const&>(info), &bits);
  if (bitmap && bits) return {Memory::BITMAP, bitmap, bits};
  if (bitmap) DeleteObject(bitmap);
  return {};
}

Pixels NewHeap(size_t size) noexcept {
  return {Memory::HEAP, nullptr, new (std::nothrow) unsigned char[size]};
}

Pixels NewPixels(Memory memory, img::FormatFacts const& facts, Layout const& layout, int width,
                 int height) noexcept {
  if (!layout.fits) return {};
  if (memory == Memory::BITMAP) return NewBitmap(facts.bits, width, height);
  size_t const size = static_cast<size_t>(layout.Size());
  if (memory == Memory::HEAP) return NewHeap(size);
  auto const [handle, bits] = NewGlobal(size);
  return bits ? Pixels{Memory::GLOBAL, handle, static_cast<unsigned char*>(bits)} : Pixels{};
}

void Discard(Pixels const& pixels) noexcept {
  if (pixels.memory == Memory::HEAP) delete[] pixels.bits;
  if (pixels.memory == Memory::BITMAP) DeleteObject(pixels.handle);
  if (pixels.memory == Memory::GLOBAL) FreeGlobal(pixels.handle);
}

/// A 29-bit mark of an address: the 16-byte unit that it is in, modulo 4 GB; 0 for null.
uint32_t MarkOf(void const* address) noexcept {
  return address ? static_cast<uint32_t>(reinterpret_cast<uintptr_t>(address)) >> 3 | 1 : 0;
}

}  // namespace

// ---- AbstractImage ----------------------------------------------------------------------------------------

// The destruction of values and drivers' records may call back: the image's count must not reach zero again.
AbstractImage::~AbstractImage() {
  HoldWhileDying(*this);
  properties.Reset();
}

// The destruction of a value may release the object that holds the image, so the map is kept alive meanwhile.

HRESULT AbstractImage::GetProperty(unsigned id, Variant& value) noexcept {
  Ref<Map> const map = properties;
  return map ? map->GetValue(id, value) : YK_E_NOTFOUND;
}

HRESULT AbstractImage::SetProperty(unsigned id, Variant const& value) noexcept {
  if (!properties) properties = Ref<Map>::Adopt(Map::Create());
  Ref<Map> const map = properties;
  return map ? map->SetValue(id, value) : E_OUTOFMEMORY;
}

// ---- Image2d: the object ----------------------------------------------------------------------------------

Image2d::~Image2d() { Image2d::Free(); }

Image2d* Image2d::Create() noexcept { return Made(new (std::nothrow) Image2d, "Image2d::Create"); }

HRESULT Image2d::QueryInterface(Guid const&, void**) noexcept { return E_NOINTERFACE; }

void Image2d::Destroy() noexcept {
  // Contract: a call on a null pointer is a no-op. The compiler assumes that `this` is not null; volatile
  // makes it check.
  Image2d* const volatile self = this;
  if (self) DeleteThis(1);
}

bool Image2d::IsTypeOf(Guid const& id) noexcept { return id == Id() || AbstractImage::IsTypeOf(id); }

void* Image2d::DeleteThis(unsigned how) noexcept { return DeleteSelf(how); }

// ---- Image2d: storage -------------------------------------------------------------------------------------

HRESULT Image2d::Free() noexcept {
  if (!bits) return S_FALSE;
  if (isAttached) img::Attached::NotifyFreed(*this);
  if (img::GetFacts(format).paletteEntries) freedPalette = MarkOf(palette);
  Discard({memory, handle, bits});
  memory = Memory::HEAP;
  handle = nullptr;
  bits = nullptr;
  format = IMG_NONE;
  width = height = stride = 0;
  bytesPerPixel = 0;
  return S_OK;  // Contract: palette and paletteCount stay; IsGrayScalePalette recognises a freed palette
}

HRESULT Image2d::Create(IMG_FORMAT newFormat, int newWidth, int newHeight) noexcept {
  int const bytes = img::GetPixelSize(newFormat, bitsPerPixel);
  if (bitsPerPixel == 0) {
    return Fail(E_INVALIDARG, "Image2d::Create", L"no pixel format has the number %d", int{newFormat});
  }
  Free();

  img::FormatFacts const& facts = img::GetFacts(newFormat);
  int64_t const rowCount = std::abs(int64_t{newHeight});
  Memory const wanted = flags & IMG_HEAP_MEMORY ? Memory::HEAP : facts.dib ? Memory::BITMAP : Memory::GLOBAL;
  bool const mayBeTopDown = wanted == Memory::BITMAP;
  int64_t const rows = mayBeTopDown ? rowCount : newHeight;
  Layout const layout(facts, newWidth, rows);
  stride = layout.stride;
  if (facts.paletteEntries) paletteCount = facts.paletteEntries;
  Pixels const pixels = NewPixels(wanted, facts, layout, newWidth, newHeight);
  bool const isSystems = wanted == Memory::GLOBAL && layout.Size() != 0;
  HRESULT const result = pixels.bits ? S_OK : isSystems ? E_OUTOFMEMORY : E_FAIL;
  if (Failed(result)) ReportSize(result, facts, newWidth, newHeight, rows);
  if (result == E_OUTOFMEMORY) return result;

  memory = pixels.memory;
  handle = pixels.handle;
  bits = pixels.bits;
  if (facts.paletteEntries) {
    palette = bits ? reinterpret_cast<IMG_PALENTRY*>(bits + layout.rows) : nullptr;
    freedPalette = 0;
  }
  width = newWidth;
  height = static_cast<int32_t>(std::min<int64_t>(rowCount, INT32_MAX));
  bytesPerPixel = static_cast<unsigned char>(bytes);
  format = newFormat;
  return result;
}

unsigned char* Image2d::GetLine(int y) noexcept {
  if (!bits || y < 0 || y >= height) return nullptr;
  uint32_t const offset = static_cast<uint32_t>(height - y - 1) * static_cast<uint32_t>(stride);
  return bits + static_cast<int32_t>(offset);
}

unsigned char* Image2d::GetLineEx(int y, int x) noexcept {
  unsigned char* const row = GetLine(y);
  return row ? row + static_cast<ptrdiff_t>(bytesPerPixel) * x : nullptr;
}

HRESULT Image2d::ConvertLine(int y, IMG_FORMAT dstFormat, void* dst, int dstSize) noexcept {
  constexpr char OPERATION[] = "Image2d::ConvertLine";
  long long const size = img::GetRowSize(dstFormat, width);
  if (!dst) return FailNull(OPERATION, L"dst");
  if (size > dstSize)
    return Fail(E_INVALIDARG, OPERATION, L"the row needs %lld bytes, but the buffer has %d", size, dstSize);
  unsigned char const* const row = GetLine(y);
  if (!row) return Fail(E_INVALIDARG, OPERATION, L"there is no row %d in an image of %d rows", y, height);
  HRESULT const result = img::ConvertRow({row, format, palette}, {dst, dstFormat}, width);
  return Succeeded(result) ? result : img::FailConversion(OPERATION, format, dstFormat);
}

// ---- Image2d: what it shows -------------------------------------------------------------------------------

bool Image2d::IsGrayScalePalette() noexcept {
  // Any palette of any format is compared, except one that was freed with its pixels, whose address is still
  // stored.
  if (!palette || MarkOf(palette) == freedPalette) return false;
  if (paletteCount == 0 || paletteCount > 256) return false;  // entry 256 would need a grey above 255
  for (unsigned i = 0; i < paletteCount; ++i) {
    if (palette[i].red != i || palette[i].green != i || palette[i].blue != i) return false;
  }
  return true;
}

int Image2d::IsGrayScaleContent() noexcept {
  if (format != IMG_BGR24 || !bits || width < 1) return 0;  // there may be 2^31 rows of no pixels
  bool seen[256] = {};
  for (int y : img::RowsInMemory(0, height)) {
    unsigned char const* pixel = GetLine(y);
    for (int x = 0; x < width; ++x, pixel += 3) {
      if (pixel[1] != pixel[0] || pixel[2] != pixel[0]) return 0;
      seen[pixel[0]] = true;
    }
  }
  return static_cast<int>(std::count(seen, seen + 256, true));
}

}  // namespace yk
