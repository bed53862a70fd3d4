// Every set of painting loops compared with the loops byte by byte, which define them: at every width, at
// both ends of a block of memory between inaccessible pages.
#include <windows.h>
// first, for the platform's types

#include "core/processor_p.h"
#include "raster/fill_kernels_p.h"
#include "support/guarded_memory.h"
#include "surface.h"

using namespace yk::raster;
using Bytes = std::vector<unsigned char>;

namespace {

KernelSet const* const SETS[] = {&BASE_KERNELS, yk::HasAvx2() ? &AVX2_KERNELS : &BASE_KERNELS};

// 0 and 255 more often than others
Bytes RandomBytes(size_t count, std::mt19937& random) {
  Bytes bytes(count);
  for (unsigned char& byte : bytes) {
    unsigned const r = random();
    byte = static_cast<unsigned char>(r & 0x300 ? r : r & 0x400 ? 255 : 0);
  }
  return bytes;
}

// Runs change(set, first byte) on a copy of `before` for every set, at both ends of a block.
template <class Change>
void ExpectSame(GuardedMemory const& block, Bytes const& before, Change change) {
  Bytes expected = before;
  change(SCALAR_KERNELS, expected.data());
  for (KernelSet const* set : SETS) {
    for (unsigned char* at : {block.First(), block.Last(before.size())}) {
      std::copy(before.begin(), before.end(), at);
      change(*set, at);
      ASSERT_TRUE(std::equal(expected.begin(), expected.end(), at)) << before.size();
    }
  }
}

}  // namespace

TEST(FillKernels, DoAsTheirDefinitionAtEveryWidth) {
  std::mt19937 random(3);
  GuardedMemory const block(4096);
  for (size_t i = 0; i < 2 * 101 * LOOP_COUNT && !HasFatalFailure(); ++i) {
    size_t const pixelSize = 3 + i % 2, width = i / 2 % 101, loop = i / 202;
    if (loop >= LOOP_COMPOSITE && pixelSize == 3) continue;
    SCOPED_TRACE(testing::Message() << "loop " << loop << ", " << width << " pixels of " << pixelSize);
    unsigned const a = loop == LOOP_COMPOSITE ? 1 + random() % 255 : random() % 256;
    uint32_t const value = loop == LOOP_SET ? random() % 256 * 0x01010101 : random();
    Lanes const lanes = {pixelSize, 0xFF000000 | (255 - a) * 0x010101, value, a};
    size_t const bytes = width * pixelSize;
    ExpectSame(block, RandomBytes(bytes * 2 + 5, random), [&](KernelSet const& set, unsigned char* first) {
      set.rows[loop]({first, static_cast<ptrdiff_t>(bytes + 5), bytes, 2}, lanes);
    });
  }
}

TEST(FillKernels, BlendColumnsAndCoverAsTheirDefinitionAtEveryWidth) {
  std::mt19937 random(4);
  GuardedMemory const block(4096), given(4096);
  for (size_t i = 0; i < 2 * 101 && !HasFatalFailure(); ++i) {
    size_t const pixelSize = 3 + i % 2, width = i / 2, bytes = width * pixelSize;
    Bytes const coverage = RandomBytes(width, random), weight = RandomBytes(bytes, random);
    Bytes value = RandomBytes(bytes, random), mask(bytes);
    for (size_t k = 0; k < bytes; ++k) {  // the sum is at most 255, and alpha is kept by mergeColumns
      bool const isAlpha = pixelSize == 4 && k % 4 == 3;
      mask[k] = isAlpha ? 255 : 0;
      value[k] = static_cast<unsigned char>(isAlpha ? 0 : value[k] % (256u - weight[k]));
    }
    Lanes const ink = {pixelSize, 0, static_cast<uint32_t>(random() & 0xFFFFFF),
                       static_cast<unsigned>(random() % 256)};
    Bytes const row = RandomBytes(bytes, random);
    unsigned char* const shares = given.Last(width);
    std::copy(coverage.begin(), coverage.end(), shares);
    ExpectSame(block, row, [&](KernelSet const& set, unsigned char* first) {
      set.coverPaint[pixelSize == 4](ink, first, shares, width);
    });
    ExpectSame(block, RandomBytes(bytes * 2, random), [&](KernelSet const& set, unsigned char* first) {
      Rows const rows = {first, static_cast<ptrdiff_t>(bytes), bytes, 2};
      if (pixelSize == 4) set.mergeColumns(rows, mask.data(), value.data());
      set.blendColumns(rows, weight.data(), value.data());
    });
  }
}
