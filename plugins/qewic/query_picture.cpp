#include <qecore/image/file_info.h>
#include <qecore/values/map.h>

#include "codec.h"
#include "com_p.h"
#include "failure.h"
#include "file_facts.h"
#include "headers.h"
#include "stream_adapter.h"

namespace qewic {

using namespace yk;

namespace {

HRESULT Set(Map& info, img::FileInfoKey key, UINT number) noexcept {
  Variant value;
  value.Init(number);
  return info.SetValue(key, value);
}

// True: the decoder, which may decode all of the picture first, is not needed.
bool DescribeHeader(GUID const& container, StreamAdapter& file, Map& info, HRESULT& result) noexcept {
  Header header;
  bool const isRead = container == GUID_ContainerFormatPng    ? ReadPngHeader(file, header)
                      : container == GUID_ContainerFormatJpeg ? ReadJpegHeader(file, header)
                                                              : false;
  if (!isRead || !header.claim.width || !header.claim.height) return false;
  result = Set(info, img::INFO_WIDTH, header.claim.width);
  if (SUCCEEDED(result)) result = Set(info, img::INFO_HEIGHT, header.claim.height);
  if (SUCCEEDED(result)) result = Set(info, img::INFO_FRAMES, 1);
  if (SUCCEEDED(result) && header.format != IMG_NONE)
    result = Set(info, img::INFO_PIXEL_FORMAT, header.format);
  return true;
}

HRESULT DescribeFrame(IWICBitmapDecoder& decoder, Map& info) noexcept {
  UINT frames = 0, width = 0, height = 0;
  Ref<IWICBitmapFrameDecode> frame;
  HRESULT result = decoder.GetFrameCount(&frames);
  if (SUCCEEDED(result)) result = decoder.GetFrame(0, frame.Receive());
  if (SUCCEEDED(result)) result = frame->GetSize(&width, &height);
  if (SUCCEEDED(result)) result = Set(info, img::INFO_WIDTH, width);
  if (SUCCEEDED(result)) result = Set(info, img::INFO_HEIGHT, height);
  return SUCCEEDED(result) ? Set(info, img::INFO_FRAMES, frames) : result;
}

HRESULT DescribeByDecoder(GUID const& container, StreamAdapter& file, Map& info) noexcept {
  Ref<IWICImagingFactory> factory;
  Ref<IWICBitmapDecoder> decoder;
  HRESULT result = CreateFactory(factory);
  if (SUCCEEDED(result)) result = factory->CreateDecoder(container, nullptr, decoder.Receive());
  if (SUCCEEDED(result)) result = decoder->Initialize(&file, WICDecodeMetadataCacheOnDemand);
  return SUCCEEDED(result) ? DescribeFrame(*decoder, info) : result;
}

}  // namespace

HRESULT QueryPicture(GUID const& container, Stream* stream, Map* info) noexcept {
  unsigned const before = ErrorCount();
  ComScope const com;
  Ref<StreamAdapter> const adapter = StreamAdapter::Create(stream);
  HRESULT result = adapter ? com.Result() : E_OUTOFMEMORY;
  if (SUCCEEDED(result) && !DescribeHeader(container, *adapter, *info, result))
    result = DescribeByDecoder(container, *adapter, *info);
  if (SUCCEEDED(result)) result = ReadFacts(container, *adapter, *info);
  if (SUCCEEDED(result)) return S_OK;
  HRESULT const ofStream = adapter ? adapter->Failure() : S_OK;
  if (yk::Failed(ofStream)) return FailSince(before, ofStream, QUERY, L"the stream could not be read");
  return Report(before, QUERY, result, result);
}

}  // namespace qewic
