// Shared by the tests of images and of filters.
#pragma once

#include <qecore/draw/geometry.h>
#include <qecore/image/convert.h>
#include <qecore/image/image.h>
#include <windows.h>

#include <random>

#include "support/prelude.h"

using Bytes = std::vector<unsigned char>;
using ImageRef = yk::Ref<yk::Image2d>;

inline ImageRef NewImage(yk::IMG_FORMAT format, int width, int height, uint8_t flags = 0) {
  ImageRef image = Own(yk::Image2d::Create());
  image->flags = flags;
  return yk::Succeeded(image->Create(format, width, height)) ? image : ImageRef();
}

/// The size of the block of pixels, palette included.
inline size_t BlockSize(yk::Image2d const& image) {
  return size_t(image.stride) * image.height + 4 * yk::img::GetFacts(image.format).paletteEntries;
}
inline Bytes BlockOf(yk::Image2d const& image) { return Bytes(image.bits, image.bits + BlockSize(image)); }
inline void SetRow(yk::Image2d& image, int y, Bytes const& row) {
  memcpy(image.GetLine(y), row.data(), row.size());
}

constexpr bool IsFloat(yk::IMG_FORMAT format) { return format >= yk::IMG_GRAYF && format <= yk::IMG_BGRAF; }

/// Fills with noise; float formats with values between -0.5 and 1.5.
inline void Randomize(yk::IMG_FORMAT format, unsigned char* at, size_t size, std::mt19937& random) {
  for (size_t i = 0; i < size; ++i) at[i] = static_cast<unsigned char>(random() >> 8);
  for (size_t i = 0; IsFloat(format) && i + 4 <= size; i += 4) {
    float const value = static_cast<float>(random() % 20001) / 10000.0f - 0.5f;
    memcpy(at + i, &value, 4);
  }
}

/// A new image of noise, the same for the same seed.
inline ImageRef Noise(yk::IMG_FORMAT format, int width, int height, unsigned seed = 1) {
  std::mt19937 random(seed);
  ImageRef image = NewImage(format, width, height);
  Randomize(format, image->bits, BlockSize(*image), random);
  return image;
}

/// The part of `image` that Crop returns; null when it fails with E_INVALIDARG.
inline ImageRef Part(yk::Image2d& image, int left, int top, int right, int bottom) {
  yk::Image2d* result = nullptr;
  HRESULT const code = image.Crop(left, top, right, bottom, &result);
  EXPECT_EQ(code, result ? S_OK : E_INVALIDARG);
  return Own(result);
}
