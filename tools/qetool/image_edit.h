// What convert does to a picture, by the library's operations. Each takes a picture and puts a new one in its
// place, or throws Failure or Stopped and leaves it.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/image/image.h>

#include <string>

#include "watch.h"

namespace qetool {

using ImageRef = yk::Ref<yk::Image2d>;

/// The format that is called so ("bgr24"). Throws Failure, listing the names.
yk::IMG_FORMAT FormatByName(std::string const& name);

/// What every filter takes and every operation works on: BGRA32 for a picture with alpha, else BGR24.
yk::IMG_FORMAT PlainFormat(yk::Image2d const& image);

/// Into another pixel format, in as few steps as the library's converters need. Grey becomes opaque: ways on
/// which grey would turn into alpha are not taken.
void ChangeFormat(ImageRef& image, yk::IMG_FORMAT format, Watch& watch);

/// The columns `left` to `right` - 1 and the rows `top` to `bottom` - 1.
void Crop(ImageRef& image, int left, int top, int right, int bottom, Watch& watch);

/// Resamples.
void Resize(ImageRef& image, int width, int height, Watch& watch);

void FlipHorizontally(ImageRef& image, Watch& watch);
void FlipVertically(ImageRef& image, Watch& watch);

}  // namespace qetool
