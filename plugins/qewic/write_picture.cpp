#include <qecore/image/convert.h>
#include <qecore/io/mem_stream.h>
#include <string.h>

#include <algorithm>

#include "codec.h"
#include "com_p.h"
#include "failure.h"
#include "pixel_layouts.h"
#include "stream_adapter.h"

namespace qewic {

using namespace yk;

namespace {

// Writes one picture.
class Writer {
 public:
  HRESULT Open(GUID const& container, Stream* stream, std::span<EncoderSetting const> settings) noexcept;
  HRESULT ChooseLayout(Image2d const& image) noexcept;
  HRESULT Encode(Image2d& image) noexcept;
  /// Releases the codec, records any failure, and returns the overall result; `result` is that of the steps
  /// so far, and `before` was ErrorCount() before them.
  HRESULT Finish(unsigned before, HRESULT result) noexcept;

  /// The format of the pixels to write.
  IMG_FORMAT Chosen() const noexcept { return layout->image; }
  bool WritesWords() const noexcept { return img::GetFacts(layout->image).channelBits == 16; }

  bool paletteIsOpaque = false;  ///< set when the file's pixels can have alpha but its palette cannot
  bool swapsBytes = false;       ///< set when the encoder expects 16-bit channels in the wrong byte order

 private:
  HRESULT FillBitmap(Image2d& image, Ref<IWICBitmap>& bitmap) noexcept;
  bool NeedsPalette() const noexcept {
    return img::GetFacts(layout->image).paletteEntries || layout->work & (Layout::RAMP | Layout::QUANTISE);
  }
  HRESULT MakePalette(Image2d const& image, Ref<IWICBitmapSource>& source,
                      Ref<IWICPalette>& palette) noexcept;
  HRESULT FillPalette(Image2d const& image, IWICPalette& palette) noexcept;
  HRESULT Quantise(Ref<IWICBitmapSource>& source, IWICPalette& palette) noexcept;

  Ref<IWICImagingFactory> factory;
  Ref<StreamAdapter> adapter;
  Ref<IWICBitmapEncoder> encoder;
  Ref<IWICBitmapFrameEncode> frame;
  Layout const* layout = nullptr;
  // The image for which the layout was chosen.
  IMG_FORMAT format = IMG_NONE;
  int width = 0, height = 0;
};

HRESULT Apply(EncoderSetting const& setting, IPropertyBag2& options) noexcept {
  PROPBAG2 option = {};
  option.pstrName = const_cast<wchar_t*>(setting.property);
  VARIANT value;
  VariantInit(&value);
  V_VT(&value) = setting.type;
  setting.type == VT_BOOL ? void(V_BOOL(&value) = static_cast<VARIANT_BOOL>(setting.value))
                          : void(V_UI1(&value) = static_cast<uint8_t>(setting.value));
  HRESULT const result = options.Write(1, &option, &value);
  return FAILED(result) ? Fail(E_NOTIMPL, WRITE, L"the codec has no option %s", setting.property) : result;
}

HRESULT Writer::Open(GUID const& container, Stream* stream,
                     std::span<EncoderSetting const> settings) noexcept {
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
  for (EncoderSetting const& setting : settings) {
    if (SUCCEEDED(result)) result = Apply(setting, *options);
  }
  return FAILED(result) ? result : frame->Initialize(options.get());
}

bool HasPaletteAlpha(Image2d const& image) noexcept {
  unsigned const count = std::min(image.paletteCount, img::GetFacts(image.format).paletteEntries);
  return image.palette && std::any_of(image.palette, image.palette + count,
                                      [](IMG_PALENTRY const& entry) { return entry.alpha != 255; });
}

// Offers the file format each layout for writing this image, the closest first.
HRESULT Writer::ChooseLayout(Image2d const& image) noexcept {
  bool const avoidsPalette = paletteIsOpaque && HasPaletteAlpha(image);
  format = image.format, width = image.width, height = image.height;
  HRESULT const result = frame->SetSize(static_cast<UINT>(width), static_cast<UINT>(height));
  if (FAILED(result)) return result;
  for (IMG_FORMAT const wanted : FormatsToWrite(format)) {
    if (avoidsPalette && img::GetFacts(wanted).paletteEntries) continue;
    for (Layout const& candidate : Layouts()) {
      if (candidate.image != wanted || !(candidate.use & Layout::WRITE)) continue;
      GUID accepted = *candidate.file;
      if (FAILED(frame->SetPixelFormat(&accepted)) || !(accepted == *candidate.file)) continue;
      layout = &candidate;
      return S_OK;
    }
  }
  return Fail(YK_E_FORMAT, WRITE, L"the file format cannot hold pixels like %S", img::GetFacts(format).name);
}

HRESULT ConvertRow(Image2d& image, int y, IMG_FORMAT format, uint8_t* out) noexcept {
  img::FormatFacts const& facts = img::GetFacts(format);
  if (facts.kind == img::ChannelKind::INDEX && image.bitsPerPixel < facts.bits) {
    WidenIndices(image.GetLine(y), image.bitsPerPixel, out, facts.bits, image.width);
    return S_OK;
  }
  if (image.palette && image.bitsPerPixel < 8 &&
      format == IMG_BGRA32) {  // the library has no such conversion
    LookUpColours(image.GetLine(y), image.bitsPerPixel, image.palette, out, image.width);
    return S_OK;
  }
  if (StoreWords(image.GetLine(y), image.format, out, format, image.width)) return S_OK;
  return img::ConvertPixels(image.GetLine(y), out, image.format, format, image.width, image.palette);
}

HRESULT Writer::FillBitmap(Image2d& image, Ref<IWICBitmap>& bitmap) noexcept {
  // The stream's code, called meanwhile, may have changed the image.
  if (!image.bits || image.format != format || image.width != width || image.height != height)
    return Fail(E_FAIL, WRITE, L"the image changed while it was being written");
  GUID const& pixels = layout->work & Layout::QUANTISE ? GUID_WICPixelFormat24bppBGR : *layout->file;
  HRESULT result = factory->CreateBitmap(static_cast<UINT>(width), static_cast<UINT>(height), pixels,
                                         WICBitmapCacheOnLoad, bitmap.Receive());
  Ref<IWICBitmapLock> lock;
  if (SUCCEEDED(result)) result = bitmap->Lock(nullptr, WICBitmapLockWrite, lock.Receive());
  UINT stride = 0, size = 0;
  uint8_t* row = nullptr;
  int const channels = img::GetFacts(layout->image).channels;
  if (SUCCEEDED(result)) result = lock->GetStride(&stride);
  if (SUCCEEDED(result)) result = lock->GetDataPointer(&size, &row);
  for (int y = 0; y < height && SUCCEEDED(result); ++y, row += stride) {
    result = ConvertRow(image, y, layout->image, row);
    if (layout->work & Layout::SWAP_RED_BLUE) SwapRedBlue(row, width, channels);
    if (swapsBytes) SwapBytes(row, width * channels);
  }
  return result;
}

HRESULT Writer::FillPalette(Image2d const& image, IWICPalette& palette) noexcept {
  bool const isRamp = layout->work & Layout::RAMP;
  if (isRamp) return palette.InitializePredefined(WICBitmapPaletteTypeFixedGray256, FALSE);
  if (!image.palette) return Fail(YK_E_FORMAT, WRITE, L"the image has no palette");
  WICColor colours[256];
  unsigned const count = std::min(image.paletteCount, img::GetFacts(format).paletteEntries);
  for (unsigned i = 0; i < count; ++i) {
    IMG_PALENTRY const& entry = image.palette[i];
    colours[i] =
        WICColor{entry.alpha} << 24 | WICColor{entry.red} << 16 | WICColor{entry.green} << 8 | entry.blue;
  }
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

HRESULT Writer::MakePalette(Image2d const& image, Ref<IWICBitmapSource>& source,
                            Ref<IWICPalette>& palette) noexcept {
  HRESULT const result = factory->CreatePalette(palette.Receive());
  if (FAILED(result)) return result;
  return layout->work & Layout::QUANTISE ? Quantise(source, *palette) : FillPalette(image, *palette);
}

// The whole image is read before anything is written, since the image may change from then on.
HRESULT Writer::Encode(Image2d& image) noexcept {
  Ref<IWICBitmap> bitmap;
  HRESULT result = FillBitmap(image, bitmap);
  if (FAILED(result)) return result;
  Ref<IWICBitmapSource> source = Ref<IWICBitmapSource>::Share(bitmap.get());
  if (NeedsPalette()) {
    Ref<IWICPalette> palette;
    result = MakePalette(image, source, palette);
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

// Some Imaging Components write 16-bit channels of PNG files with the lowest byte first, against the format.
// Writing and reading back one pixel detects this.
bool SwapsBytes(Codec const& codec, IMG_FORMAT format) noexcept {
  static constexpr uint8_t LOW_AND_HIGH[] = {1, 2, 1, 2, 1, 2, 1, 2};
  Ref<Image2d> const pixel = Ref<Image2d>::Adopt(Image2d::Create());
  Ref<Stream> file;
  if (!pixel || yk::Failed(pixel->Create(format, 1, 1)) || yk::Failed(MemStream::Create(file.Receive())))
    return false;
  memcpy(pixel->bits, LOW_AND_HIGH, pixel->bytesPerPixel);
  unsigned const before = ErrorCount();
  Writer writer;
  HRESULT result = writer.Open(*codec.container, file.get(), {});
  if (SUCCEEDED(result)) result = writer.ChooseLayout(*pixel);
  if (SUCCEEDED(result)) result = writer.Encode(*pixel);
  if (FAILED(writer.Finish(before, result)) || yk::Failed(file->Seek(0, Stream::FROM_START))) return false;
  Ref<AbstractImage> back;
  if (yk::Failed(ReadPicture(codec, file.get(), 0, back.Receive()))) return false;
  Image2d& there = static_cast<Image2d&>(*back);
  return there.format == format && there.bits[0] == LOW_AND_HIGH[1];
}

}  // namespace

HRESULT WritePicture(Codec const& codec, Stream* stream, Image2d& image,
                     std::span<EncoderSetting const> settings) noexcept {
  if (FormatsToWrite(image.format).empty()) {  // before anything is written
    return Fail(YK_E_FORMAT, WRITE, L"no file type can hold pixels of %S", img::GetFacts(image.format).name);
  }
  unsigned before = ErrorCount();
  ComScope const com;
  if (FAILED(com.Result())) return Report(before, WRITE, com.Result(), com.Result());
  Writer writer;
  writer.paletteIsOpaque = codec.paletteIsOpaque;
  HRESULT result = writer.Open(*codec.container, stream, settings);
  if (SUCCEEDED(result)) result = writer.ChooseLayout(image);
  if (SUCCEEDED(result)) {
    if (writer.WritesWords()) writer.swapsBytes = SwapsBytes(codec, writer.Chosen());
    before = ErrorCount();  // what the probe recorded is not the reason of a failure of the writer
    result = writer.Encode(image);
  }
  result = writer.Finish(before, result);
  return FAILED(result) ? result : S_OK;
}

}  // namespace qewic
