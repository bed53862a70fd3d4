// Area averaging of rows: how the columns are weighted, and the loops that sum up rows by these weights.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace yk::img {

/// Weights and sums are in blocks of this many floats: eight grey pixels, or two pixels of four channels.
inline constexpr size_t BLOCK_FLOATS = 8;

/// The floats of a pixel in a block.
constexpr size_t FloatsPerPixel(size_t channels) noexcept { return channels == 1 ? 1 : 4; }
/// The pixels in a block.
constexpr size_t PixelsPerBlock(size_t channels) noexcept { return BLOCK_FLOATS / FloatsPerPixel(channels); }
/// The blocks for so many pixels.
constexpr size_t BlocksOf(size_t pixels, size_t channels) noexcept {
  return (pixels + PixelsPerBlock(channels) - 1) / PixelsPerBlock(channels);
}

/// The adjacent source pixels that each target pixel covers, and their weights.
struct Columns {
  /// For each target pixel the first source pixel; the last one repeats to fill a block.
  int32_t const* first;
  int32_t const* count;  ///< and how many it covers
  /// Block by block, first those of all first pixels, then of all second ones; padded by 0.
  float const* weights;
  size_t targets;  ///< target pixels
  size_t depth;    ///< the largest of the counts
  bool uniform;    ///< every pixel covers `depth` pixels, and all weights are equal
  int32_t span;    ///< the largest distance between the first and the last source of four target pixels
};

/// A source row and its weight.
struct SourceRow {
  uint8_t const* pixels;
  float weight;
};

/// Where sums start.
enum class SumsFrom { ZERO, PRESENT };

/// The rows that are added to the sums of a target row.
struct RowSum {
  float* sums;            ///< grey, or four channels for each target pixel; room for whole blocks
  SourceRow const* rows;  ///< in the order in which they are added
  size_t rowCount;
  size_t readable;  ///< bytes of each row that exist
  bool finite;      ///< no infinities or NaNs: times a weight of 0 they give 0
  SumsFrom from;
  /// Null, or the blocks to sum up, in order: their sums are then one after another.
  uint32_t const* blocks = nullptr;
  size_t blockCount = 0;

  size_t Blocks(size_t ofAll) const noexcept { return blocks ? blockCount : ofAll; }
  size_t Block(size_t i) const noexcept { return blocks ? blocks[i] : i; }
};

/// For each row, for each pixel that a target pixel covers, for each channel:
///
///   sums[target] += (row's weight * column's weight) * source
///
/// in single precision, in this order. The alpha of pixels without one becomes 1.
using AddRowsFunction = void (*)(Columns const&, RowSum const&) noexcept;

/// A target row of bytes that is a mixture of two rows of sums, each of one source row with the weight 1.
struct Mixture {
  float const* rows[2];
  float weights[2];  ///< of the rows, times 255
  float bias;        ///< 0 where bytes are rounded, -0.5 where they are truncated
  uint8_t* target;
  size_t pixels;
  size_t channels;      ///< of the target
  uint32_t* undecided;  ///< receives blocks, in order; room for all of them

  static constexpr size_t AT_ONCE = 4;  ///< blocks

  /// How many blocks are mixed.
  size_t Blocks() const noexcept { return pixels / PixelsPerBlock(channels) / AT_ONCE * AT_ONCE; }
};

/// Writes the bytes of the first Blocks() blocks: those that are closest to
///
///   row 0 * weight 0 + row 1 * weight 1 + bias
///
/// This is not the sum that AddRowsFunction makes, but so close to it that the byte is the same unless the
/// next byte is as close to within 1 / 4096. \return how many blocks have such channels
using MixFunction = size_t (*)(Mixture const&) noexcept;

/// The same loop for the kinds of rows: floats, and bytes that count as v / 255, of 1, 3 or 4 channels.
struct ResampleKernels {
  AddRowsFunction floats[3];
  AddRowsFunction bytes[3];  ///< null where rows are better converted to floats first
  MixFunction mix;           ///< null where adding is as fast

  static constexpr size_t IndexOf(size_t channels) noexcept { return channels == 1 ? 0 : channels - 2; }
};

extern ResampleKernels const RESAMPLE_BASE;
extern ResampleKernels const RESAMPLE_AVX2;

/// Sources of four grey pixels further apart than this do not fit the registers of the kernel for bytes.
inline constexpr int32_t MAX_SPAN_OF_BYTES = 15;

}  // namespace yk::img
