#include <algorithm>
#include <iterator>

#include "codec.h"
#include "com_p.h"
#include "failure.h"
#include "file_facts.h"
#include "pixel_layouts.h"
#include "reading.h"

namespace qewic {

using namespace yk;

namespace {

// Reads one picture: the calls to the Imaging Component, step by step.
class Reader {
 public:
  explicit Reader(StreamAdapter& from) noexcept : file(from) {}
  HRESULT Open(GUID const& container, unsigned frame) noexcept;
  HRESULT ChooseLayout() noexcept;
  HRESULT Decode(Ref<Image2d>& image) noexcept;

 private:
  HRESULT Convert(GUID const& target) noexcept;
  HRESULT FillPalette(Image2d& image) noexcept;

  StreamAdapter& file;
  Ref<IWICImagingFactory> factory;
  Ref<IWICBitmapDecoder> decoder;
  Ref<IWICBitmapSource> source;  // the frame, or a converter over it
  Layout const* layout = nullptr;
};

HRESULT Reader::Open(GUID const& container, unsigned index) noexcept {
  HRESULT result = CreateFactory(factory);
  if (FAILED(result)) return result;
  result = file.Seek({}, STREAM_SEEK_SET, nullptr);
  if (FAILED(result)) return result;
  result = factory->CreateDecoder(container, nullptr, decoder.Receive());
  if (FAILED(result)) return result;
  result = decoder->Initialize(&file, WICDecodeMetadataCacheOnDemand);
  if (FAILED(result)) return result;
  Ref<IWICBitmapFrameDecode> frame;
  result = decoder->GetFrame(index, frame.Receive());
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

HRESULT Reader::FillPalette(Image2d& image) noexcept {
  if (layout->work & Layout::RAMP) {
    FillGreys({image.palette, layout->work & Layout::WIDEN ? 4u : image.paletteCount});
    return S_OK;
  }
  WICColor colours[256];
  UINT count = 0;
  Ref<IWICPalette> palette;
  HRESULT result = factory->CreatePalette(palette.Receive());
  if (SUCCEEDED(result)) result = source->CopyPalette(palette.get());
  if (SUCCEEDED(result)) result = palette->GetColors(std::size(colours), colours, &count);
  if (FAILED(result)) return result;
  auto const entry = [](WICColor colour) {
    return IMG_PALENTRY{static_cast<uint8_t>(colour >> 16), static_cast<uint8_t>(colour >> 8),
                        static_cast<uint8_t>(colour), static_cast<uint8_t>(colour >> 24)};
  };
  std::transform(colours, colours + std::min<UINT>(count, image.paletteCount), image.palette, entry);
  return S_OK;
}

// Files are stored top-down, the library's rows bottom-up.
void FlipRows(Image2d& image) noexcept {
  for (int top = 0, bottom = image.height - 1; top < bottom; ++top, --bottom) {
    std::swap_ranges(image.GetLine(top), image.GetLine(top) + image.stride, image.GetLine(bottom));
  }
}

void Rework(Image2d& image, Layout const& layout) noexcept {
  for (int y = image.height - 1; y >= 0; --y) {  // as they are in memory
    uint8_t* const row = image.GetLine(y);
    if (layout.work & Layout::SWAP_RED_BLUE) SwapRedBlue(row, image.width, layout.image);
    if (layout.work & Layout::WIDEN) WidenIndices(row, 2, row, 4, image.width);
  }
}

HRESULT Reader::Decode(Ref<Image2d>& image) noexcept {
  UINT width = 0, height = 0;
  HRESULT result = source->GetSize(&width, &height);
  if (SUCCEEDED(result)) result = MakePicture(file, layout->image, width, height, image);
  if (FAILED(result)) return result;
  UINT const stride = static_cast<UINT>(image->stride);
  result = source->CopyPixels(nullptr, stride, stride * height, image->bits);
  if (FAILED(result)) return result;
  FlipRows(*image);
  if (layout->work & (Layout::SWAP_RED_BLUE | Layout::WIDEN)) Rework(*image, *layout);
  return img::GetFacts(layout->image).paletteEntries ? FillPalette(*image) : S_OK;
}

}  // namespace

HRESULT ReadWithPlatform(GUID const& container, StreamAdapter& file, unsigned frame,
                         Ref<Image2d>& image) noexcept {
  ComScope const com;
  if (FAILED(com.Result())) return com.Result();
  Reader reader(file);
  HRESULT result = reader.Open(container, frame);
  if (SUCCEEDED(result)) result = reader.ChooseLayout();
  return SUCCEEDED(result) ? reader.Decode(image) : result;
}

HRESULT ReadPicture(Codec const& codec, Stream* stream, unsigned frame, AbstractImage** out,
                    Decoded decoded) noexcept {
  if (!out) return Fail(E_INVALIDARG, READ, L"image is null");
  *out = nullptr;
  if (!stream) return Fail(E_INVALIDARG, READ, L"stream is null");
  unsigned const before = ErrorCount();
  Ref<StreamAdapter> const file = StreamAdapter::Create(stream);
  if (!file) return Report(before, READ, E_OUTOFMEMORY, E_OUTOFMEMORY);
  Ref<Image2d> image;
  auto* const read = decoded == Decoded::EVERY && codec.readEvery ? codec.readEvery : codec.read;
  HRESULT result = read(*file, frame, image);
  if (result == S_FALSE) result = ReadWithPlatform(*codec.container, *file, frame, image);
  if (SUCCEEDED(result)) result = ReadFacts(codec.readFacts, *file, frame, *image);
  HRESULT const ofStream = file->Failure();
  if (FAILED(ofStream))  // even if the decoder ignored it
    return FailSince(before, ofStream, READ, L"the stream could not be read");
  if (FAILED(result)) return Report(before, READ, ToFileError(result), result);
  *out = image.Detach();
  return S_OK;
}

}  // namespace qewic
