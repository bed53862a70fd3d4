// Pictures for the rows.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/draw/device_context.h>
#include <qecore/image/image.h>
#include <string.h>

#include <memory>

#include "bench.h"

namespace bench {

using ImageRef = yk::Ref<yk::Image2d>;
using Surface = yk::Ref<yk::IDC>;

constexpr int FULL_WIDTH = 1920, FULL_HEIGHT = 1080;  // of surfaces

/// Bytes of a pixel, which are a fraction for small palettes.
inline double BytesOf(yk::IMG_FORMAT format) { return yk::img::GetFacts(format).bits / 8.0; }

/// Noise or, for formats of floats, numbers from 0.0 to 1.0.
inline void FillWithNoise(unsigned char* bytes, size_t count, bool floats) {
  Numbers numbers;
  for (size_t i = 0; i + 4 <= count; i += 4) {
    float const value = static_cast<float>(numbers.Unit());
    uint32_t const noise = numbers.Next() * 2u + 1;
    memcpy(bytes + i, floats ? static_cast<void const*>(&value) : &noise, 4);
  }
}

inline ImageRef MakePicture(yk::IMG_FORMAT format, int width, int height) {
  ImageRef image = ImageRef::Adopt(yk::Image2d::Create());
  if (yk::Failed(image->Create(format, width, height))) abort();
  bool const floats = yk::img::GetFacts(format).kind == yk::img::ChannelKind::FLOAT;
  FillWithNoise(image->bits, static_cast<size_t>(image->stride) * static_cast<size_t>(height), floats);
  for (int i = 0; i < yk::img::GetFacts(format).paletteEntries; ++i) {
    unsigned char const v = static_cast<unsigned char>(i);
    image->palette[i] = {v, static_cast<unsigned char>(255 - v), 7, v};
  }
  return image;
}

inline Surface MakeSurface(bool hasAlpha) {
  Surface dc = Surface::Adopt(yk::IDC::Create());
  dc->hasAlpha = hasAlpha;
  if (yk::Failed(dc->Create(FULL_WIDTH, FULL_HEIGHT))) abort();
  dc->Clear(0xFFE0E0E0);
  dc->SetColor(0xFF204060);
  return dc;
}

}  // namespace bench
