// A complete plug-in: an image filter for uncompressed TGA files, whose pixels have the layout of an image's:
// bottom row first, blue before green before red. Put plugin_tga.qem next to a host; ids::FILE_TGA is the
// library's identifier of such files.
#include <qecore/core/error.h>
#include <qecore/core/filter.h>
#include <qecore/core/module.h>
#include <qecore/core/ref.h>
#include <qecore/image/image.h>
#include <qecore/image/image_limits.h>
#include <qecore/io/stream.h>

#include <new>

using namespace yk;

//! [filter]
constexpr char READ[] = "TgaFilter::Read", WRITE[] = "TgaFilter::Write";

class TgaFilter final : public Implements<TgaFilter, ykFlt2d> {
 public:
  static Guid const& Id() noexcept { return ids::FILE_TGA; }

  static HRESULT Create(ClassInfo const*, void** out) noexcept {
    *out = new (std::nothrow) TgaFilter;
    return *out ? S_OK : E_OUTOFMEMORY;
  }

  wchar_t const* GetName() noexcept override { return L"Truevision TGA"; }
  wchar_t const* GetPattern(unsigned index) noexcept override { return index == 0 ? L"tga" : nullptr; }

  HRESULT Read(Stream* stream, AbstractImage** image, unsigned) noexcept override {
    *image = nullptr;
    unsigned char h[18];  // the header: type 2 is uncompressed true colour; 16-bit width, height; bits
    unsigned done = 0;
    stream->Read(h, sizeof h, &done);
    bool const plain = done == sizeof h && h[0] == 0 && h[1] == 0 && h[2] == 2 && (h[17] & 0x30) == 0;
    if (!plain || (h[16] != 24 && h[16] != 32))
      return Fail(YK_E_FORMAT, READ, L"not an uncompressed TGA file of 24 or 32 bits");
    IMG_FORMAT const format = h[16] == 24 ? IMG_BGR24 : IMG_BGRA32;
    int const width = h[12] | h[13] << 8, height = h[14] | h[15] << 8;
    // Do not allocate for more pixels than the file can hold or the host allows.
    if (int64_t{width} * height * (h[16] / 8) > stream->GetSize())
      return Fail(YK_E_BADFILE, READ, L"the file is too short for %d \u00D7 %d pixels", width, height);
    if (static_cast<uint64_t>(img::GetRowSize(format, width) * height) > img::GetReadLimit())
      return Fail(E_OUTOFMEMORY, READ, L"%d \u00D7 %d pixels are beyond the limit", width, height);
    Ref<Image2d> picture = Ref<Image2d>::Adopt(Image2d::Create());
    if (!picture) return E_OUTOFMEMORY;
    HRESULT const result = picture->Create(format, width, height);
    if (Failed(result)) return result;
    unsigned const row = static_cast<unsigned>(picture->width * picture->bytesPerPixel);
    for (int y = picture->height - 1; y >= 0; --y) {
      if (Failed(stream->Read(picture->GetLine(y), row, &done)) || done != row)
        return Fail(YK_E_BADFILE, READ, L"the row %d of %d is missing", height - y, height);
    }
    *image = picture.Detach();
    return S_OK;
  }

  HRESULT Write(Stream* stream, AbstractImage* image, unsigned) noexcept override {
    if (!image->IsTypeOf(ids::IMAGE_2D)) return Fail(YK_E_FORMAT, WRITE, L"not an image of pixels");
    Image2d& picture = static_cast<Image2d&>(*image);
    if (!picture.bits) return Fail(YK_E_EMPTY, WRITE, L"the image has no pixels");
    bool const fits = picture.width <= 0xFFFF && picture.height <= 0xFFFF;
    if (!fits || (picture.format != IMG_BGR24 && picture.format != IMG_BGRA32))
      return Fail(YK_E_FORMAT, WRITE, L"not bgr24 or bgra32, or more than 65535 pixels wide or high");
    unsigned char h[18] = {};
    //! [filter]
    h[2] = 2;
    h[12] = picture.width & 0xFF, h[13] = picture.width >> 8 & 0xFF;
    h[14] = picture.height & 0xFF, h[15] = picture.height >> 8 & 0xFF;
    h[16] = static_cast<unsigned char>(picture.bitsPerPixel);
    h[17] = picture.format == IMG_BGRA32 ? 8 : 0;  // bits of alpha
    HRESULT result = stream->Write(h, sizeof h);
    unsigned const row = static_cast<unsigned>(picture.width * picture.bytesPerPixel);
    for (int y = picture.height - 1; y >= 0 && Succeeded(result); --y) {
      result = stream->Write(picture.GetLine(y), row);
    }
    static constexpr char FOOTER[26] = "\0\0\0\0\0\0\0\0TRUEVISION-XFILE.";
    return Succeeded(result) ? stream->Write(FOOTER, sizeof FOOTER) : result;
  }
};

//! [entry]
extern "C" __declspec(dllexport) intptr_t
    qe_entrypoint(unsigned message, uintptr_t first, void* second) noexcept {
  if (message == MODULE_VERSION_QUERY) return KTZ_VERSION;
  if (message != MODULE_CLASS || first != 0) return 0;  // one class
  ClassInfo* const info = static_cast<ClassInfo*>(second);
  info->classId = TgaFilter::Id();
  info->interfaceId = ids::FLT_2D;
  info->name = "TGA filter";
  info->create = TgaFilter::Create;
  return 1;
}
//! [entry]
