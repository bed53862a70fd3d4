#include "imaging.h"

#include <windows.h>

#include <objbase.h>
#include <wincodec.h>

#include <atomic>

namespace fuzz {

namespace {

Input* script;  // null: the platform's own component

// Failures that the plug-in may receive; half of the calls succeed.
HRESULT Answer() noexcept {
  static constexpr HRESULT CODES[] = {E_FAIL,
                                      E_OUTOFMEMORY,
                                      E_INVALIDARG,
                                      WINCODEC_ERR_BADHEADER,
                                      WINCODEC_ERR_STREAMREAD,
                                      WINCODEC_ERR_PALETTEUNAVAILABLE,
                                      S_FALSE};
  return script->Below(16) < 14 ? S_OK : script->Pick(CODES);
}

/// The reference counting of a COM object that supports all its interfaces.
template <class Interface>
class Counted : public Interface {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** out) override {
    if (script->OneIn(8)) return *out = nullptr, E_NOINTERFACE;
    AddRef();
    *out = this;
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override {
    ULONG const left = --references;
    if (left == 0) delete this;
    return left;
  }

 protected:
  virtual ~Counted() = default;  // after the interface's slots: callers do not see it

 private:
  std::atomic<ULONG> references = 1;
};

/// Returns a new object, or fails.
template <class Made, class Out, class... From>
HRESULT Make(Out** out, From... from) {
  HRESULT const result = Answer();
  *out = SUCCEEDED(result) ? new Made(from...) : nullptr;
  return result;
}

// Functions that no reader of pictures calls.
#define UNUSED_SLOT(name, ...) \
  HRESULT STDMETHODCALLTYPE name(__VA_ARGS__) override { return E_NOTIMPL; }

class Palette final : public Counted<IWICPalette> {
 public:
  HRESULT STDMETHODCALLTYPE GetColors(UINT room, WICColor* colors, UINT* count) override {
    *count = std::min<UINT>(room, script->Byte() * 2);
    for (UINT i = 0; i < *count; ++i) colors[i] = 0x01020304u * i;
    return Answer();
  }
  UNUSED_SLOT(InitializePredefined, WICBitmapPaletteType, BOOL)
  UNUSED_SLOT(InitializeCustom, WICColor*, UINT)
  UNUSED_SLOT(InitializeFromBitmap, IWICBitmapSource*, UINT, BOOL)
  UNUSED_SLOT(InitializeFromPalette, IWICPalette*)
  UNUSED_SLOT(GetType, WICBitmapPaletteType*)
  UNUSED_SLOT(GetColorCount, UINT*)
  UNUSED_SLOT(IsBlackWhite, BOOL*)
  UNUSED_SLOT(IsGrayscale, BOOL*)
  UNUSED_SLOT(HasAlpha, BOOL*)
};

class PixelInfo final : public Counted<IWICPixelFormatInfo2> {
 public:
  HRESULT STDMETHODCALLTYPE SupportsTransparency(BOOL* transparent) override {
    *transparent = script->Flag();
    return Answer();
  }
  UNUSED_SLOT(GetComponentType, WICComponentType*)
  UNUSED_SLOT(GetCLSID, CLSID*)
  UNUSED_SLOT(GetSigningStatus, DWORD*)
  UNUSED_SLOT(GetAuthor, UINT, WCHAR*, UINT*)
  UNUSED_SLOT(GetVendorGUID, GUID*)
  UNUSED_SLOT(GetVersion, UINT, WCHAR*, UINT*)
  UNUSED_SLOT(GetSpecVersion, UINT, WCHAR*, UINT*)
  UNUSED_SLOT(GetFriendlyName, UINT, WCHAR*, UINT*)
  UNUSED_SLOT(GetFormatGUID, GUID*)
  UNUSED_SLOT(GetColorContext, IWICColorContext**)
  UNUSED_SLOT(GetBitsPerPixel, UINT*)
  UNUSED_SLOT(GetChannelCount, UINT*)
  UNUSED_SLOT(GetChannelMask, UINT, UINT, BYTE*, UINT*)
  UNUSED_SLOT(GetNumericRepresentation, WICPixelFormatNumericRepresentation*)
};

GUID AnyPixels() noexcept {
  static GUID const* const KNOWN[] = {
      &GUID_WICPixelFormat1bppIndexed, &GUID_WICPixelFormatBlackWhite,     &GUID_WICPixelFormat2bppIndexed,
      &GUID_WICPixelFormat2bppGray,    &GUID_WICPixelFormat4bppIndexed,    &GUID_WICPixelFormat4bppGray,
      &GUID_WICPixelFormat8bppIndexed, &GUID_WICPixelFormat8bppGray,       &GUID_WICPixelFormat16bppGray,
      &GUID_WICPixelFormat24bppBGR,    &GUID_WICPixelFormat16bppBGR555,    &GUID_WICPixelFormat32bppBGRA,
      &GUID_WICPixelFormat48bppRGB,    &GUID_WICPixelFormat64bppRGBA,      &GUID_WICPixelFormat32bppCMYK,
      &GUID_WICPixelFormat32bppBGR,    &GUID_WICPixelFormat128bppRGBAFloat};
  return *script->Pick(KNOWN);
}

UINT AnySide() noexcept {
  static constexpr UINT ODD[] = {0, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x10000, 46341, 3000};
  return script->OneIn(4) ? script->Pick(ODD) : script->Below(64);
}

// Reads at arbitrary positions, like decoders.
void ReadAround(IStream& stream) {
  for (unsigned turns = script->Below(8); turns > 0; --turns) {
    unsigned char bytes[300];
    ULONG done = ~0u;
    ULONG const wanted = script->Byte();
    LARGE_INTEGER to = {};
    to.QuadPart = script->OneIn(8) ? script->Take<int64_t>() : script->Small();
    stream.Seek(to, script->Below(4), nullptr);
    stream.Read(bytes, wanted, script->OneIn(8) ? nullptr : &done);
    STATSTG status;
    if (script->OneIn(8)) stream.Stat(&status, STATFLAG_NONAME);
  }
}

class Frame final : public Counted<IWICBitmapFrameDecode> {
 public:
  Frame(IStream* from, GUID const* pixels) noexcept
      : stream(from), format(pixels ? *pixels : AnyPixels()), width(AnySide()), height(AnySide()) {
    stream->AddRef();
  }
  ~Frame() override { stream->Release(); }

  HRESULT STDMETHODCALLTYPE GetSize(UINT* w, UINT* h) override {
    *w = width;
    *h = height;
    return Answer();
  }
  HRESULT STDMETHODCALLTYPE GetPixelFormat(WICPixelFormatGUID* pixels) override {
    *pixels = format;
    return Answer();
  }
  // Fills the whole buffer, so that the sanitizer checks whether it is accessible.
  HRESULT STDMETHODCALLTYPE CopyPixels(WICRect const*, UINT stride, UINT size, BYTE* buffer) override {
    if (uint64_t{stride} * height > size) abort();  // the caller asks for more rows than fit
    memset(buffer, script->Byte(), size);
    ReadAround(*stream);
    return Answer();
  }
  HRESULT STDMETHODCALLTYPE CopyPalette(IWICPalette*) override { return Answer(); }
  UNUSED_SLOT(GetResolution, double*, double*)
  UNUSED_SLOT(GetMetadataQueryReader, IWICMetadataQueryReader**)
  UNUSED_SLOT(GetColorContexts, UINT, IWICColorContext**, UINT*)
  UNUSED_SLOT(GetThumbnail, IWICBitmapSource**)

  IStream* const stream;

 private:
  GUID const format;
  UINT const width, height;
};

class Decoder final : public Counted<IWICBitmapDecoder> {
 public:
  ~Decoder() override {
    if (stream) stream->Release();
  }
  HRESULT STDMETHODCALLTYPE Initialize(IStream* from, WICDecodeOptions) override {
    stream = from;
    stream->AddRef();
    ReadAround(*stream);
    return Answer();
  }
  HRESULT STDMETHODCALLTYPE GetFrame(UINT, IWICBitmapFrameDecode** frame) override {
    return Make<Frame>(frame, stream, static_cast<GUID const*>(nullptr));
  }
  UNUSED_SLOT(QueryCapability, IStream*, DWORD*)
  UNUSED_SLOT(GetContainerFormat, GUID*)
  UNUSED_SLOT(GetDecoderInfo, IWICBitmapDecoderInfo**)
  UNUSED_SLOT(CopyPalette, IWICPalette*)
  UNUSED_SLOT(GetMetadataQueryReader, IWICMetadataQueryReader**)
  UNUSED_SLOT(GetPreview, IWICBitmapSource**)
  UNUSED_SLOT(GetColorContexts, UINT, IWICColorContext**, UINT*)
  UNUSED_SLOT(GetThumbnail, IWICBitmapSource**)
  UNUSED_SLOT(GetFrameCount, UINT*)

 private:
  IStream* stream = nullptr;
};

class Factory final : public Counted<IWICImagingFactory> {
 public:
  HRESULT STDMETHODCALLTYPE CreateDecoder(REFGUID, GUID const*, IWICBitmapDecoder** decoder) override {
    return Make<Decoder>(decoder);
  }
  HRESULT STDMETHODCALLTYPE CreateComponentInfo(REFCLSID, IWICComponentInfo** info) override {
    return Make<PixelInfo>(info);
  }
  HRESULT STDMETHODCALLTYPE CreatePalette(IWICPalette** palette) override { return Make<Palette>(palette); }
  UNUSED_SLOT(CreateDecoderFromFilename, LPCWSTR, GUID const*, DWORD, WICDecodeOptions, IWICBitmapDecoder**)
  UNUSED_SLOT(CreateDecoderFromStream, IStream*, GUID const*, WICDecodeOptions, IWICBitmapDecoder**)
  UNUSED_SLOT(CreateDecoderFromFileHandle, ULONG_PTR, GUID const*, WICDecodeOptions, IWICBitmapDecoder**)
  UNUSED_SLOT(CreateEncoder, REFGUID, GUID const*, IWICBitmapEncoder**)
  UNUSED_SLOT(CreateFormatConverter, IWICFormatConverter**)
  UNUSED_SLOT(CreateBitmapScaler, IWICBitmapScaler**)
  UNUSED_SLOT(CreateBitmapClipper, IWICBitmapClipper**)
  UNUSED_SLOT(CreateBitmapFlipRotator, IWICBitmapFlipRotator**)
  UNUSED_SLOT(CreateStream, IWICStream**)
  UNUSED_SLOT(CreateColorContext, IWICColorContext**)
  UNUSED_SLOT(CreateColorTransformer, IWICColorTransform**)
  UNUSED_SLOT(CreateBitmap, UINT, UINT, REFWICPixelFormatGUID, WICBitmapCreateCacheOption, IWICBitmap**)
  UNUSED_SLOT(CreateBitmapFromSource, IWICBitmapSource*, WICBitmapCreateCacheOption, IWICBitmap**)
  UNUSED_SLOT(CreateBitmapFromSourceRect, IWICBitmapSource*, UINT, UINT, UINT, UINT, IWICBitmap**)
  UNUSED_SLOT(CreateBitmapFromMemory, UINT, UINT, REFWICPixelFormatGUID, UINT, UINT, BYTE*, IWICBitmap**)
  UNUSED_SLOT(CreateBitmapFromHBITMAP, HBITMAP, HPALETTE, WICBitmapAlphaChannelOption, IWICBitmap**)
  UNUSED_SLOT(CreateBitmapFromHICON, HICON, IWICBitmap**)
  UNUSED_SLOT(CreateComponentEnumerator, DWORD, DWORD, IEnumUnknown**)
  UNUSED_SLOT(CreateFastMetadataEncoderFromDecoder, IWICBitmapDecoder*, IWICFastMetadataEncoder**)
  UNUSED_SLOT(CreateFastMetadataEncoderFromFrameDecode, IWICBitmapFrameDecode*, IWICFastMetadataEncoder**)
  UNUSED_SLOT(CreateQueryWriter, REFGUID, GUID const*, IWICMetadataQueryWriter**)
  UNUSED_SLOT(CreateQueryWriterFromReader, IWICMetadataQueryReader*, GUID const*, IWICMetadataQueryWriter**)
};

#undef UNUSED_SLOT

/// The platform's factory, created once: to look it up each time would take most of the time.
IWICImagingFactory* PlatformFactory() {
  static IWICImagingFactory* const factory = [] {
    IWICImagingFactory* made = nullptr;
    CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IWICImagingFactory),
                     reinterpret_cast<void**>(&made));
    return made;
  }();
  return factory;
}

}  // namespace

ImagingByInput::ImagingByInput(Input& in) noexcept { script = &in; }
ImagingByInput::~ImagingByInput() { script = nullptr; }

}  // namespace fuzz

// The targets of the plug-in's redirected calls (redirect.txt of the native build).

extern "C" HRESULT WINAPI harness_CoCreateInstance(REFCLSID, IUnknown*, DWORD, REFIID id, void** out) {
  if (fuzz::script) return fuzz::Make<fuzz::Factory>(reinterpret_cast<IWICImagingFactory**>(out));
  IWICImagingFactory* const factory = fuzz::PlatformFactory();
  return factory ? factory->QueryInterface(id, out) : REGDB_E_CLASSNOTREG;
}

extern "C" HRESULT WINAPI harness_WICConvertBitmapSource(REFWICPixelFormatGUID pixels,
                                                         IWICBitmapSource* source, IWICBitmapSource** out) {
  if (!fuzz::script) return WICConvertBitmapSource(pixels, source, out);
  return fuzz::Make<fuzz::Frame>(out, static_cast<fuzz::Frame*>(source)->stream, &pixels);
}
