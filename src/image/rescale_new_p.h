// What Rescale puts into its new image where RescaleTo writes nothing.
#pragma once

#include <qecore/image/image.h>

namespace yk::img {

/// Fills every pixel of a new image. The same format: averages of 16-bit channels, else the nearest pixels,
/// and the palette. Another format: the same, converted; zeros where no conversions lead to it.
/// E_OUTOFMEMORY: no memory for intermediate results; E_ABORT: the host has stopped it.
HRESULT FillNew(Image2d& source, Image2d& target, ExecutionContext* context) noexcept;

}  // namespace yk::img
