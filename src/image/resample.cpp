#include <qecore/image/image.h>

#include <qecore/core/ref.h>
#include <string.h>

#include <algorithm>
#include <memory>
#include <new>
#include <span>

#include "convert_p.h"
#include "core/error_p.h"
#include "new_array_p.h"
#include "rescale_new_p.h"
#include "shared_rows_p.h"
#include "weights_p.h"

namespace yk {

namespace {

using img::NewArray, img::RowsInMemory, img::RowTable, img::ShareRows, img::SizeOf, img::ThreadsForRows;

bool CanConvert(IMG_FORMAT from, IMG_FORMAT to) noexcept {
  return from == to || img::FindConverter(from, to);
}

constexpr char RESCALE[] = "Image2d::RescaleTo";

HRESULT CopyPixels(Image2d& source, Image2d& target, ProgressMeter& meter) noexcept {
  size_t const size = static_cast<size_t>(std::max(std::min(source.stride, target.stride), 0));
  RowTable from(source);
  RowTable to(target);
  unsigned const threads = ThreadsForRows(SizeOf(source) + SizeOf(target), from, to);
  ShareRows(source.height, threads, meter, [&](int first, int end, unsigned) {
    for (int y : RowsInMemory(first, end)) {
      if (source.format == target.format) {
        memmove(to[y], from[y], size);
      } else {
        img::ConvertRow({from[y], source.format, source.palette}, {to[y], target.format}, source.width);
      }
    }
  });
  return S_OK;
}

/// Whether the weights of whole multiples are those that their sizes let expect.
bool HasExactWeights(Image2d const& target) noexcept {
  constexpr int MOST_TARGETS = 0x10000;
  return std::max(target.width, target.height) <= MOST_TARGETS;
}

/// How an image is halved; null: as any others are.
img::HalveFunction FindHalver(Image2d const& target) noexcept {
  img::HalveKernels const& kernels = img::BestKernels().halve;
  if (target.format == IMG_BGRA32) return HasExactWeights(target) ? kernels.alpha : nullptr;
  if (!img::GetFacts(target.format).halved) return nullptr;
  return img::GetFacts(target.format).channels == 1 ? kernels.grey : kernels.colour;
}

HRESULT HalvePixels(Image2d& source, Image2d& target, ProgressMeter& meter) noexcept {
  img::HalveFunction const halve = FindHalver(target);
  RowTable from(source);
  RowTable to(target);
  unsigned const threads = ThreadsForRows(SizeOf(source), from, to);
  ShareRows(target.height, threads, meter, [&](int first, int end, unsigned) {
    for (int y : RowsInMemory(first, end))
      halve(from[2 * y], from[2 * y + 1], to[y], static_cast<size_t>(target.width));
  });
  return S_OK;
}

/// The overlaps of one axis, target by target.
struct Axis {
  size_t targets = 0;
  std::unique_ptr<img::Run[]> runs;
  std::unique_ptr<float[]> weights;

  /// The most source pixels that a target pixel covers.
  size_t Depth() const noexcept {
    size_t depth = 0;
    for (size_t t = 0; t < targets; ++t) depth = std::max(depth, static_cast<size_t>(runs[t].count));
    return depth;
  }

  bool Build(int from, int to) noexcept {
    targets = static_cast<size_t>(to);
    runs = NewArray<img::Run>(targets);
    weights = NewArray<float>(static_cast<size_t>(from) + targets);
    if (!runs || !weights) return false;
    size_t at = 0;
    img::OverlapWalk walk(from, to);
    for (img::Overlap overlap; walk.Next(overlap); ++at) {
      img::Run& run = runs[overlap.target];
      if (run.count++ == 0) run.first = overlap.source, run.weights = at;
      weights[at] = overlap.weight;
    }
    return true;
  }
};

/// The columns of an axis in the order of the kernels.
class ColumnTable {
 public:
  img::Columns columns = {};

  bool Build(Axis const& axis, size_t channels) noexcept {
    size_t const lanes = img::PixelsPerBlock(channels);
    size_t const padded = img::BlocksOf(axis.targets, channels) * lanes;
    columns.depth = axis.Depth();
    indices = NewArray<int32_t>(2 * padded);
    weights = NewArray<float>(padded * img::FloatsPerPixel(channels) * columns.depth);
    if (!indices || !weights) return false;
    columns.first = indices.get();
    columns.count = indices.get() + padded;
    columns.weights = weights.get();
    columns.targets = axis.targets;
    for (size_t t = 0; t < padded; ++t) Fill(axis, t, lanes, padded);
    columns.uniform = IsUniform(axis);
    columns.span = SpanOfFour(padded);
    return true;
  }

 private:
  void Fill(Axis const& axis, size_t target, size_t lanes, size_t padded) noexcept {
    img::Run const& run = axis.runs[std::min(target, axis.targets - 1)];
    indices[target] = run.first;
    if (target >= axis.targets) return;
    indices[padded + target] = run.count;
    size_t const floats = img::BLOCK_FLOATS / lanes;
    float* at = weights.get() + target / lanes * img::BLOCK_FLOATS * columns.depth + target % lanes * floats;
    for (size_t k = 0; k < static_cast<size_t>(run.count); ++k, at += img::BLOCK_FLOATS)
      std::fill(at, at + floats, axis.weights[run.weights + k]);
  }

  bool IsUniform(Axis const& axis) const noexcept {
    for (size_t t = 0; t < axis.targets; ++t) {
      img::Run const& run = axis.runs[t];
      if (static_cast<size_t>(run.count) != columns.depth) return false;
      for (size_t k = 0; k < columns.depth; ++k)
        if (axis.weights[run.weights + k] != axis.weights[0]) return false;
    }
    return true;
  }

  int32_t SpanOfFour(size_t padded) const noexcept {
    int32_t span = 0;
    for (size_t t = 0; t + 4 <= padded; t += 4) span = std::max(span, indices[t + 3] - indices[t]);
    return span;
  }

  std::unique_ptr<int32_t[]> indices;
  std::unique_ptr<float[]> weights;
};

/// Colours are summed with an alpha, of 1.
IMG_FORMAT SumsOf(IMG_FORMAT middle) noexcept {
  return img::GetFacts(middle).channels == 1 ? IMG_GRAYF : IMG_BGRAF;
}

/// Area-weighted resampling. The results are those of
///
///   for each vertical overlap (sy, ty, wy), for each horizontal overlap (sx, tx, wx), for each channel:
///     sums[tx] += (wy * wx) * source[sx]
///
/// in single precision and in that order, bit for bit. Each target row depends on source rows alone, so that
/// any rows can be made, in any order.
class Resampling {
 public:
  Resampling(Image2d& from, Image2d& to) noexcept
      : source(from),
        target(to),
        sourceRows(from),
        targetRows(to),
        middle(img::GetFacts(from.format).averaged),
        channels(img::GetFacts(middle).channels),
        sumFormat(SumsOf(middle)) {}

  /// Rows that cannot be converted are left unchanged; if this is false, that would be all of them.
  bool IsPossible() const noexcept {
    return channels != 0 && CanConvert(source.format, middle) && CanConvert(sumFormat, target.format);
  }

  /// False: no memory.
  bool Prepare() noexcept {
    if (!down.Build(source.height, target.height)) return false;
    Axis across;
    if (!across.Build(source.width, target.width) || !table.Build(across, channels)) return false;
    ChooseRows();
    hasCells = ChooseCells();
    mixes = !hasCells && ChooseMixture();
    return true;
  }

  /// Averaging takes several times as long as copying.
  unsigned CountThreads() noexcept {
    return ThreadsForRows(4 * (SizeOf(source) + SizeOf(target)), sourceRows, targetRows);
  }

  Image2d& source;
  Image2d& target;
  RowTable sourceRows;
  RowTable targetRows;
  IMG_FORMAT const middle;
  size_t const channels;
  IMG_FORMAT const sumFormat;       // colours get an alpha, of 1
  IMG_FORMAT rowFormat = IMG_NONE;  // in which the source's rows are added
  img::AddRowsFunction add = nullptr;
  Axis down;
  ColumnTable table;
  bool hasCells = false;  // whose means are the averages
  img::Cells cells = {};
  float weight = 0;    // of each pixel of a cell
  bool mixes = false;  // target rows are mixtures of stretched source rows
  float bias = 0;      // of these

 private:
  /// Whether the averages can be taken in whole numbers. For a cell of `count` pixels these differ from those
  /// in single precision by less than 255 (count + 13) / 2^25. Colours are rounded: the mean of an odd number
  /// of bytes is at least 1 / (2 count) away from where that changes. Grey is truncated: a mean that is not
  /// whole is 1 / count away, and the others are summed up as defined.
  bool ChooseCells() noexcept {
    constexpr size_t MOST_PIXELS = 15 * 15;  // up to here, half a count-th is larger
    bool const bytes = source.format == target.format && source.format == img::GetFacts(source.format).summed;
    if (!bytes || source.width % target.width || source.height % target.height) return false;
    if (!HasExactWeights(target)) return false;
    bool const rounds = channels != 1;
    if (!cells.Choose(static_cast<size_t>(source.width / target.width),
                      static_cast<size_t>(source.height / target.height), rounds))
      return false;
    if (rounds) return cells.count % 2 && cells.count <= MOST_PIXELS;
    float const* const weights = down.weights.get();
    if (!table.columns.uniform || !IsUniform(weights, static_cast<size_t>(source.height))) return false;
    weight = weights[0] * table.columns.weights[0];
    return true;
  }

  /// Whether bytes can be taken from a mixture of two rows: an image that grows has the same few source
  /// pixels in many target rows, of which each is stretched once. Sums of at most four pixels and their
  /// mixture differ by less than 11 roundings of values up to 255, 1 / 5981; see img::MixFunction.
  bool ChooseMixture() noexcept {
    static constexpr struct {
      IMG_FORMAT sums, target;
      float bias;
    } BYTES[] = {{IMG_GRAYF, IMG_GRAY8, -0.5f}, {IMG_BGRAF, IMG_BGR24, 0}, {IMG_BGRAF, IMG_BGRA32, 0}};
    auto const found = std::find_if(std::begin(BYTES), std::end(BYTES), [&](auto const& row) {
      return row.sums == sumFormat && row.target == target.format;
    });
    if (found == std::end(BYTES) || img::GetFacts(source.format).kind == img::ChannelKind::FLOAT)
      return false;
    bias = found->bias;
    return img::BestKernels().resample.mix && table.columns.depth <= 2 && down.Depth() <= 2;
  }

  static bool IsUniform(float const* weights, size_t count) noexcept {
    return std::all_of(weights, weights + count, [=](float weight) { return weight == weights[0]; });
  }

  /// When the image shrinks, bytes are added without converting the rows to floats first, which would take
  /// longer than their few uses.
  void ChooseRows() noexcept {
    img::ResampleKernels const& kernels = img::BestKernels().resample;
    size_t const index = img::ResampleKernels::IndexOf(channels);
    IMG_FORMAT const format = img::GetFacts(source.format).summed;
    bool const shrinks = target.width < source.width && target.height <= source.height;
    bool const fits = channels != 1 || table.columns.span <= img::MAX_SPAN_OF_BYTES;
    bool const asBytes = kernels.bytes[index] && format != IMG_NONE && shrinks && fits;
    rowFormat = asBytes ? format : middle;
    add = asBytes ? kernels.bytes[index] : kernels.floats[index];
  }
};

/// The buffers in which a thread makes target rows.
class ResampledRows {
 public:
  explicit ResampledRows(Resampling const& of) noexcept
      : plan(of),
        isDirect(of.rowFormat == of.source.format),
        isFinite(!isDirect || img::GetFacts(of.rowFormat).kind != img::ChannelKind::FLOAT),
        sumsInPlace(of.sumFormat == of.target.format &&
                    of.table.columns.targets % img::PixelsPerBlock(of.channels) == 0),
        rowSize(static_cast<size_t>(of.source.width) * img::GetFacts(of.rowFormat).bytes),
        readable(rowSize + (isDirect ? 0 : SPARE)),
        sumFloats(img::BLOCK_FLOATS * img::BlocksOf(of.table.columns.targets, of.channels)) {}

  /// False: no memory. Widths have 31 bits: no size overflows.
  bool Allocate() noexcept {
    sums = NewArray<float>(sumFloats);
    if (!isDirect) converted = NewArray<uint8_t>(HELD * readable);
    bool const lists = plan.mixes || (plan.hasCells && plan.channels == 1);
    if (lists) listed = NewArray<uint32_t>(plan.table.columns.targets + img::CellRow::SPARE);
    if (plan.mixes) stretched = NewArray<float>(HELD * sumFloats);
    return sums && (isDirect || converted) && (!lists || listed) && (!plan.mixes || stretched);
  }

  /// Makes the rows `first` to `end` - 1, in memory order.
  void Make(int first, int end) noexcept {
    if (end != madeFrom) aloneBelow = -1;  // another thread may still be making the row below
    for (int y : RowsInMemory(first, end)) MakeRow(y);
    madeFrom = first;
  }

 private:
  static constexpr size_t HELD = 2;     // converted rows, of which adjacent target rows often share one
  static constexpr size_t SPARE = 32;   // bytes after a row that kernels may read
  static constexpr size_t AT_ONCE = 8;  // rows that are added before the sums are stored

  void MakeRow(int y) noexcept {
    img::Run const& run = plan.down.runs[y];
    bool const isAlone = run.count == 1;  // its weight is then 1
    if (isAlone && run.first == aloneBelow) return Repeat(y);
    aloneBelow = isAlone ? run.first : -1;
    uint8_t* const row = plan.targetRows[y];
    if (rowsToSum) {
      --rowsToSum;
    } else if (plan.hasCells ? AverageCells(run, row) : plan.mixes && Mix(run, row)) {
      return;
    }
    float* const to = sumsInPlace ? reinterpret_cast<float*>(row) : sums.get();
    AddRun(run, to);
    if (!sumsInPlace) img::ConvertRow({to, plan.sumFormat}, {row, plan.target.format}, plan.target.width);
  }

  /// False: so many means are whole that all had better be summed up, in the following rows as well.
  bool AverageCells(img::Run const& run, uint8_t* to) noexcept {
    uint8_t const* rows[img::Cells::MOST];
    size_t const count = static_cast<size_t>(run.count), pixels = plan.table.columns.targets;
    for (size_t i = 0; i < count; ++i) rows[i] = plan.sourceRows[run.first + static_cast<int>(i)];
    img::CellRow row = {rows, count, plan.channels, to, pixels, listed.get()};
    size_t const found = img::BestKernels().cells.means(plan.cells, row);
    if (!listed) return true;
    if (found > pixels / 4) {
      rowsToSum = 15;
      return false;
    }
    SumListed(row, found);
    return true;
  }

  void SumListed(img::CellRow row, size_t count) noexcept {
    constexpr size_t BLOCK = 256;
    float exact[BLOCK];
    uint8_t grey[BLOCK];
    for (size_t done = 0, now = 0; done < count; done += now, row.whole += now) {
      now = std::min(BLOCK, count - done);
      img::BestKernels().cells.sumListed(plan.cells, row, now, plan.weight, exact);
      // cppcheck-suppress legacyUninitvar  // it is written here
      img::ConvertRow({exact, plan.sumFormat}, {grey, plan.target.format}, static_cast<int>(now));
      for (size_t i = 0; i < now; ++i) row.target[row.whole[i]] = grey[i];
    }
  }

  /// False: so many bytes are undecided that all had better be summed up, in the following rows as well.
  bool Mix(img::Run const& run, uint8_t* to) noexcept {
    size_t const pixels = plan.table.columns.targets, blocks = img::BlocksOf(pixels, plan.channels);
    float const* const first = Stretched(run.first);
    if (run.count == 1) {
      img::ConvertRow({first, plan.sumFormat}, {to, plan.target.format}, plan.target.width);
      return true;
    }
    float const* const weights = &plan.down.weights[run.weights];
    img::Mixture const row = {{first, Stretched(run.first + 1)},
                              {weights[0] * 255, weights[1] * 255},
                              plan.bias,
                              to,
                              pixels,
                              static_cast<size_t>(plan.target.bytesPerPixel),
                              listed.get()};
    size_t found = img::BestKernels().resample.mix(row);
    if (found > blocks / 4) {
      rowsToSum = 15;
      return false;
    }
    for (size_t rest = row.Blocks(); rest < blocks; ++rest) listed[found++] = static_cast<uint32_t>(rest);
    SumBlocks(run, found, to);
    return true;
  }

  /// The sums of a source row alone.
  float const* Stretched(int y) noexcept {
    size_t const slot = static_cast<size_t>(y) % HELD;
    float* const to = stretched.get() + slot * sumFloats;
    if (stretchedFrom[slot] != y) {
      img::SourceRow const alone = {RowAt(y), 1};
      plan.add(plan.table.columns, {to, &alone, 1, readable, isFinite, img::SumsFrom::ZERO});
    }
    stretchedFrom[slot] = y;
    return to;
  }

  /// Makes the listed blocks as they are defined.
  void SumBlocks(img::Run const& run, size_t count, uint8_t* to) noexcept {
    constexpr size_t MOST = 32;
    float exact[MOST * img::BLOCK_FLOATS];
    uint8_t bytes[MOST * img::BLOCK_FLOATS];
    size_t const perBlock = img::PixelsPerBlock(plan.channels), pixels = plan.table.columns.targets;
    size_t const size = static_cast<size_t>(plan.target.bytesPerPixel);
    for (size_t done = 0, now = 0; done < count; done += now) {
      now = std::min(MOST, count - done);
      AddRun(run, exact, {listed.get() + done, now});
      // cppcheck-suppress legacyUninitvar  // it is written here
      img::ConvertRow({exact, plan.sumFormat}, {bytes, plan.target.format}, static_cast<int>(now * perBlock));
      for (size_t i = 0; i < now; ++i) {
        size_t const pixel = listed[done + i] * perBlock, there = std::min(perBlock, pixels - pixel);
        memcpy(to + pixel * size, bytes + i * perBlock * size, there * size);
      }
    }
  }

  /// Of all blocks, or of those that are listed.
  void AddRun(img::Run const& run, float* to, std::span<uint32_t const> blocks = {}) noexcept {
    size_t const most = isDirect ? AT_ONCE : HELD;
    size_t const count = static_cast<size_t>(run.count);
    img::SourceRow rows[AT_ONCE];
    for (size_t done = 0, now = 0; done < count; done += now) {
      now = std::min(most, count - done);
      for (size_t i = 0; i < now; ++i) {
        rows[i] = {RowAt(run.first + static_cast<int>(done + i)), plan.down.weights[run.weights + done + i]};
      }
      img::SumsFrom const from = done ? img::SumsFrom::PRESENT : img::SumsFrom::ZERO;
      plan.add(plan.table.columns, {to, rows, now, readable, isFinite, from, blocks.data(), blocks.size()});
    }
  }

  /// A source row, converted unless its format can be added.
  uint8_t const* RowAt(int y) noexcept {
    if (isDirect) return plan.sourceRows[y];
    size_t const slot = static_cast<size_t>(y) % HELD;
    uint8_t* const row = converted.get() + slot * readable;
    if (held[slot] != y) {
      img::ConvertRow({plan.sourceRows[y], plan.source.format, plan.source.palette}, {row, plan.rowFormat},
                      plan.source.width);
    }
    held[slot] = y;
    return row;
  }

  /// A row that depends on the same single source row as the row below, which was made before it.
  void Repeat(int y) noexcept {
    size_t const size = static_cast<size_t>(plan.target.width) * plan.target.bytesPerPixel;
    memcpy(plan.targetRows[y], plan.targetRows[y + 1], size);
  }

  Resampling const& plan;
  bool const isDirect;
  bool const isFinite;
  bool const sumsInPlace;  // the target's rows have the format of sums, and consist of whole blocks
  size_t const rowSize;    // bytes
  size_t const readable;   // with the spare ones
  size_t const sumFloats;  // of a row of sums
  std::unique_ptr<float[]> sums;
  std::unique_ptr<uint8_t[]> converted;
  std::unique_ptr<float[]> stretched;  // the sums of single source rows
  int stretchedFrom[HELD] = {-1, -1};
  std::unique_ptr<uint32_t[]> listed;  // the cells of a row whose means are whole, or undecided blocks
  int rowsToSum = 0;                   // the next rows of which these are not worth a try
  int held[HELD] = {-1, -1};
  int madeFrom = -1;    // the top row of those made last
  int aloneBelow = -1;  // the only source row of the target row below, if it has only one
};

/// One for each thread.
class Workers {
 public:
  /// \return for how many there is memory
  unsigned Allocate(Resampling const& plan, unsigned wanted) noexcept {
    unsigned count = 0;
    for (; count < wanted; ++count) {
      workers[count].reset(new (std::nothrow) ResampledRows(plan));
      if (!workers[count] || !workers[count]->Allocate()) break;
    }
    return count;
  }

  ResampledRows& operator[](unsigned thread) noexcept { return *workers[thread]; }

 private:
  std::unique_ptr<ResampledRows> workers[MOST_THREADS];
};

HRESULT AverageAreas(Image2d& source, Image2d& target, ProgressMeter& meter) noexcept {
  Resampling plan(source, target);
  if (!plan.IsPossible()) return S_OK;
  Workers workers;
  unsigned const threads = plan.Prepare() ? workers.Allocate(plan, plan.CountThreads()) : 0;
  if (threads == 0) {
    return Fail(E_OUTOFMEMORY, RESCALE, L"not enough memory for rows of %llu pixels",
                static_cast<unsigned long long>(source.width));
  }
  ShareRows(target.height, threads, meter,
            [&](int first, int end, unsigned thread) { workers[thread].Make(first, end); });
  return S_OK;
}

/// Resamples images that have pixels.
HRESULT Resample(Image2d& source, Image2d& target, ProgressMeter& meter) noexcept {
  if (source.width == target.width && source.height == target.height)
    return CopyPixels(source, target, meter);
  bool const half = source.width == int64_t{2} * target.width && source.height == int64_t{2} * target.height;
  if (half && source.format == target.format && FindHalver(target)) return HalvePixels(source, target, meter);
  return AverageAreas(source, target, meter);
}

/// Whether RescaleTo writes pixels: it leaves rows that cannot be converted as they are.
bool IsWritten(Image2d const& source, Image2d const& target) noexcept {
  if (source.width == target.width && source.height == target.height)
    return CanConvert(source.format, target.format);
  IMG_FORMAT const middle = img::GetFacts(source.format).averaged;
  return middle != IMG_NONE && CanConvert(source.format, middle) && CanConvert(SumsOf(middle), target.format);
}

}  // namespace

HRESULT Image2d::RescaleTo(Image2d* target) noexcept { return RescaleTo(target, nullptr); }

HRESULT Image2d::RescaleTo(Image2d* target, ExecutionContext* context) noexcept {
  if (!target) return Fail(YK_E_EMPTY, RESCALE, L"there is no target");
  bool const sameSize = width == target->width && height == target->height;
  bool const nothingToWrite = target->width < 1 || target->height < 1;
  if (sameSize && nothingToWrite) return S_OK;
  if (bits && !target->bits) return Fail(YK_E_EMPTY, RESCALE, L"the target has no pixels");
  if (bits && nothingToWrite) return S_OK;
  if (!bits || width < 1 || height < 1) return Fail(YK_E_EMPTY, RESCALE, L"the image has no pixels");
  ProgressMeter meter(context, RESCALE, static_cast<unsigned>(target->height), ProgressMeter::Unit::ROWS);
  HRESULT const result = Resample(*this, *target, meter);
  if (Succeeded(result)) meter.Reach(static_cast<unsigned>(target->height));
  return meter.Result(result);
}

HRESULT Image2d::Rescale(int newWidth, int newHeight, IMG_FORMAT newFormat, Image2d** result) noexcept {
  return Rescale(newWidth, newHeight, newFormat, result, nullptr);
}

// Without a host the target is filled through the slot, which a host may have replaced.
HRESULT Image2d::Rescale(int newWidth, int newHeight, IMG_FORMAT newFormat, Image2d** result,
                         ExecutionContext* context) noexcept {
  if (!result) return FailNull("Image2d::Rescale", L"result");
  Ref<Image2d> target = Ref<Image2d>::Adopt(Create());
  *result = target.get();  // Contract: dangling after a failure; callers check the result code
  if (!target) return E_OUTOFMEMORY;
  HRESULT code = target->Create(newFormat, newWidth, newHeight);
  bool const hasPixels = bits && width > 0 && height > 0;
  bool const isFilled = Succeeded(code) && hasPixels && !IsWritten(*this, *target);
  ExecutionContext* const whileWritten = isFilled ? nullptr : context;  // one of the two reports the progress
  if (isFilled || (Succeeded(code) && hasPixels && target->palette))
    code = img::FillNew(*this, *target, isFilled ? context : nullptr);
  if (Succeeded(code)) code = context ? RescaleTo(target.get(), whileWritten) : RescaleTo(target.get());
  if (Succeeded(code)) *result = target.Detach();
  return code;
}

}  // namespace yk
