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
    {WINCODEC_ERR_BADHEADER, L"damaged: the header is invalid"},
    {WINCODEC_ERR_BADIMAGE, L"damaged"},
    {WINCODEC_ERR_BADSTREAMDATA, L"damaged"},
    {WINCODEC_ERR_COMPONENTNOTFOUND, L"not supported, because no codec for it is installed"},
    {WINCODEC_ERR_FRAMEMISSING, L"it contains no picture"},
    {WINCODEC_ERR_STREAMREAD, L"truncated"},
    {WINCODEC_ERR_STREAMWRITE, L"it could not be written completely"},
    {WINCODEC_ERR_UNKNOWNIMAGEFORMAT, L"damaged, truncated or of another type"},
    {WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT, L"its pixel format is not supported"},
    {WINCODEC_ERR_UNSUPPORTEDVERSION, L"its version is not supported"},
    {E_OUTOFMEMORY, L"not enough memory"},
    {E_FAIL, L"damaged or truncated"},
};

}  // namespace

HRESULT FailMemory(uint64_t size) noexcept {
  return yk::Fail(E_OUTOFMEMORY, WRITE, L"not enough memory for %llu bytes",
                  static_cast<unsigned long long>(size));
}

HRESULT Report(unsigned before, char const* operation, HRESULT result, HRESULT ofCodec) noexcept {
  if (yk::ErrorCount() != before) return result;
  auto const* const row = std::find_if(std::begin(TEXTS), std::end(TEXTS),
                                       [=](CodecText const& each) { return each.code == ofCodec; });
  if (row != std::end(TEXTS)) return yk::Fail(result, operation, row->text);
  return yk::Fail(result, operation, L"the codec failed: %08lX", static_cast<unsigned long>(ofCodec));
}

HRESULT ToFileError(HRESULT result) noexcept {
  constexpr int FACILITY_IMAGING = 0x898;
  bool const fileAtFault = HRESULT_FACILITY(result) == FACILITY_IMAGING || result == E_FAIL;
  return fileAtFault ? yk::YK_E_BADFILE : result;
}

HRESULT ReportFrame(unsigned frame, unsigned before, HRESULT ofCodec) noexcept {
  HRESULT const result = Report(before, READ, ToFileError(ofCodec), ofCodec);
  return yk::FailSince(before, result, READ, L"frame %u", frame);
}

}  // namespace qewic
