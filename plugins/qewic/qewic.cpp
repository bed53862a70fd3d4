// qewic.qem: the image filters over the Windows Imaging Component. One class per file format, all made of one
// filter and one row of a table.
#include <qecore/core/module.h>
#include <qecore/core/ref.h>

#include <algorithm>
#include <iterator>
#include <new>

#include "codec.h"

namespace qewic {

using namespace yk;

namespace {

struct FileFormat {
  Guid id;  // what detection answers, and so the class
  GUID const* container;
  char const* className;
  wchar_t const* name;
  wchar_t const* patterns[4];  // extensions; null after the last
  bool hasQuality;
};

FileFormat const FILE_FORMATS[] = {
    {ids::FILE_PNG, &GUID_ContainerFormatPng, "PNG filter", L"Portable Network Graphics", {L"png"}, false},
    {ids::FILE_JPEG,
     &GUID_ContainerFormatJpeg,
     "JPEG filter",
     L"JPEG photograph",
     {L"jpg", L"jpeg", L"jpe"},
     true},
    {ids::FILE_BMP, &GUID_ContainerFormatBmp, "BMP filter", L"Windows bitmap", {L"bmp"}, false},
    {ids::FILE_GIF, &GUID_ContainerFormatGif, "GIF filter", L"Graphics Interchange Format", {L"gif"}, false},
    {ids::FILE_TIFF,
     &GUID_ContainerFormatTiff,
     "TIFF filter",
     L"Tagged Image File Format",
     {L"tif", L"tiff"},
     false},
};

FileFormat const* Find(Guid const& id) noexcept {
  auto const* const found = std::find_if(std::begin(FILE_FORMATS), std::end(FILE_FORMATS),
                                         [&](FileFormat const& format) { return format.id == id; });
  return found == std::end(FILE_FORMATS) ? nullptr : found;
}

class Filter final : public Destroys<Filter, ykFlt2d> {
 public:
  static HRESULT Create(ClassInfo const* info, void** out) noexcept {
    *out = nullptr;
    FileFormat const* const format = Find(info->classId);
    if (!format) return E_NOINTERFACE;
    *out = static_cast<ykFlt2d*>(new (std::nothrow) Filter(*format));
    return *out ? S_OK : E_OUTOFMEMORY;
  }

  // The class's identifier is its row's.
  HRESULT QueryInterface(Guid const& id, void** out) noexcept override {
    if (!(id == format.id)) return ykFlt2d::QueryInterface(id, out);
    *out = static_cast<ykFlt2d*>(this);
    AddRef();
    return S_OK;
  }
  bool IsTypeOf(Guid const& id) noexcept override { return id == format.id || ykFlt2d::IsTypeOf(id); }
  Guid const* GetTypeId() noexcept override { return &format.id; }

  // Bit 0: reads, bit 1: writes, bit 2: `options` of Write is a quality of 1 to 100, or 0 for the default.
  unsigned GetFlags() noexcept override { return format.hasQuality ? 7 : 3; }
  wchar_t const* GetPattern(unsigned index) noexcept override {
    return index < std::size(format.patterns) ? format.patterns[index] : nullptr;
  }
  wchar_t const* GetName() noexcept override { return format.name; }

  HRESULT Read(Stream* stream, AbstractImage** image, unsigned) noexcept override {
    return ReadPicture(*format.container, stream, image);
  }

  HRESULT Write(Stream* stream, AbstractImage* image, unsigned options) noexcept override {
    if (!stream || !image) return E_INVALIDARG;
    if (format.hasQuality && options > 100) return E_INVALIDARG;
    if (!image->IsTypeOf(ids::IMAGE_2D)) return YK_E_FORMAT;
    // A stream may be anybody's, and drop what others hold while it is written to.
    Ref<Stream> const heldStream = Ref<Stream>::Share(stream);
    Ref<AbstractImage> const heldImage = Ref<AbstractImage>::Share(image);
    Image2d& raster = *static_cast<Image2d*>(image);
    if (!raster.bits || raster.width < 1 || raster.height < 1) return YK_E_EMPTY;
    if (format.hasQuality && options) return WriteJpeg(stream, raster, options);
    return WritePicture(*format.container, stream, raster);
  }

 private:
  explicit Filter(FileFormat const& row) noexcept : format(row) {}

  FileFormat const& format;
};

intptr_t Describe(size_t index, ClassInfo* info) noexcept {
  if (index >= std::size(FILE_FORMATS)) return 0;
  FileFormat const& format = FILE_FORMATS[index];
  info->classId = format.id;
  info->interfaceId = ids::FLT_2D;
  info->name = format.className;  // the registry copies it, since it may outlive this module
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
      return 0;  // attached, detached: nothing is kept
  }
}
