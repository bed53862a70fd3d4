#include "rescale_new_p.h"

#include <qecore/core/ref.h>
#include <string.h>

#include <algorithm>

#include "convert_p.h"
#include "core/error_p.h"
#include "core/progress_p.h"
#include "indexed_p.h"
#include "new_array_p.h"
#include "rows_p.h"
#include "weights_p.h"

namespace yk {

namespace {

constexpr char RESCALE[] = "Image2d::Rescale";

/// The columns' sums of one target row.
class WordSums {
 public:
  WordSums(Image2d const& from, Image2d const& to) noexcept
      : channels(img::GetFacts(from.format).channels),
        sources(from.width),
        targets(to.width),
        count(static_cast<size_t>(targets) * channels),
        sums(img::NewArray<float>(count)) {}

  bool HasMemory() const noexcept { return sums != nullptr; }
  size_t Bytes() const noexcept { return count * sizeof(float); }

  void Add(uint16_t const* row, float weight) noexcept {
    img::OverlapWalk walk(sources, targets);
    for (img::Overlap across; walk.Next(across);) {
      for (int c = 0; c < channels; ++c)
        sums[size_t(across.target) * channels + c] +=
            weight * across.weight * row[size_t(across.source) * channels + c];
    }
  }

  void Store(uint16_t* row) noexcept {
    for (size_t i = 0; i < count; ++i) row[i] = static_cast<uint16_t>(std::min(sums[i] + 0.5f, 65535.0f));
    std::fill_n(sums.get(), count, 0.0f);
  }

 private:
  int channels, sources, targets;
  size_t count;
  std::unique_ptr<float[]> sums;
};

HRESULT AverageWords(Image2d& source, Image2d& target, ProgressMeter& meter) noexcept {
  WordSums sums(source, target);
  if (!sums.HasMemory()) return FailMemory(RESCALE, sums.Bytes());
  img::OverlapWalk walk(source.height, target.height);
  int row = 0;
  auto const store = [&] { sums.Store(reinterpret_cast<uint16_t*>(target.GetLine(row))); };
  for (img::Overlap down; walk.Next(down); row = down.target) {
    if (down.target != row) store();
    if (!meter.Reach(static_cast<unsigned>(down.target))) return S_OK;
    sums.Add(reinterpret_cast<uint16_t const*>(source.GetLine(down.source)), down.weight);
  }
  store();
  return S_OK;
}

/// The source pixel under the middle of a target pixel.
int Nearest(int at, int sources, int targets) noexcept {
  return static_cast<int>((2ll * at + 1) * sources / (2ll * targets));
}

void CopyNearestBits(Image2d const& source, uint8_t const* from, uint8_t* to, int targets) noexcept {
  unsigned const bits = img::GetFacts(source.format).bits;
  for (int x = 0; x < targets; ++x) {
    auto const at = static_cast<size_t>(Nearest(x, source.width, targets));
    img::PutIndex(to, bits, static_cast<size_t>(x), img::IndexAt(from, bits, at));
  }
}

void CopyNearest(Image2d& source, Image2d& target, ProgressMeter& meter) noexcept {
  size_t const size = source.bytesPerPixel;
  unsigned done = 0;
  for (int y : img::RowsInMemory(0, target.height)) {
    if (!meter.Reach(done++)) return;
    uint8_t const* const from = source.GetLine(Nearest(y, source.height, target.height));
    uint8_t* const to = target.GetLine(y);
    if (size == 0) CopyNearestBits(source, from, to, target.width);
    for (int x = 0; size > 0 && x < target.width; ++x)
      memcpy(to + x * size, from + Nearest(x, source.width, target.width) * size, size);
  }
}

void Clear(Image2d& image) noexcept {
  memset(image.bits, 0, static_cast<size_t>(image.stride) * static_cast<size_t>(image.height));
  unsigned const entries = img::GetFacts(image.format).paletteEntries;
  if (entries) memset(image.palette, 0, entries * sizeof(IMG_PALENTRY));
}

HRESULT FillSameFormat(Image2d& source, Image2d& target, ProgressMeter& meter) noexcept {
  if (img::GetFacts(target.format).channelBits == 16) return AverageWords(source, target, meter);
  img::CopyPalette(source, target);
  CopyNearest(source, target, meter);
  return S_OK;
}

/// The formats between two that no converter connects.
struct Way {
  static constexpr size_t MOST = 2;
  IMG_FORMAT steps[MOST];  // IMG_NONE: unused

  bool Leads(IMG_FORMAT from, IMG_FORMAT to) const noexcept {
    for (IMG_FORMAT const step : steps) {
      if (step == IMG_NONE) break;
      if (!img::FindConverter(from, step)) return false;
      from = step;
    }
    return img::FindConverter(from, to);
  }
};

constexpr Way WAYS[] = {{}, {{IMG_BGR24}}, {{IMG_BGR24, IMG_GRAY8}}};

Way const* FindWay(IMG_FORMAT from, IMG_FORMAT to) noexcept {
  for (Way const& way : WAYS) {
    if (way.Leads(from, to)) return &way;
  }
  return nullptr;
}

/// Between images of one size.
HRESULT ConvertAlong(Way const& way, Image2d& from, Image2d& to) noexcept {
  std::unique_ptr<uint8_t[]> buffers[Way::MOST];
  for (auto& buffer : buffers) {
    buffer = img::NewArray<uint8_t>(static_cast<size_t>(from.width) * img::GetFacts(IMG_BGR24).bytes);
    if (!buffer) return FailMemory(RESCALE, static_cast<size_t>(from.width) * img::GetFacts(IMG_BGR24).bytes);
  }
  for (int y : img::RowsInMemory(0, to.height)) {
    img::SourcePixels row = {from.GetLine(y), from.format, from.palette};
    for (size_t i = 0; i < Way::MOST && way.steps[i] != IMG_NONE; ++i) {
      img::ConvertRow(row, {buffers[i].get(), way.steps[i]}, from.width);
      row = {buffers[i].get(), way.steps[i]};
    }
    img::ConvertRow(row, {to.GetLine(y), to.format}, to.width);
  }
  return S_OK;
}

HRESULT Fill(Image2d& source, Image2d& target, ProgressMeter& meter) noexcept {
  Clear(target);
  if (source.format == target.format) return FillSameFormat(source, target, meter);
  Way const* const way = FindWay(source.format, target.format);
  if (!way) return S_OK;
  Ref<Image2d> const scaled = Ref<Image2d>::Adopt(Image2d::Create());
  if (!scaled) return E_OUTOFMEMORY;
  HRESULT result = scaled->Create(source.format, target.width, target.height);
  if (Succeeded(result)) Clear(*scaled);
  if (Succeeded(result)) result = FillSameFormat(source, *scaled, meter);
  return Succeeded(result) ? ConvertAlong(*way, *scaled, target) : result;
}

}  // namespace

HRESULT img::FillNew(Image2d& source, Image2d& target, ExecutionContext* context) noexcept {
  unsigned const rows = static_cast<unsigned>(target.height);
  ProgressMeter meter(context, RESCALE, rows, ProgressMeter::Unit::ROWS);
  HRESULT const result = Fill(source, target, meter);
  if (Succeeded(result)) meter.Reach(rows);
  return meter.Result(result);
}

}  // namespace yk
