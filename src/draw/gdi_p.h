// Owners of GDI objects, and a small bitmap for drawing masks.
#pragma once

#include <qecore/draw/geometry.h>
#include <qecore/image/format.h>
#include <string.h>
#include <windows.h>

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
  explicit GdiObject(HGDIOBJ handle = nullptr) noexcept : handle(handle) {}
  ~GdiObject() {
    if (handle) DeleteObject(handle);
  }
  GdiObject(GdiObject const&) = delete;
  GdiObject& operator=(GdiObject const&) = delete;

  HGDIOBJ get() const noexcept { return handle; }
  explicit operator bool() const noexcept { return handle != nullptr; }

  /// Exchanges what both own.
  void Swap(GdiObject& other) noexcept { std::swap(handle, other.handle); }

 private:
  HGDIOBJ handle;
};

/// An object that is selected into a device context for a scope, or none.
class Selected {
 public:
  Selected(HDC dc, HGDIOBJ object) noexcept : dc(dc), before(object ? SelectObject(dc, object) : nullptr) {}
  ~Selected() {
    if (before) SelectObject(dc, before);
  }
  Selected(Selected const&) = delete;
  Selected& operator=(Selected const&) = delete;

 private:
  HDC const dc;
  HGDIOBJ const before;
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

/// A 24-bit bitmap with a device context of its own. The system takes far longer to create these than to draw
/// a line of text: the last one that was used is kept for the next user, on any thread.
class Canvas {
 public:
  /// The kept one, or a new one; null when the system cannot create it.
  static Canvas* Take() noexcept;
  /// Keeps it, unless it is large, instead of the one kept before.
  static void GiveBack(Canvas* canvas) noexcept;
  /// Called when a System begins: canvases are kept from now on.
  static void StartKeeping() noexcept;
  /// Called when it ends: deletes the kept one.
  static void StopKeeping() noexcept;

  ~Canvas() {
    if (before) SelectObject(dc, before);
  }

  /// Makes the bitmap at least this large. False when the system cannot.
  bool Fit(int columns, int rows) noexcept;

  HDC Dc() const noexcept { return dc; }
  /// Three bytes a pixel: blue, green, red. Rows count from the top.
  unsigned char* Row(int row) const noexcept { return bits + RowBytes(width, 24) * row; }

 private:
  MemoryDC dc;
  GdiObject bitmap;
  HGDIOBJ before = nullptr;
  unsigned char* bits = nullptr;
  int width = 0, height = 0;
};

/// A canvas for a scope.
class BorrowedCanvas {
 public:
  BorrowedCanvas() noexcept : canvas(Canvas::Take()) {}
  ~BorrowedCanvas() {
    if (canvas) Canvas::GiveBack(canvas);
  }
  BorrowedCanvas(BorrowedCanvas const&) = delete;
  BorrowedCanvas& operator=(BorrowedCanvas const&) = delete;

  explicit operator bool() const noexcept { return canvas != nullptr; }
  Canvas* operator->() const noexcept { return canvas; }
  Canvas& operator*() const noexcept { return *canvas; }

 private:
  Canvas* canvas;
};

/// The part of a canvas that is a mask for a rectangle of a surface; GDI draws in it at surface coordinates.
class GdiMask {
 public:
  GdiMask(Canvas& canvas, xrect2d const& area) noexcept : canvas(canvas), area(area) {}

  /// Makes room for it; its pixels are undefined. False when the system cannot.
  bool Make() noexcept {
    if (!canvas.Fit(Columns(), Rows())) return false;
    SetViewportOrgEx(Dc(), -area.left, -area.top, nullptr);
    return true;
  }
  /// Sets every pixel.
  void Fill(COLORREF colour) noexcept {
    if (Rows() <= 0) return;
    size_t const size = static_cast<size_t>(Columns()) * 3;
    unsigned char* const first = canvas.Row(0);
    for (size_t i = 0; i < size; i += 3) {
      first[i] = GetBValue(colour);
      first[i + 1] = GetGValue(colour);
      first[i + 2] = GetRValue(colour);
    }
    for (int row = 1; row < Rows(); ++row) memcpy(canvas.Row(row), first, size);
  }

  HDC Dc() const noexcept { return canvas.Dc(); }
  xrect2d const& Area() const noexcept { return area; }
  int Columns() const noexcept { return area.right - area.left; }
  int Rows() const noexcept { return area.bottom - area.top; }
  unsigned char const* Row(int row) const noexcept { return canvas.Row(row); }

 private:
  Canvas& canvas;
  xrect2d const area;
};

}  // namespace yk::draw
