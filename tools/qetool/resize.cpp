#include "resize.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "text.h"

namespace qetool {

using namespace yk;

namespace {

bool IsGrey(IMG_FORMAT format) { return img::GetFacts(format).channels == 1; }

float ToLight(float v) { return v <= 0.04045f ? v / 12.92f : std::pow((v + 0.055f) / 1.055f, 2.4f); }

float FromLight(float v) { return v <= 0.0031308f ? v * 12.92f : 1.055f * std::pow(v, 1 / 2.4f) - 0.055f; }

IMG_FORMAT FloatFormat(Image2d const& image) {
  if (IsGrey(image.format)) return IMG_GRAYF;
  return HasAlpha(image) ? IMG_BGRAF : IMG_BGRF;
}

/// The format of the result, given the source's.
IMG_FORMAT ResultFormat(Image2d const& image) {
  img::FormatFacts const& facts = img::GetFacts(image.format);
  if (facts.kind == img::ChannelKind::FLOAT || facts.channelBits == 16) return image.format;
  return IsGrey(image.format) ? IMG_GRAY8 : PlainFormat(image);
}

template <class Work>
void ForRows(Image2d& image, Listener& listener, Work work) {
  for (int y = image.height - 1; y >= 0; --y) work(image.GetLine(y), y);
  listener.Check();
}

ImageRef NewLike(Image2d const& like, IMG_FORMAT format) { return NewImage(format, like.width, like.height); }

// The library converts every format to floats except grey of 16 bits.
ImageRef ToFloats(ImageRef image, Listener& listener) {
  IMG_FORMAT const format = FloatFormat(*image);
  if (image->format == format) {  // the original stays as it is
    ImageRef copy = NewLike(*image, format);
    HRESULT const result = image->RescaleTo(copy.get(), &listener);
    listener.Check();
    if (Failed(result)) throw Failure{Reason(result)};
    return copy;
  }
  if (image->format != IMG_GRAY16) {
    ChangeFormat(image, format, listener);
    return image;
  }
  ImageRef floats = NewLike(*image, format);
  ForRows(*image, listener, [&](unsigned char const* row, int y) {
    auto const* const from = reinterpret_cast<unsigned short const*>(row);
    std::transform(from, from + image->width, reinterpret_cast<float*>(floats->GetLine(y)),
                   [](unsigned short v) { return static_cast<float>(v) / 65535; });
  });
  return floats;
}

// Rounds, where the library's conversions truncate or have no such target.
template <class T>
void StoreRow(float const* from, size_t count, unsigned char* row) {
  constexpr float TOP = static_cast<T>(-1);
  std::transform(from, from + count, reinterpret_cast<T*>(row),
                 [](float v) { return static_cast<T>(std::clamp(v, 0.0f, 1.0f) * TOP + 0.5f); });
}

ImageRef FromFloats(ImageRef floats, IMG_FORMAT format, Listener& listener) {
  if (floats->format == format) return floats;
  ImageRef image = NewLike(*floats, format);
  img::FormatFacts const& facts = img::GetFacts(format);
  size_t const count = static_cast<size_t>(image->width) * facts.channels;
  ForRows(*floats, listener, [&](unsigned char const* row, int y) {
    auto const store = facts.channelBits == 16 ? StoreRow<unsigned short> : StoreRow<unsigned char>;
    store(reinterpret_cast<float const*>(row), count, image->GetLine(y));
  });
  return image;
}

/// Changes the colours of each pixel of floats, given its alpha (1 without one).
template <class Change>
void ForColours(Image2d& image, Listener& listener, Change change) {
  int const channels = img::GetFacts(image.format).channels, colours = std::min(channels, 3);
  ForRows(image, listener, [&](unsigned char* row, int) {
    float* pixel = reinterpret_cast<float*>(row);
    for (int x = 0; x < image.width; ++x, pixel += channels)
      for (int i = 0; i < colours; ++i) pixel[i] = change(pixel[i], channels == 4 ? pixel[3] : 1.0f);
  });
}

}  // namespace

bool HasAlpha(Image2d const& image) {
  if (img::GetFacts(image.format).paletteEntries == 0) return img::HasAlpha(image.format);
  return std::any_of(image.palette, image.palette + image.paletteCount,
                     [](IMG_PALENTRY const& entry) { return entry.alpha != 255; });
}

void Resize(ImageRef& image, int width, int height, Light light, Listener& listener) {
  if (image->width == width && image->height == height) return;
  IMG_FORMAT const format = ResultFormat(*image);
  bool const isLinear = light == Light::LINEAR;
  if (img::GetFacts(image->format).averaged == IMG_NONE && image->format != IMG_GRAY16)
    ChangeFormat(image, PlainFormat(*image), listener);
  if (!isLinear && !HasAlpha(*image) && img::GetFacts(format).channelBits != 16) {
    image = Rescaled(*image, width, height, format, listener);
    return;
  }
  ImageRef floats = ToFloats(image, listener);
  ForColours(*floats, listener, [=](float v, float alpha) { return (isLinear ? ToLight(v) : v) * alpha; });
  floats = Rescaled(*floats, width, height, floats->format, listener);
  ForColours(*floats, listener, [=](float v, float alpha) {
    float const own = alpha > 0 ? v / alpha : 0;
    return isLinear ? FromLight(own) : own;
  });
  image = FromFloats(floats, format, listener);
}

void PutOnBackground(ImageRef& image, Rgb colour, Listener& listener) {
  if (!HasAlpha(*image)) return;
  ImageRef over = ImageRef::Share(image.get());
  ChangeFormat(over, IMG_BGRA32, listener);
  ImageRef result = NewLike(*over, IMG_BGR24);
  std::array<unsigned, 3> const under = {colour.blue, colour.green, colour.red};
  ForRows(*over, listener, [&](unsigned char const* from, int y) {
    unsigned char* to = result->GetLine(y);
    for (int x = 0; x < over->width; ++x, from += 4, to += 3)
      for (size_t i = 0; i < 3; ++i)
        to[i] = static_cast<unsigned char>((from[i] * from[3] + under[i] * (255u - from[3]) + 127) / 255);
  });
  image = result;
}

}  // namespace qetool
