// The implementation of ConvertPixels: the table of converters, and the sets of kernels that fill it.
#pragma once

#include <qecore/image/convert.h>

#include "cell_kernels_p.h"
#include "halve_kernels_p.h"
#include "resample_p.h"

namespace yk::img {

/// Converts `count` pixels without touching anything past the last one. Only the palette formats read
/// `palette`.
using Converter = void (*)(uint8_t const* src, uint8_t* dst, size_t count, IMG_PALENTRY const* palette);

struct Kernel {
  IMG_FORMAT source;
  IMG_FORMAT target;
  Converter run;
};

inline constexpr int KERNEL_COUNT = 48;

// The same 48 pairs in the same order: for any x86-64 processor, with SSSE3, with AVX2.
extern Kernel const* const KERNELS_BASE;
extern Kernel const* const KERNELS_SSSE3;
extern Kernel const* const KERNELS_AVX2;

/// The kernels of one instruction set.
struct KernelSet {
  Kernel const* converters;
  ResampleKernels const& resample;
  HalveKernels const& halve;
  CellKernels const& cells;
};

/// The best ones for this processor.
KernelSet BestKernels() noexcept;

/// Fills the table with the best kernels for this processor; called by System's constructor.
void BuildConversionTable() noexcept;
/// Makes all look-ups fail again; called by System's destructor.
void FreeConversionTable() noexcept;

/// The best converter for this processor, also while there is no System. The pair must be one of the 48.
Converter BestConverter(IMG_FORMAT source, IMG_FORMAT target) noexcept;

/// The converter of a pair of different formats, or null.
Converter FindConverter(IMG_FORMAT source, IMG_FORMAT target) noexcept;

/// Records why pixels were not converted. \return E_INVALIDARG
HRESULT FailConversion(char const* operation, IMG_FORMAT source, IMG_FORMAT target) noexcept;

struct SourcePixels {
  void const* first;
  IMG_FORMAT format;
  IMG_PALENTRY const* palette = nullptr;  // for the palette formats
};

struct TargetPixels {
  void* first;
  IMG_FORMAT format;
};

/// ConvertPixels for rows without room past the last pixel. A failure is not recorded: rows that cannot be
/// converted are often left as they are.
HRESULT ConvertRow(SourcePixels const& from, TargetPixels const& to, int count) noexcept;

}  // namespace yk::img
