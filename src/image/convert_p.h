// What stands behind ConvertPixels: the table of converters, and the sets of kernels that it is filled from.
#pragma once

#include <qecore/image/convert.h>

namespace yk::img {

/// Converts `count` pixels and touches nothing behind the last one. `palette` is read by the palette formats
/// only.
using Converter = void (*)(uint8_t const* src, uint8_t* dst, size_t count, IMG_PALENTRY const* palette);

struct Kernel {
  IMG_FORMAT source;
  IMG_FORMAT target;
  Converter run;
};

inline constexpr int KERNEL_COUNT = 48;

// The same 48 pairs in the same order, for any x86-64 processor, for one with SSSE3, for one with AVX2.
extern Kernel const* const KERNELS_BASE;
extern Kernel const* const KERNELS_SSSE3;
extern Kernel const* const KERNELS_AVX2;

/// Fills the table with the best kernels for this processor; the constructor of System calls it. False: no
/// memory.
bool BuildConversionTable() noexcept;
/// Gives the table up; the destructor of System calls it.
void FreeConversionTable() noexcept;

/// The converter of a pair of different formats; null when there is none.
Converter FindConverter(IMG_FORMAT source, IMG_FORMAT target) noexcept;

/// ConvertPixels for rows that have no room behind the last pixel.
HRESULT ConvertRow(void const* src, void* dst, IMG_FORMAT srcFormat, IMG_FORMAT dstFormat, int count,
                   IMG_PALENTRY const* palette) noexcept;

}  // namespace yk::img
