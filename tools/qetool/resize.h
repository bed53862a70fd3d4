// Resampling and laying over a background, as people see pictures: see image_edit.h.
#pragma once

#include "image_edit.h"

namespace qetool {

/// In what the means of colours are taken.
enum class Light {
  AS_STORED,  ///< the numbers in the file
  LINEAR,     ///< amounts of light, which those numbers stand for (sRGB)
};

/// Resamples. The colour of a pixel counts as far as it is opaque, and 16-bit channels keep their bits.
void Resize(ImageRef& image, int width, int height, Light light, Listener& listener);

struct Rgb {
  unsigned char red, green, blue;
};

/// Whether pixels, or colours of the palette, are not opaque.
bool HasAlpha(yk::Image2d const& image);

/// Lays a picture with alpha over a colour: it becomes one of BGR24.
void PutOnBackground(ImageRef& image, Rgb colour, Listener& listener);

}  // namespace qetool
