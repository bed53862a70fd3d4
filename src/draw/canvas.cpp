#include "gdi_p.h"

#include <algorithm>
#include <atomic>
#include <new>

namespace yk::draw {
namespace {

constinit std::atomic<Canvas*> kept = nullptr;
constinit std::atomic<bool> isKeeping = false;  // only then is there somebody to delete the kept one

// Of a canvas that is kept.
constexpr int64_t MOST_BYTES = 1 << 20;

// Sizes are rounded up to a multiple of this, so that texts of similar size use the same bitmap.
constexpr int STEP = 64;
int RoundedUp(int size) noexcept { return size > INT32_MAX - STEP ? size : (size + STEP - 1) / STEP * STEP; }

}  // namespace

Canvas* Canvas::Take() noexcept {
  if (Canvas* const canvas = kept.exchange(nullptr)) {
    if (GetObjectType(canvas->dc) == OBJ_MEMDC) return canvas;
    delete canvas;  // the system no longer knows it
  }
  Canvas* const fresh = new (std::nothrow) Canvas;
  if (!fresh || fresh->dc) return fresh;
  delete fresh;
  return nullptr;
}

void Canvas::GiveBack(Canvas* canvas) noexcept {
  bool const isLarge = RowBytes(canvas->width, 24) * canvas->height > MOST_BYTES;
  delete (isLarge || !isKeeping ? canvas : kept.exchange(canvas));
}

void Canvas::StartKeeping() noexcept { isKeeping = true; }

void Canvas::StopKeeping() noexcept {
  isKeeping = false;
  delete kept.exchange(nullptr);
}

bool Canvas::Fit(int columns, int rows) noexcept {
  if (columns <= width && rows <= height) return true;
  int newWidth = RoundedUp(std::max(columns, width)), newHeight = RoundedUp(std::max(rows, height));
  // A wide bitmap for a high mask would be far larger than either.
  if (RowBytes(newWidth, 24) * newHeight > MOST_BYTES)
    newWidth = RoundedUp(columns), newHeight = RoundedUp(rows);
  unsigned char* newBits = nullptr;
  GdiObject larger(MakeSection(newWidth, -newHeight, 24, &newBits));
  HGDIOBJ const old = larger ? SelectObject(dc, larger.get()) : nullptr;
  if (!old) return false;
  if (!before) before = old;
  bitmap.Swap(larger);
  bits = newBits;
  width = newWidth;
  height = newHeight;
  return true;
}

}  // namespace yk::draw
