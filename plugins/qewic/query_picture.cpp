#include <qecore/image/file_info.h>
#include <qecore/values/map.h>

#include "codec.h"
#include "com_p.h"
#include "failure.h"
#include "stream_adapter.h"

namespace qewic {

using namespace yk;

namespace {

HRESULT Set(Map& info, img::FileInfoKey key, uint32_t number) noexcept {
  Variant value;
  value.Init(number);
  return info.SetValue(key, value);
}

HRESULT DescribeHeader(Header const& header, Map& info) noexcept {
  HRESULT result = Set(info, img::INFO_WIDTH, header.claim.width);
  if (SUCCEEDED(result)) result = Set(info, img::INFO_HEIGHT, header.claim.height);
  if (SUCCEEDED(result)) result = Set(info, img::INFO_FRAMES, header.frames);
  if (SUCCEEDED(result) && header.claim.bits) result = Set(info, img::INFO_BITS, header.claim.bits);
  return SUCCEEDED(result) && header.format != IMG_NONE ? Set(info, img::INFO_PIXEL_FORMAT, header.format)
                                                        : result;
}

/// The bits of the file's pixels; 0: they are not known.
UINT BitsOf(IWICImagingFactory& factory, IWICBitmapFrameDecode& frame) noexcept {
  GUID pixels;
  UINT bits = 0;
  Ref<IWICComponentInfo> component;
  Ref<IWICPixelFormatInfo> facts;
  if (SUCCEEDED(frame.GetPixelFormat(&pixels)) &&
      SUCCEEDED(factory.CreateComponentInfo(pixels, component.Receive())) &&
      SUCCEEDED(component->QueryInterface(__uuidof(IWICPixelFormatInfo), facts.ReceiveVoid())))
    facts->GetBitsPerPixel(&bits);
  return bits;
}

HRESULT DescribeFrame(IWICImagingFactory& factory, IWICBitmapDecoder& decoder, Map& info) noexcept {
  Header header;
  Ref<IWICBitmapFrameDecode> frame;
  HRESULT result = decoder.GetFrameCount(&header.frames);
  if (SUCCEEDED(result)) result = decoder.GetFrame(0, frame.Receive());
  if (SUCCEEDED(result)) result = frame->GetSize(&header.claim.width, &header.claim.height);
  if (FAILED(result)) return result;
  header.claim.bits = BitsOf(factory, *frame.get());
  return DescribeHeader(header, info);
}

HRESULT DescribeDecoded(GUID const& container, StreamAdapter& file, Map& info) noexcept {
  ComScope const com;
  Ref<IWICImagingFactory> factory;
  Ref<IWICBitmapDecoder> decoder;
  HRESULT result = com.Result();
  if (SUCCEEDED(result)) result = file.Seek({}, STREAM_SEEK_SET, nullptr);
  if (SUCCEEDED(result)) result = CreateFactory(factory);
  if (SUCCEEDED(result)) result = factory->CreateDecoder(container, nullptr, decoder.Receive());
  if (SUCCEEDED(result)) result = decoder->Initialize(&file, WICDecodeMetadataCacheOnDemand);
  return SUCCEEDED(result) ? DescribeFrame(*factory.get(), *decoder.get(), info) : result;
}

HRESULT Describe(Codec const& codec, StreamAdapter& file, Map& info) noexcept {
  Header header;
  HRESULT const described = codec.describe(file, header);
  if (described == S_FALSE) return DescribeDecoded(*codec.container, file, info);
  if (yk::Failed(described)) return described;
  if (!header.claim.width || !header.claim.height) return FailDamaged(L"the picture has no pixels");
  return DescribeHeader(header, info);
}

}  // namespace

HRESULT QueryPicture(Codec const& codec, Stream* stream, Map* info) noexcept {
  unsigned const before = ErrorCount();
  Ref<StreamAdapter> const file = StreamAdapter::Create(stream);
  HRESULT result = file ? Describe(codec, *file, *info) : E_OUTOFMEMORY;
  if (SUCCEEDED(result) && codec.readFacts) result = codec.readFacts(*file, 0, *info);
  if (SUCCEEDED(result)) return S_OK;
  HRESULT const ofStream = file ? file->Failure() : S_OK;
  if (yk::Failed(ofStream)) return FailSince(before, ofStream, QUERY, L"the stream could not be read");
  return Report(before, QUERY, result, result);
}

}  // namespace qewic
