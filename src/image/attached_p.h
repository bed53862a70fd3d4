// Images whose pixels somebody draws on by address.
#pragma once

#include <qecore/image/image.h>

#include <atomic>

namespace yk::img {

struct Attached {
  /// Called before the pixels of a marked image are freed: drawing is a higher floor, which sets it.
  static constinit std::atomic<void (*)(Image2d const&) noexcept> onPixelsFreed;

  /// From now on, until its pixels are freed.
  static void Mark(Image2d& image) noexcept { image.isAttached = 1; }

  static void NotifyFreed(Image2d& image) noexcept {
    image.isAttached = 0;
    if (auto const notify = onPixelsFreed.load()) notify(image);
  }
};

}  // namespace yk::img
