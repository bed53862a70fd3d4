#include "reading.h"

#include <limits.h>
#include <qecore/image/image_limits.h>
#include <qecore/io/file_formats.h>
#include <qecore/values/str.h>
#include <string.h>

#include <algorithm>
#include <iterator>

#include "failure.h"

namespace qewic {

using namespace yk;

namespace {

// No genuine file packs more pixels than this into each byte. Small pictures are not checked.
constexpr double MOST_BYTES_PER_FILE_BYTE = 4096;
constexpr double ALWAYS_ALLOWED_BYTES = 64 << 20;

struct Unit {
  double bytes;
  int decimals;
  wchar_t const* name;
};

constexpr Unit UNITS[] = {{1e9, 1, L"GB"}, {1e6, 1, L"MB"}, {1, 0, L"bytes"}};

Unit const& UnitFor(double bytes) noexcept {
  return *std::find_if(std::begin(UNITS), std::end(UNITS) - 1,
                       [=](Unit const& unit) { return bytes >= unit.bytes; });
}

/// `addition` is a clause about a limit.
HRESULT FailSize(Claim const& claim, double bytes, wchar_t const* addition) noexcept {
  Unit const& unit = UnitFor(bytes);
  return Fail(E_OUTOFMEMORY, READ, L"the picture needs %.*f %s, %u \u00D7 %u pixels%s", unit.decimals,
              bytes / unit.bytes, unit.name, claim.width, claim.height, addition);
}

/// `whose` says where the limit comes from.
HRESULT FailLimit(Claim const& claim, double bytes, wchar_t const* whose, double limit) noexcept {
  Unit const& unit = UnitFor(limit);
  wchar_t addition[64];
  str::printf(addition, std::size(addition), L"; %s %.*f %s", whose, unit.decimals, limit / unit.bytes,
              unit.name);
  return FailSize(claim, bytes, addition);
}

}  // namespace

void FillBlack(std::span<IMG_PALENTRY> entries) noexcept {
  std::fill(entries.begin(), entries.end(), IMG_PALENTRY{0, 0, 0, 255});
}

void FillGreys(std::span<IMG_PALENTRY> entries) noexcept {
  for (size_t i = 0; i < entries.size(); ++i) {
    uint8_t const grey = static_cast<uint8_t>(i * 255 / (entries.size() - 1));
    entries[i] = {grey, grey, grey, 255};
  }
}

bool HasSignature(StreamAdapter& file, Guid const& type) noexcept {
  uint8_t bytes[sizeof FileSignature::bytes];
  return file.ReadAt(0, bytes, sizeof bytes) &&
         yk::HasSignature(*FindFileFormat(type), reinterpret_cast<char const*>(bytes));
}

bool CanBack(StreamAdapter const& file, double bytes) noexcept {
  double const most = MOST_BYTES_PER_FILE_BYTE * static_cast<double>(file.Extent());
  return bytes <= std::max(ALWAYS_ALLOWED_BYTES, most);
}

HRESULT CheckClaim(StreamAdapter const& file, Claim const& claim) noexcept {
  if (claim.width < 1 || claim.height < 1) return FailDamaged(L"the picture has no pixels");
  uint64_t const row =
      static_cast<uint64_t>(img::PaddedBytes(int64_t{std::max(claim.bits, 1u)} * claim.width));
  double const bytes = static_cast<double>(row) * claim.height;  // which may exceed 64 bits
  if (claim.width > INT_MAX) return FailSize(claim, bytes, L"; the most across is 2147483647 pixels");
  if (bytes > static_cast<double>(img::LARGEST_IMAGE))
    return FailLimit(claim, bytes, L"the most is", static_cast<double>(img::LARGEST_IMAGE));
  uint64_t const size = row * claim.height;
  uint64_t const limit = img::GetReadLimit();
  if (size > limit) return FailLimit(claim, bytes, L"the host allows", static_cast<double>(limit));
  if (!CanBack(file, bytes))
    return Fail(YK_E_BADFILE, READ, L"damaged: the file is too small for %u \u00D7 %u pixels", claim.width,
                claim.height);
  return S_OK;
}

HRESULT MakePicture(StreamAdapter const& file, IMG_FORMAT format, uint32_t width, uint32_t height,
                    Ref<Image2d>& image) noexcept {
  HRESULT const checked = CheckClaim(file, {width, height, img::GetFacts(format).bits});
  if (yk::Failed(checked)) return checked;
  image = Ref<Image2d>::Adopt(Image2d::Create());
  if (!image || yk::Failed(image->Create(format, static_cast<int>(width), static_cast<int>(height))))
    return E_OUTOFMEMORY;
  memset(image->bits, 0, static_cast<size_t>(image->stride) * height);
  if (image->palette) FillBlack({image->palette, image->paletteCount});
  return S_OK;
}

HRESULT FailDamaged(wchar_t const* what) noexcept { return Fail(YK_E_BADFILE, READ, L"damaged: %s", what); }

HRESULT FailUnsupported(wchar_t const* reason) noexcept {
  return Fail(YK_E_BADFILE, READ, L"not supported, because %s", reason);
}

HRESULT FailNoFrame(unsigned frame, unsigned frames) noexcept {
  if (frames < 2) return Fail(E_INVALIDARG, READ, L"there is no frame %u: the file has one picture", frame);
  return Fail(E_INVALIDARG, READ, L"there is no frame %u: the file has frames 0 to %u", frame, frames - 1);
}

HRESULT FailTruncated() noexcept { return FailDamaged(L"it is truncated"); }

}  // namespace qewic
