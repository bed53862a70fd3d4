#include <qecore/image/file_info.h>
#include <qecore/values/map.h>

#include "codec.h"
#include "com_p.h"
#include "failure.h"
#include "pixel_layouts.h"
#include "stream_adapter.h"

namespace qewic {

using namespace yk;

namespace {

HRESULT Set(Map& info, img::FileInfoKey key, UINT number) noexcept {
  Variant value;
  value.Init(number);
  return info.SetValue(key, value);
}

// The files of other types are read by decoders of qewic's own, which choose the format otherwise.
bool IsReadAsItIs(GUID const& container) noexcept {
  return container == GUID_ContainerFormatPng || container == GUID_ContainerFormatJpeg;
}

// Pixels that have to be converted first are not described.
HRESULT DescribePixels(IWICBitmapFrameDecode& frame, Map& info) noexcept {
  GUID pixels;
  HRESULT const result = frame.GetPixelFormat(&pixels);
  Layout const* const layout = SUCCEEDED(result) ? LayoutToRead(pixels) : nullptr;
  return layout ? Set(info, img::INFO_PIXEL_FORMAT, layout->image) : result;
}

HRESULT DescribeFrame(IWICBitmapDecoder& decoder, GUID const& container, Map& info) noexcept {
  UINT frames = 0, width = 0, height = 0;
  Ref<IWICBitmapFrameDecode> frame;
  HRESULT result = decoder.GetFrameCount(&frames);
  if (SUCCEEDED(result)) result = decoder.GetFrame(0, frame.Receive());
  if (SUCCEEDED(result)) result = frame->GetSize(&width, &height);
  if (SUCCEEDED(result)) result = Set(info, img::INFO_WIDTH, width);
  if (SUCCEEDED(result)) result = Set(info, img::INFO_HEIGHT, height);
  if (SUCCEEDED(result) && IsReadAsItIs(container)) result = DescribePixels(*frame, info);
  return SUCCEEDED(result) ? Set(info, img::INFO_FRAMES, frames) : result;
}

}  // namespace

HRESULT QueryPicture(GUID const& container, Stream* stream, Map* info) noexcept {
  unsigned const before = ErrorCount();
  ComScope const com;
  Ref<IWICImagingFactory> factory;
  Ref<IWICBitmapDecoder> decoder;
  Ref<StreamAdapter> const adapter = StreamAdapter::Create(stream);
  HRESULT result = adapter ? com.Result() : E_OUTOFMEMORY;
  if (SUCCEEDED(result)) result = CreateFactory(factory);
  if (SUCCEEDED(result)) result = factory->CreateDecoder(container, nullptr, decoder.Receive());
  if (SUCCEEDED(result)) result = decoder->Initialize(adapter.get(), WICDecodeMetadataCacheOnDemand);
  if (SUCCEEDED(result)) result = DescribeFrame(*decoder, container, *info);
  if (SUCCEEDED(result)) return S_OK;
  HRESULT const ofStream = adapter ? adapter->Failure() : S_OK;
  if (yk::Failed(ofStream)) return FailSince(before, ofStream, QUERY, L"the stream could not be read");
  return Report(before, QUERY, result, result);
}

}  // namespace qewic
