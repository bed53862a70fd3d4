#include <qecore/core/ref.h>
#include <qecore/image/image.h>
#include <string.h>

#include <algorithm>
#include <memory>
#include <new>

#include "convert_p.h"
#include "core/error_p.h"
#include "core/progress_p.h"
#include "row_kernels_p.h"
#include "rows_p.h"
#include "weights_p.h"

namespace yk {

namespace {

using img::RowsInMemory;

bool CanConvert(IMG_FORMAT from, IMG_FORMAT to) noexcept {
  return from == to || img::FindConverter(from, to);
}

constexpr char RESCALE[] = "Image2d::RescaleTo";

/// Reports that all rows below `y` of an image are done: they are processed in memory order.
bool ReachRow(ProgressMeter& meter, Image2d const& image, int y) noexcept {
  return meter.Reach(static_cast<unsigned>(image.height - 1 - y));
}

HRESULT CopyPixels(Image2d& source, Image2d& target, ProgressMeter& meter) noexcept {
  size_t const size = static_cast<size_t>(std::max(std::min(source.stride, target.stride), 0));
  for (int y : RowsInMemory(0, source.height)) {
    if (!ReachRow(meter, source, y)) break;
    if (source.format == target.format) {
      memmove(target.GetLine(y), source.GetLine(y), size);
    } else {
      img::ConvertRow(source.GetLine(y), target.GetLine(y), source.format, target.format, source.width,
                      source.palette);
    }
  }
  return S_OK;
}

HRESULT HalvePixels(Image2d& source, Image2d& target, ProgressMeter& meter) noexcept {
  for (int y : RowsInMemory(0, target.height)) {
    if (!ReachRow(meter, target, y)) break;
    img::HalveRow(source.GetLine(2 * y), source.GetLine(2 * y + 1), target.GetLine(y),
                  static_cast<size_t>(target.width), target.bytesPerPixel);
  }
  return S_OK;
}

/// Area-weighted resampling. The results are those of
///
///   for each vertical overlap (sy, ty, wy), for each horizontal overlap (sx, tx, wx), for each channel:
///     sums[tx] += (wy * wx) * source[sx]
///
/// in single precision and in that order, bit for bit. A source row is converted once, even if several target
/// rows use it; the products wy * wx are computed once for successive equal wy; a target row that depends on
/// the same single source row as the row above is copied from there.
class Resampler {
 public:
  Resampler(Image2d& from, Image2d& to, ProgressMeter& progress) noexcept
      : source(from),
        target(to),
        meter(progress),
        middle(img::GetFacts(from.format).averaged),
        channels(img::GetFacts(middle).channels),
        sourceWidth(static_cast<size_t>(from.width)),
        targetWidth(static_cast<size_t>(to.width)) {}

  HRESULT Run() noexcept {
    // Rows that cannot be converted are left unchanged; here that would be all of them.
    if (channels == 0 || !CanConvert(source.format, middle) || !CanConvert(middle, target.format))
      return S_OK;
    if (!Allocate())
      return Fail(E_OUTOFMEMORY, RESCALE, L"not enough memory for rows of %llu pixels", sourceWidth);
    WalkAcross();
    WalkDown();
    return S_OK;
  }

 private:
  /// One block of floats: source row, sums, weights, products. The rows have one spare float (see RowSum).
  /// Widths have 31 bits: no size overflows.
  bool Allocate() noexcept {
    size_t const overlaps = sourceWidth + targetWidth;
    size_t const sourceSize = sourceWidth * channels + 1;
    size_t const targetSize = targetWidth * channels + 1;
    floats.reset(new (std::nothrow) float[sourceSize + targetSize + 2 * overlaps]());
    runs.reset(new (std::nothrow) img::Run[targetWidth]());
    if (!floats || !runs) return false;
    sourceRow = floats.get();
    sums = sourceRow + sourceSize;
    weights = sums + targetSize;
    products = weights + overlaps;
    return true;
  }

  void WalkAcross() noexcept {
    img::OverlapWalk walk(source.width, target.width);
    for (img::Overlap overlap; walk.Next(overlap);) {
      img::Run& run = runs[overlap.target];
      if (run.count++ == 0) run.first = overlap.source;
      weights[overlapCount++] = overlap.weight;
    }
  }

  void WalkDown() noexcept {
    img::OverlapWalk walk(source.height, target.height);
    img::Overlap now;
    img::Overlap next;
    int above = -1;  // the only source row of the target row above, if it has only one
    bool more = walk.Next(now);
    bool fresh = true;
    while (more && meter.Reach(static_cast<unsigned>(now.target))) {
      more = walk.Next(next);
      bool const last = !more || next.target != now.target;
      bool const alone = fresh && last;  // its weight is then 1
      if (alone && above == now.source) {
        RepeatRow(now.target);
      } else {
        AddSourceRow(now, fresh);
        if (last) StoreRow(now.target);
      }
      if (last) above = alone ? now.source : -1;
      fresh = last;
      now = next;
    }
  }

  void AddSourceRow(img::Overlap const& overlap, bool fresh) noexcept {
    if (overlap.source != rowHeld) {
      img::ConvertRow(source.GetLine(overlap.source), sourceRow, source.format, middle, source.width,
                      source.palette);
      rowHeld = overlap.source;
    }
    img::AddRow({sums, sourceRow, runs.get(), Products(overlap.weight), targetWidth}, channels,
                fresh ? img::SumsFrom::ZERO : img::SumsFrom::PRESENT);
  }

  /// The weights times `factor`; a factor of 1 leaves them unchanged.
  float const* Products(float factor) noexcept {
    if (factor == 1.0f) return weights;
    if (factor != factorHeld) img::Scale(products, weights, overlapCount, factor);
    factorHeld = factor;
    return products;
  }

  void StoreRow(int y) noexcept {
    img::ConvertRow(sums, target.GetLine(y), middle, target.format, target.width, nullptr);
  }

  void RepeatRow(int y) noexcept {
    memcpy(target.GetLine(y), target.GetLine(y - 1), targetWidth * target.bytesPerPixel);
  }

  Image2d& source;
  Image2d& target;
  ProgressMeter& meter;
  IMG_FORMAT middle;  // the format of the sums
  size_t channels;
  size_t sourceWidth;
  size_t targetWidth;
  std::unique_ptr<float[]> floats;  // holds the next four
  float* sourceRow = nullptr;
  float* sums = nullptr;
  float* weights = nullptr;
  float* products = nullptr;
  std::unique_ptr<img::Run[]> runs;
  size_t overlapCount = 0;
  int rowHeld = -1;          // the index of the row in `sourceRow`
  float factorHeld = -1.0f;  // the factor in `products`
};

/// Resamples images that have pixels.
HRESULT Resample(Image2d& source, Image2d& target, ProgressMeter& meter) noexcept {
  if (source.width == target.width && source.height == target.height)
    return CopyPixels(source, target, meter);
  bool const half = source.width == int64_t{2} * target.width && source.height == int64_t{2} * target.height;
  bool const averagesBytes = source.format == IMG_BGR24 || source.format == IMG_GRAY8;
  if (half && averagesBytes && source.format == target.format) return HalvePixels(source, target, meter);
  return Resampler(source, target, meter).Run();
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
  *result = target.get();  // contract: dangling after a failure; callers check the result code
  if (!target) return E_OUTOFMEMORY;
  HRESULT code = target->Create(newFormat, newWidth, newHeight);
  if (Succeeded(code)) code = context ? RescaleTo(target.get(), context) : RescaleTo(target.get());
  if (Succeeded(code)) *result = target.Detach();
  return code;
}

}  // namespace yk
