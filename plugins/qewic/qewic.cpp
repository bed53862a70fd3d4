// qewic.qem: image filters over decoders of its own and the Windows Imaging Component. One class per file
// format, all of them instances of one filter with a row of a table.
#include <qecore/core/module.h>
#include <qecore/core/ref.h>
#include <qecore/io/file_formats.h>

#include <iterator>
#include <new>

#include "codec.h"
#include "failure.h"

namespace qewic {

using namespace yk;

namespace {

class Filter final : public Destroys<Filter, ykFlt2dEx> {
 public:
  static HRESULT Create(ClassInfo const* info, void** out) noexcept {
    *out = nullptr;
    Codec const* const codec = FindCodec(info->classId);
    FileFormat const* const format = FindFileFormat(info->classId);
    if (!codec || !format) return Fail(E_NOINTERFACE, "qewic", L"it has no filter of that class");
    *out = static_cast<ykFlt2d*>(new (std::nothrow) Filter(*codec, *format));
    return *out ? S_OK : Fail(E_OUTOFMEMORY, "qewic", L"not enough memory for the %S", codec->className);
  }

  // The class identifier is the one in its row.
  HRESULT QueryInterface(Guid const& id, void** out) noexcept override {
    if (!(id == format.id)) return ykFlt2dEx::QueryInterface(id, out);
    *out = static_cast<ykFlt2d*>(this);
    AddRef();
    return S_OK;
  }
  bool IsTypeOf(Guid const& id) noexcept override { return id == format.id || ykFlt2dEx::IsTypeOf(id); }
  Guid const* GetTypeId() noexcept override { return &format.id; }

  // Bit 0: reads, bit 1: writes, bit 2: `options` of Write is a quality of 1 to 100, or 0 for the default.
  unsigned GetFlags() noexcept override { return format.hasQuality ? 7 : 3; }
  wchar_t const* GetPattern(unsigned index) noexcept override {
    return index < std::size(format.extensions) ? format.extensions[index].text : nullptr;
  }
  wchar_t const* GetName() noexcept override { return format.name; }
  HRESULT GetOption(FilterUse use, unsigned index, FilterOption& option) noexcept override {
    return DescribeOption(codec.options, use, index, option);
  }

  HRESULT QueryFileInfo(Stream* stream, Map* info, int) noexcept override {
    if (!stream || !info) return Fail(E_INVALIDARG, QUERY, L"stream or info is null");
    return QueryPicture(codec, stream, info);
  }

  HRESULT CanRead(Stream* stream) noexcept override {
    if (!stream) return Fail(E_INVALIDARG, READ, L"stream is null");
    char bytes[sizeof FileSignature::bytes] = {};
    unsigned done = 0;
    HRESULT const result = stream->Read(bytes, sizeof bytes, &done);
    stream->Seek(-static_cast<long>(done), Stream::FROM_POSITION);
    if (yk::Failed(result)) return result;
    return HasSignature(format, bytes) ? S_OK : S_FALSE;
  }

  HRESULT Read(Stream* stream, AbstractImage** image, unsigned) noexcept override {
    return ReadPicture(codec, stream, 0, image);
  }

  HRESULT ReadEx(Stream* stream, Map* options, ExecutionContext*, AbstractImage** image) noexcept override {
    int const frame = ValueOf(options, FilterOption::FRAME, 0);
    Decoded const decoded = ValueOf(options, FilterOption::EVERY_FRAME, 0) ? Decoded::EVERY : Decoded::ONE;
    return ReadPicture(codec, stream, static_cast<unsigned>(frame), image, decoded);
  }

  HRESULT Write(Stream* stream, AbstractImage* image, unsigned options) noexcept override {
    return WriteWith(stream, image, options, nullptr);
  }

  HRESULT WriteEx(Stream* stream, AbstractImage* image, Map* options, ExecutionContext*) noexcept override {
    int const quality = ValueOf(options, FilterOption::QUALITY, 0);
    return WriteWith(stream, image, static_cast<unsigned>(quality), options);
  }

 private:
  Filter(Codec const& codec, FileFormat const& format) noexcept : codec(codec), format(format) {}

  // A quality of 0 is the Imaging Component's own. File types without one ignore it.
  HRESULT WriteWith(Stream* stream, AbstractImage* image, unsigned quality, Map* options) noexcept {
    if (!format.hasQuality) quality = 0;
    if (quality > 100)
      return Fail(E_INVALIDARG, WRITE, L"the quality %d is not between 0 and 100", static_cast<int>(quality));
    if (!stream || !image) return Fail(E_INVALIDARG, WRITE, L"stream or image is null");
    if (!image->IsTypeOf(ids::IMAGE_2D))
      return Fail(YK_E_FORMAT, WRITE, L"the image has no pixels of its own");
    // The stream may be foreign code, which may release what others hold while it is written to.
    Ref<Stream> const heldStream = Ref<Stream>::Share(stream);
    Ref<AbstractImage> const heldImage = Ref<AbstractImage>::Share(image);
    Image2d& raster = *static_cast<Image2d*>(image);
    if (!raster.bits || raster.width < 1 || raster.height < 1)
      return Fail(YK_E_EMPTY, WRITE, L"the image has no pixels");
    if (codec.write) return codec.write(*stream, raster, options);
    FactsWriter facts(codec.writeFacts, stream, raster);
    Stream* const to = facts.Target();
    if (!to) return E_OUTOFMEMORY;
    return facts.Finish(quality ? WriteJpeg(to, raster, quality) : WritePicture(codec, to, raster));
  }

  Codec const& codec;
  FileFormat const& format;
};

intptr_t Describe(size_t index, ClassInfo* info) noexcept {
  if (index >= Codecs().size()) return 0;
  Codec const& codec = Codecs()[index];
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
