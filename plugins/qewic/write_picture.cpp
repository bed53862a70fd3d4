#include "codec.h"
#include "com_p.h"
#include "failure.h"
#include "pixel_layouts.h"
#include "rows_to_write.h"
#include "stream_adapter.h"

namespace qewic {

using namespace yk;

namespace {

// Writes one picture.
class Writer {
 public:
  explicit Writer(Image2d& image) noexcept : rows(image) {}
  HRESULT Open(GUID const& container, Stream* stream) noexcept;
  HRESULT ChooseLayout() noexcept;
  HRESULT Encode() noexcept;
  /// Releases the codec, records any failure, and returns the overall result; `result` is that of the steps
  /// so far, and `before` was ErrorCount() before them.
  HRESULT Finish(unsigned before, HRESULT result) noexcept;

 private:
  HRESULT FillBitmap(Ref<IWICBitmap>& bitmap) noexcept;
  bool NeedsPalette() const noexcept {
    return img::GetFacts(layout->image).paletteEntries || layout->work & (Layout::RAMP | Layout::QUANTISE);
  }
  HRESULT MakePalette(Ref<IWICBitmapSource>& source, Ref<IWICPalette>& palette) noexcept;
  HRESULT FillPalette(IWICPalette& palette) noexcept;
  HRESULT Quantise(Ref<IWICBitmapSource>& source, IWICPalette& palette) noexcept;

  RowsToWrite rows;
  Ref<IWICImagingFactory> factory;
  Ref<StreamAdapter> adapter;
  Ref<IWICBitmapEncoder> encoder;
  Ref<IWICBitmapFrameEncode> frame;
  Layout const* layout = nullptr;
};

HRESULT Writer::Open(GUID const& container, Stream* stream) noexcept {
  HRESULT result = CreateFactory(factory);
  if (FAILED(result)) return result;
  adapter = StreamAdapter::Create(stream);
  if (!adapter) return E_OUTOFMEMORY;
  result = factory->CreateEncoder(container, nullptr, encoder.Receive());
  if (FAILED(result)) return result;
  result = encoder->Initialize(adapter.get(), WICBitmapEncoderNoCache);
  if (FAILED(result)) return result;
  Ref<IPropertyBag2> options;
  result = encoder->CreateNewFrame(frame.Receive(), options.Receive());
  return FAILED(result) ? result : frame->Initialize(options.get());
}

// Offers the file format each layout for writing this image, the closest first.
HRESULT Writer::ChooseLayout() noexcept {
  HRESULT const result = frame->SetSize(static_cast<UINT>(rows.Width()), static_cast<UINT>(rows.Height()));
  if (FAILED(result)) return result;
  for (IMG_FORMAT const wanted : FormatsToWrite(rows.Format())) {
    for (Layout const& candidate : Layouts()) {
      if (candidate.image != wanted || !(candidate.use & Layout::WRITE)) continue;
      GUID accepted = *candidate.file;
      if (FAILED(frame->SetPixelFormat(&accepted)) || !(accepted == *candidate.file)) continue;
      layout = &candidate;
      return S_OK;
    }
  }
  return Fail(YK_E_FORMAT, WRITE, L"the file format cannot hold pixels like %S",
              img::GetFacts(rows.Format()).name);
}

HRESULT Writer::FillBitmap(Ref<IWICBitmap>& bitmap) noexcept {
  GUID const& pixels = layout->work & Layout::QUANTISE ? GUID_WICPixelFormat24bppBGR : *layout->file;
  HRESULT result = factory->CreateBitmap(static_cast<UINT>(rows.Width()), static_cast<UINT>(rows.Height()),
                                         pixels, WICBitmapCacheOnLoad, bitmap.Receive());
  Ref<IWICBitmapLock> lock;
  if (SUCCEEDED(result)) result = bitmap->Lock(nullptr, WICBitmapLockWrite, lock.Receive());
  UINT stride = 0, size = 0;
  uint8_t* row = nullptr;
  if (SUCCEEDED(result)) result = lock->GetStride(&stride);
  if (SUCCEEDED(result)) result = lock->GetDataPointer(&size, &row);
  for (int y = 0; y < rows.Height() && SUCCEEDED(result); ++y, row += stride)
    result = rows.Get(y, layout->image, row);
  return result;
}

HRESULT Writer::FillPalette(IWICPalette& palette) noexcept {
  bool const isRamp = layout->work & Layout::RAMP;
  if (isRamp) return palette.InitializePredefined(WICBitmapPaletteTypeFixedGray256, FALSE);
  WICColor colours[256];
  UINT count = 0;
  for (IMG_PALENTRY const& entry : rows.Palette())
    colours[count++] =
        WICColor{entry.alpha} << 24 | WICColor{entry.red} << 16 | WICColor{entry.green} << 8 | entry.blue;
  return palette.InitializeCustom(colours, count);
}

// Puts a converter to 256 colours, chosen by the Imaging Component, over `source`.
HRESULT Writer::Quantise(Ref<IWICBitmapSource>& source, IWICPalette& palette) noexcept {
  Ref<IWICFormatConverter> converter;
  HRESULT result = palette.InitializeFromBitmap(source.get(), 256, FALSE);
  if (SUCCEEDED(result)) result = factory->CreateFormatConverter(converter.Receive());
  if (SUCCEEDED(result)) {
    result = converter->Initialize(source.get(), *layout->file, WICBitmapDitherTypeErrorDiffusion, &palette,
                                   0, WICBitmapPaletteTypeCustom);
  }
  source = Ref<IWICBitmapSource>::Adopt(converter.Detach());
  return result;
}

HRESULT Writer::MakePalette(Ref<IWICBitmapSource>& source, Ref<IWICPalette>& palette) noexcept {
  HRESULT const result = factory->CreatePalette(palette.Receive());
  if (FAILED(result)) return result;
  return layout->work & Layout::QUANTISE ? Quantise(source, *palette) : FillPalette(*palette);
}

// The whole image is read before anything is written, since the image may change from then on.
HRESULT Writer::Encode() noexcept {
  Ref<IWICBitmap> bitmap;
  HRESULT result = FillBitmap(bitmap);
  if (FAILED(result)) return result;
  Ref<IWICBitmapSource> source = Ref<IWICBitmapSource>::Share(bitmap.get());
  if (NeedsPalette()) {
    Ref<IWICPalette> palette;
    result = MakePalette(source, palette);
    if (SUCCEEDED(result)) result = bitmap->SetPalette(palette.get());
    if (SUCCEEDED(result)) result = frame->SetPalette(palette.get());
  }
  if (SUCCEEDED(result)) result = frame->WriteSource(source.get(), nullptr);
  if (SUCCEEDED(result)) result = frame->Commit();
  if (SUCCEEDED(result)) result = encoder->Commit();
  return result;
}

HRESULT Writer::Finish(unsigned before, HRESULT result) noexcept {
  frame.Reset();
  encoder.Reset();                                             // may still write
  HRESULT failure = adapter ? adapter->WriteFailure() : S_OK;  // even if the codec ignored it
  if (adapter && !yk::Failed(failure) && SUCCEEDED(result)) failure = adapter->MoveToEnd();
  if (yk::Failed(failure)) return FailSince(before, failure, WRITE, L"it could not be written completely");
  return FAILED(result) ? Report(before, WRITE, result, result) : result;
}

}  // namespace

HRESULT WritePicture(Codec const& codec, Stream* stream, Image2d& image) noexcept {
  if (FormatsToWrite(image.format).empty()) {  // before anything is written
    return Fail(YK_E_FORMAT, WRITE, L"no file type can hold pixels of %S", img::GetFacts(image.format).name);
  }
  unsigned const before = ErrorCount();
  ComScope const com;
  if (FAILED(com.Result())) return Report(before, WRITE, com.Result(), com.Result());
  Writer writer(image);
  HRESULT result = writer.Open(*codec.container, stream);
  if (SUCCEEDED(result)) result = writer.ChooseLayout();
  if (SUCCEEDED(result)) result = writer.Encode();
  result = writer.Finish(before, result);
  return FAILED(result) ? result : S_OK;
}

}  // namespace qewic
