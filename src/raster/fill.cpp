#include "fill_p.h"

#include <string.h>

#include "core/parallel_p.h"
#include "image/premultiply_kernels_p.h"

namespace yk::raster {
namespace {

// Where the light part of a row of a bevel ends, and where its dark part begins.
struct BevelRow {
  int64_t lightEnd, darkStart;
};

// 64-bit, since the frame may span the whole range of coordinates.
BevelRow RowOf(Bevel const& bevel, int y) noexcept {
  int64_t const left = bevel.frame.left, right = bevel.frame.right;
  int64_t const middle = (left + right) >> 1;  // to its left, the left edge is the nearer one
  int64_t const above = int64_t{y} - bevel.frame.top;
  int64_t const below = int64_t{bevel.frame.bottom} - 1 - y;
  if (above < bevel.width && above < below) {
    int64_t const diagonal = std::max(right - 1 - above, middle);
    return {diagonal, diagonal};
  }
  if (below < bevel.width) {
    int64_t const diagonal = std::min(left + below, middle);
    return {diagonal, diagonal};
  }
  return {std::min(left + bevel.width, middle), std::max(right - bevel.width, middle)};
}

}  // namespace

void Clear(Surface const& surface, unsigned colour) noexcept {
  if (surface.width < 1 || surface.height < 1) return;  // an image may have very many rows of no pixels
  Surface all = surface;
  all.clip = {0, 0, surface.width, surface.height};
  if (surface.hasAlpha) return void(Fill(all, {Mode::COPY, colour}, all.clip));
  // one row is painted and copied to the others, including its padding
  unsigned char* const first = all.At(0, 0);
  RowFill({Mode::PAINT, colour | ALPHA_BITS}, all.bytesPerPixel)(first, Width(all.clip));
  size_t const rowBytes = static_cast<size_t>(all.stride < 0 ? -all.stride : all.stride);
  ForEachRow(all, all.clip, [=](unsigned char* row, int y) {
    if (y > 0) memcpy(row, first, rowBytes);
  });
}

HRESULT Fill(Surface const& surface, Paint paint, xrect2d const& r) noexcept {
  xrect2d area = r;
  if (!surface.Clip(area)) return S_FALSE;
  if (!CanPaint(surface, paint.mode)) return E_NOTIMPL;
  RowFill(paint, surface.bytesPerPixel)(RowsOf(surface, area).Joined());
  return S_OK;
}

HRESULT Premultiply(Surface const& surface, xrect2d const& r) noexcept {
  xrect2d area = r;
  if (!surface.Clip(area)) return S_FALSE;
  Rows const rows = RowsOf(surface, area).Joined();
  img::BestPremultiply()({rows.first, rows.stride, rows.bytes / 4, rows.count});
  return S_OK;
}

HRESULT Whiten(Surface const& surface, xrect2d const& r) noexcept {
  xrect2d area = r;
  if (!surface.Clip(area)) return S_FALSE;
  BestKernels().rows[LOOP_WHITEN](RowsOf(surface, area).Joined(), {});
  return S_OK;
}

HRESULT SetAlpha(Surface const& surface, xrect2d const& r, unsigned char alpha) noexcept {
  xrect2d area = r;
  if (!surface.Clip(area)) return S_FALSE;
  RowFill::OfAlpha(alpha)(RowsOf(surface, area).Joined());
  return S_OK;
}

// Looking up a byte takes several times as long as copying it.
HRESULT Translate(Surface const& surface, xrect2d const& r, unsigned char const* table) noexcept {
  xrect2d area = r;
  if (!surface.Clip(area)) return S_FALSE;
  size_t const width = Width(area);
  uint64_t const bytes = uint64_t{2} * width * static_cast<unsigned>(surface.bytesPerPixel) *
                         static_cast<unsigned>(area.bottom - area.top);
  unsigned const threads = ThreadsFor(4 * bytes);
  Bands const bands(area.bottom - area.top, threads);
  auto const translate = [&](unsigned part, unsigned) {
    auto const [first, end] = bands[part];
    ForEachRow(surface, {area.left, area.top + first, area.right, area.top + end},
               [&](unsigned char* row, int) { TranslateRow(row, surface.bytesPerPixel, table, width); });
  };
  ShareParts(bands.Count(), threads, translate, [](unsigned) { return true; });
  return S_OK;
}

HRESULT FillBevel(Surface const& surface, Mode mode, Bevel const& bevel) noexcept {
  xrect2d area = bevel.frame;
  if (bevel.width < 1 || !surface.Clip(area)) return S_FALSE;
  if (!CanPaint(surface, mode)) return E_NOTIMPL;
  RowFill const light({mode, bevel.light}, surface.bytesPerPixel);
  RowFill const dark({mode, bevel.dark}, surface.bytesPerPixel);
  auto const inside = [&](int64_t x) {
    return static_cast<int>(std::clamp<int64_t>(x, area.left, area.right));
  };
  ForEachRow(surface, area, [&](unsigned char* row, int y) {
    BevelRow const parts = RowOf(bevel, y);
    int const lightEnd = inside(parts.lightEnd), darkStart = inside(parts.darkStart);
    light(row, static_cast<size_t>(lightEnd - area.left));
    dark(surface.At(darkStart, y), static_cast<size_t>(area.right - darkStart));
  });
  return S_OK;
}

}  // namespace yk::raster
