#include "failure.h"

#include <windows.h>

#include <wincodec.h>

#include <algorithm>
#include <iterator>

namespace qewic {

namespace {

struct CodecText {
  HRESULT code;
  wchar_t const* text;
};

constexpr CodecText TEXTS[] = {
    {WINCODEC_ERR_BADHEADER, L"damaged: its head makes no sense"},
    {WINCODEC_ERR_BADIMAGE, L"damaged"},
    {WINCODEC_ERR_BADSTREAMDATA, L"damaged"},
    {WINCODEC_ERR_COMPONENTNOTFOUND, L"this computer has no codec for it"},
    {WINCODEC_ERR_FRAMEMISSING, L"there is no picture in it"},
    {WINCODEC_ERR_STREAMREAD, L"cut short"},
    {WINCODEC_ERR_STREAMWRITE, L"not all could be written"},
    {WINCODEC_ERR_UNKNOWNIMAGEFORMAT, L"damaged, cut short or of another type"},
    {WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT, L"its pixel format is not supported"},
    {WINCODEC_ERR_UNSUPPORTEDVERSION, L"its version is not supported"},
    {E_OUTOFMEMORY, L"not enough memory"},
    {E_FAIL, L"damaged or cut short"},
};

}  // namespace

HRESULT Report(unsigned before, char const* operation, HRESULT result, HRESULT ofCodec) noexcept {
  if (yk::ErrorCount() != before) return result;
  auto const* const row = std::find_if(std::begin(TEXTS), std::end(TEXTS),
                                       [=](CodecText const& each) { return each.code == ofCodec; });
  if (row != std::end(TEXTS)) return yk::Fail(result, operation, row->text);
  return yk::Fail(result, operation, L"the codec fails: %08lX", static_cast<unsigned long>(ofCodec));
}

}  // namespace qewic
