#include "convert_p.h"

#include <string.h>

#include <atomic>

#include "core/error_p.h"
#include "core/processor_p.h"

namespace yk::img {

namespace {

constexpr size_t CELLS = static_cast<size_t>(LAST_FORMAT) * LAST_FORMAT;

// One cell per pair; row and column are the formats' numbers minus one. It is valid while there is a System,
// and never freed: a thread may still convert when a host releases the System in between.
constinit Converter conversionTable[CELLS] = {};
constinit std::atomic<bool> isBuilt = false;

constexpr bool InTable(IMG_FORMAT format) noexcept { return format >= 1 && format <= LAST_FORMAT; }

constexpr size_t CellOf(IMG_FORMAT source, IMG_FORMAT target) noexcept {
  return static_cast<size_t>(source - 1) * LAST_FORMAT + static_cast<size_t>(target - 1);
}

HRESULT Copy(void const* src, void* dst, IMG_FORMAT format, int count) noexcept {
  size_t const size = static_cast<size_t>(PackedBytes(int64_t{GetFacts(format).bits} * count));
  if (size == 0) return S_OK;
  if (!src || !dst) return E_INVALIDARG;
  memmove(dst, src, size);
  return S_OK;
}

}  // namespace

KernelSet BestKernels() noexcept {
  if (HasAvx2()) return {KERNELS_AVX2, RESAMPLE_AVX2, HALVE_AVX2, CELLS_AVX2};
  return {HasSsse3() ? KERNELS_SSSE3 : KERNELS_BASE, RESAMPLE_BASE, HALVE_BASE, CELLS_BASE};
}

int GetPixelSize(IMG_FORMAT format, unsigned short& bits) noexcept {
  FormatFacts const& facts = GetFacts(format);
  bits = facts.bits;
  return facts.bytes;
}

void BuildConversionTable() noexcept {
  Kernel const* const kernels = BestKernels().converters;
  for (int i = 0; i < KERNEL_COUNT; ++i) {
    conversionTable[CellOf(kernels[i].source, kernels[i].target)] = kernels[i].run;
  }
  isBuilt = true;
}

void FreeConversionTable() noexcept { isBuilt = false; }

Converter BestConverter(IMG_FORMAT source, IMG_FORMAT target) noexcept {
  Kernel const* kernel = BestKernels().converters;
  while (kernel->source != source || kernel->target != target) ++kernel;
  return kernel->run;
}

Converter FindConverter(IMG_FORMAT source, IMG_FORMAT target) noexcept {
  if (!isBuilt || !InTable(source) || !InTable(target)) return nullptr;
  return conversionTable[CellOf(source, target)];
}

HRESULT FailConversion(char const* operation, IMG_FORMAT source, IMG_FORMAT target) noexcept {
  bool const isKnown = source == target || FindConverter(source, target);
  wchar_t const* const text =
      isKnown ? L"no pixels, palette or room to convert %S to %S" : L"%S cannot be converted to %S";
  return Fail(E_INVALIDARG, operation, text, GetFacts(source).name, GetFacts(target).name);
}

HRESULT ConvertRow(SourcePixels const& from, TargetPixels const& to, int count) noexcept {
  if (count < 0) return E_INVALIDARG;
  if (from.format == to.format) return Copy(from.first, to.first, from.format, count);
  Converter const convert = FindConverter(from.format, to.format);
  if (!convert) return E_INVALIDARG;
  if (count == 0) return S_OK;
  bool const lacksPalette = GetFacts(from.format).paletteEntries && !from.palette;
  if (!from.first || !to.first || lacksPalette) return E_INVALIDARG;
  convert(static_cast<uint8_t const*>(from.first), static_cast<uint8_t*>(to.first),
          static_cast<size_t>(count), from.palette);
  return S_OK;
}

HRESULT ConvertPixels(void const* src, void* dst, IMG_FORMAT srcFormat, IMG_FORMAT dstFormat, int count,
                      IMG_PALENTRY* palette) noexcept {
  HRESULT const result = ConvertRow({src, srcFormat, palette}, {dst, dstFormat}, count);
  if (Failed(result)) return FailConversion("img::ConvertPixels", srcFormat, dstFormat);
  if (count > 0 && srcFormat == IMG_GRAY8 && dstFormat == IMG_BGRF) {
    // Contract: the grey is also written to the four bytes past the last pixel, which callers provide.
    float* const end = static_cast<float*>(dst) + 3 * static_cast<size_t>(count);
    memcpy(end, end - 1, sizeof(float));
  }
  return result;
}

}  // namespace yk::img
