#include <qecore/draw/device_context.h>

#include <qecore/core/ref.h>
#include <qecore/draw/color.h>
#include <qecore/image/image.h>
#include <qecore/values/array.h>

#include <algorithm>
#include <array>
#include <new>
#include <string_view>
#include <utility>

#include "attachments_p.h"
#include "core/error_p.h"
#include "core/registry_p.h"
#include "device_context_p.h"
#include "gdi_p.h"

namespace yk {
namespace {

int BitCount(bool hasAlpha) noexcept { return hasAlpha ? 32 : 24; }

// A surface of its own has a device context of its own; otherwise the caller's is used, which the caller
// deletes.
bool OwnsSurface(IDC const& dc) noexcept { return dc.surfaceBitmap != nullptr; }

void MakeMemoryDC(IDC& dc) noexcept {
  dc.memoryDC = draw::MemoryDC().Detach();
  if (OwnsSurface(dc)) {
    dc.previousObject = SelectObject(dc.memoryDC, dc.surfaceBitmap);
  } else {  // over an image's pixels: stored, to be deleted later
    draw::MemoryDC const before(std::exchange(dc.foreignDC, dc.memoryDC));
  }
}

// Deselects a bitmap: restores the previous one, or the default bitmap of a new device context.
void Unselect(HDC dc, HGDIOBJ before) noexcept {
  if (before && SelectObject(dc, before)) return;
  draw::MemoryDC const fresh;
  SelectObject(dc, GetCurrentObject(fresh, OBJ_BITMAP));
}

// The address of a pixel inside the clip, or null.
unsigned char* FindPixel(IDC const& dc, int x, int y) noexcept {
  raster::Surface const surface = draw::SurfaceOf(dc);
  int const left = AddClamped(x, dc.originX), top = AddClamped(y, dc.originY);
  return surface.IsInClip(left, top) ? surface.At(left, top) : nullptr;
}

// What a context owns, taken out of its fields and deleted at the end of the scope. Device contexts are
// deleted first: a bitmap that is selected cannot be deleted.
class Belongings {
 public:
  explicit Belongings(IDC& dc) noexcept
      : bitmap(dc.surfaceBitmap),
        own(OwnsSurface(dc) ? dc.memoryDC : nullptr),
        noted(std::exchange(dc.foreignDC, nullptr)),
        before(std::exchange(dc.previousObject, nullptr)) {
    dc.surfaceBitmap = nullptr;
    dc.memoryDC = nullptr;
    dc.bits = nullptr;
    dc.width = dc.height = dc.stride = 0;
  }

  // Keeps one of the device contexts, without the bitmap. \return null when it is not one of them
  [[nodiscard]] HDC Spare(HDC wanted) noexcept {
    if (!wanted) return nullptr;
    if (wanted != own && wanted != noted) return nullptr;
    bool const isOwn = wanted == own;
    Unselect(wanted, isOwn ? before : nullptr);
    return (isOwn ? own : noted).Detach();
  }

 private:
  draw::GdiObject bitmap;
  draw::MemoryDC own, noted;
  HGDIOBJ before;
};

void FreeSurface(IDC& dc) noexcept { Belongings const freed(dc); }

HRESULT MakeSurface(IDC& dc, int w, int h) noexcept {
  int64_t const rowBytes = draw::RowBytes(w, BitCount(dc.hasAlpha));
  dc.width = w;
  dc.height = h;
  dc.bytesPerPixel = dc.hasAlpha ? 4 : 3;
  dc.stride = ClampToInt(rowBytes);
  if (h > INT32_MAX / rowBytes) return E_FAIL;
  dc.surfaceBitmap = draw::MakeSection(w, dc.topDown ? -h : h, BitCount(dc.hasAlpha), &dc.bits);
  if (!dc.surfaceBitmap) return E_FAIL;
  MakeMemoryDC(dc);
  return S_OK;
}

// "bgr24 or bgra32": the names of the formats to draw on. The compiler refuses a list that is too long.
constexpr std::array<char, 32> NamesOfDrawn() noexcept {
  std::array<char, 32> names = {};
  size_t length = 0;
  auto const append = [&](std::string_view text) {
    for (char c : text) names[length++] = c;
  };
  for (img::FormatFacts const& facts : img::FORMATS) {
    if (!facts.drawn) continue;
    if (length > 0) append(" or ");
    append(facts.name);
  }
  names[length] = '\0';  // evaluated at compile time only, where there must be room for it
  return names;
}

constexpr std::array<char, 32> DRAWN_NAMES = NamesOfDrawn();

// The memory device context may be null.
HRESULT AttachTo(IDC& dc, HDC memory, Image2d& image) noexcept {
  constexpr char OPERATION[] = "IDC::Attach";
  img::FormatFacts const& facts = img::GetFacts(image.format);
  if (!facts.drawn)
    return Fail(E_INVALIDARG, OPERATION, L"the image is %S, not %S", facts.name, DRAWN_NAMES.data());
  Attachments::Add(dc, image);
  if (OwnsSurface(dc)) dc.foreignDC = Belongings(dc).Spare(memory);
  dc.mode = IDC::MODE_PAINT;
  dc.width = image.width;
  dc.height = image.height;
  dc.bits = image.bits;
  dc.stride = image.stride;
  dc.clip = {0, 0, image.width, image.height};
  dc.originX = dc.originY = 0;
  dc.bytesPerPixel = image.bytesPerPixel;
  dc.memoryDC = memory;
  dc.hasAlpha = img::HasAlpha(image.format);
  return S_OK;
}

// A rectangle of the surface to be copied to (x, y) of another device context.
struct Part {
  int sourceX, sourceY, w, h, x, y;
};

// Bypasses BitBlt. The header specifies 24 bits for every surface; the call fails when it would read pixels
// beyond the surface.
HRESULT StretchTo(HDC target, IDC const& dc, Part const& part) noexcept {
  auto const& [sourceX, sourceY, w, h, x, y] = part;
  if (!dc.bits || w < 1 || h < 1) return E_FAIL;
  if (h > int64_t{dc.stride} * dc.height / draw::RowBytes(w, 24)) return E_FAIL;
  BITMAPINFO info = {};
  info.bmiHeader = img::DibHeader(w, h, 24);
  int const lines =
      StretchDIBits(target, x, y, w, h, sourceX, sourceY, w, h, dc.bits, &info, DIB_RGB_COLORS, SRCCOPY);
  return lines < 1 ? E_FAIL : S_OK;
}

}  // namespace

// ---- the object

HRESULT draw::Report(IDC const& dc, char const* operation, HRESULT result) noexcept {
  if (result != S_OK && Attachments::IsLost(dc))
    return Fail(E_FAIL, operation, L"the attached image was released, freed or created anew");
  if (Succeeded(result)) return result;
  if (!dc.bits)
    return Fail(result, operation, L"there is no surface: none was created and no image is attached");
  if (result == E_NOTIMPL)
    return Fail(result, operation, L"this surface cannot be painted in mode %u", dc.mode);
  if (result == E_OUTOFMEMORY) return Fail(result, operation, L"not enough memory to draw");
  if (result == YK_E_EMPTY) return Fail(result, operation, L"the surface has no alpha");
  return Fail(result, operation, L"the system could not draw");
}

IDC* IDC::Create() noexcept { return Made(new (std::nothrow) IDC, "IDC::Create"); }

HRESULT IDC::Register() noexcept { return RegisterOwn<IDC>(Id(), "RGBA device context"); }

IDC::~IDC() {
  Attachments::Forget(*this);
  FreeSurface(*this);
}

HRESULT IDC::QueryInterface(Guid const&, void**) noexcept { return E_NOINTERFACE; }

void IDC::Destroy() noexcept {
  // compared as the address that was passed: the compiler assumes that `this` is never null
  IDC* const volatile object = this;
  if (object) DeleteSelf(1);
}

bool IDC::IsTypeOf(Guid const& id) noexcept { return id == Id() || Unknown::IsTypeOf(id); }

// ---- the surface

HRESULT IDC::Attach(HDC dc, Image2d* image) noexcept {
  if (!dc || !image) return FailNull("IDC::Attach", dc ? L"image" : L"dc");
  return AttachTo(*this, dc, *image);
}

HRESULT IDC::Attach(Image2d* image) noexcept {
  return image ? AttachTo(*this, nullptr, *image) : FailNull("IDC::Attach", L"image");
}

HRESULT IDC::Detach() noexcept {
  Attachments::Forget(*this);
  // kept where ReleaseDC and the destructor look next, since an owned device context would leak otherwise
  if (OwnsSurface(*this) && memoryDC) foreignDC = memoryDC;
  bits = nullptr;
  width = height = stride = 0;
  clip = {};
  originX = originY = 0;
  memoryDC = nullptr;
  previousObject = nullptr;
  return S_OK;
}

HRESULT IDC::Create(xrect2d const& r) noexcept {
  xrect2d const wanted = r;  // r may be the clip
  HRESULT const result = Create(ClampToInt(int64_t{wanted.right} - wanted.left),
                                ClampToInt(int64_t{wanted.bottom} - wanted.top));
  if (Succeeded(result)) SetOrigin(ClampToInt(-int64_t{wanted.left}), ClampToInt(-int64_t{wanted.top}));
  return result;
}

HRESULT IDC::Create(int w, int h) noexcept {
  constexpr char OPERATION[] = "IDC::Create";
  if (w < 1 || h < 1) return Fail(E_INVALIDARG, OPERATION, L"%d \u00D7 %d is not a valid surface size", w, h);
  clip = {0, 0, w, h};
  originX = originY = 0;
  bool const isSame = bits && w == width && h == height && bytesPerPixel == (hasAlpha ? 4 : 3);
  if (isSame) {
    if (!memoryDC) MakeMemoryDC(*this);
    SetViewportOrgEx(memoryDC, 0, 0, nullptr);
    return S_OK;
  }
  Attachments::Forget(*this);
  FreeSurface(*this);
  HRESULT const result = MakeSurface(*this, w, h);
  if (Succeeded(result)) return result;
  return Fail(result, OPERATION, L"not enough memory for a surface of %d \u00D7 %d pixels", w, h);
}

HRESULT IDC::ReleaseDC() noexcept {
  if (!memoryDC) {
    draw::MemoryDC const noted(std::exchange(foreignDC, nullptr));
    return Fail(E_FAIL, "IDC::ReleaseDC", L"there is no device context");
  }
  draw::MemoryDC const released(std::exchange(memoryDC, nullptr));
  if (previousObject) SelectObject(released, std::exchange(previousObject, nullptr));
  if (foreignDC == released) foreignDC = nullptr;
  return S_OK;
}

HRESULT IDC::Blit(HDC target, int x, int y, xrect2d const* source) noexcept {
  xrect2d const r = source ? *source : xrect2d(0, 0, width, height);
  int const w = ClampToInt(int64_t{r.right} - r.left);
  int const h = ClampToInt(int64_t{r.bottom} - r.top);
  SetViewportOrgEx(memoryDC, 0, 0, nullptr);
  if (BitBlt(target, x, y, w, h, memoryDC, r.left, r.top, SRCCOPY)) return S_OK;
  return draw::Report(*this, "IDC::Blit", StretchTo(target, *this, {r.left, r.top, w, h, x, y}));
}

HRESULT IDC::Clear(unsigned fill) noexcept {
  if (!bits) return draw::Report(*this, "IDC::Clear", E_FAIL);
  raster::Clear(draw::SurfaceOf(*this), fill);
  return S_OK;
}

// ---- state

HRESULT IDC::SetOrigin(int x, int y) noexcept {
  originX = x;
  originY = y;
  SetViewportOrgEx(memoryDC, x, y, nullptr);
  return S_OK;
}

HRESULT IDC::GetOrigin(int& x, int& y) noexcept {
  x = originX;
  y = originY;
  return S_OK;
}

HRESULT IDC::SetClip(xrect2d const& r) noexcept {
  clip = {std::max(r.left, 0), std::max(r.top, 0), std::min(r.right, width), std::min(r.bottom, height)};
  return S_OK;
}

HRESULT IDC::GetClip(xrect2d& r) noexcept {
  r = clip;
  return S_OK;
}

unsigned IDC::SetMode(unsigned newMode) noexcept {
  unsigned const before = mode;
  bool const needsAlpha = newMode == MODE_COPY || newMode == MODE_COMPOSITE;
  mode = needsAlpha && !hasAlpha ? static_cast<unsigned>(MODE_PAINT) : newMode;
  return before;
}

HRESULT IDC::SetColor(unsigned newColour) noexcept {
  colour = newColour;
  return S_OK;
}

// ---- pixels and colour

unsigned IDC::GetPixel(int x, int y) noexcept {
  unsigned char const* const p = FindPixel(*this, x, y);
  if (!p) return draw::Report(*this, "IDC::GetPixel", S_FALSE), 0;
  return raster::ALPHA_BITS | unsigned{p[0]} << 16 | unsigned{p[1]} << 8 | unsigned{p[2]};
}

bool IDC::BlendPixel(int x, int y, unsigned tint) noexcept {
  unsigned char* const pixel = FindPixel(*this, x, y);
  if (!pixel) return draw::Report(*this, "IDC::BlendPixel", S_FALSE), false;
  raster::BlendInto(pixel, tint);
  return true;
}

HRESULT IDC::PushColor() noexcept {
  if (!colourStack) colourStack = Ref<Array>::Adopt(Array::Create(0));
  if (!colourStack) return E_OUTOFMEMORY;
  int const count = colourStack->Count();
  return colourStack->AtInsert(count, reinterpret_cast<void*>(uintptr_t{colour})) ? S_OK : E_OUTOFMEMORY;
}

HRESULT IDC::PopColor() noexcept {
  if (!colourStack || colourStack->Count() == 0)
    return Fail(YK_E_EMPTY, "IDC::PopColor", L"no colour was saved");
  int const last = colourStack->Count() - 1;
  colour = static_cast<unsigned>(reinterpret_cast<uintptr_t>(colourStack->At(last)));
  colourStack->AtDelete(last);
  return S_OK;
}

unsigned IDC::SetTextColor(unsigned newColour) noexcept {
  return ::SetTextColor(memoryDC, newColour & 0xFFFFFF);
}

HRESULT IDC::SetLinePattern(unsigned pattern) noexcept {
  linePattern = pattern;
  linePhase = 0;
  return S_OK;
}

unsigned char* IDC::GetPixelAddress(int y, int x) noexcept {
  if (bits) return draw::SurfaceOf(*this).At(x, y);
  draw::Report(*this, "IDC::GetPixelAddress", S_FALSE);
  return nullptr;
}

}  // namespace yk
