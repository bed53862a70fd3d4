#include "reading.h"

#include <limits.h>
#include <qecore/image/image_limits.h>
#include <string.h>

#include "failure.h"

namespace qewic {

using namespace yk;

namespace {

// No genuine file packs more pixels than this into each byte. Small pictures are not checked.
constexpr uint64_t MOST_BYTES_PER_FILE_BYTE = 4096;
constexpr uint64_t ALWAYS_ALLOWED_BYTES = 64 << 20;

HRESULT FailSize(Claim const& claim) noexcept {
  return Fail(E_OUTOFMEMORY, READ, L"%u \u00D7 %u pixels are more than an image can have", claim.width,
              claim.height);
}

HRESULT FailLimit(Claim const& claim, uint64_t size, uint64_t limit) noexcept {
  return Fail(E_OUTOFMEMORY, READ, L"%u \u00D7 %u pixels need %llu bytes, and the host allows %llu",
              claim.width, claim.height, static_cast<unsigned long long>(size),
              static_cast<unsigned long long>(limit));
}

}  // namespace

HRESULT CheckClaim(StreamAdapter const& file, Claim const& claim) noexcept {
  if (claim.width < 1 || claim.height < 1) return FailDamaged(L"the picture has no pixels");
  if (claim.width > INT_MAX || claim.height > INT_MAX) return FailSize(claim);
  uint64_t const row = static_cast<uint64_t>(img::PaddedBytes(int64_t{claim.bits} * claim.width));
  if (row > INT_MAX || row * claim.height > INT_MAX) return FailSize(claim);
  uint64_t const size = row * claim.height;
  uint64_t const limit = img::GetReadLimit();
  if (size > limit) return FailLimit(claim, size, limit);
  if (size > ALWAYS_ALLOWED_BYTES && size / MOST_BYTES_PER_FILE_BYTE > file.Extent())
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
  if (image->palette) memset(image->palette, 0, image->paletteCount * sizeof(IMG_PALENTRY));
  return S_OK;
}

HRESULT FailDamaged(wchar_t const* what) noexcept { return Fail(YK_E_BADFILE, READ, L"damaged: %s", what); }

HRESULT FailUnsupported(wchar_t const* reason) noexcept {
  return Fail(YK_E_BADFILE, READ, L"not supported, because %s", reason);
}

HRESULT FailTruncated() noexcept { return FailDamaged(L"it is truncated"); }

}  // namespace qewic
