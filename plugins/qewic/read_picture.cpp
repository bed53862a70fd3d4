#include <limits.h>

#include <algorithm>
#include <iterator>

#include "codec.h"
#include "com_p.h"
#include "failure.h"
#include "pixel_layouts.h"
#include "stream_adapter.h"

namespace qewic {

using namespace yk;

namespace {

// No genuine file packs more pixels than this into each byte: a few dozen bytes must not allocate 100 MB.
// Small pictures are not checked.
constexpr uint64_t MOST_BYTES_PER_FILE_BYTE = 4096;
constexpr uint64_t ALWAYS_ALLOWED_BYTES = 64 << 20;

// Codes of the Imaging Component itself mean that the file is at fault; any other code is passed on.
HRESULT ToFileError(HRESULT result) noexcept {
  constexpr int FACILITY_IMAGING = 0x898;
  bool const fileAtFault = HRESULT_FACILITY(result) == FACILITY_IMAGING || result == E_FAIL;
  return fileAtFault ? YK_E_BADFILE : result;
}

// Reads one picture: the calls to the Imaging Component, step by step.
class Reader {
 public:
  HRESULT Open(GUID const& container, Stream* stream) noexcept;
  HRESULT ChooseLayout() noexcept;
  HRESULT Decode(Ref<Image2d>& image) noexcept;
  HRESULT StreamFailure() const noexcept { return adapter ? adapter->Failure() : S_OK; }

 private:
  HRESULT Convert(GUID const& target) noexcept;
  HRESULT CheckSize(UINT width, UINT height) const noexcept;
  HRESULT FillPalette(Image2d& image) noexcept;

  Ref<IWICImagingFactory> factory;
  Ref<StreamAdapter> adapter;
  Ref<IWICBitmapDecoder> decoder;
  Ref<IWICBitmapSource> source;  // the frame, or a converter over it
  Layout const* layout = nullptr;
};

HRESULT Reader::Open(GUID const& container, Stream* stream) noexcept {
  HRESULT result = CreateFactory(factory);
  if (FAILED(result)) return result;
  adapter = StreamAdapter::Create(stream);
  if (!adapter) return E_OUTOFMEMORY;
  result = factory->CreateDecoder(container, nullptr, decoder.Receive());
  if (FAILED(result)) return result;
  result = decoder->Initialize(adapter.get(), WICDecodeMetadataCacheOnDemand);
  if (FAILED(result)) return result;
  Ref<IWICBitmapFrameDecode> frame;
  result = decoder->GetFrame(0, frame.Receive());
  source = Ref<IWICBitmapSource>::Adopt(frame.Detach());
  return result;
}

HRESULT Reader::Convert(GUID const& target) noexcept {
  Ref<IWICBitmapSource> converted;
  HRESULT const result = WICConvertBitmapSource(target, source.get(), converted.Receive());
  if (FAILED(result)) return result;
  layout = LayoutToRead(target);
  source = converted;
  return S_OK;
}

bool HasAlpha(IWICImagingFactory& factory, GUID const& pixels) noexcept {
  Ref<IWICComponentInfo> component;
  if (FAILED(factory.CreateComponentInfo(pixels, component.Receive()))) return true;
  Ref<IWICPixelFormatInfo2> info;
  BOOL transparent = TRUE;
  if (SUCCEEDED(component->QueryInterface(__uuidof(IWICPixelFormatInfo2), info.ReceiveVoid()))) {
    info->SupportsTransparency(&transparent);
  }
  return transparent;
}

// Uses the pixels as they are, or has the Imaging Component convert those for which the library has no
// format.
HRESULT Reader::ChooseLayout() noexcept {
  GUID pixels;
  HRESULT const result = source->GetPixelFormat(&pixels);
  if (FAILED(result)) return result;
  layout = LayoutToRead(pixels);
  if (layout) return S_OK;
  if (!HasAlpha(*factory.get(), pixels) && SUCCEEDED(Convert(GUID_WICPixelFormat24bppBGR))) return S_OK;
  return Convert(GUID_WICPixelFormat32bppBGRA);
}

HRESULT FailSize(HRESULT result, UINT width, UINT height) noexcept {
  return Fail(result, READ, L"%u \u00D7 %u pixels are more than an image can have", width, height);
}

// Before memory is allocated, refuses sizes that an image cannot have and those that the file cannot back.
HRESULT Reader::CheckSize(UINT width, UINT height) const noexcept {
  if (width < 1 || height < 1) return Fail(YK_E_BADFILE, READ, L"damaged: the picture has no pixels");
  if (width > INT_MAX || height > INT_MAX) return FailSize(E_OUTOFMEMORY, width, height);
  int64_t const row = img::GetRowSize(layout->image, static_cast<int>(width));
  if (row > INT_MAX || row * height > INT_MAX) return FailSize(E_OUTOFMEMORY, width, height);
  uint64_t const size = static_cast<uint64_t>(row) * height;
  if (size > ALWAYS_ALLOWED_BYTES && size / MOST_BYTES_PER_FILE_BYTE > adapter->Extent())
    return Fail(YK_E_BADFILE, READ, L"damaged: the file is too small for %u \u00D7 %u pixels", width, height);
  return S_OK;
}

HRESULT Reader::FillPalette(Image2d& image) noexcept {
  WICColor colours[256];
  UINT count = 0;
  if (layout->work & Layout::RAMP) {
    count = layout->work & Layout::WIDEN ? 4 : image.paletteCount;
    for (UINT i = 0; i < count; ++i) colours[i] = 0xFF000000u | i * 255 / (count - 1) * 0x010101u;
  } else {
    Ref<IWICPalette> palette;
    HRESULT result = factory->CreatePalette(palette.Receive());
    if (SUCCEEDED(result)) result = source->CopyPalette(palette.get());
    if (SUCCEEDED(result)) result = palette->GetColors(std::size(colours), colours, &count);
    if (FAILED(result)) return result;
  }
  // An index beyond the palette, in a damaged picture, is opaque black.
  std::fill(colours + std::min<UINT>(count, std::size(colours)), std::end(colours), 0xFF000000u);
  auto const entry = [](WICColor colour) {
    return IMG_PALENTRY{static_cast<uint8_t>(colour >> 16), static_cast<uint8_t>(colour >> 8),
                        static_cast<uint8_t>(colour), static_cast<uint8_t>(colour >> 24)};
  };
  std::transform(colours, colours + image.paletteCount, image.palette, entry);
  return S_OK;
}

// Files are stored top-down, the library's rows bottom-up.
void FlipRows(Image2d& image) noexcept {
  for (int top = 0, bottom = image.height - 1; top < bottom; ++top, --bottom) {
    std::swap_ranges(image.GetLine(top), image.GetLine(top) + image.stride, image.GetLine(bottom));
  }
}

void Rework(Image2d& image, Layout const& layout) noexcept {
  int const channels = img::GetFacts(layout.image).channels;
  for (int y = 0; y < image.height; ++y) {
    uint8_t* const row = image.GetLine(y);
    if (layout.work & Layout::SWAP_RED_BLUE) SwapRedBlue(row, image.width, channels);
    if (layout.work & Layout::WIDEN) WidenIndices(row, 2, row, 4, image.width);
  }
}

HRESULT Reader::Decode(Ref<Image2d>& image) noexcept {
  UINT width = 0, height = 0;
  HRESULT result = source->GetSize(&width, &height);
  if (SUCCEEDED(result)) result = CheckSize(width, height);
  if (FAILED(result)) return result;

  image = Ref<Image2d>::Adopt(Image2d::Create());
  if (!image) return E_OUTOFMEMORY;
  if (yk::Failed(image->Create(layout->image, static_cast<int>(width), static_cast<int>(height)))) {
    return E_OUTOFMEMORY;
  }
  UINT const stride = static_cast<UINT>(image->stride);
  result = source->CopyPixels(nullptr, stride, stride * height, image->bits);
  if (FAILED(result)) return result;
  if (FAILED(StreamFailure())) return StreamFailure();  // even if the codec ignored it
  FlipRows(*image);
  if (layout->work & (Layout::SWAP_RED_BLUE | Layout::WIDEN)) Rework(*image, *layout);
  return img::GetFacts(layout->image).paletteEntries ? FillPalette(*image) : S_OK;
}

}  // namespace

HRESULT ReadPicture(GUID const& container, Stream* stream, AbstractImage** out) noexcept {
  if (!out) return Fail(E_INVALIDARG, READ, L"image is null");
  *out = nullptr;
  if (!stream) return Fail(E_INVALIDARG, READ, L"stream is null");
  unsigned const before = ErrorCount();
  ComScope const com;
  if (FAILED(com.Result())) return Report(before, READ, com.Result(), com.Result());

  Reader reader;
  Ref<Image2d> image;
  HRESULT result = reader.Open(container, stream);
  if (SUCCEEDED(result)) result = reader.ChooseLayout();
  if (SUCCEEDED(result)) result = reader.Decode(image);
  HRESULT const ofStream = reader.StreamFailure();
  if (FAILED(result) && FAILED(ofStream))
    return FailSince(before, ofStream, READ, L"the stream could not be read");
  if (FAILED(result)) return Report(before, READ, ToFileError(result), result);
  *out = image.Detach();
  return S_OK;
}

}  // namespace qewic
