// Images with something in them, for the targets that need some.
#pragma once

#include <qecore/image/image.h>

#include "input.h"

namespace fuzz {

yk::IMG_FORMAT AnyFormat(Input& in);  ///< now and then one that there is not

/// Fills pixels and palette with noise.
void Paint(yk::Image2d& image, unsigned seed);

/// Reads the ends of every row and of the palette, so that the sanitizer sees whether they are there.
void Touch(yk::Image2d& image);

}  // namespace fuzz
