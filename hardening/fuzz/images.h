// Images with content, for the targets that need some.
#pragma once

#include <qecore/image/image.h>

#include "input.h"

namespace fuzz {

yk::IMG_FORMAT AnyFormat(Input& in);  ///< occasionally an unassigned one

/// Fills pixels and palette with noise.
void Paint(yk::Image2d& image, unsigned seed);

/// Reads both ends of every row and of the palette, so that the sanitizer checks whether they are accessible.
void Touch(yk::Image2d& image);

}  // namespace fuzz
