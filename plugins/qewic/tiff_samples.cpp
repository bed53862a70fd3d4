#include "read_tiff_p.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <new>

namespace qewic {

using namespace yk;

namespace {

constexpr int ALPHA = 3;

float FromHalf(uint32_t half) noexcept {
  int const exponent = static_cast<int>(half >> 10 & 31);
  float const fraction = static_cast<float>(half & 1023);
  float const size = exponent == 0    ? std::ldexp(fraction, -24)
                     : exponent == 31 ? (fraction > 0 ? NAN : INFINITY)
                                      : std::ldexp(fraction + 1024, exponent - 25);
  return half >> 15 ? -size : size;
}

/// The bits of a float, from those of a float of 16, 32 or 64 bits.
uint32_t BitsOfFloat(uint64_t value, unsigned bits) noexcept {
  if (bits == 32) return static_cast<uint32_t>(value);
  if (bits == 16) return std::bit_cast<uint32_t>(FromHalf(static_cast<uint32_t>(value)));
  return std::bit_cast<uint32_t>(static_cast<float>(std::bit_cast<double>(value)));
}

template <class T>
T Scaled(uint32_t value, uint32_t most) noexcept {
  constexpr uint32_t TOP = static_cast<T>(-1);
  return static_cast<T>(most == TOP ? value : (uint64_t{value} * TOP + most / 2) / most);
}
template <>
float Scaled<float>(uint32_t value, uint32_t) noexcept {
  return std::bit_cast<float>(value);
}

template <class T>
T Inverted(T value) noexcept {
  if constexpr (std::is_same_v<T, float>) return 1 - value;
  return static_cast<T>(static_cast<T>(-1) - value);
}

/// Calls `work` with a value of the type that the format's channels have.
template <class Work>
void WithChannelsOf(IMG_FORMAT format, Work work) noexcept {
  img::FormatFacts const& facts = img::GetFacts(format);
  if (facts.kind == img::ChannelKind::FLOAT) return work(float{});
  facts.channelBits > 8 ? work(uint16_t{}) : work(uint8_t{});
}

}  // namespace

IMG_FORMAT TiffLayout::FormatWith(unsigned channels) const noexcept {
  return isFloat ? FormatOfChannels(img::ChannelKind::FLOAT, channels, 32)
                 : FormatOfChannels(img::ChannelKind::UNSIGNED, channels, bits > 8 ? 16 : 8);
}

IMG_FORMAT TiffLayout::FormatOfPixels() const noexcept {
  if (IsIndexed()) return IndexFormat(bits);
  if (colourChannels == 4 || hasAlpha) return FormatWith(4);
  return FormatWith(colourChannels);
}

IMG_FORMAT TiffLayout::FormatOfPicture() const noexcept {
  return colours == TiffColours::CMYK ? FormatWith(3) : FormatOfPixels();
}

bool TiffSamples::Allocate() noexcept {
  values.reset(new (std::nothrow) uint32_t[Count()]);
  return values != nullptr;
}

void TiffSamples::Unpack(uint8_t* row) noexcept {
  if (layout.isFloat) return UnpackFloats(row);
  UnpackWords(row);
  if (layout.predictor == 2) UndoPrediction();
}

void TiffSamples::UnpackWords(uint8_t const* row) noexcept {
  size_t const count = Count();
  unsigned const bits = layout.bits;
  if (bits == 8) {
    std::copy_n(row, count, values.get());
  } else if (bits == 16) {
    for (size_t i = 0; i < count; ++i)
      values[i] = layout.bigEndian ? Big(row + 2 * i, 2) : Little(row + 2 * i, 2);
  } else {
    uint32_t window = 0;
    unsigned held = 0;
    for (size_t i = 0; i < count; ++i, held -= bits) {
      for (; held < bits; held += 8) window = window << 8 | *row++;
      values[i] = window >> (held - bits) & ((1u << bits) - 1);
    }
  }
}

void TiffSamples::UndoPrediction() noexcept {
  uint32_t const most = (1u << layout.bits) - 1;
  size_t const apart = layout.ChannelsOfBlock();
  for (size_t i = apart; i < Count(); ++i) values[i] = (values[i] + values[i - apart]) & most;
}

void TiffSamples::UnpackFloats(uint8_t* row) noexcept {
  size_t const count = Count(), size = layout.bits / 8, apart = layout.ChannelsOfBlock();
  bool const isApart = layout.predictor == 3;  // the highest byte of all samples, then the next
  for (size_t i = apart; isApart && i < count * size; ++i)
    row[i] = static_cast<uint8_t>(row[i] + row[i - apart]);
  for (size_t i = 0; i < count; ++i) {
    uint64_t value = 0;
    for (size_t k = 0; k < size; ++k) {
      size_t const place = isApart ? k * count + i : i * size + (layout.bigEndian ? k : size - 1 - k);
      value = value << 8 | row[place];
    }
    values[i] = BitsOfFloat(value, layout.bits);
  }
}

// Adds their bits to those of a new image, which are all 0.
void TiffSamples::PutIndices(uint8_t* row, unsigned width, uint32_t left, uint32_t count) const noexcept {
  unsigned const apart = layout.ChannelsOfBlock();
  uint32_t const flip = layout.colours == TiffColours::WHITE_IS_ZERO ? (1u << layout.bits) - 1 : 0;
  for (uint32_t x = 0; x < count; ++x) {
    size_t const bit = (size_t{left} + x) * width;
    uint32_t const value = values[size_t{x} * apart] ^ flip;
    row[bit / 8] = static_cast<uint8_t>(row[bit / 8] | value << (8 - width - bit % 8));
  }
}

template <class T>
void TiffSamples::PutChannel(T* pixels, int channels, unsigned from, unsigned channel,
                             uint32_t count) const noexcept {
  bool const isAlpha = layout.hasAlpha && channel == layout.colourChannels;
  if (channel >= layout.colourChannels && !isAlpha) return;
  bool const isGrey = layout.colourChannels == 1;
  bool const flips =
      !isAlpha && (layout.colours == TiffColours::WHITE_IS_ZERO || layout.colours == TiffColours::CMYK);
  int const slot = isAlpha || channel == 3 ? ALPHA : isGrey ? 0 : 2 - static_cast<int>(channel);
  int const last = isGrey && !isAlpha && channels > 1 ? 2 : slot;
  uint32_t const most = layout.isFloat ? 0 : (1u << layout.bits) - 1;
  unsigned const apart = layout.ChannelsOfBlock();
  for (uint32_t x = 0; x < count; ++x, pixels += channels) {
    T const value = Scaled<T>(values[size_t{x} * apart + from], most);
    for (int i = slot; i <= last; ++i) pixels[i] = flips ? Inverted(value) : value;
  }
}

template <class T>
void TiffSamples::PutChannels(T* pixels, int channels, uint32_t plane, uint32_t count) const noexcept {
  if (layout.planar) return PutChannel(pixels, channels, 0, plane, count);
  for (unsigned i = 0; i < layout.samples; ++i) PutChannel(pixels, channels, i, i, count);
}

void TiffSamples::Put(Image2d& image, uint32_t left, uint32_t y, uint32_t plane) const noexcept {
  uint32_t const width = static_cast<uint32_t>(image.width);
  uint32_t const count = std::min(layout.blockWidth, width - left);
  uint8_t* const row = image.GetLine(static_cast<int>(y));
  if (layout.IsIndexed()) return plane == 0 ? PutIndices(row, image.bitsPerPixel, left, count) : void();
  img::FormatFacts const& facts = img::GetFacts(image.format);
  uint8_t* const pixels = row + size_t{left} * facts.bytes;
  WithChannelsOf(image.format, [&]<class T>(T) {
    PutChannels(reinterpret_cast<T*>(pixels), facts.channels, plane, count);
  });
}

void PutUnits(TiffLayout const& layout, uint8_t const* block, TiffPlace const& place,
              Image2d& image) noexcept {
  uint32_t const across = layout.across, down = layout.down, size = across * down + 2;
  uint32_t const units = (layout.blockWidth + across - 1) / across;
  uint32_t const count = std::min(layout.blockWidth, static_cast<uint32_t>(image.width) - place.left);
  for (uint32_t i = 0; i < place.rows; ++i) {
    uint8_t* pixel = image.GetLineEx(static_cast<int>(place.top + i), static_cast<int>(place.left));
    uint8_t const* const line = block + size_t{i / down} * units * size;
    for (uint32_t x = 0; x < count; ++x, pixel += 3) {
      uint8_t const* const unit = line + size_t{x / across} * size;
      pixel[2] = unit[i % down * across + x % across];
      pixel[1] = unit[size - 2];
      pixel[0] = unit[size - 1];
    }
  }
}

namespace {

uint8_t ToByte(double value) noexcept { return static_cast<uint8_t>(std::clamp(value + 0.5, 0.0, 255.0)); }

// Red holds the luminance, green and blue the differences of blue and of red.
void ToRgb(TiffDirectory const& directory, Image2d& image) noexcept {
  double const red = directory.Fraction(Tag::COEFFICIENTS, 0.299, 0);
  double const green = directory.Fraction(Tag::COEFFICIENTS, 0.587, 1);
  double const blue = directory.Fraction(Tag::COEFFICIENTS, 0.114, 2);
  for (int y = image.height - 1; y >= 0; --y) {
    uint8_t* pixel = image.GetLine(y);
    for (int x = 0; x < image.width; ++x, pixel += 3) {
      double const r = pixel[2] + (2 - 2 * red) * (pixel[0] - 128);
      double const b = pixel[2] + (2 - 2 * blue) * (pixel[1] - 128);
      double const g = green > 0 ? (pixel[2] - red * r - blue * b) / green : 0;
      pixel[0] = ToByte(b), pixel[1] = ToByte(g), pixel[2] = ToByte(r);
    }
  }
}

// Black is in the place of alpha.
template <class T>
void MultiplyInk(Image2d& from, Image2d& to) noexcept {
  constexpr uint32_t TOP = static_cast<T>(-1);
  for (int y = from.height - 1; y >= 0; --y) {
    T const* ink = reinterpret_cast<T const*>(from.GetLine(y));
    T* pixel = reinterpret_cast<T*>(to.GetLine(y));
    for (int x = 0; x < from.width; ++x, ink += 4, pixel += 3)
      for (int i = 0; i < 3; ++i)
        pixel[i] = static_cast<T>((static_cast<uint64_t>(ink[i]) * ink[ALPHA] + TOP / 2) / TOP);
  }
}

HRESULT TakeInk(StreamAdapter const& file, TiffLayout const& layout, Ref<Image2d>& image) noexcept {
  Ref<Image2d> colours;
  HRESULT const made = MakePicture(file, layout.FormatOfPicture(), layout.width, layout.height, colours);
  if (yk::Failed(made)) return made;
  layout.bits > 8 ? MultiplyInk<uint16_t>(*image, *colours) : MultiplyInk<uint8_t>(*image, *colours);
  image = colours;
  return S_OK;
}

template <class T>
void DivideByAlpha(Image2d& image) noexcept {
  for (int y = image.height - 1; y >= 0; --y) {
    T* pixel = reinterpret_cast<T*>(image.GetLine(y));
    for (int x = 0; x < image.width; ++x, pixel += 4) {
      T const alpha = pixel[ALPHA];
      for (int i = 0; i < ALPHA && alpha > 0; ++i) {
        if constexpr (std::is_same_v<T, float>) {
          pixel[i] /= alpha;
        } else {
          constexpr uint64_t TOP = static_cast<T>(-1);
          pixel[i] = static_cast<T>(std::min<uint64_t>((pixel[i] * TOP + alpha / 2) / alpha, TOP));
        }
      }
    }
  }
}

}  // namespace

HRESULT FinishColours(StreamAdapter const& file, TiffLayout const& layout, TiffDirectory const& directory,
                      Ref<Image2d>& image) noexcept {
  if (layout.colours == TiffColours::CMYK) return TakeInk(file, layout, image);
  if (layout.colours == TiffColours::YCBCR) ToRgb(directory, *image);
  if (layout.isPremultiplied) WithChannelsOf(image->format, [&]<class T>(T) { DivideByAlpha<T>(*image); });
  return S_OK;
}

}  // namespace qewic
