// Bitmaps in memory, for all code that creates or displays them through GDI.
#pragma once

#include <windows.h>

namespace yk::img {

/// Uncompressed. A positive height is bottom-up, a negative one top-down.
constexpr BITMAPINFOHEADER DibHeader(int width, int height, int bitCount) noexcept {
  constexpr LONG PIXELS_PER_METRE = 300;
  return {
      sizeof(BITMAPINFOHEADER), width, height, 1, static_cast<WORD>(bitCount), BI_RGB, 0, PIXELS_PER_METRE,
      PIXELS_PER_METRE,         0,     0};
}

/// The screen's device context, for a scope; null when the system has no resources.
class ScreenDC {
 public:
  ScreenDC() noexcept : handle(GetDC(nullptr)) {}
  ~ScreenDC() {
    if (handle) ReleaseDC(nullptr, handle);
  }
  ScreenDC(ScreenDC const&) = delete;
  ScreenDC& operator=(ScreenDC const&) = delete;

  operator HDC() const noexcept { return handle; }

 private:
  HDC handle;
};

/// A bitmap section, deleted by the caller, and the address of its pixels. Null when the system cannot create
/// it.
inline HBITMAP MakeSection(BITMAPINFO const& info, unsigned char** bits) noexcept {
  return CreateDIBSection(ScreenDC(), &info, DIB_RGB_COLORS, reinterpret_cast<void**>(bits), nullptr, 0);
}

}  // namespace yk::img
