#include "pixel_layouts.h"

#include <stdint.h>

#include <algorithm>
#include <iterator>

namespace qewic {

using namespace yk;

namespace {

// Reading uses the first row with the file's pixels; writing BMP, GIF and JPEG the first that is accepted.
constexpr Layout LAYOUTS[] = {
    {&GUID_WICPixelFormat1bppIndexed, IMG_PAL1, Layout::BOTH, Layout::COPY},
    {&GUID_WICPixelFormatBlackWhite, IMG_PAL1, Layout::READ, Layout::RAMP},
    {&GUID_WICPixelFormat2bppIndexed, IMG_PAL4, Layout::READ, Layout::WIDEN},
    {&GUID_WICPixelFormat2bppGray, IMG_PAL4, Layout::READ, Layout::WIDEN | Layout::RAMP},
    {&GUID_WICPixelFormat4bppIndexed, IMG_PAL4, Layout::BOTH, Layout::COPY},
    {&GUID_WICPixelFormat4bppGray, IMG_PAL4, Layout::READ, Layout::RAMP},
    {&GUID_WICPixelFormat8bppIndexed, IMG_PAL8, Layout::BOTH, Layout::COPY},
    {&GUID_WICPixelFormat8bppGray, IMG_GRAY8, Layout::BOTH, Layout::COPY},
    {&GUID_WICPixelFormat8bppIndexed, IMG_GRAY8, Layout::WRITE, Layout::RAMP},
    {&GUID_WICPixelFormat16bppGray, IMG_GRAY16, Layout::READ, Layout::COPY},
    {&GUID_WICPixelFormat16bppBGR555, IMG_RGB555, Layout::BOTH, Layout::COPY},
    {&GUID_WICPixelFormat24bppBGR, IMG_BGR24, Layout::BOTH, Layout::COPY},
    {&GUID_WICPixelFormat32bppBGRA, IMG_BGRA32, Layout::BOTH, Layout::COPY},
    {&GUID_WICPixelFormat48bppRGB, IMG_BGR48, Layout::READ, Layout::SWAP_RED_BLUE},
    {&GUID_WICPixelFormat48bppBGR, IMG_BGR48, Layout::READ, Layout::COPY},
    {&GUID_WICPixelFormat64bppRGBA, IMG_BGRA64, Layout::READ, Layout::SWAP_RED_BLUE},
    {&GUID_WICPixelFormat64bppBGRA, IMG_BGRA64, Layout::READ, Layout::COPY},
    {&GUID_WICPixelFormat8bppIndexed, IMG_BGR24, Layout::WRITE, Layout::QUANTISE},
};

// One row per image format; unused elements are IMG_NONE. Each step is a conversion that the library
// supports, a widening of palette indices, or StoreWords.
constexpr IMG_FORMAT TO_WRITE[][5] = {
    {IMG_GRAY8, IMG_BGR24},
    {IMG_PAL8, IMG_BGRA32, IMG_BGR24},
    {IMG_BGR24},
    {IMG_BGRA32, IMG_BGR24},
    {IMG_GRAY16, IMG_BGR48, IMG_BGR24},
    {IMG_BGR48, IMG_BGR24},
    {IMG_BGRA64, IMG_BGRA32, IMG_BGR24},
    {IMG_GRAYF, IMG_GRAY16, IMG_BGR48, IMG_GRAY8, IMG_BGR24},
    {IMG_BGRF, IMG_BGR48, IMG_BGR24},
    {IMG_BGRAF, IMG_BGRA64, IMG_BGRA32, IMG_BGR24},
    {IMG_PAL1, IMG_PAL8, IMG_BGRA32, IMG_BGR24},
    {IMG_PAL4, IMG_PAL8, IMG_BGRA32, IMG_BGR24},
    {IMG_RGB555, IMG_BGR24},
};

constexpr std::span<IMG_FORMAT const> RowOf(IMG_FORMAT format) noexcept {
  for (auto const& row : TO_WRITE) {
    if (row[0] == format) return {row, std::find(std::begin(row), std::end(row), IMG_NONE)};
  }
  return {};
}

constexpr bool CanBeRead(IMG_FORMAT format) noexcept {
  return std::any_of(std::begin(LAYOUTS), std::end(LAYOUTS), [=](Layout const& layout) {
    return layout.image == format && (layout.use & Layout::READ);
  });
}

/// No file has floats; all other formats can be read, and all can be written, with BGR24 as the last resort.
constexpr bool EveryFormatIsThere() noexcept {
  return std::all_of(std::begin(img::FORMATS), std::end(img::FORMATS), [](img::FormatFacts const& facts) {
    if (facts.kind == img::ChannelKind::NONE) return true;
    auto const steps = RowOf(facts.format);
    bool const isWritten = !steps.empty() && steps.back() == IMG_BGR24;
    return isWritten && (facts.kind == img::ChannelKind::FLOAT || CanBeRead(facts.format));
  });
}
static_assert(EveryFormatIsThere());

uint16_t ToWord(uint16_t value) noexcept { return value; }

// What is not a number becomes 0.
uint16_t ToWord(float value) noexcept {
  return static_cast<uint16_t>((value > 0 ? std::min(value, 1.0f) : 0.0f) * 65535 + 0.5f);
}

// Grey is copied to all channels.
template <class From>
void StoreWords(From const* from, int fromChannels, uint16_t* to, int channels, int width) noexcept {
  for (int x = 0; x < width; ++x, from += fromChannels, to += channels)
    for (int i = 0; i < channels; ++i) to[i] = ToWord(from[fromChannels == 1 ? 0 : i]);
}

template <class T>
void SwapEnds(T* pixel, int width, int channels) noexcept {
  for (int x = 0; x < width; ++x, pixel += channels) std::swap(pixel[0], pixel[2]);
}

}  // namespace

Layout const* LayoutToRead(GUID const& file) noexcept {
  auto const* const found = std::find_if(std::begin(LAYOUTS), std::end(LAYOUTS), [&](Layout const& layout) {
    return (layout.use & Layout::READ) && *layout.file == file;
  });
  return found == std::end(LAYOUTS) ? nullptr : found;
}

std::span<Layout const> Layouts() noexcept { return LAYOUTS; }

std::span<IMG_FORMAT const> FormatsToWrite(IMG_FORMAT format) noexcept { return RowOf(format); }

void SwapRedBlue(void* row, int width, IMG_FORMAT format) noexcept {
  img::FormatFacts const& facts = img::GetFacts(format);
  if (facts.channels < 3) return;
  facts.channelBits == 16 ? SwapEnds(static_cast<uint16_t*>(row), width, facts.channels)
                          : SwapEnds(static_cast<uint8_t*>(row), width, facts.channels);
}

void SwapBytes(void* row, size_t count) noexcept {
  uint16_t* const words = static_cast<uint16_t*>(row);
  for (size_t i = 0; i < count; ++i) words[i] = static_cast<uint16_t>(words[i] << 8 | words[i] >> 8);
}

bool StoreWords(void const* from, IMG_FORMAT format, void* to, IMG_FORMAT target, int width) noexcept {
  img::FormatFacts const &source = img::GetFacts(format), &wanted = img::GetFacts(target);
  bool const isFloat = source.kind == img::ChannelKind::FLOAT;
  bool const isWords = source.channelBits == 16 && source.channels != wanted.channels;
  if (wanted.channelBits != 16 || (!isFloat && !isWords)) return false;
  auto* const words = static_cast<uint16_t*>(to);
  if (isFloat)
    StoreWords(static_cast<float const*>(from), source.channels, words, wanted.channels, width);
  else
    StoreWords(static_cast<uint16_t const*>(from), source.channels, words, wanted.channels, width);
  return true;
}

void WidenIndices(uint8_t const* from, int fromBits, uint8_t* to, int toBits, int width) noexcept {
  int const perByte = 8 / toBits;
  for (int byte = (width - 1) / perByte; byte >= 0; --byte) {
    unsigned value = 0;
    for (int i = 0; i < perByte; ++i) {
      int const x = byte * perByte + i;
      value = value << toBits | (x < width ? IndexAt(from, static_cast<unsigned>(fromBits), x) : 0);
    }
    to[byte] = static_cast<uint8_t>(value);
  }
}

void LookUpColours(uint8_t const* from, int bits, IMG_PALENTRY const* palette, uint8_t* to,
                   int width) noexcept {
  for (int x = 0; x < width; ++x, to += 4) {
    IMG_PALENTRY const& entry = palette[IndexAt(from, static_cast<unsigned>(bits), x)];
    to[0] = entry.blue, to[1] = entry.green, to[2] = entry.red, to[3] = entry.alpha;
  }
}

}  // namespace qewic
