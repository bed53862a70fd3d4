// qewic.qem: image filters over the Windows Imaging Component. One class per file format, all of them
// instances of one filter with a row of a table.
#include <qecore/core/module.h>
#include <qecore/core/ref.h>
#include <qecore/io/file_formats.h>

#include <algorithm>
#include <iterator>
#include <new>

#include "codec.h"
#include "failure.h"

namespace qewic {

using namespace yk;

namespace {

/// The plug-in's additions to a format that the library knows.
struct Codec {
  Guid id;
  GUID const* container;
  char const* className;
  bool hasQuality;
};

constexpr Codec CODECS[] = {
    {ids::FILE_PNG, &GUID_ContainerFormatPng, "PNG filter", false},
    {ids::FILE_JPEG, &GUID_ContainerFormatJpeg, "JPEG filter", true},
    {ids::FILE_BMP, &GUID_ContainerFormatBmp, "BMP filter", false},
    {ids::FILE_GIF, &GUID_ContainerFormatGif, "GIF filter", false},
    {ids::FILE_TIFF, &GUID_ContainerFormatTiff, "TIFF filter", false},
};

Codec const* FindCodec(Guid const& id) noexcept {
  auto const* const found =
      std::find_if(std::begin(CODECS), std::end(CODECS), [&](Codec const& codec) { return codec.id == id; });
  return found == std::end(CODECS) ? nullptr : found;
}

class Filter final : public Destroys<Filter, ykFlt2d> {
 public:
  static HRESULT Create(ClassInfo const* info, void** out) noexcept {
    *out = nullptr;
    Codec const* const codec = FindCodec(info->classId);
    FileFormat const* const format = FindFileFormat(info->classId);
    if (!codec || !format) return E_NOINTERFACE;
    *out = static_cast<ykFlt2d*>(new (std::nothrow) Filter(*codec, *format));
    return *out ? S_OK : Fail(E_OUTOFMEMORY, "qewic", L"not enough memory for the %S", codec->className);
  }

  // The class identifier is the one in its row.
  HRESULT QueryInterface(Guid const& id, void** out) noexcept override {
    if (!(id == format.id)) return ykFlt2d::QueryInterface(id, out);
    *out = static_cast<ykFlt2d*>(this);
    AddRef();
    return S_OK;
  }
  bool IsTypeOf(Guid const& id) noexcept override { return id == format.id || ykFlt2d::IsTypeOf(id); }
  Guid const* GetTypeId() noexcept override { return &format.id; }

  // Bit 0: reads, bit 1: writes, bit 2: `options` of Write is a quality of 1 to 100, or 0 for the default.
  unsigned GetFlags() noexcept override { return codec.hasQuality ? 7 : 3; }
  wchar_t const* GetPattern(unsigned index) noexcept override {
    return index < std::size(format.extensions) ? format.extensions[index].text : nullptr;
  }
  wchar_t const* GetName() noexcept override { return format.name; }

  HRESULT Read(Stream* stream, AbstractImage** image, unsigned) noexcept override {
    return ReadPicture(*codec.container, stream, image);
  }

  HRESULT Write(Stream* stream, AbstractImage* image, unsigned options) noexcept override {
    if (!stream || !image) return Fail(E_INVALIDARG, WRITE, L"stream or image is null");
    if (codec.hasQuality && options > 100)
      return Fail(E_INVALIDARG, WRITE, L"the quality %u is not between 0 and 100", options);
    if (!image->IsTypeOf(ids::IMAGE_2D))
      return Fail(YK_E_FORMAT, WRITE, L"the image has no pixels of its own");
    // The stream may be foreign code, which may release what others hold while it is written to.
    Ref<Stream> const heldStream = Ref<Stream>::Share(stream);
    Ref<AbstractImage> const heldImage = Ref<AbstractImage>::Share(image);
    Image2d& raster = *static_cast<Image2d*>(image);
    if (!raster.bits || raster.width < 1 || raster.height < 1)
      return Fail(YK_E_EMPTY, WRITE, L"the image has no pixels");
    if (codec.hasQuality && options) return WriteJpeg(stream, raster, options);
    return WritePicture(*codec.container, stream, raster);
  }

 private:
  Filter(Codec const& codec, FileFormat const& format) noexcept : codec(codec), format(format) {}

  Codec const& codec;
  FileFormat const& format;
};

intptr_t Describe(size_t index, ClassInfo* info) noexcept {
  if (index >= std::size(CODECS)) return 0;
  Codec const& codec = CODECS[index];
  info->classId = codec.id;
  info->interfaceId = ids::FLT_2D;
  info->name = codec.className;  // copied by the registry, since the record may outlive this module
  info->create = Filter::Create;
  return 1;
}

}  // namespace
}  // namespace qewic

extern "C" __declspec(dllexport) intptr_t
    qe_entrypoint(unsigned message, uintptr_t first, void* second) noexcept {
  switch (message) {
    case yk::MODULE_VERSION_QUERY:
      return yk::KTZ_VERSION;
    case yk::MODULE_CLASS:
      return qewic::Describe(first, static_cast<yk::ClassInfo*>(second));
    default:
      return 0;  // attach and detach: there is no state
  }
}
