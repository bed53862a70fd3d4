// Owners of GDI objects, and a small bitmap for drawing masks.
#pragma once

#include <windows.h>
// first, for the platform's types

#include <qecore/draw/geometry.h>
#include <qecore/image/format.h>
#include <string.h>

#include <utility>

#include "geometry_p.h"
#include "image/dib_p.h"

namespace yk::draw {

/// A memory device context that is deleted at the end of the scope.
class MemoryDC {
 public:
  /// A new one that is compatible with the screen; null when the system cannot create it.
  MemoryDC() noexcept : handle(CreateCompatibleDC(img::ScreenDC())) {}
  /// Takes ownership of an existing one, or of none.
  explicit MemoryDC(HDC owned) noexcept : handle(owned) {}
  ~MemoryDC() {
    if (handle) DeleteDC(handle);
  }
  MemoryDC(MemoryDC const&) = delete;
  MemoryDC& operator=(MemoryDC const&) = delete;

  operator HDC() const noexcept { return handle; }

  /// Returns it and gives up its ownership.
  [[nodiscard]] HDC Detach() noexcept { return std::exchange(handle, nullptr); }

 private:
  HDC handle;
};

/// A GDI object, deleted at the end of the scope. It must no longer be selected by then.
class GdiObject {
 public:
  explicit GdiObject(HGDIOBJ handle) noexcept : handle(handle) {}
  ~GdiObject() {
    if (handle) DeleteObject(handle);
  }
  GdiObject(GdiObject const&) = delete;
  GdiObject& operator=(GdiObject const&) = delete;

  HGDIOBJ get() const noexcept { return handle; }

 private:
  HGDIOBJ handle;
};

/// A 24- or 32-bit DIB section; a positive height is bottom-up. Null when the system cannot create it.
inline HBITMAP MakeSection(int width, int height, int bitCount, unsigned char** bits) noexcept {
  BITMAPINFO info = {};
  info.bmiHeader = img::DibHeader(width, height, bitCount);
  return img::MakeSection(info, bits);
}

/// Bytes from row to row; may exceed an int.
constexpr int64_t RowBytes(int width, int bitCount) noexcept {
  return img::PaddedBytes(int64_t{bitCount} * width);
}

/// A black 24-bit bitmap of the size of a rectangle of a surface, with a device context in which GDI draws at
/// surface coordinates.
class GdiMask {
 public:
  explicit GdiMask(xrect2d const& area) noexcept
      : area(area), bitmap(MakeSection(Columns(), -Rows(), 24, &bits)) {
    if (!bitmap.get() || !dc) return;
    before = SelectObject(dc, bitmap.get());
    SetViewportOrgEx(dc, -area.left, -area.top, nullptr);
  }
  ~GdiMask() {
    if (before) SelectObject(dc, before);
  }

  bool IsMade() const noexcept { return before != nullptr; }
  HDC Dc() const noexcept { return dc; }
  xrect2d const& Area() const noexcept { return area; }
  int Columns() const noexcept { return area.right - area.left; }
  int Rows() const noexcept { return area.bottom - area.top; }
  /// Makes it white.
  void Whiten() noexcept { memset(bits, 255, static_cast<size_t>(RowBytes(Columns(), 24) * Rows())); }

  /// Three bytes a pixel: blue, green, red. Rows count from the top.
  unsigned char const* Row(int row) const noexcept { return bits + RowBytes(Columns(), 24) * row; }

 private:
  xrect2d area;
  unsigned char* bits = nullptr;
  GdiObject bitmap;
  MemoryDC dc;
  HGDIOBJ before = nullptr;
};

}  // namespace yk::draw
