// The 48 converters, generated from three small operations over channels:
//
//   Recode      changes the type of each channel: byte, 16 bits, float
//   Rearrange   changes the number of channels: grey, colour, colour and alpha
//   Look up     replaces indices by palette entries, as bytes
//
//   BGR48 -> BGRA32   Recode 16 bits to byte, Rearrange 3 to 4    GRAYF -> BGR24   Recode, Rearrange 1 to 3
//   BGR24 -> BGRAF    Rearrange 3 to 4, Recode byte to float      PAL8  -> BGRF    Look up, Rearrange, Recode
//
// Two operations in a row work on blocks that stay in the first-level cache.
//
// The same source serves every processor: each file that includes this one instantiates the kernels for its
// instruction set, and the anonymous namespace keeps the copies apart. The loops without intrinsics define
// the results; those with intrinsics (vector_kernels_p.h) convert as many pixels as they can and leave the
// rest.
#pragma once

#include <algorithm>
#include <iterator>

#include "vector_kernels_p.h"
#if defined(__AVX2__)
#include "vector_kernels_avx2_p.h"
#endif

namespace yk::img {
namespace {

/// A format of `N` channels of type `T`: 1 grey, 3 blue, green, red, 4 those and alpha.
template <class T, size_t N>
struct Channels {
  using Type = T;
  static constexpr size_t COUNT = N;
  static constexpr size_t SIZE = N * sizeof(T);
};

using Gray8 = Channels<uint8_t, 1>;
using Bgr24 = Channels<uint8_t, 3>;
using Bgra32 = Channels<uint8_t, 4>;
using Gray16 = Channels<uint16_t, 1>;
using Bgr48 = Channels<uint16_t, 3>;
using Bgra64 = Channels<uint16_t, 4>;
using GrayF = Channels<float, 1>;
using BgrF = Channels<float, 3>;
using BgraF = Channels<float, 4>;

/// Pixels of `size` bytes between two operations: as many as stay in the first-level cache.
constexpr size_t BlockOf(size_t size) noexcept { return 4096 / size / 32 * 32; }

// ---- Recode -----------------------------------------------------------------------------------------------

template <Isa ISA, class To, class From>
void Recode(uint8_t const* in, uint8_t* out, size_t count) noexcept {
  size_t i = VectorRecode<ISA, To, From>::Run(in, out, count);
  for (; i < count; ++i) Write<To>(out, i, Recoded<To, From>::Of(Read<From>(in, i)));
}

// ---- Rearrange --------------------------------------------------------------------------------------------

/// One pixel. Grey is copied to every channel, including alpha: grey 0 is transparent (contract).
template <class T, size_t FROM, size_t TO>
void RearrangePixel(uint8_t const* in, uint8_t* out) noexcept {
  T const b = Read<T>(in, 0);
  T const g = Read<T>(in, FROM == 1 ? 0 : 1);
  T const r = Read<T>(in, FROM == 1 ? 0 : 2);
  if constexpr (TO == 1) {
    Write<T>(out, 0, Average(b, g, r));
  } else {
    Write<T>(out, 0, b);
    Write<T>(out, 1, g);
    Write<T>(out, 2, r);
    if constexpr (TO == 4) Write<T>(out, 3, FROM == 1 ? b : FULL<T>);
  }
}

template <Isa ISA, class T, size_t FROM, size_t TO>
void Rearrange(uint8_t const* in, uint8_t* out, size_t count) noexcept {
  size_t i = VectorRearrange<ISA, T, FROM, TO>::Run(in, out, count);
  for (; i < count; ++i) {
    RearrangePixel<T, FROM, TO>(in + i * FROM * sizeof(T), out + i * TO * sizeof(T));
  }
}

// ---- Convert ----------------------------------------------------------------------------------------------

template <Isa ISA, class Source, class Target>
void Convert(uint8_t const* in, uint8_t* out, size_t count, IMG_PALENTRY const* palette) noexcept;

/// Source to Middle to Target, a block at a time. `first` does the first half, Convert the second.
template <Isa ISA, class Middle, class Target, class First>
void ConvertThrough(uint8_t* out, size_t count, First first) noexcept {
  constexpr size_t BLOCK = BlockOf(Middle::SIZE);
  [[maybe_unused]] uint8_t block[BLOCK * Middle::SIZE];
  for (size_t done = 0; done < count; done += BLOCK) {
    size_t const now = count - done < BLOCK ? count - done : BLOCK;
    uint8_t* const there = out + done * Target::SIZE;
    if constexpr (std::is_same_v<Middle, Target>) {
      first(done, there, now);
    } else {
      first(done, block, now);
      Convert<ISA, Middle, Target>(block, there, now, nullptr);
    }
  }
}

/// The format between Source and Target when both type and number of channels change. The number is changed
/// where that is cheapest, in the narrower type, except for averages, which are taken before precision is
/// lost.
template <class Source, class Target>
struct Between {
  static constexpr bool NARROWS = sizeof(typename Source::Type) > sizeof(typename Target::Type);
  static constexpr bool RECODE_FIRST =
      Target::COUNT != 1 && (NARROWS || sizeof(typename Source::Type) == sizeof(uint16_t));
  using Type = std::conditional_t<RECODE_FIRST, Channels<typename Target::Type, Source::COUNT>,
                                  Channels<typename Source::Type, Target::COUNT>>;
};

template <Isa ISA, class Source, class Target>
void Convert(uint8_t const* in, uint8_t* out, size_t count, IMG_PALENTRY const*) noexcept {
  using From = typename Source::Type;
  using To = typename Target::Type;
  if constexpr (std::is_same_v<From, To>) {
    Rearrange<ISA, From, Source::COUNT, Target::COUNT>(in, out, count);
  } else if constexpr (Source::COUNT == Target::COUNT) {
    Recode<ISA, To, From>(in, out, count * Source::COUNT);
  } else {
    using Middle = typename Between<Source, Target>::Type;
    ConvertThrough<ISA, Middle, Target>(out, count, [in](size_t done, uint8_t* block, size_t now) {
      Convert<ISA, Source, Middle>(in + done * Source::SIZE, block, now, nullptr);
    });
  }
}

/// GRAYF to GRAY8 alone is clamped, and truncated without rounding (contract). NaN gives 0.
template <Isa ISA>
void ConvertClamped(uint8_t const* in, uint8_t* out, size_t count, IMG_PALENTRY const*) noexcept {
  for (size_t i = VectorClamp<ISA>::Run(in, out, count); i < count; ++i) {
    float const v = Read<float>(in, i);
    float const above = v > 0.0f ? v : 0.0f;
    float const within = above < 1.0f ? above : 1.0f;
    out[i] = static_cast<uint8_t>(static_cast<int>(within * 255.0f));
  }
}

/// The top bit of a word is unused; the low three bits of each channel stay 0.
template <Isa ISA>
void ConvertRgb555(uint8_t const* in, uint8_t* out, size_t count, IMG_PALENTRY const*) noexcept {
  for (size_t i = VectorRgb555<ISA>::Run(in, out, count); i < count; ++i) {
    unsigned const word = Read<uint16_t>(in, i);
    out[3 * i] = static_cast<uint8_t>((word & 0x1F) << 3);
    out[3 * i + 1] = static_cast<uint8_t>((word >> 2) & 0xF8);
    out[3 * i + 2] = static_cast<uint8_t>((word >> 7) & 0xF8);
  }
}

// ---- Look up ----------------------------------------------------------------------------------------------

/// The index of pixel `i`; the leftmost pixel is in the highest bits.
template <unsigned BITS>
unsigned IndexAt(uint8_t const* in, size_t i) noexcept {
  constexpr unsigned PER_BYTE = 8 / BITS;
  unsigned const shift = static_cast<unsigned>(PER_BYTE - 1 - i % PER_BYTE) * BITS;
  return (in[i / PER_BYTE] >> shift) & ((1u << BITS) - 1);
}

/// The entries of `count` pixels as BGRA32. They are gathered whole and reordered from red, green, blue,
/// alpha in a separate loop, since only that one can be vectorised.
template <Isa ISA, unsigned BITS>
void LookUp(uint8_t const* in, uint8_t* out, size_t count, IMG_PALENTRY const* palette) noexcept {
  uint8_t const* const entries = reinterpret_cast<uint8_t const*>(palette);
  size_t const start = VectorLookUp<ISA, BITS, 4>::Run(in, out, count, palette);
  for (size_t i = start; i < count; ++i) Write(out, i, Read<uint32_t>(entries, IndexAt<BITS>(in, i)));
  for (size_t i = start; i < count; ++i) {
    uint32_t const v = Read<uint32_t>(out, i);
    Write<uint32_t>(out, i, (v & 0xFF00FF00u) | (v & 0xFF) << 16 | (v >> 16 & 0xFF));
  }
}

/// A byte for each of 256 indices; worth a table for this many pixels.
constexpr size_t TABLE_PAYS = 512;

template <Isa ISA>
void Translate(uint8_t const* in, uint8_t* out, size_t count, uint8_t const (&table)[256]) noexcept {
  for (size_t i = VectorTranslate<ISA>::Run(in, out, count, table); i < count; ++i) out[i] = table[in[i]];
}

template <Isa ISA, unsigned BITS, class Target>
void ConvertIndexed(uint8_t const* in, uint8_t* out, size_t count, IMG_PALENTRY const* palette) noexcept {
  if constexpr (BITS == 8 && std::is_same_v<Target, Gray8>) {
    if (count >= TABLE_PAYS) {
      uint8_t table[256];
      for (size_t i = 0; i < 256; ++i) table[i] = Average(palette[i].blue, palette[i].green, palette[i].red);
      return Translate<ISA>(in, out, count, table);
    }
  }
  size_t start = 0;
  if constexpr (sizeof(typename Target::Type) == 1 && Target::COUNT != 4)
    start = VectorLookUp<ISA, BITS, Target::COUNT>::Run(in, out, count, palette);
  in += start * BITS / 8;
  out += start * Target::SIZE;
  ConvertThrough<ISA, Bgra32, Target>(out, count - start, [=](size_t done, uint8_t* block, size_t now) {
    LookUp<ISA, BITS>(in + done * BITS / 8, block, now, palette);
  });
}

/// PAL8 to GRAYF takes the entry's alpha as the grey (contract).
template <Isa ISA>
void ConvertIndexedAlpha(uint8_t const* in, uint8_t* out, size_t count,
                         IMG_PALENTRY const* palette) noexcept {
  uint8_t table[256];
  bool const hasTable = count >= TABLE_PAYS;
  for (size_t i = 0; hasTable && i < 256; ++i) table[i] = palette[i].alpha;
  ConvertThrough<ISA, Gray8, GrayF>(out, count, [&](size_t done, uint8_t* block, size_t now) {
    if (hasTable) return Translate<ISA>(in + done, block, now, table);
    for (size_t i = 0; i < now; ++i) block[i] = palette[in[done + i]].alpha;
  });
}

// ---- the pairs --------------------------------------------------------------------------------------------

template <Isa ISA>
constexpr Kernel KERNELS[] = {
    {IMG_GRAY8, IMG_BGR24, Convert<ISA, Gray8, Bgr24>},
    {IMG_GRAY8, IMG_BGRA32, Convert<ISA, Gray8, Bgra32>},
    {IMG_GRAY8, IMG_GRAYF, Convert<ISA, Gray8, GrayF>},
    {IMG_GRAY8, IMG_BGRF, Convert<ISA, Gray8, BgrF>},
    {IMG_GRAY8, IMG_BGRAF, Convert<ISA, Gray8, BgraF>},
    {IMG_PAL8, IMG_GRAY8, ConvertIndexed<ISA, 8, Gray8>},
    {IMG_PAL8, IMG_BGR24, ConvertIndexed<ISA, 8, Bgr24>},
    {IMG_PAL8, IMG_BGRA32, ConvertIndexed<ISA, 8, Bgra32>},
    {IMG_PAL8, IMG_GRAYF, ConvertIndexedAlpha<ISA>},
    {IMG_PAL8, IMG_BGRF, ConvertIndexed<ISA, 8, BgrF>},
    {IMG_PAL8, IMG_BGRAF, ConvertIndexed<ISA, 8, BgraF>},
    {IMG_BGR24, IMG_GRAY8, Convert<ISA, Bgr24, Gray8>},
    {IMG_BGR24, IMG_BGRA32, Convert<ISA, Bgr24, Bgra32>},
    {IMG_BGR24, IMG_BGRF, Convert<ISA, Bgr24, BgrF>},
    {IMG_BGR24, IMG_BGRAF, Convert<ISA, Bgr24, BgraF>},
    {IMG_BGRA32, IMG_GRAY8, Convert<ISA, Bgra32, Gray8>},
    {IMG_BGRA32, IMG_BGR24, Convert<ISA, Bgra32, Bgr24>},
    {IMG_BGRA32, IMG_BGRF, Convert<ISA, Bgra32, BgrF>},
    {IMG_BGRA32, IMG_BGRAF, Convert<ISA, Bgra32, BgraF>},
    {IMG_GRAY16, IMG_BGR24, Convert<ISA, Gray16, Bgr24>},
    {IMG_GRAY16, IMG_BGRA32, Convert<ISA, Gray16, Bgra32>},
    {IMG_GRAY16, IMG_BGRF, Convert<ISA, Gray16, BgrF>},
    {IMG_GRAY16, IMG_BGRAF, Convert<ISA, Gray16, BgraF>},
    {IMG_BGR48, IMG_BGR24, Convert<ISA, Bgr48, Bgr24>},
    {IMG_BGR48, IMG_BGRA32, Convert<ISA, Bgr48, Bgra32>},
    {IMG_BGR48, IMG_BGRF, Convert<ISA, Bgr48, BgrF>},
    {IMG_BGR48, IMG_BGRAF, Convert<ISA, Bgr48, BgraF>},
    {IMG_BGRA64, IMG_BGR24, Convert<ISA, Bgra64, Bgr24>},
    {IMG_BGRA64, IMG_BGRA32, Convert<ISA, Bgra64, Bgra32>},
    {IMG_BGRA64, IMG_BGRF, Convert<ISA, Bgra64, BgrF>},
    {IMG_BGRA64, IMG_BGRAF, Convert<ISA, Bgra64, BgraF>},
    {IMG_GRAYF, IMG_GRAY8, ConvertClamped<ISA>},
    {IMG_GRAYF, IMG_BGR24, Convert<ISA, GrayF, Bgr24>},
    {IMG_GRAYF, IMG_BGRA32, Convert<ISA, GrayF, Bgra32>},
    {IMG_GRAYF, IMG_BGRF, Convert<ISA, GrayF, BgrF>},
    {IMG_GRAYF, IMG_BGRAF, Convert<ISA, GrayF, BgraF>},
    {IMG_BGRF, IMG_GRAY8, Convert<ISA, BgrF, Gray8>},
    {IMG_BGRF, IMG_BGR24, Convert<ISA, BgrF, Bgr24>},
    {IMG_BGRF, IMG_BGRA32, Convert<ISA, BgrF, Bgra32>},
    {IMG_BGRF, IMG_BGRAF, Convert<ISA, BgrF, BgraF>},
    {IMG_BGRAF, IMG_GRAY8, Convert<ISA, BgraF, Gray8>},
    {IMG_BGRAF, IMG_BGR24, Convert<ISA, BgraF, Bgr24>},
    {IMG_BGRAF, IMG_BGRA32, Convert<ISA, BgraF, Bgra32>},
    {IMG_BGRAF, IMG_BGRF, Convert<ISA, BgraF, BgrF>},
    {IMG_PAL1, IMG_GRAY8, ConvertIndexed<ISA, 1, Gray8>},
    {IMG_PAL1, IMG_BGR24, ConvertIndexed<ISA, 1, Bgr24>},
    {IMG_PAL4, IMG_BGR24, ConvertIndexed<ISA, 4, Bgr24>},
    {IMG_RGB555, IMG_BGR24, ConvertRgb555<ISA>},
};
static_assert(std::size(KERNELS<Isa::BASE>) == KERNEL_COUNT);

constexpr bool HasKernel(IMG_FORMAT source, IMG_FORMAT target) noexcept {
  return source == target ||
         std::any_of(std::begin(KERNELS<Isa::BASE>), std::end(KERNELS<Isa::BASE>), [=](Kernel const& kernel) {
           return kernel.source == source && kernel.target == target;
         });
}

/// Every format with a meaning converts to BGR24, for display and files; resampling needs the averaged
/// format.
constexpr bool EveryFormatHasItsKernels() noexcept {
  return std::all_of(std::begin(FORMATS), std::end(FORMATS), [](FormatFacts const& facts) {
    if (facts.kind == ChannelKind::NONE) return true;
    bool const averages = facts.averaged == IMG_NONE || HasKernel(facts.format, facts.averaged);
    return averages && HasKernel(facts.format, IMG_BGR24);
  });
}
static_assert(EveryFormatHasItsKernels());

}  // namespace
}  // namespace yk::img
